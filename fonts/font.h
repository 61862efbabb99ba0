// The document's fonts: one CKMC_Font per face the job prints with, made
// from the engine's FONTOBJ at its first use and written at document end.
//
// A font that is not embedded fans out into subfonts, one PDF font object
// each (subfonts.h); the catalogue (CKMC_FontCatalogue) finds or makes the
// font for a FONTOBJ and holds the list in order of creation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/byte_string.h"
#include "platform/winddi.h"
#include "writer/document_writer.h"

typedef struct FT_LibraryRec_* FT_Library;
typedef struct FT_FaceRec_* FT_Face;

class CKMC_FontCatalogue;

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
  explicit CKMC_Font(CKMC_FontCatalogue& catalogue);
  virtual ~CKMC_Font();
  CKMC_Font(const CKMC_Font&) = delete;
  CKMC_Font& operator=(const CKMC_Font&) = delete;

  virtual void InitCharsets(const IFIMETRICS& metrics) = 0;
  // The code of one character (`glyph`: its handle in the FONTOBJ's glyph
  // set); `vertical` asks for the vertical form of a CJK subfont.
  virtual CKMC_MappedCharacter MapCharacter(uint16_t unicode, HGLYPH glyph, bool vertical) = 0;
  // The font's objects, at document end.
  virtual void WriteFont() = 0;
  // The /FontDescriptor of the not-embedded forms under `objectNumber`
  // (descriptors.cpp); an embedded font writes its own form.
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
  void SetMetrics(const IFIMETRICS& metrics);  // descriptors.cpp
  // Copies the font file and opens its face; in a collection, the face whose
  // full name (name ID 4) equals `name`. `face` stays null on failure.
  void OpenFace(const void* file, size_t size);

  // The glyph handle of a Unicode value in the copied glyph set, or
  // HGLYPH_INVALID when no run holds it.
  HGLYPH GlyphOf(uint16_t unicode) const;
  // The advance of a glyph of the face in thousandths of an em; false
  // without a face or when the glyph cannot be loaded.
  bool GlyphWidth(HGLYPH glyph, int32_t& width) const;
  // Whether the name stands for one of the MS Gothic faces, whose half-width
  // characters all have one width (set by SetName).
  bool IsGothic() const { return gothic; }

  CKMC_FontCatalogue& catalogue;

  CKM_ByteString name;           // /BaseFont and /FontName, system code page
  std::u16string uniqueName;     // with `name`, the key of the font
  FT_Library library = nullptr;  // owned, with `face`
  FT_Face face = nullptr;
  std::vector<uint8_t> fontFile;  // private copy of the file the face was opened from

  // Metrics in thousandths of an em (descriptors.cpp).
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

// The catalogue of one document's fonts. The switches are the document's
// own and are read at each call.
class CKMC_FontCatalogue {
 public:
  struct Settings {
    const uint32_t& fontEmbed;  // 0 none, 1 the faces of `faceBlock`, 2 all, 3 all but the standard 14
    const uint32_t& fontWarn;   // warn when a face cannot be embedded
    const std::vector<uint8_t>& faceBlock;  // the printer's "FFaces" block
    // Tells the user that a face stays outside the file (its name in the
    // system code page) and waits for the answer; none: nobody is told.
    void (*warnNotEmbedded)(const CKM_ByteString& name) = nullptr;
  };
  CKMC_FontCatalogue(CKMC_DocumentWriter& writer, Settings settings);
  ~CKMC_FontCatalogue();

  // The document font of a FONTOBJ, made at its first use; never null.
  CKMC_Font& FindOrCreateFont(FONTOBJ* fontObject);
  // The Unicode value of a glyph handle in the font's glyph set; 0 if none.
  static uint16_t GlyphToUnicode(const CKMC_Font& font, HGLYPH glyph);
  // Whether `familyName` stands in the "FFaces" block (exact match).
  bool IsEmbedFace(std::u16string_view familyName) const;
  // The same for any block: a 32-bit size that counts itself, then
  // zero-ended UTF-16 names.
  static bool FaceBlockHolds(std::span<const uint8_t> block, std::u16string_view familyName);

  // The face name under which a font is kept: `faceName` (its "@" already
  // dropped) replaced by the face's `alternate` name when fonts are not
  // embedded (or the alternate is "NSimSun"), with " Bold" and " Italic"
  // added where the face name has them and the alternate has not.
  // `evenWithoutAlternate`: the style test is made also for an empty
  // alternate, which gives a face " Bold" for "Foo Bold" without one.
  static std::u16string KeptFaceName(std::u16string_view faceName, std::u16string_view alternate,
                                     uint32_t fontEmbed, bool evenWithoutAlternate);
  // Whether a face name, once replaced by its alternate name where there is
  // one, is one of "MS Gothic", "MSP Gothic", "MS-Gothic", "MSP-Gothic".
  static bool IsGothicName(std::u16string_view faceName);

  // Every font's objects, in order of creation; at document end.
  void WriteFonts();
  // Forgets all fonts, for the next document.
  void Clear();

  const std::vector<std::unique_ptr<CKMC_Font>>& Fonts() const { return fonts_; }

  CKMC_DocumentWriter& writer;
  Settings settings;

 private:
  // The embedded form of a face; null when the face cannot be embedded.
  std::unique_ptr<CKMC_Font> MakeEmbeddedFont(FONTOBJ* fontObject, const IFIMETRICS& metrics, uint32_t mode);
  std::vector<std::unique_ptr<CKMC_Font>> fonts_;
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
