// The embedded fonts: text set as glyph indices of a font program that the
// PDF carries, cut down to the glyphs the document used.
//
// A CKMC_CIDEmbedFont writes every character as a two-byte code under an
// Identity CMap, horizontal and vertical, and keeps the text searchable
// through a /ToUnicode CMap built from the Unicode values the glyphs were
// met with. What kind of program goes into the file is settled by what the
// face's file turns out to be (ChooseEmbedSubFont):
//
//   TrueType (also a face of a collection)   CKMC_CIDEmbedTTFont, /FontFile2, subset
//   Type 1 (PFB or PFA)                      CKMC_CIDEmbedT1Font, /FontFile, subset
//   OpenType with a CFF table                CKMC_CIDEmbedOTFont, /FontFile, the whole table
//   one of the twelve standard faces, mode 3 CKMC_CIDEmbedStandardFont: the standard
//                                            Type 1 font within WinAnsi, a TrueType
//                                            subset for the rest
//
// The file reaches the subsetters only through the read callbacks over the
// font's private copy (font_reader.h).
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "fonts/document_font.h"
#include "fonts/font_reader.h"
#include "fonts/subfonts.h"

class CKMC_CIDEmbedFont;
class CKMC_CIDEmbedTTFont;
class CKMC_TrueTypeSubset;
class CKMC_Type1Subset;

// One glyph of an embedded font as met in the text: its index in the
// source font, its code (CID) in the output, the Unicode value it stood
// for, and its width in thousandths of an em.
struct CKMC_GlyphRecord {
  uint32_t glyph = 0;
  uint32_t cid = 0;
  uint32_t unicode = 0;
  int32_t width = 0;
};

// What MapGlyph gives for "no code": the character is not shown.
inline constexpr int64_t kNoGlyphCode = -1;

class CKMC_CIDEmbedSubFont {
 public:
  CKMC_CIDEmbedSubFont(CKMC_CIDEmbedFont& font, const char* subtype);
  virtual ~CKMC_CIDEmbedSubFont();
  CKMC_CIDEmbedSubFont(const CKMC_CIDEmbedSubFont&) = delete;
  CKMC_CIDEmbedSubFont& operator=(const CKMC_CIDEmbedSubFont&) = delete;

  // The code of a character drawn with source glyph `glyph` (HGLYPH_INVALID
  // or any value with the top bit set: none), as it goes into the PDF
  // string (see CKMC_MappedCharacter), or kNoGlyphCode. `length` gets the
  // code's byte count, `width` the glyph's width.
  virtual int64_t MapGlyph(uint16_t unicode, uint32_t glyph, uint32_t& length, int32_t& width);
  virtual uint32_t GetFontNumber(bool vertical);
  virtual void WriteSubFont();
  virtual uint32_t GetFontFileNumber() const { return fontFileNumber; }
  // 0: no font file key; 1: /FontFile; 2: /FontFile2.
  virtual int GetFontFileKind() const { return 0; }
  // The output index of a source glyph, taking it into the subset.
  virtual uint32_t AddGlyph(uint32_t /*glyph*/) { return 0; }
  virtual void WriteFontFile() {}
  // The /ToUnicode CMap of the records under `objectNumber`.
  void WriteToUnicode(uint32_t objectNumber);

  CKMC_CIDEmbedFont& font;
  uint32_t numberH;
  uint32_t numberV;
  bool usedH = false;
  bool usedV = false;
  uint32_t fontFileNumber;
  std::vector<CKMC_GlyphRecord> records;
  std::map<uint16_t, size_t> byUnicode;  // Unicode value -> index in `records`
  bool isCJK = false;
  const char* subtype;

 protected:
  // Writes `bytes` as a Flate stream object under fontFileNumber, with the
  // extra entries of `dict`.
  void WriteFontStream(const void* bytes, size_t size, CKMC_Dictionary& dict);
  // Sets isCJK when the font's current charset is a double-byte one.
  void NoteCJK();
};

