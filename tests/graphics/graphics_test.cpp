// The vector translation on its own: a page of 1000 x 1000 pixels at
// 300 dpi (0.24 points a pixel, page height 240 points), checked against
// the exact operator text it writes.
#include "graphics/graphics.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "base/number_format.h"
#include "host/engine/brush.h"
#include "host/engine/clip.h"
#include "host/engine/path.h"
#include "host/engine/region.h"
#include "host/engine/xform.h"
#include "writer/document_writer.h"

namespace {

using snk::engine::HostBrush;
using snk::engine::HostClip;
using snk::engine::HostPath;
using snk::engine::HostXform;
using snk::engine::Region;

constexpr uint32_t kRed = 0x0000FF;
constexpr uint32_t kBlue = 0xFF0000;

// The rectangle (10, 20) - (110, 70) in pixels, as a closed figure.
HostPath Box() {
  HostPath path;
  path.AddRectangle(RECTL{10, 20, 110, 70});
  return path;
}
constexpr char kBoxMapped[] = "2.4 235.2 m 26.4 235.2 l 26.4 223.2 l 2.4 223.2 l h ";
constexpr char kBoxDevice[] = "10 20 m 110 20 l 110 70 l 10 70 l h ";

LINEATTRS Cosmetic() {
  LINEATTRS line{};
  line.elWidth.l = 1;
  return line;
}

LINEATTRS Geometric(float width, ULONG cap = ENDCAP_ROUND, ULONG join = JOIN_ROUND) {
  LINEATTRS line{};
  line.fl = LA_GEOMETRIC;
  line.elWidth.e = width;
  line.iEndCap = cap;
  line.iJoin = join;
  line.eMiterLimit = 10.5f;
  return line;
}

class Graphics : public ::testing::Test {
 protected:
  void SetUp() override {
    writer_.SetGeometry(CKMC_PageGeometry{1000, 1000, 72.0 / 300});
    writer_.BeginPageContent();
    g_.StartPage();
    writer_.Content().Clear();
  }

  // What was written since the last call.
  std::string Take() {
    std::string text(writer_.Content().view());
    writer_.Content().Clear();
    return text;
  }

  void Fill(HostPath& path, HostBrush& brush, MIX mix = 0x0D0D, FLONG options = FP_ALTERNATEMODE) {
    g_.Paths().PaintPath(&surface_, &path.po, nullptr, nullptr, &brush.bo, nullptr, mix, options);
  }
  void Stroke(HostPath& path, HostBrush& brush, LINEATTRS line, XFORMOBJ* xform = nullptr, MIX mix = 0x0D0D) {
    g_.Paths().PaintPath(&surface_, &path.po, xform, &brush.bo, nullptr, &line, mix, 0);
  }

