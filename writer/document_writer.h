// CKMC_DocumentWriter: the file side of a print job.
//
// It owns the output file, the object numbers and their offsets, the page's
// content stream and resource lists, and writes the header, the fixed
// objects, each page's content and page object, the page tree, the catalog,
// the cross-reference table and the trailer. PDF goes straight to the file
// in one pass; nothing written is ever rewritten. Offsets come from counting
// the bytes written.
//
// Only the writer gives out object numbers, records offsets and writes
// "obj"/"endobj": the graphics, fonts and modules ask it for a number, write
// their object through it, name the resources their page uses and append to
// the page's content stream.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "base/array.h"
#include "base/binary_buf.h"
#include "base/byte_string.h"
#include "platform/winddi.h"
#include "writer/document_info.h"
#include "writer/output_object.h"

// The page in device pixels and the scale from pixels to points.
struct CKMC_PageGeometry {
  int32_t widthPixels = 0;
  int32_t heightPixels = 0;
  double pixelToPoint = 0.24;
};

class CKMC_DocumentWriter {
 public:
  // The objects every file has at the same numbers.
  static constexpr uint32_t kPagesObject = 1;
  static constexpr uint32_t kColorSpaceObject = 2;
  static constexpr uint32_t kProfileObject = 3;
  static constexpr uint32_t kExtGStateObject = 4;

  CKMC_DocumentWriter() = default;
  ~CKMC_DocumentWriter();
  CKMC_DocumentWriter(const CKMC_DocumentWriter&) = delete;
  CKMC_DocumentWriter& operator=(const CKMC_DocumentWriter&) = delete;

  // ---- the job's form

  // `pdfVersion` is 13 to 17 for PDF 1.3 to 1.7; `pdfa` asks for PDF/A-1b.
  void SetFormat(uint32_t pdfVersion, bool pdfa);
  bool Pdfa() const { return m_pdfa; }
  void SetGeometry(const CKMC_PageGeometry& geometry) { m_geometry = geometry; }
  const CKMC_PageGeometry& Geometry() const { return m_geometry; }

  // ---- the output file

  // The writer takes the open file over and closes it at document end. A
  // file attached before stays open.
  void AttachFile(HANDLE file);
  bool HasFile() const { return m_file != INVALID_HANDLE_VALUE; }
  // Flushes and closes the file, if one is open.
  void CloseFile();
  // Forgets the numbering, the offsets, the pages and the page's content,
  // for a new document. The file is left as it is.
  void Reset();

  // ---- objects

  // Hands out the next object number; its object may be written much later.
  uint32_t NewObjectNumber() { return ++m_objectCount; }
  uint32_t ObjectCount() const { return m_objectCount; }
  // Writes "n 0 obj\n", the object's serial form and "endobj\n" in one
  // write, and records the offset of object n.
  void WriteIndirectObject(uint32_t number, CKMC_Object* object);

  // ---- the current page

  // Whether the page's content stream is open.
  bool HasPageContent() const { return m_content != nullptr; }
  // Opens the page's content stream with the ICC colour spaces selected and
  // no resources used.
  void BeginPageContent();
  // The page's content stream; BeginPageContent must have opened it.
  CKM_BinaryBuf& Content() { return *m_content; }
  // The resources the page's content names. A font is listed once however
  // often it is used; an image or shading once per use.
  void UseFont(uint32_t number);
  void UseImage(uint32_t number) { m_pageImages.Add(number); }
  void UseShading(uint32_t number) { m_pageShadings.Add(number); }
  const CKM_Array<uint32_t>& PageImages() const { return m_pageImages; }
  // Builds the resource dictionary text of the current page.
  CKM_ByteString BuildResourceText() const;

  // ---- the file's parts, in the order they are written

  // Header and objects 2 (ICC colour space), 3 (ICC profile), 4 (ExtGState).
  void WriteHeaderAndFixedObjects();
  // Writes the page's content stream (opened empty if it was not) and page
  // object, and appends the page to the page list.
  void FinishPage();
  size_t PageCount() const { return m_pageObjects.GetSize(); }
  // The page tree over the pages written.
  void WritePageTree();
  // The catalog. In PDF/A mode the metadata stream's number is given out
  // first, and the catalog names it under "/Metadata".
  void WriteCatalog();
  // After the catalog: the information dictionary, in PDF/A mode the XMP
  // metadata stream, the cross-reference table and the trailer; then the
  // file is flushed and closed. The dates come from one clock reading.
  void WriteDocumentTail(const DocumentInfoText& text);

 private:
  // Appends raw bytes to the output file and advances the file position.
  void WriteToFile(const void* data, size_t length);
  void WriteToFile(std::string_view text) { WriteToFile(text.data(), text.size()); }
  void WriteCrossReferenceAndTrailer(uint32_t catalog, uint32_t info);

  HANDLE m_file = INVALID_HANDLE_VALUE;
  uint32_t m_pdfVersion = 14;
  bool m_pdfa = false;
  CKMC_PageGeometry m_geometry;

  uint32_t m_objectCount = 0;
  uint32_t m_filePosition = 0;
  CKM_Array<uint32_t> m_offsets;  // entry n - 1 holds the offset of object n
  uint32_t m_catalogObject = 0;
  uint32_t m_metadataObject = 0;  // PDF/A only
  CKM_Array<uint32_t> m_pageObjects;

  std::unique_ptr<CKM_BinaryBuf> m_content;
  CKM_Array<uint32_t> m_pageFonts;
  CKM_Array<uint32_t> m_pageImages;
  CKM_Array<uint32_t> m_pageShadings;
};
