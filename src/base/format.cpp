#include "base/format.h"

#include <algorithm>

namespace sbx {
namespace {

// The buffer under construction: drops what does not fit and remembers that it did.
class Output {
 public:
  Output(char16_t* out, std::size_t limit) noexcept : out_(out), limit_(limit) {}

  void Put(char16_t unit) noexcept {
    if (length_ < limit_) {
      out_[length_++] = unit;
    } else {
      complete_ = false;
    }
  }
  void Put(WideView text) noexcept {
    const std::size_t count = std::min(text.size(), limit_ - length_);
    std::copy_n(text.data(), count, out_ + length_);
    length_ += count;
    if (count < text.size()) complete_ = false;
  }
  void Fill(char16_t unit, std::size_t count) noexcept {
    const std::size_t fitting = std::min(count, limit_ - length_);
    std::fill_n(out_ + length_, fitting, unit);
    length_ += fitting;
    if (fitting < count) complete_ = false;
  }
  std::size_t Finish() noexcept {
    out_[length_] = u'\0';
    return length_;
  }
  bool complete() const noexcept { return complete_; }

 private:
  char16_t* out_;
  std::size_t limit_;
  std::size_t length_ = 0;
  bool complete_ = true;
};

enum class Conversion {
  kUnknown,
  kText,
  kUnit,
  kSigned32,
  kUnsigned32,
  kSigned64,
  kUnsigned64,
  kHex,
  kPointer
};

struct Spec {
  bool left = false;
  bool zero = false;
  bool prefix = false;
  bool upper = false;
  std::size_t width = 0;
  std::size_t precision = 0;
  bool hasPrecision = false;
  Conversion conversion = Conversion::kUnknown;
};

// No message is longer, so a larger width or precision says no more.
constexpr std::size_t kCountLimit = kMessageUnits + 1;

std::size_t ReadCount(WideView format, std::size_t& at) noexcept {
  std::size_t value = 0;
  for (; at < format.size() && format[at] >= u'0' && format[at] <= u'9'; ++at) {
    value = std::min<std::size_t>(value * 10 + (format[at] - u'0'), kCountLimit);
  }
  return value;
}

Conversion ReadConversion(WideView format, std::size_t& at, bool& upper) noexcept {
  if (format.substr(at, 4) == u"I64d") return at += 4, Conversion::kSigned64;
  if (format.substr(at, 4) == u"I64u") return at += 4, Conversion::kUnsigned64;
  if (format.substr(at, 2) == u"ld") return at += 2, Conversion::kSigned32;
  if (format.substr(at, 2) == u"lu") return at += 2, Conversion::kUnsigned32;
  if (at >= format.size()) return Conversion::kUnknown;
  switch (format[at++]) {
    case u's':
      return Conversion::kText;
    case u'c':
      return Conversion::kUnit;
    case u'd':
    case u'i':
      return Conversion::kSigned32;
    case u'u':
      return Conversion::kUnsigned32;
    case u'X':
      upper = true;
      return Conversion::kHex;
    case u'x':
      return Conversion::kHex;
    case u'p':
      return Conversion::kPointer;
    default:
      return Conversion::kUnknown;
  }
}

// Reads what follows a per cent sign. Moves `at` only past a known conversion.
Spec ReadSpec(WideView format, std::size_t& at) noexcept {
  Spec spec;
  std::size_t position = at;
  for (; position < format.size(); ++position) {
    const char16_t unit = format[position];
    if (unit == u'-') {
      spec.left = true;
    } else if (unit == u'0') {
      spec.zero = true;
    } else if (unit == u'#') {
      spec.prefix = true;
    } else {
      break;
    }
  }
  spec.width = ReadCount(format, position);
  if (position < format.size() && format[position] == u'.') {
    spec.hasPrecision = true;
    spec.precision = ReadCount(format, ++position);
  }
  spec.conversion = ReadConversion(format, position, spec.upper);
  if (spec.conversion != Conversion::kUnknown) at = position;
  return spec;
}

void PutPadded(Output& out, const Spec& spec, WideView text) noexcept {
  const std::size_t padding = spec.width > text.size() ? spec.width - text.size() : 0;
  if (!spec.left) out.Fill(u' ', padding);
  out.Put(text);
  if (spec.left) out.Fill(u' ', padding);
}

// `lead` is a sign or a hexadecimal prefix. Zeros stand between it and the digits; the precision counts the
// sign, as the platform's own formatter does.
void PutNumber(Output& out, const Spec& spec, WideView lead, WideView digits) noexcept {
  const std::size_t bare = lead.size() + digits.size();
  std::size_t wanted = spec.hasPrecision ? spec.precision : 0;
  if (spec.zero && !spec.left && !spec.hasPrecision) wanted = spec.width;
  const std::size_t zeros = wanted > bare ? wanted - bare : 0;
  const std::size_t padding = spec.width > bare + zeros ? spec.width - bare - zeros : 0;
  if (!spec.left) out.Fill(u' ', padding);
  out.Put(lead);
  out.Fill(u'0', zeros);
  out.Put(digits);
  if (spec.left) out.Fill(u' ', padding);
}

class Digits {
 public:
  Digits(std::uint64_t value, unsigned base, bool upper) noexcept {
    const char16_t* const alphabet = upper ? u"0123456789ABCDEF" : u"0123456789abcdef";
    do {
      units_[--first_] = alphabet[value % base];
      value /= base;
    } while (value != 0);
  }
  WideView view() const noexcept { return {units_ + first_, kUnits - first_}; }

