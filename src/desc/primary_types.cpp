#include "desc/primary_types.h"

#include <array>
#include <cstddef>

#include "diag/dbg_log_facade.h"

namespace sbx {
namespace {

constexpr std::array<PrimaryType, 17> kTable = {{
    {u"char", 1},
    {u"uchar", 1},
    {u"wchar_t", 2},
    {u"bool", 1},
    {u"byte", 1},
    {u"short", 2},
    {u"ushort", 2},
    {u"int", 4},
    {u"uint", 4},
    {u"int64", 8},
    {u"uint64", 8},
    {u"long", 4},
    {u"ulong", 4},
    {u"float", 4},
    {u"double", 8},
    {u"char*", 8},
    {u"wchar_t*", 8},
}};

// Without "byte", "double" and the string pointers, and with "void".
constexpr std::array<WideView, 14> kPrimaryNames = {
    u"char", u"uchar", u"wchar_t", u"bool", u"short", u"ushort", u"int",
    u"uint", u"int64", u"uint64",  u"long", u"ulong", u"float",  u"void",
};

// Without "byte" and the string pointers, and with "void", which has no size.
constexpr std::array<PrimaryType, 15> kSizes = {{
    {u"char", 1},
    {u"uchar", 1},
    {u"wchar_t", 2},
    {u"bool", 1},
    {u"short", 2},
    {u"ushort", 2},
    {u"int", 4},
    {u"uint", 4},
    {u"int64", 8},
    {u"uint64", 8},
    {u"long", 4},
    {u"ulong", 4},
    {u"float", 4},
    {u"double", 8},
    {u"void", -1},
}};

// The rows of one list, parted by the first letter of their names: this is asked for every value of a
// document.
template <std::size_t kRows>
class LetterIndex {
 public:
  template <class NameOf>
  constexpr explicit LetterIndex(const NameOf& nameOf) noexcept {
    first_.fill(kRows);
    for (std::size_t row = kRows; row-- > 0;) {
      std::size_t& head = first_[nameOf(row).front() - u'a'];
      next_[row] = head;
      head = row;
    }
  }

  // The row of that exact name, or kRows.
  template <class NameOf>
  std::size_t Find(WideView name, const NameOf& nameOf) const noexcept {
    if (name.empty() || name.front() < u'a' || name.front() > u'z') return kRows;
    std::size_t row = first_[name.front() - u'a'];
    while (row != kRows && nameOf(row) != name) row = next_[row];
    return row;
  }

 private:
  std::array<std::size_t, 26> first_{};
  std::array<std::size_t, kRows> next_{};
};

constexpr auto kTableName = [](std::size_t row) { return kTable[row].name; };
constexpr auto kPrimaryName = [](std::size_t row) { return kPrimaryNames[row]; };
constexpr auto kSizeName = [](std::size_t row) { return kSizes[row].name; };

constexpr LetterIndex<kTable.size()> kTableIndex(kTableName);
constexpr LetterIndex<kPrimaryNames.size()> kPrimaryNameIndex(kPrimaryName);
constexpr LetterIndex<kSizes.size()> kSizeIndex(kSizeName);

}  // namespace

std::span<const PrimaryType> PrimaryTypeTable() noexcept {
  return kTable;
}

const PrimaryType* FindPrimaryType(WideView name) noexcept {
  const std::size_t row = kTableIndex.Find(name, kTableName);
  return row == kTable.size() ? nullptr : &kTable[row];
}

std::int32_t PrimaryTypeSize(WideView name) noexcept {
  const PrimaryType* row = FindPrimaryType(name);
  return row == nullptr ? 0 : row->size;
}

bool IsPrimaryTypeName(WideView name) noexcept {
  return !KeptPrimaryName(name).empty();
}

WideView KeptPrimaryName(WideView name) noexcept {
  const std::size_t row = kPrimaryNameIndex.Find(name, kPrimaryName);
  return row == kPrimaryNames.size() ? WideView() : kPrimaryNames[row];
}

std::int32_t GetTypeSize(const JSPDBMemDesc& set, WideView name) {
  if (name.data() == nullptr) {
    g_DBGLog.Printf(0, u"Invalid parameters for getting size from type.");
    return -2;
  }
  const std::size_t row = kSizeIndex.Find(name, kSizeName);
  if (row != kSizes.size()) return kSizes[row].size;
  const JSStructDesc* record = set.FindStruct(name);
  return record == nullptr ? -2 : record->size;
}

}  // namespace sbx
