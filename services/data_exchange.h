// The settings stores: the user's registry key, the per-job settings file
// and the printer's data.
//
// CKMC_DataExchange is the typed view of the per-job settings file; the
// registry and printer-data helpers are free functions beside it. Every
// reader answers a missing or mistyped value with the caller's default.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/byte_string.h"
#include "platform/win_types.h"

class IKMC_DataExchange {
 public:
  virtual ~IKMC_DataExchange() = default;
  virtual void SetFileName(const char16_t* path) = 0;
  virtual const char16_t* GetFileName() = 0;
};

class CKMC_DataExchange : public IKMC_DataExchange {
 public:
  void SetFileName(const char16_t* path) override;
  const char16_t* GetFileName() override { return m_fileName; }

 private:
  char16_t m_fileName[260] = {};
};

// The current user's settings key below HKEY_CURRENT_USER:
// "Software\Kelmo Software\PDF Forge\" followed by the user's name.
const CKM_WideString& UserSettingsKeyPath();
// Creates the user's settings key (at start-up).
void CreateUserSettingsKey();

// A REG_DWORD value of the user's key, or `defaultValue` when the key or a
// value of that exact name and type is missing.
uint32_t GetRegInt(const char16_t* name, uint32_t defaultValue);
// A REG_MULTI_SZ value of the user's key, copied into `out`: with its end if
// it fits in `capacity` units, else cut to `capacity` units without one.
// Missing: `defaultValue` is copied.
void GetRegString(const char16_t* name, char16_t* out, size_t capacity,
                  const char16_t* defaultValue);
int SetRegInt(const char16_t* name, uint32_t value);
int SetRegString(const char16_t* name, const char16_t* text);

// A 32-bit value of the printer's "PrinterDriverData" key, or the default.
uint32_t GetPrinterInt(HANDLE printer, const char16_t* name, uint32_t defaultValue);
// A text value of the printer's "PrinterDriverData" key, at most
// `maxBytes` bytes; absent means empty.
CKM_WideString GetPrinterString(HANDLE printer, const char16_t* name, size_t maxBytes);

// 0 (Letter) for the countries of "iCountry" 1, 2, 50..59 and 500..599 under
// the user's "Control Panel\International"; else, and when unreadable, 1 (A4).
int IsMetricDefault();
