#include "tools/snkprint/setting_keys.h"

#include <algorithm>
#include <charconv>

#include "base/byte_string.h"

namespace snk::print {

namespace {

using enum SettingType;

bool IsBlank(char16_t c) { return c == u' ' || c == u'\t'; }

}  // namespace

std::string_view TypeName(SettingType type) {
  switch (type) {
    case Int:
      return "int";
    case String:
      return "string";
    case Faces:
      return "list";
  }
  return "?";
}

std::optional<uint32_t> ParseIntValue(std::string_view text) {
  bool negative = false;
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
    negative = text[0] == '-';
    text.remove_prefix(1);
  }
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    base = 16;
    text.remove_prefix(2);
  }
  if (text.empty() || text[0] == '-' || text[0] == '+') return std::nullopt;
  uint64_t value = 0;
  auto r = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (r.ec != std::errc() || r.ptr != text.data() + text.size()) return std::nullopt;
  if (negative) {
    if (value > 0x80000000ull) return std::nullopt;
    return static_cast<uint32_t>(0 - value);
  }
  if (value > 0xFFFFFFFFull) return std::nullopt;
  return static_cast<uint32_t>(value);
}

std::string FormatIntValue(uint32_t value) { return std::to_string(static_cast<int32_t>(value)); }

std::vector<std::u16string> SplitFaceList(std::u16string_view text) {
  std::vector<std::u16string> faces;
  size_t start = 0;
  while (start <= text.size()) {
    size_t comma = text.find(u',', start);
    if (comma == std::u16string_view::npos) comma = text.size();
    std::u16string_view name = text.substr(start, comma - start);
    while (!name.empty() && IsBlank(name.front())) name.remove_prefix(1);
    while (!name.empty() && IsBlank(name.back())) name.remove_suffix(1);
    if (!name.empty()) faces.emplace_back(name);
    start = comma + 1;
  }
  return faces;
}

std::vector<uint8_t> BuildFaceBlock(const std::vector<std::u16string>& faces) {
  std::vector<uint8_t> block(4, 0);
  for (const auto& face : faces) AppendUTF16LE(block, face + u'\0');
  uint32_t size = static_cast<uint32_t>(block.size());
  for (int i = 0; i < 4; ++i) block[i] = static_cast<uint8_t>(size >> (8 * i));
  return block;
}

FaceBlock ParseFaceBlock(std::span<const uint8_t> block) {
  FaceBlock result;
  if (block.size() < 4) {
    result.sizeMismatch = !block.empty();
    return result;
  }
  uint32_t claimed = static_cast<uint32_t>(block[0]) | (static_cast<uint32_t>(block[1]) << 8) |
                     (static_cast<uint32_t>(block[2]) << 16) | (static_cast<uint32_t>(block[3]) << 24);
  result.sizeMismatch = claimed != block.size();
  size_t end = std::min<size_t>(claimed, block.size());
  std::u16string name;
  for (size_t i = 4; i + 1 < end; i += 2) {
    char16_t unit = static_cast<char16_t>(block[i] | (block[i + 1] << 8));
    if (unit == 0) {
      if (!name.empty()) result.faces.push_back(std::move(name));
      name.clear();
    } else {
      name += unit;
    }
  }
  if (!name.empty()) result.faces.push_back(std::move(name));
  return result;
}

}  // namespace snk::print
