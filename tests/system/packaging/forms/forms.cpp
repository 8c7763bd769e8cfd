// Compares what each target carries with what its documents hold.
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "sbxml_module_embed.h"
#include "second_embed.h"

const SBXModuleResources& ArchiveModule();
const SBXModuleResources& PluginModule();

namespace {

int g_failures = 0;

constexpr std::u16string_view kCharacters =
    u"<c a=\"&quot;\">\tA\u0080\u07FF\u0800\uD7FF\uE000\uFFFF\U00010000\U0001F600\U0010FFFF\r\n</c>";
constexpr std::u16string_view kWithMark = u"<mark>\uFEFF</mark>\n";

std::u16string LongText() {
  std::u16string text = u"<long>\n";
  for (int i = 0; i < 6000; ++i) text += u"<element attribute='value'>text</element>\n";
  return text + u"</long>";
}

void ExpectDocument(const char* module, const SBXModuleResources& table, unsigned index, unsigned id,
                    std::u16string_view text) {
  const SBXModuleResource& entry = table.resources[index];
  if (table.count == 2 && std::strcmp(entry.type, "XML") == 0 && entry.id == id && entry.bytes != nullptr &&
      entry.size == text.size() * 2 && std::memcmp(entry.bytes, text.data(), entry.size) == 0) {
    return;
  }
  std::printf("%s: document %u differs (id %u, %u bytes)\n", module, index, entry.id, entry.size);
  ++g_failures;
}

}  // namespace

int main() {
  ExpectDocument("forms", sbxml_module, 0, 1, kCharacters);
  ExpectDocument("forms", sbxml_module, 1, 2, kWithMark);
  ExpectDocument("second", second, 0, 1, kWithMark);
  ExpectDocument("second", second, 1, 2, LongText());
  ExpectDocument("archive", ArchiveModule(), 0, 1, kCharacters);
  ExpectDocument("archive", ArchiveModule(), 1, 65535, u"<odd/>");
  ExpectDocument("plugin", PluginModule(), 0, 7, kWithMark);
  ExpectDocument("plugin", PluginModule(), 1, 8, u"");
  return g_failures == 0 ? 0 : 1;
}
