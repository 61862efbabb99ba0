#include "modules/module_settings.h"

#include "services/core_module.h"

int ReadModuleInt(const char16_t* section, const char16_t* key, int defaultValue) {
  CKMC_CoreModule* core = CKMC_CoreModule::Get();
  IKMC_DataExchange* settings = core ? core->GetDataExchange() : nullptr;
  int value = defaultValue;
  if (settings) settings->ReadInt(section, key, &value, defaultValue);
  return value;
}
