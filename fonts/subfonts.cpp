// The not-embedded fonts: characters to charsets and codes, and the PDF
// font objects of the subfonts.
#include "fonts/subfonts.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <cstdio>
#include <string>

#include "fonts/charset_tables.h"
#include "fonts/glyph_names.h"
#include "platform/win32.h"

namespace {

constexpr uint8_t kCustomCharset = 0xFF;
constexpr uint8_t kDefaultCharset = 1;  // ends a font's charset list

bool IsDoubleByteCharset(uint8_t charset) {
  return charset == GB2312_CHARSET || charset == CHINESEBIG5_CHARSET || charset == SHIFTJIS_CHARSET ||
         charset == HANGEUL_CHARSET || charset == JOHAB_CHARSET;
}

uint16_t StoredWidth(int32_t width) { return static_cast<uint16_t>(std::clamp(width, 0, 0xFFFF)); }

// The glyph name of a character in /Differences. Two Arabic letters of
// code page 1256 have no name in the Adobe list and take the "uni" form.
std::string GlyphName(uint16_t unicode) {
  const char* name = AdobeGlyphName(unicode);
  if (name && unicode != 0x06A9 && unicode != 0x06BE) return name;
  char text[8];
  std::snprintf(text, sizeof text, "uni%04X", unicode);
  return text;
}

// The predefined CMaps and character collections of the double-byte
// charsets.
struct CidCollection {
  const char* horizontal;
  const char* vertical;
  const char* ordering;
  int supplement;
};

CidCollection CollectionOf(uint8_t charset) {
  switch (charset) {
    case SHIFTJIS_CHARSET:
      return {"/UniJIS-UCS2-H", "/UniJIS-UCS2-V", "Japan1", 5};
    case HANGEUL_CHARSET:
    case JOHAB_CHARSET:
      return {"/UniKS-UCS2-H", "/UniKS-UCS2-V", "Korea1", 2};
    case GB2312_CHARSET:
      return {"/UniGB-UCS2-H", "/UniGB-UCS2-V", "GB1", 4};
    case CHINESEBIG5_CHARSET:
      return {"/UniCNS-UCS2-H", "/UniCNS-UCS2-V", "CNS1", 4};
    default:
      return {"/Identity-H", "/Identity-V", "Identity", 0};
  }
}

}  // namespace

void SetWidthEntries(CKMC_Dictionary& dict, const std::array<uint16_t, 256>& widths) {
  size_t first = 0;
  while (first < 255 && widths[first] == 0) ++first;
  size_t last = 255;
  while (last > first && widths[last] == 0) --last;
  std::string text = "[";
  for (size_t code = first; code <= last; ++code) text += std::to_string(widths[code]) + " ";
  text += "]";
  dict.SetNumber("/FirstChar", static_cast<double>(first));
  dict.SetNumber("/LastChar", static_cast<double>(last));
  dict.SetLiteral("/Widths", CKM_ByteString(std::move(text)));
}

// ------------------------------------------------------------ subfonts

CKMC_SubFont::CKMC_SubFont(CKMC_UnicodeFont& font, uint8_t charset)
    : font(font), charset(charset), fontNumber(font.writer.NewObjectNumber()) {}

int32_t CKMC_SingleByteSubFont::GetCodeWidth(uint16_t /*unicode*/, uint32_t code) const {
  return widths[code & 0xFF];
}

int32_t CKMC_SingleByteSubFont::GetMissingWidth() const {
  for (uint16_t width : widths)
    if (width != 0) return width;
  return 0;
}

void CKMC_SingleByteSubFont::WriteFontObject(uint32_t descriptorNumber) {
  CKMC_Dictionary dict;
  dict.SetLiteral("/Type", "/Font");
  dict.SetLiteral("/BaseFont", PdfFontName(font.name));
  dict.SetLiteral("/Subtype", "/TrueType");
  dict.SetLiteral("/Encoding", GetEncoding());
  dict.SetReference("/FontDescriptor", descriptorNumber);
  SetWidthEntries(dict, widths);
  font.writer.WriteIndirectObject(fontNumber, &dict);
}

