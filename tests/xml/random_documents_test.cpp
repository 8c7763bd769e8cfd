// Documents of chance, against a model too simple to be wrong in the same way.
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/string_sink.h"
#include "xml/document.h"

namespace sbx::xml {
namespace {

using testing::TextOf;

enum class Kind { kElement, kText, kCdata, kComment, kInstruction };

struct Model {
  Kind kind;
  WideString value;  // name, text, or all that an instruction holds
  std::vector<std::pair<WideString, WideString>> attributes;
  std::vector<Model> children;
};

class Chance {
 public:
  explicit Chance(unsigned seed) : engine_(seed) {}

  unsigned Below(unsigned limit) { return static_cast<unsigned>(engine_() % limit); }

  WideString Units(WideView from, unsigned most) {
    WideString text;
    for (unsigned left = Below(most + 1); left > 0; --left) {
      const char16_t unit = from[Below(static_cast<unsigned>(from.size()))];
      text += unit;
      if (unit == 0xD83D) text += char16_t{0xDE00};
    }
    return text;
  }
  WideString Name() { return WideString(1, u"abcNX_\u00C9\u4E2D"[Below(8)]) + Units(u"ab1.-:\u0301", 3); }

  Model Element(unsigned depth) {
    Model element = {Kind::kElement, Name(), {}, {}};
    for (unsigned left = Below(4); left > 0; --left) {
      const WideString name = Name();
      bool isNew = true;
      for (const auto& attribute : element.attributes) isNew = isNew && attribute.first != name;
      if (isNew) element.attributes.emplace_back(name, Units(u"x <>&\"'\t\n\r\u00E9\xD83D", 6));
    }
    for (unsigned left = Below(depth == 0 ? 2 : 6); left > 0; --left) {
      const Model child = Child(depth);
      // Two texts in a row would be one.
      const bool joins = child.kind == Kind::kText && !element.children.empty() &&
                         element.children.back().kind == Kind::kText;
      if (!joins) element.children.push_back(child);
    }
    return element;
  }

 private:
  Model Child(unsigned depth) {
    switch (Below(depth == 0 ? 4 : 9)) {
      case 0:
        return {Kind::kCdata, Units(u"x <&]\n", 5), {}, {}};
      case 1:
        return {Kind::kComment, Units(u"x <>&\n", 5), {}, {}};
      case 2:
        return {Kind::kInstruction, u"p" + Units(u"ab", 3) + u" q" + Units(u"x <>&\n", 5), {}, {}};
      case 3:
        return {Kind::kText, u"t" + Units(u"x <>&\"'\t\n\r\u00E9\xD83D]", 40), {}, {}};
      default:
        return Element(depth - 1);
    }
  }

