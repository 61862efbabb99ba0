#include "modules/uibase_module.h"

#include <new>

#include "modules/module_settings.h"
#include "services/core_module.h"

namespace {
CKMC_UIBaseModule* g_module = nullptr;
}

CKMC_UIBaseModule* CKMC_UIBaseModule::Instance() { return g_module; }

void CKMC_UIBaseModule::Release() {
  if (g_module == this) g_module = nullptr;
  delete this;
}

bool CKMC_UIBaseModule::IsEnabled() { return false; }

int CKMC_UIBaseModule::ProcessDocument(CPDF_Document*, bool) {
  // Would wrap each page's single content stream in "q " ... " Q /CS1 cs /CS1
  // CS "; the PDF library it needs is not there yet.
  return 1;
}

CKMC_UIBaseModule* CreateUIBaseModule(HMODULE module) {
  CKMC_CoreModule* core = CKMC_CoreModule::Get();
  if (!core) return nullptr;
  if (g_module) return g_module;
  g_module = new (std::nothrow) CKMC_UIBaseModule(module);
  if (g_module) core->AddPluginModule(g_module);
  return g_module;
}