 private:
  static constexpr std::size_t kUnits = 20;
  char16_t units_[kUnits];
  std::size_t first_ = kUnits;
};

void PutSigned(Output& out, const Spec& spec, std::int64_t value) noexcept {
  const auto bits = static_cast<std::uint64_t>(value);
  PutNumber(out, spec, value < 0 ? u"-" : u"", Digits(value < 0 ? 0 - bits : bits, 10, false).view());
}

void PutPointer(Output& out, const Spec& spec, std::uint64_t value) noexcept {
  Spec full = spec;
  full.hasPrecision = true;
  full.precision = 16;
  PutNumber(out, full, u"", Digits(value, 16, true).view());
}

void PutConversion(Output& out, const Spec& spec, const FormatArg& arg) noexcept {
  const std::uint64_t number = arg.number();
  switch (spec.conversion) {
    case Conversion::kText: {
      const WideView text = arg.isNullText() ? WideView(u"(null)") : arg.text();
      return PutPadded(out, spec, spec.hasPrecision ? text.substr(0, spec.precision) : text);
    }
    case Conversion::kUnit: {
      const auto unit = static_cast<char16_t>(number);
      return PutPadded(out, spec, unit == u'\0' ? WideView() : WideView(&unit, 1));
    }
    case Conversion::kSigned32:
      return PutSigned(out, spec, static_cast<std::int32_t>(number));
    case Conversion::kUnsigned32:
      return PutNumber(out, spec, u"", Digits(static_cast<std::uint32_t>(number), 10, false).view());
    case Conversion::kSigned64:
      return PutSigned(out, spec, static_cast<std::int64_t>(number));
    case Conversion::kUnsigned64:
      return PutNumber(out, spec, u"", Digits(number, 10, false).view());
    case Conversion::kHex:
      return PutNumber(out, spec, spec.prefix ? (spec.upper ? u"0X" : u"0x") : u"",
                       Digits(static_cast<std::uint32_t>(number), 16, spec.upper).view());
    case Conversion::kPointer:
      return PutPointer(out, spec, number);
    case Conversion::kUnknown:
      return;
  }
}

}  // namespace

std::size_t FormatTo(char16_t* out, std::size_t capacity, WideView format, std::span<const FormatArg> args,
                     bool* complete) noexcept {
  if (complete != nullptr) *complete = capacity != 0;
  if (capacity == 0) return 0;
  Output output(out, std::min(capacity, kMessageUnits + 1) - 1);
  std::size_t next = 0;
  for (std::size_t at = 0; at < format.size();) {
    const char16_t unit = format[at++];
    if (unit != u'%') {
      output.Put(unit);
    } else if (at < format.size() && format[at] == u'%') {
      output.Put(format[at++]);
    } else if (const Spec spec = ReadSpec(format, at); spec.conversion != Conversion::kUnknown) {
      PutConversion(output, spec, next < args.size() ? args[next] : FormatArg());
      ++next;
    }
  }
  if (complete != nullptr) *complete = output.complete();
  return output.Finish();
}

}  // namespace sbx
