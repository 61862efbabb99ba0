#include "modules/headfoot_module.h"

#include <new>

#include "modules/module_settings.h"
#include "services/core_module.h"

namespace {
CKMC_HeadFootModule* g_module = nullptr;
}

CKMC_HeadFootModule* CKMC_HeadFootModule::Instance() { return g_module; }

void CKMC_HeadFootModule::Release() {
  if (g_module == this) g_module = nullptr;
  delete this;
}

bool CKMC_HeadFootModule::IsEnabled() {
  // Any non-zero AddHeadfoot means on, and a missing one counts as 10: with
  // no settings file the module is enabled (and then finds nothing to stamp).
  return ReadModuleInt(u"HeadAndFoot", u"AddHeadfoot", 10) != 0;
}

int CKMC_HeadFootModule::ProcessDocument(CPDF_Document*, bool) {
  // Stamping is done by the page format code, which is not there yet; a
  // batch job is never stamped.
  return 1;
}

CKMC_HeadFootModule* CreateHeadFootModule(HMODULE module) {
  CKMC_CoreModule* core = CKMC_CoreModule::Get();
  if (!core) return nullptr;
  if (g_module) return g_module;
  // The pages need the printer context; without one nothing registers.
  if (!core->GetPrinterContext()) return nullptr;
  g_module = new (std::nothrow) CKMC_HeadFootModule(module);
  if (g_module) core->AddPluginModule(g_module);
  return g_module;
}
