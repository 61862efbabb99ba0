// The charset tables: single-byte code pages both ways, the double-byte
// test through the platform's code pages, the standard faces and WinAnsi.
#include <gtest/gtest.h>

#include <vector>

#include "fonts/charset_tables.h"
#include "fonts/glyph_names.h"

namespace {

uint32_t Code(uint16_t unicode, uint32_t charset, uint32_t* length = nullptr) {
  uint32_t code = 0xDEAD, len = 0;
  if (!UnicodeToCode(unicode, charset, code, len)) return 0xFFFFFFFF;
  if (length) *length = len;
  return code;
}

TEST(CharsetTables, SingleByteCharsetsBothWays) {
  uint32_t length = 0;
  EXPECT_EQ(Code(0, ANSI_CHARSET, &length), 0u);
  EXPECT_EQ(length, 1u);
  EXPECT_EQ(Code(u'A', RUSSIAN_CHARSET), uint32_t{'A'});
  EXPECT_EQ(Code(0x20AC, ANSI_CHARSET, &length), 0x80u);  // the euro sign
  EXPECT_EQ(length, 1u);
  EXPECT_EQ(Code(0x0416, RUSSIAN_CHARSET), 0xC6u);  // Cyrillic Zhe
  EXPECT_EQ(Code(0x03A9, GREEK_CHARSET), 0xD9u);    // Omega
  EXPECT_EQ(Code(0x011F, TURKISH_CHARSET), 0xF0u);  // g with breve
  EXPECT_EQ(Code(0x05D0, HEBREW_CHARSET), 0xE0u);   // alef
  EXPECT_EQ(Code(0x0E01, THAI_CHARSET), 0xA1u);     // ko kai
  EXPECT_EQ(Code(0x0159, EASTEUROPE_CHARSET), 0xF8u);
  // A value its code page does not hold fails; so does the symbol charset
  // above 0x7F, which has no table.
  EXPECT_EQ(Code(0x0416, ANSI_CHARSET), 0xFFFFFFFFu);
  EXPECT_EQ(Code(0x00E9, SYMBOL_CHARSET), 0xFFFFFFFFu);
  EXPECT_EQ(Code(u'z', SYMBOL_CHARSET), 0xFFFFFFFFu);

  EXPECT_EQ(CharsetToUnicode(RUSSIAN_CHARSET, 0xC6), 0x0416);
  EXPECT_EQ(CharsetToUnicode(ANSI_CHARSET, 0x41), 0x41);
  EXPECT_EQ(CharsetToUnicode(ANSI_CHARSET, 0x81), 0);  // undefined in 1252
  EXPECT_EQ(CharsetToUnicode(SYMBOL_CHARSET, 0xB7), 0xB7);
  // Every defined code of every table comes back to itself.
  for (uint32_t charset : {0x00u, 0xA1u, 0xA2u, 0xA3u, 0xB1u, 0xB2u, 0xBAu, 0xCCu, 0xDEu, 0xEEu}) {
    for (uint32_t byte = 0x80; byte < 0x100; ++byte) {
      const uint16_t unicode = CharsetToUnicode(charset, uint8_t(byte));
      if (unicode == 0) continue;
      EXPECT_EQ(Code(unicode, charset), byte) << charset << " " << byte;
    }
  }
}

TEST(CharsetTables, DoubleByteCharsetsGiveSwappedUnicode) {
  uint32_t length = 0;
  EXPECT_EQ(Code(0x3042, SHIFTJIS_CHARSET, &length), 0x4230u);  // hiragana a
  EXPECT_EQ(length, 2u);
  EXPECT_EQ(Code(0x4E2D, GB2312_CHARSET), 0x2D4Eu);
  EXPECT_EQ(Code(0x4E2D, CHINESEBIG5_CHARSET), 0x2D4Eu);
  EXPECT_EQ(Code(0xD55C, HANGEUL_CHARSET), 0x5CD5u);
  EXPECT_EQ(Code(0xD55C, JOHAB_CHARSET), 0x5CD5u);
  // Only through the default character: refused.
  EXPECT_EQ(Code(0x0E01, SHIFTJIS_CHARSET), 0xFFFFFFFFu);
  EXPECT_EQ(Code(0xD55C, GB2312_CHARSET), 0xFFFFFFFFu);
}

TEST(CharsetTables, StandardFacesAndWinAnsi) {
  EXPECT_EQ(StandardFaceIndex(u"arial"), 0);
  EXPECT_EQ(StandardFaceIndex(u"TIMES NEW ROMAN BOLD ITALIC"), 7);
  EXPECT_EQ(StandardFaceIndex(u"Courier New Italic"), 10);
  EXPECT_EQ(StandardFaceIndex(u"Arial Narrow"), -1);
  EXPECT_EQ(StandardFaceIndex(u"Aria"), -1);
  EXPECT_STREQ(StandardBaseFont(3), "Helvetica-BoldOblique");
  EXPECT_STREQ(StandardBaseFont(11), "Courier-BoldOblique");
  EXPECT_EQ(StandardBaseFont(12), nullptr);

  EXPECT_EQ(WinAnsiUnicode(0x81), 0x2022);
  EXPECT_EQ(WinAnsiUnicode(0x9D), 0x2022);
  EXPECT_EQ(WinAnsiUnicode(0xA0), 0x20);
  EXPECT_EQ(WinAnsiUnicode(0xAD), 0x2D);
  EXPECT_EQ(WinAnsiUnicode(0x80), 0x20AC);
  // The bullet's first code wins: 0x81 before 0x95.
  EXPECT_EQ(WinAnsiCode(0x2022), 0x81u);
  EXPECT_EQ(WinAnsiCode(0x00E9), 0xE9u);
  EXPECT_EQ(WinAnsiCode(0x0416), 0u);
}

TEST(GlyphNames, NamesOfTheAdobeList) {
  EXPECT_STREQ(AdobeGlyphName(0x0020), "space");  // not "spacehackarabic"
  EXPECT_STREQ(AdobeGlyphName(0x0041), "A");
  EXPECT_STREQ(AdobeGlyphName(0x20AC), "Euro");
  EXPECT_STREQ(AdobeGlyphName(0x2022), "bullet");
  EXPECT_STREQ(AdobeGlyphName(0x0416), "afii10024");
  EXPECT_STREQ(AdobeGlyphName(0x05D3), "dalet");  // sequences do not name their first value
  EXPECT_EQ(AdobeGlyphName(0x0000), nullptr);
  EXPECT_EQ(AdobeGlyphName(0x4E2D), nullptr);
  EXPECT_EQ(AdobeGlyphName(0xFFFF), nullptr);
  // The codes of the single-byte charsets above 0x7F all have names but
  // two Arabic letters of code page 1256 (keheh and heh doachashmee).
  std::vector<uint16_t> unnamed;
  for (uint32_t charset : {0x00u, 0xA1u, 0xA2u, 0xA3u, 0xB1u, 0xB2u, 0xBAu, 0xCCu, 0xDEu, 0xEEu}) {
    for (uint32_t byte = 0x80; byte < 0x100; ++byte) {
      const uint16_t u = CharsetToUnicode(charset, uint8_t(byte));
      if (u && !AdobeGlyphName(u)) unnamed.push_back(u);
    }
  }
  EXPECT_EQ(unnamed, (std::vector<uint16_t>{0x06A9, 0x06BE}));
}

}  // namespace
