// Drawing on the engine's 24-bit surface: raster operations, fill rules,
// cosmetic and geometric lines, brushes and clipping, checked pixel by pixel.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "host/engine/brush.h"
#include "host/engine/clip.h"
#include "host/engine/path.h"
#include "host/engine/region.h"
#include "host/engine/xform.h"
#include "platform/winddi.h"
#include "tests/host/engine/engine_bitmap.h"

namespace snk::engine {
namespace {

constexpr uint32_t kRed = 0x0000FF;
constexpr uint32_t kGreen = 0x00FF00;
constexpr uint32_t kBlue = 0xFF0000;
constexpr uint32_t kWhite = 0xFFFFFF;

MIX Mix(uint32_t fg, uint32_t bg) { return fg | bg << 8; }
MIX Mix(uint32_t rop2) { return Mix(rop2, rop2); }

POINTFIX Fix(double x, double y) { return POINTFIX{ToFix(x), ToFix(y)}; }

HostPath Polygon(std::initializer_list<std::pair<double, double>> points, bool closed = true) {
  HostPath path;
  bool first = true;
  for (auto [x, y] : points) {
    if (first) {
      path.MoveTo(Fix(x, y));
    } else {
      path.LineTo(Fix(x, y));
    }
    first = false;
  }
  if (closed) path.CloseFigure();
  return path;
}

HostPath Rect(double left, double top, double right, double bottom) {
  return Polygon({{left, top}, {right, top}, {right, bottom}, {left, bottom}});
}

class RasterTest : public ::testing::Test {
 protected:
  void SetUp() override { Make(40, 40); }
  void Make(LONG cx, LONG cy) {
    page_ = std::make_unique<Page>(cx, cy);
    so_ = page_->so();
    ASSERT_NE(so_, nullptr);
  }
  uint32_t Get(int x, int y) { return page_->Get(x, y); }
  void Clear(uint32_t color) { page_->Clear(color); }
  int Count(uint32_t color) { return page_->Count(color); }

  BOOL Fill(HostPath& path, HostBrush& brush, MIX mix, FLONG options = FP_ALTERNATEMODE,
            CLIPOBJ* clip = nullptr, POINTL* origin = nullptr) {
    return EngFillPath(so_, &path.po, clip, &brush.bo, origin, mix, options);
  }
  BOOL Stroke(HostPath& path, HostBrush& brush, LINEATTRS& attrs, MIX mix = Mix(R2_COPYPEN),
              HostXform* xform = nullptr) {
    return EngStrokePath(so_, &path.po, nullptr, xform ? &xform->xo : nullptr, &brush.bo, nullptr, &attrs,
                         mix);
  }
  BOOL Blit(HostBrush* brush, ULONG rop3, RECTL rect, POINTL* origin = nullptr) {
    return EngBitBlt(so_, nullptr, nullptr, nullptr, nullptr, &rect, nullptr, nullptr,
                     brush ? &brush->bo : nullptr, origin, rop3 | rop3 << 8);
  }

  static LINEATTRS Geometric(float width, ULONG cap, ULONG join, float miter = 10) {
    LINEATTRS attrs{};
    attrs.fl = LA_GEOMETRIC;
    attrs.elWidth.e = width;
    attrs.iEndCap = cap;
    attrs.iJoin = join;
    attrs.eMiterLimit = miter;
    return attrs;
  }
  static LINEATTRS Cosmetic() {
    LINEATTRS attrs{};
    attrs.elWidth.l = 1;
    return attrs;
  }

