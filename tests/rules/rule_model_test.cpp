// Generated descriptions, rules, memory and documents, against the plain model of rule_model.h.
#include "rules/rule_model.h"

#include <random>

#include "rules/rule_fixture.h"
#include "rules/value_paths.h"
#include "rules/value_texts.h"
#include "support/edge_of_memory.h"

namespace sbx {
namespace {

using ::sbx::testing::EdgeOfMemory;
using ::sbx::testing::RuleTest;
using ::sbx::testing::ScopedLog;
namespace model = ::sbx::testing::model;

std::string Shown(WideView text) {
  return {text.begin(), text.end()};
}

TEST(ValuePathModel, AgreesOnEveryShortText) {
  constexpr WideView kUnits = u"a.\\[]";
  const ScopedLog log(-1);
  for (std::size_t length = 0; length <= 8; ++length) {
    std::size_t texts = 1;
    for (std::size_t i = 0; i < length; ++i) texts *= kUnits.size();
    WideString ref(length, u' ');
    for (std::size_t number = 0; number < texts; ++number) {
      std::size_t digits = number;
      for (char16_t& unit : ref) {
        unit = kUnits[digits % kUnits.size()];
        digits /= kUnits.size();
      }
      const std::optional<WideString> expected = model::World::ResolvePath(ref);
      const ValuePath path(ref);
      WideView resolved;
      ASSERT_EQ(path.Resolve(resolved) == kOk, expected.has_value()) << Shown(ref);
      ASSERT_EQ(resolved, expected.value_or(WideString())) << Shown(ref);
    }
  }
}

// One random conversion in both directions, made twice.
class GeneratedConversion : public RuleTest {
 public:
  explicit GeneratedConversion(unsigned seed) : random_(seed) {}

  void TestBody() override {
    MakeDescriptions();
    MakeRules();
    MakeMemory();
    for (int instance = 0; instance < 6; ++instance) InstanceInMemory();
    for (int document = 0; document < 3; ++document) {
      MakeDocument();
      for (int instance = 0; instance < 3; ++instance) InstanceInXml();
    }
  }

 private:
  static constexpr std::size_t kBlocks = 5;
  static constexpr std::size_t kBlockBytes = 64;

  std::size_t Pick(std::size_t count) {
    return std::uniform_int_distribution<std::size_t>(0, count - 1)(random_);
  }
  template <std::size_t Count>
  WideString OneOf(const WideView (&texts)[Count]) {
    return WideString(texts[Pick(Count)]);
  }

  WideString Name() { return OneOf({u"a", u"b", u"c", u"d", u"R0"}); }
  WideString Type() {
    const WideString record = OneOf({u"R0", u"R1", u"R2"});
    switch (Pick(9)) {
      case 0:
        return u"int";
      case 1:
        return record + u"[2]";
      case 2:
        return record + u"[1]*";
      case 3:
        return u"char*";
      case 4:
        return u"int*";
      case 5:
        return record;
      case 6:
        return record + u"**";
      case 7:
        return record + u"[0]";
      default:
        return record + u"*";
    }
  }
  WideString Path() {
    WideString path = OneOf({u"", u"", u"", u"", u"..\\", u"..\\..\\", u"R0..\\", u"R0."});
    for (std::size_t segments = 1 + Pick(3); segments > 0; --segments) {
      path += Pick(12) == 0 ? WideString(OneOf({u"x", u"", u"a[1]"})) : Name();
      if (segments > 1) path += u".";
    }
    return path;
  }
  // A number that the generated memory and documents often hold, in some form.
  WideString NumberText() {
    return OneOf({u"0", u"1", u"2", u"3", u"0x2", u"-1", u"x", u"02", u"-0x2", u"0x10003"});
  }

  void MakeDescriptions() {
    world_.rootName = u"R0";
    for (const WideView name : {u"R0", u"R1", u"R2"}) {
      model::Record record{WideString(name), {}};
      JSStructDesc& real = set_.AddStruct(name, 64, {}, {});
      for (std::size_t items = 2 + Pick(4); items > 0; --items) {
        constexpr std::int32_t kSizes[] = {1, 2, 2, 4, 4, 4, 8};
        const model::Item item{Name(), Type(), u"[fmt:hex]", kSizes[Pick(std::size(kSizes))],
                               static_cast<std::int32_t>(Pick(16) * 4)};
        if (real.AddItem(item.name, item.type, item.size, item.offset, {}, item.restrictText) == nullptr)
          continue;
        record.items.push_back(item);
      }
      world_.records.push_back(std::move(record));
    }
  }

