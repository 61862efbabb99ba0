// CKMC_WaterMarkModule: puts the text or image of the WaterMark settings on
// the pages of the finished document.
#pragma once

#include "modules/module_settings.h"
#include "modules/plugin_module_base.h"

class CKMC_WaterMarkModule : public CKMC_PluginModuleBase<CKMC_WaterMarkModule> {
 public:
  using CKMC_PluginModuleBase::CKMC_PluginModuleBase;

  bool IsEnabled() override { return ReadModuleInt(u"WaterMark", u"AddWatermark", 0) != 0; }
  // Stamping is done by the page format code, which is not there yet; a
  // batch job or a missing document is never stamped.
  int ProcessDocument(CPDF_Document*, bool) override { return 1; }
};
