// Glyph runs handed to drivers (STROBJ), the engine's own text drawing
// (EngTextOut), and fonts whose files lie.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "host/engine/brush.h"
#include "host/engine/clip.h"
#include "host/engine/region.h"
#include "host/fonts/host_font.h"

namespace snk::fonts {
namespace {

std::unique_ptr<HostFont> Arial(int32_t height) {
  FontRequest request;
  request.faceName = u"Arial";
  request.height = height;
  std::string error;
  auto font = HostFont::Realize(request, &error);
  EXPECT_NE(font, nullptr) << error;
  return font;
}

std::vector<GLYPHPOS> Layout(HostFont& font, std::u16string_view text, LONG x, LONG y) {
  std::vector<GLYPHPOS> glyphs;
  for (char16_t c : text) {
    const HGLYPH g = font.GlyphOf(c);
    glyphs.push_back(GLYPHPOS{g, nullptr, POINTL{x, y}});
    x += LONG(font.Advance(g));
  }
  return glyphs;
}

TEST(HostStrobjTest, EnumeratesPositionsOnceAndAgainAfterRestart) {
  auto font = Arial(-20);
  ASSERT_NE(font, nullptr);
  HostStrobj run(*font, Layout(*font, u"Hello", 10, 50), u"Hello", SO_GLYPHINDEX_TEXTOUT);
  STROBJ* so = run.Strobj();
  EXPECT_EQ(HostStrobj::From(so), &run);
  EXPECT_EQ(so->cGlyphs, 5u);
  EXPECT_EQ(so->flAccel, SO_GLYPHINDEX_TEXTOUT);
  ASSERT_NE(so->pwszOrg, nullptr);
  EXPECT_EQ(std::u16string(so->pwszOrg, 5), u"Hello");
  // The background box covers the cells: from the ascent above the first
  // origin to past the last glyph.
  EXPECT_LE(so->rclBkGround.left, 10);
  EXPECT_LE(so->rclBkGround.top, 50 - 15);
  EXPECT_GE(so->rclBkGround.bottom, 52);
  EXPECT_GE(so->rclBkGround.right, so->pgp[4].ptl.x + 8);

  for (int pass = 0; pass < 2; ++pass) {
    STROBJ_vEnumStart(so);
    ULONG count = 0;
    GLYPHPOS* positions = nullptr;
    EXPECT_FALSE(STROBJ_bEnumPositionsOnly(so, &count, &positions));
    ASSERT_EQ(count, 5u);
    EXPECT_EQ(positions[1].hg, font->GlyphOf(u'e'));
    EXPECT_GT(positions[1].ptl.x, positions[0].ptl.x);
    EXPECT_FALSE(STROBJ_bEnumPositionsOnly(so, &count, &positions));
    EXPECT_EQ(count, 0u);
  }
  // Text that does not match the glyphs one for one is not offered.
  HostStrobj mismatched(*font, Layout(*font, u"ab", 0, 0), u"abc", 0);
  EXPECT_EQ(mismatched.Strobj()->pwszOrg, nullptr);
}

TEST(HostStrobjTest, ForeignAndStaleRunsAreRefused) {
  STROBJ foreign{};
  foreign.cGlyphs = 3;
  ULONG count = 9;
  GLYPHPOS* positions = reinterpret_cast<GLYPHPOS*>(&foreign);
  STROBJ_vEnumStart(&foreign);
  EXPECT_FALSE(STROBJ_bEnumPositionsOnly(&foreign, &count, &positions));
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(positions, nullptr);
  auto font = Arial(-20);
  STROBJ* stale;
  {
    HostStrobj run(*font, Layout(*font, u"x", 0, 0), u"", 0);
    stale = run.Strobj();
  }
  EXPECT_EQ(HostStrobj::From(stale), nullptr);
}

class EngTextOutTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const LONG stride = (kWidth * 3 + 3) & ~3;
    bitmap_ = EngCreateBitmap(SIZEL{kWidth, kHeight}, stride, BMF_24BPP, BMF_TOPDOWN, nullptr);
    ASSERT_NE(bitmap_, nullptr);
    so_ = EngLockSurface(reinterpret_cast<HSURF>(bitmap_));
    ASSERT_NE(so_, nullptr);
    for (LONG y = 0; y < kHeight; ++y) std::memset(Row(y), 0xFF, size_t(kWidth) * 3);
  }
  void TearDown() override {
    EngUnlockSurface(so_);
    EngDeleteSurface(reinterpret_cast<HSURF>(bitmap_));
  }
  uint8_t* Row(LONG y) { return static_cast<uint8_t*>(so_->pvScan0) + y * so_->lDelta; }
  uint32_t Pixel(LONG x, LONG y) {
    const uint8_t* p = Row(y) + x * 3;
    return p[0] | p[1] << 8 | p[2] << 16;
  }
  // Pixels of `color` inside [left, right) x [top, bottom).
  int Count(uint32_t color, RECTL r) {
    int n = 0;
    for (LONG y = std::max(r.top, 0); y < std::min(r.bottom, kHeight); ++y)
      for (LONG x = std::max(r.left, 0); x < std::min(r.right, kWidth); ++x) n += Pixel(x, y) == color;
    return n;
  }

