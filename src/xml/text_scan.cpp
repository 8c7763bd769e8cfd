#include "xml/text_scan.h"

#include <cstddef>
#include <cstring>

namespace sbx::xml {
namespace {

// Four units are looked at together, as the lanes of one word.
constexpr std::size_t kLanes = sizeof(std::uint64_t) / sizeof(char16_t);
constexpr std::uint64_t kOnes = 0x0001'0001'0001'0001;
constexpr std::uint64_t kHighBits = kOnes << 15;

constexpr std::uint64_t Lanes(char16_t unit) noexcept {
  return kOnes * unit;
}

// Whether some lane is below `limit`, which is at most 0x8000. Which one can't be told from it: a borrow may
// run into the lanes above.
constexpr bool HasLaneBelow(std::uint64_t word, char16_t limit) noexcept {
  return ((word - Lanes(limit)) & ~word & kHighBits) != 0;
}

// Whether some lane may matter: a control character, or one of `&`, `<` and `>`, of which the last two differ
// in one bit alone.
constexpr bool HasSpecialLane(std::uint64_t word) noexcept {
  constexpr std::uint64_t kAngleBit = Lanes(u'<' ^ u'>');
  return HasLaneBelow(word, 0x20) || HasLaneBelow(word ^ Lanes(u'&'), 1) ||
         HasLaneBelow((word & ~kAngleBit) ^ Lanes(u'<' & u'>'), 1);
}

void AddTraits(TextTraits& traits, WideView units) noexcept {
  for (const char16_t unit : units) {
    if (unit < 0x20 && unit != u'\t' && unit != u'\n' && unit != u'\r') traits.isSafe = false;
    if (unit == u'&' || unit == u'<' || unit == u'>' || unit == u'\r') traits.needsEscapes = true;
  }
}

}  // namespace

TextTraits ScanText(WideView text) noexcept {
  TextTraits traits;
  if (text.size() < kLanes) {
    AddTraits(traits, text);
    return traits;
  }
  // The last word lies partly over the one before.
  const std::size_t last = text.size() - kLanes;
  for (std::size_t at = 0;; at = at + kLanes < last ? at + kLanes : last) {
    std::uint64_t word = 0;
    std::memcpy(&word, text.data() + at, sizeof word);
    if (HasSpecialLane(word)) AddTraits(traits, text.substr(at, kLanes));
    if (at == last) return traits;
  }
}

bool HasSurrogatesInPairs(WideView text) noexcept {
  std::size_t at = 0;
  while (at < text.size()) {
    std::uint64_t word = 0;
    if (at + kLanes <= text.size()) {
      std::memcpy(&word, text.data() + at, sizeof word);
      if (!HasLaneBelow((word & Lanes(0xF800)) ^ Lanes(0xD800), 1)) {
        at += kLanes;
        continue;
      }
    }
    const char16_t unit = text[at++];
    if ((unit & 0xF800) != 0xD800) continue;
    const bool isPair = unit < 0xDC00 && at < text.size() && (text[at] & 0xFC00) == 0xDC00;
    if (!isPair) return false;
    ++at;
  }
  return true;
}

WideView TextEscape(char16_t unit) noexcept {
  switch (unit) {
    case u'&':
      return u"&amp;";
    case u'<':
      return u"&lt;";
    case u'>':
      return u"&gt;";
    case u'\r':
      return u"&#13;";  // as it stands, a reader would make a line feed of it
    default:
      return {};
  }
}

WideView AttributeEscape(char16_t unit) noexcept {
  switch (unit) {
    case u'"':
      return u"&quot;";
    case u'\t':
      return u"&#9;";
    case u'\n':
      return u"&#10;";
    default:
      return TextEscape(unit);
  }
}

std::uint64_t EscapedTextUnits(WideView text) noexcept {
  std::uint64_t extra = 0;
  for (const char16_t unit : text) {
    extra += (unit == u'&' || unit == u'\r' ? 4U : 0U) + (unit == u'<' || unit == u'>' ? 3U : 0U);
  }
  return text.size() + extra;
}

std::uint64_t EscapedAttributeUnits(WideView text) noexcept {
  std::uint64_t extra = 0;
  for (const char16_t unit : text) {
    extra += (unit == u'"' ? 5U : 0U) + (unit == u'&' || unit == u'\r' || unit == u'\n' ? 4U : 0U) +
             (unit == u'<' || unit == u'>' || unit == u'\t' ? 3U : 0U);
  }
  return text.size() + extra;
}

}  // namespace sbx::xml
