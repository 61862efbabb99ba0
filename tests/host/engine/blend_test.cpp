// Gradients, alpha blending and colour-key transparency on the engine's
// 24-bit surface, checked against pixels worked out by hand.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "host/engine/clip.h"
#include "host/engine/region.h"
#include "host/engine/xlate.h"
#include "platform/winddi.h"
#include "tests/host/engine/engine_bitmap.h"

namespace snk::engine {
namespace {

constexpr uint32_t kWhite = 0xFFFFFF, kRed = 0x0000FF, kGreen = 0x00FF00, kBlue = 0xFF0000;

TRIVERTEX Vertex(LONG x, LONG y, USHORT r = 0, USHORT g = 0, USHORT b = 0) { return {x, y, r, g, b, 0}; }

// A source bitmap of the engine; `words` fill the rows from the top, placed
// in memory by hand so that bottom-up storage is checked too.
struct Source {
  Source(LONG cx, LONG cy, ULONG format, std::vector<uint32_t> words = {}, bool topDown = true) {
    int bytes = format == BMF_8BPP ? 1 : format == BMF_24BPP ? 3 : 4;
    LONG stride = (cx * bytes + 3) & ~3;
    handle = EngCreateBitmap(SIZEL{cx, cy}, stride, format, topDown ? BMF_TOPDOWN : 0, nullptr);
    so = handle ? EngLockSurface(reinterpret_cast<HSURF>(handle)) : nullptr;
    for (size_t i = 0; so && i < words.size(); ++i) {
      LONG row = LONG(i) / cx, line = topDown ? row : cy - 1 - row;
      std::memcpy(static_cast<uint8_t*>(so->pvBits) + line * stride + (LONG(i) % cx) * bytes, &words[i],
                  bytes);
    }
  }
  ~Source() {
    if (so) EngUnlockSurface(so);
    if (handle) EngDeleteSurface(reinterpret_cast<HSURF>(handle));
  }
  HBITMAP handle = nullptr;
  SURFOBJ* so = nullptr;
};

class BlendTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(page_.so(), nullptr); }
  uint32_t Get(int x, int y) { return page_.Get(x, y); }
  void Put(int x, int y, uint32_t color) { page_.Set(x, y, color); }
  void Clear(uint32_t color) { page_.Clear(color); }
  int Count(uint32_t color) { return page_.Count(color); }

  BOOL Gradient(std::vector<TRIVERTEX> v, const void* mesh, ULONG count, ULONG mode, CLIPOBJ* clip = nullptr,
                RECTL* extents = nullptr) {
    return EngGradientFill(page_.so(), clip, nullptr, v.data(), ULONG(v.size()), const_cast<void*>(mesh),
                           count, extents, nullptr, mode);
  }
  BOOL Triangle(std::vector<TRIVERTEX> v, GRADIENT_TRIANGLE t = {0, 1, 2}) {
    return Gradient(v, &t, 1, GRADIENT_FILL_TRIANGLE);
  }
  BOOL Alpha(Source& src, HostXlate& xlate, RECTL dst, RECTL from, BYTE alpha, BYTE format,
             CLIPOBJ* clip = nullptr) {
    BLENDOBJ blend{{AC_SRC_OVER, 0, alpha, format}};
    return EngAlphaBlend(page_.so(), src.so, clip, &xlate.xo, &dst, &from, &blend);
  }
  BOOL Keyed(Source& src, HostXlate& xlate, RECTL dst, RECTL from, ULONG key, CLIPOBJ* clip = nullptr) {
    return EngTransparentBlt(page_.so(), src.so, clip, &xlate.xo, &dst, &from, key, 0);
  }

  Page page_{40, 40};
};

