#include "present/value_renderers.h"

#include <cstdint>
#include <optional>

#include "base/format.h"
#include "base/numbers.h"
#include "platform/clock.h"

namespace sbx {
namespace {

std::uint32_t Bits(WideView content) noexcept {
  return static_cast<std::uint32_t>(ReadLong(content));
}

void AppendHex(WideString& work, std::uint32_t number, int digits) {
  work += u"0x";
  for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4)
    work += u"0123456789ABCDEF"[(number >> shift) & 0xF];
}

}  // namespace

void RenderFmt(WideView content, WideString& work, const RestrictCommand& command,
               const JSStructItemDesc& item) {
  if (command.params.empty() || command.params.front().text != u"hex" || content.empty()) return;
  const std::uint32_t number = Bits(content);
  if (item.size == 1) {
    AppendHex(work, number, 2);
  } else if (item.size == 2) {
    AppendHex(work, number, 4);
  } else if (item.size == 4) {
    AppendHex(work, number, 8);
  }
}

void RenderTime(WideView content, WideString& work, const RestrictCommand& /*command*/,
                const JSStructItemDesc& item) {
  if (content.empty() || item.size != 4) return;
  const std::int64_t seconds = ReadLong(content);
  if (seconds == 0) return;
  const std::optional<platform::LocalTime> time = platform::ToLocalTime(seconds);
  if (!time) return;
  work += Message(u" (%4.4d-%2.2d-%2.2d %2.2d:%2.2d:%2.2d)", time->year, time->month, time->day, time->hour,
                  time->minute, time->second)
              .view();
}

void RenderFlag(WideView content, WideString& work, const RestrictCommand& command,
                const JSStructItemDesc& /*item*/) {
  if (content.empty()) return;
  const std::uint32_t number = Bits(content);
  for (const RestrictParam& param : command.params) {
    if (param.valueMissing || param.value != number) continue;
    work.append(u" (").append(param.text).append(u")");
    return;
  }
}

void RenderEnum(WideView content, WideString& work, const RestrictCommand& command,
                const JSStructItemDesc& /*item*/) {
  if (content.empty()) return;
  const std::uint32_t number = Bits(content);
  bool named = false;
  for (const RestrictParam& param : command.params) {
    if (param.valueMissing || (param.value & number) == 0) continue;
    work.append(named ? u"|" : u" (").append(param.text);
    named = true;
  }
  if (named) work += u")";
}

}  // namespace sbx
