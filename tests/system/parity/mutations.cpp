#include "mutations.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace sbx::testing {
namespace {

const std::vector<WideString>& WordsOf(Words words) {
  static const std::vector<WideString> jobScript = {u"&lt;",
                                                    u"&amp;",
                                                    u"<x/>",
                                                    u"<!--c-->",
                                                    u"<![CDATA[1]]>",
                                                    u"&#65;",
                                                    u" ",
                                                    u"-",
                                                    u"0x",
                                                    u"(",
                                                    u"\u00E9",
                                                    u"<?p i?>",
                                                    u"&#0;",
                                                    u"&undefined;",
                                                    u"\n",
                                                    u"\t",
                                                    u" flag=\"null\"",
                                                    u" flag=\"binary\"",
                                                    u" flag=\"bin_utf8\"",
                                                    u"4100",
                                                    u"99999999999999999999",
                                                    u"1e3",
                                                    u"\u4E2D",
                                                    u"/",
                                                    u">",
                                                    u"<"};
  static const std::vector<WideString> descriptions = {
      u"int",        u"uint64",      u"wchar_t*",  u"char*",      u"void*",      u"R1", u"R1*", u"[0]",
      u"[3]",        u"[-1]",        u"[2][2]",    u"dptr",       u"0",          u"-1", u"4",   u"8",
      u"2147483647", u"99999999999", u"[fmt:hex]", u"[namelist]", u"[enum:a=1]", u" ",  u"\"",  u"<",
      u"&",          u"JSStruct",    u"name",      u"double",     u"bool"};
  static const std::vector<WideString> rules = {u"StructArrayPtr",
                                                u"AlterType",
                                                u"RelocateStructName",
                                                u"ConvertNameList",
                                                u"R0",
                                                u"R1",
                                                u"..\\",
                                                u"\\",
                                                u"[0]",
                                                u"[9]",
                                                u"=",
                                                u"!=",
                                                u">",
                                                u"0",
                                                u"-1",
                                                u"%s",
                                                u"int*",
                                                u"wchar_t*",
                                                u"\"",
                                                u"<",
                                                u"&",
                                                u"RuleItem",
                                                u" ",
                                                u"name"};
  switch (words) {
    case Words::kJobScript:
      return jobScript;
    case Words::kDescriptions:
      return descriptions;
    case Words::kRules:
      return rules;
  }
  return jobScript;
}

// From a random "<" to the end of the tag; an empty range if there is none.
std::pair<std::size_t, std::size_t> RandomTag(const WideString& text, Dice& dice) {
  const std::size_t from = text.find(u'<', dice.Roll(text.size()));
  if (from == WideString::npos) return {0, 0};
  const std::size_t to = text.find(u'>', from);
  return to == WideString::npos ? std::pair<std::size_t, std::size_t>{0, 0} : std::pair{from, to + 1};
}

// From a random attribute value's first unit to its quote; an empty range if there is none.
std::pair<std::size_t, std::size_t> RandomValue(const WideString& text, Dice& dice) {
  const std::size_t quote = text.find(u"=\"", dice.Roll(text.size()));
  if (quote == WideString::npos) return {0, 0};
  const std::size_t to = text.find(u'"', quote + 2);
  return to == WideString::npos ? std::pair<std::size_t, std::size_t>{0, 0} : std::pair{quote + 2, to};
}

// From behind a random tag to the next one: an element's text.
std::pair<std::size_t, std::size_t> RandomContent(const WideString& text, Dice& dice) {
  const std::size_t tag = text.find(u'>', dice.Roll(text.size()));
  if (tag == WideString::npos) return {0, 0};
  const std::size_t to = text.find(u'<', tag);
  return to == WideString::npos ? std::pair<std::size_t, std::size_t>{0, 0} : std::pair{tag + 1, to};
}

void Damage(WideString& text, Words words, Dice& dice) {
  const WideString& word = dice.Of(WordsOf(words));
  switch (dice.Roll(8)) {
    case 0:  // a few units less
      text.erase(dice.Roll(text.size()), 1 + dice.Roll(4));
      return;
    case 1:  // a word more
      text.insert(dice.Roll(text.size()), word);
      return;
    case 2: {  // a tag twice
      const auto [from, to] = RandomTag(text, dice);
      text.insert(to, WideString(text.substr(from, to - from)));
      return;
    }
    case 3: {  // a tag less
      const auto [from, to] = RandomTag(text, dice);
      text.erase(from, to - from);
      return;
    }
    case 4:
    case 5: {  // another value, or content
      const auto [from, to] =
          words == Words::kJobScript ? RandomContent(text, dice) : RandomValue(text, dice);
      text.replace(from, to - from, word);
      return;
    }
    case 6: {  // a value, or content, that goes on
      const auto [from, to] =
          words == Words::kJobScript ? RandomContent(text, dice) : RandomValue(text, dice);
      text.insert(dice.OneIn(2) ? from : to, word);
      return;
    }
    default: {  // two units change places
      const std::size_t at = dice.Roll(text.size());
      std::swap(text[at], text[std::min(at + 1, text.size() - 1)]);
      return;
    }
  }
}

}  // namespace

void Mutate(WideString& text, Words words, Dice& dice) {
  for (std::size_t left = 1 + dice.Roll(3); left > 0 && !text.empty(); --left) Damage(text, words, dice);
}

}  // namespace sbx::testing