TEST_F(BlendTest, RectGradientsRunPerColumnOrRow) {
  // Column i of 10 takes the colour i/10 of the way: 0x7F80 and 0x7FFF at
  // 5, 0xE580 and 0x1999 at 9.
  GRADIENT_RECT rect{0, 1};
  ASSERT_TRUE(Gradient({Vertex(0, 0, 0, 0xFFFF, 0x1234), Vertex(10, 5, 0xFF00, 0, 0x1234)}, &rect, 1,
                       GRADIENT_FILL_RECT_H));
  for (int y = 0; y < 5; ++y) {
    EXPECT_EQ(Get(0, y), 0x12FF00u);
    EXPECT_EQ(Get(5, y), 0x127F7Fu);
    EXPECT_EQ(Get(9, y), 0x1219E5u);
  }
  EXPECT_EQ(Count(kWhite), 1600 - 50);

  // Swapped corners: the rectangle is (2,0)-(10,8) and each colour stays at
  // its vertex, black at the top; row 7 is 0xFF00 * 7/8 = 0xDF20.
  Clear(kWhite);
  ASSERT_TRUE(
      Gradient({Vertex(10, 8, 0xFF00, 0xFF00, 0xFF00), Vertex(2, 0)}, &rect, 1, GRADIENT_FILL_RECT_V));
  for (int x = 2; x < 10; ++x) {
    EXPECT_EQ(Get(x, 0), 0x000000u);
    EXPECT_EQ(Get(x, 4), 0x7F7F7Fu);
    EXPECT_EQ(Get(x, 7), 0xDFDFDFu);
  }
  EXPECT_EQ(Count(kWhite), 1600 - 64);
}

TEST_F(BlendTest, TriangleInterpolatesAtPixelCentres) {
  // At centre (x+.5, y+.5) green weighs (x+.5)/20, blue (y+.5)/20, red the
  // rest. Given counter-clockwise; the order does not matter.
  ASSERT_TRUE(
      Triangle({Vertex(0, 0, 0xFF00), Vertex(20, 0, 0, 0xFF00), Vertex(0, 20, 0, 0, 0xFF00)}, {0, 2, 1}));
  EXPECT_EQ(Get(0, 0), 0x0606F2u);   // 0.95 red, 0.025 each other
  EXPECT_EQ(Get(18, 0), 0x06EB0Cu);  // next to the green vertex
  EXPECT_EQ(Get(0, 18), 0xEB060Cu);  // next to the blue vertex
  EXPECT_EQ(Get(5, 10), 0x854633u);  // 0.2, 0.275, 0.525
  // Centres on the slanted edge (x + y = 19) are not on a top or left edge.
  EXPECT_NE(Get(9, 9), kWhite);
  EXPECT_EQ(Get(9, 10), kWhite);
  EXPECT_EQ(Count(kWhite), 1600 - 190);
}

TEST_F(BlendTest, TrianglesMatchPixelByPixelFormula) {
  // Random triangles against the weights worked out for each pixel alone.
  std::mt19937 random(7);
  for (int n = 0; n < 1000; ++n) {
    TRIVERTEX v[3];
    for (TRIVERTEX& t : v) t = Vertex(LONG(random() % 60) - 10, LONG(random() % 60) - 10, random(), random());
    Clear(kWhite);
    ASSERT_TRUE(Triangle({v[0], v[1], v[2]}));
    int64_t area =
        int64_t{v[1].x - v[0].x} * (v[2].y - v[0].y) - int64_t{v[1].y - v[0].y} * (v[2].x - v[0].x);
    if (area < 0) std::swap(v[1], v[2]);
    for (int i = 0; area != 0 && i < 1600; ++i) {
      int64_t w[3], px = 2 * (i % 40) + 1, py = 2 * (i / 40) + 1;
      bool inside = true;
      for (int k = 0; k < 3; ++k) {
        const TRIVERTEX &s = v[(k + 1) % 3], &e = v[(k + 2) % 3];
        w[k] = int64_t{e.x - s.x} * (py - 2 * s.y) - int64_t{e.y - s.y} * (px - 2 * s.x);
        inside = inside && (w[k] > 0 || (w[k] == 0 && (e.y < s.y || (e.y == s.y && e.x > s.x))));
      }
      int64_t total = 2 * std::abs(area);
      uint32_t red = uint32_t((w[0] * v[0].Red + w[1] * v[1].Red + w[2] * v[2].Red) / total) >> 8;
      uint32_t green = uint32_t((w[0] * v[0].Green + w[1] * v[1].Green + w[2] * v[2].Green) / total) >> 8;
      ASSERT_EQ(Get(i % 40, i / 40), inside ? red | green << 8 : kWhite) << n << " " << i;
    }
  }
}

