// Lint against documents of any kind: it ends, in time, and says of a document that it loads exactly where
// the library loads it.
#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <random>

#include "desc/structure_description.h"
#include "rules/rule_set.h"
#include "sbxml/lint/lint_documents.h"
#include "sbxml/log_capture.h"
#include "support/random_graphs.h"
#include "support/scratch_folder.h"
#include "xml/document.h"

namespace sbx::testing {
namespace {

tool::SourceFile Source(WideView text) {
  return {"file.xml", WideString(text.substr(0, text.find(u'\0'))), {}, {}};
}

bool LibraryLoads(const tool::SourceFile& descriptions, const tool::SourceFile& rules) {
  const tool::LogCapture quiet(-1);
  JSPDBMemDesc records;
  JSConvertRulesDesc ruleSet;
  return records.LoadFromXML(descriptions.text.c_str()) == kOk &&
         ruleSet.LoadFromXML(rules.text.c_str()) == kOk;
}

WideString Widen(const std::string& text) {
  return {text.begin(), text.end()};
}

// The documents of the planted faults, as seeds.
std::vector<std::pair<WideString, WideString>> Seeds() {
  std::vector<std::pair<WideString, WideString>> seeds;
  for (const auto& entry : std::filesystem::directory_iterator(SBXML_LINT_CASES)) {
    std::ifstream in(entry.path());
    std::map<std::string, std::string> sections = {{"rules", "<ConvertRuleDesc/>"}};
    std::string name = "why";
    for (std::string line; std::getline(in, line);) {
      if (line.starts_with("=== ")) {
        sections[name = line.substr(4)].clear();
      } else {
        sections[name] += line + "\n";
      }
    }
    seeds.emplace_back(Widen(sections["descriptions"]), Widen(sections["rules"]));
  }
  std::sort(seeds.begin(), seeds.end());  // the same everywhere
  return seeds;
}

// Cuts, doubles and swaps pieces, and strews in words that mean something.
class Mutator {
 public:
  WideString operator()(WideString text) {
    for (std::size_t left = 1 + Below(2); left > 0; --left) MutateOnce(text);
    return text;
  }

 private:
  std::size_t Below(std::size_t end) { return end == 0 ? 0 : random_() % end; }

  void MutateOnce(WideString& text) {
    static constexpr WideView kWords[] = {
        u"0",      u"-1",     u"0x10",       u"[",      u"]",   u"*",    u"..\\", u".",     u"%",
        u"%s",     u"\"",     u"<",          u"/>",     u"Job", u"Page", u"uint", u"int64", u"",
        u"void*",  u"[0]",    u"[fmt:",      u"(1)",    u",",   u":",    u"=",    u"&amp;", u"|",
        u"\u00E4", u"\xD800", u"2147483648", u"double", u"[2]", u"size", u"ref",  u"Rules", u"JSStruct"};
    const std::size_t at = Below(text.size() + 1);
    const std::size_t count = Below(std::min<std::size_t>(text.size() - at, 40) + 1);
    switch (Below(6)) {
      case 0:
        text.erase(at, count);
        break;
      case 1:
        text.insert(Below(text.size() + 1), text.substr(at, count));
        break;
      case 2:
        text.replace(at, Below(8) == 0 ? count : 0, kWords[Below(std::size(kWords))]);
        break;
      default:
        ReplaceWord(text, at);
        break;
    }
  }

  // One attribute's value takes the place of another.
  void ReplaceWord(WideString& text, std::size_t at) {
    const std::size_t from = text.find(u"=\"", at);
    const std::size_t to = text.find(u"=\"", Below(text.size() + 1));
    if (from == WideString::npos || to == WideString::npos) return;
    const std::size_t fromEnd = text.find(u'"', from + 2);
    const std::size_t toEnd = text.find(u'"', to + 2);
    if (fromEnd == WideString::npos || toEnd == WideString::npos) return;
    const WideString value = text.substr(from + 2, fromEnd - from - 2);
    text.replace(to + 2, toEnd - to - 2, value);
  }