CKMC_PredefinedSubFont::CKMC_PredefinedSubFont(CKMC_UnicodeFont& font, uint8_t charset)
    : CKMC_SingleByteSubFont(font, charset) {
  // All 256 widths now, so that every later character costs a table read.
  if (!font.face) return;
  for (uint32_t code = 0; code < 256; ++code) {
    HGLYPH glyph = font.GlyphOf(CharsetToUnicode(charset, static_cast<uint8_t>(code)));
    int32_t width = 0;
    if (glyph != HGLYPH_INVALID && font.GlyphWidth(glyph, width)) widths[code] = StoredWidth(width);
  }
}

CKM_ByteString CKMC_PredefinedSubFont::GetEncoding() const {
  if (charset == ANSI_CHARSET) return "/WinAnsiEncoding";
  // The codes where the charset's code page differs from WinAnsi; runs of
  // consecutive codes share one leading code number.
  std::string text = "<</BaseEncoding /WinAnsiEncoding /Differences [";
  int lastCode = -2;
  for (int code = 128; code < 256; ++code) {
    uint16_t unicode = CharsetToUnicode(charset, static_cast<uint8_t>(code));
    if (unicode == 0 || unicode == CharsetToUnicode(ANSI_CHARSET, static_cast<uint8_t>(code))) continue;
    if (code != lastCode + 1) text += " " + std::to_string(code);
    text += " /" + GlyphName(unicode);
    lastCode = code;
  }
  text += "] >>";
  return CKM_ByteString(std::move(text));
}

CKMC_CustomSubFont::CKMC_CustomSubFont(CKMC_UnicodeFont& font)
    : CKMC_SingleByteSubFont(font, kCustomCharset) {}

uint32_t CKMC_CustomSubFont::AddCode(uint16_t unicode) {
  for (uint32_t code = 1; code < used; ++code)
    if (characters[code] == unicode) return code;
  if (used == 256) return 0;  // full: 255 characters
  characters[used] = unicode;
  int32_t width = 500;
  if (font.face) {
    width = 0;
    font.GlyphWidth(font.GlyphOf(unicode), width);
  }
  widths[used] = StoredWidth(width);
  return used++;
}

CKM_ByteString CKMC_CustomSubFont::GetEncoding() const {
  std::string text = "<</BaseEncoding /WinAnsiEncoding /Differences [1 ";
  for (uint32_t code = 1; code < used; ++code) text += " /" + GlyphName(characters[code]);
  text += "] >>";
  return CKM_ByteString(std::move(text));
}

CKMC_CIDSubFont::CKMC_CIDSubFont(CKMC_UnicodeFont& font, uint8_t charset)
    : CKMC_SubFont(font, charset), verticalNumber(font.writer.NewObjectNumber()) {}

uint32_t CKMC_CIDSubFont::GetFontNumber(bool vertical) {
  if (vertical) {
    verticalUsed = 1;
    return verticalNumber;
  }
  horizontalUsed = 1;
  return fontNumber;
}

void WriteType0Font(CKMC_DocumentWriter& writer, uint32_t number, const CKM_ByteString& baseFont,
                    uint32_t descendant, const char* encoding, uint32_t toUnicode) {
  CKMC_Dictionary dict;
  dict.SetLiteral("/Type", "/Font");
  dict.SetLiteral("/BaseFont", baseFont);
  dict.SetLiteral("/Subtype", "/Type0");
  dict.SetLiteral("/DescendantFonts", CKM_ByteString("[" + std::to_string(descendant) + " 0 R]"));
  dict.SetLiteral("/Encoding", encoding);
  if (toUnicode) dict.SetReference("/ToUnicode", toUnicode);
  writer.WriteIndirectObject(number, &dict);
}

