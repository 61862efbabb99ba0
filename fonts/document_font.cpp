// A document font's own operations: the engine's glyph set and face file
// copied and opened, the face's names, and its metrics with the
// /FontDescriptor of the not-embedded forms.
//
// Contract for the engine's blocks. The IFIMETRICS and FD_GLYPHSET are
// trusted for their own cjThis (the engine allocated them so), nothing else:
// names and the charset list are read only inside cjThis, and the glyph
// set's run table and phg arrays are checked against the copied block at
// every use, so that a block whose runs point elsewhere yields no glyphs
// rather than reads outside it. The font file is opened by FreeType, which
// checks it; a collection is walked only as far as its faces open.
#include "fonts/document_font.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_SFNT_NAMES_H
#include FT_TRUETYPE_IDS_H

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "fonts/charset_tables.h"
#include "platform/win32.h"
#include "services/core_module.h"

namespace {

constexpr size_t kRunsOffset = offsetof(FD_GLYPHSET, awcrun);

// Calls `visit(wcLow, cGlyphs, entries)` for each run of the copied glyph
// set until it returns true; `entries` points at the run's handles inside
// the copy, or is null for a run without phg. Runs outside the block and
// runs whose phg array does not lie wholly inside it are passed over.
template <typename Visit>
void ForEachRun(const CKMC_Font& font, Visit visit) {
  const std::vector<uint8_t>& block = font.glyphSet;
  if (block.size() < kRunsOffset) return;
  FD_GLYPHSET header;
  std::memcpy(&header, block.data(), kRunsOffset);
  size_t room = (block.size() - kRunsOffset) / sizeof(WCRUN);
  size_t count = std::min<size_t>(header.cRuns, room);
  const auto base = reinterpret_cast<uintptr_t>(block.data());
  for (size_t i = 0; i < count; ++i) {
    WCRUN run;
    std::memcpy(&run, block.data() + kRunsOffset + i * sizeof(WCRUN), sizeof run);
    const uint8_t* entries = nullptr;
    if (run.phg) {
      // Unsigned arithmetic: an address below the copy wraps to a huge
      // offset and fails the test like one above it.
      uintptr_t offset =
          reinterpret_cast<uintptr_t>(run.phg) + static_cast<uintptr_t>(font.glyphSetDelta) - base;
      if (offset > block.size() || (block.size() - offset) / sizeof(HGLYPH) < run.cGlyphs) continue;
      entries = block.data() + offset;
    }
    if (visit(static_cast<uint32_t>(run.wcLow), static_cast<uint32_t>(run.cGlyphs), entries)) return;
  }
}

HGLYPH EntryAt(const uint8_t* entries, uint32_t index) {
  HGLYPH glyph;
  std::memcpy(&glyph, entries + size_t{index} * sizeof(HGLYPH), sizeof glyph);
  return glyph;
}

std::u16string AlternateName(std::u16string_view face) {
  CKMC_CoreModule* core = CKMC_CoreModule::Get();
  if (!core || face.empty()) return {};
  return core->GetFontAlternateName(face).str();
}

std::u16string AsciiLower(std::u16string_view text) {
  std::u16string lower(text);
  for (char16_t& c : lower)
    if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c - u'A' + u'a');
  return lower;
}

std::u16string Utf16BE(const uint8_t* bytes, size_t length) {
  std::u16string text(length / 2, u'\0');
  for (size_t i = 0; i < text.size(); ++i)
    text[i] = static_cast<char16_t>((bytes[2 * i] << 8) | bytes[2 * i + 1]);
  return text;
}

// Whether one of the face's full-name records, decoded the way the font
// mapper reads them, is `name`. Byte-coded records keep a zero byte at their
// end, so only the UTF-16 records can ever match.
bool HasFullName(FT_Face face, const CKM_ByteString& name) {
  FT_UInt count = FT_Get_Sfnt_Name_Count(face);
  for (FT_UInt i = 0; i < count; ++i) {
    FT_SfntName record;
    if (FT_Get_Sfnt_Name(face, i, &record) != 0 || record.name_id != TT_NAME_ID_FULL_NAME) continue;
    const uint8_t* bytes = record.string;
    size_t length = bytes ? record.string_len : 0;
    CKM_ByteString decoded;
    bool wide = record.platform_id == TT_PLATFORM_APPLE_UNICODE ||
                (record.platform_id != TT_PLATFORM_MACINTOSH && record.platform_id != TT_PLATFORM_ISO &&
                 record.encoding_id == 1);
    if (wide) {
      decoded = FontNameToAnsi(Utf16BE(bytes, length));
    } else if ((record.platform_id == TT_PLATFORM_MACINTOSH && record.encoding_id == 0) ||
               record.platform_id == TT_PLATFORM_ISO) {
      decoded = CKM_ByteString(bytes, length);
      decoded += '\0';
    } else {
      continue;
    }
    if (decoded == name) return true;
  }
  return false;
}

