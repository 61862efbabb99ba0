// The settings stores: the user's registry key, the per-job settings file
// and the printer's data.
//
// CKMC_DataExchange is the typed view of the per-job settings file; the
// registry and printer-data helpers are free functions beside it. Every
// reader answers a missing or mistyped value with the caller's default.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/byte_string.h"
#include "platform/win_types.h"

// The typed view of the per-job settings file: a UTF-16LE INI file made by
// the interface module for one run and read by the driver during the job.
// Strings are stored inside square brackets so that blanks at either end
// survive the profile rules; integers as decimal text; floats truncated to
// whole numbers; structs in the profile's hexadecimal form.
class IKMC_DataExchange {
 public:
  virtual ~IKMC_DataExchange() = default;
  // Makes a new, uniquely named file in the user's application data folder
  // and takes its name. 1 on success, 0 if it existed or failed.
  virtual int CreateFile() = 0;
  // Deletes the file and its virtualised copy.
  virtual int DeleteFile() = 0;
  virtual void SetFileName(const char16_t* path) = 0;
  virtual int FileExists() = 0;
  virtual const char16_t* GetFileName() = 0;
  virtual int WriteString(const char16_t* section, const char16_t* key, const char16_t* value) = 0;
  // Reads a bracketed string: the first and the last character of what the
  // profile gives are cut (so a default "abc" reads as "b"); callers pass an
  // empty default. Returns the profile's count.
  virtual int ReadString(const char16_t* section, const char16_t* key, char16_t* out,
                         const char16_t* defaultValue, int size) = 0;
  virtual int WriteInt(const char16_t* section, const char16_t* key, int value) = 0;
  // A key present with an empty value keeps the default.
  virtual int ReadInt(const char16_t* section, const char16_t* key, int* out, int defaultValue) = 0;
  virtual int WriteFloat(const char16_t* section, const char16_t* key, float value) = 0;
  virtual int ReadFloat(const char16_t* section, const char16_t* key, float* out, float defaultValue) = 0;
  virtual int WriteStringA(const char16_t* section, const char16_t* key, const char* value) = 0;
  virtual int ReadStringA(const char16_t* section, const char16_t* key, char* out,
                          const char* defaultValue, int size) = 0;
  virtual int WriteStruct(const char16_t* section, const char16_t* key, const void* data, int size) = 0;
  virtual int ReadStruct(const char16_t* section, const char16_t* key, void* out, int size) = 0;
  virtual int Reserved1() { return 0; }
  virtual int Reserved2() { return 0; }
};

class CKMC_DataExchange : public IKMC_DataExchange {
 public:
  int CreateFile() override;
  int DeleteFile() override;
  void SetFileName(const char16_t* path) override;
  int FileExists() override;
  const char16_t* GetFileName() override { return m_fileName; }
  int WriteString(const char16_t* section, const char16_t* key, const char16_t* value) override;
  int ReadString(const char16_t* section, const char16_t* key, char16_t* out,
                 const char16_t* defaultValue, int size) override;
  int WriteInt(const char16_t* section, const char16_t* key, int value) override;
  int ReadInt(const char16_t* section, const char16_t* key, int* out, int defaultValue) override;
  int WriteFloat(const char16_t* section, const char16_t* key, float value) override;
  int ReadFloat(const char16_t* section, const char16_t* key, float* out, float defaultValue) override;
  int WriteStringA(const char16_t* section, const char16_t* key, const char* value) override;
  int ReadStringA(const char16_t* section, const char16_t* key, char* out, const char* defaultValue,
                  int size) override;
  int WriteStruct(const char16_t* section, const char16_t* key, const void* data, int size) override;
  int ReadStruct(const char16_t* section, const char16_t* key, void* out, int size) override;

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

// The product's key of the current user, "Software\Kelmo Software\PDF
// Forge": the parent of the per-user settings key, where outside programs
// look for the result of a job.
inline constexpr char16_t kProductKeyPath[] = u"Software\\Kelmo Software\\PDF Forge";
// Writes the string value `name` (REG_SZ) of the product's key, which is
// created if missing. 1 on success.
int SetProductRegString(const char16_t* name, const char16_t* text);

// A 32-bit value of the printer's "PrinterDriverData" key, or the default.
uint32_t GetPrinterInt(HANDLE printer, const char16_t* name, uint32_t defaultValue);
// A text value of the printer's "PrinterDriverData" key, at most
// `maxBytes` bytes; absent means empty.
CKM_WideString GetPrinterString(HANDLE printer, const char16_t* name, size_t maxBytes);

// A self-sized block of the printer's "PrinterDriverData" key (REG_BINARY,
// its first 32-bit word is its size in bytes). 1 on success.
int GetPrinterBlock(HANDLE printer, const char16_t* name, std::vector<uint8_t>& block);
// Stores a self-sized block; never more bytes than `block` holds.
int SetPrinterBlock(HANDLE printer, const char16_t* name, const std::vector<uint8_t>& block);

// 0 (Letter) for the countries of "iCountry" 1, 2, 50..59 and 500..599 under
// the user's "Control Panel\International"; else, and when unreadable, 1 (A4).
int IsMetricDefault();
