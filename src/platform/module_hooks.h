// What runs when the library is loaded and unloaded.
//
// The platform calls each hook once at most; the house above defines them (src/api/module_lifecycle.cpp).
#pragma once

namespace sbx {

void OnModuleAttach() noexcept;
// Runs at unload, or at the end of the process where its other threads may still be alive then. A platform
// that has stopped them by then leaves it out: they may have held anything.
void OnModuleDetach() noexcept;

}  // namespace sbx