  std::unique_ptr<Page> page_;
  SURFOBJ* so_ = nullptr;
};

// Each binary op, per byte, against its meaning written out.
TEST_F(RasterTest, AllBinaryOpsPerChannel) {
  using Op = std::function<uint8_t(uint8_t, uint8_t)>;
  const std::vector<std::pair<ULONG, Op>> ops = {
      {R2_BLACK, [](uint8_t, uint8_t) { return 0; }},
      {R2_NOTMERGEPEN, [](uint8_t p, uint8_t d) { return ~(p | d); }},
      {R2_MASKNOTPEN, [](uint8_t p, uint8_t d) { return ~p & d; }},
      {R2_NOTCOPYPEN, [](uint8_t p, uint8_t) { return ~p; }},
      {R2_MASKPENNOT, [](uint8_t p, uint8_t d) { return p & ~d; }},
      {R2_NOT, [](uint8_t, uint8_t d) { return ~d; }},
      {R2_XORPEN, [](uint8_t p, uint8_t d) { return p ^ d; }},
      {R2_NOTMASKPEN, [](uint8_t p, uint8_t d) { return ~(p & d); }},
      {R2_MASKPEN, [](uint8_t p, uint8_t d) { return p & d; }},
      {R2_NOTXORPEN, [](uint8_t p, uint8_t d) { return ~(p ^ d); }},
      {R2_NOP, [](uint8_t, uint8_t d) { return d; }},
      {R2_MERGENOTPEN, [](uint8_t p, uint8_t d) { return ~p | d; }},
      {R2_COPYPEN, [](uint8_t p, uint8_t) { return p; }},
      {R2_MERGEPENNOT, [](uint8_t p, uint8_t d) { return p | ~d; }},
      {R2_MERGEPEN, [](uint8_t p, uint8_t d) { return p | d; }},
      {R2_WHITE, [](uint8_t, uint8_t) { return 0xFF; }},
  };
  ASSERT_EQ(ops.size(), 16u);
  const uint32_t patterns[] = {0x000000, 0xFFFFFF, 0x3CA5F0};
  const uint32_t dests[] = {0x000000, 0xFFFFFF, 0x5A0FC3};
  for (const auto& [rop2, op] : ops) {
    for (uint32_t pattern : patterns) {
      for (uint32_t dest : dests) {
        Clear(dest);
        HostBrush brush = HostBrush::Solid(pattern);
        HostPath path = Rect(2, 2, 6, 6);
        ASSERT_TRUE(Fill(path, brush, Mix(rop2)));
        uint32_t expected = 0;
        for (int c = 0; c < 3; ++c) {
          expected |= uint32_t(op(uint8_t(pattern >> 8 * c), uint8_t(dest >> 8 * c))) << 8 * c;
        }
        SCOPED_TRACE(testing::Message() << "rop2 " << rop2 << " P " << std::hex << pattern << " D " << dest);
        EXPECT_EQ(Get(2, 2), expected);
        EXPECT_EQ(Get(5, 5), expected);
        EXPECT_EQ(Get(6, 6), dest);
        EXPECT_EQ(Get(1, 3), dest);
      }
    }
  }
}

TEST_F(RasterTest, TernaryOpsWithoutSource) {
  using Op = std::function<uint8_t(uint8_t, uint8_t)>;
  const std::vector<std::pair<ULONG, Op>> ops = {
      {ROP3_BLACKNESS, [](uint8_t, uint8_t) { return 0; }},
      {ROP3_WHITENESS, [](uint8_t, uint8_t) { return 0xFF; }},
      {ROP3_PATCOPY, [](uint8_t p, uint8_t) { return p; }},
      {ROP3_NOTPATCOPY, [](uint8_t p, uint8_t) { return ~p; }},
      {ROP3_PATINVERT, [](uint8_t p, uint8_t d) { return p ^ d; }},
      {ROP3_DSTINVERT, [](uint8_t, uint8_t d) { return ~d; }},
      {0xA0, [](uint8_t p, uint8_t d) { return p & d; }},
      {0xFA, [](uint8_t p, uint8_t d) { return p | d; }},
  };
  const uint32_t pattern = 0x3CA5F0, dest = 0x5A0FC3;
  for (const auto& [rop3, op] : ops) {
    Clear(dest);
    HostBrush brush = HostBrush::Solid(pattern);
    // Partly outside the surface: cut to it.
    ASSERT_TRUE(Blit(&brush, rop3, RECTL{30, 30, 50, 50}));
    uint32_t expected = 0;
    for (int c = 0; c < 3; ++c) {
      expected |= uint32_t(op(uint8_t(pattern >> 8 * c), uint8_t(dest >> 8 * c))) << 8 * c;
    }
    SCOPED_TRACE(testing::Message() << "rop3 " << std::hex << rop3);
    EXPECT_EQ(Get(30, 30), expected);
    EXPECT_EQ(Get(39, 39), expected);
    EXPECT_EQ(Get(29, 30), dest);
    EXPECT_EQ(Get(30, 29), dest);
  }
}

TEST_F(RasterTest, BlitRefusesWhatItCannotDraw) {
  HostBrush brush = HostBrush::Solid(kRed);
  // A source operation without a source, a pattern operation without a brush.
  EXPECT_FALSE(Blit(&brush, ROP3_SRCCOPY, RECTL{0, 0, 4, 4}));
  EXPECT_FALSE(Blit(nullptr, ROP3_PATCOPY, RECTL{0, 0, 4, 4}));
  EXPECT_EQ(Count(kWhite), 40 * 40);
  // No brush is needed when the pattern is not used; swapped corners are fine.
  EXPECT_TRUE(Blit(nullptr, ROP3_DSTINVERT, RECTL{4, 4, 0, 0}));
  EXPECT_EQ(Get(0, 0), 0u);
  EXPECT_EQ(Get(3, 3), 0u);
  EXPECT_EQ(Get(4, 4), kWhite);
}

TEST_F(RasterTest, PatternBrushFollowsBrushOrigin) {
  HostBrush brush = HostBrush::Pattern(2, 2, {kRed, kGreen, kBlue, 0});
  POINTL origin{1, 0};
  ASSERT_TRUE(Blit(&brush, ROP3_PATCOPY, RECTL{0, 0, 4, 4}, &origin));
  bool fg = true;
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 4; ++x) EXPECT_EQ(Get(x, y), brush.PixelAt(x - 1, y, &fg)) << x << "," << y;
  }
  EXPECT_EQ(Get(1, 0), kRed);
  EXPECT_EQ(Get(2, 0), kGreen);
  EXPECT_EQ(Get(1, 1), kBlue);
}

