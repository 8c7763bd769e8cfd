#include "xml/native/entity_table.h"

#include <algorithm>
#include <array>

namespace sbx::xml::native {
namespace {

bool IsPredefined(WideView name) noexcept {
  constexpr std::array<WideView, 5> kNames = {u"amp", u"lt", u"gt", u"apos", u"quot"};
  return std::find(kNames.begin(), kNames.end(), name) != kNames.end();
}

// Takes the next reference to a general entity off the front of `markup`, predefined ones and characters left
// out; false if there is none.
bool NextReference(WideView& markup, WideView& name) noexcept {
  for (;;) {
    const std::size_t start = markup.find(u'&');
    if (start == WideView::npos) return false;
    markup.remove_prefix(start + 1);
    const std::size_t end = markup.find_first_of(u"&;");
    if (end == WideView::npos) return false;
    name = markup.substr(0, end);
    if (markup[end] != u';') continue;
    markup.remove_prefix(end + 1);
    if (!name.empty() && name.front() != u'#' && !IsPredefined(name)) return true;
  }
}

}  // namespace

bool EntityTable::Deepen(Entity& entity, std::uint32_t depth) {
  if (entity.depth >= depth) return true;
  entity.depth = depth;
  // No entity is deepened more often than the limit says, whatever the order of the declarations.
  std::vector<Entity*> work = {&entity};
  while (!work.empty()) {
    const Entity& inner = *work.back();
    work.pop_back();
    if (inner.depth > kEntityDepthLimit) return false;
    for (Entity* const user : inner.users) {
      if (user->depth > inner.depth) continue;
      user->depth = inner.depth + 1;
      work.push_back(user);
    }
  }
  return true;
}

bool EntityTable::Declare(WideView name, const WideString* replacement) {
  Entity& entity = entities_[WideString(name)];
  if (entity.isDeclared) return true;
  entity.isDeclared = true;
  entity.isInternal = replacement != nullptr;
  std::uint32_t depth = 1;
  if (replacement != nullptr) {
    entity.replacement = *replacement;
    WideView rest = entity.replacement;
    for (WideView reference; NextReference(rest, reference);) {
      Entity& inner = entities_[WideString(reference)];
      if (inner.users.empty() || inner.users.back() != &entity) inner.users.push_back(&entity);
      depth = std::max(depth, inner.depth + 1);
    }
  }
  return Deepen(entity, depth);
}

bool EntityTable::AllDeclared(WideView markup) {
  std::vector<WideView> work = {markup};
  while (!work.empty()) {
    WideView rest = work.back();
    work.pop_back();
    for (WideView reference; NextReference(rest, reference);) {
      const auto found = entities_.find(WideString(reference));
      if (found == entities_.end() || !found->second.isDeclared || !found->second.isInternal) return false;
      if (found->second.isChecked) continue;
      found->second.isChecked = true;
      work.push_back(found->second.replacement);
    }
  }
  return true;
}

}  // namespace sbx::xml::native