TEST_F(BlendTest, TrianglesSharingEdgesPaintEachPixelOnce) {
  // How often each pixel is painted when each triangle is drawn alone.
  auto coverage = [&](std::vector<std::vector<POINTL>> triangles) {
    std::vector<int> count(1600, 0);
    for (const auto& t : triangles) {
      Clear(kWhite);
      EXPECT_TRUE(Triangle({Vertex(t[0].x, t[0].y), Vertex(t[1].x, t[1].y), Vertex(t[2].x, t[2].y)}));
      for (int i = 0; i < 1600; ++i) count[i] += Get(i % 40, i / 40) != kWhite;
    }
    return count;
  };
  // A square cut along its diagonal, which passes through pixel centres.
  std::vector<int> square = coverage({{{0, 0}, {16, 0}, {16, 16}}, {{16, 16}, {0, 16}, {0, 0}}});
  for (int i = 0; i < 1600; ++i) ASSERT_EQ(square[i], i % 40 < 16 && i / 40 < 16) << i;

  // A fan in both turning directions; the edge from (1,3) through (17,19)
  // to (33,35) meets pixel centres all along. Centres strictly inside the
  // outline are painted once, none twice.
  const POINTL a{1, 3}, b{37, 5}, c{33, 35}, d{3, 30}, p{17, 19}, quad[4] = {a, b, c, d};
  std::vector<int> fan = coverage({{p, a, b}, {p, c, b}, {p, c, d}, {d, a, p}});
  for (int i = 0; i < 1600; ++i) {
    ASSERT_LE(fan[i], 1) << i;
    bool inside = true;
    for (int k = 0; k < 4; ++k) {
      POINTL s = quad[k], e = quad[(k + 1) % 4];
      inside = inside && double(e.x - s.x) * (i / 40 + 0.5 - s.y) > double(e.y - s.y) * (i % 40 + 0.5 - s.x);
    }
    if (inside) {
      ASSERT_EQ(fan[i], 1) << i;
    }
  }
}

TEST_F(BlendTest, GradientClippedByClipAndExtents) {
  std::vector<RECTL> rects = {{0, 0, 10, 10}, {20, 20, 30, 30}};
  HostClip clip(Region::FromRects(rects), nullptr, 1);
  RECTL extents{25, 40, 5, 5};  // corners swapped
  GRADIENT_RECT rect{0, 1};
  ASSERT_TRUE(Gradient({Vertex(0, 0), Vertex(40, 40, 0xFF00, 0xFF00, 0xFF00)}, &rect, 1, GRADIENT_FILL_RECT_H,
                       &clip.co, &extents));
  EXPECT_EQ(Get(5, 5), 0x1F1F1Fu);    // 0xFF00 * 5/40 = 0x1FE0
  EXPECT_EQ(Get(24, 29), 0x999999u);  // 0xFF00 * 24/40 = 0x9900
  EXPECT_EQ(Count(kWhite), 1600 - 25 - 50);
}

TEST_F(BlendTest, BadMeshesAndDeviceSurfaces) {
  std::vector<TRIVERTEX> v = {Vertex(0, 0), Vertex(10, 10), Vertex(0, 10)};
  // A good rectangle before a bad index is not drawn either.
  GRADIENT_RECT rects[2] = {{0, 1}, {0, 3}};
  EXPECT_FALSE(Gradient(v, rects, 2, GRADIENT_FILL_RECT_H));
  EXPECT_FALSE(Triangle(v, {0, 1, 3}));
  EXPECT_FALSE(Gradient(v, rects, 1, 7));
  EXPECT_FALSE(Gradient(v, nullptr, 1, GRADIENT_FILL_TRIANGLE));
  EXPECT_TRUE(Gradient(v, rects, 0, GRADIENT_FILL_RECT_V));
  EXPECT_TRUE(Triangle({Vertex(0, 0), Vertex(10, 10), Vertex(20, 20)}));  // no area
  EXPECT_EQ(Count(kWhite), 1600);
  // Far larger than 64-bit products allow: still exact.
  const USHORT g = 0x8000;
  EXPECT_TRUE(Triangle({Vertex(-2000000000, -2000000000, g, g, g), Vertex(2000000000, -2000000000, g, g, g),
                        Vertex(0, 2000000000, g, g, g)}));
  EXPECT_EQ(Count(0x808080), 1600);

  HSURF device = EngCreateDeviceSurface(reinterpret_cast<DHSURF>(1), SIZEL{40, 40}, BMF_24BPP);
  SURFOBJ* so = EngLockSurface(device);
  ASSERT_NE(so, nullptr);
  RECTL r{0, 0, 4, 4};
  BLENDOBJ blend{{AC_SRC_OVER, 0, 255, 0}};
  EXPECT_TRUE(EngGradientFill(so, nullptr, nullptr, v.data(), 3, rects, 1, nullptr, nullptr, 0));
  EXPECT_TRUE(EngAlphaBlend(so, page_.so(), nullptr, nullptr, &r, &r, &blend));
  EXPECT_TRUE(EngTransparentBlt(so, page_.so(), nullptr, nullptr, &r, &r, 0, 0));
  EngUnlockSurface(so);
  EngDeleteSurface(device);
}