  static constexpr LONG kWidth = 200, kHeight = 100;
  HBITMAP bitmap_ = nullptr;
  SURFOBJ* so_ = nullptr;
};

TEST_F(EngTextOutTest, InkStaysInTheGlyphBoxesAndInsideTheClip) {
  auto font = Arial(-40);
  ASSERT_NE(font, nullptr);
  HostStrobj run(*font, Layout(*font, u"HI", 20, 70), u"HI", 0);
  engine::HostBrush black = engine::HostBrush::Solid(0x000000);
  ASSERT_TRUE(EngTextOut(so_, run.Strobj(), font->Fontobj(), nullptr, nullptr, nullptr, &black.bo, nullptr,
                         nullptr, R2_COPYPEN | R2_COPYPEN << 8));
  const RECTL bk = run.Strobj()->rclBkGround;
  const int ink = Count(0x000000, RECTL{0, 0, kWidth, kHeight});
  EXPECT_GT(ink, 100);

  EXPECT_EQ(Count(0x000000, bk), ink);
  // An 'H' is two stems: the bar's row has ink between them, the rows
  // above it do not.
  const LONG middle = 20 + font->Box(font->GlyphOf(u'H')).right / 2;
  EXPECT_EQ(Pixel(middle, 70 - 16), 0x000000u);
  EXPECT_EQ(Pixel(middle, 70 - 22), 0xFFFFFFu);
  EXPECT_EQ(Pixel(middle, 70 - 29), 0xFFFFFFu);
  EXPECT_EQ(Pixel(middle - 12, 70 - 25), 0x000000u);

  // Clipped to the left half, with an opaque rectangle and an underline.
  for (LONG y = 0; y < kHeight; ++y) std::memset(Row(y), 0xFF, size_t(kWidth) * 3);
  engine::HostClip clip(engine::Region(RECTL{0, 0, 40, kHeight}), nullptr, 1);
  engine::HostBrush grey = engine::HostBrush::Solid(0x808080);
  RECTL opaque{10, 20, 100, 80};
  RECTL extra[2] = {{15, 74, 90, 76}, {0, 0, 0, 0}};
  ASSERT_TRUE(EngTextOut(so_, run.Strobj(), font->Fontobj(), &clip.co, extra, &opaque, &black.bo, &grey.bo,
                         nullptr, R2_COPYPEN | R2_COPYPEN << 8));
  EXPECT_EQ(Count(0x000000, RECTL{40, 0, kWidth, kHeight}), 0);
  EXPECT_EQ(Count(0x808080, RECTL{40, 0, kWidth, kHeight}), 0);
  EXPECT_GT(Count(0x808080, RECTL{10, 20, 40, 80}), 0);
  EXPECT_EQ(Count(0x000000, RECTL{15, 74, 40, 76}), 25 * 2);
  EXPECT_EQ(Pixel(12, 30), 0x808080u);

  // Runs and fonts the engine did not make are refused.
  STROBJ foreignRun{};
  FONTOBJ foreignFont{};
  EXPECT_FALSE(EngTextOut(so_, &foreignRun, font->Fontobj(), nullptr, nullptr, nullptr, &black.bo, nullptr,
                          nullptr, R2_COPYPEN));
  EXPECT_FALSE(EngTextOut(so_, run.Strobj(), &foreignFont, nullptr, nullptr, nullptr, &black.bo, nullptr,
                          nullptr, R2_COPYPEN));
}

TEST_F(EngTextOutTest, TextTurnedAQuarterLiesAlongTheTurnedBaseline) {
  FontRequest request;
  request.faceName = u"Arial";
  request.height = -40;
  request.m11 = 0;  // the baseline runs up the page
  request.m12 = -1;
  request.m21 = 1;
  request.m22 = 0;
  std::string error;
  auto font = HostFont::Realize(request, &error);
  ASSERT_NE(font, nullptr) << error;
  const HGLYPH l = font->GlyphOf(u'l');
  HostStrobj run(*font, std::vector<GLYPHPOS>{GLYPHPOS{l, nullptr, POINTL{100, 80}}}, u"l", 0);
  engine::HostBrush black = engine::HostBrush::Solid(0x000000);
  ASSERT_TRUE(EngTextOut(so_, run.Strobj(), font->Fontobj(), nullptr, nullptr, nullptr, &black.bo, nullptr,
                         nullptr, R2_COPYPEN | R2_COPYPEN << 8));
  // The stem of the 'l' is a horizontal bar left of the origin (its top
  // points left), a few pixels above it.
  const int ink = Count(0x000000, RECTL{0, 0, kWidth, kHeight});
  EXPECT_GT(ink, 60);
  EXPECT_EQ(Count(0x000000, RECTL{60, 70, 101, 81}), ink);
  EXPECT_EQ(Pixel(85, 76), 0x000000u);
  EXPECT_EQ(Count(0x000000, run.Strobj()->rclBkGround), ink);
}

