// CKMC_HeadFootModule: stamps the texts of the HeadAndFoot settings
// on every page of the finished document.
#pragma once

#include "platform/win_types.h"
#include "services/plugin_module.h"

class CKMC_HeadFootModule : public IKMC_PluginModule {
 public:
  explicit CKMC_HeadFootModule(HMODULE module) : m_module(module) {}

  void Release() override;
  void LoadSettings() override {}
  void SaveSettings() override {}
  bool IsEnabled() override;
  int ProcessDocument(CPDF_Document* document, bool batch) override;
  void CreatePages() override {}

  HMODULE GetModule() const { return m_module; }
  // The process's instance, or null.
  static CKMC_HeadFootModule* Instance();

 private:
  HMODULE m_module;
};

// Makes the process's instance, once, and registers it with the core;
// returns it, or null (no core, or no memory).
CKMC_HeadFootModule* CreateHeadFootModule(HMODULE module);
