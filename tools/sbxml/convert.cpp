// sbxml convert: a document's text in another encoding, as it stands or laid out for reading.
#include "sbxml/commands.h"
#include "sbxml/pretty_printer.h"

namespace sbx::tool {

int RunConvert(const ConvertOptions& options, Diagnostics& diagnostics) {
  const SourceFile source = ReadSource(options.file);
  for (const Diagnostic& finding : source.findings) diagnostics.Report(finding);
  const WideString text = options.pretty ? PrettyPrint(ParseSource(source)) : source.text;
  bool isWhole = true;
  WriteOutput(options.output, Encode(text, options.encoding, isWhole));
  if (!isWhole) {
    diagnostics.Report({.id = Id::kBrokenEncoding,
                        .place = {.file = source.name},
                        .message = "characters that the encoding has no form for are replaced"});
  }
  return source.findings.empty() && isWhole ? kExitFine : kExitFindings;
}

}  // namespace sbx::tool
