// CKMC_UIBaseModule: carries the general, layout, font, document information
// and about pages of the interface module; in a job it never asks for the
// document to be reopened.
#pragma once

#include "platform/win_types.h"
#include "services/plugin_module.h"

class CKMC_UIBaseModule : public IKMC_PluginModule {
 public:
  explicit CKMC_UIBaseModule(HMODULE module) : m_module(module) {}

  void Release() override;
  void LoadSettings() override {}
  void SaveSettings() override {}
  bool IsEnabled() override;
  int ProcessDocument(CPDF_Document* document, bool batch) override;
  void CreatePages() override {}

  HMODULE GetModule() const { return m_module; }
  // The process's instance, or null.
  static CKMC_UIBaseModule* Instance();

 private:
  HMODULE m_module;
};

// Makes the process's instance, once, and registers it with the core;
// returns it, or null (no core, or no memory).
CKMC_UIBaseModule* CreateUIBaseModule(HMODULE module);