TEST_F(BlendTest, ConstantAlphaMixesAndRounds) {
  Source src(1, 1, BMF_32BPP, {0x00C86400});  // R 200, G 100, B 0
  HostXlate xlate = HostXlate::Bgr(32);
  // (200*128 + 255*127) / 255 = 227.4, 177.2, 127.
  ASSERT_TRUE(Alpha(src, xlate, {0, 0, 1, 1}, {0, 0, 1, 1}, 128, 0));
  EXPECT_EQ(Get(0, 0), 0x7FB1E3u);
  Put(1, 1, 0x1E140A);  // 10, 20, 30 under 64: 57.69, 40.08, 22.47
  ASSERT_TRUE(Alpha(src, xlate, {1, 1, 2, 2}, {0, 0, 1, 1}, 64, 0));
  EXPECT_EQ(Get(1, 1), 0x16283Au);
  ASSERT_TRUE(Alpha(src, xlate, {2, 2, 3, 3}, {0, 0, 1, 1}, 255, 0));
  EXPECT_EQ(Get(2, 2), 0x0064C8u);
  ASSERT_TRUE(Alpha(src, xlate, {3, 3, 4, 4}, {0, 0, 1, 1}, 0, 0));
  EXPECT_EQ(Count(kWhite), 1600 - 3);
}

TEST_F(BlendTest, PerPixelAlphaIsPremultiplied) {
  // Alpha 128 (R 100, G 50, B 0); alpha 0 with colour, which adds and is
  // clamped; opaque.
  Source src(3, 1, BMF_32BPP, {0x80643200, 0x00C80A00, 0xFF102030});
  HostXlate xlate = HostXlate::Bgr(32);
  Clear(0xC8C8C8);
  // S + D*(1 - As/255) with D = 200.
  ASSERT_TRUE(Alpha(src, xlate, {0, 0, 3, 1}, {0, 0, 3, 1}, 255, AC_SRC_ALPHA));
  EXPECT_EQ(Get(0, 0), 0x6496C8u);  // 199.6, 149.6, 99.6
  EXPECT_EQ(Get(1, 0), 0xC8D2FFu);  // 400 clamped, 210, 200
  EXPECT_EQ(Get(2, 0), 0x302010u);
  // S*128/255 + D*(1 - 128*128/65025).
  ASSERT_TRUE(Alpha(src, xlate, {0, 1, 1, 2}, {0, 0, 1, 1}, 128, AC_SRC_ALPHA));
  EXPECT_EQ(Get(0, 1), 0x96AFC8u);  // 199.8, 174.7, 149.6
  // Per-pixel alpha needs a 32-bit source.
  Source indexed(1, 1, BMF_8BPP);
  uint32_t palette[1] = {kRed};
  HostXlate table = HostXlate::Indexed(palette);
  EXPECT_FALSE(Alpha(indexed, table, {0, 2, 1, 3}, {0, 0, 1, 1}, 255, AC_SRC_ALPHA));
  EXPECT_EQ(Get(0, 2), 0xC8C8C8u);
}