// (upem/2 + v*1000)/upem in whole numbers, truncated toward zero as integer
// division does: -200 at 1000 units gives -199, not -200.
int32_t Scaled(int64_t value, int32_t unitsPerEm) {
  if (unitsPerEm == 0) return 0;
  int64_t scaled = (unitsPerEm / 2 + value * 1000) / unitsPerEm;
  return static_cast<int32_t>(std::clamp<int64_t>(scaled, INT32_MIN, INT32_MAX));
}

// The descriptor flags (PDF 32000-1, 9.8.2): symbolic or not, fixed pitch,
// serif and script from the pitch and family byte, italic.
uint32_t DescriptorFlags(const IFIMETRICS& metrics) {
  uint32_t flags = metrics.jWinCharSet == SYMBOL_CHARSET ? 4 : 0x20;
  if ((metrics.jWinPitchAndFamily & 3) == 1) flags |= 1;
  switch (metrics.jWinPitchAndFamily & 0xF0) {
    case 0x10:  // roman
      flags |= 2;
      break;
    case 0x30:  // modern
      flags |= 1;
      break;
    case 0x40:  // script
      flags |= 8;
      break;
    default:
      break;
  }
  if (metrics.fsSelection & FM_SEL_ITALIC) flags |= 0x40;
  return flags;
}

}  // namespace

// ------------------------------------------------------------ names

CKM_ByteString FontNameToAnsi(std::u16string_view name) {
  if (name.empty()) return {};
  int length = static_cast<int>(std::min<size_t>(name.size(), 0x7FFFFFFF));
  int needed = WideCharToMultiByte(CP_ACP, 0, name.data(), length, nullptr, 0, nullptr, nullptr);
  if (needed <= 0) return {};
  std::string bytes(static_cast<size_t>(needed), '\0');
  WideCharToMultiByte(CP_ACP, 0, name.data(), length, bytes.data(), needed, nullptr, nullptr);
  return CKM_ByteString(std::move(bytes));
}

std::u16string FontNameFromAnsi(const CKM_ByteString& name) {
  if (name.IsEmpty()) return {};
  int length = static_cast<int>(std::min<size_t>(name.GetLength(), 0x7FFFFFFF));
  int needed = MultiByteToWideChar(CP_ACP, 0, name.c_str(), length, nullptr, 0);
  if (needed <= 0) return {};
  std::u16string wide(static_cast<size_t>(needed), u'\0');
  MultiByteToWideChar(CP_ACP, 0, name.c_str(), length, wide.data(), needed);
  return wide;
}

std::span<const uint8_t> IfiBytes(const IFIMETRICS& metrics, PTRDIFF offset) {
  if (offset <= 0 || static_cast<ULONG>(offset) >= metrics.cjThis) return {};
  const auto* block = reinterpret_cast<const uint8_t*>(&metrics);
  return std::span<const uint8_t>(block + offset, metrics.cjThis - static_cast<ULONG>(offset));
}

std::u16string IfiText(const IFIMETRICS& metrics, PTRDIFF offset) {
  std::span<const uint8_t> bytes = IfiBytes(metrics, offset);
  std::u16string text;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    char16_t unit;
    std::memcpy(&unit, bytes.data() + i, sizeof unit);
    if (unit == 0) break;
    text += unit;
  }
  return text;
}

std::u16string KeptFaceName(std::u16string_view faceName, std::u16string_view alternate, uint32_t fontEmbed,
                            bool evenWithoutAlternate) {
  // Without embedding the PDF names the face by the name a reader on
  // another system can find it under; with embedding the family name
  // stands, but for NSimSun.
  if (fontEmbed != 0 && alternate != u"NSimSun") return std::u16string(faceName);
  if (alternate.empty() && !evenWithoutAlternate) return std::u16string(faceName);
  std::u16string lowerFace = AsciiLower(faceName);
  std::u16string lowerAlternate = AsciiLower(alternate);
  std::u16string kept(alternate);
  auto lacks = [&](std::u16string_view style) {
    return lowerFace.find(style) != std::u16string::npos &&
           lowerAlternate.find(style) == std::u16string::npos;
  };
  if (lacks(u"bold")) kept += u" Bold";
  if (lacks(u"italic")) kept += u" Italic";
  return kept.empty() ? std::u16string(faceName) : kept;
}

