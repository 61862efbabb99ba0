#include "modules/plugin_modules.h"

#include "modules/headfoot_module.h"
#include "modules/security_module.h"
#include "modules/uibase_module.h"
#include "modules/watermark_module.h"

void RegisterPluginModules(HMODULE module) {
  CKMC_HeadFootModule::Create(module);
  CKMC_WaterMarkModule::Create(module);
  CKMC_UIBaseModule::Create(module);
  CKMC_SecurityModule::Create(module);
}