// A five-pointed star drawn in one stroke: its centre is enclosed twice.
TEST_F(RasterTest, WindingAndAlternateFillOfStar) {
  auto star = [] {
    HostPath path;
    for (int i = 0; i < 5; ++i) {
      double a = -M_PI / 2 + i * 4 * M_PI / 5;
      POINTFIX p = Fix(20 + 18 * std::cos(a), 20 + 18 * std::sin(a));
      if (i == 0) {
        path.MoveTo(p);
      } else {
        path.LineTo(p);
      }
    }
    path.CloseFigure();
    return path;
  };
  HostBrush brush = HostBrush::Solid(kBlue);
  HostPath alternate = star();
  ASSERT_TRUE(Fill(alternate, brush, Mix(R2_COPYPEN), FP_ALTERNATEMODE));
  EXPECT_EQ(Get(20, 20), kWhite);
  EXPECT_EQ(Get(20, 5), kBlue);    // top point
  EXPECT_EQ(Get(20, 39), kWhite);  // outside, below
  Clear(kWhite);
  HostPath winding = star();
  ASSERT_TRUE(Fill(winding, brush, Mix(R2_COPYPEN), FP_WINDINGMODE));
  EXPECT_EQ(Get(20, 20), kBlue);
  EXPECT_EQ(Get(20, 5), kBlue);
  EXPECT_EQ(Get(20, 39), kWhite);
}

// Rectangles on whole pixels in either direction, and shapes that only
// look like them: four corners on whole pixels that are not a rectangle.
TEST_F(RasterTest, RectangleFillsCoverTheirPixels) {
  HostBrush brush = HostBrush::Solid(kRed);
  HostPath backwards = Polygon({{9, 7}, {9, 4}, {3, 4}, {3, 7}});
  ASSERT_TRUE(Fill(backwards, brush, Mix(R2_COPYPEN)));
  EXPECT_EQ(Count(kRed), 6 * 3);
  EXPECT_EQ(Get(3, 4), kRed);
  EXPECT_EQ(Get(8, 6), kRed);

  Clear(kWhite);
  HostPath diamond = Polygon({{20, 10}, {25, 15}, {20, 20}, {15, 15}});
  ASSERT_TRUE(Fill(diamond, brush, Mix(R2_COPYPEN)));
  EXPECT_EQ(Get(20, 15), kRed);
  EXPECT_EQ(Get(15, 10), kWhite);
  EXPECT_EQ(Get(24, 19), kWhite);
  EXPECT_EQ(Count(kRed), 50);

  Clear(kWhite);
  HostPath quarter = Rect(2.25, 2, 6, 6);  // a left edge between centres
  ASSERT_TRUE(Fill(quarter, brush, Mix(R2_COPYPEN)));
  EXPECT_EQ(Count(kRed), 4 * 4);
  EXPECT_EQ(Get(2, 2), kRed);
}

