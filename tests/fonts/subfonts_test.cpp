// The not-embedded fonts: how characters find charsets and codes, and the
// exact PDF objects of the subfonts, with faces built in memory so that
// every width is known.
#include "fonts/subfonts.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "font_fixtures.h"
#include "fonts/charset_tables.h"
#include "fonts/glyph_names.h"
#include "services/core_module.h"

namespace {

using snk::test::GlyphSetBlock;
using snk::test::IfiBlock;
using snk::test::TinyFace;

// The engine's glyph set of a tiny face: consecutive characters share a run.
GlyphSetBlock GlyphsOf(const TinyFace& face) {
  std::vector<GlyphSetBlock::Run> runs;
  for (size_t i = 0; i < face.characters.size(); ++i) {
    uint16_t code = face.characters[i].first;
    HGLYPH glyph = static_cast<HGLYPH>(i + 1);
    if (!runs.empty() && runs.back().low + runs.back().glyphs.size() == code)
      runs.back().glyphs.push_back(glyph);
    else
      runs.push_back({code, {glyph}});
  }
  return GlyphSetBlock(runs);
}

class SubFonts : public snk::test::WriterTest {
 protected:
  void SetUp() override {
    WriterTest::SetUp();
    // No name table: every face keeps its own name.
    CKMC_CoreModule::Shutdown();
  }

  // A font filled the way the catalogue fills it, from a tiny face (or none).
  template <typename Font = CKMC_UnicodeFont>
  std::unique_ptr<Font> Make(const TinyFace* face, uint8_t charset, std::string charsets,
                             const char* name = "Tiny Sans") {
    auto font = std::make_unique<Font>(writer_);
    ifi_.metrics.jWinCharSet = charset;
    ifi_.charsets = std::move(charsets);
    const IFIMETRICS& metrics = ifi_.Build();
    font->SetName(name);
    font->SetMetrics(metrics);
    if (face) {
      glyphs_ = std::make_unique<GlyphSetBlock>(GlyphsOf(*face));
      font->CopyGlyphSet(glyphs_->Set());
      std::vector<uint8_t> file = snk::test::BuildFont(*face);
      font->OpenFace(file.data(), file.size());
      EXPECT_NE(font->face, nullptr);
    }
    font->InitCharsets(metrics);
    return font;
  }

