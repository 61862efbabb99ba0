#include "writer/document_writer.h"

#include "base/number_format.h"
#include "platform/win32.h"
#include "writer/srgb_profile.h"

namespace {

// Bytes that follow the version line: a comment of high bytes marks the
// file as binary for transfer programs.
constexpr char kBinaryMark[] = "\x8E\x9D\xA3\xB4\xC5\xD6\xE7\xF8\n";
constexpr char kPdfaMark[] = "%\x81\x82\x83\x84\n";

// The trailer's /ID text: the UUID's text form without its hyphens.
bool MakeFileIdentifier(std::string& id) {
  UUID uuid{};
  if (UuidCreate(&uuid) == static_cast<int32_t>(RPC_S_UUID_NO_ADDRESS)) return false;
  BYTE* text = nullptr;
  if (UuidToStringA(&uuid, &text) != static_cast<int32_t>(RPC_S_OK) || !text) return false;
  std::string_view form(reinterpret_cast<const char*>(text));
  bool ok = form.size() == 36;
  if (ok) {
    id.assign(form.substr(0, 8));
    id.append(form.substr(9, 4));
    id.append(form.substr(14, 4));
    id.append(form.substr(19, 4));
    id.append(form.substr(24, 12));
  }
  RpcStringFreeA(&text);
  return ok;
}

}  // namespace

CKMC_DocumentWriter::~CKMC_DocumentWriter() { CloseFile(); }

void CKMC_DocumentWriter::SetFormat(uint32_t pdfVersion, bool pdfa) {
  m_pdfVersion = pdfVersion;
  m_pdfa = pdfa;
}

void CKMC_DocumentWriter::AttachFile(HANDLE file) { m_file = file; }

void CKMC_DocumentWriter::WriteToFile(const void* data, size_t length) {
  DWORD written = 0;
  // Write results are not checked: a failing disk yields a broken file, and
  // the job still runs to its end.
  WriteFile(m_file, data, static_cast<DWORD>(length), &written, nullptr);
  m_filePosition += static_cast<uint32_t>(length);
}

void CKMC_DocumentWriter::CloseFile() {
  if (m_file == INVALID_HANDLE_VALUE) return;
  FlushFileBuffers(m_file);
  CloseHandle(m_file);
  m_file = INVALID_HANDLE_VALUE;
}

void CKMC_DocumentWriter::Reset() {
  m_objectCount = 0;
  m_filePosition = 0;
  m_offsets.RemoveAll();
  m_pageObjects.RemoveAll();
  m_catalogObject = m_metadataObject = 0;
  m_content.reset();
  m_pageFonts.RemoveAll();
  m_pageImages.RemoveAll();
  m_pageShadings.RemoveAll();
}

void CKMC_DocumentWriter::WriteIndirectObject(uint32_t number, CKMC_Object* object) {
  if (m_offsets.GetSize() < number) m_offsets.SetSize(number);
  m_offsets[number - 1] = m_filePosition;
  CKM_BinaryBuf buffer;
  buffer.AppendString(snk::FormatInteger(number));
  buffer.AppendString(" 0 obj\n");
  WriteObjectBody(buffer, object);
  buffer.AppendString("endobj\n");
  WriteToFile(buffer.GetBuffer(), buffer.GetSize());
}

void CKMC_DocumentWriter::WriteHeaderAndFixedObjects() {
  if (m_pdfVersion >= 13 && m_pdfVersion <= 17) {
    std::string header = "%PDF-1." + snk::FormatInteger(m_pdfVersion % 10) + "\n";
    if (m_pdfa) header += kPdfaMark;
    header += kBinaryMark;
    WriteToFile(header);
  }
  m_objectCount = kProfileObject;

  // Object 2 has a form of its own, with a line end before "endobj".
  m_offsets.SetSize(kProfileObject);
  m_offsets[kColorSpaceObject - 1] = m_filePosition;
  WriteToFile("2 0 obj\n[/ICCBased 3 0 R]\nendobj\n");

  CKMC_Stream profile;
  profile.dict.SetNumber("/N", 3);
  profile.dict.SetLiteral("/Filter", "/FlateDecode");
  auto icc = SrgbProfile();
  profile.data = CompressToString(icc.data(), icc.size());
  WriteIndirectObject(kProfileObject, &profile);

  const uint32_t extGState = NewObjectNumber();
  CKMC_Dictionary gs;
  gs.SetLiteral("/Type", "/ExtGState");
  gs.SetNumber("/ca", 0.498);
  gs.SetNumber("/CA", 0.498);
  WriteIndirectObject(extGState, &gs);
}

void CKMC_DocumentWriter::BeginPageContent() {
  m_content = std::make_unique<CKM_BinaryBuf>();
  m_pageFonts.RemoveAll();
  m_content->AppendString("/CS1 cs /CS1 CS ");
}

void CKMC_DocumentWriter::UseFont(uint32_t number) {
  for (uint32_t used : m_pageFonts)
    if (used == number) return;
  m_pageFonts.Add(number);
}

