// DrvTextOut and DrvGetGlyphMode as the engine calls them, with fonts the
// host realizes: A4 at 300 dpi (0.24 points a pixel, 3507 pixels high),
// Arial (Liberation Sans here) with an em of 50 pixels, i.e. 12 points.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "driver_page.h"
#include "host/engine/brush.h"
#include "host/engine/clip.h"
#include "host/engine/path.h"
#include "host/engine/region.h"
#include "host/fonts/host_font.h"

namespace {

using snk::engine::HostBrush;
using snk::engine::HostClip;
using snk::fonts::FontRequest;
using snk::fonts::HostFont;
using snk::fonts::HostStrobj;

constexpr char kPageStart[] = "/CS1 cs /CS1 CS ";

class TextEntries : public snk::test::DriverPageTest {
 protected:
  void SetUp() override {
    DriverPageTest::SetUp();
    SetOption(u"FontEmbed", 0);
    SetOption(u"GDIPunt", 0);
    font_ = Realize(u"Arial", -50);
  }

  static std::unique_ptr<HostFont> Realize(const std::u16string& face, int32_t height) {
    FontRequest request;
    request.faceName = face;
    request.height = height;
    std::string error;
    auto font = HostFont::Realize(request, &error);
    EXPECT_TRUE(font) << error;
    return font;
  }

  // One glyph per character at the given x positions on the baseline y.
  static HostStrobj Run(HostFont& font, const std::u16string& text, std::vector<LONG> xs, LONG y,
                        FLONG accel = 0, const std::u16string& org = {}) {
    std::vector<GLYPHPOS> glyphs;
    for (size_t i = 0; i < text.size(); ++i)
      glyphs.push_back(GLYPHPOS{font.GlyphOf(text[i]), nullptr, {xs[i], y}});
    return HostStrobj(font, std::move(glyphs), org.empty() ? text : org, accel);
  }

  BOOL TextOut(SURFOBJ* so, HostStrobj& run, BRUSHOBJ* fore, CLIPOBJ* clip = nullptr, RECTL* opaque = nullptr,
               BRUSHOBJ* opaqueBrush = nullptr, HostFont* font = nullptr) {
    return Entry<PFN_DrvTextOut>(INDEX_DrvTextOut)(so, run.Strobj(), (font ? font : font_.get())->Fontobj(),
                                                   clip, nullptr, opaque, fore, opaqueBrush, nullptr, 0x0D0D);
  }

  // The resource name of the one font the page uses.
  static std::string PageFont(const std::string& pdf) {
    size_t at = pdf.find("/Font <</F");
    if (at == std::string::npos) return "?";
    return pdf.substr(at + 8, pdf.find(' ', at + 8) - at - 8);
  }

