// CKMC_UIBaseModule: carries the general, layout, font, document information
// and about pages of the interface module; in a job it never asks for the
// document to be reopened.
#pragma once

#include "modules/module_settings.h"
#include "modules/plugin_module_base.h"

class CKMC_UIBaseModule : public CKMC_PluginModuleBase<CKMC_UIBaseModule> {
 public:
  using CKMC_PluginModuleBase::CKMC_PluginModuleBase;

  bool IsEnabled() override { return false; }
  // Would wrap each page's single content stream in "q " ... " Q /CS1 cs /CS1
  // CS "; the PDF library it needs is not there yet.
  int ProcessDocument(CPDF_Document*, bool) override { return 1; }
};
