// The scan that tells places where the system reads documents for the library, beside the library's own
// reader: they take the same documents, tell the same of them, and name the same places.
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <string>

// The two go by one name where they are built in; here each gets its own.
#define ReadPlacedXml ReadByScan
#include "sbxml/xml_reading_scan.cpp"
#undef ReadPlacedXml
#include "platform/narrow_text.h"

namespace sbx::testing {
namespace {

using xml::native::ParsedAttribute;
using xml::native::ReadingReport;

// What a reader told, one line for each event.
class Told final : public xml::native::ParseEvents {
 public:
  ReadingReport report;

  bool StartElement(WideView name, std::span<const ParsedAttribute> attributes) override {
    End();
    Line(u"<", name);
    // Declared ones may stand in another order than they were declared in.
    std::vector<WideString> all;
    for (const ParsedAttribute& attribute : attributes) {
      all.push_back(WideString(attribute.name) + u"=" + WideString(attribute.value));
    }
    std::sort(all.begin(), all.end());
    for (const WideString& attribute : all) text_ += u"  " + attribute + u"\n";
    return true;
  }
  void EndElement() override {
    End();
    text_ += u">\n";
  }
  void Characters(WideView piece) override { characters_ += piece; }
  void StartCdata() override {
    End();
    text_ += u"[";
  }
  void EndCdata() override {
    End();
    text_ += u"]\n";
  }
  void Comment(WideView text) override {
    End();
    Line(u"!", text);
  }
  void Instruction(WideView target, WideView data) override {
    End();
    Line(u"?", WideString(target) + u" " + WideString(data));
  }
  std::string text() {
    End();
    return platform::Narrow(text_, platform::NarrowPage::kUtf8).value_or("");
  }

 private:
  void End() {
    if (!characters_.empty()) text_ += u"'" + characters_ + u"'\n";
    characters_.clear();
  }
  void Line(WideView mark, WideView text) {
    const std::string place =
        std::to_string(report.here().line) + ":" + std::to_string(report.here().column) + " ";
    text_.append(place.begin(), place.end());
    text_.append(mark).append(text).append(u"\n");
  }

