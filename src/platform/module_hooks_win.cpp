#include <windows.h>

#include "platform/module_hooks.h"

// The runtime calls this behind the construction of static objects and before their destruction, so the hooks
// live inside their life here as well. Both run under the loader's lock.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID isProcessEnding) {
  if (reason == DLL_PROCESS_ATTACH) {
    sbx::OnModuleAttach();
  } else if (reason == DLL_PROCESS_DETACH && isProcessEnding == nullptr) {
    // When the process ends, the other threads are gone already, and may have held any lock, the heap's
    // included; memory and handles go with the process.
    sbx::OnModuleDetach();
  }
  return TRUE;
}
