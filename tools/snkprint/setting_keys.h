// What snkprint adds to the table of persistent settings: the printer it
// edits, and the conversions between the text a user types and the stored
// form.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "services/settings_table.h"

namespace snk::print {

// The printer whose data holds the batch values.
inline constexpr std::u16string_view kPrinterName = u"Kelmo PDF Forge";

std::string_view TypeName(SettingType type);

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
