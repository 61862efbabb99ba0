#include "driver/print_job.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "driver/device.h"
#include "fonts/font.h"
#include "platform/win32.h"
#include "services/core_module.h"
#include "services/data_exchange.h"
#include "services/language.h"
#include "services/message_box.h"

// Tells the user that the face `name` (system code page) is not embedded.
// The text is formatted in the system code page into the room of a path,
// as a narrow message box would show it; the box waits for its answer.
void WarnFontNotEmbedded(const CKM_ByteString& name) {
  char16_t format[260] = {};
  if (!LoadLanguageString(IDS_FONT_NOT_EMBEDDABLE, format, 260)) return;
  std::string text(FontNameToAnsi(format).view());
  if (size_t at = text.find("%s"); at != std::string::npos) text.replace(at, 2, name.view());
  if (text.size() > 259) text.resize(259);
  std::u16string wide = FontNameFromAnsi(CKM_ByteString(std::move(text)));
  ShowMessage(nullptr, wide.c_str(), nullptr, MB_SETFOREGROUND);
}

CKMC_Document::CKMC_Document() { graphics.SetTextSink(&text); }
CKMC_Document::~CKMC_Document() = default;

void CKMC_Document::Configure(const CKMC_Device& device) {
  printer = device.printer;
  deviceName = device.deviceName;
  m_settings = device.settings.ForJob(printer, device.bitmapRefused);
  switches = CKMC_GraphicsSwitches{m_settings.gdiPunt, switches.jobCancelled, m_settings.imageCompress,
                                   static_cast<uint8_t>(m_settings.mergeImages)};
  writer.SetGeometry(CKMC_PageGeometry{device.surfaceWidth, device.surfaceHeight, 72.0 / device.Dpi()});
  writer.SetFormat(m_settings.pdfVersion, m_settings.Pdfa());
  // The status window is shown only for jobs that ask for it anew.
  showStatus = 0;
  pageWidthPoints = device.paperWidth * 72 / 254;
  pageHeightPoints = device.paperLength * 72 / 254;
  // Text is placed on this device's page, also after a reset in mid-job.
  text.scale = writer.Geometry().pixelToPoint;
  text.height = static_cast<double>(writer.Geometry().heightPixels);
}

bool CKMC_Document::IsEmbedFace(std::u16string_view familyName) const {
  return CKMC_FontCatalogue::FaceBlockHolds(m_settings.faceBlock, familyName);
}

bool CKMC_Document::ReadDocumentInfo() {
  CKMC_CoreModule* core = CKMC_CoreModule::Get();
  IKMC_DataExchange* store = core ? core->GetDataExchange() : nullptr;
  if (!store) return false;
  char16_t* const fields[] = {title, subject, author, keywords, infoCreator};
  for (char16_t* field : fields) std::memset(field, 0, sizeof title);
  int add = 0;
  store->ReadInt(u"DocumentInfo", u"IsAddDocInfo", &add, 0);
  if (!add) return true;
  store->ReadString(u"DocumentInfo", u"Title", title, u"", 260);
  store->ReadString(u"DocumentInfo", u"Subject", subject, u"", 260);
  store->ReadString(u"DocumentInfo", u"Author", author, u"", 260);
  store->ReadString(u"DocumentInfo", u"KeyWords", keywords, u"", 260);
  store->ReadString(u"DocumentInfo", u"Creator", infoCreator, u"", 260);
  return true;
}

bool CKMC_Document::StartDocument(const char16_t* name, uint32_t /*jobId*/) {
  if (!OpenOutputFile(name)) return false;
  // A stale copy of the output seen by low-integrity processes must go.
  if (CKMC_CoreModule* core = CKMC_CoreModule::Get(); core && !outputPath.IsEmpty()) {
    char16_t twin[kVirtualizedPathCapacity] = {};
    if (core->GetVirtualizedPath(outputPath.c_str(), twin)) DeleteFileW(twin);
  }
  if (switches.jobCancelled) return true;
  writer.Reset();
  graphics.ForgetDocument();
  // Font numbers are the document's own objects: a new document starts
  // with no fonts and no text.
  fonts.Clear();
  text.Reset();
  documentName = CKM_WideString(name);
  writer.WriteHeaderAndFixedObjects();
  return true;
}

void CKMC_Document::StartPage() {
  if (!IsWriting()) return;
  graphics.Images().DiscardPendingImages();
  writer.BeginPageContent();
  graphics.StartPage();
}

void CKMC_Document::EndPage(SURFOBJ* surface) {
  if (!IsWriting()) return;
  graphics.EndPage(surface);
  writer.FinishPage();
}

DocumentInfoText CKMC_Document::InfoText() const {
  DocumentInfoText info;
  info.title = CKM_WideString::FromBuffer(title, 260);
  info.subject = CKM_WideString::FromBuffer(subject, 260);
  info.author = CKM_WideString::FromBuffer(author, 260);
  info.keywords = CKM_WideString::FromBuffer(keywords, 260);
  info.creator = CKM_WideString::FromBuffer(infoCreator, 260);
  return info;
}

bool CKMC_Document::EndDocument() {
  if (!IsWriting()) return true;
  // Every file has at least one page, even for a job that printed none.
  if (writer.PageCount() == 0) {
    StartPage();
    EndPage(nullptr);
  }
  // The page tree, then the fonts, whose widths are complete once the last
  // page is written, then the catalog.
  writer.WritePageTree();
  fonts.WriteFonts();
  writer.WriteCatalog();
  // The settings are read at the last moment, so that what the interface
  // module stored while the job ran counts. Without a settings store the
  // file is left unfinished and open.
  if (!ReadDocumentInfo()) return false;
  writer.WriteDocumentTail(InfoText());
  // Outside programs poll this value for where the job went.
  SetProductRegString(u"FileName", outputPath.c_str());
  CKM_WideString result = outputPath;
  ResetJob();
  // Show the result if the user wants that (the desktop's viewer).
  if (m_settings.openFile && !result.IsEmpty())
    ShellExecuteW(nullptr, u"open", result.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
  return true;
}

void CKMC_Document::ResetJob() { ResetDocument(); }

void CKMC_Document::ResetDocument() {
  writer.Reset();
  fonts.Clear();
  text.Reset();
  graphics.ForgetDocument();
  expectedPages = 1;
  m_settings = m_settings.AfterJob();
}
