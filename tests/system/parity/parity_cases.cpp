// Runs one corpus of cases through the nine exports and prints a line for each: codes, error texts, log lines
// less their addresses, all rebuilt bytes and parsed XML, long ones as digests. The builds for all systems
// must print the same; compare.sh compares them, and docs/platforms.md tells of each case that may differ.
//
//     parity_cases             all cases, behind a line that tells how many there are
//     parity_cases <case>      one, with all that the digests stand for
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "api/conversion_state.h"
#include "api/export_fixture.h"
#include "api/handle_table.h"
#include "desc/structure_description.h"
#include "mutations.h"
#include "recorded_blocks.h"
#include "support/random_graphs.h"
#include "support/recording_log.h"
#include "support/scratch_folder.h"
#include "xml/document.h"

namespace sbx::testing {
namespace {

constexpr std::size_t kBufferUnits = std::size_t{1} << 20;

std::string Ascii(WideView text) {
  std::string ascii;
  for (const char16_t unit : text) {
    if (unit >= 0x20 && unit < 0x7F) {
      ascii += static_cast<char>(unit);
      continue;
    }
    char digits[8];
    std::snprintf(digits, sizeof digits, "\\u%04X", static_cast<unsigned>(unit));
    ascii += digits;
  }
  return ascii;
}

// What one case has to say.
class Report {
 public:
  explicit Report(bool isFull) : isFull_(isFull) {}

  void Say(const char* what, const std::string& words) { text_ += std::string(" ") + what + "=" + words; }
  void Say(const char* what, std::int64_t number) { Say(what, std::to_string(number)); }
  // Said in full or as a digest.
  void SayLong(const char* what, const std::string& words) {
    if (isFull_) return Say(what, "\n" + words + "\n");
    std::uint64_t digest = 0xCBF29CE484222325u;  // FNV-1a
    for (const char byte : words) digest = (digest ^ static_cast<unsigned char>(byte)) * 0x100000001B3u;
    char digits[40];
    std::snprintf(digits, sizeof digits, "%zu:%016llX", words.size(),
                  static_cast<unsigned long long>(digest));
    Say(what, digits);
  }
  // In full where it can still be read in a line.
  void SayWhereShort(const char* what, const std::string& words) {
    return words.size() <= 160 ? Say(what, words) : SayLong(what, words);
  }
  const std::string& text() const { return text_; }

