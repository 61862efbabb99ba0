// What the plug-in modules read from the job's settings file.
#pragma once

// Integer `key` of `section` in the job's settings file through the core's
// settings store; `defaultValue` when there is no core, no store or no
// such value.
int ReadModuleInt(const char16_t* section, const char16_t* key, int defaultValue);