void CKMC_CIDSubFont::WriteFontObject(uint32_t descriptorNumber) {
  CKMC_DocumentWriter& writer = font.writer;
  const CidCollection collection = CollectionOf(charset);
  const uint32_t descendant = writer.NewObjectNumber();
  const CKM_ByteString baseFont = PdfFontName(font.name);

  // The horizontal and the vertical Type 0 font differ by their CMap only
  // and share the descendant; a direction never used is not written.
  if (horizontalUsed) WriteType0Font(writer, fontNumber, baseFont, descendant, collection.horizontal, 0);
  if (verticalUsed) WriteType0Font(writer, verticalNumber, baseFont, descendant, collection.vertical, 0);

  // No widths: the text's own positions place every glyph.
  CKMC_Dictionary cidFont;
  cidFont.SetLiteral("/CIDSystemInfo",
                     CKM_ByteString(std::string("<</Registry (Adobe) /Ordering (") + collection.ordering +
                                    ") /Supplement " + std::to_string(collection.supplement) + ">>"));
  cidFont.SetLiteral("/Type", "/Font");
  cidFont.SetLiteral("/Subtype", "/CIDFontType2");
  cidFont.SetLiteral("/BaseFont", baseFont);
  cidFont.SetReference("/FontDescriptor", descriptorNumber);
  writer.WriteIndirectObject(descendant, &cidFont);
}

// ------------------------------------------------------------ CKMC_UnicodeFont

CKMC_UnicodeFont::CKMC_UnicodeFont(CKMC_DocumentWriter& writer) : CKMC_Font(writer) {}

CKMC_UnicodeFont::~CKMC_UnicodeFont() { subFonts.clear(); }

void CKMC_FontCharsets::InitFontCharsets(const IFIMETRICS& metrics) {
  defaultCharset = currentCharset = metrics.jWinCharSet;
  charsets.fill(kDefaultCharset);
  std::span<const uint8_t> list = IfiBytes(metrics, metrics.dpCharSets);
  std::copy_n(list.begin(), std::min(list.size(), charsets.size()), charsets.begin());
}

bool CKMC_FontCharsets::FindCharset(uint16_t unicode, uint8_t& charset, uint32_t& code,
                                    uint32_t& length) const {
  // The charset of the text before first, so that Latin inside a Cyrillic
  // run stays in the Cyrillic subfont; then the face's own charset; then
  // the charsets the face covers.
  if (currentCharset != kCustomCharset && UnicodeToCode(unicode, currentCharset, code, length)) {
    charset = currentCharset;
    return true;
  }
  if (defaultCharset != currentCharset && UnicodeToCode(unicode, defaultCharset, code, length)) {
    charset = defaultCharset;
    return true;
  }
  for (uint8_t candidate : charsets) {
    if (candidate == kDefaultCharset) break;
    if (UnicodeToCode(unicode, candidate, code, length)) {
      charset = candidate;
      return true;
    }
  }
  return false;
}

bool CKMC_FontCharsets::FindAnyCharset(uint16_t unicode, uint8_t& charset, uint32_t& code,
                                       uint32_t& length) const {
  if (FindCharset(unicode, charset, code, length)) return true;
  for (const uint8_t* candidate = kCharsetSearchOrder; *candidate != 0xFF; ++candidate) {
    if (UnicodeToCode(unicode, *candidate, code, length)) {
      charset = *candidate;
      return true;
    }
  }
  return false;
}

CKMC_SubFont& CKMC_UnicodeFont::SubFontFor(uint8_t charset) {
  for (const auto& sub : subFonts)
    if (sub->charset == charset) return *sub;
  if (IsDoubleByteCharset(charset))
    subFonts.push_back(std::make_unique<CKMC_CIDSubFont>(*this, charset));
  else
    subFonts.push_back(std::make_unique<CKMC_PredefinedSubFont>(*this, charset));
  return *subFonts.back();
}