  std::mt19937 random_{20240817};
};

TEST(HostileDocuments, LoadWhereTheLibraryLoadsThem) {
  Mutator mutate;
  std::size_t loaded = 0;
  std::size_t refused = 0;
  for (int round = 0; round < 30; ++round) {
    for (const auto& [descriptions, rules] : Seeds()) {
      const tool::SourceFile first = Source(mutate(descriptions));
      const tool::SourceFile second = Source(round % 2 == 0 ? mutate(rules) : rules);
      const tool::lint::Outcome outcome =
          tool::lint::LintDocuments(first, second, round % 3 == 0 ? u"Job" : u"");
      ASSERT_EQ(outcome.loads, LibraryLoads(first, second))
          << std::string(first.text.begin(), first.text.end())
          << std::string(second.text.begin(), second.text.end());
      ++(outcome.loads ? loaded : refused);
    }
  }
  // The mutations leave enough of both.
  EXPECT_GT(loaded, 200u);
  EXPECT_GT(refused, 200u);
}

// --- documents that are known to go both ways --------------------------------------------------------------

// What is true of a graph that comes back byte for byte all the same: a null comes back, so does a single
// number, and some records of the documents are not in the graph.
bool IsHarmless(tool::Id id) noexcept {
  return id == tool::Id::kOutOnly || id == tool::Id::kZeroCount || id == tool::Id::kNeverRuns ||
         id == tool::Id::kRestrictNoEffect;
}

TEST(RandomGraphs, AreToldOfNothingThatWouldKeepThemFromComingBack) {
  for (std::uint64_t seed = 1; seed <= 300; ++seed) {
    const RandomGraph graph(seed);
    const tool::lint::Outcome outcome =
        tool::lint::LintDocuments(Source(graph.Descriptions()), Source(graph.Rules()), RandomGraph::kRoot);
    EXPECT_TRUE(outcome.loads) << "seed " << seed;
    for (const tool::Diagnostic& finding : outcome.findings) {
      EXPECT_TRUE(IsHarmless(finding.id))
          << "seed " << seed << ": " << finding.path << ": " << finding.message << " " << finding.type;
    }
  }
}

// --- size --------------------------------------------------------------------------------------------------

constexpr int kMany = 20000;
constexpr int kSome = 140;

// Documents in which one thing comes so often that looking at it once for each of another would take hours.
struct LargeDocument {
  const char* name;
  std::function<WideString()> descriptions;
  std::function<WideString()> rules;
};

void PrintTo(const LargeDocument& document, std::ostream* out) {
  *out << document.name;
}

WideString Number(int number) {
  return Widen(std::to_string(number));
}

WideString Repeat(int count, const std::function<WideString(int)>& piece) {
  WideString all;
  for (int i = 0; i < count; ++i) all += piece(i);
  return all;
}

WideString Record(WideView name, WideView items, int count, WideView size = u"8") {
  return WideString(u"<JSStruct name=\"")
      .append(name)
      .append(u"\" size=\"")
      .append(size)
      .append(u"\" numOfItems=\"" + Number(count) + u"\">")
      .append(items)
      .append(u"</JSStruct>");
}

WideString Item(WideView name, WideView type, WideView more = u"") {
  return WideString(u"<JSStructItem name=\"")
      .append(name)
      .append(u"\" type=\"")
      .append(type)
      .append(u"\" size=\"4\" offset=\"0\" ")
      .append(more)
      .append(u"/>");
}

WideString Descriptions(const WideString& records) {
  return u"<StructureDescription>" + records + u"</StructureDescription>";
}

WideString RulesOf(WideView record, const WideString& items) {
  return WideString(u"<ConvertRuleDesc><Rules name=\"")
      .append(record)
      .append(u"\">" + items + u"</Rules></ConvertRuleDesc>");
}

WideString Plain() {
  return Descriptions(Record(u"Job", Item(u"a", u"uint") + Item(u"b", u"uint"), 2));
}

WideString NoRules() {
  return u"<ConvertRuleDesc/>";
}

const LargeDocument kLargeDocuments[] = {
    {"deep",
     [] {
       return Descriptions(Repeat(kMany, [](int) { return WideString(u"<JSStruct name=\"R\">"); }) +
                           Item(u"a", u"int") +
                           Repeat(kMany, [](int) { return WideString(u"</JSStruct>"); }));
     },
     NoRules},
    {"many items that overlap",
     [] {
       return Descriptions(
           Record(u"Job", Repeat(kMany, [](int i) { return Item(u"a" + Number(i), u"uint"); }), kMany));
     },
     NoRules},
    {"records in each other",
     [] {
       return Descriptions(Repeat(kMany, [](int i) {
         return Record(u"R" + Number(i), Item(u"a", u"R" + Number((i + 1) % kMany)), 1, u"4");
       }));
     },
     NoRules},
    {"many types of one item, and conditions on it", Plain,
     [] {
       return RulesOf(u"Job", Repeat(kMany, [](int i) {
                        return u"<RuleItem name=\"a\" type=\"AlterType\" alterto=\"int[" + Number(i) +
                               u"]\" ref=\"a\" refmethod=\"=\" refvalue=\"x" + Number(i) + u"\"/>";
                      }));
     }},
    {"many name lists of one item", Plain,
     [] {
       return RulesOf(u"Job", Repeat(kMany, [](int) {
                        return WideString(u"<RuleItem name=\"a\" type=\"ConvertNameList\"/>");
                      }));
     }},
    {"long names everywhere",
     [] {
       const WideString name(kMany, u'n');
       return Descriptions(Record(
           name, Repeat(kMany, [](int) { return Item(u"a", u"uint"); }) + Item(u"b", u"uint", u"x=\"1\""),
           kMany + 1));
     },
     NoRules},
    {"a long type that paths lead through",
     [] {
       WideString type = u"Job" + Repeat(kMany, [](int) { return WideString(u"[1]"); });
       return Descriptions(Record(u"Job", Item(u"a", type) + Item(u"b", u"uint"), 2));
     },
     [] {
       return RulesOf(
           u"Job", Repeat(kMany, [](int i) {
             return u"<RuleItem name=\"b\" type=\"AlterType\" alterto=\"int\" ref=\"a.b\" refmethod=\"=\" "
                    u"refvalue=\"" +
                    Number(i) + u"\"/>";
           }));
     }},
    {"a long path", Plain,
     [] {
       return RulesOf(u"Job", u"<RuleItem name=\"b\" type=\"AlterType\" alterto=\"int\" ref=\"" +
                                  Repeat(kMany, [](int) { return WideString(u"..\\"); }) +
                                  Repeat(kMany, [](int) { return WideString(u"a."); }) +
                                  u"b\" refmethod=\"=\" refvalue=\"1\"/>");
     }},
    {"relocations of all records to all",
     [] {
       return Descriptions(
           Repeat(kSome, [](int i) { return Record(u"R" + Number(i), Item(u"a", u"int"), 1); }));
     },
     [] {
       return u"<ConvertRuleDesc>" +
              Repeat(
                  kSome,
                  [](int i) {
                    return u"<Rules name=\"R" + Number(i) + u"\">" +
                           Repeat(
                               kSome,
                               [](int k) {
                                 return u"<RuleItem name=\"a\" type=\"RelocateStructName\" structname=\"R" +
                                        Number(k) + u"\" ref=\"a\" refvalue=\"" + Number(k) + u"\"/>";
                               }) +
                           u"</Rules>";
                  }) +
              u"</ConvertRuleDesc>";
     }},
    {"many names in a restrict",
     [] {
       const WideString names =
           u"restrict=\"[flag:" + Repeat(kMany, [](int i) { return u"On(" + Number(i) + u"),"; }) + u"]\"";
       return Descriptions(Record(u"Job", Item(u"a", u"uint", names) + Item(u"b", u"uint"), 2));
     },
     [] {
       return RulesOf(u"Job", Repeat(kMany, [](int i) {
                        return u"<RuleItem name=\"a\" type=\"AlterType\" alterto=\"" +
                               WideString(i % 2 == 0 ? u"int" : u"uint") +
                               u"\" ref=\"a\" refmethod=\"&amp;\" refvalue=\"1\"/>";
                      }));
     }},
    {"attributes that nobody reads",
     [] {
       return Descriptions(
           Record(u"Job",
                  Item(u"a", u"uint", Repeat(kMany, [](int i) { return u"x" + Number(i) + u"=\"\" "; })), 1));
     },
     NoRules},
};

class LargeDocuments : public ::testing::TestWithParam<LargeDocument> {};

TEST_P(LargeDocuments, TakeLinearTime) {
  const tool::SourceFile descriptions = Source(GetParam().descriptions());
  const tool::SourceFile rules = Source(GetParam().rules());
  const tool::lint::Outcome outcome = tool::lint::LintDocuments(descriptions, rules, u"Job");
  std::size_t told = 0;
  for (const tool::Diagnostic& finding : outcome.findings)
    told += finding.message.size() + finding.path.size();
  EXPECT_GT(told, 0u);
  EXPECT_LT(told, 100 * (descriptions.text.size() + rules.text.size()));
}

INSTANTIATE_TEST_SUITE_P(Lint, LargeDocuments, ::testing::ValuesIn(kLargeDocuments),
                         [](const ::testing::TestParamInfo<LargeDocument>& large) {
                           std::string name = large.param.name;
                           std::replace_if(
                               name.begin(), name.end(), [](char c) { return c == ' ' || c == ','; }, '_');
                           return name;
                         });

}  // namespace
}  // namespace sbx::testing
