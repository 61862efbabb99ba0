// The engine objects handed to drivers: path enumeration, regions, clips,
// transforms and brushes.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "host/engine/brush.h"
#include "host/engine/clip.h"
#include "host/engine/path.h"
#include "host/engine/region.h"
#include "host/engine/xform.h"

namespace snk::engine {
namespace {

POINTFIX Px(int x, int y) { return POINTFIX{x * 16, y * 16}; }

struct Record {
  FLONG flags;
  std::vector<POINTFIX> points;
};

std::vector<Record> Enumerate(PATHOBJ* po) {
  std::vector<Record> out;
  PATHOBJ_vEnumStart(po);
  PATHDATA pd{};
  BOOL more;
  do {
    more = PATHOBJ_bEnum(po, &pd);
    if (pd.count) out.push_back({pd.flags, std::vector<POINTFIX>(pd.pptfx, pd.pptfx + pd.count)});
  } while (more);
  return out;
}

TEST(EnginePathTest, EnumeratesRunsWithSubpathFlagsAndRestarts) {
  HostPath path;
  path.MoveTo(Px(0, 0));
  path.LineTo(Px(10, 0));
  path.LineTo(Px(10, 10));
  path.BezierTo(Px(5, 15), Px(0, 15), Px(0, 10));
  path.CloseFigure();
  path.LineTo(Px(3, 3));  // a new figure from the closed one's start

  auto records = Enumerate(&path.po);
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(records[0].flags, PD_BEGINSUBPATH | PD_RESETSTYLE);
  EXPECT_EQ(records[0].points.size(), 3u);  // start + two line ends
  EXPECT_EQ(records[1].flags, PD_BEZIERS | PD_ENDSUBPATH | PD_CLOSEFIGURE);
  EXPECT_EQ(records[1].points.size(), 3u);
  EXPECT_EQ(records[2].flags, PD_BEGINSUBPATH | PD_RESETSTYLE | PD_ENDSUBPATH);
  EXPECT_EQ(records[2].points[0].x, 0);
  EXPECT_EQ(records[2].points[1].x, 48);
  EXPECT_TRUE(path.po.fl & PO_BEZIERS);
  EXPECT_EQ(path.po.cCurves, 4u);

  // A second enumeration gives the same records.
  EXPECT_EQ(Enumerate(&path.po).size(), 3u);

  RECTFX b{};
  PATHOBJ_vGetBounds(&path.po, &b);
  EXPECT_EQ(b.xLeft, 0);
  EXPECT_EQ(b.yTop, 0);
  EXPECT_EQ(b.xRight, 160);
  EXPECT_EQ(b.yBottom, 240);
}

TEST(EnginePathTest, SinglePointFigureAndEmptyPath) {
  HostPath empty;
  EXPECT_TRUE(Enumerate(&empty.po).empty());

  HostPath dot;
  dot.MoveTo(Px(1, 1));
  dot.MoveTo(Px(2, 2));  // the first, empty figure is dropped
  auto records = Enumerate(&dot.po);
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].flags, PD_BEGINSUBPATH | PD_RESETSTYLE | PD_ENDSUBPATH);
  EXPECT_EQ(records[0].points[0].x, 32);
}

TEST(EnginePathTest, ForeignPointersAreRefused) {
  PATHOBJ foreign{};
  PATHDATA pd{1, 5, nullptr};
  EXPECT_FALSE(PATHOBJ_bEnum(&foreign, &pd));
  EXPECT_EQ(pd.count, 0u);
  EngDeletePath(&foreign);  // not the engine's to free: ignored
  HostPath onStack;
  EngDeletePath(&onStack.po);  // not made by CLIPOBJ_ppoGetPath: ignored
  EXPECT_EQ(ToFix(1e12), 0x7FFFFFFF);
  EXPECT_EQ(ToFix(0.03), 0);
  EXPECT_EQ(ToFix(-0.5), -8);
}

// Every invariant of the banded form.
void ExpectBanded(const Region& region) {
  const auto& rects = region.Rects();
  for (size_t i = 0; i < rects.size(); ++i) {
    EXPECT_LT(rects[i].left, rects[i].right);
    EXPECT_LT(rects[i].top, rects[i].bottom);
    if (i == 0) continue;
    const RECTL& a = rects[i - 1];
    const RECTL& b = rects[i];
    if (a.top == b.top) {
      EXPECT_EQ(a.bottom, b.bottom);
      EXPECT_LT(a.right, b.left);  // sorted, not touching
    } else {
      EXPECT_GE(b.top, a.bottom);
    }
  }
}