TEST_F(BlendTest, AlphaStretchesAndMirrors) {
  Source src(2, 1, BMF_8BPP, {1, 2});
  uint32_t palette[3] = {0, kRed, kBlue};
  HostXlate xlate = HostXlate::Indexed(palette);
  // The target's edges come swapped: the copy is flipped left to right.
  ASSERT_TRUE(Alpha(src, xlate, {8, 0, 4, 2}, {0, 0, 2, 1}, 255, 0));
  const uint32_t row[4] = {kBlue, kBlue, kRed, kRed};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(Get(4 + i % 4, i / 4), row[i % 4]) << i;
  // Empty rectangles draw nothing; past the source's edge nothing is read.
  EXPECT_TRUE(Alpha(src, xlate, {0, 10, 0, 20}, {0, 0, 2, 1}, 255, 0));
  EXPECT_TRUE(Alpha(src, xlate, {0, 10, 5, 20}, {1, 0, 1, 1}, 255, 0));
  EXPECT_TRUE(Alpha(src, xlate, {0, 10, 4, 11}, {0, 0, 4, 1}, 255, 0));
  EXPECT_EQ(Get(0, 10), kRed);
  EXPECT_EQ(Get(1, 10), kBlue);
  EXPECT_EQ(Count(kWhite), 1600 - 10);
}

TEST_F(BlendTest, ColourKeysCompareSourceWords) {
  // Indexed: index 1 is the key (bits above the depth do not count); index
  // 3 has the key's colour but is copied. Stretched two to one.
  Source indexed(4, 1, BMF_8BPP, {0, 1, 2, 3});
  uint32_t palette[4] = {kRed, kGreen, kBlue, kGreen};
  HostXlate table = HostXlate::Indexed(palette);
  ASSERT_TRUE(Keyed(indexed, table, {0, 0, 8, 2}, {0, 0, 4, 1}, 0x101));
  const uint32_t row[8] = {kRed, kRed, kWhite, kWhite, kBlue, kBlue, kGreen, kGreen};
  for (int i = 0; i < 16; ++i) EXPECT_EQ(Get(i % 8, i / 8), row[i % 8]) << i;
  EXPECT_EQ(Count(kWhite), 1600 - 12);

  // True colour: the colour bytes count, not the unused top byte (blue,
  // the red key, the key with a top byte, almost red).
  Source bgr(4, 1, BMF_32BPP, {0x000000FF, 0x00FF0000, 0x80FF0000, 0x00FF0001});
  HostXlate swap = HostXlate::Bgr(32);
  ASSERT_TRUE(Keyed(bgr, swap, {0, 5, 4, 6}, {0, 0, 4, 1}, 0x00FF0000));
  EXPECT_EQ(Get(0, 5), kBlue);
  EXPECT_EQ(Get(1, 5), kWhite);
  EXPECT_EQ(Get(2, 5), kWhite);
  EXPECT_EQ(Get(3, 5), 0x0100FFu);
  // Bit fields (5-5-5): the unused top bit does not count either.
  Source fields(2, 1, BMF_32BPP, {0x801F, 0x001E});
  HostXlate masks = HostXlate::Bitfields(32, 0x7C00, 0x03E0, 0x001F);
  ASSERT_TRUE(Keyed(fields, masks, {0, 6, 2, 7}, {0, 0, 2, 1}, 0x001F));
  EXPECT_EQ(Get(0, 6), kWhite);
  EXPECT_NE(Get(1, 6), kWhite);

  // A bottom-up source: its first row in memory is the bottom one.
  Source up(1, 2, BMF_8BPP, {2, 3}, false);
  ASSERT_TRUE(Keyed(up, table, {20, 20, 21, 22}, {0, 0, 1, 2}, 0));
  EXPECT_EQ(Get(20, 20), kBlue);
  EXPECT_EQ(Get(20, 21), kGreen);
}

TEST_F(BlendTest, BlitsFromSourceAreClipped) {
  std::vector<RECTL> rects = {{0, 0, 10, 10}, {20, 20, 30, 30}};
  HostClip clip(Region::FromRects(rects), nullptr, 1);
  Source src(1, 1, BMF_8BPP, {0});
  uint32_t palette[2] = {kRed, kBlue};
  HostXlate xlate = HostXlate::Indexed(palette);
  ASSERT_TRUE(Alpha(src, xlate, {0, 0, 40, 40}, {0, 0, 1, 1}, 255, 0, &clip.co));
  EXPECT_EQ(Count(kRed), 200);
  EXPECT_EQ(Get(15, 15), kWhite);
  Clear(kWhite);
  ASSERT_TRUE(Keyed(src, xlate, {0, 0, 40, 40}, {0, 0, 1, 1}, 1, &clip.co));
  EXPECT_EQ(Count(kRed), 200);
  EXPECT_EQ(Get(25, 35), kWhite);
}

}  // namespace
}  // namespace snk::engine
