// The module's load and unload notifications, which the system implements
// and the platform delivers: DllMain on Windows, the shared object's
// constructor and destructor on Linux.
#pragma once

#include "platform/win_types.h"

// The module was loaded; `instance` identifies its file.
void OnModuleAttach(HMODULE instance);
// The module is about to be unloaded.
void OnModuleDetach();
