// Realized fonts of the host: the face fontconfig picks, the metrics and the
// glyph set read from its tables, the transform, simulations, and the
// engine objects handed to drivers.
#include <ft2build.h>
#include <gtest/gtest.h>
#include FT_FREETYPE_H
#include FT_TRUETYPE_TABLES_H

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "host/fonts/host_font.h"
#include "platform/win32.h"

namespace snk::fonts {
namespace {

std::vector<uint8_t> ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::unique_ptr<HostFont> Make(std::u16string face, int32_t height = -100, int32_t weight = 400,
                               bool italic = false) {
  FontRequest request;
  request.faceName = std::move(face);
  request.height = height;
  request.weight = weight;
  request.italic = italic;
  std::string error;
  auto font = HostFont::Realize(request, &error);
  EXPECT_NE(font, nullptr) << error;
  return font;
}

std::u16string NameAt(const IFIMETRICS& ifi, PTRDIFF offset) {
  return std::u16string(reinterpret_cast<const char16_t*>(reinterpret_cast<const uint8_t*>(&ifi) + offset));
}

// The face's own tables, read with FreeType apart from the code under test.
class FaceTables {
 public:
  explicit FaceTables(const InstalledFace& face) {
    FT_Init_FreeType(&library_);
    FT_New_Face(library_, face.path.c_str(), face.index, &face_);
  }
  ~FaceTables() {
    if (face_) FT_Done_Face(face_);
    FT_Done_FreeType(library_);
  }
  FT_Face face() const { return face_; }
  const TT_OS2& os2() const { return *static_cast<const TT_OS2*>(FT_Get_Sfnt_Table(face_, FT_SFNT_OS2)); }
  const TT_HoriHeader& hhea() const {
    return *static_cast<const TT_HoriHeader*>(FT_Get_Sfnt_Table(face_, FT_SFNT_HHEA));
  }
  const TT_Postscript& post() const {
    return *static_cast<const TT_Postscript*>(FT_Get_Sfnt_Table(face_, FT_SFNT_POST));
  }