bool IsGothicFaceName(std::u16string_view faceName) {
  std::u16string alternate = AlternateName(faceName);
  std::u16string_view name = alternate.empty() ? faceName : std::u16string_view(alternate);
  return name == u"MS Gothic" || name == u"MSP Gothic" || name == u"MS-Gothic" || name == u"MSP-Gothic";
}

std::u16string KeptFaceNameOf(const IFIMETRICS& metrics, uint32_t fontEmbed, bool evenWithoutAlternate) {
  std::u16string face = IfiText(metrics, metrics.dpwszFaceName);
  // A vertical face shares its name with the upright one.
  if (!face.empty() && face[0] == u'@') face.erase(0, 1);
  return KeptFaceName(face, AlternateName(face), fontEmbed, evenWithoutAlternate);
}

CKM_ByteString PdfFontName(const CKM_ByteString& name) {
  CKM_ByteString copy = name;
  return CKM_ByteString("/") + EscapeName(copy).view();
}

// ------------------------------------------------------------ CKMC_Font

CKMC_Font::CKMC_Font(CKMC_DocumentWriter& writer) : writer(writer) {}

CKMC_Font::~CKMC_Font() { CloseFace(); }

void CKMC_Font::CloseFace() {
  if (face) FT_Done_Face(face);
  if (library) FT_Done_FreeType(library);
  face = nullptr;
  library = nullptr;
  faceIndex = 0;
}

void CKMC_Font::PrepareFont(FONTOBJ* fontObject, uint32_t fontEmbed) {
  if (!fontObject) return;
  CopyGlyphSet(FONTOBJ_pfdg(fontObject));
  if (const IFIMETRICS* metrics = FONTOBJ_pifi(fontObject)) {
    uniqueName = IfiText(*metrics, metrics->dpwszUniqueName);
    SetName(FontNameToAnsi(KeptFaceNameOf(*metrics, fontEmbed, true)));
    SetMetrics(*metrics);
  }
  // The file comes from the FONTOBJ alone; a face that is not TrueType
  // gives none and the font goes on without a face.
  ULONG size = 0;
  const void* file = FONTOBJ_pvTrueTypeFontFile(fontObject, &size);
  OpenFace(file, file ? size : 0);
}

void CKMC_Font::CopyGlyphSet(const FD_GLYPHSET* glyphs) {
  glyphSet.clear();
  glyphSetDelta = 0;
  if (!glyphs || glyphs->cjThis < kRunsOffset) return;
  const auto* block = reinterpret_cast<const uint8_t*>(glyphs);
  glyphSet.assign(block, block + glyphs->cjThis);
  glyphSetDelta = static_cast<ptrdiff_t>(reinterpret_cast<uintptr_t>(glyphSet.data()) -
                                         reinterpret_cast<uintptr_t>(block));
}

void CKMC_Font::SetName(CKM_ByteString pdfName) {
  name = std::move(pdfName);
  gothic = IsGothicFaceName(FontNameFromAnsi(name));
}

void CKMC_Font::OpenFace(const void* file, size_t size) {
  CloseFace();
  fontFile.clear();
  if (!file || size == 0 || size > 0x7FFFFFFF) return;
  const auto* bytes = static_cast<const uint8_t*>(file);
  fontFile.assign(bytes, bytes + size);
  if (FT_Init_FreeType(&library) != 0) {
    library = nullptr;
    return;
  }
  FT_Face first = nullptr;
  if (FT_New_Memory_Face(library, fontFile.data(), static_cast<FT_Long>(size), 0, &first) != 0) return;
  if (first->num_faces < 2) {
    face = first;
  } else {
    // A collection: the face is the one whose full name is the font's name.
    FT_Long count = first->num_faces;
    for (FT_Long index = 0; index < count; ++index) {
      FT_Face candidate = first;
      if (index > 0 &&
          FT_New_Memory_Face(library, fontFile.data(), static_cast<FT_Long>(size), index, &candidate) != 0)
        break;
      if (HasFullName(candidate, name)) {
        face = candidate;
        faceIndex = static_cast<int32_t>(index);
        break;
      }
      FT_Done_Face(candidate);
    }
  }
  if (face) FT_Set_Pixel_Sizes(face, 10, 10);
}

