// CKMC_SecurityModule: its settings choose the encryption, which the
// finishing step applies when it writes the document again.
#pragma once

#include "modules/module_settings.h"
#include "modules/plugin_module_base.h"

class CKMC_SecurityModule : public CKMC_PluginModuleBase<CKMC_SecurityModule> {
 public:
  using CKMC_PluginModuleBase::CKMC_PluginModuleBase;

  bool IsEnabled() override { return ReadModuleInt(u"Security", u"EncryptType", 0) != 0; }
  // Nothing to change in the document: encryption happens when it is
  // written.
  int ProcessDocument(CPDF_Document*, bool) override { return 1; }
};
