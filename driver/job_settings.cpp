#include "driver/job_settings.h"

#include "services/settings_table.h"

namespace {

// The device's numbers, in the order they are read.
constexpr struct {
  std::string_view name;
  uint32_t CKMC_JobSettings::*field;
} kDeviceNumbers[] = {
    {"Overwrite", &CKMC_JobSettings::overwrite},
    {"UseDefFileName", &CKMC_JobSettings::useDefaultName},
    {"OpenFile", &CKMC_JobSettings::openFile},
    {"GDIPunt", &CKMC_JobSettings::gdiPunt},
    {"ImageCompress", &CKMC_JobSettings::imageCompress},
    {"IgnoreBackground", &CKMC_JobSettings::ignoreBackground},
    {"MergeImages", &CKMC_JobSettings::mergeImages},
    {"PDFA1B", &CKMC_JobSettings::pdfa},
    {"PDFVersion", &CKMC_JobSettings::pdfVersion},
    {"ShowDialog", &CKMC_JobSettings::showDialog},
    {"BitmapFontSize", &CKMC_JobSettings::bitmapFontSize},
    {"FontEmbed", &CKMC_JobSettings::fontEmbed},
    {"FontWarnMsg", &CKMC_JobSettings::fontWarn},
};

uint32_t Number(std::string_view name, HANDLE printer = nullptr) {
  return ReadSettingInt(DriverSetting(name), printer);
}
CKM_WideString Text(std::string_view name, HANDLE printer = nullptr) {
  return ReadSettingText(DriverSetting(name), printer);
}

}  // namespace

CKMC_JobSettings CKMC_JobSettings::ReadForDevice() {
  CKMC_JobSettings settings;
  settings.folder = Text("Folder");
  for (const auto& [name, field] : kDeviceNumbers) settings.*field = Number(name);
  return settings;
}

CKMC_JobSettings CKMC_JobSettings::ForJob(HANDLE printer, bool bitmapRefused) const {
  CKMC_JobSettings job = *this;
  if (bitmapRefused) job.gdiPunt = 0;
  job.batch = Number("printer.Batch", printer);
  job.fileName = Text("FileName");
  if (job.batch) {
    // An outside caller that drives the printer in batch mode sets the
    // destination; it outranks the user's settings, and nobody is asked.
    job.batchDestName = CKM_WideString(Text("printer.DestName", printer).view().substr(0, kMaxSettingText));
    job.folder = Text("printer.Folder", printer);
    job.fontEmbed = Number("printer.FontEmbed", printer);
    job.overwrite = 1;
    job.useDefaultName = 1;
    job.openFile = 0;
  }
  job.postProcess = postProcess == 1 ? 1 : 0;
  if (job.Pdfa()) job.fontEmbed = 2;  // PDF/A needs every font embedded
  // The faces to embed are read anew whenever embedding is on; a missing
  // value leaves an empty list.
  job.faceBlock.clear();
  if (job.fontEmbed) job.faceBlock = ReadSettingFaces(DriverSetting("printer.FFaces"), printer);
  return job;
}

CKMC_JobSettings CKMC_JobSettings::AfterJob() const {
  CKMC_JobSettings ended = *this;
  ended.faceBlock.clear();
  return ended;
}
