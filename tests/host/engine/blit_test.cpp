// Blits with a source on the engine's 24-bit surface: colour translation,
// source bitmaps in every format, ternary and quaternary operations,
// stretching, mirroring, parallelograms and clipping, checked against
// pixels worked out by hand.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "host/engine/bitmap_source.h"
#include "host/engine/brush.h"
#include "host/engine/clip.h"
#include "host/engine/region.h"
#include "host/engine/xlate.h"
#include "platform/winddi.h"
#include "tests/host/engine/engine_bitmap.h"

namespace snk::engine {
namespace {

constexpr uint32_t kRed = 0x0000FF;
constexpr uint32_t kGreen = 0x00FF00;
constexpr uint32_t kBlue = 0xFF0000;
constexpr uint32_t kWhite = 0xFFFFFF;
constexpr uint32_t kBlack = 0x000000;

// ---------------------------------------------------------------- xlate

TEST(HostXlateTest, BitFieldsScaleEveryWidthToEightBits) {
  HostXlate x555 = HostXlate::Bitfields(16, 0x7C00, 0x03E0, 0x001F);
  EXPECT_EQ(x555.Translate(0x7FFF), kWhite);
  EXPECT_EQ(x555.Translate(0x7C00), kRed);
  // 5-bit 17 -> 17 << 3 | 17 >> 2 = 140; 5-bit 1 -> 8; bits above 16 ignored.
  EXPECT_EQ(x555.Translate(0xFFFF0000u | 17 << 10 | 1 << 5), 140u | 8u << 8);
  // Zero masks mean the BI_RGB layout.
  EXPECT_EQ(HostXlate::Bitfields(16, 0, 0, 0).Translate(17 << 10), 140u);

  HostXlate x565 = HostXlate::Bitfields(16, 0xF800, 0x07E0, 0x001F);
  // 6-bit 33 -> 33 << 2 | 33 >> 4 = 134; 5-bit 31 -> 255.
  EXPECT_EQ(x565.Translate(33 << 5 | 31), 134u << 8 | 255u << 16);
  EXPECT_EQ(x565.Translate(0xFFFF), kWhite);

  // 32-bit fields: 8-bit fields as they are; 10-bit fields keep their top 8.
  HostXlate x888 = HostXlate::Bitfields(32, 0x00FF0000, 0x0000FF00, 0x000000FF);
  EXPECT_EQ(x888.Translate(0xAB123456), 0x563412u);
  HostXlate x101010 = HostXlate::Bitfields(32, 0x3FF00000, 0x000FFC00, 0x000003FF);
  EXPECT_EQ(x101010.Translate(0x3FFu << 20 | 0x200u << 10 | 0x003), 0xFFu | 0x80u << 8);
  EXPECT_EQ(x101010.xo.iSrcType, PAL_BITFIELDS);
  EXPECT_EQ(XLATEOBJ_iXlate(&x565.xo, 0xFFFF), kWhite);
}

TEST(HostXlateTest, PalettesBgrTrivialAndForeignObjects) {
  const uint32_t palette[] = {kRed, kGreen, 0x123456};
  HostXlate indexed = HostXlate::Indexed(palette);
  EXPECT_EQ(indexed.xo.iSrcType, PAL_INDEXED);
  EXPECT_EQ(indexed.xo.iDstType, PAL_RGB);
  EXPECT_TRUE(indexed.xo.flXlate & XO_TABLE);
  ASSERT_EQ(indexed.xo.cEntries, 3u);
  EXPECT_EQ(indexed.xo.pulXlate[2], 0x123456u);
  EXPECT_EQ(XLATEOBJ_iXlate(&indexed.xo, 1), kGreen);
  EXPECT_EQ(XLATEOBJ_iXlate(&indexed.xo, 3), kBlack);  // past the palette

  // A copy has its own table, alive after the original is gone.
  auto original = std::make_unique<HostXlate>(HostXlate::Indexed(palette));
  HostXlate copy = *original;
  XLATEOBJ* stale = &original->xo;
  original.reset();
  EXPECT_EQ(HostXlate::From(stale), nullptr);
  EXPECT_EQ(copy.xo.pulXlate, copy.table.data());
  EXPECT_EQ(XLATEOBJ_iXlate(&copy.xo, 2), 0x123456u);

  // Whatever lies where a translated object died is not taken for it.
  alignas(HostXlate) unsigned char storage[sizeof(HostXlate)];
  auto* host = new (storage) HostXlate(HostXlate::Indexed(palette));
  EXPECT_EQ(XLATEOBJ_iXlate(&host->xo, 0), kRed);
  host->~HostXlate();
  ULONG other[1] = {0x0A0B0C};
  auto* plain = new (storage) XLATEOBJ{0, XO_TABLE, PAL_INDEXED, PAL_RGB, 1, other};
  EXPECT_EQ(XLATEOBJ_iXlate(plain, 0), 0x0A0B0Cu);

  // B, G, R bytes read as 0x00RRGGBB; a 32-bit pixel's top byte is ignored.
  HostXlate bgr = HostXlate::Bgr(32);
  EXPECT_EQ(XLATEOBJ_iXlate(&bgr.xo, 0xFF112233), 0x332211u);
  HostXlate trivial = HostXlate::Trivial();
  EXPECT_TRUE(trivial.xo.flXlate & XO_TRIVIAL);
  EXPECT_EQ(XLATEOBJ_iXlate(&trivial.xo, 0x112233), 0x112233u);
  EXPECT_EQ(XLATEOBJ_iXlate(nullptr, 0xDEADBEEF), 0xDEADBEEFu);

  // An object the host did not make: its table, bounded by cEntries.
  ULONG table[2] = {0x010203, 0x040506};
  XLATEOBJ foreign{0, XO_TABLE, PAL_INDEXED, PAL_RGB, 2, table};
  EXPECT_EQ(XLATEOBJ_iXlate(&foreign, 1), 0x040506u);
  EXPECT_EQ(XLATEOBJ_iXlate(&foreign, 2), 0u);
}

// ------------------------------------------------------- source bitmaps

TEST(SourceBitmapTest, CreationChecksSizesAndLaysOutRows) {
  // Own bits: rows padded to 4 without a stride; bottom-up rows run backwards.
  Bitmap topDown(5, 3, 0, BMF_4BPP, BMF_TOPDOWN);
  ASSERT_NE(topDown.so(), nullptr);
  EXPECT_EQ(topDown.so()->lDelta, 4);
  EXPECT_EQ(topDown.so()->pvScan0, topDown.so()->pvBits);
  EXPECT_EQ(topDown.so()->cjBits, 12u);
  Bitmap bottomUp(5, 3, 16, BMF_24BPP, 0);
  ASSERT_NE(bottomUp.so(), nullptr);
  EXPECT_EQ(bottomUp.so()->lDelta, -16);
  EXPECT_EQ(bottomUp.so()->pvScan0, static_cast<uint8_t*>(bottomUp.so()->pvBits) + 32);

  // Caller's bits are used in place.
  std::vector<uint8_t> bits(8 * 2 + 4);
  Bitmap caller(2, 2, 8, BMF_32BPP, BMF_TOPDOWN, bits.data());
  ASSERT_NE(caller.so(), nullptr);
  EXPECT_EQ(caller.so()->pvBits, bits.data());

  // Refused: rows narrower than their pixels, sizes past the limit or
  // overflowing, unknown formats, compressed images without their bytes.
  EXPECT_EQ(EngCreateBitmap(SIZEL{9, 1}, 1, BMF_1BPP, 0, nullptr), nullptr);
  EXPECT_EQ(EngCreateBitmap(SIZEL{4, 1}, 11, BMF_24BPP, 0, nullptr), nullptr);
  EXPECT_EQ(EngCreateBitmap(SIZEL{0x7FFFFFFF, 0x7FFFFFFF}, 0, BMF_32BPP, 0, nullptr), nullptr);
  EXPECT_EQ(EngCreateBitmap(SIZEL{40000, 40000}, 120000, BMF_24BPP, 0, nullptr), nullptr);
  EXPECT_EQ(EngCreateBitmap(SIZEL{4, 4}, 16, 7, 0, nullptr), nullptr);
  EXPECT_EQ(EngCreateBitmap(SIZEL{4, -4}, 16, BMF_8BPP, 0, nullptr), nullptr);
  EXPECT_EQ(EngCreateBitmap(SIZEL{4, 4}, 100, BMF_JPEG, 0, nullptr), nullptr);

  // A PNG source: the file's bytes, no rows.
  std::vector<uint8_t> file(100);
  Bitmap png(640, 480, 100, BMF_PNG, 0, file.data());
  ASSERT_NE(png.so(), nullptr);
  EXPECT_EQ(png.so()->pvBits, file.data());
  EXPECT_EQ(png.so()->cjBits, 100u);
  EXPECT_EQ(png.so()->pvScan0, nullptr);
  EXPECT_EQ(png.so()->sizlBitmap.cx, 640);
  EXPECT_FALSE(SourcePixels(*png.so(), nullptr).Valid());
}

TEST(SourceBitmapTest, ReadsEveryDepthTopDownAndBottomUp) {
  const uint32_t palette[16] = {kBlack, kWhite, kRed, kGreen, kBlue, 0x010203};
  HostXlate indexed = HostXlate::Indexed(palette);
  // Row 0 then row 1 as stored top-down; the bottom-up copy stores row 1 first.
  struct Case {
    ULONG format;
    LONG stride;
    std::vector<uint8_t> row0, row1;
    HostXlate xlate;
    uint32_t expect[2][2];  // [y][x]
  };
  // clang-format off
  Case cases[] = {
      {BMF_1BPP, 4, {0x40, 0, 0, 0}, {0x80, 0, 0, 0}, indexed, {{kBlack, kWhite}, {kWhite, kBlack}}},
      {BMF_4BPP, 4, {0x23, 0, 0, 0}, {0x45, 0, 0, 0}, indexed, {{kRed, kGreen}, {kBlue, 0x010203}}},
      {BMF_8BPP, 4, {5, 2, 0, 0}, {9, 0, 0, 0}, indexed, {{0x010203, kRed}, {kBlack, kBlack}}},
      {BMF_16BPP, 4, {0x00, 0x7C, 0x1F, 0x00}, {0xE0, 0x03, 0xFF, 0x7F},
       HostXlate::Bitfields(16, 0x7C00, 0x03E0, 0x001F), {{kRed, kBlue}, {kGreen, kWhite}}},
      {BMF_24BPP, 8, {1, 2, 3, 4, 5, 6, 0, 0}, {7, 8, 9, 10, 11, 12, 0, 0}, HostXlate::Bgr(24),
       {{0x010203, 0x040506}, {0x070809, 0x0A0B0C}}},
      {BMF_32BPP, 8, {1, 2, 3, 0xFF, 4, 5, 6, 0xFF}, {7, 8, 9, 0, 10, 11, 12, 0}, HostXlate::Bgr(32),
       {{0x010203, 0x040506}, {0x070809, 0x0A0B0C}}},
  };
  // clang-format on
  for (Case& c : cases) {
    std::vector<uint8_t> down = c.row0, up = c.row1;
    down.insert(down.end(), c.row1.begin(), c.row1.end());
    up.insert(up.end(), c.row0.begin(), c.row0.end());
    Bitmap a(2, 2, c.stride, c.format, BMF_TOPDOWN, down.data());
    Bitmap b(2, 2, c.stride, c.format, 0, up.data());
    ASSERT_NE(a.so(), nullptr) << c.format;
    ASSERT_NE(b.so(), nullptr) << c.format;
    SourcePixels pa(*a.so(), &c.xlate.xo), pb(*b.so(), &c.xlate.xo);
    ASSERT_TRUE(pa.Valid() && pb.Valid());
    for (int y = 0; y < 2; ++y) {
      uint8_t row[6];
      pa.Colors(y, 0, 2, row);
      for (int x = 0; x < 2; ++x) {
        EXPECT_EQ(pa.Color(x, y), c.expect[y][x]) << "format " << c.format << " at " << x << "," << y;
        EXPECT_EQ(pb.Color(x, y), c.expect[y][x])
            << "bottom-up format " << c.format << " at " << x << "," << y;
        EXPECT_EQ(uint32_t(row[3 * x] | row[3 * x + 1] << 8 | row[3 * x + 2] << 16), c.expect[y][x]);
      }
    }
  }
}

TEST(SourceBitmapTest, RefusesRowsOutsideTheBitsAndMapsStretchedPixels) {
  std::vector<uint8_t> bits(64);
  SURFOBJ lying{};
  lying.sizlBitmap = SIZEL{4, 4};
  lying.iBitmapFormat = BMF_24BPP;
  lying.pvBits = bits.data();
  lying.cjBits = 48;
  lying.pvScan0 = bits.data();
  lying.lDelta = 16;  // 4 rows of 16 bytes do not fit in 48
  EXPECT_FALSE(SourcePixels(lying, nullptr).Valid());
  lying.lDelta = 12;
  EXPECT_TRUE(SourcePixels(lying, nullptr).Valid());
  lying.lDelta = 8;  // narrower than 4 pixels
  EXPECT_FALSE(SourcePixels(lying, nullptr).Valid());
  lying.lDelta = -12;  // bottom-up from the first row: before the bits
  EXPECT_FALSE(SourcePixels(lying, nullptr).Valid());

  // Shrinking 4 -> 2 takes pixels 1 and 3; growing 2 -> 4 takes 0, 0, 1, 1.
  EXPECT_EQ(NearestSource(0, 2, 4), 1);
  EXPECT_EQ(NearestSource(1, 2, 4), 3);
  EXPECT_EQ(NearestSource(1, 4, 2), 0);
  EXPECT_EQ(NearestSource(2, 4, 2), 1);
  EXPECT_EQ(NearestSource(2, 3, 3), 2);
}

// ---------------------------------------------------------------- blits

// A 24-bit RGB source (trivial translation) of the given pixels, top row
// first.
class RgbSource : public Bitmap {
 public:
  RgbSource(LONG cx, LONG cy, const std::vector<uint32_t>& pixels)
      : Bitmap(cx, cy, (cx * 3 + 3) & ~3, BMF_24BPP, BMF_TOPDOWN) {
    for (int y = 0; y < cy; ++y)
      for (int x = 0; x < cx; ++x) {
        uint32_t c = pixels[size_t(y * cx + x)];
        uint8_t* p = Row(y) + x * 3;
        p[0] = uint8_t(c), p[1] = uint8_t(c >> 8), p[2] = uint8_t(c >> 16);
      }
  }
};

// A 1-bit mask of the given bits, top row first.
class Mask : public Bitmap {
 public:
  Mask(LONG cx, LONG cy, const std::vector<int>& bits) : Bitmap(cx, cy, 4, BMF_1BPP, BMF_TOPDOWN) {
    for (int y = 0; y < cy; ++y)
      for (int x = 0; x < cx; ++x)
        if (bits[size_t(y * cx + x)]) Row(y)[x / 8] |= uint8_t(0x80 >> (x % 8));
  }
};

BOOL Copy(Page& page, Bitmap& src, RECTL dst, POINTL at, CLIPOBJ* clip = nullptr, XLATEOBJ* xlo = nullptr) {
  return EngBitBlt(page.so(), src.so(), nullptr, clip, xlo, &dst, &at, nullptr, nullptr, nullptr, 0xCCCC);
}

BOOL Stretch(Page& page, Bitmap& src, RECTL dst, RECTL from, ULONG mode) {
  return EngStretchBlt(page.so(), src.so(), nullptr, nullptr, nullptr, nullptr, nullptr, &dst, &from, nullptr,
                       mode);
}

TEST(EngineBlitTest, EveryTernaryOperationCombinesPatternSourceAndDestination) {
  // Per channel, pattern 0xF0/0x0F/0x3C, source 0xCC/0x55/0x99, destination
  // 0xAA/0x33/0x66: every (P, S, D) bit combination occurs in each byte.
  const uint32_t pattern = 0x3C0FF0, source = 0x9955CC, dest = 0x6633AA;
  RgbSource src(1, 1, {source});
  HostBrush brush = HostBrush::Solid(pattern);
  Page page(16, 16);
  for (uint32_t rop = 0; rop < 256; ++rop) {
    const int x = int(rop % 16), y = int(rop / 16);
    page.Set(x, y, dest);
    RECTL r{x, y, x + 1, y + 1};
    POINTL at{0, 0};
    ASSERT_TRUE(EngBitBlt(page.so(), src.so(), nullptr, nullptr, nullptr, &r, &at, nullptr, &brush.bo,
                          nullptr, rop | rop << 8));
    uint32_t expect = 0;
    for (int bit = 0; bit < 24; ++bit) {
      const uint32_t index = ((pattern >> bit) & 1) << 2 | ((source >> bit) & 1) << 1 | ((dest >> bit) & 1);
      expect |= ((rop >> index) & 1) << bit;
    }
    EXPECT_EQ(page.Get(x, y), expect) << "rop " << rop;
  }
}

TEST(EngineBlitTest, SourceThroughXlateWithPatternBrushAndRuns) {
  // An 8-bit source row of indices 0..5 under a 2x1 pattern brush; long
  // enough that the bytes are combined in whole words.
  std::vector<uint8_t> bits(16 * 2 + 4);
  for (int x = 0; x < 12; ++x) bits[size_t(x)] = uint8_t(x % 3);
  Bitmap src(12, 1, 16, BMF_8BPP, BMF_TOPDOWN, bits.data());
  const uint32_t palette[] = {kRed, 0x8F4F2F, kWhite};
  HostXlate xlate = HostXlate::Indexed(palette);
  HostBrush brush = HostBrush::Pattern(2, 1, {kGreen, 0x0F0F0F});
  Page page(16, 4);
  page.Clear(0x3C3C3C);
  RECTL r{2, 1, 14, 2};
  POINTL at{0, 0}, origin{2, 0};
  // 0xB8: P ^ (S & (D ^ P)), source picks destination or pattern per bit.
  ASSERT_TRUE(EngBitBlt(page.so(), src.so(), nullptr, nullptr, &xlate.xo, &r, &at, nullptr, &brush.bo,
                        &origin, 0xB8B8));
  for (int x = 2; x < 14; ++x) {
    const uint32_t s = palette[(x - 2) % 3], p = (x % 2) ? 0x0F0F0F : kGreen, d = 0x3C3C3C;
    EXPECT_EQ(page.Get(x, 1), (p ^ (s & (d ^ p))) & 0xFFFFFF) << x;
  }
  EXPECT_EQ(page.Get(1, 1), 0x3C3C3Cu);
  EXPECT_EQ(page.Get(14, 1), 0x3C3C3Cu);
  // MERGECOPY (P & S) with the same brush on row 2.
  r = RECTL{2, 2, 14, 3};
  ASSERT_TRUE(EngBitBlt(page.so(), src.so(), nullptr, nullptr, &xlate.xo, &r, &at, nullptr, &brush.bo,
                        &origin, 0xC0C0));
  EXPECT_EQ(page.Get(2, 2), kRed & kGreen);
  EXPECT_EQ(page.Get(3, 2), 0x0F0F0Fu);
  EXPECT_EQ(page.Get(4, 2), kWhite & kGreen);
}

TEST(EngineBlitTest, MaskChoosesBetweenTheTwoOperations) {
  RgbSource src(3, 2, {kRed, kRed, kRed, kRed, kRed, kRed});
  // The mask is read from (1, 0): its columns 1..3.
  Mask mask(4, 2, {0, 1, 0, 1, 0, 0, 1, 1});
  HostBrush brush = HostBrush::Solid(kBlue);
  Page page(5, 3);
  RECTL r{1, 1, 4, 3};
  POINTL at{0, 0}, maskAt{1, 0};
  // Mask bit 1: SRCCOPY; mask bit 0: PATCOPY.
  ASSERT_TRUE(EngBitBlt(page.so(), src.so(), mask.so(), nullptr, nullptr, &r, &at, &maskAt, &brush.bo,
                        nullptr, 0xF0CC));
  EXPECT_EQ(page.Line(1, 0, 5), (std::vector<uint32_t>{kWhite, kRed, kBlue, kRed, kWhite}));
  EXPECT_EQ(page.Line(2, 0, 5), (std::vector<uint32_t>{kWhite, kBlue, kRed, kRed, kWhite}));
  // EngStretchBlt with a mask keeps the destination where the bit is 0.
  page.Clear(kWhite);
  RECTL from{0, 0, 3, 2};
  ASSERT_TRUE(EngStretchBlt(page.so(), src.so(), mask.so(), nullptr, nullptr, nullptr, nullptr, &r, &from,
                            &maskAt, COLORONCOLOR));
  EXPECT_EQ(page.Line(1, 0, 5), (std::vector<uint32_t>{kWhite, kRed, kWhite, kRed, kWhite}));
  // A mask that is not 1 bit per pixel is refused.
  EXPECT_FALSE(EngBitBlt(page.so(), src.so(), src.so(), nullptr, nullptr, &r, &at, &maskAt, &brush.bo,
                         nullptr, 0xF0CC));
}

TEST(EngineBlitTest, ClipSwappedCornersAndOverlap) {
  RgbSource src(8, 4, std::vector<uint32_t>(32, kRed));
  Page page(8, 8);
  HostClip clip(Region::FromRects(std::vector<RECTL>{{0, 0, 2, 8}, {5, 0, 8, 1}}), nullptr, 0);
  ASSERT_EQ(clip.co.iDComplexity, DC_COMPLEX);
  // Corners given right-to-left and bottom-to-top: no mirroring.
  ASSERT_TRUE(Copy(page, src, RECTL{7, 3, 1, 0}, POINTL{0, 0}, &clip.co));
  EXPECT_EQ(page.Line(0, 0, 8),
            (std::vector<uint32_t>{kWhite, kRed, kWhite, kWhite, kWhite, kRed, kRed, kWhite}));
  EXPECT_EQ(page.Line(1, 0, 8),
            (std::vector<uint32_t>{kWhite, kRed, kWhite, kWhite, kWhite, kWhite, kWhite, kWhite}));
  EXPECT_EQ(page.Get(1, 3), kWhite);

  // A page copied onto itself one pixel to the right reads the old pixels.
  page.Clear(kWhite);
  for (int x = 0; x < 4; ++x) page.Set(x, 5, 0x10 * (x + 1));
  RECTL r{1, 5, 5, 6};
  POINTL at{0, 5};
  ASSERT_TRUE(EngCopyBits(page.so(), page.so(), nullptr, nullptr, &r, &at));
  EXPECT_EQ(page.Line(5, 0, 6), (std::vector<uint32_t>{0x10, 0x10, 0x20, 0x30, 0x40, kWhite}));
  // And one pixel down: rows below read the rows above as they were.
  RECTL down{0, 6, 4, 8};
  at = POINTL{0, 5};
  ASSERT_TRUE(EngCopyBits(page.so(), page.so(), nullptr, nullptr, &down, &at));
  EXPECT_EQ(page.Line(6, 0, 4), (std::vector<uint32_t>{0x10, 0x10, 0x20, 0x30}));
  EXPECT_EQ(page.Line(7, 0, 4), (std::vector<uint32_t>{kWhite, kWhite, kWhite, kWhite}));
}

TEST(EngineBlitTest, ReadsOnlyWhatTheSourceHasAndRefusesWhatItCannotRead) {
  RgbSource src(2, 2, {kRed, kGreen, kBlue, kBlack});
  Page page(6, 6);
  // A source point past the edge: only the pixels that exist are copied.
  ASSERT_TRUE(Copy(page, src, RECTL{0, 0, 4, 4}, POINTL{-1, 1}));
  EXPECT_EQ(page.Line(0, 0, 4), (std::vector<uint32_t>{kWhite, kBlue, kBlack, kWhite}));
  EXPECT_EQ(page.Get(1, 1), kWhite);
  // A source rectangle larger than the source, stretched 1:1 and 2:1.
  page.Clear(kWhite);
  ASSERT_TRUE(Stretch(page, src, RECTL{0, 0, 4, 4}, RECTL{0, 0, 4, 4}, HALFTONE));
  EXPECT_EQ(page.Line(1, 0, 4), (std::vector<uint32_t>{kBlue, kBlack, kWhite, kWhite}));
  EXPECT_EQ(page.Get(0, 2), kWhite);
  page.Clear(kWhite);
  ASSERT_TRUE(Stretch(page, src, RECTL{0, 0, 2, 2}, RECTL{-2, -2, 2, 2}, COLORONCOLOR));
  EXPECT_EQ(page.Line(0, 0, 2), (std::vector<uint32_t>{kWhite, kWhite}));
  EXPECT_EQ(page.Line(1, 0, 2), (std::vector<uint32_t>{kWhite, kBlack}));

  // A device surface takes nothing and succeeds; compressed sources and
  // missing sources are refused.
  HSURF device = EngCreateDeviceSurface(nullptr, SIZEL{10, 10}, BMF_24BPP);
  SURFOBJ* dso = EngLockSurface(device);
  RECTL r{0, 0, 2, 2};
  POINTL at{0, 0};
  EXPECT_TRUE(
      EngBitBlt(dso, src.so(), nullptr, nullptr, nullptr, &r, &at, nullptr, nullptr, nullptr, 0xCCCC));
  EngUnlockSurface(dso);
  EngDeleteSurface(device);
  std::vector<uint8_t> file(64);
  Bitmap jpeg(2, 2, 64, BMF_JPEG, 0, file.data());
  EXPECT_FALSE(Copy(page, jpeg, r, at));
  EXPECT_FALSE(
      EngBitBlt(page.so(), nullptr, nullptr, nullptr, nullptr, &r, &at, nullptr, nullptr, nullptr, 0xCCCC));
}

TEST(EngineBlitTest, StretchModesShrinkAndGrow) {
  // One row 0x10, 0x30, 0xF0, 0x0F (grey levels) shrunk to two pixels.
  RgbSource row(4, 1, {0x101010, 0x303030, 0xF0F0F0, 0x0F0F0F});
  struct Case {
    ULONG mode;
    uint32_t left, right;
  } cases[] = {
      {BLACKONWHITE, 0x101010, 0x000000},  // 0x10 & 0x30, 0xF0 & 0x0F
      {WHITEONBLACK, 0x303030, 0xFFFFFF},  // 0x10 | 0x30, 0xF0 | 0x0F
      {COLORONCOLOR, 0x303030, 0x0F0F0F},  // pixels 1 and 3
      {HALFTONE, 0x202020, 0x808080},      // (0x10 + 0x30) / 2, (0xF0 + 0x0F + 1) / 2
  };
  for (const Case& c : cases) {
    Page page(2, 1);
    ASSERT_TRUE(Stretch(page, row, RECTL{0, 0, 2, 1}, RECTL{0, 0, 4, 1}, c.mode));
    EXPECT_EQ(page.Line(0, 0, 2), (std::vector<uint32_t>{c.left, c.right})) << "mode " << c.mode;
  }
  // 2x2 grown to 4x4: every mode repeats each pixel twice both ways (no
  // destination pixel straddles two source pixels).
  RgbSource square(2, 2, {kRed, kGreen, kBlue, kBlack});
  for (ULONG mode : {BLACKONWHITE, WHITEONBLACK, COLORONCOLOR, HALFTONE}) {
    Page page(4, 4);
    ASSERT_TRUE(Stretch(page, square, RECTL{0, 0, 4, 4}, RECTL{0, 0, 2, 2}, mode));
    EXPECT_EQ(page.Line(0, 0, 4), (std::vector<uint32_t>{kRed, kRed, kGreen, kGreen})) << mode;
    EXPECT_EQ(page.Line(3, 0, 4), (std::vector<uint32_t>{kBlue, kBlue, kBlack, kBlack})) << mode;
  }
  // Growing 2 -> 3 with HALFTONE: the middle pixel straddles both.
  Page page(3, 1);
  RgbSource pair(2, 1, {0x000000, 0x646464});
  ASSERT_TRUE(Stretch(page, pair, RECTL{0, 0, 3, 1}, RECTL{0, 0, 2, 1}, HALFTONE));
  EXPECT_EQ(page.Line(0, 0, 3), (std::vector<uint32_t>{0x000000, 0x323232, 0x646464}));
  // Shrinking both ways at once: 4x2 -> 2x1 averages 2x2 blocks.
  RgbSource block(4, 2, {0x04, 0x08, 0, 0, 0x0C, 0x10, 0x40, 0x40});
  Page small(2, 1);
  ASSERT_TRUE(Stretch(small, block, RECTL{0, 0, 2, 1}, RECTL{0, 0, 4, 2}, HALFTONE));
  EXPECT_EQ(small.Line(0, 0, 2), (std::vector<uint32_t>{0x0A, 0x20}));
}

TEST(EngineBlitTest, MirroredTargetsFlipTheImage) {
  RgbSource src(3, 2, {kRed, kGreen, kBlue, kBlack, kWhite, 0x123456});
  Page page(3, 2);
  page.Clear(0x777777);
  ASSERT_TRUE(Stretch(page, src, RECTL{3, 0, 0, 2}, RECTL{0, 0, 3, 2}, COLORONCOLOR));
  EXPECT_EQ(page.Line(0, 0, 3), (std::vector<uint32_t>{kBlue, kGreen, kRed}));
  EXPECT_EQ(page.Line(1, 0, 3), (std::vector<uint32_t>{0x123456, kWhite, kBlack}));
  ASSERT_TRUE(Stretch(page, src, RECTL{0, 2, 3, 0}, RECTL{0, 0, 3, 2}, HALFTONE));
  EXPECT_EQ(page.Line(0, 0, 3), (std::vector<uint32_t>{kBlack, kWhite, 0x123456}));
  EXPECT_EQ(page.Line(1, 0, 3), (std::vector<uint32_t>{kRed, kGreen, kBlue}));
}

TEST(EngineBlitTest, ParallelogramRotatesAQuarterTurn) {
  // Source 3 wide, 2 high; its top edge runs down the target's column
  // pair and its left edge leftwards: target (x, y) = source (y, 1 - x).
  RgbSource src(3, 2, {0x01, 0x02, 0x03, 0x04, 0x05, 0x06});
  Page page(4, 4);
  POINTFIX corners[3] = {{2 * 16, 0}, {2 * 16, 3 * 16}, {0, 0}};
  RECTL from{0, 0, 3, 2};
  ASSERT_TRUE(EngPlgBlt(page.so(), src.so(), nullptr, nullptr, nullptr, nullptr, nullptr, corners, &from,
                        nullptr, COLORONCOLOR));
  EXPECT_EQ(page.Line(0, 0, 3), (std::vector<uint32_t>{0x04, 0x01, kWhite}));
  EXPECT_EQ(page.Line(1, 0, 3), (std::vector<uint32_t>{0x05, 0x02, kWhite}));
  EXPECT_EQ(page.Line(2, 0, 3), (std::vector<uint32_t>{0x06, 0x03, kWhite}));
  EXPECT_EQ(page.Get(0, 3), kWhite);
  // Half the size and HALFTONE: each target pixel averages a 2x2 block.
  RgbSource wide(4, 2, {0x04, 0x08, 0x20, 0x40, 0x0C, 0x10, 0x60, 0x80});
  POINTFIX half[3] = {{16, 0}, {16, 32}, {0, 0}};
  RECTL all{0, 0, 4, 2};
  page.Clear(kWhite);
  ASSERT_TRUE(EngPlgBlt(page.so(), wide.so(), nullptr, nullptr, nullptr, nullptr, nullptr, half, &all,
                        nullptr, HALFTONE));
  EXPECT_EQ(page.Get(0, 0), 0x0Au);
  EXPECT_EQ(page.Get(0, 1), 0x50u);
  EXPECT_EQ(page.Get(1, 0), kWhite);
  // A flat parallelogram draws nothing.
  POINTFIX flat[3] = {{0, 0}, {32, 0}, {64, 0}};
  page.Clear(kWhite);
  ASSERT_TRUE(EngPlgBlt(page.so(), src.so(), nullptr, nullptr, nullptr, nullptr, nullptr, flat, &from,
                        nullptr, COLORONCOLOR));
  EXPECT_EQ(page.Get(0, 0), kWhite);
}

TEST(EngineBlitTest, HostileGeometryStaysInsideTheClip) {
  // Random rectangles, points, corners and modes, many far outside every
  // bitmap: nothing outside the clip changes, and nothing reads outside
  // (the sanitizer builds watch that).
  Page page(12, 12);
  page.Clear(0x5A5A5A);
  HostClip clip(Region(RECTL{2, 2, 10, 10}), nullptr, 0);
  std::vector<uint8_t> bits(8 * 5 + 4, 0x5C);
  Bitmap src4(13, 5, 8, BMF_4BPP, 0, bits.data());
  Mask mask(5, 3, {1, 0, 1, 1, 0, 0, 0, 1, 1, 0, 1, 0, 0, 1, 1});
  const uint32_t palette[16] = {kRed, kGreen, kBlue};
  HostXlate xlate = HostXlate::Indexed(palette);
  HostBrush brush = HostBrush::Pattern(3, 2, {kRed, kGreen, kBlue, kBlack, kWhite, 0x123456});
  uint32_t seed = 12345;
  auto next = [&seed] {
    seed = seed * 1103515245 + 12345;
    return seed >> 8;
  };
  const int32_t big[] = {0, 1, -1, 5, 11, 12, 13, -40, 40, 1 << 20, -(1 << 20), 0x7FFFFFFF, -0x7FFFFFFF - 1};
  auto pick = [&] { return next() % 3 == 0 ? big[next() % 13] : int32_t(next() % 30) - 10; };
  for (int round = 0; round < 3000; ++round) {
    RECTL dst{pick(), pick(), pick(), pick()}, from{pick(), pick(), pick(), pick()};
    POINTL at{pick(), pick()}, maskAt{pick(), pick()};
    const ROP4 rop = ROP4(next() & 0xFFFF);
    SURFOBJ* m = next() % 2 ? mask.so() : nullptr;
    switch (next() % 3) {
      case 0:
        EngBitBlt(page.so(), src4.so(), m, &clip.co, &xlate.xo, &dst, &at, &maskAt, &brush.bo, &at, rop);
        break;
      case 1:
        EngStretchBltROP(page.so(), src4.so(), m, &clip.co, &xlate.xo, nullptr, &at, &dst, &from, &maskAt,
                         next() % 5, &brush.bo, rop);
        break;
      default: {
        // Whole pixels (wrapping for the largest values) or raw 28.4 values.
        auto fix = [&] { return next() % 2 ? int32_t(uint32_t(pick()) * 16u) : pick(); };
        POINTFIX corners[3] = {{fix(), fix()}, {fix(), fix()}, {fix(), fix()}};
        EngPlgBlt(page.so(), src4.so(), m, &clip.co, &xlate.xo, nullptr, nullptr, corners, &from, &maskAt,
                  next() % 5);
      }
    }
  }
  int changed = 0;
  for (int y = 0; y < 12; ++y) {
    for (int x = 0; x < 12; ++x) {
      if (x >= 2 && y >= 2 && x < 10 && y < 10) {
        changed += page.Get(x, y) != 0x5A5A5Au;
      } else {
        ASSERT_EQ(page.Get(x, y), 0x5A5A5Au) << x << "," << y;
      }
    }
  }
  EXPECT_GT(changed, 0);  // the calls did draw
}

TEST(EngineBlitTest, ImageMergeCopiesBytesUnchanged) {
  // A 24-bit source through a trivial translation into a bitmap made with
  // EngCreateBitmap(BMF_24BPP), bottom-up: bytes arrive as they were.
  const LONG cx = 7, cy = 3, stride = (cx * 3 + 3) & ~3;
  std::vector<uint8_t> bits(size_t(stride) * (cy + 1) + 4);
  for (size_t i = 0; i < size_t(stride) * cy; ++i) bits[i] = uint8_t(i * 37 + 11);
  Bitmap src(cx, cy, stride, BMF_24BPP, 0, bits.data());
  Bitmap dst(cx, cy, stride, BMF_24BPP, 0);
  HostXlate trivial = HostXlate::Trivial();
  RECTL r{0, 0, cx, cy};
  for (ULONG mode : {COLORONCOLOR, HALFTONE}) {
    ASSERT_TRUE(EngStretchBlt(dst.so(), src.so(), nullptr, nullptr, &trivial.xo, nullptr, nullptr, &r, &r,
                              nullptr, mode));
    for (int y = 0; y < cy; ++y) EXPECT_EQ(std::memcmp(dst.Row(y), src.Row(y), size_t(cx) * 3), 0) << y;
  }
}

}  // namespace
}  // namespace snk::engine
