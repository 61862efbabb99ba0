// CKMC_Document: one print job, from DrvStartDoc to DrvEndDoc.
//
// Created by the first DrvStartDoc of a device, it survives DrvResetPDEV and
// later jobs on the same device and is destroyed with the device. The file
// is written as the job goes: the header and fixed objects at the start,
// each page at DrvSendPage, the rest at DrvEndDoc. Only the current page's
// content is held in memory.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/byte_string.h"
#include "driver/job_settings.h"
#include "fonts/font.h"
#include "fonts/text_output.h"
#include "fonts/text_run.h"
#include "graphics/graphics.h"
#include "platform/winddi.h"
#include "writer/document_writer.h"

class CKMC_Device;

// Shows the driver's warning that the face `name` (in the system code page)
// stays outside the file, and waits for the answer.
void WarnFontNotEmbedded(const CKM_ByteString& name);

// The file name part of a document title: what follows the last character
// that a file name cannot hold, without leading blanks and last extension.
std::u16string CleanTitle(std::u16string_view title);

class CKMC_Document {
 public:
  CKMC_Document();
  ~CKMC_Document();
  CKMC_Document(const CKMC_Document&) = delete;
  CKMC_Document& operator=(const CKMC_Document&) = delete;

  // Takes the job's settings (the device's, with the printer's batch
  // controls read now) and the device's geometry.
  void Configure(const CKMC_Device& device);
  const CKMC_JobSettings& Settings() const { return m_settings; }
  bool StartDocument(const char16_t* name, uint32_t jobId);
  void StartPage();
  void EndPage(SURFOBJ* surface);
  bool EndDocument();
  void ResetJob();
  void ResetDocument();

  // Whether the job is writing a file: started, not cancelled, its file
  // open. Otherwise (after a failed or cancelled start, between jobs) page
  // and drawing calls do nothing and report success.
  bool IsWriting() const { return !switches.jobCancelled && writer.HasFile(); }

  // Chooses and opens the output file; see output_file.cpp.
  bool OpenOutputFile(const char16_t* name);

  // Takes the document information from the settings store into the five
  // info strings, or clears them if the user did not ask for it. False when
  // there is no core module or no settings store.
  bool ReadDocumentInfo();
  // The five info strings as the writer takes them.
  DocumentInfoText InfoText() const;

  // Whether `familyName` is one of the faces chosen for embedding in the
  // printer's "FFaces" block (exact match).
  bool IsEmbedFace(std::u16string_view familyName) const;

 private:
  // The job's settings, replaced whole by Configure; a document that was
  // never configured opens nothing when it ends. Declared before the font
  // catalogue, which refers to its fields.
  CKMC_JobSettings m_settings{.openFile = 0};

 public:
  // Output.
  CKM_WideString outputPath;
  CKM_WideString documentName;
  char16_t title[260] = {};
  char16_t keywords[260] = {};
  char16_t author[260] = {};
  char16_t subject[260] = {};
  char16_t infoCreator[260] = {};

  CKM_WideString deviceName;
  HANDLE printer = nullptr;

  // Whole-point page size, for the job map's coordinates.
  int32_t pageWidthPoints = 0;
  int32_t pageHeightPoints = 0;

  // Job map data.
  uint32_t expectedPages = 1;
  uint32_t showStatus = 1;

  // The file: object numbers, pages and their content streams.
  CKMC_DocumentWriter writer;
  // The switches the graphics read at each call: their settings, taken by
  // Configure, and whether the job was cancelled, which is no setting.
  CKMC_GraphicsSwitches switches;
  // The vector drawing of the job's pages.
  CKMC_Graphics graphics{writer, switches};
  // The fonts the document's text uses (numbered per document), and the
  // page's text block, which the graphics part ends before it draws.
  CKMC_FontCatalogue fonts{writer, CKMC_FontCatalogue::Settings{m_settings.fontEmbed, m_settings.fontWarn,
                                                                m_settings.faceBlock, &WarnFontNotEmbedded}};
  CKMC_TextObject text;
  // DrvTextOut's runs into the text block.
  CKMC_TextRunWriter textRuns{fonts, text, writer, graphics};
};
