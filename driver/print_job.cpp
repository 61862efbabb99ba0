#include "driver/print_job.h"

#include <cstring>

#include "driver/device.h"
#include "platform/win32.h"
#include "services/core_module.h"
#include "services/data_exchange.h"

CKMC_Document::CKMC_Document() = default;
CKMC_Document::~CKMC_Document() = default;

void CKMC_Document::Configure(CKMC_Device& device) {
  printer = device.printer;
  pageWidthPixels = device.surfaceWidth;
  pageHeightPixels = device.surfaceHeight;
  pixelToPoint = 72.0 / device.Dpi();
  imageCompress = device.imageCompress;
  deviceName = device.deviceName;
  folder = CKM_WideString::FromBuffer(device.folder, 260);
  overwrite = device.overwrite;
  useDefaultName = device.useDefaultName;
  openFile = device.openFile;
  fontEmbed = device.fontEmbed;
  pdfVersion = device.pdfVersion;
  gdiPunt = device.gdiPunt;
  fontWarn = device.fontWarn;
  mergeImages = static_cast<uint8_t>(device.mergeImages);
  pdfa = static_cast<uint8_t>(device.pdfa);
  // The status window is shown only for jobs that ask for it anew.
  showStatus = 0;

  batch = GetPrinterInt(printer, u"Batch", 0);
  GetRegString(u"FileName", fileNameSetting, 260, u"");
  std::memset(batchDestName, 0, sizeof batchDestName);
  if (batch) {
    // An outside caller that drives the printer in batch mode sets the
    // destination; it outranks the user's settings, and nobody is asked.
    GetPrinterString(printer, u"DestName", 520).CopyTo(batchDestName, 260);
    folder = GetPrinterString(printer, u"Folder", 520);
    fontEmbed = GetPrinterInt(printer, u"FontEmbed", 0);
    overwrite = 1;
    useDefaultName = 1;
    openFile = 0;
  }

  pageWidthPoints = device.paperWidth * 72 / 254;
  pageHeightPoints = device.paperLength * 72 / 254;
  postProcess = device.postProcess == 1 ? 1 : 0;
  if (pdfa) fontEmbed = 2;  // PDF/A needs every font embedded
}

bool CKMC_Document::StartDocument(const char16_t* name, uint32_t /*jobId*/) {
  if (!OpenOutputFile(name)) return false;
  if (jobCancelled) return true;
  ResetWriterState();
  documentName = CKM_WideString(name);
  WriteHeaderAndFixedObjects();
  return true;
}

void CKMC_Document::StartPage() {
  if (jobCancelled) return;
  BeginPageContent();
}

void CKMC_Document::EndPage(SURFOBJ* /*surface*/) {
  if (jobCancelled) return;
  FinishPage();
}

bool CKMC_Document::EndDocument() {
  if (jobCancelled) return true;
  // Every file has at least one page, even for a job that printed none.
  if (PageCount() == 0) {
    StartPage();
    EndPage(nullptr);
  }
  WritePageTree();
  WriteDocumentTail();
  ResetJob();
  return true;
}

void CKMC_Document::ResetJob() {
  pageObjects.RemoveAll();
  offsets.RemoveAll();
  ResetDocument();
}

void CKMC_Document::ResetDocument() {
  ResetWriterState();
  expectedPages = 1;
}
