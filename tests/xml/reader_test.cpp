// What loads and what does not.
#include <gtest/gtest.h>
#include <string>

#include "base/numbers.h"
#include "support/string_sink.h"
#include "xml/document.h"
#include "xml/native/entity_table.h"

namespace sbx::xml {
namespace {

using testing::TextOf;

bool Loads(WideView text) {
  const auto document = Document::New();
  const bool loaded = document->LoadXml(text);
  EXPECT_EQ(static_cast<bool>(document->DocumentElement()), loaded);
  if (!loaded) {
    EXPECT_EQ(TextOf(*document), u"") << "a failed load leaves the document empty";
  }
  return loaded;
}

// The text of the root element, or "refused".
WideString RootText(WideView text) {
  const auto document = Document::New();
  if (!document->LoadXml(text)) return u"refused";
  return WideString(document->GetText(document->DocumentElement().get()).value());
}

// What is written back, or "refused".
WideString Rewritten(WideView text) {
  const auto document = Document::New();
  return document->LoadXml(text) ? TextOf(*document) : u"refused";
}

struct LoadCase {
  WideString text;
  bool loads;
  const char* why;
};

class Loading : public ::testing::TestWithParam<LoadCase> {};

TEST_P(Loading, TakesWellFormedDocumentsOnly) {
  EXPECT_EQ(Loads(GetParam().text), GetParam().loads);
}

const LoadCase kLoadCases[] = {
    {u"<a/>", true, "smallest"},
    {u"<a></a>", true, "long form"},
    {u" \r\n<a/>", true, "white space before the root"},
    {u"<a/> \n<!--x--><?y?> ", true, "trailing comment, instruction, white space"},
    {u"\uFEFF<a/>", true, "a mark in front"},
    {u"<?xml version=\"1.0\"?><a/>", true, "declaration"},
    {u"<?xml version=\"1.0\" encoding=\"utf-8\"?><a/>", true, "declared encoding ignored"},
    {u"<?xml version=\"1.0\" encoding=\"UTF-16\"?><a/>", true, "declared encoding ignored"},
    {u"<?xml version=\"1.0\" encoding=\"windows-1252\"?><a/>", true, "declared encoding ignored"},
    {u"<?xml version=\"1.0\" encoding=\"no-such-page\"?><a/>", true, "unknown encoding ignored"},
    {u"<?xml version=\"1.0\" encoding=\"-\"?><a/>", false, "no encoding name at all"},
    {u"<a:b c:d='1'/>", true, "prefixes not checked"},
    {u"<:/>", true, "a colon is a name"},
    {u"<a xmlns:b='x' b:c='1'/>", true, "declared prefix"},
    {u"<a b='1' B='2'/>", true, "names are exact"},
    {u"<a>]] ></a>", true, "not the end of a CDATA section"},
    {u"<a b='>'/>", true, "a bare > in a value"},
    {u"<a>\U0001F600</a>", true, "surrogate pair"},
    {u"<a>&#x1F600;</a>", true, "reference beyond the first plane"},
    {u"<a>&#9;&#10;&#13;</a>", true, "references to white space"},
    {u"<!DOCTYPE b><a/>", true, "not validated"},
    {u"<!DOCTYPE a [<!ELEMENT a (b)>]><a/>", true, "not validated"},
    {u"", false, "empty text"},
    {u" ", false, "blank"},
    {u"\uFEFF", false, "a mark alone"},
    {u"text", false, "no element"},
    {u"<?xml version=\"1.0\"?>", false, "only a declaration"},
    {u"<!-- x -->", false, "only a comment"},
    {u" <?xml version=\"1.0\"?><a/>", false, "white space before the declaration"},
    {u"<a/><?xml version=\"1.0\"?>", false, "declaration at the end"},
    {u"<?xml version=\"1.0\" standalone=\"maybe\"?><a/>", false, "standalone is yes or no"},
    {u"<?xml encoding=\"UTF-16\"?><a/>", false, "declaration without a version"},
    {u"<a/>x", false, "trailing text"},
    {u"x<a/>", false, "leading text"},
    {u"<a/><b/>", false, "second root"},
    {u"<a>", false, "not closed"},
    {u"<a><b></a></b>", false, "overlap"},
    {u"<a></A>", false, "names are exact"},
    {u"</a>", false, "end alone"},
    {u"<a", false, "cut"},
    {u"<a/", false, "cut"},
    {u"<\u00B5/>", false, "a letter only since the fifth edition"},
    {u"<a b\u00AA='1'/>", false, "a letter only since the fifth edition"},
    {u"<\u00D7/>", false, "no letter"},
    {u"< a/>", false, "blank before the name"},
    {u"<1/>", false, "bad name"},
    {u"<a b/>", false, "attribute without a value"},
    {u"<a b=1/>", false, "unquoted value"},
    {u"<a b='1' b='2'/>", false, "duplicate attribute"},
    {u"<a b='1'c='2'/>", false, "no blank between attributes"},
    {u"<a b='<'/>", false, "< in a value"},
    {u"<a>&</a>", false, "bare &"},
    {u"<a>& b</a>", false, "bare &"},
    {u"<a b='&'/>", false, "bare & in a value"},
    {u"<a>&undefined;</a>", false, "undefined entity"},
    {u"<a b='&undefined;'/>", false, "undefined entity in a value"},
    {u"<a>&nbsp;</a>", false, "not predefined"},
    {u"<a>&#0;</a>", false, "reference to zero"},
    {u"<a>&#1;</a>", false, "reference to a control character"},
    {u"<a>&#xD800;</a>", false, "reference to a surrogate"},
    {u"<a>&#xFFFE;</a>", false, "reference to no character"},
    {u"<a>&#x110000;</a>", false, "reference beyond Unicode"},
    {u"<a>&#;</a>", false, "empty reference"},
    {u"<a>&#x;</a>", false, "empty reference"},
    {u"<a>]]></a>", false, "end of a CDATA section in text"},
    {u"<a><![CDATA[</a>", false, "CDATA section not closed"},
    {u"<a><!-- x -- y --></a>", false, "-- in a comment"},
    {u"<a><!-- x ---></a>", false, "- at the end of a comment"},
    {u"<a><!-- </a>", false, "comment not closed"},
    {u"<a><? x?></a>", false, "instruction without a target"},
    {u"<a><?xml x?></a>", false, "reserved target"},
    {u"<a><?XmL x?></a>", false, "reserved target in any case"},
    {u"<a><?x", false, "instruction not closed"},
    {u"<!DOCTYPE a><!DOCTYPE a><a/>", false, "two document types"},
    {u"<a/><!DOCTYPE a>", false, "document type behind the root"},
    {u"<!DOCTYPE a [<!ENTITY e 'x'><a/>", false, "subset not closed"},
    {u"<a>\uFFFE</a>", false, "no character"},
    {u"<a>\uFFFF</a>", false, "no character"},
    {WideString(u"<a>\x01</a>"), false, "control character"},
    {WideString(u"<a b='\x1F'/>"), false, "control character in a value"},
    {WideString(u"<a>\x0B</a>"), false, "vertical tab"},
    {WideString(u"<a>") + WideString(1, 0xD800) + u"</a>", false, "lone high surrogate"},
    {WideString(u"<a>") + WideString(1, 0xDC00) + u"</a>", false, "lone low surrogate"},
    {WideString(u"<a b=\"") + WideString(1, 0xD800) + u"&amp;\"/>", false, "lone one before a reference"},
    {WideString(u"<a>\xDC00\xD800</a>"), false, "surrogates the wrong way round"},
    {WideString(u"<a>") + WideString(1, 0xD800), false, "high surrogate at the end"},
    {WideString(WideView(u"<a>\0</a>", 8)), false, "zero in the text"},
    {WideString(WideView(u"<a/>\0", 5)), false, "zero behind the root"},
};
INSTANTIATE_TEST_SUITE_P(Documents, Loading, ::testing::ValuesIn(kLoadCases));

TEST(Reading, NormalisesLineEndsAndAttributeBlanks) {
  EXPECT_EQ(RootText(u"<a>1\r\n2\r3\n4</a>"), u"1\n2\n3\n4");
  EXPECT_EQ(RootText(u"<a>1&#13;&#10;2</a>"), u"1\r\n2");
  EXPECT_EQ(Rewritten(u"<a b='1\t2\r\n3&#9;4&#13;&#10;'/>"), u"<a b=\"1 2 3&#9;4&#13;&#10;\"/>");
}

TEST(Reading, KeepsWhiteSpaceWhateverIsAsked) {
  for (const bool preserve : {false, true}) {
    const auto document = Document::New();
    EXPECT_TRUE(document->PutPreserveWhiteSpace(preserve));
    ASSERT_TRUE(document->LoadXml(u"<a> <b> x </b>\n</a>"));
    EXPECT_EQ(TextOf(*document), u"<a> <b> x </b>\n</a>");
  }
}

TEST(Reading, SplitsNoText) {
  const auto document = Document::New();
  ASSERT_TRUE(document->LoadXml(u"<!DOCTYPE a [<!ENTITY e 'x'>]><a>1\n2&amp;&e;&#65;3</a>"));
  EXPECT_EQ(document->GetText(document->DocumentElement().get()), u"1\n2&xA3");
}

struct EntityCase {
  const char16_t* text;
  const char16_t* expected;  // of the root element
  const char* why;
};

TEST(Entities, AreExpandedOrFailTheLoad) {
  const EntityCase cases[] = {
      {u"<a>&amp;&lt;&gt;&apos;&quot;</a>", u"&<>'\"", "predefined"},
      {u"<!DOCTYPE a [<!ENTITY e 'x'>]><a>1&e;2</a>", u"1x2", "internal"},
      {u"<!DOCTYPE a [<!ENTITY e 'x'><!ENTITY e 'y'>]><a>&e;</a>", u"x", "the first declaration counts"},
      {u"<!DOCTYPE a [<!ENTITY e '&f;&f;'><!ENTITY f 'x'>]><a>&e;</a>", u"xx", "nested"},
      {u"<!DOCTYPE a [<!ENTITY e '<b>x</b>'>]><a>&e;</a>", u"x", "with an element"},
      {u"<!DOCTYPE a [<!ENTITY e '<b>x'>]><a>&e;</b></a>", u"refused", "an element can't leave it"},
      {u"<!DOCTYPE a [<!ENTITY e '&#38;#60;'>]><a>&e;</a>", u"<", "escaped twice"},
      {u"<!DOCTYPE a [<!ENTITY e '&e;'>]><a>&e;</a>", u"refused", "refers to itself"},
      {u"<!DOCTYPE a [<!ENTITY e '&f;'><!ENTITY f '&e;'>]><a>&e;</a>", u"refused", "a circle"},
      {u"<!DOCTYPE a [<!ENTITY e '&f;'><!ENTITY f '&e;'>]><a b='&e;'/>", u"refused", "a circle in a value"},
      {u"<!DOCTYPE a [<!ENTITY e SYSTEM 'x'>]><a/>", u"", "external, not used"},
      {u"<!DOCTYPE a [<!ENTITY e SYSTEM 'x'>]><a>&e;</a>", u"refused", "external"},
      {u"<!DOCTYPE a [<!ENTITY e PUBLIC 'p' 'x'>]><a>&e;</a>", u"refused", "external"},
      {u"<!DOCTYPE a [<!ENTITY e SYSTEM 'x'>]><a b='&e;'/>", u"refused", "external in a value"},
      {u"<!DOCTYPE a [<!ENTITY f SYSTEM 'x'><!ENTITY e '&f;'>]><a>&e;</a>", u"refused", "external, nested"},
      {u"<!DOCTYPE a [<!NOTATION n SYSTEM 'n'><!ENTITY e SYSTEM 'x' NDATA n>]><a>&e;</a>", u"refused",
       "unparsed"},
      // Where a part of the document type was not read, a parser may pass over what it doesn't know. Not
      // here.
      {u"<!DOCTYPE a SYSTEM 'x'><a>1</a>", u"1", "an external subset alone"},
      {u"<!DOCTYPE a PUBLIC 'p' 'x'><a b='1&amp;'>1&lt;</a>", u"1<", "predefined with an external subset"},
      {u"<!DOCTYPE a SYSTEM 'x'><a>&u;</a>", u"refused", "undeclared in content"},
      {u"<!DOCTYPE a SYSTEM 'x'><a b='&u;'/>", u"refused", "undeclared in a value"},
      {u"<!DOCTYPE a SYSTEM 'x'><a><c d='1'/><c d='&amp;&u;'/></a>", u"refused", "undeclared further on"},
      {u"<!DOCTYPE a PUBLIC 'p' 'x'><a b='&u;'/>", u"refused", "undeclared in a value"},
      {u"<?xml version='1.0' standalone='yes'?><!DOCTYPE a SYSTEM 'x'><a b='&u;'/>", u"refused",
       "standalone"},
      {u"<?xml version='1.0' standalone='no'?><!DOCTYPE a SYSTEM 'x'><a b='&u;'/>", u"refused",
       "not standalone"},
      {u"<!DOCTYPE a SYSTEM 'x' [<!ENTITY e 'x'>]><a b='&e;'>&e;</a>", u"x", "declared in what was read"},
      {u"<!DOCTYPE a SYSTEM 'x' [<!ENTITY e '&u;'>]><a>&e;</a>", u"refused", "undeclared, nested"},
      {u"<!DOCTYPE a SYSTEM 'x' [<!ENTITY e '&u;'>]><a b='&e;'/>", u"refused",
       "undeclared, nested, in a value"},
      {u"<!DOCTYPE a SYSTEM 'x' [<!ENTITY e '&u;'>]><a/>", u"", "undeclared, never referred to"},
      {u"<!DOCTYPE a SYSTEM 'x' [<!ENTITY e '<c d=\"&u;\"/>'>]><a>&e;</a>", u"refused",
       "undeclared in a value in an entity"},
      {u"<!DOCTYPE a SYSTEM 'x' [<!ENTITY u '1'><!ENTITY e '<c d=\"&u;\"/>'>]><a>&e;</a>", u"",
       "declared in a value in an entity"},
      {u"<!DOCTYPE a SYSTEM 'x' [<!ATTLIST a b CDATA '&u;'>]><a/>", u"refused", "undeclared in a default"},
      {u"<!DOCTYPE a SYSTEM 'x' [<!ENTITY e '1'><!ATTLIST a b CDATA '&e;'>]><a/>", u"",
       "declared in a default"},
      {u"<!DOCTYPE a SYSTEM 'x' [<!ATTLIST a b CDATA '&u;'><!ENTITY u '1'>]><a/>", u"refused",
       "declared behind the default"},
      {u"<!DOCTYPE a [<!ATTLIST a b CDATA '&u;'>]><a/>", u"refused", "undeclared in a default, no subset"},
      {u"<!DOCTYPE a SYSTEM 'x' [<!ENTITY e SYSTEM 'y'>]><a b='&e;'/>", u"refused", "external in a value"},
      // Parameter entities.
      {u"<!DOCTYPE a [<!ENTITY % p 'x'>]><a>1</a>", u"1", "declared, not used"},
      {u"<!DOCTYPE a [<!ENTITY % p '<!ENTITY e \"x\">'> %p;]><a>&e;</a>", u"refused", "internal"},
      {u"<!DOCTYPE a [<!ENTITY % p SYSTEM 'x'> %p;]><a/>", u"refused", "external"},
      {u"<!DOCTYPE a [%p;]><a/>", u"refused", "undeclared"},
      {u"<!DOCTYPE a [<!-- %p; -->]><a>1</a>", u"1", "in a comment it is none"},
      {u"<!DOCTYPE a [<!ATTLIST a b CDATA '%p;'>]><a>1</a>", u"1", "in a value it is none"},
      {u"<!DOCTYPE a [<!ENTITY e '%p;'>]><a/>", u"refused", "within a declaration"},
  };
  for (const EntityCase& c : cases) EXPECT_EQ(RootText(c.text), c.expected) << c.why;
}

TEST(Entities, DefaultsOfTheDocumentTypeAreAttributes) {
  EXPECT_EQ(Rewritten(u"<!DOCTYPE a [<!ATTLIST a b CDATA 'x' c CDATA #IMPLIED>]><a/>"), u"<a b=\"x\"/>");
  EXPECT_EQ(Rewritten(u"<!DOCTYPE a [<!ATTLIST a b CDATA 'x'>]><a b='y'/>"), u"<a b=\"y\"/>");
}

TEST(Reading, LeavesOutDeclarationAndDocumentType) {
  EXPECT_EQ(Rewritten(u"<?xml version='1.0'?><!--1--><!DOCTYPE a [<!--2--><?x?>]><?p q r?><a/><!--3-->"),
            u"<!--1--><?p q r?><a/><!--3-->");
}

TEST(Reading, KeepsAnInstructionWithoutData) {
  EXPECT_EQ(Rewritten(u"<a><?p?><?q  r ?></a>"), u"<a><?p?><?q r ?></a>");
}

// Entities nested to `depth`, each in the one before.
WideString NestedEntities(unsigned depth, bool innermostFirst) {
  const auto Name = [](unsigned level) {
    WideString name = u"e";
    for (const char digit : std::to_string(level)) name += static_cast<char16_t>(digit);
    return name;
  };
  const auto Declaration = [&](unsigned level) {
    return u"<!ENTITY " + Name(level) + u" '" + (level == depth ? u"x" : u"&" + Name(level + 1) + u";") +
           u"'>";
  };
  WideString text = u"<!DOCTYPE a [";
  for (unsigned i = 1; i <= depth; ++i) text += Declaration(innermostFirst ? depth + 1 - i : i);
  return text + u"]><a>&" + Name(1) + u";</a>";
}

TEST(Entities, AreNestedToALimit) {
  for (const bool innermostFirst : {false, true}) {
    EXPECT_EQ(RootText(NestedEntities(native::kEntityDepthLimit, innermostFirst)), u"x");
    EXPECT_EQ(RootText(NestedEntities(native::kEntityDepthLimit + 1, innermostFirst)), u"refused");
    EXPECT_EQ(RootText(NestedEntities(200000, innermostFirst)), u"refused");
  }
}

TEST(Entities, BombsAreDefused) {
  WideString laughs = u"<!DOCTYPE a [<!ENTITY e0 'ha'>";
  for (char16_t digit = u'1'; digit <= u'9'; ++digit) {
    laughs += u"<!ENTITY e" + WideString(1, digit) + u" '";
    for (int i = 0; i < 20; ++i) laughs += u"&e" + WideString(1, static_cast<char16_t>(digit - 1)) + u";";
    laughs += u"'>";
  }
  EXPECT_EQ(RootText(laughs + u"]><a>&e9;</a>"), u"refused") << "billion laughs";
  EXPECT_EQ(RootText(laughs + u"]><a b='&e9;'/>"), u"refused") << "billion laughs in a value";

  WideString blowup = u"<!DOCTYPE a [<!ENTITY e '" + WideString(100000, u'x') + u"'>]><a>";
  for (int i = 0; i < 30000; ++i) blowup += u"&e;";
  EXPECT_EQ(RootText(blowup + u"</a>"), u"refused") << "one large entity used often";
}

TEST(Entities, ModestUseIsFine) {
  WideString text = u"<!DOCTYPE a [<!ENTITY e '" + WideString(100, u'x') + u"'>]><a>";
  for (int i = 0; i < 10000; ++i) text += u"&e;";
  EXPECT_EQ(RootText(text + u"</a>").size(), 1000000U);
}

// A document type with so many attributes declared for the element "a", and as many of those elements.
struct AttributesCase {
  const char16_t* declaration;  // behind the name of each attribute
  int declarations;
  int elements;
  const char16_t* element;
  bool loads;
  const char* why;
};

TEST(DeclaredAttributes, CostNoMoreThanTheLimit) {
  const WideString large = u" CDATA '" + WideString(20000, u'x') + u"'";
  const AttributesCase cases[] = {
      {large.c_str(), 1, 100, u"<a/>", true, "some copies of a large default"},
      {large.c_str(), 1, 5000, u"<a/>", false, "many copies"},
      {large.c_str(), 1, 5000, u"<a b0=''/>", true, "which a tag can do without"},
      {large.c_str(), 1, 5000, u"<b/>", true, "and other elements do"},
      {u" CDATA ''", 1000, 100, u"<a/>", true, "many small ones"},
      {u" CDATA ''", 5000, 5000, u"<a/>", false, "too many for each element"},
      {u" CDATA ''", 20000, 0, u"", false, "too many to compare them with each other"},
      {u" ID #IMPLIED", 20000, 0, u"", false, "as is done for these"},
      {u" CDATA #IMPLIED", 20000, 1, u"<a/>", true, "but not for these"},
      {u" CDATA #IMPLIED", 20000, 20000, u"<a/>", false, "too many to be looked at for each element"},
  };
  for (const AttributesCase& row : cases) {
    WideString text = u"<!DOCTYPE r [<!ATTLIST a";
    for (int i = 0; i < row.declarations; ++i) {
      text += u" b";
      AppendInt(text, i);
      text += row.declaration;
    }
    text += u">]><r>";
    for (int i = 0; i < row.elements; ++i) text += row.element;
    EXPECT_EQ(Loads(text + u"</r>"), row.loads) << row.why;
  }
}

TEST(DeclaredAttributes, MayCostMoreInALargerDocument) {
  const auto Document = [](int blanks) {
    WideString text = u"<!DOCTYPE r [<!ATTLIST a b CDATA '" + WideString(5000, u'x') + u"'>]><r>";
    for (int i = 0; i < 2000; ++i) text += u"<a/>";
    return text + WideString(static_cast<std::size_t>(blanks), u' ') + u"</r>";
  };
  EXPECT_FALSE(Loads(Document(0)));
  EXPECT_TRUE(Loads(Document(90000)));
}

TEST(Reading, CopesWithTokensLargerThanItsPieces) {
  const WideString large(1000003, u'x');
  EXPECT_EQ(RootText(u"<a>" + large + u"</a>"), large);
  EXPECT_EQ(Rewritten(u"<a b=\"" + large + u"\"><!--" + large + u"--><?p " + large + u"?></a>"),
            u"<a b=\"" + large + u"\"><!--" + large + u"--><?p " + large + u"?></a>");
  EXPECT_EQ(Rewritten(u"<" + large + u"/>"), u"<" + large + u"/>");
}

TEST(Reading, GoesOnBehindALongToken) {
  const WideString text(5000011, u'x');
  WideString references;
  for (int i = 0; i < 500000; ++i) references += u"&lt;";
  const WideString document = u"<a><b c=\"" + references + u"\">1</b><!--" + text + u"-->" + text +
                              u"<d e=\"" + text + u"\">2</d></a>";
  EXPECT_EQ(Rewritten(document), document);
  EXPECT_FALSE(Loads(document + u"<e>"));
}

TEST(Reading, CutsNoPairAtTheEndOfAPiece) {
  WideString pairs;
  for (int i = 0; i < 300000; ++i) pairs += u"\U0001F600";
  EXPECT_EQ(RootText(u"<a>" + pairs + u"</a>"), pairs);
  EXPECT_EQ(RootText(u"<aa>" + pairs + u"</aa>"), pairs);
}

TEST(Reading, ManyAttributesTakeLinearTime) {
  WideString text = u"<a";
  for (int i = 0; i < 100000; ++i) {
    text += u" b";
    for (const char digit : std::to_string(i)) text += static_cast<char16_t>(digit);
    text += u"=\"\"";
  }
  text += u"/>";
  EXPECT_EQ(Rewritten(text), text);
}

}  // namespace
}  // namespace sbx::xml