TEST_F(RasterTest, LineToLeavesOutLastPixel) {
  HostBrush brush = HostBrush::Solid(kRed);
  ASSERT_TRUE(EngLineTo(so_, nullptr, &brush.bo, 2, 3, 7, 3, nullptr, Mix(R2_COPYPEN)));
  for (int x = 2; x < 7; ++x) EXPECT_EQ(Get(x, 3), kRed) << x;
  EXPECT_EQ(Get(7, 3), kWhite);
  EXPECT_EQ(Get(1, 3), kWhite);
  EXPECT_EQ(Count(kRed), 5);
  // A line of no length draws nothing.
  ASSERT_TRUE(EngLineTo(so_, nullptr, &brush.bo, 20, 20, 20, 20, nullptr, Mix(R2_COPYPEN)));
  EXPECT_EQ(Count(kRed), 5);
}

// A line of slope 1/3 from the centre in each of the eight octants: the
// pixels are the same up to the octant's mirroring.
TEST_F(RasterTest, CosmeticLineInEveryOctant) {
  // From (0,0) to (6,2): y = x/3 rounded at x = 0..5; (6,2) is left out.
  const std::pair<int, int> base[] = {{0, 0}, {1, 0}, {2, 1}, {3, 1}, {4, 1}, {5, 2}};
  HostBrush brush = HostBrush::Solid(kRed);
  for (int octant = 0; octant < 8; ++octant) {
    Clear(kWhite);
    int sx = octant & 1 ? -1 : 1, sy = octant & 2 ? -1 : 1;
    bool swap = octant & 4;
    auto map = [&](int u, int v) {
      int x = swap ? v : u, y = swap ? u : v;
      return std::pair<int, int>{20 + sx * x, 20 + sy * y};
    };
    auto [ex, ey] = map(6, 2);
    ASSERT_TRUE(EngLineTo(so_, nullptr, &brush.bo, 20, 20, ex, ey, nullptr, Mix(R2_COPYPEN)));
    SCOPED_TRACE(testing::Message() << "octant " << octant);
    for (auto [u, v] : base) {
      auto [x, y] = map(u, v);
      EXPECT_EQ(Get(x, y), kRed) << x << "," << y;
    }
    EXPECT_EQ(Count(kRed), 6);
  }
}

// With R2_NOT a pixel drawn twice would come back: joints and the start of
// a closed figure are drawn once, the end of an open one not at all.
TEST_F(RasterTest, CosmeticPolylineJointsOnce) {
  HostBrush brush = HostBrush::Solid(0);
  LINEATTRS attrs = Cosmetic();
  HostPath open = Polygon({{2, 2}, {6, 2}, {6, 6}}, false);
  ASSERT_TRUE(Stroke(open, brush, attrs, Mix(R2_NOT)));
  for (int x = 2; x <= 6; ++x) EXPECT_EQ(Get(x, 2), 0u) << x;
  for (int y = 3; y < 6; ++y) EXPECT_EQ(Get(6, y), 0u) << y;
  EXPECT_EQ(Get(6, 6), kWhite);
  EXPECT_EQ(Count(0), 8);

  Clear(kWhite);
  HostPath closed = Polygon({{10, 10}, {14, 10}, {14, 14}, {10, 14}});
  ASSERT_TRUE(Stroke(closed, brush, attrs, Mix(R2_NOT)));
  EXPECT_EQ(Count(0), 16);
  EXPECT_EQ(Get(10, 10), 0u);
  EXPECT_EQ(Get(14, 14), 0u);
  EXPECT_EQ(Get(10, 13), 0u);
  EXPECT_EQ(Get(12, 12), kWhite);
}

TEST_F(RasterTest, CosmeticBezierIsFlattened) {
  HostBrush brush = HostBrush::Solid(kRed);
  LINEATTRS attrs = Cosmetic();
  HostPath path;
  path.MoveTo(Fix(2, 30));
  path.BezierTo(Fix(2, 2), Fix(38, 2), Fix(38, 30));
  ASSERT_TRUE(Stroke(path, brush, attrs));
  // The curve's highest point is at y = 30 - 28 * 3/4 = 9 in the middle.
  EXPECT_EQ(Get(20, 9), kRed);
  EXPECT_EQ(Get(20, 8), kWhite);
  EXPECT_EQ(Get(20, 10), kWhite);
  EXPECT_EQ(Get(2, 30), kRed);
  EXPECT_EQ(Get(38, 30), kWhite);
}

