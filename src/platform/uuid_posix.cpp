#include <sys/random.h>

#include "base/format.h"
#include "platform/uuid.h"

namespace sbx::platform {

std::optional<Uuid> NewUuid() noexcept {
  Uuid id;
  if (getrandom(id.bytes.data(), id.bytes.size(), 0) != static_cast<ssize_t>(id.bytes.size())) return {};
  id.bytes[7] = static_cast<std::uint8_t>((id.bytes[7] & 0x0F) | 0x40);  // version 4: random
  id.bytes[8] = static_cast<std::uint8_t>((id.bytes[8] & 0x3F) | 0x80);  // the common variant
  return id;
}

WideString UuidToText(const Uuid& id) {
  const auto& b = id.bytes;
  const auto at = [&b](std::size_t index) { return static_cast<std::uint32_t>(b[index]); };
  const std::uint32_t first = at(0) | at(1) << 8 | at(2) << 16 | at(3) << 24;
  const Message head(u"%08x-%04x-%04x-%02x%02x-", first, at(4) | at(5) << 8, at(6) | at(7) << 8, at(8),
                     at(9));
  const Message node(u"%02x%02x%02x%02x%02x%02x", at(10), at(11), at(12), at(13), at(14), at(15));
  return WideString(head.view()).append(node.view());
}

}  // namespace sbx::platform
