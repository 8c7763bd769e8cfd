#include "xml/native/xml_names.h"

#include <gtest/gtest.h>

#include "xml/document.h"

namespace sbx::xml::native {
namespace {

struct NameCase {
  WideView text;
  bool isName;
  const char* why;
};

TEST(Names, FollowTheFourthEdition) {
  const NameCase cases[] = {
      {u"a", true, "letter"},
      {u"_", true, "underline"},
      {u":", true, "colon"},
      {u"a:b:c", true, "prefixes have no meaning"},
      {u"JobScriptXMLDescription", true, "letters"},
      {u"a-b.c1", true, "further on"},
      {u"", false, "empty"},
      {u"1a", false, "digit first"},
      {u"-a", false, "hyphen first"},
      {u".a", false, "dot first"},
      {u"a b", false, "blank"},
      {u"a\n", false, "line feed"},
      {u"a<", false, "markup"},
      {u"a>", false, "markup"},
      {u"a/", false, "markup"},
      {u"[", false, "bracket"},
      {u"a*", false, "asterisk"},
      {u"\u00C0", true, "Latin letter"},
      {u"\u00D7", false, "multiplication sign"},
      {u"\u00AA", false, "a letter only since the fifth edition"},
      {u"\u0130", true, "first run of Latin Extended"},
      {u"\u0132", false, "ligature, fifth edition only"},
      {u"a\u00B7", true, "extender further on"},
      {u"\u00B7", false, "extender first"},
      {u"\u0660", false, "digit of another script first"},
      {u"a\u0660", true, "digit of another script"},
      {u"a\u0301", true, "combining"},
      {u"\u0301", false, "combining first"},
      {u"\u4E00\u9FA5", true, "ideographs"},
      {u"\u9FA6", false, "ideograph of a later Unicode"},
      {u"\u3007", true, "ideographic zero"},
      {u"\u3021", true, "Hangzhou numeral"},
      {u"\uAC00\uD7A3", true, "Hangul"},
      {u"\uD7A4", false, "behind Hangul"},
      {u"\U00010000", false, "beyond the first plane"},
      {u"a\U00020000", false, "beyond the first plane"},
      {u"\uFFFE", false, "no character"},
      {u"\uFF21", false, "full width"},
  };
  for (const NameCase& c : cases) EXPECT_EQ(IsName(c.text), c.isName) << c.why;
  EXPECT_FALSE(IsName(WideString(1, 0xD800)));
  EXPECT_FALSE(IsName(WideString({u'a', 0xDC00})));
  EXPECT_FALSE(IsName(WideView(u"a\0", 2)));
}

// Writer and reader agree on every unit: what can be created can be loaded, and the other way round.
TEST(Names, AreThoseThatTheReaderTakes) {
  const auto Loads = [](const WideString& name) { return Document::New()->LoadXml(u"<" + name + u"/>"); };
  for (unsigned value = 0; value < 0x10000; ++value) {
    const auto unit = static_cast<char16_t>(value);
    // Blanks and the slash end a name, so a document with them says something else.
    if (value == 9 || value == 10 || value == 13 || value == 32 || value == '/') continue;
    EXPECT_EQ(Loads(WideString(1, unit)), IsNameStart(unit)) << std::hex << value;
    EXPECT_EQ(Loads(WideString{u'a', unit}), IsNameUnit(unit)) << std::hex << value;
  }
}

}  // namespace
}  // namespace sbx::xml::native
