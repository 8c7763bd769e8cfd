#include <cstddef>
#include <optional>

#include "base/numbers.h"
#include "desc/primary_types.h"
#include "diag/dbg_log_facade.h"
#include "platform/caller_memory.h"

namespace sbx {
namespace {

// One number of the caller's memory, appended in decimal.
template <class Signed, class Unsigned>
bool AppendScalar(std::uintptr_t address, bool isUnsigned, platform::CallerMemory& memory, WideString& out) {
  const std::optional<Unsigned> value = memory.Load<Unsigned>(address);
  if (!value) return false;
  if (isUnsigned) {
    AppendUint(out, *value);
  } else {
    AppendInt(out, static_cast<Signed>(*value));
  }
  return true;
}

bool AppendFloatAt(std::uintptr_t address, platform::CallerMemory& memory, WideString& out) {
  const std::optional<float> value = memory.Load<float>(address);
  if (value) AppendFloat(out, static_cast<double>(*value));
  return value.has_value();
}

Status RefuseMemory(WideView typeName, std::int32_t size) {
  // The last argument is the text made so far for this value, of which there is none yet.
  g_DBGLog.Printf(0, u"Binary not readable.(Type: %s, Size: %d, Content: %s)", typeName, size, u"");
  return kAddress;
}

// Memory comes first, then the description: a size that no number has is refused only where it can be read.
Status RefuseSize(WideView typeName, std::uintptr_t address, std::int32_t size,
                  platform::CallerMemory& memory) {
  if (!memory.IsReadable(address, static_cast<std::size_t>(size))) return RefuseMemory(typeName, size);
  if (typeName == u"float") {
    g_DBGLog.Printf(0, u"Invalid PDB info for type %s(Only support float. Size: %d).", typeName, size);
  } else {
    g_DBGLog.Printf(0, u"Invalid PDB info for type %s in getting string for int and float(Size: %d).",
                    typeName, size);
  }
  return kDescription;
}

}  // namespace

Status PrimaryValueToText(WideView typeName, std::uintptr_t address, std::int32_t size,
                          platform::CallerMemory& memory, WideString& out) {
  if (address == 0 || size < 1) {
    g_DBGLog.Printf(0, u"Invalid parameters for getting string from int and float.");
    return kParameter;
  }
  // One letter is the whole test: "uint" has it, "wchar_t" has not.
  const bool isUnsigned = typeName.find(u'u') != WideView::npos;
  const bool isFloat = typeName == u"float";
  bool done = false;
  if (isFloat && size == 4) {
    done = AppendFloatAt(address, memory, out);
  } else if (!isFloat && size == 1) {
    done = AppendScalar<std::int8_t, std::uint8_t>(address, isUnsigned, memory, out);
  } else if (!isFloat && size == 2) {
    done = AppendScalar<std::int16_t, std::uint16_t>(address, isUnsigned, memory, out);
  } else if (!isFloat && size == 4) {
    done = AppendScalar<std::int32_t, std::uint32_t>(address, isUnsigned, memory, out);
  } else if (!isFloat && size == 8) {
    done = AppendScalar<std::int64_t, std::uint64_t>(address, isUnsigned, memory, out);
  } else {
    return RefuseSize(typeName, address, size, memory);
  }
  return done ? kOk : RefuseMemory(typeName, size);
}

}  // namespace sbx
