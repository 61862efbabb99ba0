#include "modules/security_module.h"

#include <new>

#include "modules/module_settings.h"
#include "services/core_module.h"

namespace {
CKMC_SecurityModule* g_module = nullptr;
}

CKMC_SecurityModule* CKMC_SecurityModule::Instance() { return g_module; }

void CKMC_SecurityModule::Release() {
  if (g_module == this) g_module = nullptr;
  delete this;
}

bool CKMC_SecurityModule::IsEnabled() { return ReadModuleInt(u"Security", u"EncryptType", 0) != 0; }

int CKMC_SecurityModule::ProcessDocument(CPDF_Document*, bool) {
  // Nothing to change in the document: encryption happens when it is
  // written.
  return 1;
}

CKMC_SecurityModule* CreateSecurityModule(HMODULE module) {
  CKMC_CoreModule* core = CKMC_CoreModule::Get();
  if (!core) return nullptr;
  if (g_module) return g_module;
  g_module = new (std::nothrow) CKMC_SecurityModule(module);
  if (g_module) core->AddPluginModule(g_module);
  return g_module;
}