TEST(EngineRegionTest, CombineAgreesWithPixelsForEveryMode) {
  std::mt19937 random(7);
  auto randomRegion = [&] {
    std::vector<RECTL> rects;
    for (int i = 0; i < 6; ++i) {
      const int l = random() % 30, t = random() % 30;
      rects.push_back(RECTL{l, t, l + 1 + int(random() % 12), t + 1 + int(random() % 12)});
    }
    return Region::FromRects(rects);
  };
  for (int round = 0; round < 40; ++round) {
    const Region a = randomRegion(), b = randomRegion();
    for (RegionOp op : {RegionOp::And, RegionOp::Or, RegionOp::Xor, RegionOp::Diff, RegionOp::Copy}) {
      const Region c = a.Combine(b, op);
      ExpectBanded(c);
      for (int y = -1; y < 45; ++y)
        for (int x = -1; x < 45; ++x) {
          const bool ia = a.Contains(x, y), ib = b.Contains(x, y);
          bool want = ia;
          if (op == RegionOp::And) want = ia && ib;
          if (op == RegionOp::Or) want = ia || ib;
          if (op == RegionOp::Xor) want = ia != ib;
          if (op == RegionOp::Diff) want = ia && !ib;
          ASSERT_EQ(c.Contains(x, y), want) << "op " << int(op) << " at " << x << "," << y;
        }
    }
  }
}

TEST(EngineRegionTest, SamePixelsSameRectangles) {
  // Two halves of a square, split either way, give one rectangle.
  RECTL left[] = {{0, 0, 5, 10}, {5, 0, 10, 10}};
  RECTL top[] = {{0, 0, 10, 4}, {0, 4, 10, 10}};
  EXPECT_EQ(Region::FromRects(left), Region::FromRects(top));
  EXPECT_TRUE(Region::FromRects(left).IsRect());
  EXPECT_TRUE(Region(RECTL{0, 0, 10, 10}).ContainsRect(RECTL{2, 2, 10, 10}));
  EXPECT_FALSE(Region(RECTL{0, 0, 10, 10}).ContainsRect(RECTL{2, 2, 11, 10}));

  Region r(RECTL{0, 0, 4, 4});
  r.Offset(0x7FFFFFFF, 0);  // saturates instead of overflowing
  EXPECT_TRUE(r.Empty());
  EXPECT_EQ(Region(RECTL{1, 1, 3, 3}).Transformed(2, 2, 1, 0).Bounds().right, 7);
}

TEST(EngineRegionTest, PathRegionsFollowPixelCentresAndFillRule) {
  HostPath square;
  square.AddRectangle(RECTL{2, 3, 7, 9});
  const Region r = Region::FromPath(square, false);
  ASSERT_TRUE(r.IsRect());
  EXPECT_EQ(r.Bounds().left, 2);
  EXPECT_EQ(r.Bounds().bottom, 9);

  // Two overlapping squares drawn the same way round: the overlap is a hole
  // under the alternate rule and filled under the winding rule.
  HostPath twice;
  twice.AddRectangle(RECTL{0, 0, 10, 10});
  twice.AddRectangle(RECTL{5, 5, 15, 15});
  EXPECT_FALSE(Region::FromPath(twice, false).Contains(7, 7));
  EXPECT_TRUE(Region::FromPath(twice, true).Contains(7, 7));
  EXPECT_TRUE(Region::FromPath(twice, false).Contains(2, 2));

  // Centres on a left or top edge are inside, on a right or bottom edge
  // outside: 0.5..3.5 by 0.5..1.5 is pixels 0 to 2 of row 0.
  HostPath half;
  half.MoveTo(POINTFIX{8, 8});
  half.LineTo(POINTFIX{8 + 16 * 3, 8});
  half.LineTo(POINTFIX{8 + 16 * 3, 8 + 16});
  half.LineTo(POINTFIX{8, 8 + 16});
  half.CloseFigure();
  const Region h = Region::FromPath(half, true);
  EXPECT_EQ(h.Rects().size(), 1u);
  EXPECT_EQ(h.Bounds().left, 0);
  EXPECT_EQ(h.Bounds().right, 3);
  EXPECT_EQ(h.Bounds().bottom, 1);

  // Absurd coordinates end in bounded work, not a hang.
  HostPath huge;
  huge.AddRectangle(RECTL{-2000000000, -2000000000, 2000000000, 2000000000});
  EXPECT_FALSE(Region::FromPath(huge, false).Empty());
}

