// Random structure descriptions with rules of all four kinds, and graphs of records to match: what both
// directions accept and the XML can carry. The same seed gives the same graph everywhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/wide_text.h"

namespace sbx::testing {

// SplitMix64.
class Dice {
 public:
  explicit Dice(std::uint64_t seed) : state_(seed) {}
  std::uint64_t Bits();
  // 0 to `sides` - 1.
  std::size_t Roll(std::size_t sides) { return static_cast<std::size_t>(Bits() % sides); }
  bool OneIn(std::size_t sides) { return Roll(sides) == 0; }
  template <class T>
  const T& Of(const std::vector<T>& choices) {
    return choices[Roll(choices.size())];
  }

 private:
  std::uint64_t state_;
};

// What an item's memory holds once the rules have spoken.
struct Shape {
  enum class Kind { kScalar, kText, kNull, kNames, kRecord };
  Kind kind = Kind::kScalar;
  WideString type;         // of one element; a record's name
  std::size_t size = 0;    // of one element, in bytes
  std::size_t record = 0;  // index, for kRecord
  std::size_t count = 1;   // elements
  bool isPointer = false;
};

struct Item {
  enum class Role { kPlain, kKind, kCount, kCounted, kVariant, kNames, kLabel };
  WideString name;
  WideString type;  // as the description declares it
  std::size_t offset = 0;
  std::size_t size = 0;
  WideString restrictText;
  Role role = Role::kPlain;
  Shape shape;                  // of one element for kCounted; without a rule's effect for kVariant
  std::vector<Shape> variants;  // kVariant: by the kind item's value, from 1
  std::size_t partner = 0;      // index of the kind or count item
};

struct Record {
  WideString name;
  std::size_t size = 0;
  std::vector<Item> items;
  std::optional<std::size_t> relocatesTo;  // when item 0, the kind, holds kRelocates
};
inline constexpr std::uint32_t kRelocates = 9;

class RandomGraph {
 public:
  explicit RandomGraph(std::uint64_t seed);

  WideString Descriptions() const;
  WideString Rules() const;
  static constexpr const char16_t* kRoot = u"R0";

  // Names of items are told apart across records; null for none.
  const Item* FindItem(WideView name) const;

  const std::byte* memory() const { return memory_; }
  std::size_t size() const { return records_[0].size; }

  // Where the rebuilt graph differs, as a path of item names; empty for nowhere.
  std::string Difference(const std::byte* rebuilt) const;

 private:
  // Building descriptions.
  void MakeRecord(std::size_t index);
  void AddPlain(Record& record, std::size_t index);
  void AddScalar(Record& record);
  void AddScalars(Record& record);
  void AddPointer(Record& record);
  void AddRecords(Record& record, std::size_t index, bool isPointer);
  void AddRuled(Record& record, std::size_t index);
  void AddCounted(Record& record, std::size_t index);
  void AddVariant(Record& record, std::size_t index);
  void AddNames(Record& record);
  void AddLabel(Record& record);
  Item& Add(Record& record, WideString type, Shape shape);
  void LayOut(Record& record);
  void MakeRelocation(std::size_t from);
  Shape RandomScalar();

  // Filling memory.
  std::byte* NewBlock(std::size_t bytes);
  void Fill(std::size_t record, std::byte* at);
  void FillItem(const Record& record, const Item& item, std::byte* at);
  void FillRuled(const Record& record, const Item& item, std::byte* at);
  void FillShape(const Shape& shape, std::byte* at);
  void FillScalar(const Shape& shape, std::byte* at);
  void FillText(std::byte* at);
  void FillNames(std::uint32_t count, std::byte* at);
  WideString RandomText();
  WideString RandomName();

  // Comparing.
  const Record& Effective(std::size_t record, const std::byte* at) const;
  Shape EffectiveShape(const Record& record, const Item& item, const std::byte* recordAt) const;
  std::string DifferenceOfRecord(std::size_t record, const std::byte* a, const std::byte* b) const;
  std::string DifferenceOfShape(const Shape& shape, const std::byte* a, const std::byte* b) const;

  Dice dice_;
  std::vector<Record> records_;
  std::vector<std::unique_ptr<std::uint64_t[]>> blocks_;
  std::byte* memory_ = nullptr;
  int budget_ = 60;  // records that may still be filled behind pointers
};

}  // namespace sbx::testing
