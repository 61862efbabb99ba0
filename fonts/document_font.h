// A document font: one face the job prints with, made from the engine's
// FONTOBJ at its first use and written at document end (CKMC_Font), and
// the name and metrics helpers every form of font shares.
//
// The forms themselves build on this: the not-embedded fonts and their
// subfonts (subfonts.h) and the embedded ones (embedded_font.h). The
// catalogue that picks the form for a face sits above all of them
// (font.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/byte_string.h"
#include "platform/winddi.h"
#include "writer/document_writer.h"

typedef struct FT_LibraryRec_* FT_Library;
typedef struct FT_FaceRec_* FT_Face;

// What MapCharacter gives for one character: the code's bytes in a PDF
// string (`length` 0: the character cannot be shown), the number of the
// subfont that holds it, and its width in thousandths of an em.
//
// `code` holds the bytes in the order they are written: a one-byte code is
// its low byte; a two-byte code keeps its high byte in the low byte of
// `code` (the Unicode value with its bytes swapped), so that the bytes of
// `code` in memory order are the string's bytes.
struct CKMC_MappedCharacter {
  uint32_t code = 0;
  uint32_t length = 0;
  uint32_t fontNumber = 0;
  int32_t width = 0;
};

class CKMC_Font {
 public:
  explicit CKMC_Font(CKMC_DocumentWriter& writer);
  virtual ~CKMC_Font();
  CKMC_Font(const CKMC_Font&) = delete;
  CKMC_Font& operator=(const CKMC_Font&) = delete;

  virtual void InitCharsets(const IFIMETRICS& metrics) = 0;
  // The code of one character (`glyph`: its handle in the FONTOBJ's glyph
  // set); `vertical` asks for the vertical form of a CJK subfont.
  virtual CKMC_MappedCharacter MapCharacter(uint16_t unicode, HGLYPH glyph, bool vertical) = 0;
  // The font's objects, at document end.
  virtual void WriteFont() = 0;
  // The /FontDescriptor of the not-embedded forms under `objectNumber`; an
  // embedded font writes its own form.
  virtual void WriteDescriptor(uint32_t objectNumber, int32_t missingWidth);
  // The entries every form of the descriptor has, from /Type to /StemV,
  // with `fontName` as /FontName.
  void FillDescriptor(CKMC_Dictionary& descriptor, const CKM_ByteString& fontName) const;

  // Fills the font from the engine's objects: glyph set, name, metrics and
  // the FreeType face of the font file. `fontEmbed` is the document's mode,
  // which decides the name.
  void PrepareFont(FONTOBJ* fontObject, uint32_t fontEmbed);
  // The parts of PrepareFont, usable on their own.
  void CopyGlyphSet(const FD_GLYPHSET* glyphs);
  void SetName(CKM_ByteString pdfName);
  void SetMetrics(const IFIMETRICS& metrics);
  // Copies the font file and opens its face; in a collection, the face whose
  // full name (name ID 4) equals `name`. `face` stays null on failure.
  void OpenFace(const void* file, size_t size);

  // The glyph handle of a Unicode value in the copied glyph set, or
  // HGLYPH_INVALID when no run holds it.
  HGLYPH GlyphOf(uint16_t unicode) const;
  // The Unicode value of a glyph handle in the copied glyph set; 0 if none.
  uint16_t UnicodeOf(HGLYPH glyph) const;
  // The advance of a glyph of the face in thousandths of an em; false
  // without a face or when the glyph cannot be loaded.
  bool GlyphWidth(HGLYPH glyph, int32_t& width) const;
  // Whether the name stands for one of the MS Gothic faces, whose half-width
  // characters all have one width (set by SetName).
  bool IsGothic() const { return gothic; }

  CKMC_DocumentWriter& writer;  // the document the font's objects go to

  CKM_ByteString name;           // /BaseFont and /FontName, system code page
  std::u16string uniqueName;     // with `name`, the key of the font
  FT_Library library = nullptr;  // owned, with `face`
  FT_Face face = nullptr;
  std::vector<uint8_t> fontFile;  // private copy of the file the face was opened from

  // Metrics in thousandths of an em.
  int32_t italicAngle = 0;
  int32_t ascent = 0;
  int32_t descent = 0;
  int32_t capHeight = 0;
  int32_t stemV = 0;
  int32_t bboxLeft = 0;
  int32_t bboxTop = 0;
  int32_t bboxRight = 0;
  int32_t bboxBottom = 0;
  int32_t unitsPerEm = 0;
  uint32_t flags = 0;
  uint32_t fsType = 0;

  // Private copy of the FONTOBJ's FD_GLYPHSET, and the distance of the
  // copy from the engine's block: the copy's phg pointers still point into
  // the engine's block and are followed after adding the distance.
  std::vector<uint8_t> glyphSet;
  ptrdiff_t glyphSetDelta = 0;
  int32_t faceIndex = 0;

 protected:
  bool gothic = false;

 private:
  void CloseFace();
};

// Text conversions of the font names: the system code page both ways.
CKM_ByteString FontNameToAnsi(std::u16string_view name);
std::u16string FontNameFromAnsi(const CKM_ByteString& name);

// The parts of an IFIMETRICS block behind the structure, found by their
// offsets and kept inside the block's cjThis bytes: a zero-ended UTF-16
// name (empty for offset 0 or outside the block), and the bytes from an
// offset to the block's end.
std::u16string IfiText(const IFIMETRICS& metrics, PTRDIFF offset);
std::span<const uint8_t> IfiBytes(const IFIMETRICS& metrics, PTRDIFF offset);

// The face name under which a font is kept: `faceName` (its "@" already
// dropped) replaced by the face's `alternate` name when fonts are not
// embedded (or the alternate is "NSimSun"), with " Bold" and " Italic"
// added where the face name has them and the alternate has not.
// `evenWithoutAlternate`: the style test is made also for an empty
// alternate, which gives a face " Bold" for "Foo Bold" without one.
std::u16string KeptFaceName(std::u16string_view faceName, std::u16string_view alternate, uint32_t fontEmbed,
                            bool evenWithoutAlternate);
// The kept face name of an IFIMETRICS block, its alternate name looked up.
std::u16string KeptFaceNameOf(const IFIMETRICS& metrics, uint32_t fontEmbed, bool evenWithoutAlternate);
// Whether a face name, once replaced by its alternate name where there is
// one, is one of "MS Gothic", "MSP Gothic", "MS-Gothic", "MSP-Gothic".
bool IsGothicFaceName(std::u16string_view faceName);
// "/" and the PDF-escaped name.
CKM_ByteString PdfFontName(const CKM_ByteString& name);