// Cosmetic styles count one step per pixel; gaps take the background op.
TEST_F(RasterTest, CosmeticStyles) {
  HostBrush brush = HostBrush::Solid(kRed);
  LINEATTRS attrs = Cosmetic();
  attrs.fl = LA_ALTERNATE;
  HostPath line = Polygon({{0, 5}, {9, 5}}, false);
  ASSERT_TRUE(Stroke(line, brush, attrs, Mix(R2_COPYPEN, R2_NOP)));
  for (int x = 0; x < 9; ++x) EXPECT_EQ(Get(x, 5), x % 2 ? kWhite : kRed) << x;

  Clear(kWhite);
  FLOAT_LONG style[2];
  style[0].l = 3;
  style[1].l = 2;
  attrs.fl = LA_STYLED;
  attrs.cstyle = 2;
  attrs.pstyle = style;
  HostPath dashed = Polygon({{0, 5}, {9, 5}}, false);
  ASSERT_TRUE(Stroke(dashed, brush, attrs, Mix(R2_COPYPEN, R2_NOP)));
  const char* expected = "xxx..xxx.";
  for (int x = 0; x < 9; ++x) EXPECT_EQ(Get(x, 5), expected[x] == 'x' ? kRed : kWhite) << x;

  // An opaque background paints the gaps with the brush's background.
  Clear(kGreen);
  HostPath opaque = Polygon({{0, 5}, {9, 5}}, false);
  ASSERT_TRUE(Stroke(opaque, brush, attrs, Mix(R2_COPYPEN, R2_COPYPEN)));
  EXPECT_EQ(Get(0, 5), kRed);
  EXPECT_EQ(Get(3, 5), brush.background);
  EXPECT_EQ(Get(9, 5), kGreen);
}

// A three-pixel pen along y = 10 from x = 5 to 15: butt caps end at the
// points, square caps reach 1.5 pixels further.
TEST_F(RasterTest, GeometricCaps) {
  HostBrush brush = HostBrush::Solid(kBlue);
  LINEATTRS butt = Geometric(3, ENDCAP_BUTT, JOIN_ROUND);
  HostPath a = Polygon({{5, 10}, {15, 10}}, false);
  ASSERT_TRUE(Stroke(a, brush, butt));
  for (int y = 9; y <= 11; ++y) {
    for (int x = 6; x <= 14; ++x) EXPECT_EQ(Get(x, y), kBlue) << x << "," << y;
  }
  EXPECT_EQ(Get(10, 8), kWhite);
  EXPECT_EQ(Get(10, 12), kWhite);
  EXPECT_EQ(Get(4, 10), kWhite);
  EXPECT_EQ(Get(16, 10), kWhite);

  Clear(kWhite);
  LINEATTRS square = Geometric(3, ENDCAP_SQUARE, JOIN_ROUND);
  HostPath b = Polygon({{5, 10}, {15, 10}}, false);
  ASSERT_TRUE(Stroke(b, brush, square));
  EXPECT_EQ(Get(4, 10), kBlue);
  EXPECT_EQ(Get(16, 10), kBlue);
  EXPECT_EQ(Get(4, 9), kBlue);
  EXPECT_EQ(Get(3, 10), kWhite);
  EXPECT_EQ(Get(17, 10), kWhite);
}

// A right-angled corner of a five-pixel pen at (20, 20): the miter fills
// the outer square, the bevel cuts its corner off.
TEST_F(RasterTest, MiterAndBevelJoins) {
  HostBrush brush = HostBrush::Solid(kBlue);
  auto corner = [] { return Polygon({{5, 20}, {20, 20}, {20, 5}}, false); };
  LINEATTRS miter = Geometric(5, ENDCAP_BUTT, JOIN_MITER, 10);
  HostPath a = corner();
  ASSERT_TRUE(Stroke(a, brush, miter));
  EXPECT_EQ(Get(22, 22), kBlue);
  EXPECT_EQ(Get(21, 21), kBlue);
  EXPECT_EQ(Get(23, 22), kWhite);

  Clear(kWhite);
  LINEATTRS bevel = Geometric(5, ENDCAP_BUTT, JOIN_BEVEL);
  HostPath b = corner();
  ASSERT_TRUE(Stroke(b, brush, bevel));
  EXPECT_EQ(Get(22, 22), kWhite);
  EXPECT_EQ(Get(21, 21), kBlue);
  EXPECT_EQ(Get(22, 19), kBlue);

  // A limit below the corner's miter ratio (sqrt 2) bevels it.
  Clear(kWhite);
  LINEATTRS limited = Geometric(5, ENDCAP_BUTT, JOIN_MITER, 1.2f);
  HostPath c = corner();
  ASSERT_TRUE(Stroke(c, brush, limited));
  EXPECT_EQ(Get(22, 22), kWhite);
  EXPECT_EQ(Get(21, 21), kBlue);
}

