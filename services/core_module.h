// CKMC_CoreModule: the one service object of the driver module.
//
// Created when the module is loaded and destroyed when it is unloaded, it
// brings up the settings store and the language table and hands them out.
#pragma once

#include <memory>

#include "platform/win_types.h"
#include "services/data_exchange.h"
#include "services/language.h"

class CKMC_CoreModule {
 public:
  explicit CKMC_CoreModule(HMODULE module);
  ~CKMC_CoreModule();

  HMODULE GetModule() const { return m_module; }
  IKMC_Language* GetLanguage() { return m_language.get(); }
  IKMC_DataExchange* GetDataExchange() { return m_dataExchange.get(); }

  // The module's instance, or null before start-up and after shut-down.
  static CKMC_CoreModule* Get();
  static void Startup(HMODULE module);
  static void Shutdown();

  // For tests: replaces the language object (null: no language at all).
  void SetLanguage(std::unique_ptr<IKMC_Language> language) { m_language = std::move(language); }

 private:
  HMODULE m_module;
  std::unique_ptr<IKMC_Language> m_language;
  std::unique_ptr<IKMC_DataExchange> m_dataExchange;
};

// Text `id` of the module's language object into `out`; false (and an
// empty text) when there is no core module, no language object or no text.
bool LoadLanguageString(uint32_t id, char16_t* out, size_t capacity);