  std::mt19937 engine_;
};

WideString Escaped(WideView text, bool isAttribute) {
  WideString out;
  for (const char16_t unit : text) {
    const WideView special = isAttribute ? u"&<>\r\"\t\n" : u"&<>\r";
    if (special.find(unit) == WideView::npos) {
      out += unit;
      continue;
    }
    if (unit == u'&') out += u"&amp;";
    if (unit == u'<') out += u"&lt;";
    if (unit == u'>') out += u"&gt;";
    if (unit == u'"') out += u"&quot;";
    if (unit == u'\r') out += u"&#13;";
    if (unit == u'\t') out += u"&#9;";
    if (unit == u'\n') out += u"&#10;";
  }
  return out;
}

WideString Written(const Model& node) {
  switch (node.kind) {
    case Kind::kText:
      return Escaped(node.value, false);
    case Kind::kCdata:
      return u"<![CDATA[" + node.value + u"]]>";
    case Kind::kComment:
      return u"<!--" + node.value + u"-->";
    case Kind::kInstruction:
      return u"<?" + node.value + u"?>";
    case Kind::kElement:
      break;
  }
  WideString out = u"<" + node.value;
  for (const auto& [name, value] : node.attributes) {
    out.append(u" ").append(name).append(u"=\"").append(Escaped(value, true)).append(u"\"");
  }
  if (node.children.empty()) return out + u"/>";
  out += u">";
  for (const Model& child : node.children) out += Written(child);
  return out + u"</" + node.value + u">";
}

WideString TextOfModel(const Model& node) {
  if (node.kind == Kind::kText || node.kind == Kind::kCdata) return node.value;
  WideString out;
  for (const Model& child : node.children) out += TextOfModel(child);
  return out;
}

void FindByName(const Model& node, WideView name, std::vector<const Model*>& out) {
  for (const Model& child : node.children) {
    if (child.kind != Kind::kElement) continue;
    if (child.value == name) out.push_back(&child);
    FindByName(child, name, out);
  }
}

void ExpectSame(Document& document, const NodeRef& element, const Model& model) {
  EXPECT_EQ(document.TagName(element.get()), WideView(model.value));
  EXPECT_EQ(document.GetText(element.get()), WideView(TextOfModel(model)));
  EXPECT_EQ(document.HasChildNodes(element.get()), !model.children.empty());
  for (const auto& [name, value] : model.attributes) {
    EXPECT_EQ(document.GetAttribute(element.get(), name), WideView(value));
  }
  std::vector<const Model*> found;
  FindByName(model, u"a", found);
  EXPECT_EQ(document.GetElementsByTagName(element.get(), u"a").Length(), found.size());

  NodeList list = document.SelectChildElements(element.get());
  std::size_t count = 0;
  for (const Model& child : model.children) {
    if (child.kind != Kind::kElement) continue;
    const NodeRef node = list.Next();
    ASSERT_TRUE(node);
    EXPECT_EQ(list.Item(count).get(), node.get());
    EXPECT_EQ(document.ParentNode(node.get()).get(), element.get());
    ExpectSame(document, node, child);
    ++count;
  }
  EXPECT_FALSE(list.Next());
  EXPECT_EQ(list.Length(), count);
}

// Builds through the operations what they can build: elements, attributes, one text as the only child.
void Build(Document& document, const NodeRef& element, Model& model) {
  for (const auto& [name, value] : model.attributes) {
    ASSERT_TRUE(document.SetAttribute(element.get(), name, value));
  }
  std::erase_if(model.children, [](const Model& child) { return child.kind != Kind::kElement; });
  if (model.children.empty()) {
    model.children.push_back({Kind::kText, u"<t>", {}, {}});
    ASSERT_TRUE(document.PutText(element.get(), u"<t>"));
    return;
  }
  for (Model& child : model.children) {
    const NodeRef node = document.CreateElement(child.value);
    ASSERT_TRUE(node);
    ASSERT_TRUE(document.AppendChild(element.get(), node.get()));
    Build(document, node, child);
  }
}

TEST(RandomDocuments, LoadAndComeBack) {
  for (unsigned seed = 0; seed < 1500; ++seed) {
    const Model model = Chance(seed).Element(4);
    const WideString text = Written(model);
    const auto document = Document::New();
    ASSERT_TRUE(document->LoadXml(text)) << seed;
    ASSERT_EQ(TextOf(*document), text) << seed;
    ExpectSame(*document, document->DocumentElement(), model);
    ASSERT_FALSE(HasFailure()) << seed;
  }
}

TEST(RandomDocuments, AreBuiltAsTheyAreWritten) {
  for (unsigned seed = 0; seed < 500; ++seed) {
    Model model = Chance(seed).Element(4);
    model.value = u"root";
    const auto document = Document::New();
    ASSERT_TRUE(document->LoadXml(u"<root/>"));
    Build(*document, document->DocumentElement(), model);
    ASSERT_EQ(TextOf(*document), Written(model)) << seed;
    ExpectSame(*document, document->DocumentElement(), model);
    ASSERT_FALSE(HasFailure()) << seed;
  }
}

// Damaged text is refused, or it means something that survives being written and read again.
TEST(RandomDocuments, DamageIsNoticedOrHarmless) {
  unsigned refused = 0;
  unsigned taken = 0;
  for (unsigned seed = 0; seed < 3000; ++seed) {
    Chance chance(seed);
    WideString text = Written(chance.Element(3));
    for (unsigned left = 1 + chance.Below(3); left > 0; --left) {
      const auto at = chance.Below(static_cast<unsigned>(text.size()));
      switch (chance.Below(3)) {
        case 0:
          text.erase(at, 1 + chance.Below(3));
          break;
        case 1:
          text.insert(at, 1, u"<>&;\"'/!?-[]x \x01\xD800"[chance.Below(16)]);
          break;
        default:
          text[at] = u"<>&;\"'/!?-[]x \x01\xD800"[chance.Below(16)];
          break;
      }
      if (text.empty()) text = u"x";
    }
    const auto document = Document::New();
    if (!document->LoadXml(text)) {
      ++refused;
      continue;
    }
    ++taken;
    const WideString once = TextOf(*document);
    ASSERT_TRUE(document->LoadXml(once)) << seed;
    ASSERT_EQ(TextOf(*document), once) << seed;
  }
  EXPECT_GT(refused, 100U);
  EXPECT_GT(taken, 100U);
}

}  // namespace
}  // namespace sbx::xml