// Twice as wide across as down: a world pen of 2.5 covers five columns of
// a vertical line and three rows of a horizontal one.
TEST_F(RasterTest, GeometricPenFollowsTransform) {
  HostBrush brush = HostBrush::Solid(kBlue);
  HostXform xform(2, 0, 0, 1, 0, 0);
  LINEATTRS attrs = Geometric(2.5f, ENDCAP_BUTT, JOIN_ROUND);
  HostPath vertical = Polygon({{10, 2}, {10, 12}}, false);
  ASSERT_TRUE(Stroke(vertical, brush, attrs, Mix(R2_COPYPEN), &xform));
  for (int x = 8; x <= 12; ++x) EXPECT_EQ(Get(x, 7), kBlue) << x;
  EXPECT_EQ(Get(7, 7), kWhite);
  EXPECT_EQ(Get(13, 7), kWhite);

  HostPath horizontal = Polygon({{20, 20}, {35, 20}}, false);
  ASSERT_TRUE(Stroke(horizontal, brush, attrs, Mix(R2_COPYPEN), &xform));
  for (int y = 19; y <= 21; ++y) EXPECT_EQ(Get(28, y), kBlue) << y;
  EXPECT_EQ(Get(28, 18), kWhite);
  EXPECT_EQ(Get(28, 22), kWhite);

  // A singular transform strokes with the mean scale, 1.5 here: width 3.
  Clear(kWhite);
  HostXform flat(3, 0, 0, 0, 0, 0);
  LINEATTRS two = Geometric(2, ENDCAP_BUTT, JOIN_ROUND);
  HostPath line = Polygon({{5, 10}, {15, 10}}, false);
  ASSERT_TRUE(Stroke(line, brush, two, Mix(R2_COPYPEN), &flat));
  for (int y = 9; y <= 11; ++y) EXPECT_EQ(Get(10, y), kBlue) << y;
  EXPECT_EQ(Get(10, 8), kWhite);
  EXPECT_EQ(Get(10, 12), kWhite);
}

TEST_F(RasterTest, GeometricDashes) {
  HostBrush brush = HostBrush::Solid(kBlue);
  FLOAT_LONG style[2];
  style[0].e = 4;
  style[1].e = 2;
  LINEATTRS attrs = Geometric(1, ENDCAP_BUTT, JOIN_ROUND);
  attrs.fl |= LA_STYLED;
  attrs.cstyle = 2;
  attrs.pstyle = style;
  HostPath line = Polygon({{0.25, 10}, {24.25, 10}}, false);
  ASSERT_TRUE(Stroke(line, brush, attrs));
  // Pixels 1-4, 7-10, 13-16 and 19-22 (four on, two off from x = 0.25).
  const char* expected = ".xxxx..xxxx..xxxx..xxxx..";
  for (int x = 0; x < 25; ++x) EXPECT_EQ(Get(x, 10), expected[x] == 'x' ? kBlue : kWhite) << x;
  EXPECT_EQ(Count(kBlue), 16);
}