  void MakeRules() {
    WideString document;
    for (const model::Record& record : world_.records) {
      document += u"<Rules name='" + record.name + u"'>";
      for (std::size_t rules = Pick(4); rules > 0; --rules) document += MakeRule(record.name);
      document += u"</Rules>";
    }
    LoadRules(document);
  }
  WideString MakeRule(const WideString& record) {
    model::Rule rule;
    auto& attributes = rule.attributes;
    attributes[u"type"] =
        OneOf({u"StructArrayPtr", u"AlterType", u"RelocateStructName", u"ConvertNameList", u"Bogus"});
    attributes[u"name"] = Name();
    attributes[u"structname"] =
        Pick(8) == 0 ? WideString(251 + Pick(3), u'L') : OneOf({u"R0", u"R1", u"R2", u""});
    attributes[u"alterto"] = Pick(8) == 0 ? WideString(254 + Pick(3), u'L')
                                          : OneOf({u"R0*", u"R1", u"R2[3]", u"char*", u"", u"%%x"});
    if (Pick(5) != 0) attributes[u"num"] = Path();
    if (Pick(3) != 0) attributes[u"ref"] = Path();
    if (Pick(4) != 0) attributes[u"refvalue"] = NumberText();
    if (Pick(5) != 0) attributes[u"refmethod"] = OneOf({u"=", u"&", u"|", u"|", u"!"});
    WideString xml = u"<RuleItem";
    for (const auto& [name, text] : attributes) {
      xml += u" " + name + u"='" + (text == u"&" ? u"&amp;" : text) + u"'";
    }
    world_.rules[record].push_back(std::move(rule));
    return xml + u"/>";
  }

  void MakeMemory() {
    for (std::size_t i = 0; i < kBlocks; ++i) {
      blocks_.push_back(std::make_unique<EdgeOfMemory>(kBlockBytes));
      const std::uintptr_t end = blocks_.back()->address() + kBlockBytes;
      world_.readable.emplace_back(end - 4096, end);
    }
    for (const auto& block : blocks_) {
      for (std::size_t at = 0; at < kBlockBytes; at += 8) {
        const std::uint64_t word = Word();
        std::memcpy(block->data() + at, &word, sizeof word);
      }
    }
    world_.rootBinary = Pick(8) == 0 ? 0 : blocks_[0]->address();
    NameRoot(u"R0", world_.rootBinary);
  }
  // Numbers, short texts, and addresses good and bad.
  std::uint64_t Word() {
    constexpr std::uint64_t kWords[] = {0,
                                        1,
                                        2,
                                        3,
                                        0x0000000300000002,
                                        0x0001000300000000,
                                        0x0000004200000041,
                                        0x0000004300420041,
                                        8,
                                        ~std::uint64_t{0} - 3,
                                        0x8000000000000000};
    if (Pick(2) == 0) return kWords[Pick(std::size(kWords))];
    return blocks_[Pick(kBlocks)]->address() + Pick(14) * 4;
  }

  model::Element MakeElement(const WideString& name, int depth) {
    model::Element element{name, NumberText(), {}};
    if (Pick(3) == 0) element.own = OneOf({u"", u"65 0 66 0", u" 0 0 ", u"65 0 0 0 66", u"1 "});
    if (depth > 0) {
      for (std::size_t children = Pick(5); children > 0; --children) {
        element.children.push_back(MakeElement(Name(), depth - 1));
      }
    }
    return element;
  }
  void MakeDocument() {
    tree_ = {u"JobScriptXMLDescription", u"", {}};
    for (const WideView name : {u"R0", u"R1", u"R2"}) {
      if (Pick(6) != 0) tree_.children.push_back(MakeElement(WideString(name), 3));
    }
    WideString content;
    for (const model::Element& child : tree_.children) content += child.Xml();
    LoadXml(content);
    texts_ = ValueTexts();
    g_conversion.valueTexts = Pick(2) == 0 ? nullptr : &texts_;  // kept or not, it is all the same
    world_.rootElement = &tree_;
  }

  void ExpectSame(const WideString& relocated, const WideString& expectedRelocated) {
    EXPECT_EQ(relocated, expectedRelocated);
    EXPECT_EQ(log_.lines(), world_.log);
    for (const model::Record& record : world_.records) {
      for (const model::Item& item : record.items) {
        const JSStructItemDesc& real = *set_.FindStruct(record.name)->FindItem(item.name);
        EXPECT_EQ(real.type(), item.type) << Shown(record.name) << "." << Shown(item.name);
        EXPECT_EQ(real.restrictText(), item.restrictText) << Shown(record.name) << "." << Shown(item.name);
      }
    }
    log_.Clear();
    world_.log.clear();
  }

  void InstanceInMemory() {
    model::Record& record = world_.records[Pick(world_.records.size())];
    const std::uintptr_t binary = blocks_[Pick(kBlocks)]->address();
    const WideString relocated = PassInMemory(*set_.FindStruct(record.name), binary);
    ExpectSame(relocated, world_.PassInMemory(record, binary));
  }
  void InstanceInXml() {
    if (tree_.children.empty()) return;
    model::Element& element = tree_.children[Pick(tree_.children.size())];
    model::Record& record = *world_.Find(element.name);
    const WideString relocated = PassInXml(*set_.FindStruct(record.name), Element({element.name}));
    ExpectSame(relocated, world_.PassInXml(record, element));
    WideString expected;
    for (const model::Element& child : tree_.children) expected += child.Xml();
    EXPECT_EQ(Xml(), expected);
  }

  std::mt19937 random_;
  model::World world_;
  model::Element tree_;
  std::vector<std::unique_ptr<EdgeOfMemory>> blocks_;
  ValueTexts texts_;
};

TEST(RuleModel, AgreesOnGeneratedConversions) {
  for (unsigned seed = 0; seed < 600; ++seed) {
    SCOPED_TRACE(seed);
    GeneratedConversion(seed).TestBody();
    if (::testing::Test::HasFailure()) break;
  }
}

}  // namespace
}  // namespace sbx
