#include "tools/snkprint/setting_keys.h"

#include <algorithm>
#include <charconv>

#include "base/byte_string.h"

namespace snk::print {

namespace {

using enum KeyType;
constexpr KeyStore U = KeyStore::User;
constexpr KeyStore P = KeyStore::Printer;

// Registry defaults are the ones the driver applies when a value is missing;
// where only the property pages read a value, their default.
constexpr SettingKey kKeys[] = {
    // General: read by the driver when the device is made.
    {"Folder", u"Folder", String, U, "General", "", ""},
    {"Overwrite", u"Overwrite", Int, U, "General", "0", ""},
    {"UseDefFileName", u"UseDefFileName", Int, U, "General", "0", ""},
    {"OpenFile", u"OpenFile", Int, U, "General", "1", ""},
    {"GDIPunt", u"GDIPunt", Int, U, "General", "1", ""},
    {"ImageCompress", u"ImageCompress", Int, U, "General", "1", ""},
    {"IgnoreBackground", u"IgnoreBackground", Int, U, "General", "0", ""},
    {"MergeImages", u"MergeImages", Int, U, "General", "1", ""},
    {"PDFA1B", u"PDFA1B", Int, U, "General", "0", ""},
    {"PDFVersion", u"PDFVersion", Int, U, "General", "14", ""},
    {"ShowDialog", u"ShowDialog", Int, U, "General", "1", ""},
    {"BitmapFontSize", u"BitmapFontSize", Int, U, "General", "100", ""},
    {"FontEmbed", u"FontEmbed", Int, U, "General", "2", ""},
    {"FontWarnMsg", u"FontWarnMsg", Int, U, "General", "1", ""},
    {"DPI", u"DPI", Int, U, "General", "300", ""},
    {"FileName", u"FileName", String, U, "General", "", ""},
    // Layout page; paper sizes in tenths of a millimetre.
    {"UOM", u"UOM", Int, U, "Layout", "0", ""},
    {"Orientation", u"Orientation", Int, U, "Layout", "1", ""},
    {"PaperSize", u"PaperSize", Int, U, "Layout", "9", "1"},
    {"FormName", u"FormName", String, U, "Layout", "A4", "Letter"},
    {"PaperWidth", u"PaperWidth", Int, U, "Layout", "2100", "2159"},
    {"PaperLength", u"PaperLength", Int, U, "Layout", "2970", "2794"},
    // Document information (the registry's own spellings).
    {"AddDocInfo", u"AddDocInfo", Int, U, "DocumentInfo", "0", ""},
    {"DocTile", u"DocTile", String, U, "DocumentInfo", "", ""},
    {"DocSubject", u"DocSubject", String, U, "DocumentInfo", "", ""},
    {"DocAuthor", u"DocAuthor", String, U, "DocumentInfo", "", ""},
    {"DocKeyWords", u"DocKeyWords", String, U, "DocumentInfo", "", ""},
    {"DocCreator", u"DocCreator", String, U, "DocumentInfo", "", ""},
    {"DocProducer", u"DocProducer", String, U, "DocumentInfo", "", ""},
    // Watermark.
    {"AddWatermark", u"AddWatermark", Int, U, "WaterMark", "0", ""},
    {"WatermarkType", u"WatermarkType", Int, U, "WaterMark", "1", ""},
    {"WatermarkText", u"WatermarkText", String, U, "WaterMark", "", ""},
    {"WatermarkImgPath", u"WatermarkImgPath", String, U, "WaterMark", "", ""},
    {"WatermarkFontName", u"WatermarkFontName", String, U, "WaterMark", "", ""},
    {"WatermarkFontSize", u"WatermarkFontSize", Int, U, "WaterMark", "10", ""},
    {"WatermarkFontBold", u"WatermarkFontBold", Int, U, "WaterMark", "0", ""},
    {"WatermarkFontItalia", u"WatermarkFontItalia", Int, U, "WaterMark", "0", ""},
    {"WatermarkColor", u"WatermarkColor", Int, U, "WaterMark", "0", ""},
    {"WatermarkXoffset", u"WatermarkXoffset", Int, U, "WaterMark", "10", ""},
    {"WatermarkYoffset", u"WatermarkYoffset", Int, U, "WaterMark", "10", ""},
    {"WatermarkWidth", u"WatermarkWidth", Int, U, "WaterMark", "50", ""},
    {"WatermarkHeight", u"WatermarkHeight", Int, U, "WaterMark", "30", ""},
    {"WMTextRotation", u"WMTextRotation", Int, U, "WaterMark", "0", ""},
    {"WMTextOpacity", u"WMTextOpacity", Int, U, "WaterMark", "100", ""},
    {"WMImageRotation", u"WMImageRotation", Int, U, "WaterMark", "0", ""},
    {"WMImageOpacity", u"WMImageOpacity", Int, U, "WaterMark", "100", ""},
    {"WatermarkScale", u"WatermarkScale", Int, U, "WaterMark", "100", ""},
    {"WatermarkUnits", u"WatermarkUnits", Int, U, "WaterMark", "0", ""},
    // Header and footer.
    {"AddHeadfoot", u"AddHeadfoot", Int, U, "HeadAndFoot", "0", ""},
    {"SetHead", u"SetHead", Int, U, "HeadAndFoot", "1", ""},
    {"HeadfootLeft", u"HeadfootLeft", Int, U, "HeadAndFoot", "10", ""},
    {"HeadfootRight", u"HeadfootRight", Int, U, "HeadAndFoot", "10", ""},
    {"HeadfootTop", u"HeadfootTop", Int, U, "HeadAndFoot", "10", ""},
    {"HeadfootBottom", u"HeadfootBottom", Int, U, "HeadAndFoot", "10", ""},
    {"HeadfootUnits", u"HeadfootUnits", Int, U, "HeadAndFoot", "0", ""},
    {"HeadfootItalic", u"HeadfootItalic", Int, U, "HeadAndFoot", "0", ""},
    {"HeadfootBold", u"HeadfootBold", Int, U, "HeadAndFoot", "0", ""},
    {"HeadfootFontsize", u"HeadfootFontsize", Int, U, "HeadAndFoot", "10", ""},
    {"HeadfootColor", u"HeadfootColor", Int, U, "HeadAndFoot", "0", ""},
    {"HeadfootFontname", u"HeadfootFontname", String, U, "HeadAndFoot", "", ""},
    {"HeadLeft", u"HeadLeft", String, U, "HeadAndFoot", "", ""},
    {"HeadCenter", u"HeadCenter", String, U, "HeadAndFoot", "", ""},
    {"HeadRight", u"HeadRight", String, U, "HeadAndFoot", "", ""},
    {"FootLeft", u"FootLeft", String, U, "HeadAndFoot", "", ""},
    {"FootCenter", u"FootCenter", String, U, "HeadAndFoot", "", ""},
    {"FootRight", u"FootRight", String, U, "HeadAndFoot", "", ""},
    // The printer's batch controls.
    {"printer.Batch", u"Batch", Int, P, "Batch", "0", ""},
    {"printer.DestName", u"DestName", String, P, "Batch", "", ""},
    {"printer.Folder", u"Folder", String, P, "Batch", "", ""},
    {"printer.FontEmbed", u"FontEmbed", Int, P, "Batch", "0", ""},
    {"printer.FFaces", u"FFaces", Faces, P, "Batch", "", ""},
};

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool SameIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (Lower(a[i]) != Lower(b[i])) return false;
  return true;
}

bool IsBlank(char16_t c) { return c == u' ' || c == u'\t'; }

}  // namespace

std::span<const SettingKey> SettingKeys() { return kKeys; }

const SettingKey* FindSettingKey(std::string_view name) {
  for (const SettingKey& key : kKeys)
    if (SameIgnoringCase(key.name, name)) return &key;
  return nullptr;
}

std::string_view DefaultOf(const SettingKey& key, bool letter) {
  return letter && !key.letterDefault.empty() ? key.letterDefault : key.defaultValue;
}

std::string_view TypeName(KeyType type) {
  switch (type) {
    case Int: return "int";
    case String: return "string";
    case Faces: return "list";
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
