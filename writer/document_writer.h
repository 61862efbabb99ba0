// CKMC_DocumentWriter: the file side of a print job.
//
// It owns the output file, the object numbers and their offsets, the page's
// content stream, and writes the header, the fixed objects, each page's
// content and page object, the page tree, the catalog, the cross-reference
// table and the trailer. PDF goes straight to the file in one pass; nothing
// written is ever rewritten. Offsets come from counting the bytes written.
#pragma once

#include <cstdint>
#include <memory>

#include "base/array.h"
#include "base/binary_buf.h"
#include "base/byte_string.h"
#include "platform/winddi.h"
#include "writer/document_info.h"
#include "writer/output_object.h"

class CKMC_DocumentWriter {
 public:
  CKMC_DocumentWriter() = default;
  virtual ~CKMC_DocumentWriter();
  CKMC_DocumentWriter(const CKMC_DocumentWriter&) = delete;
  CKMC_DocumentWriter& operator=(const CKMC_DocumentWriter&) = delete;

  // Hands out the next object number; its object may be written much later.
  uint32_t NewObjectNumber() { return ++objectCount; }
  // Writes "n 0 obj\n", the object's serial form and "endobj\n" in one
  // write, and records the offset of object n.
  void WriteIndirectObject(uint32_t number, CKMC_Object* object);

  // Header and objects 2 (ICC colour space), 3 (ICC profile), 4 (ExtGState).
  void WriteHeaderAndFixedObjects();
  // Opens the page's content stream with the ICC colour spaces selected.
  void BeginPageContent();
  // Closes the page's clip, writes its content stream and page object, and
  // appends the page to the page list.
  void FinishPage();
  // The page tree, catalog, information dictionary, cross-reference table
  // and trailer; then the file is flushed and closed.
  void WritePageTree();
  // The catalog. In PDF/A mode the metadata stream's number is given out
  // first, and the catalog names it under "/Metadata".
  void WriteCatalog();
  // After the catalog: the information dictionary, in PDF/A mode the XMP
  // metadata stream, the cross-reference table and the trailer. The dates
  // come from one clock reading.
  void WriteDocumentTail(const DocumentInfoText& text);

  size_t PageCount() const { return pageObjects.GetSize(); }
  CKM_BinaryBuf* Content() { return content.get(); }

  // Builds the resource dictionary text of the current page.
  CKM_ByteString BuildResourceText() const;

 protected:
  // Appends raw bytes to the output file and advances the file position.
  void WriteToFile(const void* data, size_t length);
  void WriteToFile(std::string_view text) { WriteToFile(text.data(), text.size()); }
  void CloseOutputFile();
  // Clears the numbering and the page lists for a new job.
  void ResetWriterState();

  void WriteCrossReferenceAndTrailer(uint32_t catalog, uint32_t info);

 public:
  // Output.
  HANDLE outputFile = INVALID_HANDLE_VALUE;
  uint32_t pdfVersion = 14;
  uint8_t pdfa = 0;

  // Geometry.
  int32_t pageWidthPixels = 0;
  int32_t pageHeightPixels = 0;
  double pixelToPoint = 0.24;

  // Writer state.
  uint32_t objectCount = 0;
  uint32_t filePosition = 0;
  CKM_Array<uint32_t> offsets;  // entry n - 1 holds the offset of object n
  uint32_t pagesObject = 0;
  uint32_t colorSpaceObject = 0;
  uint32_t extGStateObject = 0;
  uint32_t catalogObject = 0;
  uint32_t metadataObject = 0;  // PDF/A only
  CKM_Array<uint32_t> pageObjects;

  // Page state.
  std::unique_ptr<CKM_BinaryBuf> content;
  uint32_t clipIdentity = 0;  // a "q" of a clip is open
  CKM_Array<uint32_t> pageFonts;
  CKM_Array<uint32_t> pageImages;
  CKM_Array<uint32_t> pageShadings;
};
