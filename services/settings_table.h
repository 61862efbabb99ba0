// The table of persistent settings: every value of the user's settings key
// and the batch values of the printer's data, each with its type, where it
// is stored, the property page group it belongs to and its defaults.
//
// A value can have two defaults. The driver's is what the driver takes when
// the value is missing as it reads it; the pages' default is what the
// property pages show and store for a missing value (for some paper values
// a Letter-country variant). The driver reads the values that have a driver
// default, through the readers below; snkprint lists and edits all of them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "base/byte_string.h"
#include "platform/win_types.h"

enum class SettingType {
  Int,     // REG_DWORD, a 32-bit number
  String,  // a text of at most kMaxSettingText units
  Faces,   // the self-sized block of font face names (printer data only)
};

enum class SettingStore {
  User,     // the user's settings key
  Printer,  // "PrinterDriverData" of the printer
};

struct CKMC_SettingKey {
  std::string_view name;          // as typed: "Overwrite", "printer.Batch"
  std::u16string_view valueName;  // the stored value's name
  SettingType type;
  SettingStore store;
  std::string_view group;          // "General", "Layout", "DocumentInfo", ...
  std::string_view pagesDefault;   // the pages' default (for A4 countries where it differs)
  std::string_view letterDefault;  // the pages' default in Letter countries, if it differs
  // The driver's default, for the values the driver reads; decimal for Int.
  std::optional<std::string_view> driverDefault = std::nullopt;
};

// Texts are read into buffers of 260 units, the last one the end.
inline constexpr size_t kMaxSettingText = 259;

std::span<const CKMC_SettingKey> SettingKeys();
// The key of that name, compared without regard to ASCII case; null if none.
const CKMC_SettingKey* FindSettingKey(std::string_view name);
// The default a missing value stands for: the driver's where the driver
// reads the value, else the pages' (`letter` picks the Letter variant).
std::string_view DefaultOf(const CKMC_SettingKey& key, bool letter);

// The key the driver reads under `name`: one with a driver default.
const CKMC_SettingKey& DriverSetting(std::string_view name);

// The stored value of `key`; a missing or mistyped one gives
// DefaultOf(key, letter). `printer` is used for printer data only. Texts are
// cut to 260 units.
uint32_t ReadSettingInt(const CKMC_SettingKey& key, HANDLE printer = nullptr, bool letter = false);
CKM_WideString ReadSettingText(const CKMC_SettingKey& key, HANDLE printer = nullptr, bool letter = false);
// A face block of the printer's data; empty when it is missing.
std::vector<uint8_t> ReadSettingFaces(const CKMC_SettingKey& key, HANDLE printer);
