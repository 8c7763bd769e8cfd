// The workload's two documents, and the module that carries them.
#pragma once

#include <string>

#include "sbxml.h"
#include "workload.h"

namespace bench {

// How the library learns the length of the two arrays behind pointers.
enum class ArrayCounts {
  kInType,  // a count written into the item's type: descriptions made for this size alone
  kByRule,  // StructArrayPtr rules: the same documents for every size
};

class Module {
 public:
  Module(ArrayCounts counts, const Size& size);
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  SBXModule handle() const { return &table_; }

  static constexpr std::uint32_t kDescriptionsId = 1;
  static constexpr std::uint32_t kRulesId = 2;

 private:
  std::u16string descriptions_;
  std::u16string rules_;
  SBXModuleResource resources_[2];
  SBXModuleResources table_;
};

}  // namespace bench
