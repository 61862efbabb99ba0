// CKMC_HeadFootModule: stamps the texts of the HeadAndFoot settings
// on every page of the finished document.
#pragma once

#include "modules/module_settings.h"
#include "modules/plugin_module_base.h"

class CKMC_HeadFootModule : public CKMC_PluginModuleBase<CKMC_HeadFootModule> {
 public:
  using CKMC_PluginModuleBase::CKMC_PluginModuleBase;

  // Any non-zero AddHeadfoot means on, and a missing one counts as 10: with
  // no settings file the module is enabled (and then finds nothing to stamp).
  bool IsEnabled() override { return ReadModuleInt(u"HeadAndFoot", u"AddHeadfoot", 10) != 0; }
  // Stamping is done by the page format code, which is not there yet; a
  // batch job is never stamped.
  int ProcessDocument(CPDF_Document*, bool) override { return 1; }

  // The module's pages need the printer context.
  static constexpr bool kNeedsPrinterContext = true;
};