TEST_F(RasterTest, HatchBackgroundTransparentOrOpaque) {
  HostBrush hatch = HostBrush::Hatch(HS_CROSS, kRed, kGreen);
  POINTL origin{3, 1};
  Clear(kBlue);
  HostPath a = Rect(0, 0, 20, 20);
  ASSERT_TRUE(Fill(a, hatch, Mix(R2_COPYPEN, R2_NOP), FP_ALTERNATEMODE, nullptr, &origin));
  int red = 0, blue = 0;
  for (int y = 0; y < 20; ++y) {
    for (int x = 0; x < 20; ++x) {
      bool fg = false;
      hatch.PixelAt(x - 3, y - 1, &fg);
      EXPECT_EQ(Get(x, y), fg ? kRed : kBlue) << x << "," << y;
      (fg ? red : blue)++;
    }
  }
  EXPECT_GT(red, 0);
  EXPECT_GT(blue, 0);

  Clear(kBlue);
  HostPath b = Rect(0, 0, 20, 20);
  ASSERT_TRUE(Fill(b, hatch, Mix(R2_COPYPEN), FP_ALTERNATEMODE, nullptr, &origin));
  EXPECT_EQ(Count(kBlue), 40 * 40 - 400);
  EXPECT_EQ(Count(kRed), red);
  EXPECT_EQ(Count(kGreen), blue);
}

TEST_F(RasterTest, ComplexClipCutsFill) {
  std::vector<RECTL> rects = {{0, 0, 10, 10}, {20, 20, 30, 30}};
  HostClip clip(Region::FromRects(rects), nullptr, 1);
  ASSERT_EQ(clip.co.iDComplexity, DC_COMPLEX);
  HostBrush brush = HostBrush::Solid(kRed);
  HostPath path = Rect(5, 5, 25, 25);
  ASSERT_TRUE(Fill(path, brush, Mix(R2_COPYPEN), FP_ALTERNATEMODE, &clip.co));
  EXPECT_EQ(Get(5, 5), kRed);
  EXPECT_EQ(Get(9, 9), kRed);
  EXPECT_EQ(Get(10, 9), kWhite);
  EXPECT_EQ(Get(15, 15), kWhite);
  EXPECT_EQ(Get(7, 22), kWhite);
  EXPECT_EQ(Get(24, 24), kRed);
  EXPECT_EQ(Count(kRed), 25 + 25);

  // Lines and blits are clipped alike.
  Clear(kWhite);
  ASSERT_TRUE(EngLineTo(so_, &clip.co, &brush.bo, 0, 8, 40, 8, nullptr, Mix(R2_COPYPEN)));
  EXPECT_EQ(Count(kRed), 10);
  Clear(kWhite);
  RECTL all{0, 0, 40, 40};
  ASSERT_TRUE(EngBitBlt(so_, nullptr, nullptr, &clip.co, nullptr, &all, nullptr, nullptr, &brush.bo, nullptr,
                        ROP3_PATCOPY | ROP3_PATCOPY << 8));
  EXPECT_EQ(Count(kRed), 200);
}

TEST_F(RasterTest, StrokeAndFillUsesBothBrushes) {
  HostBrush fill = HostBrush::Solid(kBlue);
  HostBrush pen = HostBrush::Solid(kRed);
  LINEATTRS attrs = Cosmetic();
  HostPath path = Rect(4, 4, 12, 12);
  ASSERT_TRUE(EngStrokeAndFillPath(so_, &path.po, nullptr, nullptr, &pen.bo, &attrs, &fill.bo, nullptr,
                                   Mix(R2_COPYPEN), FP_ALTERNATEMODE));
  EXPECT_EQ(Get(4, 4), kRed);
  EXPECT_EQ(Get(12, 12), kRed);
  EXPECT_EQ(Get(8, 8), kBlue);
  EXPECT_EQ(Get(13, 8), kWhite);
}

