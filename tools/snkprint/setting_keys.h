// The persistent settings snkprint knows: every value of the user's settings
// key and the batch values of the printer's data, each with its type, its
// default and where it is stored; and the conversions between the text a
// user types and the stored form.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace snk::print {

enum class KeyType {
  Int,     // REG_DWORD, a 32-bit number
  String,  // a text of at most kMaxText units
  Faces,   // the self-sized block of font face names (printer data only)
};

enum class KeyStore {
  User,     // the user's settings key
  Printer,  // "PrinterDriverData" of the printer
};

struct SettingKey {
  std::string_view name;           // as typed: "Overwrite", "printer.Batch"
  std::u16string_view valueName;   // the stored value's name
  KeyType type;
  KeyStore store;
  std::string_view group;          // "General", "Layout", "DocumentInfo", ...
  std::string_view defaultValue;   // the default (for A4 countries where it differs)
  std::string_view letterDefault;  // the default in Letter countries, if it differs
};

// The printer whose data holds the batch values.
inline constexpr std::u16string_view kPrinterName = u"Kelmo PDF Forge";

// Texts are read back into buffers of 260 units, the last one the end.
inline constexpr size_t kMaxText = 259;

std::span<const SettingKey> SettingKeys();
// The key of that name, compared without regard to ASCII case; null if none.
const SettingKey* FindSettingKey(std::string_view name);
// The default of a key; `letter` picks the Letter-country default.
std::string_view DefaultOf(const SettingKey& key, bool letter);
std::string_view TypeName(KeyType type);

// An int value: decimal, optionally signed, or hexadecimal with "0x"; it
// must fit in 32 bits (-2147483648 to 4294967295).
std::optional<uint32_t> ParseIntValue(std::string_view text);
// How an int value is shown: as the signed number the driver sees.
std::string FormatIntValue(uint32_t value);

// "Arial, Times New Roman" -> {"Arial", "Times New Roman"}: names separated
// by commas, blanks around each name dropped, empty names skipped.
std::vector<std::u16string> SplitFaceList(std::u16string_view text);
// The self-sized block: a 32-bit little-endian size counting itself, then
// each name as a zero-ended UTF-16LE string.
std::vector<uint8_t> BuildFaceBlock(const std::vector<std::u16string>& faces);

struct FaceBlock {
  std::vector<std::u16string> faces;
  bool sizeMismatch = false;  // the first word disagrees with the bytes held
};
// Reads a face block. The names are taken from the bytes the block holds
// and its first word claims, whichever is less; a last name without its end
// is kept; a block shorter than its size word reads as no names.
FaceBlock ParseFaceBlock(std::span<const uint8_t> block);

}  // namespace snk::print