  CKMC_DocumentWriter writer_;
  CKMC_GraphicsSwitches switches_;
  CKMC_Graphics g_{writer_, switches_};
  SURFOBJ surface_{};  // stands for the page surface; never read
};

TEST_F(Graphics, ColourAndWidthCachesHoldUntilQ) {
  HostPath box = Box();
  HostBrush red = HostBrush::Solid(kRed);
  Fill(box, red);
  EXPECT_EQ(Take(), std::string("0.24 w [] 0 d 1 0 0 sc ") + kBoxMapped + "f* \n");
  Fill(box, red, 0x0D0D, FP_WINDINGMODE);
  EXPECT_EQ(Take(), std::string(kBoxMapped) + "f \n");

  // A "Q " empties the cache; the last fill colour stays.
  g_.State().Forget();
  Fill(box, red);
  EXPECT_EQ(Take(), std::string("0.24 w [] 0 d 1 0 0 sc ") + kBoxMapped + "f* \n");
  EXPECT_EQ(g_.State().LastFillColor(), kRed);

  // Components with three decimals; the top byte is not written but makes
  // the word differ.
  g_.State().SetFillColor(writer_.Content(), 0x00FF8000);
  g_.State().SetFillColor(writer_.Content(), 0xFFFFFFFF);
  g_.State().SetFillColor(writer_.Content(), 0x00FFFFFF);
  g_.State().SetStrokeColor(writer_.Content(), 0x00FFFFFF);
  g_.State().SetStrokeColor(writer_.Content(), 0x00FFFFFF);
  EXPECT_EQ(Take(), "0 0.502 1 sc 1 1 1 sc 1 1 1 sc 1 1 1 SC ");
  EXPECT_EQ(g_.State().LastStrokeColor(), 0x00FFFFFFu);

  // The width is cached with its sign but written without it.
  g_.SetLineWidth(writer_.Content(), -2.5);
  g_.SetLineWidth(writer_.Content(), -2.5);
  g_.SetLineWidth(writer_.Content(), 2.5);
  EXPECT_EQ(Take(), "2.5 w 2.5 w ");
}

TEST_F(Graphics, LineWidthsCapsJoinsAndDash) {
  HostPath box = Box();
  HostBrush black = HostBrush::Solid(0);

  // A cosmetic line at 300 dpi is 0.24 points wide.
  Stroke(box, black, Cosmetic());
  EXPECT_EQ(Take(), std::string("0.24 w 0 J 0 j [] 0 d 0 0 0 SC ") + kBoxMapped + "S \n");

  // A geometric width goes out twice when it changes, once when it is known.
  Stroke(box, black, Geometric(10));
  EXPECT_EQ(Take(), std::string("2.4 w 2.4 w 1 J 1 j ") + kBoxMapped + "S \n");
  Stroke(box, black, Geometric(10, ENDCAP_SQUARE, JOIN_BEVEL));
  EXPECT_EQ(Take(), std::string("2.4 w 2 J 2 j ") + kBoxMapped + "S \n");
  Stroke(box, black, Geometric(10, ENDCAP_BUTT, JOIN_MITER));
  EXPECT_EQ(Take(), std::string("2.4 w 0 J 0 j 10.5 M ") + kBoxMapped + "S \n");
  // The miter limit is a float; the repeated width uses six digits where
  // the cached one has three decimals.
  LINEATTRS odd = Geometric(1.0f / 3, 7, 7);
  odd.eMiterLimit = 0.1f;
  Stroke(box, black, odd);
  EXPECT_EQ(Take(), std::string("0.08 w 0.08 w ") + kBoxMapped + "S \n");
  odd.iJoin = JOIN_MITER;
  Stroke(box, black, odd);
  EXPECT_EQ(Take(), std::string("0.08 w 0 j 0.1 M ") + kBoxMapped + "S \n");

  // A styled line writes no dash; it keeps what the stream holds.
  g_.State().Forget();
  LINEATTRS styled = Cosmetic();
  FLOAT_LONG style[2] = {};
  styled.pstyle = style;
  styled.cstyle = 2;
  Stroke(box, black, styled);
  EXPECT_EQ(Take(), std::string("0.24 w 0 J 0 j 0 0 0 SC ") + kBoxMapped + "S \n");
}

TEST_F(Graphics, StrokeWithTransformWritesDeviceUnitsUnderTheBaseMatrix) {
  HostPath box = Box();
  HostBrush black = HostBrush::Solid(0);
  HostXform scale2(2, 0, 0, 4, 7, 9);  // mean scale 3
  Stroke(box, black, Geometric(2), &scale2.xo);
  EXPECT_EQ(Take(), std::string("q 0.24 0 0 -0.24 0 240 cm 6 w 6 w 1 J 1 j [] 0 d 0 0 0 SC ") + kBoxDevice +
                        "S Q \n");
  // Everything set inside the "q " is gone after it.
  Stroke(box, black, Cosmetic());
  EXPECT_EQ(Take(), std::string("0.24 w 0 J 0 j [] 0 d 0 0 0 SC ") + kBoxMapped + "S \n");

  // A mirroring transform leaves a geometric width unscaled, but scales a
  // cosmetic one with its sign (written without it). Inside "q " the state
  // from before still holds.
  HostXform mirror(-2, 0, 0, -2, 0, 0);
  Stroke(box, black, Geometric(5), &mirror.xo);
  EXPECT_EQ(Take(), std::string("q 0.24 0 0 -0.24 0 240 cm 5 w 5 w 1 J 1 j ") + kBoxDevice + "S Q \n");
  Stroke(box, black, Cosmetic(), &mirror.xo);
  EXPECT_EQ(Take(),
            std::string("q 0.24 0 0 -0.24 0 240 cm 2 w 0 J 0 j [] 0 d 0 0 0 SC ") + kBoxDevice + "S Q \n");
  EXPECT_FALSE(g_.State().LineWidthKnown());
}

TEST_F(Graphics, PaintingOperatorFollowsBrushesAndFillMode) {
  HostPath dot;
  dot.MoveTo({16, 32});  // one point: a move and no close
  HostBrush red = HostBrush::Solid(kRed);
  struct Case {
    bool stroke;
    FLONG options;
    const char* op;
  } cases[] = {{true, FP_WINDINGMODE | FP_ALTERNATEMODE, "B "},
               {true, FP_ALTERNATEMODE, "B* "},
               {true, 0, "S "},
               {false, FP_WINDINGMODE, "f "},
               {false, FP_ALTERNATEMODE, "f* "},
               {false, 0, "n "}};
  for (const Case& c : cases) {
    g_.Paths().PaintPath(&surface_, &dot.po, nullptr, c.stroke ? &red.bo : nullptr, &red.bo, nullptr, 0x0D0D,
                         c.options);
    std::string text = Take();
    EXPECT_EQ(text.substr(text.find("0.24 239.52 m ")), std::string("0.24 239.52 m ") + c.op + "\n") << c.op;
  }
}

TEST_F(Graphics, PathOperatorsForCurvesAndSubpaths) {
  HostPath path;
  path.MoveTo({0, 0});
  path.BezierTo({16, 0}, {32, 16}, {32, 32});
  path.CloseFigure();
  path.MoveTo({8, 8});
  path.LineTo({24, 8});
  EXPECT_EQ(PathOperators(&path.po, nullptr).view(), "0 0 m 1 0 2 1 2 2 c h 0.5 0.5 m 1.5 0.5 l ");
  // Mapped, and the enumeration restarts for a second walk.
  EXPECT_EQ(PathOperators(&path.po, &writer_.Geometry()).view(),
            "0 240 m 0.24 240 0.48 239.76 0.48 239.52 c h 0.12 239.88 m 0.36 239.88 l ");
  EXPECT_EQ(PathOperators(nullptr, &writer_.Geometry()).view(), "");
}

TEST_F(Graphics, PathMixTable) {
  HostPath box = Box();
  HostBrush blue = HostBrush::Solid(kBlue);

  Fill(box, blue, 0x0101);
  EXPECT_NE(Take().find("0 0 0 sc "), std::string::npos);
  Fill(box, blue, 0x0404);  // the complement, top byte included
  EXPECT_NE(Take().find("1 1 0 sc "), std::string::npos);
  EXPECT_EQ(g_.Colors().fill, ~kBlue);

  // Mask-pen fills paint with the last fill colour, whatever the brush.
  g_.State().SetLastFillColor(0x00FF00);
  Fill(box, blue, 0x0909);
  EXPECT_NE(Take().find("0 1 0 sc "), std::string::npos);

  // A hatch brush under the copy pen reads as the colour word 0xFFFFFFFF:
  // painted white, and nothing is left for the engine's image.
  HostBrush hatch = HostBrush::Hatch(snk::engine::HS_CROSS, kRed, 0xFFFFFF);
  Fill(box, hatch, 0x0D0D);
  EXPECT_NE(Take().find("1 1 1 sc "), std::string::npos);
  EXPECT_EQ(g_.Images().DirtyRegion().Count(), 0);

  // R2_WHITE (16) is not black, nor white: it is not expressible. The path's
  // pixel bounds go to the engine's list.
  Fill(box, blue, 0x1010);
  EXPECT_EQ(Take(), "");
  ASSERT_EQ(g_.Images().DirtyRegion().Count(), 1);
  EXPECT_EQ(g_.Images().DirtyRegion()[0].left, 10);
  EXPECT_EQ(g_.Images().DirtyRegion()[0].bottom, 70);
  // Mask-pen is a fill's operation only; the fill byte is judged on its own.
  Stroke(box, blue, Cosmetic(), nullptr, 0x0909);
  Fill(box, blue, 0x060D);  // a fill goes by the second byte alone
  EXPECT_EQ(Take(), "");
  // Each call flushes first; the fixture's surface has no bits, so the
  // earlier areas are dropped and only the last one waits.
  EXPECT_EQ(g_.Images().DirtyRegion().Count(), 1);

  // Without the engine's drawing the path is simply lost.
  switches_.gdiPunt = 0;
  Fill(box, blue, 0x0606);
  EXPECT_EQ(Take(), "");
  EXPECT_EQ(g_.Images().DirtyRegion().Count(), 1);
}

TEST_F(Graphics, LinesThroughPixelCentresAndTheirMixes) {
  HostBrush blue = HostBrush::Solid(kBlue);
  g_.Paths().PaintLine(&surface_, 0, 0, 10, 0, &blue.bo, R2_COPYPEN);
  EXPECT_EQ(Take(), "0 0 1 SC 0.24 w [] 0 d 0.12 239.88 m 2.52 239.88 l S ");
  g_.Paths().PaintLine(&surface_, 10, 0, 10, 20, &blue.bo, R2_COPYPEN);
  EXPECT_EQ(Take(), "2.52 239.88 m 2.52 235.08 l S ");
  g_.Paths().PaintLine(&surface_, 0, 0, 1, 1, &blue.bo, R2_NOTCOPYPEN);
  EXPECT_EQ(Take(), "1 1 0 SC 0.12 239.88 m 0.36 239.64 l S ");
  g_.Paths().PaintLine(&surface_, 0, 0, 1, 1, &blue.bo, R2_BLACK | R2_BLACK << 8);
  EXPECT_EQ(Take(), "0 0 0 SC 0.12 239.88 m 0.36 239.64 l S ");

  // A no-op line leaves no trace at all.
  g_.Paths().PaintLine(&surface_, 0, 0, 50, 50, &blue.bo, R2_NOP);
  EXPECT_EQ(Take(), "");
  EXPECT_EQ(g_.Images().DirtyRegion().Count(), 0);
  // R2_WHITE's low bits are 0: for the engine. A horizontal one has no area
  // and vanishes; a slanted one leaves its box.
  g_.Paths().PaintLine(&surface_, 5, 5, 50, 5, &blue.bo, R2_WHITE);
  EXPECT_EQ(g_.Images().DirtyRegion().Count(), 0);
  g_.Paths().PaintLine(&surface_, 50, 60, -5, 5, &blue.bo, R2_WHITE);
  EXPECT_EQ(Take(), "");
  ASSERT_EQ(g_.Images().DirtyRegion().Count(), 1);
  const RECTL& r = g_.Images().DirtyRegion()[0];
  EXPECT_EQ((std::array<LONG, 4>{r.left, r.top, r.right, r.bottom}), (std::array<LONG, 4>{0, 5, 50, 60}));
}

TEST_F(Graphics, ClipTextDecidesWhatIsWritten) {
  HostBrush red = HostBrush::Solid(kRed);
  HostClip clip(Region(RECTL{100, 100, 500, 400}), nullptr, 7);
  ASSERT_EQ(clip.co.iDComplexity, DC_RECT);
  const char kClip[] = "q 24 144 96 72 re W* n 24 216 m 120 216 l 120 144 l 24 144 l h W* n\n";

  // A rectangle clip without a drawing's bounds always applies.
  g_.State().SetFillColor(writer_.Content(), kRed);
  Take();
  g_.Clip().SelectClip(&surface_, &clip.co, nullptr);
  EXPECT_EQ(Take(), kClip);
  EXPECT_EQ(g_.Clip().ClipIdentity(), 7u);

  // The same region under another identity costs nothing, and the cache
  // survives.
  HostClip same(Region(RECTL{100, 100, 500, 400}), nullptr, 8);
  g_.Clip().SelectClip(&surface_, &same.co, nullptr);
  EXPECT_EQ(Take(), "");
  EXPECT_EQ(g_.Clip().ClipIdentity(), 8u);
  EXPECT_TRUE(g_.Colors().fillKnown);

  // Bounds inside the rectangle, or one pixel beyond its right and bottom
  // edges, need no clip: the open one is closed.
  RECTL inside{100, 100, 501, 401};
  g_.Clip().SelectClip(&surface_, &same.co, &inside);
  EXPECT_EQ(Take(), "Q ");
  EXPECT_EQ(g_.Clip().ClipIdentity(), 0u);
  EXPECT_FALSE(g_.Colors().fillKnown);
  RECTL beyond{100, 100, 502, 400};
  g_.Clip().SelectClip(&surface_, &same.co, &beyond);
  EXPECT_EQ(Take(), kClip);

  // A region without an identity is stored as -1 and still counts as open.
  HostClip other(Region(RECTL{0, 0, 10, 10}), nullptr, 0);
  g_.Clip().SelectClip(&surface_, &other.co, nullptr);
  EXPECT_EQ(Take(), "Q q 0 237.6 2.4 2.4 re W* n 0 240 m 2.4 240 l 2.4 237.6 l 0 237.6 l h W* n\n");
  EXPECT_EQ(g_.Clip().ClipIdentity(), 0xFFFFFFFFu);
  other.co.iDComplexity = DC_TRIVIAL;
  g_.Clip().SelectClip(&surface_, &other.co, nullptr);
  EXPECT_EQ(Take(), "Q ");
  EXPECT_EQ(g_.Clip().ClipText().view(), "");

  // With no clip open, no clip writes nothing and leaves the engine's areas
  // alone (no flush, which without a surface would drop them).
  RECTL area{1, 1, 5, 5};
  g_.Images().AddDirtyRect(area);
  g_.Clip().SelectClip(nullptr, nullptr, nullptr);
  EXPECT_EQ(Take(), "");
  EXPECT_EQ(g_.Images().DirtyRegion().Count(), 1);
}

TEST_F(Graphics, ComplexClipIsTheBoundsAndEveryRectangle) {
  Region region =
      Region(RECTL{0, 0, 10, 10}).Combine(Region(RECTL{20, 5, 30, 10}), snk::engine::RegionOp::Or);
  HostClip clip(region, nullptr, 3);
  ASSERT_EQ(clip.co.iDComplexity, DC_COMPLEX);
  RECTL small{1, 1, 2, 2};  // bounds are only looked at for a rectangle
  g_.Clip().SelectClip(&surface_, &clip.co, &small);
  EXPECT_EQ(Take(),
            "q 0 237.6 7.2 2.4 re W* n "
            "0 240 m 2.4 240 l 2.4 238.8 l 0 238.8 l h "
            "0 238.8 m 2.4 238.8 l 2.4 237.6 l 0 237.6 l h "
            "4.8 238.8 m 7.2 238.8 l 7.2 237.6 l 4.8 237.6 l h W* n\n");
}

TEST_F(Graphics, SolidRectangles) {
  HostBrush red = HostBrush::Solid(kRed);
  RECTL rect{100, 200, 700, 250};
  EXPECT_EQ(g_.Paths().PaintRectangle(&surface_, rect, &red.bo, ROP3_PATCOPY | ROP3_PATCOPY << 8), 1);
  EXPECT_EQ(Take(), "1 0 0 sc 24 180 144 12 re f\n");
  EXPECT_EQ(g_.Paths().PaintRectangle(&surface_, rect, &red.bo, ROP3_NOTPATCOPY), 1);
  EXPECT_EQ(Take(), "0 1 1 sc 24 180 144 12 re f\n");
  EXPECT_EQ(g_.Paths().PaintRectangle(&surface_, rect, nullptr, ROP3_BLACKNESS), 1);
  EXPECT_EQ(g_.Paths().PaintRectangle(&surface_, rect, nullptr, ROP3_WHITENESS), 1);
  EXPECT_EQ(Take(), "0 0 0 sc 24 180 144 12 re f\n1 1 1 sc 24 180 144 12 re f\n");

  // Patterns, missing brushes and other operations are for the engine.
  HostBrush hatch = HostBrush::Hatch(snk::engine::HS_CROSS, kRed, 0xFFFFFF);
  EXPECT_EQ(g_.Paths().PaintRectangle(&surface_, rect, &hatch.bo, ROP3_PATCOPY), 0);
  EXPECT_EQ(g_.Paths().PaintRectangle(&surface_, rect, nullptr, ROP3_PATCOPY), 0);
  EXPECT_EQ(g_.Paths().PaintRectangle(&surface_, rect, &red.bo, ROP3_PATINVERT), 0);
  EXPECT_EQ(Take(), "");

  // A cancelled job counts everything as done and writes nothing.
  switches_.jobCancelled = 1;
  EXPECT_EQ(g_.Paths().PaintRectangle(&surface_, rect, &hatch.bo, ROP3_PATCOPY), 1);
  HostPath box = Box();
  Fill(box, red);
  g_.Paths().PaintLine(&surface_, 0, 0, 5, 5, &red.bo, R2_COPYPEN);
  HostClip clip(Region(RECTL{1, 1, 5, 5}), nullptr, 4);
  g_.Clip().SelectClip(&surface_, &clip.co, nullptr);
  g_.Images().AddDirtyRect(rect);
  EXPECT_EQ(Take(), "");
  EXPECT_EQ(g_.Images().DirtyRegion().Count(), 0);
}

TEST_F(Graphics, DirtyListClampsGrowsAndFlushes) {
  RECTL outside{-5, -7, 1200, 1100};
  g_.Images().AddDirtyRect(outside);
  EXPECT_EQ((std::array<LONG, 4>{outside.left, outside.top, outside.right, outside.bottom}),
            (std::array<LONG, 4>{0, 0, 1000, 1000}));
  RECTL empty{1000, 5, 1010, 20};  // nothing left on the page
  g_.Images().AddDirtyRect(empty);
  ASSERT_EQ(g_.Images().DirtyRegion().Count(), 1);
  EXPECT_EQ(g_.Images().DirtyRegion().Capacity(), 256u);
  for (int i = 0; i < 256; ++i) {
    RECTL r{i, 0, i + 1, 1};
    g_.Images().AddDirtyRect(r);
  }
  EXPECT_EQ(g_.Images().DirtyRegion().Count(), 257);
  EXPECT_EQ(g_.Images().DirtyRegion().Capacity(), 512u);
  EXPECT_EQ(g_.Images().DirtyRegion()[256].left, 255);

  // A surface without bits has nothing to cut the areas from: they go.
  g_.Images().FlushDeferredBitmaps(&surface_);
  EXPECT_EQ(g_.Images().DirtyRegion().Count(), 0);
  g_.Images().FlushDeferredBitmaps(nullptr);
  EXPECT_EQ(g_.Images().DirtyRegion().Count(), 0);
  EXPECT_EQ(g_.Images().DirtyRegion().Capacity(), 512u);
  EXPECT_EQ(Take(), "");
}

TEST(GraphicsGeometry, PixelBoundsAndDeviceToUser) {
  RECTL r = PixelBounds(RECTFX{17, 31, 33, 48});
  EXPECT_EQ((std::array<LONG, 4>{r.left, r.top, r.right, r.bottom}), (std::array<LONG, 4>{1, 1, 3, 3}));
  r = PixelBounds(RECTFX{-17, 0, 0x7FFFFFFF, 0});
  EXPECT_EQ(r.left, -1);  // toward zero
  EXPECT_EQ(r.right, 0x8000000);

  CKMC_DocumentWriter writer;
  writer.SetGeometry(CKMC_PageGeometry{0, 7016, 72.0 / 600});
  CKMC_GraphicsSwitches switches;
  CKMC_Graphics g(writer, switches);
  double x = 600, y = 0;
  g.DeviceToUser(x, y);
  EXPECT_EQ(snk::FormatG(x), "72");
  EXPECT_DOUBLE_EQ(y, 7016 * 0.12);
  x = 0, y = 7016;
  g.DeviceToUser(x, y);
  EXPECT_EQ(y, 0.0);
  EXPECT_TRUE(ReadsDestination(0x55));
  EXPECT_FALSE(ReadsDestination(0xF0F0));
  EXPECT_FALSE(ReadsDestination(0xAA00 | ROP3_WHITENESS));
}

}  // namespace
