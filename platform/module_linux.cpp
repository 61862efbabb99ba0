// The driver module's load and unload notifications on Linux.
//
// Windows tells a DLL through DllMain; a shared object gets the same through
// its constructor and destructor. The module handle is an address inside
// the module, from which the host finds the module's file.
#include "platform/module_events.h"

namespace {

__attribute__((constructor)) void ModuleAttach() {
  OnModuleAttach(reinterpret_cast<HMODULE>(reinterpret_cast<void*>(&ModuleAttach)));
}

__attribute__((destructor)) void ModuleDetach() { OnModuleDetach(); }

}  // namespace
