#include "diag/log_line.h"

namespace sbx {

Message TimeText(const platform::SystemTime& time) noexcept {
  return Message(u"%4d/%02d/%02d %02d:%02d:%02d:%03d", time.year, time.month, time.day, time.hour,
                 time.minute, time.second, time.milliseconds);
}

Message LinePrefix(const platform::SystemTime& time, std::int32_t level, std::uint32_t processId,
                   std::uint32_t threadId, std::uint32_t errorCode) noexcept {
  const Message when = TimeText(time);
  if (errorCode != 0) {
    return Message(u"[%s   %02d   %05ld   %05ld   0X%08x] ", when.view(), level, processId, threadId,
                   errorCode);
  }
  return Message(u"[%s   %02d   %05ld   %05ld             ] ", when.view(), level, processId, threadId);
}

}  // namespace sbx
