// The general entities that a document has declared, for what the parser leaves open: how deeply they are
// nested, and whether all that a value refers to is known.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "base/name_hash.h"
#include "base/wide_text.h"

namespace sbx::xml::native {

// Entities within entities beyond this depth are refused: the parser recurses for each.
inline constexpr std::uint32_t kEntityDepthLimit = 64;

class EntityTable {
 public:
  // Adds an entity with its replacement text; null for an external or unparsed one. The first declaration of
  // a name counts. False if entities are nested too deeply now, or in a circle.
  bool Declare(WideView name, const WideString* replacement);

  // Whether every entity that the references in `markup` lead to, through replacement texts too, is internal
  // and declared.
  bool AllDeclared(WideView markup);

 private:
  struct Entity {
    bool isDeclared = false;
    bool isInternal = false;
    std::uint32_t depth = 0;  // 1 with no reference inside; grows while declarations arrive
    WideString replacement;
    std::vector<Entity*> users;  // whose replacement text refers to this one
    bool isChecked = false;      // by AllDeclared()
  };

  struct NameHasher {
    std::size_t operator()(const WideString& name) const noexcept { return HashName(name); }
  };

  bool Deepen(Entity& entity, std::uint32_t depth);

  std::unordered_map<WideString, Entity, NameHasher> entities_;  // references to an element of it stay good
};

}  // namespace sbx::xml::native
