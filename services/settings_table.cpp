#include "services/settings_table.h"

#include <charconv>
#include <cstdlib>

#include "services/data_exchange.h"

namespace {

using enum SettingType;
constexpr SettingStore U = SettingStore::User;
constexpr SettingStore P = SettingStore::Printer;

constexpr CKMC_SettingKey kKeys[] = {
    // General: the driver reads these when the device is made (FileName
    // when a document starts); the pages write PDFVersion 17 where none is.
    {"Folder", u"Folder", String, U, "General", "", "", ""},
    {"Overwrite", u"Overwrite", Int, U, "General", "0", "", "0"},
    {"UseDefFileName", u"UseDefFileName", Int, U, "General", "0", "", "0"},
    {"OpenFile", u"OpenFile", Int, U, "General", "1", "", "1"},
    {"GDIPunt", u"GDIPunt", Int, U, "General", "1", "", "1"},
    {"ImageCompress", u"ImageCompress", Int, U, "General", "1", "", "1"},
    {"IgnoreBackground", u"IgnoreBackground", Int, U, "General", "0", "", "0"},
    {"MergeImages", u"MergeImages", Int, U, "General", "1", "", "1"},
    {"PDFA1B", u"PDFA1B", Int, U, "General", "0", "", "0"},
    {"PDFVersion", u"PDFVersion", Int, U, "General", "17", "", "14"},
    {"ShowDialog", u"ShowDialog", Int, U, "General", "1", "", "1"},
    {"BitmapFontSize", u"BitmapFontSize", Int, U, "General", "100", "", "100"},
    {"FontEmbed", u"FontEmbed", Int, U, "General", "2", "", "2"},
    {"FontWarnMsg", u"FontWarnMsg", Int, U, "General", "1", "", "1"},
    {"DPI", u"DPI", Int, U, "General", "300", ""},
    {"FileName", u"FileName", String, U, "General", "", "", ""},
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
    {"printer.Batch", u"Batch", Int, P, "Batch", "0", "", "0"},
    {"printer.DestName", u"DestName", String, P, "Batch", "", "", ""},
    {"printer.Folder", u"Folder", String, P, "Batch", "", "", ""},
    {"printer.FontEmbed", u"FontEmbed", Int, P, "Batch", "0", "", "0"},
    {"printer.FFaces", u"FFaces", Faces, P, "Batch", "", "", ""},
};

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool SameIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (Lower(a[i]) != Lower(b[i])) return false;
  return true;
}

}  // namespace

std::span<const CKMC_SettingKey> SettingKeys() { return kKeys; }

const CKMC_SettingKey* FindSettingKey(std::string_view name) {
  for (const CKMC_SettingKey& key : kKeys)
    if (SameIgnoringCase(key.name, name)) return &key;
  return nullptr;
}

std::string_view DefaultOf(const CKMC_SettingKey& key, bool letter) {
  if (key.driverDefault) return *key.driverDefault;
  return letter && !key.letterDefault.empty() ? key.letterDefault : key.pagesDefault;
}

const CKMC_SettingKey& DriverSetting(std::string_view name) {
  const CKMC_SettingKey* key = FindSettingKey(name);
  // The names are the driver's own: a miss is a fault of the build.
  if (!key || !key->driverDefault) std::abort();
  return *key;
}

uint32_t ReadSettingInt(const CKMC_SettingKey& key, HANDLE printer, bool letter) {
  std::string_view text = DefaultOf(key, letter);
  uint32_t fallback = 0;
  std::from_chars(text.data(), text.data() + text.size(), fallback);
  std::u16string valueName(key.valueName);
  if (key.store == SettingStore::Printer) return GetPrinterInt(printer, valueName.c_str(), fallback);
  return GetRegInt(valueName.c_str(), fallback);
}

CKM_WideString ReadSettingText(const CKMC_SettingKey& key, HANDLE printer, bool letter) {
  std::u16string valueName(key.valueName);
  // Printer data texts are at most 520 bytes; absent means empty.
  if (key.store == SettingStore::Printer) return GetPrinterString(printer, valueName.c_str(), 520);
  char16_t text[kMaxSettingText + 1] = {};
  std::u16string fallback = CKM_WideString::FromUTF8(DefaultOf(key, letter)).str();
  GetRegString(valueName.c_str(), text, kMaxSettingText + 1, fallback.c_str());
  return CKM_WideString::FromBuffer(text, kMaxSettingText + 1);
}

std::vector<uint8_t> ReadSettingFaces(const CKMC_SettingKey& key, HANDLE printer) {
  std::vector<uint8_t> block;
  if (!GetPrinterBlock(printer, std::u16string(key.valueName).c_str(), block)) block.clear();
  return block;
}