TEST(EngineClipTest, ComplexityAndOutlinePath) {
  const Region page(RECTL{0, 0, 100, 100});
  RECTL inside{10, 10, 20, 20}, across{90, 90, 120, 120};
  EXPECT_EQ(HostClip(page, &inside, 3).co.iDComplexity, DC_TRIVIAL);
  HostClip rect(page, &across, 3);
  EXPECT_EQ(rect.co.iDComplexity, DC_RECT);
  EXPECT_EQ(rect.co.rclBounds.right, 100);
  EXPECT_EQ(rect.co.iUniq, 3u);

  RECTL two[] = {{0, 0, 10, 10}, {20, 0, 30, 10}};
  HostClip complex(Region::FromRects(two), nullptr, 0);
  EXPECT_EQ(complex.co.iDComplexity, DC_COMPLEX);
  PATHOBJ* po = CLIPOBJ_ppoGetPath(&complex.co);
  ASSERT_NE(po, nullptr);
  auto records = Enumerate(po);
  ASSERT_EQ(records.size(), 2u);
  EXPECT_TRUE(records[1].flags & PD_CLOSEFIGURE);
  EXPECT_EQ(Region::FromPath(*HostPath::From(po), false), complex.region());
  EngDeletePath(po);

  CLIPOBJ foreign{};
  EXPECT_EQ(CLIPOBJ_ppoGetPath(&foreign), nullptr);
}

TEST(EngineXformTest, KindsAndForeignObjects) {
  XFORML m{};
  HostXform identity(1, 0, 0, 1, 0, 0), offset(1, 0, 0, 1, 5, 0), scale(2, 0, 0, 3, 0, 0),
      rotate(0, 1, -1, 0, 0, 0);
  EXPECT_EQ(XFORMOBJ_iGetXform(&identity.xo, &m), GX_IDENTITY);
  EXPECT_EQ(XFORMOBJ_iGetXform(&offset.xo, &m), GX_OFFSET);
  EXPECT_EQ(XFORMOBJ_iGetXform(&scale.xo, &m), GX_SCALE);
  EXPECT_EQ(m.eM22, 3.0f);
  EXPECT_EQ(XFORMOBJ_iGetXform(&rotate.xo, &m), GX_GENERAL);
  EXPECT_EQ(m.eM21, -1.0f);
  XFORMOBJ foreign{};
  EXPECT_EQ(XFORMOBJ_iGetXform(&foreign, &m), DDI_ERROR);
}

TEST(EngineBrushTest, ColoursPatternsAndRealisation) {
  HostBrush solid = HostBrush::Solid(0x123456);
  EXPECT_EQ(BRUSHOBJ_ulGetBrushColor(&solid.bo), 0x123456u);
  HostBrush hatch = HostBrush::Hatch(HS_CROSS, 0x0000FF, 0xFFFFFF);
  EXPECT_EQ(hatch.bo.iSolidColor, 0xFFFFFFFFu);
  EXPECT_EQ(BRUSHOBJ_ulGetBrushColor(&hatch.bo), 0xFFFFFFFFu);
  bool fg = false;
  EXPECT_EQ(hatch.PixelAt(7, 3, &fg), 0x0000FFu);
  EXPECT_TRUE(fg);
  EXPECT_EQ(hatch.PixelAt(-2, 3, &fg), 0xFFFFFFu);  // -2 wraps to column 6
  EXPECT_FALSE(fg);

  HostBrush pattern = HostBrush::Pattern(2, 1, {0xAA, 0xBB});
  EXPECT_EQ(pattern.PixelAt(-1, 5, nullptr), 0xBBu);
  EXPECT_EQ(HostBrush::Pattern(3, 1, {1, 2}).kind, BrushKind::Solid);  // sizes disagree

  void* realized = BRUSHOBJ_pvAllocRbrush(&solid.bo, 4);
  ASSERT_NE(realized, nullptr);
  HostBrush moved = std::move(solid);
  EXPECT_EQ(moved.bo.pvRbrush, realized);
  BRUSHOBJ foreign{};
  EXPECT_EQ(BRUSHOBJ_pvAllocRbrush(&foreign, 4), nullptr);
}

}  // namespace
}  // namespace snk::engine
