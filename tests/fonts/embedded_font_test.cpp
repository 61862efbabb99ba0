// Embedded fonts: the ToUnicode CMap text, both /W forms, the choice of
// program kind for installed TrueType, collection and CFF faces, mode 3's
// standard fonts, and the objects written at document end.
#include <ft2build.h>
#include <gtest/gtest.h>
#include FT_FREETYPE_H

#include <memory>
#include <regex>
#include <string>

#include "font_fixtures.h"
#include "fonts/embedded_font.h"
#include "fonts/font.h"
#include "host/fonts/host_font.h"
#include "services/core_module.h"
#include "test_support.h"

namespace {

using snk::test::TinyFace;

std::vector<CKMC_GlyphRecord> Records(std::initializer_list<std::pair<uint32_t, uint32_t>> cidAndUnicode) {
  std::vector<CKMC_GlyphRecord> records{{0, 0, 0, 0}};
  for (auto [cid, unicode] : cidAndUnicode) records.push_back({cid, cid, unicode, 500});
  return records;
}

const std::string kHead =
    "/CIDInit /ProcSet findresource begin \n12 dict begin \nbegincmap \n"
    "/CIDSystemInfo <</Registry (Adobe) /Ordering (Identity) /Supplement 0>> def \n"
    "/CMapName /Adobe-Identity-UCS def \n/CMapType 2 def \n1 begincodespacerange \n"
    "<0000> <FFFF> \nendcodespacerange \n";
const std::string kTail = "endcmap \nCMapName currentdict /CMap difineresource pop \nend \nend \n";

TEST(ToUnicode, SinglesRangesAndTheirGroups) {
  // Only .notdef: the head and the tail.
  EXPECT_EQ(BuildToUnicodeText(Records({})).str(), kHead + kTail);

  // Codes and values running on together make a range; a break in either
  // leaves singles; a value of 0 is written as it is.
  EXPECT_EQ(
      BuildToUnicodeText(Records({{1, 0x41}, {2, 0x42}, {3, 0x43}, {4, 0x45}, {6, 0x46}, {7, 0}})).str(),
      kHead +
          "3 beginbfchar \n<0004><0045> \n<0006><0046> \n<0007><0000> \nendbfchar \n"
          "1 beginbfrange \n<0001><0003><0041> \nendbfrange \n" +
          kTail);

  // 100 singles are one group, 101 are two.
  std::vector<CKMC_GlyphRecord> hundred{{0, 0, 0, 0}};
  for (uint32_t i = 1; i <= 101; ++i) hundred.push_back({i, i, 0x100 + 2 * i, 500});
  std::string text = BuildToUnicodeText(hundred).str();
  EXPECT_NE(text.find(kHead + "100 beginbfchar \n<0001><0102> \n"), std::string::npos);
  EXPECT_NE(text.find("<0064><01C8> \nendbfchar \n1 beginbfchar \n<0065><01CA> \nendbfchar \n" + kTail),
            std::string::npos);
  hundred.pop_back();
  text = BuildToUnicodeText(hundred).str();
  EXPECT_NE(text.find("<0064><01C8> \nendbfchar \n" + kTail), std::string::npos);
  EXPECT_EQ(text.find("1 beginbfchar"), std::string::npos);
}

// The objects of a document's fonts, read back from the writer's file.
class EmbeddedFonts : public snk::test::FontCatalogueTest {
 protected:
  // Maps each character of `text` through the catalogue's font for `host`.
  std::vector<CKMC_MappedCharacter> Map(snk::fonts::HostFont* host, std::u16string_view text,
                                        bool vertical = false) {
    CKMC_Font& font = catalogue_.FindOrCreateFont(host->Fontobj());
    std::vector<CKMC_MappedCharacter> out;
    for (char16_t c : text) out.push_back(font.MapCharacter(c, host->GlyphOf(c), vertical));
    return out;
  }