 private:
  bool isFull_;
  std::string text_;
};

// --- what is said ------------------------------------------------------------------------------------------

// Addresses differ from process to process, and a rule pass that runs before a relocation may take a part of
// one for a count.
std::string WithoutAddresses(const std::string& line) {
  static const std::regex addresses("0x[0-9A-Fa-f]+");
  static const std::regex counts("\\[-?[0-9]+\\]");
  const std::string plain = std::regex_replace(line, addresses, "0x#");
  return line.find("{Convert type") == std::string::npos ? plain : std::regex_replace(plain, counts, "[#]");
}

void SayLog(Report& report, const ScopedLog& log) {
  std::string lines;
  for (const LogLine& line : log.lines()) {
    lines += std::to_string(line.level) + " " + WithoutAddresses(Ascii(line.text)) + "\n";
  }
  report.SayLong("log", lines);
}

void SayError(Report& report) {
  char16_t text[1024] = {};
  SBXGetLastError(text, 1024);
  report.Say("error", "\"" + Ascii(text) + "\"");
  StoreLastErrorText(u"");
}

void Dump(xml::Document& document, const xml::NodeRef& element, int depth, std::string& out) {
  out.append(static_cast<std::size_t>(depth), ' ');
  out += Ascii(document.TagName(element.get()).value_or(WideView()));
  const std::optional<WideView> flag = document.GetAttribute(element.get(), u"flag");
  if (flag) out += " flag=" + Ascii(*flag);
  xml::NodeList children = document.SelectChildElements(element.get());
  xml::NodeRef child = children.Next();
  if (!child) out += " [" + Ascii(document.GetText(element.get()).value_or(WideView())) + "]";
  out += '\n';
  for (; child; child = children.Next()) Dump(document, child, depth + 1, out);
}

// What a reader makes of the text: indentation between elements goes.
std::string Parsed(WideView text) {
  const std::unique_ptr<xml::Document> document = xml::Document::New();
  if (document == nullptr) return "no document";
  document->PutPreserveWhiteSpace(true);
  if (!document->LoadXml(text)) return "not well-formed";
  std::string out;
  Dump(*document, document->DocumentElement(), 0, out);
  return out;
}

void AppendEscaped(WideView text, WideString& out) {
  for (const char16_t unit : text) {
    if (unit == u'&' || unit == u'<' || unit == u'>' || unit == u'\r') {
      out += u"&#";
      for (const char digit : std::to_string(static_cast<unsigned>(unit)))
        out += static_cast<char16_t>(digit);
      out += u';';
    } else {
      out += unit;
    }
  }
}

void Write(xml::Document& document, const xml::NodeRef& element, WideString& out) {
  const WideString tag(document.TagName(element.get()).value_or(WideView()));
  out += u'<' + tag;
  const std::optional<WideView> flag = document.GetAttribute(element.get(), u"flag");
  if (flag) out.append(u" flag=\"").append(*flag).append(u"\"");
  out += u'>';
  xml::NodeList children = document.SelectChildElements(element.get());
  xml::NodeRef child = children.Next();
  if (!child) AppendEscaped(document.GetText(element.get()).value_or(WideView()), out);
  for (; child; child = children.Next()) Write(document, child, out);
  out += u"</" + tag + u'>';
}

// The text as each system would have written it: what is damaged must be the same.
WideString Rewritten(WideView text) {
  const std::unique_ptr<xml::Document> document = xml::Document::New();
  WideString out;
  if (document == nullptr || !document->PutPreserveWhiteSpace(true) || !document->LoadXml(text)) return out;
  Write(*document, document->DocumentElement(), out);
  return out;
}

// --- the conversions ---------------------------------------------------------------------------------------

std::size_t DescribedSize(const char16_t* root) {
  if (g_conversion.cachedDescSet == nullptr) return 0;
  const JSStructDesc* const record = g_conversion.cachedDescSet->FindStruct(root);
  return record == nullptr || record->size < 1 ? 0 : static_cast<std::size_t>(record->size);
}

// The text, empty after a failure.
WideString ToXml(Report& report, TestModule& module, const void* memory, std::size_t size) {
  const ScopedLog log;
  WideString text(kBufferUnits, u'\0');
  auto units = static_cast<std::int32_t>(text.size());
  const std::int32_t rc = SBXBinaryToXML_Text(module.handle(), kPdbId, kRuleId, RandomGraph::kRoot, memory,
                                              static_cast<std::int32_t>(size), text.data(), &units, 0);
  report.Say("to_xml", rc);
  SayError(report);
  SayLog(report, log);
  if (rc != SBX_OK) return {};
  text.resize(text.find(u'\0'));
  report.SayLong("xml", Parsed(text));
  return text;
}

// The handle, null after a failure, of which the blocks that were made are told all the same.
const JSHandle* ToMemory(Report& report, TestModule& module, const WideString& xml) {
  const ScopedLog log;
  const RecordedBlocks blocks;
  JSHandle* handle = nullptr;
  const std::int32_t rc =
      SBXXMLToBinary(module.handle(), kPdbId, kRuleId, RandomGraph::kRoot, xml.c_str(), &handle);
  report.Say("to_memory", rc);
  SayError(report);
  SayLog(report, log);
  report.Say("blocks", static_cast<std::int64_t>(blocks.count()));
  report.Say("bytes", static_cast<std::int64_t>(blocks.bytes()));
  report.SayWhereShort("memory", blocks.Dump());
  if (handle == nullptr) return nullptr;
  if (!blocks.AreThoseOf(*handle) || handle->root != handle->blocks.front()) {
    std::fprintf(stderr, "parity_cases: the blocks recorded are not those of the handle\n");
    std::exit(1);
  }
  return handle;
}

// The circle of a graph that the format can carry.
void GraphCase(Report& report, std::uint64_t number) {
  const RandomGraph graph(number);
  TestModule module(graph.Descriptions(), graph.Rules());
  const WideString xml = ToXml(report, module, graph.memory(), graph.size());
  const JSHandle* const handle = ToMemory(report, module, xml);
  if (handle == nullptr) return;
  report.Say("difference", "\"" + graph.Difference(static_cast<const std::byte*>(handle->root)) + "\"");
  ToXml(report, module, handle->root, graph.size());
}

// The job script has been damaged.
void JobScriptCase(Report& report, std::uint64_t number) {
  const RandomGraph graph(number);
  TestModule module(graph.Descriptions(), graph.Rules());
  Report undamaged(false);
  WideString xml = Rewritten(ToXml(undamaged, module, graph.memory(), graph.size()));
  Dice dice(number);
  Mutate(xml, Words::kJobScript, dice);
  report.SayLong("input", Ascii(xml));
  report.SayLong("parsed", Parsed(xml));
  ToMemory(report, module, xml);
}

// One of the module's documents has been damaged. What they make of the graph's own memory would depend on
// what lies behind it, so zeroes go to XML.
void DocumentsCase(Report& report, std::uint64_t number) {
  const RandomGraph graph(number);
  WideString descriptions = graph.Descriptions();
  WideString rules = graph.Rules();
  TestModule whole(descriptions, rules);
  Report undamaged(false);
  const WideString xml = Rewritten(ToXml(undamaged, whole, graph.memory(), graph.size()));
  Dice dice(number);
  if (number % 2 == 0) {
    Mutate(descriptions, Words::kDescriptions, dice);
  } else {
    Mutate(rules, Words::kRules, dice);
  }
  report.SayLong("input", Ascii(descriptions) + "\n" + Ascii(rules));
  TestModule module(descriptions, rules);
  ToMemory(report, module, xml);
  const std::vector<std::uint64_t> zeroes(
      std::min<std::size_t>(DescribedSize(RandomGraph::kRoot), 1 << 20) / 8 + 1);
  ToXml(report, module, zeroes.data(), DescribedSize(RandomGraph::kRoot));
}

// A text written to a file in one encoding, and what the file gives back.
void FileCase(Report& report, std::uint64_t number) {
  static const WideString texts[] = {u"<a/>",
                                     u"<?xml version=\"1.0\"?><a>text</a>",
                                     u"",
                                     u"<a>\u00E9\u4E2D\U0001F600</a>",
                                     u"<a>\u007F\u0080</a>",
                                     u"<a>\r\n</a>\n",
                                     u"<?xml version=\"1.0\" encoding=\"utf-16\"?>\r\n<a>&lt;</a>",
                                     u"plain",
                                     u"<?xml",
                                     WideString(5000, u'x')};
  const WideString& text = texts[number % std::size(texts)];
  const auto encoding = static_cast<std::uint32_t>(number / std::size(texts) % 5);
  const ScratchFolder folder;
  const WideString path = folder.Path(u"file.xml");
  const ScopedLog log;
  report.Say("write", SBXWriteXML(path.c_str(), text.c_str(), encoding));
  SayError(report);
  std::string bytes;
  if (folder.Exists("file.xml")) {
    for (const char byte : folder.Read("file.xml"))
      bytes += Ascii(WideString(1, static_cast<unsigned char>(byte)));
  }
  report.SayLong("file", bytes);
  constexpr char16_t kUnwritten = u'\uE000';
  WideString read(20000, kUnwritten);
  std::int32_t size = number / 50 % 2 == 0 ? 40000 : 12;
  report.Say("read", SBXReadXML(path.c_str(), read.data(), &size));
  SayError(report);
  report.Say("size", size);
  report.SayLong("text", Ascii(WideView(read).substr(0, read.find(kUnwritten))));
}

// --- arguments ---------------------------------------------------------------------------------------------

// Calls that an export refuses or that end before a conversion.
const std::vector<std::pair<const char*, std::int32_t (*)(SBXModule)>>& ArgumentCalls() {
  static std::int32_t number = 0;
  static char16_t units[64];
  static const std::uint64_t record[64] = {};
  static std::int64_t actual = 0;
  static JSHandle* handle = nullptr;
  static const std::vector<std::pair<const char*, std::int32_t (*)(SBXModule)>> calls = {
      {"verify", [](SBXModule m) { return SBXVerifyStructSize(m, kPdbId, kRuleId, u"R0", 1, &actual); }},
      {"verify without module",
       [](SBXModule) { return SBXVerifyStructSize(nullptr, 1, 2, u"R0", 1, &actual); }},
      {"verify without name",
       [](SBXModule m) { return SBXVerifyStructSize(m, kPdbId, kRuleId, nullptr, 1, &actual); }},
      {"verify of another id",
       [](SBXModule m) { return SBXVerifyStructSize(m, 9, kRuleId, u"R0", 1, &actual); }},
      {"text without root",
       [](SBXModule m) {
         return SBXBinaryToXML_Text(m, kPdbId, kRuleId, nullptr, record, 512, units, &(number = 64), 0);
       }},
      {"text without memory",
       [](SBXModule m) {
         return SBXBinaryToXML_Text(m, kPdbId, kRuleId, u"R0", nullptr, 512, units, &(number = 64), 0);
       }},
      {"text without size",
       [](SBXModule m) {
         return SBXBinaryToXML_Text(m, kPdbId, kRuleId, u"R0", record, 512, units, nullptr, 0);
       }},
      {"text of too little memory",
       [](SBXModule m) {
         return SBXBinaryToXML_Text(m, kPdbId, kRuleId, u"R0", record, 1, units, &(number = 64), 0);
       }},
      {"text of no memory",
       [](SBXModule m) {
         return SBXBinaryToXML_Text(m, kPdbId, kRuleId, u"R0", record, -1, units, &(number = 64), 0);
       }},
      {"text of an unknown root",
       [](SBXModule m) {
         return SBXBinaryToXML_Text(m, kPdbId, kRuleId, u"None", record, 512, units, &(number = 64), 0);
       }},
      {"text of unreadable memory",
       [](SBXModule m) {
         return SBXBinaryToXML_Text(m, kPdbId, kRuleId, u"R0", Nowhere<const void*>(), 512, units,
                                    &(number = 64), 0);
       }},
      {"text into a negative size",
       [](SBXModule m) {
         return SBXBinaryToXML_Text(m, kPdbId, kRuleId, u"R0", record, 512, units, &(number = -1), 1);
       }},
      {"file without path",
       [](SBXModule m) { return SBXBinaryToXML_File(m, kPdbId, kRuleId, u"R0", record, 512, nullptr); }},
      {"file of an empty path",
       [](SBXModule m) { return SBXBinaryToXML_File(m, kPdbId, kRuleId, u"R0", record, 512, u""); }},
      {"memory without text",
       [](SBXModule m) { return SBXXMLToBinary(m, kPdbId, kRuleId, u"R0", nullptr, &handle); }},
      {"memory of an empty text",
       [](SBXModule m) { return SBXXMLToBinary(m, kPdbId, kRuleId, u"R0", u"", &handle); }},
      {"memory without root",
       [](SBXModule m) { return SBXXMLToBinary(m, kPdbId, kRuleId, nullptr, u"<a/>", &handle); }},
      {"memory without handle",
       [](SBXModule m) { return SBXXMLToBinary(m, kPdbId, kRuleId, u"R0", u"<a/>", nullptr); }},
      {"free of null", [](SBXModule) { return SBXFreeJSHandle(nullptr); }},
      {"query of null", [](SBXModule) { return SBXHandleToBuffer(nullptr, nullptr, nullptr); }},
      {"read without path", [](SBXModule) { return SBXReadXML(nullptr, units, &(number = 64)); }},
      {"read of a missing file",
       [](SBXModule) { return SBXReadXML(u"no/such/file.xml", units, &(number = 64)); }},
      {"read without size", [](SBXModule) { return SBXReadXML(u"no/such/file.xml", units, nullptr); }},
      {"write without path", [](SBXModule) { return SBXWriteXML(nullptr, u"<a/>", 0); }},
      {"write without text", [](SBXModule) { return SBXWriteXML(u"no/such/file.xml", nullptr, 0); }},
      {"write into a missing folder", [](SBXModule) { return SBXWriteXML(u"no/such/file.xml", u"<a/>", 0); }},
  };
  return calls;
}

void ArgumentsCase(Report& report, std::uint64_t number) {
  const RandomGraph graph(1);
  TestModule module(graph.Descriptions(), graph.Rules());
  const auto& [name, call] = ArgumentCalls()[number % ArgumentCalls().size()];
  const ScopedLog log;
  report.Say("call", name);
  report.Say("code", call(module.handle()));
  SayError(report);
  SayLog(report, log);
}

// --- the corpus --------------------------------------------------------------------------------------------

struct Kind {
  const char* name;
  std::uint64_t cases;
  void (*run)(Report& report, std::uint64_t number);
};

std::vector<Kind> Kinds() {
  return {{"graph", 800, GraphCase},
          {"job script", 700, JobScriptCase},
          {"documents", 600, DocumentsCase},
          {"file", 100, FileCase},
          {"arguments", ArgumentCalls().size(), ArgumentsCase}};
}

// Prints the cases, or the one wanted.
void Run(std::optional<std::uint64_t> wanted) {
  std::uint64_t sum = 0;
  for (const Kind& kind : Kinds()) sum += kind.cases;
  if (!wanted) std::printf("%d cases\n", static_cast<int>(sum));
  std::uint64_t at = 0;
  for (const Kind& kind : Kinds()) {
    for (std::uint64_t number = 0; number < kind.cases; ++number, ++at) {
      if (wanted && *wanted != at) continue;
      Report report(wanted.has_value());
      kind.run(report, number);
      FreeAllHandles();
      std::printf("%d %s %d:%s\n", static_cast<int>(at), kind.name, static_cast<int>(number),
                  report.text().c_str());
      std::fflush(stdout);
    }
  }
}

}  // namespace
}  // namespace sbx::testing

int main(int argc, char** argv) {
  std::optional<std::uint64_t> wanted;
  if (argc > 1) wanted = std::strtoull(argv[1], nullptr, 10);
  sbx::testing::Run(wanted);
  return 0;
}