  std::unique_ptr<HostFont> font_;
  HostBrush black_ = HostBrush::Solid(0);
  HostBrush red_ = HostBrush::Solid(0x0000FF);
};

TEST_F(TextEntries, RunsOnOneBaselineShareOneArrayUntilTheColourChanges) {
  // H (0.722 em, 36.1 pixels), i (0.222 em), "(" at their pixel places;
  // then H a little further off, then in red.
  std::string pdf = PrintPage([&](SURFOBJ* so) {
    HostStrobj first = Run(*font_, u"Hi(", {300, 336, 347}, 400);
    EXPECT_TRUE(TextOut(so, first, &black_.bo));
    HostStrobj second = Run(*font_, u"H", {400}, 400);
    EXPECT_TRUE(TextOut(so, second, &black_.bo));
    HostStrobj third = Run(*font_, u"H", {436}, 400);
    EXPECT_TRUE(TextOut(so, third, &red_.bo));
  });
  const std::string f = PageFont(pdf);
  EXPECT_EQ(snk::test::ContentOfFirstPage(pdf), std::string(kPageStart) + "BT 12 0 0 12 0 0 Tm " + f +
                                                    " 1 Tf 0 0 0 sc 0 0 0 SC 0 Tr 6 62.14 TD [(Hi\\050" +
                                                    ")-723(H)]TJ 1 0 0 sc 1 0 0 SC 2.72 0 TD [(H)]TJ ET\n");
  EXPECT_EQ(snk::test::CountOf(pdf, "/Font <<" + f + " "), 1u);
}

TEST_F(TextEntries, OpaqueBoxWithoutGlyphsAndTheTextBeforeAPath) {
  HostBrush white = HostBrush::Solid(0xFFFFFF);
  snk::engine::HostPath box;
  box.AddRectangle(RECTL{10, 20, 110, 70});
  std::string content = snk::test::ContentOfFirstPage(PrintPage([&](SURFOBJ* so) {
    HostStrobj text = Run(*font_, u"H", {300}, 400);
    EXPECT_TRUE(TextOut(so, text, &black_.bo));
    HostStrobj none = Run(*font_, u"", {}, 400);
    RECTL opaque{100, 200, 300, 250};
    EXPECT_TRUE(TextOut(so, none, &black_.bo, nullptr, &opaque, &white.bo));
    EXPECT_TRUE(Entry<PFN_DrvFillPath>(INDEX_DrvFillPath)(so, &box.po, nullptr, &black_.bo, nullptr, 0x0D0D,
                                                          FP_ALTERNATEMODE));
  }));
  // The box ends the text first. The run without glyphs marks its black
  // as known although the page holds the box's white, so the fill writes
  // no colour of its own.
  EXPECT_EQ(snk::test::CountOf(content, "BT "), 1u);
  EXPECT_NE(content.find(")]TJ ET\n1 1 1 sc 1 1 1 SC 24 781.68  48 12 re f 0.24 w [] 0 d 2.4 836.88 m "),
            std::string::npos)
      << content;
}

TEST_F(TextEntries, TheDocumentEndsWithPageTreeFontsAndCatalogInThatOrder) {
  std::string pdf = PrintPage([&](SURFOBJ* so) {
    HostStrobj text = Run(*font_, u"H", {300}, 400);
    EXPECT_TRUE(TextOut(so, text, &black_.bo));
  });
  // After the page (content 6, page 7): the page tree (1), the font's
  // descriptor (8) and font (5), the catalog (9), the information (10).
  const size_t tree = pdf.find("endobj\n1 0 obj\n");
  ASSERT_NE(tree, std::string::npos);
  std::string order;
  for (size_t at = pdf.find(" 0 obj\n", tree); at != std::string::npos; at = pdf.find(" 0 obj\n", at + 1))
    order += pdf.substr(pdf.rfind('\n', at) + 1, at - pdf.rfind('\n', at) - 1) + " ";
  EXPECT_EQ(order, "1 8 5 9 10 ");
  const std::string treeObject =
      "1 0 obj\n<<\n/Count 1 \n/Kids [7 0 R ] \n/Type /Pages \n>>\nendobj\n8 0 obj\n<<\n";
  EXPECT_EQ(pdf.substr(tree + 7, treeObject.size()), treeObject);
  EXPECT_NE(pdf.find(" ] \n>>\nendobj\n9 0 obj\n<<\n/Pages 1 0 R \n/Type /Catalog \n>>\nendobj\n10 0 obj\n"),
            std::string::npos);
  // The cross-reference table points at the page tree where it now stands.
  char entry[21];
  std::snprintf(entry, sizeof entry, "%010zu 00000 n\r\n", tree + 7);
  EXPECT_EQ(pdf.substr(pdf.find("0000000000 65536 f\r\n") + 20, 20), entry);
}

TEST_F(TextEntries, SimulatedStylesAndTheClipAroundText) {
  FONTOBJ* fo = font_->Fontobj();
  fo->flFontType |= FO_SIM_BOLD | FO_SIM_ITALIC;
  std::string content = snk::test::ContentOfFirstPage(PrintPage([&](SURFOBJ* so) {
    HostClip clip(snk::engine::Region(RECTL{0, 0, 1000, 1000}), nullptr, 7);
    HostStrobj text = Run(*font_, u"H", {300}, 400);
    EXPECT_TRUE(TextOut(so, text, &black_.bo, &clip.co));
  }));
  // Bold strokes the glyphs with a fiftieth of the size; italic shears by
  // 0.342. A rectangle clip is always written for text, and the page's end
  // closes the text before the clip.
  EXPECT_EQ(content.substr(0, 18), std::string(kPageStart) + "q ");
  EXPECT_NE(content.find("W* n\n0.24 w BT 12 0 4.104 12 0 0 Tm "), std::string::npos) << content;
  EXPECT_NE(content.find(" 0 0 0 SC 2 Tr "), std::string::npos) << content;
  EXPECT_EQ(content.substr(content.size() - 10), ")]TJ ET\nQ ");
}

TEST_F(TextEntries, GlyphIndexTextTakesItsCharactersFromTheGlyphs) {
  std::string content = snk::test::ContentOfFirstPage(PrintPage([&](SURFOBJ* so) {
    HostStrobj byText = Run(*font_, u"H", {300}, 400, 0, u"X");
    EXPECT_TRUE(TextOut(so, byText, &black_.bo));
    HostStrobj byGlyph = Run(*font_, u"H", {300}, 500, SO_GLYPHINDEX_TEXTOUT, u"X");
    EXPECT_TRUE(TextOut(so, byGlyph, &black_.bo));
  }));
  EXPECT_NE(content.find("[(X)]TJ 0 -2 TD [(H)]TJ ET\n"), std::string::npos) << content;
}

TEST_F(TextEntries, TheEngineDrawsTextOnlyUnderTheVersionsThatNeedIt) {
  SetOption(u"GDIPunt", 1);
  auto inked = [&](const char* version) {
    snk::test::ScopedEnv env("SNK_OS_VERSION", version);
    size_t dark = 0;
    PrintPage([&](SURFOBJ* so) {
      HostStrobj text = Run(*font_, u"HH", {300, 336}, 400);
      EXPECT_TRUE(TextOut(so, text, &black_.bo));
      for (int y = 360; y < 400; ++y)
        for (int x = 300; x < 370; ++x) dark += Pixel(so, x, y) != 0xFFFFFF;
    });
    return dark;
  };
  EXPECT_GT(inked(nullptr), 100u);  // the host's own 6.0
  EXPECT_GT(inked("5.1"), 100u);
  EXPECT_EQ(inked("6.1"), 0u);
  EXPECT_EQ(inked("5.0"), 0u);
}

TEST_F(TextEntries, GlyphModeFollowsTheFaceLicenceAndTheEmbeddingSettings) {
  FONTOBJ* fo = font_->Fontobj();
  IFIMETRICS* metrics = FONTOBJ_pifi(fo);
  ASSERT_TRUE(metrics);
  const std::u16string family(
      reinterpret_cast<const char16_t*>(reinterpret_cast<const char*>(metrics) + metrics->dpwszFamilyName));
  auto mode = [&](FLONG type, USHORT fsType) {
    fo->flFontType = type;
    metrics->fsType = fsType;
    ULONG result = 99;
    PrintPage([&](SURFOBJ* so) {
      result = Entry<PFN_DrvGetGlyphMode>(INDEX_DrvGetGlyphMode)(reinterpret_cast<DHPDEV>(so->dhpdev), fo);
    });
    return result;
  };
  EXPECT_EQ(mode(0, 0), FO_PATHOBJ);
  EXPECT_EQ(mode(FO_TYPE_TRUETYPE, 2), FO_HGLYPHS);  // FontEmbed 0
  EXPECT_EQ(mode(FO_TYPE_TRUETYPE, 0x0008), FO_HGLYPHS);
  EXPECT_EQ(mode(FO_TYPE_RASTER, 2), FO_HGLYPHS);
  SetOption(u"FontEmbed", 1);
  EXPECT_EQ(mode(FO_TYPE_TRUETYPE, 2), FO_HGLYPHS);
  std::vector<uint8_t> block{0, 0, 0, 0};
  for (char16_t c : family + u'\0') block.insert(block.end(), {uint8_t(c), uint8_t(c >> 8)});
  block[0] = static_cast<uint8_t>(block.size());
  SetPrinterDataExW(printer_, u"PrinterDriverData", u"FFaces", REG_BINARY, block.data(),
                    static_cast<DWORD>(block.size()));
  EXPECT_EQ(mode(FO_TYPE_TRUETYPE, 2), FO_PATHOBJ);
  SetOption(u"FontEmbed", 2);
  EXPECT_EQ(mode(FO_TYPE_TRUETYPE, 2), FO_PATHOBJ);
  EXPECT_EQ(mode(FO_TYPE_TRUETYPE, 0), FO_HGLYPHS);
  SetOption(u"FontEmbed", 0);
  SetOption(u"PDFA1B", 1);
  EXPECT_EQ(mode(FO_TYPE_TRUETYPE, 2), FO_PATHOBJ);
}

}  // namespace

TEST_F(TextEntries, AVerticalFaceTurnsAllButTheFirst256Characters) {
  auto font = Realize(u"@WenQuanYi Micro Hei", -50);
  ASSERT_TRUE(font && (font->Fontobj()->flFontType & FO_VERT_FACE));
  std::string content = snk::test::ContentOfFirstPage(PrintPage([&](SURFOBJ* so) {
    HostStrobj text = Run(*font, u"A\u4E2D\u6587\u5B57", {300, 330, 380, 440}, 400);
    EXPECT_TRUE(TextOut(so, text, &black_.bo, nullptr, nullptr, nullptr, font.get()));
  }));
  // The Latin letter stands upright; the others go in the turned matrix,
  // one em apart by the pen (50 pixels), the last one 10 pixels further.
  EXPECT_NE(content.find("BT 12 0 0 12 0 0 Tm "), std::string::npos) << content;
  EXPECT_NE(content.find("[(A)]TJ -0 12 -12 0 0 0 Tm "), std::string::npos) << content;
  EXPECT_NE(content.find(" -6.6 TD [(N-e\x87)200([W)]TJ ET\n"), std::string::npos) << content;
}
