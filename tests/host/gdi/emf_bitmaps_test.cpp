// The bitmap records played onto a recording target: which engine entry
// each blit becomes, with which rectangles, operation and stretch mode;
// and records that cannot be drawn (zero extents, bitmaps outside their
// record, gradient indices past the vertices) reported without a crash.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "host/gdi/emf_objects.h"
#include "host/gdi/emf_player.h"
#include "host/gdi/emf_records.h"
#include "tests/host/gdi/recording_target.h"
#include "tools/sample_job/emf_writer.h"

namespace snk::gdi {
namespace {

using test::RecordedCall;
using test::RecordingTarget;
using Rect = std::array<LONG, 4>;

// Reference pixels are surface pixels on a 1000-pixel surface.
EmfWriter Page() { return EmfWriter({0, 0, 10000, 10000}, {1000, 1000}, {100, 100}); }

using test::Play;
using test::Played;

Rect R(const RECTL& r) { return {r.left, r.top, r.right, r.bottom}; }

// A 4 x 2 24-bit bitmap: top row red, bottom row blue.
EmfBitmap Bitmap() {
  const COLORREF px[] = {0x0000FF, 0x0000FF, 0x0000FF, 0x0000FF, 0xFF0000, 0xFF0000, 0xFF0000, 0xFF0000};
  return EmfWriter::Dib24(4, 2, px);
}

TEST(EmfBitmaps, BlitsChooseTheEngineEntryBySizeAndOperation) {
  struct Case {
    const char* name;
    void (*draw)(EmfWriter&);
    LONG surface;
    const char* kind;
    Rect target;
    Rect source;  // CopyBits and BitBlt: the origin in the first two
    ROP4 rop;
    ULONG mode;
  };
  // clang-format off
  const Case cases[] = {
      {"equal size SRCCOPY", [](EmfWriter& w) { w.BitBlt({10, 20, 4, 2}, kSrcCopy, 0, 0, Bitmap()); },
       1000, "copybits", {10, 20, 14, 22}, {0, 0, 0, 0}, 0, 0},
      // the source from (1, 1) is 3 x 1: the destination is cut with it
      {"equal size SRCAND", [](EmfWriter& w) { w.BitBlt({10, 20, 4, 2}, kSrcAnd, 1, 1, Bitmap()); },
       1000, "bitblt", {10, 20, 13, 21}, {1, 1, 0, 0}, 0x8888, 0},
      {"page scale stretches", [](EmfWriter& w) {
         w.SetStretchBltMode(HALFTONE);
         w.BitBlt({10, 20, 4, 2}, kSrcCopy, 0, 0, Bitmap()); },
       2000, "stretchblt", {20, 40, 28, 44}, {0, 0, 4, 2}, 0, HALFTONE},
      {"stretch with an op",
       [](EmfWriter& w) { w.StretchBlt({0, 0, 8, 8}, kSrcAnd, {0, 0, 4, 2}, Bitmap()); },
       1000, "stretchbltrop", {0, 0, 8, 8}, {0, 0, 4, 2}, 0x8888, BLACKONWHITE},
      {"negative width mirrors",
       [](EmfWriter& w) { w.StretchBlt({100, 0, -4, 2}, kSrcCopy, {0, 0, 4, 2}, Bitmap()); },
       1000, "stretchblt", {100, 0, 96, 2}, {0, 0, 4, 2}, 0, BLACKONWHITE},
      {"negative source height mirrors",
       [](EmfWriter& w) { w.StretchBlt({0, 0, 4, 2}, kSrcCopy, {0, 2, 4, -2}, Bitmap()); },
       1000, "stretchblt", {0, 2, 4, 0}, {0, 0, 4, 2}, 0, BLACKONWHITE},
      {"source transform scales the source", [](EmfWriter& w) {
         const float half[6] = {0.5f, 0, 0, 0.5f, 0, 0};
         w.BitBlt({0, 0, 4, 2}, kSrcCopy, 0, 0, Bitmap(), half); },
       1000, "stretchblt", {0, 0, 4, 2}, {0, 0, 2, 1}, 0, BLACKONWHITE},
      {"source past the bitmap is cut",
       [](EmfWriter& w) { w.StretchBlt({0, 0, 16, 4}, kSrcCopy, {-4, 0, 8, 2}, Bitmap()); },
       1000, "stretchblt", {8, 0, 16, 4}, {0, 0, 4, 2}, 0, BLACKONWHITE},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EmfWriter w = Page();
    c.draw(w);
    const Played p = Play(w, c.surface);
    EXPECT_EQ(p.Errors(), "");
    ASSERT_EQ(p.calls.size(), 1u);
    const RecordedCall& call = p.calls[0];
    EXPECT_EQ(call.kind, c.kind);
    EXPECT_EQ(R(call.target), c.target);
    EXPECT_EQ(R(call.sourceRect), c.source);
    EXPECT_EQ(call.rop, c.rop);
    EXPECT_EQ(call.mode, c.mode);
    EXPECT_TRUE(call.hasSource);
    EXPECT_EQ(call.sourceFormat, BMF_24BPP);
    EXPECT_FALSE(call.hasMask);
  }
}

TEST(EmfBitmaps, BrushBlitsAndTheStretchModeState) {
  EmfWriter w = Page();
  w.CreateBrushIndirect(1, kBsSolid, 0x00FF00);
  w.SelectObject(1);
  w.BitBlt({5, 5, 10, 10}, kPatCopy, 0, 0, {});  // no bitmap: the brush alone
  w.BitBlt({5, 5, 10, 10}, kDstInvert, 0, 0, {});
  w.BitBlt({0, 0, 50, 50}, 0x00AA0029, 0, 0, {});  // leaves the page as it is: no call
  w.SaveDC();
  w.SetStretchBltMode(COLORONCOLOR);
  w.StretchBlt({0, 0, 8, 4}, kSrcCopy, {0, 0, 4, 2}, Bitmap());
  w.RestoreDC(-1);
  w.StretchBlt({0, 0, 8, 4}, kSrcCopy, {0, 0, 4, 2}, Bitmap());
  w.State(EMR_SETSTRETCHBLTMODE, {9});  // refused
  const Played p = Play(w);
  ASSERT_EQ(p.calls.size(), 4u);
  EXPECT_EQ(p.calls[0].kind, "bitblt");
  EXPECT_FALSE(p.calls[0].hasSource);
  EXPECT_EQ(p.calls[0].rop, 0xF0F0u);
  EXPECT_EQ(p.calls[0].fillColor, 0x00FF00u);
  EXPECT_EQ(R(p.calls[0].target), (Rect{5, 5, 15, 15}));
  EXPECT_EQ(p.calls[1].rop, 0x5555u);
  EXPECT_EQ(p.calls[2].mode, COLORONCOLOR);
  EXPECT_EQ(p.calls[3].mode, BLACKONWHITE);
  ASSERT_EQ(p.stats.errors.size(), 1u);
  EXPECT_NE(p.stats.errors[0].find("stretch mode 9"), std::string::npos);
}

TEST(EmfBitmaps, DibRecordsCountRowsFromTheBitmapsBottom) {
  // 1 x 4 bottom-up, one colour per row: rows from the bottom 0..3.
  const COLORREF px[] = {0x000003, 0x000002, 0x000001, 0x000000};
  const EmfBitmap dib = EmfWriter::Dib24(1, 4, px);
  EmfWriter w = Page();
  w.StretchDIBits({0, 0, 2, 2}, {0, 1, 1, 2}, kSrcCopy, dib);  // rows 1-2 from the bottom: top-down 1..3
  // Scan lines 2 and 3 present (the top two rows); ySrc 3 from the bottom
  // is the top row, which is row 0 of the band.
  EmfBitmap band = dib;
  band.bits.erase(band.bits.begin(), band.bits.begin() + 8);
  w.SetDIBitsToDevice(50, 60, {0, 3, 1, 1}, 2, 2, band);
  const Played p = Play(w);
  EXPECT_EQ(p.Errors(), "");
  ASSERT_EQ(p.calls.size(), 2u);
  EXPECT_EQ(p.calls[0].kind, "stretchblt");
  EXPECT_EQ(R(p.calls[0].sourceRect), (Rect{0, 1, 1, 3}));
  EXPECT_EQ(p.calls[1].kind, "copybits");
  EXPECT_EQ(R(p.calls[1].target), (Rect{50, 60, 51, 61}));
  EXPECT_EQ(R(p.calls[1].sourceRect), (Rect{0, 0, 0, 0}));
  EXPECT_EQ(p.calls[1].sourceSize.cy, 2);
}

TEST(EmfBitmaps, MasksRotationsAndParallelograms) {
  // A 1-bit mask of 4 x 2.
  EmfBitmap mask;
  const COLORREF bw[] = {0, 0xFFFFFF};
  mask.info = EmfWriter::BitmapInfo(4, 2, 1, 0, bw);
  mask.bits = {std::byte{0xA0}, {}, {}, {}, std::byte{0x50}, {}, {}, {}};
  EmfWriter w = Page();
  // MAKEROP4(SRCCOPY, DSTCOPY): the source where the mask is set.
  w.MaskBlt({10, 10, 4, 2}, 0xAACC0020, 0, 0, Bitmap(), 0, 0, mask);
  const POINTL corners[3] = {{100, 100}, {104, 103}, {97, 104}};
  w.PlgBlt(corners, {0, 0, 4, 2}, Bitmap());
  const float turn[6] = {0, 1, -1, 0, 500, 500};  // a quarter turn
  w.SetWorldTransform(turn);
  w.BitBlt({0, 0, 4, 2}, kSrcCopy, 0, 0, Bitmap());
  w.BitBlt({0, 0, 4, 2}, kSrcAnd, 0, 0, Bitmap());  // a parallelogram cannot AND: a copy, said so
  w.BitBlt({0, 0, 4, 2}, kPatCopy, 0, 0, {});       // the brush over the parallelogram
  const Played p = Play(w);
  ASSERT_EQ(p.stats.errors.size(), 1u) << p.Errors();
  EXPECT_NE(p.Errors().find("0x8888 under a rotation"), std::string::npos) << p.Errors();
  ASSERT_EQ(p.calls.size(), 5u);
  EXPECT_EQ(p.calls[3].kind, "plgblt");
  EXPECT_EQ(p.calls[4].kind, "fill");
  EXPECT_EQ(p.calls[4].Points(),
            (std::vector<std::pair<double, double>>{{500, 500}, {500, 504}, {498, 504}, {498, 500}}));
  EXPECT_EQ(p.calls[4].mix, 0x0D0Du);  // R2_COPYPEN
  EXPECT_EQ(p.calls[0].kind, "bitblt");
  EXPECT_TRUE(p.calls[0].hasMask);
  EXPECT_EQ(p.calls[0].rop, 0xAACCu);
  EXPECT_EQ(p.calls[1].kind, "plgblt");
  EXPECT_EQ(p.calls[1].corners[1].x, 104 * 16);
  EXPECT_EQ(p.calls[1].corners[1].y, 103 * 16);
  EXPECT_EQ(p.calls[1].corners[2].x, 97 * 16);
  EXPECT_EQ(R(p.calls[1].sourceRect), (Rect{0, 0, 4, 2}));
  EXPECT_EQ(p.calls[2].kind, "plgblt");
  EXPECT_EQ(p.calls[2].corners[0].x, 500 * 16);
  EXPECT_EQ(p.calls[2].corners[1].y, 504 * 16);  // x runs down the page
  EXPECT_EQ(p.calls[2].corners[2].x, 498 * 16);
}

TEST(EmfBitmaps, AlphaBlendsAndColourKeys) {
  const uint32_t palette[] = {0x0000FF, 0x00FF00, 0x00FF00};
  EmfBitmap indexed;
  indexed.info = EmfWriter::BitmapInfo(2, 1, 8, 0, palette);
  indexed.bits = {std::byte{0}, std::byte{1}, {}, {}};
  EmfWriter w = Page();
  w.AlphaBlend({10, 10, 8, 2}, 0x01800000, {0, 0, 4, 2}, Bitmap());  // constant 0x80, source alpha
  w.TransparentBlt({0, 0, 2, 1}, 0x00FF00, {0, 0, 2, 1}, indexed);
  w.TransparentBlt({0, 0, 4, 2}, 0x0000FF, {0, 0, 4, 2}, Bitmap());
  w.AlphaBlend({10, 10, -8, 2}, 0x00FF0000, {0, 0, 4, 2}, Bitmap());  // refused: no mirroring
  const Played p = Play(w);
  ASSERT_EQ(p.calls.size(), 3u);
  EXPECT_EQ(p.calls[0].kind, "alphablend");
  EXPECT_EQ(R(p.calls[0].target), (Rect{10, 10, 18, 12}));
  EXPECT_EQ(p.calls[0].blend.SourceConstantAlpha, 0x80);
  EXPECT_EQ(p.calls[0].blend.AlphaFormat, AC_SRC_ALPHA);
  EXPECT_EQ(p.calls[1].kind, "transparentblt");
  EXPECT_EQ(p.calls[1].sourceFormat, BMF_8BPP);
  EXPECT_EQ(p.calls[1].transparentColor, 1u);  // the first index of green
  EXPECT_EQ(p.calls[1].word1Color, 0x00FF00u);
  EXPECT_EQ(p.calls[2].transparentColor, 0xFF0000u);  // red stored B, G, R
  ASSERT_EQ(p.stats.errors.size(), 1u);
  EXPECT_NE(p.stats.errors[0].find("does not mirror"), std::string::npos);
}

TEST(EmfBitmaps, GradientsGoToTheDeviceWithTheirExtents) {
  EmfWriter w = Page();
  const EmfVertex v[] = {{10, 10, 0xFF00, 0, 0, 0}, {30, 20, 0, 0, 0xFF00, 0}, {0, 40, 0, 0xFF00, 0, 0}};
  const uint32_t rect[] = {0, 1};
  w.GradientFill(v, rect, GRADIENT_FILL_RECT_H);
  const uint32_t triangles[] = {0, 1, 2, 0, 1, 7};  // the second names vertex 7
  w.GradientFill(v, triangles, GRADIENT_FILL_TRIANGLE);
  const float twice[6] = {2, 0, 0, 2, 0, 0};
  w.SetWorldTransform(twice);
  w.GradientFill(v, rect, GRADIENT_FILL_RECT_V);
  // Both corners on one row: no area, no call.
  const EmfVertex flat[] = {{10, 10, 0xFF00, 0, 0, 0}, {30, 10, 0, 0, 0xFF00, 0}};
  w.GradientFill(flat, rect, GRADIENT_FILL_RECT_H);
  const Played p = Play(w);
  ASSERT_EQ(p.calls.size(), 3u);
  EXPECT_EQ(p.calls[0].kind, "gradientfill");
  EXPECT_EQ(p.calls[0].mode, GRADIENT_FILL_RECT_H);
  EXPECT_EQ(R(p.calls[0].target), (Rect{10, 10, 30, 20}));
  EXPECT_EQ(p.calls[0].mesh, (std::vector<ULONG>{0, 1}));
  EXPECT_EQ(p.calls[0].vertices[1].Blue, 0xFF00);
  EXPECT_EQ(p.calls[1].mesh, (std::vector<ULONG>{0, 1, 2}));
  EXPECT_EQ(R(p.calls[1].target), (Rect{0, 10, 30, 40}));
  EXPECT_EQ(R(p.calls[2].target), (Rect{20, 20, 60, 40}));
  ASSERT_EQ(p.stats.errors.size(), 2u) << p.Errors();
  EXPECT_NE(p.stats.errors[0].find("1 of 2 gradient elements"), std::string::npos) << p.Errors();
  EXPECT_NE(p.stats.errors[1].find("gradient extents 40 x 0: nothing to draw"), std::string::npos)
      << p.Errors();
}

TEST(EmfBitmaps, BadRecordsAreReportedNotFollowed) {
  struct Case {
    const char* name;
    void (*draw)(EmfWriter&);
    const char* fault;
  } cases[] = {
      {"zero destination",
       [](EmfWriter& w) {
         w.BitBlt({0, 0, 0, 5}, kSrcCopy, 0, 0, Bitmap());
       },
       "destination extents 0 x 5"},
      {"zero source",
       [](EmfWriter& w) {
         w.StretchBlt({0, 0, 5, 5}, kSrcCopy, {0, 0, 4, 0}, Bitmap());
       },
       "source extents 4 x 0"},
      {"source op without a bitmap",
       [](EmfWriter& w) {
         w.BitBlt({0, 0, 5, 5}, kSrcCopy, 0, 0, {});
       },
       "needs a source"},
      {"bits past the record",
       [](EmfWriter& w) {
         EmfBitmap b = Bitmap();
         b.bits.resize(4);  // rows need 24
         w.BitBlt({0, 0, 4, 2}, kSrcCopy, 0, 0, b);
       },
       "rows need 24"},
      {"mask of another depth",
       [](EmfWriter& w) {
         w.MaskBlt({0, 0, 4, 2}, 0xAACC0020, 0, 0, Bitmap(), 0, 0, Bitmap());
       },
       "a mask has 1"},
      {"source outside the bitmap",
       [](EmfWriter& w) {
         w.BitBlt({0, 0, 4, 2}, kSrcCopy, 10, 10, Bitmap());
       },
       "outside the bitmap"},
      {"gradient vertices past the record",
       [](EmfWriter& w) {
         std::vector<std::byte> payload(28, std::byte{0});
         payload[16] = std::byte{0xFF};  // nVer 255
         w.Add(EMR_GRADIENTFILL, payload);
       },
       "nVer 255"},
      {"short table: played, with a note",
       [](EmfWriter& w) {
         EmfBitmap b;
         b.info = EmfWriter::BitmapInfo(1, 1, 8);
         b.bits.resize(4);
         w.BitBlt({0, 0, 1, 1}, kSrcCopy, 0, 0, b);
       },
       "256 entries expected, 0 present"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EmfWriter w = Page();
    c.draw(w);
    const Played p = Play(w);
    ASSERT_EQ(p.stats.errors.size(), 1u) << p.Errors();
    EXPECT_NE(p.stats.errors[0].find(c.fault), std::string::npos) << p.Errors();
  }

  // Offsets that point out of the record: fields of EMR_BITBLT after the
  // bounds, set one by one.
  EmfWriter w = Page();
  std::vector<std::byte> payload(92, std::byte{0});
  auto set = [&](size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) payload[at + i] = std::byte(v >> (8 * i));
  };
  set(24, 1);  // cxDest
  set(28, 1);  // cyDest
  set(32, kSrcCopy);
  set(44, 0x3F800000);  // the source transform's m11 and m22: 1.0
  set(56, 0x3F800000);
  set(76, 240);  // offBmiSrc
  set(80, 40);   // cbBmiSrc
  w.Add(EMR_BITBLT, payload);
  const Played p = Play(w);
  ASSERT_EQ(p.stats.errors.size(), 1u) << p.Errors();
  EXPECT_NE(p.stats.errors[0].find("offBmiSrc 240"), std::string::npos) << p.Errors();
}

}  // namespace
}  // namespace snk::gdi