CKM_ByteString CKMC_DocumentWriter::BuildResourceText() const {
  auto entries = [](std::string& text, const char* prefix, const CKM_Array<uint32_t>& list) {
    for (uint32_t number : list) {
      std::string n = snk::FormatInteger(number);
      text += prefix + n + " " + n + " 0 R ";
    }
  };
  std::string text = "<</Font <<";
  entries(text, "/F", m_pageFonts);
  text += ">> /Shading <<";
  entries(text, "/Sh", m_pageShadings);
  text += ">> /XObject <<";
  entries(text, "/Im", m_pageImages);
  text += ">> /ColorSpace <</CS1 " + snk::FormatInteger(kColorSpaceObject) + " 0 R ";
  text += ">> /ExtGState <</GS0 " + snk::FormatInteger(kExtGStateObject) + " 0 R>> >>";
  return CKM_ByteString(std::move(text));
}

void CKMC_DocumentWriter::FinishPage() {
  if (!m_content) BeginPageContent();

  CKMC_Stream stream;
  stream.dict.SetLiteral("/Filter", "/FlateDecode");
  stream.data = CompressToString(m_content->GetBuffer(), m_content->GetSize());
  uint32_t contentObject = NewObjectNumber();
  WriteIndirectObject(contentObject, &stream);

  const CKMC_PageGeometry& g = m_geometry;
  CKMC_Dictionary page;
  page.SetLiteral("/Type", "/Page");
  page.SetReference("/Parent", kPagesObject);
  page.SetReference("/Contents", contentObject);
  page.SetLiteral("/Resources", BuildResourceText());
  page.SetNumber("/PageIndex", static_cast<double>(PageCount() + 1));
  page.SetLiteral("/MediaBox", CKM_ByteString("[0 0 " + snk::FormatG(g.widthPixels * g.pixelToPoint) + " " +
                                              snk::FormatG(g.heightPixels * g.pixelToPoint) + "]"));
  uint32_t pageObject = NewObjectNumber();
  WriteIndirectObject(pageObject, &page);
  m_pageObjects.Add(pageObject);

  m_content.reset();
  m_pageFonts.RemoveAll();
  m_pageImages.RemoveAll();
  m_pageShadings.RemoveAll();
}

void CKMC_DocumentWriter::WritePageTree() {
  std::string kids = "[";
  for (uint32_t page : m_pageObjects) kids += snk::FormatInteger(page) + " 0 R ";
  kids += "]";
  CKMC_Dictionary tree;
  tree.SetLiteral("/Type", "/Pages");
  tree.SetLiteral("/Kids", CKM_ByteString(std::move(kids)));
  tree.SetNumber("/Count", static_cast<double>(PageCount()));
  WriteIndirectObject(kPagesObject, &tree);
}

void CKMC_DocumentWriter::WriteCatalog() {
  CKMC_Dictionary catalog;
  m_metadataObject = m_pdfa ? NewObjectNumber() : 0;
  if (m_metadataObject) catalog.SetReference("/Metadata", m_metadataObject);
  catalog.SetLiteral("/Type", "/Catalog");
  catalog.SetReference("/Pages", kPagesObject);
  m_catalogObject = NewObjectNumber();
  WriteIndirectObject(m_catalogObject, &catalog);
}

void CKMC_DocumentWriter::WriteDocumentTail(const DocumentInfoText& text) {
  ClockReading now = ReadClock();
  int offset = ZoneOffsetMinutes(now.utc, now.local);

  CKMC_Dictionary info;
  BuildInfoDictionary(info, text, FormatPdfDate(now.local, offset));
  uint32_t infoObject = NewObjectNumber();
  WriteIndirectObject(infoObject, &info);

  if (m_metadataObject) {
    CKMC_Stream metadata;
    BuildMetadataStream(metadata, text, FormatXmpDate(now.local, offset));
    WriteIndirectObject(m_metadataObject, &metadata);
  }

  WriteCrossReferenceAndTrailer(m_catalogObject, infoObject);
  CloseFile();
}

void CKMC_DocumentWriter::WriteCrossReferenceAndTrailer(uint32_t catalog, uint32_t info) {
  uint32_t tableStart = m_filePosition;
  if (m_offsets.GetSize() < m_objectCount) m_offsets.SetSize(m_objectCount);
  std::string table = "xref\n0 " + snk::FormatInteger(m_objectCount + 1) + "\n";
  table += "0000000000 65536 f\r\n";
  for (uint32_t n = 1; n <= m_objectCount; ++n) {
    uint32_t offset = m_offsets[n - 1];
    table += snk::FormatOffset(static_cast<int32_t>(offset));
    table += offset ? " 00000 n\r\n" : " 00000 f\r\n";
  }
  WriteToFile(table);

  std::string trailer = "trailer\n<</Size " + snk::FormatInteger(m_objectCount + 1) + " /Root " +
                        snk::FormatInteger(catalog) + " 0 R /Info " + snk::FormatInteger(info) + " 0 R";
  std::string id;
  if (m_pdfa && MakeFileIdentifier(id)) trailer += " /ID [<" + id + "><" + id + ">]";
  trailer += ">>\nstartxref\n" + snk::FormatInteger(tableStart) + "\n%%EOF";
  WriteToFile(trailer);
}