CKMC_MappedCharacter CKMC_UnicodeFont::MapToCustom(uint16_t unicode) {
  CKMC_SubFont* holder = nullptr;
  uint32_t code = 0;
  for (const auto& sub : subFonts) {
    if ((code = sub->AddCode(unicode)) != 0) {
      holder = sub.get();
      break;
    }
  }
  if (!holder) {
    subFonts.push_back(std::make_unique<CKMC_CustomSubFont>(*this));
    holder = subFonts.back().get();
    code = holder->AddCode(unicode);
  }
  return {code, 1, holder->GetFontNumber(false), holder->GetCodeWidth(unicode, code)};
}

CKMC_MappedCharacter CKMC_UnicodeFont::MapCharacter(uint16_t unicode, HGLYPH /*glyph*/, bool vertical) {
  // On a Japanese system the Shift-JIS subfont is tried first, every time.
  if (GetACP() == 932) currentCharset = SHIFTJIS_CHARSET;
  uint8_t charset = 0;
  uint32_t code = 0, length = 0;
  if (!FindCharset(unicode, charset, code, length)) {
    // A character with a standard glyph name is searchable in a custom
    // subfont; only the others go looking through every charset.
    if (AdobeGlyphName(unicode)) return MapToCustom(unicode);
    if (!FindAnyCharset(unicode, charset, code, length)) return {};
  }
  currentCharset = charset;
  CKMC_SubFont& sub = SubFontFor(charset);
  CKMC_MappedCharacter mapped{code, length, sub.GetFontNumber(vertical), sub.GetCodeWidth(unicode, code)};
  // The Gothic faces' half-width characters share one width; the table
  // takes the width of the latest one.
  if (gothic)
    if (auto* single = dynamic_cast<CKMC_SingleByteSubFont*>(&sub))
      single->widths.fill(StoredWidth(mapped.width));
  return mapped;
}

void CKMC_UnicodeFont::WriteFont() {
  if (subFonts.empty()) return;
  int32_t missingWidth = (flags & 1) ? subFonts.front()->GetMissingWidth() : 0;
  uint32_t descriptor = writer.NewObjectNumber();
  WriteDescriptor(descriptor, missingWidth);
  for (const auto& sub : subFonts) sub->WriteFontObject(descriptor);
}

// ------------------------------------------------------------ CKMC_SymbolFont

CKMC_SymbolFont::CKMC_SymbolFont(CKMC_DocumentWriter& writer)
    : CKMC_Font(writer), fontNumber(writer.NewObjectNumber()) {}

void CKMC_SymbolFont::InitCharsets(const IFIMETRICS& /*metrics*/) {
  if (!face) return;
  // Symbol faces map their codes at 0xF000 and up in the symbol cmap.
  FT_Select_Charmap(face, FT_ENCODING_MS_SYMBOL);
  for (uint32_t code = 0; code < 256; ++code) {
    FT_UInt glyph = FT_Get_Char_Index(face, 0xF000 + code);
    int32_t width = 0;
    if (glyph != 0 && GlyphWidth(glyph, width)) widths[code] = StoredWidth(width);
  }
}

CKMC_MappedCharacter CKMC_SymbolFont::MapCharacter(uint16_t unicode, HGLYPH /*glyph*/, bool /*vertical*/) {
  uint32_t code = unicode & 0xFF;
  return {code, 1, fontNumber, widths[code]};
}

void CKMC_SymbolFont::WriteFont() {
  uint32_t descriptor = writer.NewObjectNumber();
  CKMC_Dictionary dict;
  dict.SetLiteral("/Type", "/Font");
  dict.SetLiteral("/BaseFont", PdfFontName(name));
  dict.SetLiteral("/Subtype", "/TrueType");
  dict.SetReference("/FontDescriptor", descriptor);
  SetWidthEntries(dict, widths);
  writer.WriteIndirectObject(fontNumber, &dict);
  WriteDescriptor(descriptor, 0);
}
