#include "tools/snkprint/job_settings.h"

#include <algorithm>

#include "base/byte_string.h"
#include "host/system/host_control.h"
#include "services/data_exchange.h"
#include "tools/snkprint/setting_keys.h"

namespace snk::print {

namespace {

RunValue Number(std::u16string name, uint32_t value) { return {std::move(name), false, value, {}}; }
RunValue Text(std::u16string name, std::u16string text) {
  return {std::move(name), true, 0, std::move(text)};
}
std::u16string Wide(std::string_view utf8) { return CKM_WideString::FromUTF8(utf8).str(); }

}  // namespace

std::vector<RunValue> SetOptionValues(const Options& options) {
  std::vector<RunValue> values;
  for (const auto& [name, value] : options.settings) {
    bool digits = !value.empty() && value.size() <= 10 &&
                  std::all_of(value.begin(), value.end(), [](char c) { return c >= '0' && c <= '9'; });
    if (digits && std::stoull(value) <= 0xFFFFFFFFull)
      values.push_back(Number(Wide(name), static_cast<uint32_t>(std::stoull(value))));
    else
      values.push_back(Text(Wide(name), Wide(value)));
  }
  return values;
}

std::vector<RunValue> JobOptionValues(const Options& options, std::u16string_view currentFolder,
                                      bool folderStored) {
  const JobOptions& job = options.job;
  std::vector<RunValue> values;
  if (job.pdfa) values.push_back(Number(u"PDFA1B", *job.pdfa));
  if (job.pdfVersion) values.push_back(Number(u"PDFVersion", static_cast<uint32_t>(*job.pdfVersion)));
  if (job.embed) values.push_back(Number(u"FontEmbed", static_cast<uint32_t>(*job.embed)));
  if (job.overwrite) values.push_back(Number(u"Overwrite", *job.overwrite));
  if (job.openFile) values.push_back(Number(u"OpenFile", *job.openFile));
  if (job.folder) values.push_back(Text(u"Folder", Wide(*job.folder)));

  // The file goes into the folder under its default name when asked to, or
  // when a folder is given and not --ask; -o always names the file itself.
  if (options.output) {
    values.push_back(Number(u"UseDefFileName", 0));
  } else if (job.useDefaultName.value_or(job.folder.has_value())) {
    values.push_back(Number(u"UseDefFileName", 1));
    if (!job.folder && !folderStored) values.push_back(Text(u"Folder", std::u16string(currentFolder)));
  } else if (job.useDefaultName) {
    values.push_back(Number(u"UseDefFileName", 0));
  }
  return values;
}

void ApplyRunValues(const std::vector<RunValue>& values) {
  const std::u16string key = UserSettingsKeyPath().str();
  for (const RunValue& value : values) {
    if (!value.isText) {
      snk::host::SetRegistryOverlayDword(key, value.name, value.number);
      continue;
    }
    // Texts are kept as a one-string list, the form the driver reads.
    std::vector<BYTE> data;
    AppendUTF16LE(data, value.text + std::u16string(2, u'\0'));
    snk::host::SetRegistryOverlay(key, value.name, REG_MULTI_SZ, std::move(data));
  }
}

const std::vector<FileTwin>& FileTwins() {
  static const std::vector<FileTwin> twins = {
      {u"General", u"Folder", "Folder"},
      {u"General", u"Overwrite", "Overwrite"},
      {u"General", u"UseDefaultFile", "UseDefFileName"},
      {u"General", u"OpenFile", "OpenFile"},
      {u"General", u"GDIPunt", "GDIPunt"},
      {u"General", u"ImageCompress", "ImageCompress"},
      {u"General", u"IgonareBK", "IgnoreBackground"},
      {u"General", u"MergeImage", "MergeImages"},
      {u"General", u"PDFA1B", "PDFA1B"},
      {u"General", u"PDFVersion", "PDFVersion"},
      {u"General", u"ShowDialog", "ShowDialog"},
      {u"Font", u"Embed", "FontEmbed"},
      {u"Font", u"FontWarnMsg", "FontWarnMsg"},
      {u"Font", u"BitmapFontSize", "BitmapFontSize"},
      {u"DocumentInfo", u"IsAddDocInfo", "AddDocInfo"},
      {u"DocumentInfo", u"Title", "DocTile"},
      {u"DocumentInfo", u"Subject", "DocSubject"},
      {u"DocumentInfo", u"Author", "DocAuthor"},
      {u"DocumentInfo", u"KeyWords", "DocKeyWords"},
      {u"DocumentInfo", u"Creator", "DocCreator"},
      {u"WaterMark", u"AddWatermark", "AddWatermark"},
      {u"WaterMark", u"WatermarkType", "WatermarkType"},
      {u"WaterMark", u"WatermarkText", "WatermarkText"},
      {u"WaterMark", u"WatermarkImgPath", "WatermarkImgPath"},
      {u"WaterMark", u"WatermarkFontName", "WatermarkFontName"},
      {u"WaterMark", u"WatermarkFontSize", "WatermarkFontSize"},
      {u"WaterMark", u"WatermarkFontBold", "WatermarkFontBold"},
      {u"WaterMark", u"WatermarkFontItalia", "WatermarkFontItalia"},
      {u"WaterMark", u"WatermarkColor", "WatermarkColor"},
      {u"WaterMark", u"WatermarkXoffset", "WatermarkXoffset"},
      {u"WaterMark", u"WatermarkYoffset", "WatermarkYoffset"},
      {u"WaterMark", u"WatermarkWidth", "WatermarkWidth"},
      {u"WaterMark", u"WatermarkHeight", "WatermarkHeight"},
      {u"WaterMark", u"TextRotation", "WMTextRotation"},
      {u"WaterMark", u"TextOpacity", "WMTextOpacity"},
      {u"WaterMark", u"ImageRotation", "WMImageRotation"},
      {u"WaterMark", u"ImageOpacity", "WMImageOpacity"},
      {u"WaterMark", u"WatermarkScale", "WatermarkScale"},
      {u"WaterMark", u"WatermarkUnits", "WatermarkUnits"},
      {u"HeadAndFoot", u"AddHeadfoot", "AddHeadfoot"},
      {u"HeadAndFoot", u"SetHead", "SetHead"},
      {u"HeadAndFoot", u"HeadfootLeft", "HeadfootLeft"},
      {u"HeadAndFoot", u"HeadfootRight", "HeadfootRight"},
      {u"HeadAndFoot", u"HeadfootTop", "HeadfootTop"},
      {u"HeadAndFoot", u"HeadfootBottom", "HeadfootBottom"},
      {u"HeadAndFoot", u"HeadfootUnits", "HeadfootUnits"},
      {u"HeadAndFoot", u"HeadfootItalic", "HeadfootItalic"},
      {u"HeadAndFoot", u"HeadfootBold", "HeadfootBold"},
      {u"HeadAndFoot", u"HeadfootFontsize", "HeadfootFontsize"},
      {u"HeadAndFoot", u"HeadfootColor", "HeadfootColor"},
      {u"HeadAndFoot", u"HeadfootFontname", "HeadfootFontname"},
      {u"HeadAndFoot", u"HeadLeft", "HeadLeft"},
      {u"HeadAndFoot", u"HeadCenter", "HeadCenter"},
      {u"HeadAndFoot", u"HeadRight", "HeadRight"},
      {u"HeadAndFoot", u"FootLeft", "FootLeft"},
      {u"HeadAndFoot", u"FootCenter", "FootCenter"},
      {u"HeadAndFoot", u"FootRight", "FootRight"},
  };
  return twins;
}

void WriteJobSettings(IKMC_DataExchange& file, const JobOptions& job) {
  const bool letter = IsMetricDefault() == 0;
  for (const FileTwin& twin : FileTwins()) {
    const CKMC_SettingKey* key = FindSettingKey(twin.registryName);
    if (!key) continue;
    std::u16string section(twin.section), fileKey(twin.fileKey);
    if (key->type == SettingType::Int)
      file.WriteInt(section.c_str(), fileKey.c_str(),
                    static_cast<int>(ReadSettingInt(*key, nullptr, letter)));
    else
      file.WriteString(section.c_str(), fileKey.c_str(), ReadSettingText(*key, nullptr, letter).c_str());
  }

  // Document information given for this job replaces the stored strings it
  // names and turns the information on; the others stay as stored.
  if (!job.AddsDocumentInfo()) return;
  file.WriteInt(u"DocumentInfo", u"IsAddDocInfo", 1);
  const std::pair<const std::optional<std::string>*, const char16_t*> info[] = {
      {&job.infoTitle, u"Title"},       {&job.infoSubject, u"Subject"}, {&job.infoAuthor, u"Author"},
      {&job.infoKeywords, u"KeyWords"}, {&job.infoCreator, u"Creator"},
  };
  for (const auto& [value, fileKey] : info)
    if (*value) file.WriteString(u"DocumentInfo", fileKey, Wide(**value).c_str());
}

}  // namespace snk::print
