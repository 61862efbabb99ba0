// The post-processing modules of the driver, registered with the core.
#pragma once

#include "platform/win_types.h"

// Registers the four plug-in modules with the running core, in the order
// in which the finishing step walks them: header and footer, watermark,
// base pages, security. Each registers once per process.
void RegisterPluginModules(HMODULE module);
