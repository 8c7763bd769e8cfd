#include "present/item_attributes.h"

#include <gtest/gtest.h>

#include "base/format.h"

namespace sbx {
namespace {

// The commands as text: "flag{On=1,Off=?} time{}"; a missing number is a question mark.
WideString Shown(WideView text) {
  std::vector<RestrictCommand> commands;
  ParseRestrict(text, commands);
  WideString shown;
  for (const RestrictCommand& command : commands) {
    if (!shown.empty()) shown += u" ";
    shown.append(command.name).append(u"{");
    for (const RestrictParam& param : command.params) {
      if (&param != &command.params.front()) shown += u",";
      shown.append(param.text).append(u"=");
      shown += param.valueMissing ? WideString(u"?") : WideString(Message(u"%u", param.value).view());
    }
    shown += u"}";
  }
  return shown;
}

struct Case {
  const char16_t* text;
  const char16_t* shown;
  const char* why;
};

constexpr Case kCases[] = {
    {u"", u"", "nothing"},
    {u"plain text", u"", "nothing in brackets"},
    {u"[fmt:hex]", u"fmt{hex=?}", "one parameter without a number"},
    {u"[ fmt : hex ]", u"fmt{hex=?}", "blanks are dropped"},
    {u"[fmt :hex]", u"fmt{hex=?}", "at one end alone"},
    {u"[ fmt:  hex]", u"fmt{hex=?}", "at the other"},
    {u"[   fmt ]", u"fmt{}", "unevenly"},
    {u"[\tfmt]", u"\tfmt{}", "only blanks are blanks"},
    {u"[flag:Ready(1),Busy(0x2)]", u"flag{Ready=1,Busy=2}", "decimal and hexadecimal numbers"},
    {u"[flag:Ready(1),a(3),Busy(2)]", u"flag{Ready=1,a=3,Busy=2}", "a name of one unit with a number"},
    {u"[time][flag:On(1)]", u"time{} flag{On=1}", "two commands, in order"},
    {u"[flag:On(1)][time][flag:On(2)]", u"flag{On=1} time{} flag{On=2}", "two of one name"},
    {u"prefix [time] suffix", u"time{}", "text outside"},
    {u"[]", u"", "no name"},
    {u"[]x]", u"", "and closed all the same"},
    {u"[][time]", u"time{}", "what follows is read"},
    {u"[:hex]", u"", "no name before the colon"},
    {u"[  ]", u"", "two blanks are no name"},
    {u"[ ]", u" {}", "one blank is taken as it is"},
    {u"[   ]", u" {}", "the middle one of three"},
    {u"[ :hex]", u" {hex=?}", "also before a colon"},
    {u"[fmt:]", u"fmt{}", "an empty body"},
    {u"[time", u"", "not closed"},
    {u"[time][flag:On(1)", u"time{}", "the last one not closed"},
    {u"]time[", u"", "the wrong way round"},
    {u"][time]", u"time{}", "a bracket that closes nothing"},
    {u"[a[b]", u"a[b{}", "an open bracket inside is not special"},
    {u"[a]b]", u"a{}", "the first closing bracket counts"},
    {u"[a:b:cd]", u"a{b:cd=?}", "the first colon counts"},
    {u"[a]:[b]", u"a{} b{}", "a colon outside does not"},
    {u"[flag:,On(1)]", u"flag{On=1}", "an empty first parameter"},
    {u"[flag:On(1),,Off(0),]", u"flag{On=1,Off=0}", "empty ones in the middle and at the end"},
    {u"[x:a,bc]", u"x{bc=?}", "a parameter of one unit is dropped"},
    {u"[x: a ,bc]", u"x{bc=?}", "also between blanks"},
    {u"[namelist:3]", u"namelist{}", "whatever it is"},
    {u"[namelist:12]", u"namelist{12=?}", "two units are a parameter"},
    {u"[flag:Off()]", u"flag{Off=?}", "empty parentheses"},
    {u"[flag:Off(  )]", u"flag{Off=?}", "two blanks in them"},
    {u"[flag:Off( )]", u"flag{Off=0}", "one blank is a text, and no number is 0"},
    {u"[flag:Off(3]", u"flag{Off=?}", "parentheses not closed"},
    {u"[flag:Off)3(]", u"flag{Off)3=?}", "closed before they open"},
    {u"[flag:Off)(3)]", u"flag{Off)=3}", "and once more behind"},
    {u"[flag: On Duty ( 7 ) ]", u"flag{On Duty=7}", "blanks inside a name stay"},
    {u"[flag:(5)]", u"flag{=5}", "a number without a name"},
    {u"[flag:On(1)Off(2)]", u"flag{On=1}", "the first parentheses count"},
    {u"[flag:On((1)]", u"flag{On=0}", "a parenthesis is no digit"},
    {u"[flag:Minus(-1),Hex(-0x1),Big(99999999999)]", u"flag{Minus=4294967295,Hex=4294967295,Big=2147483647}",
     "signs and limits"},
    {u"[flag:Bad(0xZZ),Text(abc)]", u"flag{Bad=0,Text=0}", "no digits are 0, and not missing"},
    {u"[Flag:On(1)]", u"Flag{On=1}", "names keep their case"},
};

TEST(ItemAttributes, Parsing) {
  for (const Case& row : kCases) {
    SCOPED_TRACE(row.why);
    EXPECT_EQ(Shown(row.text), row.shown);
  }
}

// No command looks for its colon among all that follow.
TEST(ItemAttributes, ManyCommandsTakeLinearTime) {
  constexpr std::size_t kMany = 1000000;
  WideString text;
  for (std::size_t i = 0; i < kMany; ++i) text += u"[a]";
  std::vector<RestrictCommand> commands;
  ParseRestrict(text, commands);
  EXPECT_EQ(commands.size(), kMany);
}

TEST(ItemAttributes, EarlierCommandsGo) {
  std::vector<RestrictCommand> commands;
  ParseRestrict(u"[time][fmt:hex]", commands);
  ParseRestrict(u"[flag:On(1)]", commands);
  ASSERT_EQ(commands.size(), 1u);
  EXPECT_EQ(commands[0].name, u"flag");
  ParseRestrict(u"", commands);
  EXPECT_TRUE(commands.empty());
}

}  // namespace
}  // namespace sbx
