#include "base/name_hash.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <set>

#include "base/numbers.h"

namespace sbx {
namespace {

TEST(NameHash, EqualNamesMeetWhereverTheyLie) {
  const WideString one = u"a name of some length";
  const WideString two = u"-a name of some length";
  EXPECT_EQ(HashName(one), HashName(WideView(two).substr(1)));
  EXPECT_EQ(HashName(u""), HashName(WideView()));
}

TEST(NameHash, OtherNamesPart) {
  std::set<std::uint64_t> hashes;
  std::size_t names = 0;
  const auto add = [&](const WideString& name) {
    hashes.insert(HashName(name));
    ++names;
  };
  for (std::size_t length = 0; length < 600; ++length) add(WideString(length, u'\0'));
  for (std::size_t length = 1; length < 9; ++length) {
    for (std::size_t at = 0; at < length; ++at) {
      WideString name(length, u'a');
      for (const char16_t unit : {u'b', u'A', u'\x8061'}) {
        name[at] = unit;
        add(name);
      }
    }
  }
  EXPECT_EQ(hashes.size(), names);
}

// Two runs of eight units that a product of words can't tell apart, as their differences cancel out.
struct Twins {
  WideView one;
  WideView other;
};

constexpr Twins kTwins[] = {
    {u"aaa\u4E00aaa\u4E00",
     u"aaa\uCE00a\x8061"
     u"a\uCE00"},
    {u"aaa\u4E00a\u5000a\u4E00", u"aaa\uCE00a\uC000a\uCE00"},
};

TEST(NameHash, NobodyCanWriteNamesThatMeet) {
  for (const Twins& twins : kTwins) {
    std::set<std::uint64_t> hashes;
    for (unsigned pattern = 0; pattern < 4096; ++pattern) {
      WideString name;
      for (unsigned bit = 1; bit < 4096; bit <<= 1) name += (pattern & bit) == 0 ? twins.one : twins.other;
      hashes.insert(HashName(name));
    }
    EXPECT_EQ(hashes.size(), 4096u);
  }
}

}  // namespace
}  // namespace sbx