  IfiBlock ifi_;
  std::unique_ptr<GlyphSetBlock> glyphs_;
};

void ExpectMapped(const CKMC_MappedCharacter& m, uint32_t code, uint32_t length, uint32_t number,
                  int32_t width) {
  EXPECT_EQ(m.code, code);
  EXPECT_EQ(m.length, length);
  EXPECT_EQ(m.fontNumber, number);
  EXPECT_EQ(m.width, width);
}

TEST_F(SubFonts, ACyrillicSubFontWritesItsCodePageDifferencesAndMeasuredWidths) {
  TinyFace face;
  face.characters = {{0x20, 250}, {0x41, 600}, {0x42, 610}, {0x0410, 700}, {0x044F, 650}};
  auto font = Make(&face, RUSSIAN_CHARSET, std::string("\xCC\x01", 2));
  ExpectMapped(font->MapCharacter(0x0410, 4, false), 0xC0, 1, 5, 700);
  ExpectMapped(font->MapCharacter(u'A', 2, false), 0x41, 1, 5, 600);
  ExpectMapped(font->MapCharacter(0x044F, 5, false), 0xFF, 1, 5, 650);
  ASSERT_EQ(font->subFonts.size(), 1u);
  font->WriteFont();

  std::string widths = "[250 ";
  for (int code = 33; code <= 255; ++code)
    widths += code == 65     ? "600 "
              : code == 66   ? "610 "
              : code == 0xC0 ? "700 "
              : code == 0xFF ? "650 "
                             : "0 ";
  widths += "]";
  const std::string fontObject =
      "5 0 obj\n<<\n/BaseFont /Tiny#20Sans \n"
      "/Encoding <</BaseEncoding /WinAnsiEncoding /Differences [ 128 /afii10051 /afii10052 131 /afii10100 "
      "136 /Euro 138 /afii10058 140 /afii10059 /afii10061 /afii10060 /afii10145 /afii10099 154 /afii10106 "
      "156 /afii10107 /afii10109 /afii10108 /afii10193 161 /afii10062 /afii10110 /afii10057 165 /afii10050 "
      "168 /afii10023 170 /Ecyrillic 175 /afii10056 178 /Icyrillic /afii10103 /afii10098 184 /afii10071 "
      "/numero /afii10101 188 /afii10105 /afii10054 /afii10102 /afii10104 /Acyrillic /afii10018 /afii10019 "
      "/afii10020 /afii10021 /afii10022 /afii10024 /afii10025 /afii10026 /afii10027 /afii10028 /afii10029 "
      "/afii10030 /afii10031 /Ocyrillic /afii10033 /afii10034 /afii10035 /afii10036 /Ucyrillic /afii10038 "
      "/afii10039 /afii10040 /afii10041 /afii10042 /afii10043 /afii10044 /afii10045 /afii10046 /afii10047 "
      "/afii10048 /afii10049 /acyrillic /afii10066 /afii10067 /afii10068 /afii10069 /afii10070 /afii10072 "
      "/afii10073 /afii10074 /afii10075 /afii10076 /afii10077 /afii10078 /afii10079 /afii10080 /afii10081 "
      "/afii10082 /afii10083 /afii10084 /afii10085 /afii10086 /afii10087 /afii10088 /afii10089 /afii10090 "
      "/afii10091 /afii10092 /afii10093 /afii10094 /afii10095 /afii10096 /afii10097] >> \n"
      "/FirstChar 32 \n/FontDescriptor 6 0 R \n/LastChar 255 \n/Subtype /TrueType \n/Type /Font \n"
      "/Widths " +
      widths + " \n>>\nendobj\n";
  std::string objects = Objects();
  // The descriptor comes first, then the subfont that points at it.
  ASSERT_EQ(objects.find("6 0 obj\n<<\n"), 0u);
  size_t at = objects.find("5 0 obj\n");
  ASSERT_NE(at, std::string::npos);
  EXPECT_EQ(objects.substr(at), fontObject);
}

TEST_F(SubFonts, AnsiSubFontNamesWinAnsiAndTheArabicLettersWithoutAdobeNamesGetUniNames) {
  auto font = Make(nullptr, ANSI_CHARSET, std::string("\x00\xB2\x01", 3));
  font->MapCharacter(u'e', 0, false);
  font->MapCharacter(0x06A9, 0, false);  // keheh, cp1256 0x98
  ASSERT_EQ(font->subFonts.size(), 2u);
  auto* ansi = static_cast<CKMC_SingleByteSubFont*>(font->subFonts[0].get());
  auto* arabic = static_cast<CKMC_SingleByteSubFont*>(font->subFonts[1].get());
  EXPECT_EQ(ansi->GetEncoding().str(), "/WinAnsiEncoding");
  std::string encoding = arabic->GetEncoding().str();
  EXPECT_EQ(
      encoding.find("<</BaseEncoding /WinAnsiEncoding /Differences [ 129 /afii57506 138 /afii57511 141 "),
      0u);
  EXPECT_NE(encoding.find(" 152 /uni06A9 154 /afii57513 "), std::string::npos);
  EXPECT_NE(encoding.find(" 170 /uni06BE 186 /afii57403 "), std::string::npos);
  EXPECT_TRUE(encoding.ends_with(" 250 /afii57458 253 /afii299 /afii300 /afii57519] >>")) << encoding;
  // Without a face no width is measured.
  EXPECT_EQ(ansi->GetMissingWidth(), 0);
}

// Characters outside the font's charsets that have a standard glyph name.
std::vector<uint16_t> NamedOutsideAnsi(size_t count) {
  std::vector<uint16_t> values;
  uint32_t code = 0, length = 0;
  for (uint32_t u = 0x100; u < 0xFFFF && values.size() < count; ++u)
    if (AdobeGlyphName(static_cast<uint16_t>(u)) && !UnicodeToCode(static_cast<uint16_t>(u), 0, code, length))
      values.push_back(static_cast<uint16_t>(u));
  return values;
}

TEST_F(SubFonts, CustomSubFontsGiveCodesInOrderAndTheTwoHundredFiftySixthOpensAnother) {
  auto font = Make(nullptr, ANSI_CHARSET, std::string("\x00\x01", 2));
  std::vector<uint16_t> values = NamedOutsideAnsi(256);
  ASSERT_EQ(values.size(), 256u);
  for (uint32_t i = 0; i < 255; ++i) ExpectMapped(font->MapCharacter(values[i], 0, false), i + 1, 1, 5, 500);
  // A character seen before keeps its code; the full subfont sends a new
  // one to a second subfont, starting at code 1 again.
  ExpectMapped(font->MapCharacter(values[7], 0, false), 8, 1, 5, 500);
  ExpectMapped(font->MapCharacter(values[255], 0, false), 1, 1, 6, 500);
  ExpectMapped(font->MapCharacter(values[255], 0, false), 1, 1, 6, 500);
  ASSERT_EQ(font->subFonts.size(), 2u);
  EXPECT_EQ(font->subFonts[1]->charset, 0xFF);
  EXPECT_EQ(static_cast<CKMC_CustomSubFont&>(*font->subFonts[1]).GetEncoding().str(),
            std::string("<</BaseEncoding /WinAnsiEncoding /Differences [1  /") + AdobeGlyphName(values[255]) +
                "] >>");
}

TEST_F(SubFonts, CustomSubFontObjectBytes) {
  TinyFace face;
  face.characters = {{0x0100, 720}};  // A macron measured; a macron missing from the face
  auto font = Make(&face, ANSI_CHARSET, std::string("\x00\x01", 2));
  ExpectMapped(font->MapCharacter(0x0100, 1, false), 1, 1, 5, 720);
  ExpectMapped(font->MapCharacter(0x0101, 0, false), 2, 1, 5, 0);
  // Latin that the font's charset encodes does not join the custom subfont.
  ExpectMapped(font->MapCharacter(u'z', 0, false), u'z', 1, 6, 0);
  font->WriteFont();
  std::string objects = Objects();
  size_t at = objects.find("5 0 obj\n");
  ASSERT_NE(at, std::string::npos);
  EXPECT_EQ(objects.substr(at, objects.find("endobj\n", at) + 7 - at),
            "5 0 obj\n<<\n/BaseFont /Tiny#20Sans \n"
            "/Encoding <</BaseEncoding /WinAnsiEncoding /Differences [1  /Amacron /amacron] >> \n"
            "/FirstChar 1 \n/FontDescriptor 7 0 R \n/LastChar 1 \n/Subtype /TrueType \n/Type /Font \n"
            "/Widths [720 ] \n>>\nendobj\n");
}

TEST_F(SubFonts, ACharacterWithAGlyphNameNeverReachesTheGlobalSearch) {
  auto font = Make(nullptr, ANSI_CHARSET, std::string("\x00\x01", 2));
  // Alpha: Greek and GB2312 could encode it, but its name keeps it searchable.
  EXPECT_EQ(font->MapCharacter(0x0391, 0, false).length, 1u);
  ASSERT_EQ(font->subFonts.size(), 1u);
  EXPECT_EQ(font->subFonts[0]->charset, 0xFF);
  EXPECT_EQ(font->currentCharset, ANSI_CHARSET);
  // An ideograph has no name: the search list finds GB2312 first.
  CKMC_MappedCharacter ideograph = font->MapCharacter(0x4E00, 0, false);
  ExpectMapped(ideograph, 0x004E, 2, 6, 1000);
  ASSERT_EQ(font->subFonts.size(), 2u);
  EXPECT_EQ(font->subFonts[1]->charset, GB2312_CHARSET);
  // A character no charset holds and without a name is dropped.
  EXPECT_EQ(font->MapCharacter(0x2C00, 0, false).length, 0u);
}

TEST_F(SubFonts, TheCharsetOfThePreviousCharacterIsTriedFirst) {
  auto font = Make(nullptr, ANSI_CHARSET, std::string("\x00\xCC\x01", 3));
  ExpectMapped(font->MapCharacter(0x0416, 0, false), 0xC6, 1, 5, 0);
  // Latin inside a Cyrillic run stays in the Cyrillic subfont.
  ExpectMapped(font->MapCharacter(u'A', 0, false), u'A', 1, 5, 0);
  // e acute is not in code page 1251: back to the face's own charset.
  ExpectMapped(font->MapCharacter(0x00E9, 0, false), 0xE9, 1, 6, 0);
  ExpectMapped(font->MapCharacter(u'A', 0, false), u'A', 1, 6, 0);
  EXPECT_EQ(font->currentCharset, ANSI_CHARSET);
}

TEST_F(SubFonts, OnAJapaneseSystemLatinGoesToTheShiftJisSubFontAsUcs2) {
  snk::test::ScopedEnv acp("SNK_ACP", "932");
  auto font = Make(nullptr, ANSI_CHARSET, std::string("\x00\x01", 2));
  ExpectMapped(font->MapCharacter(u'A', 0, false), 0x4100, 2, 5, 1000);
  ASSERT_EQ(font->subFonts.size(), 1u);
  EXPECT_EQ(font->subFonts[0]->charset, SHIFTJIS_CHARSET);
}

TEST_F(SubFonts, ACjkSubFontUsedBothWaysWritesTwoType0FontsOverOneDescendant) {
  auto font = Make(nullptr, ANSI_CHARSET, std::string("\x00\x80\x01", 3));
  ExpectMapped(font->MapCharacter(0x4E00, 0, false), 0x004E, 2, 5, 1000);
  ExpectMapped(font->MapCharacter(0x4E8C, 0, true), 0x8C4E, 2, 6, 1000);
  font->WriteFont();  // descriptor 7, descendant 8
  std::string objects = Objects();
  size_t at = objects.find("5 0 obj\n");
  ASSERT_NE(at, std::string::npos);
  EXPECT_EQ(objects.substr(at),
            "5 0 obj\n<<\n/BaseFont /Tiny#20Sans \n/DescendantFonts [8 0 R] \n/Encoding /UniJIS-UCS2-H \n"
            "/Subtype /Type0 \n/Type /Font \n>>\nendobj\n"
            "6 0 obj\n<<\n/BaseFont /Tiny#20Sans \n/DescendantFonts [8 0 R] \n/Encoding /UniJIS-UCS2-V \n"
            "/Subtype /Type0 \n/Type /Font \n>>\nendobj\n"
            "8 0 obj\n<<\n/BaseFont /Tiny#20Sans \n"
            "/CIDSystemInfo <</Registry (Adobe) /Ordering (Japan1) /Supplement 5>> \n"
            "/FontDescriptor 7 0 R \n/Subtype /CIDFontType2 \n/Type /Font \n>>\nendobj\n");
}

TEST_F(SubFonts, AKoreanSubFontUsedOnlyHorizontallyLeavesItsVerticalNumberUnwritten) {
  auto font = Make(nullptr, HANGEUL_CHARSET, std::string("\x81\x01", 2));
  ExpectMapped(font->MapCharacter(0xAC00, 0, false), 0x00AC, 2, 5, 1000);
  font->WriteFont();
  std::string objects = Objects();
  EXPECT_EQ(objects.find("6 0 obj"), std::string::npos);
  EXPECT_NE(objects.find("/Encoding /UniKS-UCS2-H "), std::string::npos);
  EXPECT_NE(objects.find("/CIDSystemInfo <</Registry (Adobe) /Ordering (Korea1) /Supplement 2>> "),
            std::string::npos);
}

TEST_F(SubFonts, GothicFacesGiveEveryCodeTheWidthOfTheCharacterWritten) {
  TinyFace face;
  face.characters = {{0x41, 500}, {0x57, 520}};
  auto font = Make(&face, ANSI_CHARSET, std::string("\x00\x01", 2), "MS Gothic");
  EXPECT_TRUE(font->IsGothic());
  ExpectMapped(font->MapCharacter(u'A', 1, false), u'A', 1, 5, 500);
  // The table now holds 500 everywhere, W's own width included.
  ExpectMapped(font->MapCharacter(u'W', 2, false), u'W', 1, 5, 500);
  auto& sub = static_cast<CKMC_SingleByteSubFont&>(*font->subFonts[0]);
  for (uint16_t width : sub.widths) ASSERT_EQ(width, 500);
}

TEST_F(SubFonts, FixedPitchFontsTakeTheFirstWidthAsMissingWidth) {
  TinyFace face;
  face.characters = {{0x41, 600}, {0x42, 600}};
  ifi_.metrics.jWinPitchAndFamily = 0x31;  // fixed pitch, modern
  auto font = Make(&face, ANSI_CHARSET, std::string("\x00\x01", 2));
  font->MapCharacter(u'B', 2, false);
  font->WriteFont();
  EXPECT_NE(Objects().find("/MissingWidth 600 "), std::string::npos);
}

TEST_F(SubFonts, SymbolFontsMeasureTheSymbolMapAndUseTheLowByte) {
  TinyFace face;
  face.cmapEncoding = 0;
  face.characters = {{0xF041, 600}, {0xF061, 700}};
  auto font = Make<CKMC_SymbolFont>(&face, SYMBOL_CHARSET, std::string("\x02\x01", 2), "Tiny Symbol");
  ExpectMapped(font->MapCharacter(0xF041, 1, false), 0x41, 1, 5, 600);
  ExpectMapped(font->MapCharacter(u'a', 2, false), 0x61, 1, 5, 700);
  ExpectMapped(font->MapCharacter(u'b', 0, false), 0x62, 1, 5, 0);
  font->WriteFont();
  std::string widths = "[600 ";
  for (int code = 0x42; code < 0x61; ++code) widths += "0 ";
  widths += "700 ]";
  std::string objects = Objects();
  // The font comes before its descriptor, and it has no encoding.
  EXPECT_EQ(objects.find("5 0 obj\n<<\n/BaseFont /Tiny#20Symbol \n/FirstChar 65 \n/FontDescriptor 6 0 R \n"
                         "/LastChar 97 \n/Subtype /TrueType \n/Type /Font \n/Widths " +
                         widths + " \n>>\nendobj\n6 0 obj\n"),
            0u);
  EXPECT_NE(objects.find("/Flags 4 \n"), std::string::npos);
}

TEST(SubFontWidths, AnEmptyTableGivesFirstAndLastCode255) {
  CKMC_Dictionary dict;
  std::array<uint16_t, 256> widths{};
  SetWidthEntries(dict, widths);
  CKM_BinaryBuf out;
  WriteObjectBody(out, &dict);
  EXPECT_EQ(std::string(out.view()), "<<\n/FirstChar 255 \n/LastChar 255 \n/Widths [0 ] \n>>\n");
}

}  // namespace