HGLYPH CKMC_Font::GlyphOf(uint16_t unicode) const {
  HGLYPH glyph = HGLYPH_INVALID;
  ForEachRun(*this, [&](uint32_t low, uint32_t count, const uint8_t* entries) {
    if (unicode < low || unicode - low >= count) return false;
    glyph = entries ? EntryAt(entries, unicode - low) : unicode;
    return true;
  });
  return glyph;
}

uint16_t CKMC_Font::UnicodeOf(HGLYPH glyph) const {
  uint16_t unicode = 0;
  ForEachRun(*this, [&](uint32_t low, uint32_t count, const uint8_t* entries) {
    if (!entries) {
      if (glyph < low || glyph - low >= count) return false;
      unicode = static_cast<uint16_t>(glyph);
      return true;
    }
    for (uint32_t i = 0; i < count; ++i) {
      if (EntryAt(entries, i) == glyph) {
        unicode = static_cast<uint16_t>(low + i);
        return true;
      }
    }
    return false;
  });
  return unicode;
}

bool CKMC_Font::GlyphWidth(HGLYPH glyph, int32_t& width) const {
  if (!face || unitsPerEm == 0 || glyph == HGLYPH_INVALID) return false;
  if (FT_Load_Glyph(face, glyph, FT_LOAD_NO_SCALE) != 0) return false;
  int64_t advance = face->glyph->metrics.horiAdvance;
  int64_t value = (unitsPerEm / 2 + advance * 1000) / unitsPerEm;
  width = static_cast<int32_t>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX));
  return true;
}

// ------------------------------------------------------------ metrics and descriptor
void CKMC_Font::SetMetrics(const IFIMETRICS& metrics) {
  unitsPerEm = metrics.fwdUnitsPerEm;
  bboxLeft = Scaled(metrics.rclFontBox.left, unitsPerEm);
  bboxTop = Scaled(metrics.rclFontBox.top, unitsPerEm);
  bboxRight = Scaled(metrics.rclFontBox.right, unitsPerEm);
  bboxBottom = Scaled(metrics.rclFontBox.bottom, unitsPerEm);
  italicAngle = metrics.lItalicAngle;
  ascent = Scaled(metrics.fwdTypoAscender, unitsPerEm);
  descent = Scaled(metrics.fwdTypoDescender, unitsPerEm);
  capHeight = Scaled(metrics.fwdCapHeight, unitsPerEm);
  stemV = metrics.usWinWeight * 100 / 500;
  fsType = metrics.fsType;
  flags = DescriptorFlags(metrics);
}

void CKMC_Font::FillDescriptor(CKMC_Dictionary& descriptor, const CKM_ByteString& fontName) const {
  descriptor.SetLiteral("/Type", "/FontDescriptor");
  descriptor.SetLiteral("/FontName", PdfFontName(fontName));
  // Left, bottom, right, top: the order of a PDF rectangle.
  descriptor.SetLiteral(
      "/FontBBox", CKM_ByteString("[" + std::to_string(bboxLeft) + " " + std::to_string(bboxBottom) + " " +
                                  std::to_string(bboxRight) + " " + std::to_string(bboxTop) + "]"));
  descriptor.SetNumber("/Flags", flags);
  descriptor.SetNumber("/ItalicAngle", italicAngle);
  descriptor.SetNumber("/Ascent", ascent);
  descriptor.SetNumber("/Descent", descent);
  descriptor.SetNumber("/CapHeight", capHeight);
  descriptor.SetNumber("/StemV", stemV);
}

void CKMC_Font::WriteDescriptor(uint32_t objectNumber, int32_t missingWidth) {
  CKMC_Dictionary descriptor;
  FillDescriptor(descriptor, name);
  // The Gothic faces' characters not in a width table are half-width.
  if (gothic)
    descriptor.SetNumber("/MissingWidth", 500);
  else if (missingWidth != 0)
    descriptor.SetNumber("/MissingWidth", missingWidth);
  writer.WriteIndirectObject(objectNumber, &descriptor);
}
