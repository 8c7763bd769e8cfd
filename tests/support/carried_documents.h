// A calling module that carries two documents of type "XML", made while the test runs.
#pragma once

#include <cstdint>
#include <memory>

#include "base/wide_text.h"
#include "sbxml.h"

#if defined(_WIN32)
#include "resource_module/resource_module.h"
#endif

namespace sbx::testing {

class CarriedDocuments {
 public:
  // The texts must outlive the object.
  CarriedDocuments(WideView descriptions, WideView rules, std::uint16_t descriptionsId = 1,
                   std::uint16_t rulesId = 2);

  CarriedDocuments(const CarriedDocuments&) = delete;
  CarriedDocuments& operator=(const CarriedDocuments&) = delete;

  SBXModule handle() const noexcept;

 private:
  static std::uint32_t Bytes(WideView text) {
    return static_cast<std::uint32_t>(text.size() * sizeof(char16_t));
  }

#if defined(_WIN32)
  std::unique_ptr<ResourceModule> module_;
#else
  SBXModuleResource resources_[2];
  SBXModuleResources table_ = {2, resources_};
#endif
};

#if defined(_WIN32)
inline CarriedDocuments::CarriedDocuments(WideView descriptions, WideView rules, std::uint16_t descriptionsId,
                                          std::uint16_t rulesId) {
  const ResourceModule::Document documents[] = {{descriptionsId, descriptions.data(), Bytes(descriptions)},
                                                {rulesId, rules.data(), Bytes(rules)}};
  module_ = std::make_unique<ResourceModule>(documents);
}
inline SBXModule CarriedDocuments::handle() const noexcept {
  return module_->get();
}
#else
inline CarriedDocuments::CarriedDocuments(WideView descriptions, WideView rules, std::uint16_t descriptionsId,
                                          std::uint16_t rulesId)
    : resources_{{"XML", descriptionsId, Bytes(descriptions), descriptions.data()},
                 {"XML", rulesId, Bytes(rules), rules.data()}} {}
inline SBXModule CarriedDocuments::handle() const noexcept {
  return &table_;
}
#endif

}  // namespace sbx::testing
