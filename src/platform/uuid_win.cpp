#include <windows.h>
// The identifiers of the RPC runtime.
#include <cstring>
#include <rpc.h>

#include "platform/uuid.h"

namespace sbx::platform {

std::optional<Uuid> NewUuid() noexcept {
  UUID made;
  const RPC_STATUS status = UuidCreate(&made);
  if (status != RPC_S_OK && status != RPC_S_UUID_LOCAL_ONLY) return {};
  Uuid id;
  static_assert(sizeof made == sizeof id.bytes);
  std::memcpy(id.bytes.data(), &made, sizeof made);
  return id;
}

WideString UuidToText(const Uuid& id) {
  UUID system;
  std::memcpy(&system, id.bytes.data(), sizeof system);
  RPC_WSTR text = nullptr;
  if (UuidToStringW(&system, &text) != RPC_S_OK || text == nullptr) return {};
  WideString copy;
  for (const unsigned short* unit = text; *unit != 0; ++unit) copy.push_back(static_cast<char16_t>(*unit));
  RpcStringFreeW(&text);
  return copy;
}

}  // namespace sbx::platform
