// The not-embedded fonts and their subfonts.
//
// A PDF simple font has 256 codes, a Windows face covers many scripts: a
// CKMC_UnicodeFont therefore writes one PDF font per Windows charset its
// text used (CKMC_PredefinedSubFont with a WinAnsi-based encoding, or, for
// the double-byte charsets, CKMC_CIDSubFont with a predefined UCS-2 CMap),
// and more for characters outside every charset (CKMC_CustomSubFont, its
// codes given out in order of first use). Nothing of the font program is
// written: a viewer shows the text in a font of the same name, and finds
// the text through the glyph names of the encodings.
//
// A face with only a symbol character map is a CKMC_SymbolFont: one PDF
// font, code = low byte of the character, no encoding.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/byte_string.h"
#include "fonts/document_font.h"

class CKMC_UnicodeFont;

class CKMC_SubFont {
 public:
  CKMC_SubFont(CKMC_UnicodeFont& font, uint8_t charset);
  virtual ~CKMC_SubFont() = default;
  CKMC_SubFont(const CKMC_SubFont&) = delete;
  CKMC_SubFont& operator=(const CKMC_SubFont&) = delete;

  virtual void WriteFontObject(uint32_t descriptorNumber) = 0;
  virtual int32_t GetCodeWidth(uint16_t unicode, uint32_t code) const = 0;
  virtual int32_t GetMissingWidth() const = 0;
  // The code of a character this subfont takes in; 0 when it takes none.
  virtual uint32_t AddCode(uint16_t /*unicode*/) { return 0; }
  virtual uint32_t GetFontNumber(bool /*vertical*/) { return fontNumber; }

  CKMC_UnicodeFont& font;
  uint8_t charset;      // 0xFF for a custom subfont
  uint32_t fontNumber;  // object number and resource name "/F" + number
};

class CKMC_SingleByteSubFont : public CKMC_SubFont {
 public:
  using CKMC_SubFont::CKMC_SubFont;

  void WriteFontObject(uint32_t descriptorNumber) override;
  int32_t GetCodeWidth(uint16_t unicode, uint32_t code) const override;
  int32_t GetMissingWidth() const override;
  // The /Encoding value.
  virtual CKM_ByteString GetEncoding() const = 0;

  std::array<uint16_t, 256> widths{};
};

// A Windows charset's code page as the font's codes: all 256 widths are
// measured when it is made.
class CKMC_PredefinedSubFont : public CKMC_SingleByteSubFont {
 public:
  CKMC_PredefinedSubFont(CKMC_UnicodeFont& font, uint8_t charset);
  CKM_ByteString GetEncoding() const override;
};

// Codes 1 to 255 given to characters in order of first use.
class CKMC_CustomSubFont : public CKMC_SingleByteSubFont {
 public:
  explicit CKMC_CustomSubFont(CKMC_UnicodeFont& font);
  uint32_t AddCode(uint16_t unicode) override;
  CKM_ByteString GetEncoding() const override;

  std::array<uint16_t, 256> characters{};
  uint32_t used = 1;  // code 0 never gets a character
};

// A double-byte charset: UCS-2 codes under the charset's predefined CMap,
// horizontal and vertical, sharing one CIDFont.
class CKMC_CIDSubFont : public CKMC_SubFont {
 public:
  CKMC_CIDSubFont(CKMC_UnicodeFont& font, uint8_t charset);

  void WriteFontObject(uint32_t descriptorNumber) override;
  int32_t GetCodeWidth(uint16_t, uint32_t) const override { return 1000; }
  int32_t GetMissingWidth() const override { return 1000; }
  uint32_t GetFontNumber(bool vertical) override;

  uint32_t verticalNumber;
  uint32_t horizontalUsed = 0;
  uint32_t verticalUsed = 0;
};

// The charsets a font's text is encoded in: the face's own, the one the
// text before used, and the list the face covers.
class CKMC_FontCharsets {
 public:
  // The face's charset becomes the default and current one.
  void InitFontCharsets(const IFIMETRICS& metrics);
  // The charset that encodes `unicode`, tried in the order that keeps a run
  // of text in one subfont: the current one, the face's own, then the
  // face's list; false when none of them does.
  bool FindCharset(uint16_t unicode, uint8_t& charset, uint32_t& code, uint32_t& length) const;
  // The same, then the global search order; false when no charset at all
  // encodes the character.
  bool FindAnyCharset(uint16_t unicode, uint8_t& charset, uint32_t& code, uint32_t& length) const;

  uint8_t defaultCharset = 0;
  uint8_t currentCharset = 0;
  std::array<uint8_t, 16> charsets{1};  // ended by DEFAULT_CHARSET (1)
};

class CKMC_UnicodeFont : public CKMC_Font, public CKMC_FontCharsets {
 public:
  explicit CKMC_UnicodeFont(CKMC_DocumentWriter& writer);
  ~CKMC_UnicodeFont() override;

  void InitCharsets(const IFIMETRICS& metrics) override { InitFontCharsets(metrics); }
  CKMC_MappedCharacter MapCharacter(uint16_t unicode, HGLYPH glyph, bool vertical) override;
  void WriteFont() override;

  std::vector<std::unique_ptr<CKMC_SubFont>> subFonts;

 private:
  CKMC_SubFont& SubFontFor(uint8_t charset);
  CKMC_MappedCharacter MapToCustom(uint16_t unicode);
};

class CKMC_SymbolFont : public CKMC_Font {
 public:
  explicit CKMC_SymbolFont(CKMC_DocumentWriter& writer);

  void InitCharsets(const IFIMETRICS& metrics) override;
  CKMC_MappedCharacter MapCharacter(uint16_t unicode, HGLYPH glyph, bool vertical) override;
  void WriteFont() override;

  uint32_t fontNumber;
  std::array<uint16_t, 256> widths{};
};

// The entries /FirstChar, /LastChar and /Widths of a simple font: from the
// first to the last code with a non-zero width (both 255 for a table of
// zeros).
void SetWidthEntries(CKMC_Dictionary& dict, const std::array<uint16_t, 256>& widths);
// A Type 0 font under `number` over the CIDFont `descendant`, with the
// CMap `encoding` and, unless `toUnicode` is 0, a /ToUnicode reference.
void WriteType0Font(CKMC_DocumentWriter& writer, uint32_t number, const CKM_ByteString& baseFont,
                    uint32_t descendant, const char* encoding, uint32_t toUnicode);
