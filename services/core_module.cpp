#include "services/core_module.h"

namespace {
CKMC_CoreModule* g_core = nullptr;
}

CKMC_CoreModule::CKMC_CoreModule(HMODULE module)
    : m_module(module),
      m_language(std::make_unique<CKMC_Language>()),
      m_dataExchange(std::make_unique<CKMC_DataExchange>()) {
  CreateUserSettingsKey();
}

CKMC_CoreModule::~CKMC_CoreModule() = default;

CKMC_CoreModule* CKMC_CoreModule::Get() { return g_core; }

void CKMC_CoreModule::Startup(HMODULE module) {
  if (!g_core) g_core = new CKMC_CoreModule(module);
}

void CKMC_CoreModule::Shutdown() {
  delete g_core;
  g_core = nullptr;
}

bool LoadLanguageString(uint32_t id, char16_t* out, size_t capacity) {
  if (!out || capacity == 0) return false;
  out[0] = 0;
  CKMC_CoreModule* core = CKMC_CoreModule::Get();
  IKMC_Language* language = core ? core->GetLanguage() : nullptr;
  return language && language->GetString(id, out, capacity);
}
