// What happens when the library is loaded and unloaded.
#include <mutex>

#include "api/conversion_lock.h"
#include "api/conversion_sets.h"
#include "api/handle_table.h"
#include "api/last_error.h"
#include "diag/log_lifecycle.h"
#include "platform/fork_hooks.h"
#include "platform/module_hooks.h"
#include "xml/document.h"

namespace sbx {
namespace {

// Whatever the conversions left behind. A thread that is still converting at the end of the process keeps
// what it works on, its unfinished handle included: nothing is taken from under it.
void DeleteConversionState() noexcept {
  const std::unique_lock guard(ConversionMutex(), std::try_to_lock);
  if (!guard.owns_lock()) return;
  DeleteConversionSets();
  FreeAllHandles();
  DeleteCallerMemory();
  xml::ReleaseSpareMemory();
}

// A process may fork while its other threads convert. The two small tables are held still meanwhile; a
// conversion may take long and is not waited for.
void BeforeFork() noexcept {
  HoldHandles();
  HoldLastErrorText();
}
void InParent() noexcept {
  ReleaseLastErrorText();
  ReleaseHandles();
}
void InChild() noexcept {
  InParent();
  AbandonConversionsInChild();
}

}  // namespace

// The conversion lock needs no making: it is there from load on.
void OnModuleAttach() noexcept {
  platform::RegisterForkHooks({&BeforeFork, &InParent, &InChild});
  StartLog();
}

void OnModuleDetach() noexcept {
  DeleteConversionState();
  StopLog();  // last: everything above may still log
}

}  // namespace sbx
