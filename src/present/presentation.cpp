#include "present/presentation.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "diag/dbg_log_facade.h"
#include "present/element_content.h"
#include "present/item_attributes.h"
#include "present/name_list.h"
#include "present/value_renderers.h"

namespace sbx {
namespace {

// What is kept beside an item: its `restrict` text parsed, and the strings that its values are made in.
struct Presentation : RestrictNote {
  std::uint32_t revision = 0;
  std::vector<RestrictCommand> commands;  // borrow from the item's text
  WideString content;
  WideString work;

  const RestrictCommand* Find(WideView name) const noexcept {
    const auto found = std::find_if(commands.begin(), commands.end(),
                                    [name](const RestrictCommand& command) { return command.name == name; });
    return found == commands.end() ? nullptr : &*found;
  }
};

// The commands that work on a value, in the order in which they run whatever the order in the text.
constexpr struct {
  WideView name;
  ValueRenderer render;
} kValueCommands[] = {
    {u"fmt", RenderFmt},
    {u"time", RenderTime},
    {u"flag", RenderFlag},
    {u"enum", RenderEnum},
};

Presentation& PresentationOf(const JSStructItemDesc& item) {
  // Nobody else keeps anything here.
  auto* known = static_cast<Presentation*>(item.restrictNote.get());
  if (known != nullptr && known->revision == item.revision()) return *known;
  std::unique_ptr<Presentation> fresh;
  if (known == nullptr) fresh = std::make_unique<Presentation>();
  Presentation& parsed = known == nullptr ? *fresh : *known;
  ParseRestrict(item.restrictText(), parsed.commands);
  parsed.revision = item.revision();
  if (fresh != nullptr) item.restrictNote = std::move(fresh);
  return parsed;  // NOLINT(clang-analyzer-cplusplus.NewDelete): the item owns it by now
}

// Brings the content into the form that the item asks for. `written` is set where the element already has it.
void RenderRestrict(Presentation& shown, const JSStructItemDesc& item, const xml::NodeRef& element,
                    ElementContent& target, bool& written) {
  if (shown.commands.empty()) return;
  shown.work.clear();
  for (const auto& [name, render] : kValueCommands) {
    if (const RestrictCommand* command = shown.Find(name)) render(shown.content, shown.work, *command, item);
  }
  if (shown.Find(u"namelist") != nullptr) {
    RenderNameList(shown.content, item, element, target);
    if (shown.content.empty()) written = true;
  }
  if (shown.Find(u"fmt") != nullptr) {
    shown.content.swap(shown.work);
  } else {
    shown.content.append(u" ").append(shown.work);
  }
}

}  // namespace

Status ApplyItemPresentation(const JSStructDesc& /*record*/, const JSStructItemDesc& item,
                             std::uintptr_t /*address*/, XMLDOMHelper& output) {
  const xml::NodeRef& element = output.currentElement();
  if (!element) {
    g_DBGLog.Printf(0, u"Invalid parameters for getting element content.");
    return kOk;
  }
  // The text of an element with children is as long as all below it: it is not fetched for nothing.
  if (item.restrictText().empty()) return kOk;
  const std::optional<WideView> text = element.document()->GetText(element.get());
  if (!text) {
    g_DBGLog.Printf(0, u"Invalid XML info for getting element content.");
    return kOk;
  }
  Presentation& shown = PresentationOf(item);
  shown.content = *text;
  ElementContent target(output, text->size());
  bool written = false;
  RenderRestrict(shown, item, element, target, written);
  if (!written) target.Put(element, shown.content);
  return kOk;
}

}  // namespace sbx