// A TrueType program, subset; /CIDFontType2 with /FontFile2.
class CKMC_CIDEmbedTTFont : public CKMC_CIDEmbedSubFont {
 public:
  explicit CKMC_CIDEmbedTTFont(CKMC_CIDEmbedFont& font);
  int GetFontFileKind() const override { return 2; }
  uint32_t AddGlyph(uint32_t glyph) override;
  void WriteFontFile() override;
};

// A Type 1 program, subset; /CIDFontType0 with /FontFile and /Length1..3.
class CKMC_CIDEmbedT1Font : public CKMC_CIDEmbedSubFont {
 public:
  explicit CKMC_CIDEmbedT1Font(CKMC_CIDEmbedFont& font);
  int GetFontFileKind() const override { return 1; }
  uint32_t AddGlyph(uint32_t glyph) override;
  void WriteFontFile() override;
};

// The CFF table of an OpenType face, whole: codes are the face's glyph
// indices, and the records are made at the end from the face itself.
class CKMC_CIDEmbedOTFont : public CKMC_CIDEmbedSubFont {
 public:
  CKMC_CIDEmbedOTFont(CKMC_CIDEmbedFont& font, std::vector<uint8_t> cff);
  int64_t MapGlyph(uint16_t unicode, uint32_t glyph, uint32_t& length, int32_t& width) override;
  void WriteSubFont() override;
  int GetFontFileKind() const override { return 1; }
  uint32_t AddGlyph(uint32_t glyph) override { return glyph; }
  void WriteFontFile() override;

  std::vector<uint8_t> cff;
};

// A face of the twelve with a standard Type 1 font, in mode 3: WinAnsi text
// costs no font program; what lies beyond goes to a TrueType subset.
class CKMC_CIDEmbedStandardFont : public CKMC_CIDEmbedSubFont {
 public:
  CKMC_CIDEmbedStandardFont(CKMC_CIDEmbedFont& font, const char* baseFont);
  ~CKMC_CIDEmbedStandardFont() override;
  int64_t MapGlyph(uint16_t unicode, uint32_t glyph, uint32_t& length, int32_t& width) override;
  uint32_t GetFontNumber(bool /*vertical*/) override { return currentNumber; }
  void WriteSubFont() override;
  uint32_t GetFontFileNumber() const override;

  struct Entry {
    uint32_t code = 0;
    int32_t width = 0;
    uint32_t fontNumber = 0;
  };
  const char* baseFont;
  uint32_t type1Number;
  uint32_t currentNumber = 0;
  bool type1Used = false;
  std::map<uint16_t, Entry> winAnsi;  // Unicode value -> its code in the standard font
  std::unique_ptr<CKMC_CIDEmbedTTFont> second;
};

class CKMC_CIDEmbedFont : public CKMC_Font, public CKMC_FontCharsets {
 public:
  CKMC_CIDEmbedFont(CKMC_DocumentWriter& writer, uint32_t mode);
  ~CKMC_CIDEmbedFont() override;

  void InitCharsets(const IFIMETRICS& metrics) override { InitFontCharsets(metrics); }
  CKMC_MappedCharacter MapCharacter(uint16_t unicode, HGLYPH glyph, bool vertical) override;
  void WriteFont() override;
  void WriteDescriptor(uint32_t objectNumber, int32_t missingWidth) override;

  // Chooses the subfont by what the font file is; false when the face
  // cannot be embedded (no file, a file of no known kind, or a face that
  // forbids embedding).
  bool ChooseEmbedSubFont();

  // The name in the PDF: the face name with the subset tag behind it.
  CKM_ByteString TaggedName() const;

  std::unique_ptr<CKMC_TrueTypeSubset> trueType;
  std::unique_ptr<CKMC_Type1Subset> type1;
  CKMC_FontReader reader;
  std::unique_ptr<CKMC_CIDEmbedSubFont> subFont;
  uint32_t mode;
};

// The text of a /ToUnicode CMap for the records, before compression: the
// fixed head, the single entries and the runs in groups of 100, the fixed
// tail. Record 0 (.notdef) is left out.
CKM_ByteString BuildToUnicodeText(const std::vector<CKMC_GlyphRecord>& records);