 private:
  FT_Library library_ = nullptr;
  FT_Face face_ = nullptr;
};

TEST(HostFontTest, MetricCompatibleSubstitutesComeFromFontconfig) {
  const struct {
    std::u16string asked, family;
    BYTE pitchAndFamily;
  } cases[] = {{u"Arial", u"Liberation Sans", 0x22},
               {u"Times New Roman", u"Liberation Serif", 0x12},
               {u"Courier New", u"Liberation Mono", 0x31},
               {u"Calibri", u"Carlito", 0x22}};
  for (const auto& c : cases) {
    auto font = Make(c.asked);
    ASSERT_NE(font, nullptr);
    EXPECT_EQ(font->Face().family, c.family);
    EXPECT_TRUE(font->IsSubstitute());
    EXPECT_EQ(font->Metrics().jWinPitchAndFamily, c.pitchAndFamily)
        << std::string(c.family.begin(), c.family.end());
    // Realized under the name asked for, as the face itself would be.
    EXPECT_EQ(NameAt(font->Metrics(), font->Metrics().dpwszFamilyName), c.asked);
    EXPECT_EQ(NameAt(font->Metrics(), font->Metrics().dpwszFaceName), c.asked);
  }
  auto bold = Make(u"Arial", -100, 700, true);
  EXPECT_EQ(NameAt(bold->Metrics(), bold->Metrics().dpwszFaceName), u"Arial Bold Italic");
  EXPECT_TRUE(bold->IsSubstitute());
  // Names in their own script, with no charset, fall back to a face of
  // that script; a family that exists wins over the charset.
  auto gothic = Make(u"\uFF2D\uFF33 \u30B4\u30B7\u30C3\u30AF");
  EXPECT_EQ(gothic->Face().family, u"WenQuanYi Micro Hei");
  EXPECT_NE(gothic->GlyphOf(u'\u30B4'), 0u);
  FontRequest japanese;
  japanese.faceName = u"Arial";
  japanese.charset = 128;
  std::string error;
  EXPECT_EQ(HostFont::Realize(japanese, &error)->Face().family, u"Liberation Sans");
  // Symbol codes in the private area find the substitute's glyphs.
  auto symbol = Make(u"Symbol");
  EXPECT_NE(symbol->GlyphOf(0xF061), 0u);
  EXPECT_EQ(symbol->GlyphOf(0xF061), symbol->GlyphOf(u'a'));

  auto own = Make(u"liberation sans");
  EXPECT_FALSE(own->IsSubstitute());
  EXPECT_EQ(NameAt(own->Metrics(), own->Metrics().dpwszFaceName), u"Liberation Sans");
}

TEST(HostFontTest, MetricsAreTheFaceTables) {
  auto font = Make(u"Arial", -100, 700);
  ASSERT_NE(font, nullptr);
  FaceTables tables(font->Face());
  ASSERT_NE(tables.face(), nullptr);
  const IFIMETRICS& m = font->Metrics();
  EXPECT_EQ(m.fwdUnitsPerEm, tables.face()->units_per_EM);
  EXPECT_EQ(m.fwdWinAscender, tables.os2().usWinAscent);
  EXPECT_EQ(m.fwdWinDescender, tables.os2().usWinDescent);
  EXPECT_EQ(m.fwdTypoAscender, tables.os2().sTypoAscender);
  EXPECT_EQ(m.fwdTypoDescender, tables.os2().sTypoDescender);
  EXPECT_LT(m.fwdTypoDescender, 0);
  EXPECT_EQ(m.fwdMacAscender, tables.hhea().Ascender);
  EXPECT_EQ(m.fwdMaxCharInc, tables.hhea().advance_Width_Max);
  EXPECT_EQ(m.fwdAveCharWidth, tables.os2().xAvgCharWidth);
  EXPECT_EQ(m.fwdCapHeight, tables.os2().sCapHeight);
  EXPECT_EQ(m.usWinWeight, 700);
  EXPECT_TRUE(m.fsSelection & FM_SEL_BOLD);
  EXPECT_EQ(m.fsType, tables.os2().fsType);
  EXPECT_EQ(m.rclFontBox.top, tables.face()->bbox.yMax);
  EXPECT_EQ(m.rclFontBox.bottom, tables.face()->bbox.yMin);
  EXPECT_EQ(m.jWinCharSet, 0);
  EXPECT_EQ(NameAt(m, m.dpwszFaceName), u"Arial Bold");  // the stand-in goes by the name asked for
  EXPECT_EQ(NameAt(m, m.dpwszStyleName), u"Bold");
  // Liberation's faces share one name ID 3; the style keeps them apart.
  EXPECT_EQ(NameAt(m, m.dpwszUniqueName), u"Ascender - Liberation Sans Bold");
  // Charsets from the code-page bits, ANSI first, ended by DEFAULT_CHARSET.
  const auto* charsets = reinterpret_cast<const uint8_t*>(&m) + m.dpCharSets;
  EXPECT_EQ(charsets[0], 0);
  size_t n = 0;
  while (n < 16 && charsets[n] != 1) ++n;
  EXPECT_LT(n, 16u);
  EXPECT_NE(std::find(charsets, charsets + n, 204), charsets + n);  // Cyrillic

  auto italic = Make(u"Liberation Serif", -100, 400, true);
  FaceTables italicTables(italic->Face());
  EXPECT_EQ(italic->Metrics().lItalicAngle, std::lround(italicTables.post().italicAngle / 65536.0 * 10));
  EXPECT_LT(italic->Metrics().lItalicAngle, 0);
  EXPECT_TRUE(italic->Metrics().fsSelection & FM_SEL_ITALIC);
}

TEST(HostFontTest, GlyphSetFollowsTheCharacterMapInsideItsBlock) {
  auto font = Make(u"Arial");
  ASSERT_NE(font, nullptr);
  FaceTables tables(font->Face());
  FD_GLYPHSET* set = FONTOBJ_pfdg(font->Fontobj());
  ASSERT_NE(set, nullptr);
  const auto* begin = reinterpret_cast<const uint8_t*>(set);
  const auto* end = begin + set->cjThis;
  ULONG total = 0;
  HGLYPH glyphOfA = 0;
  const WCRUN* runs = set->awcrun;
  for (ULONG r = 0; r < set->cRuns; ++r) {
    const WCRUN& run = runs[r];
    ASSERT_NE(run.phg, nullptr);
    ASSERT_GE(reinterpret_cast<const uint8_t*>(run.phg), begin);
    ASSERT_LE(reinterpret_cast<const uint8_t*>(run.phg + run.cGlyphs), end);
    if (r > 0) {
      EXPECT_GT(run.wcLow, runs[r - 1].wcLow + runs[r - 1].cGlyphs - 1);
    }
    if (run.wcLow <= u'A' && u'A' < run.wcLow + run.cGlyphs) glyphOfA = run.phg[u'A' - run.wcLow];
    total += run.cGlyphs;
  }
  EXPECT_EQ(total, set->cGlyphsSupported);
  EXPECT_GT(total, 200u);
  EXPECT_EQ(glyphOfA, FT_Get_Char_Index(tables.face(), 'A'));
  EXPECT_EQ(font->GlyphOf(u'A'), glyphOfA);
  EXPECT_EQ(font->GlyphOf(0xFFFF), 0u);
}

TEST(HostFontTest, TransformFollowsHeightSignWidthAndMatrix) {
  auto emFont = Make(u"Arial", -100);
  auto cellFont = Make(u"Arial", 100);
  ASSERT_TRUE(emFont && cellFont);
  const IFIMETRICS& m = emFont->Metrics();
  XFORML x{};
  ASSERT_EQ(XFORMOBJ_iGetXform(FONTOBJ_pxoGetXform(emFont->Fontobj()), &x), GX_SCALE);
  EXPECT_FLOAT_EQ(x.eM11, 100.0f / m.fwdUnitsPerEm);
  EXPECT_FLOAT_EQ(x.eM22, 100.0f / m.fwdUnitsPerEm);
  XFORMOBJ_iGetXform(FONTOBJ_pxoGetXform(cellFont->Fontobj()), &x);
  EXPECT_FLOAT_EQ(x.eM22, 100.0f / (m.fwdWinAscender + m.fwdWinDescender));
  EXPECT_NEAR(cellFont->Ascent() + cellFont->Descent(), 100, 1);

  // Twice the average width; rotated 30 degrees counterclockwise on a 2x device.
  FontRequest request;
  request.faceName = u"Arial";
  request.height = -100;
  request.width = 2 * 100 * m.fwdAveCharWidth / m.fwdUnitsPerEm;
  const double t = M_PI / 6;
  request.m11 = 2 * std::cos(t);
  request.m12 = -2 * std::sin(t);
  request.m21 = 2 * std::sin(t);
  request.m22 = 2 * std::cos(t);
  std::string error;
  auto rotated = HostFont::Realize(request, &error);
  ASSERT_NE(rotated, nullptr) << error;
  ASSERT_EQ(XFORMOBJ_iGetXform(FONTOBJ_pxoGetXform(rotated->Fontobj()), &x), GX_GENERAL);
  const double s = 2 * 100.0 / m.fwdUnitsPerEm;
  const double stretch = double(request.width) / m.fwdAveCharWidth;  // request units per font unit
  EXPECT_NEAR(x.eM11, 2 * stretch * std::cos(t), 1e-6);
  EXPECT_NEAR(x.eM12, -2 * stretch * std::sin(t), 1e-6);
  EXPECT_NEAR(x.eM21, s * std::sin(t), 1e-6);
  EXPECT_NEAR(x.eM22, s * std::cos(t), 1e-6);
  // Advances: whole device pixels, given back in request units.
  const HGLYPH a = rotated->GlyphOf(u'a');
  const double pixels = rotated->Advance(a) * 2;
  EXPECT_NEAR(pixels, std::round(pixels), 1e-9);
  EXPECT_NEAR(rotated->Advance(a), 2 * emFont->Advance(emFont->GlyphOf(u'a')), 2.0);
}

TEST(HostFontTest, SimulationsAndVerticalFaces) {
  auto bold = Make(u"Liberation Sans", -40, 700, true);
  ASSERT_NE(bold, nullptr);
  EXPECT_EQ(bold->Fontobj()->flFontType & (FO_SIM_BOLD | FO_SIM_ITALIC), 0u);
  EXPECT_TRUE(bold->Fontobj()->flFontType & FO_TYPE_TRUETYPE);
  EXPECT_EQ(NameAt(bold->Metrics(), bold->Metrics().dpwszFaceName), u"Liberation Sans Bold Italic");

  // WenQuanYi Micro Hei has no bold and no italic face.
  auto simulated = Make(u"@WenQuanYi Micro Hei", -40, 700, true);
  ASSERT_NE(simulated, nullptr);
  const FLONG type = simulated->Fontobj()->flFontType;
  EXPECT_TRUE(type & FO_SIM_BOLD);
  EXPECT_TRUE(type & FO_SIM_ITALIC);
  EXPECT_TRUE(type & FO_VERT_FACE);
  EXPECT_TRUE(simulated->IsVertical());
  EXPECT_FALSE(simulated->IsSubstitute());
  const IFIMETRICS& m = simulated->Metrics();
  EXPECT_EQ(NameAt(m, m.dpwszFamilyName), u"@WenQuanYi Micro Hei");
  EXPECT_EQ(NameAt(m, m.dpwszFaceName).substr(0, 1), u"@");
  EXPECT_EQ(simulated->Fontobj()->ulStyleSize, 0u);
  EXPECT_NE(simulated->Fontobj()->iUniq, bold->Fontobj()->iUniq);

  auto plain = Make(u"WenQuanYi Micro Hei", -40);
  EXPECT_EQ(plain->Fontobj()->flFontType, FO_TYPE_TRUETYPE);
  // Drivers tell the two apart by the unique name.
  const IFIMETRICS& p = plain->Metrics();
  EXPECT_EQ(NameAt(m, m.dpwszUniqueName), u"@" + NameAt(p, p.dpwszUniqueName));
  // The simulated bold glyph is a pixel wider.
  const HGLYPH g = plain->GlyphOf(u'H');
  EXPECT_NEAR(simulated->Advance(g) - plain->Advance(g), 1.0, 1e-9);
}

TEST(HostFontTest, CollectionFacesAndTheWholeFile) {
  auto proportional = Make(u"WenQuanYi Micro Hei");
  auto mono = Make(u"WenQuanYi Micro Hei Mono");
  ASSERT_TRUE(proportional && mono);
  EXPECT_EQ(proportional->Face().path, mono->Face().path);
  EXPECT_EQ(proportional->Face().index, 0);
  EXPECT_EQ(mono->Face().index, 1);
  // A CJK face asked with DEFAULT_CHARSET still answers ANSI when it covers it.
  EXPECT_EQ(mono->Metrics().jWinCharSet, 0);
  EXPECT_NE(mono->GlyphOf(u'\u4E2D'), 0u);

  ULONG size = 0;
  PVOID data = FONTOBJ_pvTrueTypeFontFile(mono->Fontobj(), &size);
  const std::vector<uint8_t> file = ReadFile(mono->Face().path);
  ASSERT_NE(data, nullptr);
  ASSERT_EQ(size, file.size());
  EXPECT_EQ(std::memcmp(data, file.data(), 12), 0);  // the collection header
}

// Type 1 faces (PFB and PFA files) are realized as well, and hand their
// whole file to drivers; where a face is also installed as sfnt, that form
// is chosen.
TEST(HostFontTest, Type1FacesAndTheirFiles) {
  auto installed = Make(u"Nimbus Sans");
  ASSERT_TRUE(installed);
  EXPECT_EQ(installed->Face().path.substr(installed->Face().path.size() - 4), ".otf");
  EXPECT_TRUE(installed->Fontobj()->flFontType & FO_TYPE_TRUETYPE);

  for (const char* path : {"/usr/share/fonts/X11/Type1/NimbusSans-Bold.pfb",
                           "/usr/share/fonts/type1/urw-base35/NimbusSans-Italic.t1"}) {
    const std::vector<uint8_t> file = ReadFile(path);
    if (file.empty()) GTEST_SKIP() << path << " is not installed";
    FontRequest request;
    request.faceName = u"Nimbus Sans";
    request.height = -100;
    std::string error;
    auto font = HostFont::RealizeFromBytes(request, file, 0, path, &error);
    ASSERT_NE(font, nullptr) << error;
    EXPECT_EQ(font->Fontobj()->flFontType & (FO_TYPE_TRUETYPE | FO_POSTSCRIPT), FO_POSTSCRIPT);
    const IFIMETRICS& m = font->Metrics();
    EXPECT_EQ(m.fwdUnitsPerEm, 1000);
    EXPECT_NEAR(m.fwdCapHeight, 729, 15);  // Helvetica's cap height
    EXPECT_GT(m.fwdTypoAscender, 600);
    EXPECT_LT(m.fwdTypoDescender, 0);
    EXPECT_EQ(NameAt(m, m.dpwszFamilyName), u"Nimbus Sans");
    EXPECT_EQ(m.jWinCharSet, 0);
    const bool italic = std::string(path).find("Italic") != std::string::npos;
    EXPECT_EQ((m.fsSelection & FM_SEL_ITALIC) != 0, italic);
    EXPECT_EQ(m.lItalicAngle != 0, italic);
    EXPECT_EQ(m.usWinWeight, italic ? 400 : 700);

    // The glyph of 'A' is the glyph named "A".
    FT_Library library;
    ASSERT_EQ(FT_Init_FreeType(&library), 0);
    FT_Face face = nullptr;
    ASSERT_EQ(FT_New_Memory_Face(library, file.data(), FT_Long(file.size()), 0, &face), 0);
    char name[32] = {};
    FT_Get_Glyph_Name(face, FT_UInt(font->GlyphOf(u'A')), name, sizeof name);
    EXPECT_STREQ(name, "A");
    FT_Done_Face(face);
    FT_Done_FreeType(library);

    ULONG size = 0;
    const void* data = FONTOBJ_pvTrueTypeFontFile(font->Fontobj(), &size);
    ASSERT_EQ(size, file.size());
    EXPECT_EQ(std::memcmp(data, file.data(), size), 0);
  }
}

// Small faces made for the font fuzzer's seeds.
std::unique_ptr<HostFont> Seed(const std::string& name, int32_t index = 0) {
  FontRequest request;
  request.faceName = u"Fuzz Sans";
  request.height = -20;
  request.charset = 2;
  std::string error;
  auto font = HostFont::RealizeFromBytes(request, ReadFile(SNK_SOURCE_DIR "/fuzz/corpus/font_face/" + name),
                                         index, name, &error);
  EXPECT_NE(font, nullptr) << error;
  return font;
}

TEST(HostFontTest, SymbolFacesOfferTheirCodesTwice) {
  auto font = Seed("symbol.ttf");
  ASSERT_NE(font, nullptr);
  EXPECT_TRUE(font->IsSymbol());
  EXPECT_TRUE(font->IsSubstitute());  // "Fuzz Symbol" was opened for "Fuzz Sans"
  const IFIMETRICS& m = font->Metrics();
  EXPECT_EQ(m.jWinCharSet, 2);
  const auto* charsets = reinterpret_cast<const uint8_t*>(&m) + m.dpCharSets;
  EXPECT_EQ(charsets[0], 2);
  EXPECT_EQ(charsets[1], 1);
  EXPECT_EQ(font->GlyphOf(u'A'), 1u);
  EXPECT_EQ(font->GlyphOf(0xF041), 1u);
  const FD_GLYPHSET* set = FONTOBJ_pfdg(font->Fontobj());
  ASSERT_EQ(set->cRuns, 4u);  // 0041, 004F, F041, F04F
  EXPECT_EQ(set->awcrun[0].wcLow, 0x41);
  EXPECT_EQ(set->awcrun[0].phg[0], 1u);
  EXPECT_EQ(set->cGlyphsSupported, 4u);

  auto second = Seed("collection.ttc", 1);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(second->Face().family, u"Fuzz Mono");
  EXPECT_EQ(second->Face().index, 1);
  ULONG size = 0;
  FONTOBJ_pvTrueTypeFontFile(second->Fontobj(), &size);
  EXPECT_EQ(size, ReadFile(SNK_SOURCE_DIR "/fuzz/corpus/font_face/collection.ttc").size());
}

std::unique_ptr<HostFont> MakeWithCharset(std::u16string face, uint8_t charset) {
  FontRequest request;
  request.faceName = std::move(face);
  request.height = -100;
  request.charset = charset;
  std::string error;
  auto font = HostFont::Realize(request, &error);
  EXPECT_NE(font, nullptr) << error;
  return font;
}

// Values of a glyph set, each with its glyph.
std::vector<std::pair<uint32_t, HGLYPH>> GlyphSetValues(const FD_GLYPHSET& set) {
  std::vector<std::pair<uint32_t, HGLYPH>> values;
  for (ULONG r = 0; r < set.cRuns; ++r) {
    const WCRUN& run = set.awcrun[r];
    for (USHORT i = 0; i < run.cGlyphs; ++i) values.emplace_back(run.wcLow + i, run.phg[i]);
  }
  return values;
}

// Symbol text (Word's bullets at F0B7) shown with URW's stand-in for
// Symbol, a face with glyph names and only a Unicode map.
TEST(HostFontTest, SymbolStandInAnswersToTheSymbolEncoding) {
  constexpr uint8_t kSymbolCharset = 2;
  auto font = MakeWithCharset(u"Symbol", kSymbolCharset);
  ASSERT_NE(font, nullptr);
  FaceTables tables(font->Face());
  ASSERT_TRUE(FT_HAS_GLYPH_NAMES(tables.face())) << "no stand-in for Symbol installed";
  EXPECT_TRUE(font->IsSymbol());
  const IFIMETRICS& m = font->Metrics();
  EXPECT_EQ(m.jWinCharSet, kSymbolCharset);
  const auto* charsets = reinterpret_cast<const uint8_t*>(&m) + m.dpCharSets;
  EXPECT_EQ(charsets[0], kSymbolCharset);

  const FT_UInt bullet = FT_Get_Name_Index(tables.face(), "bullet");
  ASSERT_NE(bullet, 0u);
  EXPECT_EQ(font->GlyphOf(0xF0B7), bullet);
  EXPECT_EQ(font->GlyphOf(0x00B7), bullet);
  // URW's face keeps the encoding in its own map at 0020-00FE, and apple
  // at 0080, a code the encoding leaves empty: every code checked against
  // that map.
  FT_Select_Charmap(tables.face(), FT_ENCODING_UNICODE);
  for (char16_t code = 0x20; code < 0xFF; ++code) {
    const FT_UInt expected = code == 0x80 ? 0 : FT_Get_Char_Index(tables.face(), code);
    EXPECT_EQ(font->GlyphOf(char16_t(0xF000 + code)), expected) << std::hex << unsigned(code);
    EXPECT_EQ(font->GlyphOf(code), expected) << std::hex << unsigned(code);
  }
  // Only the symbol codes are answered, as with a symbol map.
  EXPECT_EQ(font->GlyphOf(0x3B1), 0u);
  EXPECT_EQ(font->GlyphOf(0xF07F), 0u);
  EXPECT_EQ(font->GlyphOf(0xF100), 0u);

  // The glyph set: the codes at F020-F0FE and their mirror at 0020-00FE,
  // each with the glyph GlyphOf gives.
  const FD_GLYPHSET* set = FONTOBJ_pfdg(font->Fontobj());
  ASSERT_NE(set, nullptr);
  const auto values = GlyphSetValues(*set);
  EXPECT_EQ(values.size(), set->cGlyphsSupported);
  size_t low = 0, high = 0;
  for (auto [value, glyph] : values) {
    const bool isLow = value >= 0x20 && value <= 0xFF, isHigh = value >= 0xF020 && value <= 0xF0FF;
    ASSERT_TRUE(isLow || isHigh) << std::hex << value;
    (isLow ? low : high) += 1;
    EXPECT_EQ(glyph, font->GlyphOf(char16_t(value))) << std::hex << value;
    EXPECT_NE(glyph, 0u);
  }
  EXPECT_EQ(low, high);
  EXPECT_GE(low, 180u);  // the encoding defines 189 codes
  EXPECT_EQ(set->awcrun[0].wcLow, 0x20);
  EXPECT_EQ(set->awcrun[set->cRuns - 1].wcLow + set->awcrun[set->cRuns - 1].cGlyphs - 1, 0xF0FE);

  // The name alone asks for the encoding; the face under its own name, or
  // without SYMBOL_CHARSET, is the Unicode face it is.
  EXPECT_TRUE(MakeWithCharset(u"Symbol", 1)->IsSymbol());
  auto own = MakeWithCharset(font->Face().family, 0);
  ASSERT_NE(own, nullptr);
  EXPECT_FALSE(own->IsSymbol());
  EXPECT_EQ(own->Metrics().jWinCharSet, 0);
  EXPECT_NE(own->GlyphOf(0x80), 0u);
}

// Text faces with glyph names are no stand-ins for Symbol, SYMBOL_CHARSET
// asked or not: a plain request is unchanged, and one for a symbol face
// that is not installed (Wingdings) gets the text face it falls back to.
TEST(HostFontTest, TextFacesStayTextFacesForSymbolRequests) {
  auto plain = MakeWithCharset(u"Arial", 0);
  auto symbolAsked = MakeWithCharset(u"Arial", 2);
  auto wingdings = MakeWithCharset(u"Wingdings", 2);
  ASSERT_TRUE(plain && symbolAsked && wingdings);
  FaceTables tables(plain->Face());
  ASSERT_TRUE(FT_HAS_GLYPH_NAMES(tables.face()));
  for (HostFont* font : {plain.get(), symbolAsked.get(), wingdings.get()}) {
    EXPECT_FALSE(font->IsSymbol()) << std::string(font->Face().path);
    EXPECT_EQ(font->Metrics().jWinCharSet, 0);
    EXPECT_GT(FONTOBJ_pfdg(font->Fontobj())->cGlyphsSupported, 200u);
  }
  EXPECT_EQ(plain->GlyphOf(u'A'), FT_Get_Char_Index(tables.face(), 'A'));
  EXPECT_EQ(symbolAsked->GlyphOf(u'A'), plain->GlyphOf(u'A'));
  EXPECT_EQ(plain->GlyphOf(0xF041), plain->GlyphOf(u'A'));  // the fallback for symbol codes stays
  EXPECT_EQ(plain->GlyphOf(0x3B1), FT_Get_Char_Index(tables.face(), 0x3B1));
}

// Realizations of one face share its glyph set and file; sizes used in
// turn keep their own hinted advances, and each realization its charset.
TEST(HostFontTest, RealizationsShareTheFace) {
  auto small = Make(u"Liberation Sans", -12), large = Make(u"Liberation Sans", -100);
  auto vertical = Make(u"@Liberation Sans", -12), again = Make(u"Liberation Sans", -12);
  ASSERT_TRUE(small && large && vertical && again);
  EXPECT_EQ(small->GlyphSet(), large->GlyphSet());
  EXPECT_EQ(small->GlyphSet(), vertical->GlyphSet());
  EXPECT_EQ(small->FileBytes().data(), large->FileBytes().data());
  EXPECT_NE(small->Fontobj()->iUniq, again->Fontobj()->iUniq);
  EXPECT_EQ(std::memcmp(&small->Metrics(), &again->Metrics(), sizeof(IFIMETRICS)), 0);
  EXPECT_EQ(vertical->Metrics().fwdWinAscender, small->Metrics().fwdWinAscender);
  auto family = [](const HostFont& f) {
    const IFIMETRICS& m = f.Metrics();
    return std::u16string(
        reinterpret_cast<const char16_t*>(reinterpret_cast<const uint8_t*>(&m) + m.dpwszFamilyName));
  };
  EXPECT_EQ(family(*vertical), u"@" + family(*small));
  const HGLYPH w = small->GlyphOf(u'W');
  const double first = small->Advance(w);
  EXPECT_NE(large->Advance(w), first);
  EXPECT_EQ(again->Advance(w), first);
  EXPECT_EQ(small->Advance(w), first);
}

TEST(HostFontTest, ForeignAndStalePointersAreRefused) {
  FONTOBJ foreign{};
  EXPECT_EQ(FONTOBJ_pifi(&foreign), nullptr);
  EXPECT_EQ(FONTOBJ_pfdg(&foreign), nullptr);
  EXPECT_EQ(FONTOBJ_pxoGetXform(&foreign), nullptr);
  ULONG size = 7;
  EXPECT_EQ(FONTOBJ_pvTrueTypeFontFile(&foreign, &size), nullptr);
  EXPECT_EQ(size, 0u);
  FONTOBJ* stale;
  {
    auto font = Make(u"Arial");
    stale = font->Fontobj();
    EXPECT_EQ(HostFont::From(stale), font.get());
    EXPECT_NE(FONTOBJ_pifi(stale), nullptr);
  }
  EXPECT_EQ(HostFont::From(stale), nullptr);
  EXPECT_EQ(FONTOBJ_pifi(stale), nullptr);
}

TEST(HostFontTest, OutlinesLieInTheGlyphBox) {
  auto font = Make(u"Times New Roman", -64);
  ASSERT_NE(font, nullptr);
  const HGLYPH g = font->GlyphOf(u'O');  // quadratic curves
  engine::HostPath path;
  font->AppendOutline(path, g, 100, 200);
  ASSERT_FALSE(path.Empty());
  EXPECT_EQ(path.Figures().size(), 2u);
  bool curves = false;
  for (const auto& figure : path.Figures()) {
    EXPECT_TRUE(figure.closed);
    for (const auto& run : figure.runs) curves |= run.bezier;
  }
  EXPECT_TRUE(curves);
  const RECTFX bounds = path.Bounds();
  const RECTL box = font->Box(g);
  EXPECT_GE(bounds.xLeft, (100 + box.left) * 16);
  EXPECT_LE(bounds.xRight, (100 + box.right) * 16);
  EXPECT_GE(bounds.yTop, (200 + box.top) * 16);
  EXPECT_LE(bounds.yBottom, (200 + box.bottom) * 16);
  // The cap height is above the baseline: y is down in the device.
  EXPECT_LT(bounds.yTop, 200 * 16 - 30 * 16);
}

TEST(HostFontTest, InstalledFaceNamesAreSortedWithPostScriptNamesBeforeNonAsciiFamilies) {
  const ULONG needed = SnkListInstalledFaceNames(nullptr, 0);
  ASSERT_GT(needed, 2u);
  std::u16string buffer(needed, u'x');
  EXPECT_EQ(SnkListInstalledFaceNames(buffer.data(), needed - 1), needed);
  EXPECT_EQ(buffer[0], u'x');  // too small: nothing written
  ASSERT_EQ(SnkListInstalledFaceNames(buffer.data(), needed), needed);
  EXPECT_EQ(buffer.substr(needed - 2), std::u16string(2, u'\0'));
  std::vector<std::u16string> names;
  for (size_t at = 0; buffer[at] != u'\0'; at = buffer.find(u'\0', at) + 1)
    names.push_back(buffer.substr(at, buffer.find(u'\0', at) - at));
  std::vector<std::u16string> families;
  for (size_t i = 0; i < names.size(); ++i) {
    if (names[i][0] == u' ') {
      ASSERT_LT(i + 1, names.size());
      EXPECT_TRUE(
          std::any_of(names[i + 1].begin(), names[i + 1].end(), [](char16_t c) { return c >= 0x80; }));
      continue;
    }
    families.push_back(names[i]);
  }
  EXPECT_TRUE(std::is_sorted(families.begin(), families.end()));
  EXPECT_EQ(std::adjacent_find(families.begin(), families.end()), families.end());
  EXPECT_TRUE(std::binary_search(families.begin(), families.end(), u"Liberation Sans"));
  // Families with an installed stand-in are listed as installed.
  EXPECT_TRUE(std::binary_search(families.begin(), families.end(), u"Arial"));
  EXPECT_TRUE(std::binary_search(families.begin(), families.end(), u"Calibri"));
  const auto chinese = std::find(names.begin(), names.end(), u"\u6587\u6CC9\u9A5B\u5FAE\u7C73\u9ED1");
  ASSERT_NE(chinese, names.end());
  EXPECT_EQ(*(chinese - 1), u" WenQuanYiMicroHei");

  const auto& faces = InstalledFaces();
  ASSERT_FALSE(faces.empty());
  EXPECT_TRUE(std::is_sorted(faces.begin(), faces.end(), [](const InstalledFace& a, const InstalledFace& b) {
    return a.family < b.family;
  }));
}

}  // namespace
}  // namespace snk::fonts