TEST_F(EngTextOutTest, SimulatedBoldAndItalicWidenAndSlantTheInk) {
  FontRequest request;
  request.faceName = u"WenQuanYi Micro Hei";
  request.height = -40;
  std::string error;
  auto plain = HostFont::Realize(request, &error);
  request.weight = 700;
  request.italic = true;
  auto simulated = HostFont::Realize(request, &error);
  ASSERT_TRUE(plain && simulated) << error;
  const HGLYPH l = plain->GlyphOf(u'l');
  const HostFont::GlyphBits& a = plain->Bits(l);
  const int plainWidth = a.width;
  const HostFont::GlyphBits& b = simulated->Bits(l);
  // A stem's width grows by the emboldening and the slant spreads it over
  // the glyph's height.
  EXPECT_GT(b.width, plainWidth + 1 + a.rows / 4);
}

// Font files whose tables lie: opened with defaults, or refused with an
// error that names the file.
class BadFontTest : public ::testing::Test {
 protected:
  void SetUp() override {
    auto font = Arial(-20);
    ASSERT_NE(font, nullptr);
    path_ = font->Face().path;
    std::ifstream in(path_, std::ios::binary);
    file_.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    ASSERT_GT(file_.size(), 1000u);
  }
  // Offset of a table's directory entry, or 0.
  size_t Entry(const char* tag) const {
    const size_t tables = size_t(file_[4]) << 8 | file_[5];
    for (size_t i = 0; i < tables; ++i) {
      if (std::memcmp(&file_[12 + 16 * i], tag, 4) == 0) return 12 + 16 * i;
    }
    return 0;
  }
  std::unique_ptr<HostFont> Open(std::string* error) {
    FontRequest request;
    request.faceName = u"Arial";
    request.height = -20;
    return HostFont::RealizeFromBytes(request, file_, 0, "test.ttf", error);
  }

  std::string path_;
  std::vector<uint8_t> file_;
};

TEST_F(BadFontTest, TruncatedFileIsAnsweredWithAnError) {
  file_.resize(600);
  std::string error;
  EXPECT_EQ(Open(&error), nullptr);
  EXPECT_NE(error.find("test.ttf"), std::string::npos) << error;
  file_.clear();
  EXPECT_EQ(Open(&error), nullptr);
  EXPECT_NE(error.find("test.ttf"), std::string::npos) << error;
}

TEST_F(BadFontTest, MissingOrBrokenTablesFallBackToDefaults) {
  // Without OS/2: Windows metrics from hhea, the average width computed.
  const size_t os2 = Entry("OS/2");
  ASSERT_NE(os2, 0u);
  std::memcpy(&file_[os2], "XS/2", 4);
  std::string error;
  auto font = Open(&error);
  ASSERT_NE(font, nullptr) << error;
  const IFIMETRICS& m = font->Metrics();
  EXPECT_GT(m.fwdWinAscender, 0);
  EXPECT_GT(m.fwdAveCharWidth, 0);
  EXPECT_GT(m.fwdCapHeight, 0);  // from the 'H' glyph
  EXPECT_EQ(m.jWinCharSet, 0);
  EXPECT_NE(font->GlyphOf(u'A'), 0u);

  // A character map whose subtables lie past the end: FreeType drops them
  // (and may rebuild a map from the glyph names); the glyph set and the
  // lookups agree.
  std::memcpy(&file_[os2], "OS/2", 4);
  const size_t cmap = Entry("cmap");
  ASSERT_NE(cmap, 0u);
  const size_t start = size_t(file_[cmap + 8]) << 24 | size_t(file_[cmap + 9]) << 16 |
                       size_t(file_[cmap + 10]) << 8 | file_[cmap + 11];
  for (size_t i = 0; i < 4; ++i) file_[start + 4 + 8 * i + 4] = 0x7F;  // subtable offsets
  auto broken = Open(&error);
  if (broken) {
    const FD_GLYPHSET* set = FONTOBJ_pfdg(broken->Fontobj());
    ASSERT_NE(set, nullptr);
    HGLYPH inSet = 0;
    const WCRUN* runs = set->awcrun;
    for (ULONG r = 0; r < set->cRuns; ++r) {
      if (runs[r].wcLow <= u'A' && u'A' < runs[r].wcLow + runs[r].cGlyphs)
        inSet = runs[r].phg[u'A' - runs[r].wcLow];
    }
    EXPECT_EQ(broken->GlyphOf(u'A'), inSet);
  } else {
    EXPECT_NE(error.find("test.ttf"), std::string::npos);
  }
  // A face index that the file does not have.
  FontRequest request;
  EXPECT_EQ(HostFont::RealizeFromBytes(request, file_, 3, "test.ttf", &error), nullptr);
  EXPECT_NE(error.find("face 3"), std::string::npos) << error;
}

}  // namespace
}  // namespace snk::fonts