  // The dictionary text of object `number`.
  static std::string Object(const std::string& file, uint32_t number) {
    std::string start = std::to_string(number) + " 0 obj";
    size_t at = file.find("\n" + start);
    if (at == std::string::npos) at = file.rfind(start, 0) == 0 ? 0 : std::string::npos;
    if (at == std::string::npos) return {};
    size_t end = file.find("endobj", at);
    return file.substr(at, end - at);
  }
  // The inflated data of stream object `number`.
  static std::string StreamData(const std::string& file, uint32_t number) {
    std::string object = Object(file, number);
    size_t begin = object.find("stream");
    size_t end = object.rfind("endstream");
    if (begin == std::string::npos || end == std::string::npos) return {};
    begin += object[begin + 6] == '\r' ? 8 : 7;
    return snk::test::Inflate(std::string_view(object).substr(begin, end - begin));
  }
  static uint32_t Reference(const std::string& dict, const std::string& key) {
    std::smatch m;
    if (!std::regex_search(dict, m, std::regex(key + "\\s*(\\d+) 0 R"))) return 0;
    return static_cast<uint32_t>(std::stoul(m[1]));
  }

  uint32_t embed_ = 2, warn_ = 0;
  std::vector<uint8_t> faces_;
  CKMC_FontCatalogue catalogue_{writer_, {embed_, warn_, faces_}};
};

TEST_F(EmbeddedFonts, ATrueTypeFaceIsSubsetUnderIdentityWithItsWidthsAndText) {
  snk::fonts::HostFont* host = RealizeFace(u"Liberation Sans");
  ASSERT_NE(host, nullptr);
  std::vector<CKMC_MappedCharacter> mapped = Map(host, u"HeH\u00e9");
  auto& font = dynamic_cast<CKMC_CIDEmbedFont&>(catalogue_.FindOrCreateFont(host->Fontobj()));
  ASSERT_NE(dynamic_cast<CKMC_CIDEmbedTTFont*>(font.subFont.get()), nullptr);
  // New indices from 1 in order of first use, written high byte first.
  EXPECT_EQ(mapped[0].code, 0x0100u);
  EXPECT_EQ(mapped[1].code, 0x0200u);
  EXPECT_EQ(mapped[2].code, 0x0100u);
  EXPECT_EQ(mapped[3].code, 0x0300u);
  for (const CKMC_MappedCharacter& m : mapped) EXPECT_EQ(m.length, 2u);
  EXPECT_EQ(mapped[0].width, 722);  // Arial's H
  EXPECT_EQ(mapped[0].fontNumber, font.subFont->numberH);
  // A glyph the face does not have maps to nothing.
  EXPECT_EQ(font.MapCharacter(u'x', HGLYPH_INVALID, false).length, 0u);

  catalogue_.WriteFonts();
  std::string file = Objects();
  std::string type0 = Object(file, font.subFont->numberH);
  EXPECT_NE(type0.find("/BaseFont /Liberation#20Sans+KPEF"), std::string::npos) << type0;
  EXPECT_NE(type0.find("/Encoding /Identity-H"), std::string::npos);
  EXPECT_NE(type0.find("/Subtype /Type0"), std::string::npos);
  EXPECT_TRUE(Object(file, font.subFont->numberV).empty());  // no vertical text
  uint32_t descendant = Reference(type0, "/DescendantFonts \\[");
  std::string cid = Object(file, descendant);
  EXPECT_NE(cid.find("/Subtype /CIDFontType2"), std::string::npos) << cid;
  EXPECT_NE(cid.find("/CIDToGIDMap /Identity"), std::string::npos);
  EXPECT_NE(cid.find("/W [0[750 722 556 556 ]]"), std::string::npos) << cid;
  std::string descriptor = Object(file, Reference(cid, "/FontDescriptor"));
  EXPECT_NE(descriptor.find("/FontName /Liberation#20Sans+KPEF"), std::string::npos) << descriptor;
  EXPECT_EQ(Reference(descriptor, "/FontFile2"), font.subFont->fontFileNumber);

  EXPECT_EQ(StreamData(file, Reference(type0, "/ToUnicode")),
            kHead + "3 beginbfchar \n<0001><0048> \n<0002><0065> \n<0003><00E9> \nendbfchar \n" + kTail);

  // The program is a font that FreeType reads, of five glyphs: the acute
  // accent came in with the composite é.
  std::string program = StreamData(file, font.subFont->fontFileNumber);
  FT_Library library;
  ASSERT_EQ(FT_Init_FreeType(&library), 0);
  FT_Face face = nullptr;
  ASSERT_EQ(FT_New_Memory_Face(library, reinterpret_cast<const FT_Byte*>(program.data()),
                               static_cast<FT_Long>(program.size()), 0, &face),
            0);
  EXPECT_EQ(face->num_glyphs, 5);
  ASSERT_EQ(FT_Load_Glyph(face, 1, FT_LOAD_NO_SCALE), 0);
  EXPECT_EQ(face->glyph->metrics.horiAdvance, 1479);  // H, 722 thousandths of 2048
  FT_Done_Face(face);
  FT_Done_FreeType(library);
}

TEST_F(EmbeddedFonts, CjkTextWritesItsWidthsByRunsAndVerticalTextItsOwnFont) {
  snk::fonts::HostFont* host = RealizeFace(u"WenQuanYi Micro Hei");
  ASSERT_NE(host, nullptr);
  Map(host, u"\u4e2d\u6587a");
  Map(host, u"\u4e2d", true);
  auto& font = dynamic_cast<CKMC_CIDEmbedFont&>(catalogue_.FindOrCreateFont(host->Fontobj()));
  ASSERT_NE(font.subFont, nullptr);
  EXPECT_TRUE(font.subFont->isCJK);
  catalogue_.WriteFonts();
  std::string file = Objects();
  std::string vertical = Object(file, font.subFont->numberV);
  EXPECT_NE(vertical.find("/Encoding /Identity-V"), std::string::npos) << vertical;
  std::string cid = Object(file, Reference(vertical, "/DescendantFonts \\["));
  // Runs of equal width, whatever the codes: .notdef and the two
  // ideographs, then the Latin letter.
  EXPECT_NE(cid.find("/W [0 2 1000 3 3 531 ]"), std::string::npos) << cid;
}

TEST_F(EmbeddedFonts, ACffFaceCarriesItsWholeTableWithEveryGlyphNamed) {
  snk::fonts::HostFont* host = RealizeFace(u"Nimbus Sans");
  ASSERT_NE(host, nullptr);
  if (host->Face().path.find(".otf") == std::string::npos)
    GTEST_SKIP() << "Nimbus Sans is not installed as CFF";
  std::vector<CKMC_MappedCharacter> mapped = Map(host, u"Hi");
  auto& font = dynamic_cast<CKMC_CIDEmbedFont&>(catalogue_.FindOrCreateFont(host->Fontobj()));
  auto* cff = dynamic_cast<CKMC_CIDEmbedOTFont*>(font.subFont.get());
  ASSERT_NE(cff, nullptr);
  // Codes are the face's own glyph indices.
  HGLYPH h = host->GlyphOf(u'H');
  EXPECT_EQ(mapped[0].code, ((h & 0xFF) << 8) | (h >> 8));
  catalogue_.WriteFonts();
  std::string file = Objects();
  std::string type0 = Object(file, font.subFont->numberH);
  std::string cid = Object(file, Reference(type0, "/DescendantFonts \\["));
  EXPECT_NE(cid.find("/Subtype /CIDFontType0"), std::string::npos) << cid;
  std::string descriptor = Object(file, Reference(cid, "/FontDescriptor"));
  EXPECT_EQ(Reference(descriptor, "/FontFile"), font.subFont->fontFileNumber);
  EXPECT_EQ(StreamData(file, font.subFont->fontFileNumber).size(), cff->cff.size());
  // Every glyph has its record, named by the face's character map.
  EXPECT_GT(cff->records.size(), 500u);
  ASSERT_LT(h, cff->records.size());
  EXPECT_EQ(cff->records[h].unicode, u'H');
  std::string cmap = StreamData(file, Reference(type0, "/ToUnicode"));
  EXPECT_NE(cmap.find("beginbfrange"), std::string::npos);
  EXPECT_EQ(cmap.substr(cmap.size() - kTail.size()), kTail);
}

TEST_F(EmbeddedFonts, ModeThreeSetsWinAnsiTextInTheStandardFontAndTheRestInATrueTypeSubset) {
  embed_ = 3;
  TinyFace tiny;
  tiny.characters = {{u'A', 667}, {0x2022, 350}, {0x0416, 900}};
  for (uint16_t id : {1, 4}) {
    TinyFace::Name name = snk::test::WideName(3, 1, u"Arial");
    name.id = id;
    tiny.names.push_back(name);
  }
  snk::fonts::HostFont* host = RealizeBytes(u"Arial", snk::test::BuildFont(tiny));
  ASSERT_NE(host, nullptr);
  std::vector<CKMC_MappedCharacter> mapped = Map(host, u"A\u2022\u0416A");
  auto& font = dynamic_cast<CKMC_CIDEmbedFont&>(catalogue_.FindOrCreateFont(host->Fontobj()));
  auto* standard = dynamic_cast<CKMC_CIDEmbedStandardFont*>(font.subFont.get());
  ASSERT_NE(standard, nullptr);
  EXPECT_EQ(mapped[0].code, u'A');
  EXPECT_EQ(mapped[0].length, 1u);
  EXPECT_EQ(mapped[0].fontNumber, standard->type1Number);
  EXPECT_EQ(mapped[1].code, 0x81u);  // the first WinAnsi position of the bullet
  EXPECT_EQ(mapped[1].length, 1u);
  ASSERT_NE(standard->second, nullptr);
  EXPECT_EQ(mapped[2].length, 2u);
  EXPECT_EQ(mapped[2].code, 0x0100u);
  EXPECT_EQ(mapped[2].fontNumber, standard->second->numberH);
  EXPECT_EQ(mapped[3].fontNumber, standard->type1Number);

  catalogue_.WriteFonts();
  std::string file = Objects();
  std::string type1 = Object(file, standard->type1Number);
  EXPECT_NE(type1.find("/BaseFont /Helvetica"), std::string::npos) << type1;
  EXPECT_NE(type1.find("/Encoding /WinAnsiEncoding"), std::string::npos);
  EXPECT_EQ(type1.find("/Widths"), std::string::npos);
  // The second subfont's descriptor names no program, though its stream is
  // in the file.
  std::string type0 = Object(file, standard->second->numberH);
  std::string cid = Object(file, Reference(type0, "/DescendantFonts \\["));
  std::string descriptor = Object(file, Reference(cid, "/FontDescriptor"));
  EXPECT_EQ(descriptor.find("/FontFile"), std::string::npos) << descriptor;
  EXPECT_FALSE(StreamData(file, standard->second->fontFileNumber).empty());
}

// Preview-and-print beside the restriction bit allows embedding (the
// restriction alone is refused: Catalogue.AFaceThatCannotBeEmbedded...).
TEST_F(EmbeddedFonts, AFaceThatAllowsPreviewAndPrintIsEmbedded) {
  TinyFace tiny;
  tiny.characters = {{u'A', 600}};
  tiny.fsType = 6;
  tiny.names.push_back(snk::test::WideName(3, 1, u"Printable"));
  snk::fonts::HostFont* host = RealizeBytes(u"Printable", snk::test::BuildFont(tiny));
  ASSERT_NE(host, nullptr);
  EXPECT_NE(dynamic_cast<CKMC_CIDEmbedFont*>(&catalogue_.FindOrCreateFont(host->Fontobj())), nullptr);
}

}  // namespace