TEST_F(RasterTest, DeviceSurfacesAndBadArguments) {
  HostBrush brush = HostBrush::Solid(kRed);
  HostPath path = Rect(0, 0, 4, 4);
  HSURF device = EngCreateDeviceSurface(nullptr, SIZEL{100, 100}, BMF_24BPP);
  ASSERT_NE(device, nullptr);
  SURFOBJ* dso = EngLockSurface(device);
  ASSERT_NE(dso, nullptr);
  LINEATTRS attrs = Cosmetic();
  RECTL rect{0, 0, 10, 10};
  EXPECT_TRUE(EngFillPath(dso, &path.po, nullptr, &brush.bo, nullptr, Mix(R2_COPYPEN), FP_ALTERNATEMODE));
  EXPECT_TRUE(EngStrokePath(dso, &path.po, nullptr, nullptr, &brush.bo, nullptr, &attrs, Mix(R2_COPYPEN)));
  EXPECT_TRUE(EngLineTo(dso, nullptr, &brush.bo, 0, 0, 5, 5, nullptr, Mix(R2_COPYPEN)));
  EXPECT_TRUE(EngBitBlt(dso, nullptr, nullptr, nullptr, nullptr, &rect, nullptr, nullptr, &brush.bo, nullptr,
                        ROP3_PATCOPY | ROP3_PATCOPY << 8));
  EngUnlockSurface(dso);
  EngDeleteSurface(device);
  // A surface object the engine does not know is not written to.
  SURFOBJ foreign = *so_;
  foreign.hsurf = reinterpret_cast<HSURF>(&foreign);
  EXPECT_TRUE(
      EngFillPath(&foreign, &path.po, nullptr, &brush.bo, nullptr, Mix(R2_COPYPEN), FP_ALTERNATEMODE));
  EXPECT_EQ(Count(kWhite), 40 * 40);
  // Missing path or brush.
  EXPECT_FALSE(EngFillPath(so_, nullptr, nullptr, &brush.bo, nullptr, Mix(R2_COPYPEN), FP_ALTERNATEMODE));
  EXPECT_FALSE(EngFillPath(so_, &path.po, nullptr, nullptr, nullptr, Mix(R2_COPYPEN), FP_ALTERNATEMODE));
  EXPECT_FALSE(EngStrokePath(so_, &path.po, nullptr, nullptr, nullptr, nullptr, &attrs, Mix(R2_COPYPEN)));
  EXPECT_FALSE(EngLineTo(so_, nullptr, nullptr, 0, 0, 5, 5, nullptr, Mix(R2_COPYPEN)));
  EXPECT_EQ(Count(kWhite), 40 * 40);
}

// Coordinates far outside the surface are cut, not walked or wrapped.
TEST_F(RasterTest, HugeCoordinatesStayBounded) {
  HostBrush brush = HostBrush::Solid(kRed);
  ASSERT_TRUE(EngLineTo(so_, nullptr, &brush.bo, -100000000, 20, 100000000, 20, nullptr, Mix(R2_COPYPEN)));
  EXPECT_EQ(Count(kRed), 40);
  HostPath path = Rect(-1e6, -1e6, 1e6, 1e6);
  ASSERT_TRUE(Fill(path, brush, Mix(R2_COPYPEN)));
  EXPECT_EQ(Count(kRed), 40 * 40);
}

// Points tens of millions of pixels away: beyond what the scan converter
// holds in fixed point, so the path is cut near the surface first.
TEST_F(RasterTest, FarAwayPointsKeepTheirShape) {
  HostBrush brush = HostBrush::Solid(kRed);
  // The half plane below the diagonal y = x.
  HostPath half = Polygon({{-3e7, -3e7}, {3e7, 3e7}, {-3e7, 3e7}});
  ASSERT_TRUE(Fill(half, brush, Mix(R2_COPYPEN), FP_WINDINGMODE));
  EXPECT_EQ(Count(kRed), 40 * 39 / 2);
  EXPECT_EQ(Get(0, 39), kRed);
  EXPECT_EQ(Get(39, 0), kWhite);
  EXPECT_EQ(Get(10, 10), kWhite);
  EXPECT_EQ(Get(10, 11), kRed);

  Clear(kWhite);
  LINEATTRS attrs = Geometric(3, ENDCAP_ROUND, JOIN_ROUND);
  HostPath line = Polygon({{-3e7, 20}, {3e7, 20}}, false);
  ASSERT_TRUE(Stroke(line, brush, attrs));
  EXPECT_EQ(Count(kRed), 3 * 40);
  EXPECT_EQ(Get(0, 19), kRed);
  EXPECT_EQ(Get(39, 21), kRed);
}

// An area larger than one coverage strip is painted without seams.
TEST_F(RasterTest, LargeFillIsSeamless) {
  Make(3000, 2000);
  HostBrush brush = HostBrush::Solid(kBlue);
  HostPath path = Rect(1, 1, 2999, 1999);
  ASSERT_TRUE(Fill(path, brush, Mix(R2_COPYPEN)));
  EXPECT_EQ(Count(kBlue), 2998 * 1998);
  EXPECT_EQ(Get(0, 1000), kWhite);
  EXPECT_EQ(Get(1500, 1999), kWhite);
}

}  // namespace
}  // namespace snk::engine
