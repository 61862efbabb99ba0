// CKMC_PluginModuleBase: what every post-processing module shares: one
// instance per process, made and registered with the core by Create, and
// released by the core; the interface-side operations do nothing in the
// driver.
#pragma once

#include <new>

#include "platform/win_types.h"
#include "services/core_module.h"
#include "services/plugin_module.h"

template <typename Derived>
class CKMC_PluginModuleBase : public IKMC_PluginModule {
 public:
  explicit CKMC_PluginModuleBase(HMODULE module) : m_module(module) {}

  void Release() override {
    if (s_instance == this) s_instance = nullptr;
    delete this;
  }
  void LoadSettings() override {}
  void SaveSettings() override {}
  void CreatePages() override {}

  HMODULE GetModule() const { return m_module; }
  // The process's instance, or null.
  static Derived* Instance() { return s_instance; }

  // Makes the process's instance, once, and registers it with the core;
  // returns it, or null (no core, no printer context where the module's
  // pages need one, or no memory).
  static Derived* Create(HMODULE module) {
    CKMC_CoreModule* core = CKMC_CoreModule::Get();
    if (!core) return nullptr;
    if (s_instance) return s_instance;
    if (Derived::kNeedsPrinterContext && !core->GetPrinterContext()) return nullptr;
    s_instance = new (std::nothrow) Derived(module);
    if (s_instance) core->AddPluginModule(s_instance);
    return s_instance;
  }

  static constexpr bool kNeedsPrinterContext = false;

 private:
  HMODULE m_module;
  static inline Derived* s_instance = nullptr;
};
