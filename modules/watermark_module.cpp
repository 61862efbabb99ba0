#include "modules/watermark_module.h"

#include <new>

#include "modules/module_settings.h"
#include "services/core_module.h"

namespace {
CKMC_WaterMarkModule* g_module = nullptr;
}

CKMC_WaterMarkModule* CKMC_WaterMarkModule::Instance() { return g_module; }

void CKMC_WaterMarkModule::Release() {
  if (g_module == this) g_module = nullptr;
  delete this;
}

bool CKMC_WaterMarkModule::IsEnabled() { return ReadModuleInt(u"WaterMark", u"AddWatermark", 0) != 0; }

int CKMC_WaterMarkModule::ProcessDocument(CPDF_Document*, bool) {
  // Stamping is done by the page format code, which is not there yet; a
  // batch job or a missing document is never stamped.
  return 1;
}

CKMC_WaterMarkModule* CreateWaterMarkModule(HMODULE module) {
  CKMC_CoreModule* core = CKMC_CoreModule::Get();
  if (!core) return nullptr;
  if (g_module) return g_module;
  g_module = new (std::nothrow) CKMC_WaterMarkModule(module);
  if (g_module) core->AddPluginModule(g_module);
  return g_module;
}