  WideString text_;
  WideString characters_;
};

std::string ByTheLibrary(WideView text) {
  Told told;
  return xml::native::ReadXml(text, told, &told.report) ? told.text() : "refused";
}
std::string ByScan(WideView text) {
  Told told;
  return tool::ReadByScan(text, told, told.report) ? told.text() : "refused";
}

WideString Wide(const std::string& text) {
  return platform::Widen(text, platform::NarrowPage::kUtf8).value_or(u"");
}

const char* const kDocuments[] = {
    "<a/>",
    "<a></a>",
    "<?xml version=\"1.0\" encoding=\"x\"?>\r\n<!-- c --><a>\r\n<b x='1' y=\"&lt;&#65;\n\"/>\r\r\n</a><?p "
    "q?> <!--d-->",
    "<a>1 &amp; 2 &#x1F600; <![CDATA[<&]]]]><![CDATA[>]]></a>",
    "<!DOCTYPE a [<!ENTITY e \"<b>&#38;lt;</b>\"><!ENTITY f '&e;&e;'>]><a>&f;x&e;</a>",
    "<!DOCTYPE a SYSTEM \"none\" [<!ATTLIST a x CDATA ' d ' y NMTOKENS ' p  q ' z CDATA #IMPLIED>"
    "<!ATTLIST a x CDATA 'other'>]><a y='  r   s '/>",
    "<!DOCTYPE a [<!ELEMENT a (b|c)*><!NOTATION n SYSTEM 'x>'><!ENTITY % p 'x'><!-- % --><?i ]>?>]><a/>",
    "<!DOCTYPE a [<!ATTLIST b k (one|two) 'one'>]><a><b/><b k='two'/></a>",
    "<!DOCTYPE a [<!ENTITY e SYSTEM 'x'><!ENTITY u SYSTEM 'y' NDATA n>]><a/>",
    "<\xC3\xA9l\xC3\xA9ment \xCE\xB1='\xF0\x9F\x98\x80'>\xF0\x9F\x98\x80<b/></\xC3\xA9l\xC3\xA9ment>",
    "<a:b xmlns:c='d'><c:d/></a:b>",
    "\xEF\xBB\xBF<a/>",
    // Refused.
    "",
    " ",
    "<a>",
    "</a>",
    "<a></b>",
    "<a/><b/>",
    "<a/>x",
    "x<a/>",
    " <?xml version='1.0'?><a/>",
    "<?xml?><a/>",
    "<a><?xml version='1.0'?></a>",
    "<a b=1/>",
    "<a b='1'c='2'/>",
    "<a b='1' b='2'/>",
    "<a b='<'/>",
    "<a>]]></a>",
    "<a>&</a>",
    "<a>&b</a>",
    "<a>&b;</a>",
    "<a>&#0;</a>",
    "<a>&#xD800;</a>",
    "<a>&#;</a>",
    "<a>\x01</a>",
    "<a><!-- -- --></a>",
    "<a><!-- x",
    "<a><![CDATA[ x",
    "<1a/>",
    "<a><b></a></b>",
    "<!DOCTYPE a [<!ENTITY e '<b>'>]><a>&e;</b></a>",
    "<!DOCTYPE a [<!ENTITY e '</a>'>]><a>&e;",
    "<!DOCTYPE a [<!ENTITY e '&e;'>]><a/>",
    "<!DOCTYPE a [<!ENTITY e '&f;'><!ENTITY f '&e;'>]><a>&e;</a>",
    "<!DOCTYPE a [<!ENTITY e SYSTEM 'x'>]><a>&e;</a>",
    "<!DOCTYPE a [<!ENTITY e SYSTEM 'x'>]><a b='&e;'/>",
    "<!DOCTYPE a [<!ENTITY % p 'x'>%p;]><a/>",
    "<!DOCTYPE a [<!ENTITY e '<'>]><a b='&e;'/>",
    "<!DOCTYPE a SYSTEM 'x'><a>&e;</a>",
    "<!DOCTYPE a [<!FOO>]><a/>",
    "<!DOCTYPE a",
    "<!DOCTYPE a []><!DOCTYPE a []><a/>",
};

TEST(SbxmlXmlScan, TellsWhatTheLibrarysReaderTells) {
  for (const char* const document : kDocuments) {
    SCOPED_TRACE(document);
    const WideString text = Wide(document);
    EXPECT_EQ(ByScan(text), ByTheLibrary(text));
  }
}

TEST(SbxmlXmlScan, DepthCostsNoStack) {
  WideString text;
  for (int i = 0; i < 200'000; ++i) text += u"<a>";
  for (int i = 0; i < 200'000; ++i) text += u"</a>";
  EXPECT_NE(ByScan(text), "refused");
}

TEST(SbxmlXmlScan, GrowthHasALimit) {
  WideString text = u"<!DOCTYPE a [<!ENTITY e0 '" + WideString(1000, u'x') + u"'>";
  for (char16_t i = u'1'; i <= u'9'; ++i) {
    text += u"<!ENTITY e" + WideString(1, i) + u" '";
    for (int times = 0; times < 10; ++times)
      text += u"&e" + WideString(1, static_cast<char16_t>(i - 1)) + u";";
    text += u"'>";
  }
  EXPECT_EQ(ByScan(text + u"]><a>&e9;</a>"), "refused");
  EXPECT_EQ(ByScan(text + u"]><a b='&e9;'/>"), "refused");
  EXPECT_NE(ByScan(text + u"]><a>&e2;</a>"), "refused");
}

// SBXML_SCANNED_DOCUMENTS sets how many there are.
TEST(SbxmlXmlScan, AgreesOnDamagedDocumentsToo) {
  const char* const count = std::getenv("SBXML_SCANNED_DOCUMENTS");
  const int documents = count == nullptr ? 20'000 : std::atoi(count);
  static const char* const kPieces[] = {"<",
                                        ">",
                                        "/",
                                        "&",
                                        ";",
                                        "\"",
                                        "'",
                                        "=",
                                        " ",
                                        "\r",
                                        "\n",
                                        "<!--",
                                        "-->",
                                        "--",
                                        "<![CDATA[",
                                        "]]>",
                                        "<?p",
                                        "?>",
                                        "&#",
                                        "x",
                                        "<a>",
                                        "</a>",
                                        "<b/>",
                                        "&e;",
                                        "<!DOCTYPE a [",
                                        "]>",
                                        "<!ENTITY e '",
                                        "'>",
                                        "\xC3\xA9",
                                        "\xF0\x9F\x98\x80",
                                        "<!ATTLIST a x CDATA '",
                                        "%",
                                        "[",
                                        "]",
                                        "<?xml version='1.0'?>",
                                        "1"};
  std::mt19937 random(7);
  const auto below = [&](std::size_t end) { return random() % end; };
  int taken = 0;
  for (int i = 0; i < documents; ++i) {
    std::string text = kDocuments[below(12)];
    // Nobody looks into what these declare.
    if (text.find("<!ELEMENT") != std::string::npos) continue;
    for (std::size_t changes = 1 + below(3); changes != 0; --changes) {
      const std::size_t at = below(text.size() + 1);
      if (below(3) == 0) {
        text.erase(at, 1 + below(6));
      } else {
        text.insert(at, kPieces[below(std::size(kPieces))]);
      }
    }
    const WideString wide = Wide(text);
    const std::string expected = ByTheLibrary(wide);
    ASSERT_EQ(ByScan(wide), expected) << text;
    taken += expected != "refused" ? 1 : 0;
  }
  EXPECT_GT(taken, documents / 20);
}

}  // namespace
}  // namespace sbx::testing
