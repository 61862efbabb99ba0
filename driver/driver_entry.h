// The driver's entry table and the guard every entry function runs in.
#pragma once

#include "platform/module_events.h"
#include "platform/winddi.h"

// Shows the error box for a failed entry function: texts 3208 and 3209
// around the function's name. Silent without a core module or language.
void ReportError(const char16_t* name);

// Process-wide facts, set when the module is loaded.
struct KMC_ModuleState {
  HMODULE instance = nullptr;
  uint32_t osVersion = 0;  // major * 100 + minor
};
KMC_ModuleState& ModuleState();


// Runs an entry function's body so that no exception ever reaches the
// engine: a failure is reported with the function's name and the entry
// returns `failure`.
template <typename R, typename Body>
R Guarded(const char16_t* name, R failure, Body&& body) noexcept {
  try {
    return body();
  } catch (...) {
    try {
      ReportError(name);
    } catch (...) {
    }
    return failure;
  }
}

// The module's only exports.
#define KMC_EXPORT __attribute__((visibility("default")))

extern "C" {
KMC_EXPORT BOOL APIENTRY DrvEnableDriver(ULONG engineVersion, ULONG size, DRVENABLEDATA* data);
KMC_EXPORT BOOL APIENTRY DrvQueryDriverInfo(DWORD mode, PVOID buffer, DWORD bufferSize, DWORD* needed);
}
