#include "api/last_error.h"

#include <algorithm>
#include <mutex>

#include "api/conversion_state.h"
#include "platform/locks.h"

namespace sbx {
namespace {

constinit platform::ShortLock g_slot;

}  // namespace

void StoreLastErrorText(WideView text) noexcept {
  const std::scoped_lock guard(g_slot);
  CopyTruncated(g_conversion.lastErrorText, kLastErrorUnits, text);
}

void HoldLastErrorText() noexcept {
  g_slot.lock();
}
void ReleaseLastErrorText() noexcept {
  g_slot.unlock();
}

std::size_t CopyLastErrorText(char16_t* out) noexcept {
  const std::scoped_lock guard(g_slot);
  const WideView text = ViewOf(g_conversion.lastErrorText);
  std::copy_n(text.data(), text.size() + 1, out);
  return text.size();
}

}  // namespace sbx
