// The player's device context: EMF pages authored with EmfWriter are played
// onto a recording target, and the calls are checked the way a driver would
// see them.
#include "host/gdi/device_context.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <functional>

#include "host/gdi/emf_player.h"
#include "host/gdi/emf_records.h"
#include "tests/host/gdi/recording_target.h"
#include "tools/sample_job/emf_writer.h"

namespace snk::gdi {
namespace {

using test::RecordedCall;
using test::RecordingTarget;
using Pts = std::vector<std::pair<double, double>>;

// A reference device of 1000 x 1000 pixels on 100 x 100 mm with the frame
// covering it: on a 1000-pixel surface, reference pixels are surface pixels.
EmfWriter Page() { return EmfWriter({0, 0, 10000, 10000}, {1000, 1000}, {100, 100}); }

using test::Play;
using test::Played;

// A region's rectangles, comparable.
std::vector<std::array<LONG, 4>> Rects(const engine::Region& region) {
  std::vector<std::array<LONG, 4>> out;
  for (const RECTL& r : region.Rects()) out.push_back({r.left, r.top, r.right, r.bottom});
  return out;
}

std::vector<POINTL> Triangle() { return {{10, 10}, {50, 10}, {10, 40}}; }

TEST(DeviceContext, MappingModesAndWorldTransformsPlacePoints) {
  struct Case {
    const char* name;
    void (*setup)(EmfWriter&);
    LONG surface;
    Pts expected;
  };
  // clang-format off
  const Case cases[] = {
      {"text", [](EmfWriter&) {}, 1000, {{10, 10}, {50, 10}, {10, 40}}},
      {"page twice the reference", [](EmfWriter&) {}, 2000, {{20, 20}, {100, 20}, {20, 80}}},
      {"anisotropic", [](EmfWriter& w) {
         w.SetMapMode(kMmAnisotropic);
         w.SetWindowOrgEx(10, 10);
         w.SetWindowExtEx(100, 100);
         w.SetViewportOrgEx(500, 500);
         w.SetViewportExtEx(200, -100); },
       1000, {{500, 500}, {580, 500}, {500, 470}}},
      {"lometric flips y", [](EmfWriter& w) {
         w.SetMapMode(2);  // 0.1 mm = 1 pixel here
         w.SetViewportOrgEx(0, 500); },
       1000, {{10, 490}, {50, 490}, {10, 460}}},
      {"world scale and move", [](EmfWriter& w) {
         const float m[6] = {2, 0, 0, 3, 100, 200};
         w.SetWorldTransform(m); },
       1000, {{120, 230}, {200, 230}, {120, 320}}},
      {"modify: right multiply follows the current", [](EmfWriter& w) {
         const float scale[6] = {2, 0, 0, 2, 0, 0}, move[6] = {1, 0, 0, 1, 5, 7};
         w.SetWorldTransform(scale);
         w.ModifyWorldTransform(move, 3); },
       1000, {{25, 27}, {105, 27}, {25, 87}}},
      {"modify: left multiply comes first", [](EmfWriter& w) {
         const float scale[6] = {2, 0, 0, 2, 0, 0}, move[6] = {1, 0, 0, 1, 5, 7};
         w.SetWorldTransform(scale);
         w.ModifyWorldTransform(move, 2); },
       1000, {{30, 34}, {110, 34}, {30, 94}}},
      // Recorded bounds that lie mostly outside the frame start the page.
      {"bounds above the frame", [](EmfWriter& w) { w.SetBounds({-600, -500, -201, -101}); },
       1000, {{610, 510}, {650, 510}, {610, 540}}},
      {"bounds larger than the frame shrink the drawing",
       [](EmfWriter& w) { w.SetBounds({-1500, -1500, 499, 499}); },
       1000, {{755, 755}, {775, 755}, {755, 770}}},
      {"bounds mostly inside leave the frame", [](EmfWriter& w) { w.SetBounds({-100, -100, 899, 899}); },
       1000, {{10, 10}, {50, 10}, {10, 40}}},
      {"bounds far larger than the frame are not trusted",
       [](EmfWriter& w) { w.SetBounds({-90000, -90000, -80000, -80000}); },
       1000, {{10, 10}, {50, 10}, {10, 40}}},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EmfWriter w = Page();
    c.setup(w);
    w.SelectObject(kStockObject | 8);  // null pen: fill only
    w.Poly(EMR_POLYGON, Triangle());
    const Played p = Play(w, c.surface);
    EXPECT_TRUE(p.stats.errors.empty()) << p.stats.errors.front();
    EXPECT_EQ(p.stats.NotPlayedTotal(), 0u);
    ASSERT_EQ(p.calls.size(), 1u);
    EXPECT_EQ(p.calls[0].kind, "fill");
    EXPECT_EQ(p.calls[0].Points(), c.expected);
  }
}

TEST(DeviceContext, AFrameKeepsItsProportionsOnPaperOfAnotherShape) {
  EmfWriter w = Page();
  w.SelectObject(kStockObject | 8);
  w.Poly(EMR_POLYGON, Triangle());
  const auto file = EmfFile::Parse("t.emf", w.Finish(), nullptr);
  ASSERT_TRUE(file);
  struct Case {
    LONG width, height;
    Pts expected;
  };
  const Case cases[] = {
      {1000, 2000, {{10, 510}, {50, 510}, {10, 540}}},  // tall paper: centred
      {2000, 1000, {{510, 10}, {550, 10}, {510, 40}}},  // turned paper: centred
      {4000, 2000, {{1020, 20}, {1100, 20}, {1020, 80}}},
  };
  for (const Case& c : cases) {
    test::RecordingTarget target(c.width, c.height);
    EmfPlayer().PlayPage(*file, target);
    ASSERT_EQ(target.calls.size(), 1u);
    EXPECT_EQ(target.calls[0].Points(), c.expected) << c.width << "x" << c.height;
  }
  // A surface that differs from the frame's shape by rounding only is
  // filled, as paper made from the frame is.
  test::RecordingTarget nearly(1000, 1004);
  EmfPlayer().PlayPage(*file, nearly);
  ASSERT_EQ(nearly.calls.size(), 1u);
  EXPECT_GT(nearly.calls[0].Points()[2].second, 40.1);
}

TEST(DeviceContext, SaveAndRestoreStates) {
  EmfWriter w = Page();
  const float scale[6] = {2, 0, 0, 2, 0, 0};
  w.SelectObject(kStockObject | 8);
  w.SaveDC();  // 1: identity
  w.SetWorldTransform(scale);
  w.SaveDC();  // 2: scaled
  w.ModifyWorldTransform(scale, 1);
  w.RestoreDC(-1);  // back to scaled
  w.Poly(EMR_POLYGON, Triangle());
  w.RestoreDC(5);  // no such state: refused, state kept
  w.Poly(EMR_POLYGON, Triangle());
  w.RestoreDC(1);  // absolute: identity
  w.Poly(EMR_POLYGON, Triangle());
  w.RestoreDC(-1);  // nothing left
  const Played p = Play(w);
  ASSERT_EQ(p.calls.size(), 3u);
  EXPECT_EQ(p.calls[0].Points(), (Pts{{20, 20}, {100, 20}, {20, 80}}));
  EXPECT_EQ(p.calls[1].Points(), p.calls[0].Points());
  EXPECT_EQ(p.calls[2].Points(), (Pts{{10, 10}, {50, 10}, {10, 40}}));
  ASSERT_EQ(p.stats.errors.size(), 2u);
  EXPECT_NE(p.stats.errors[0].find("EMR_RESTOREDC"), std::string::npos);
}

TEST(DeviceContext, PenKindsReachTheTarget) {
  EmfWriter w = Page();
  const float scale[6] = {2, 0, 0, 2, 0, 0};
  w.SetWorldTransform(scale);
  w.CreatePen(1, kPsSolid, 0, Rgb(255, 0, 0));  // cosmetic
  w.CreatePen(2, kPsSolid, 5, Rgb(0, 255, 0));  // wide: 10 pixels
  w.CreatePen(3, kPsDash, 0, 0);                // styled cosmetic
  w.ExtCreatePen(4, PS_GEOMETRIC | PS_ENDCAP_FLAT | PS_JOIN_MITER, 4, Rgb(0, 0, 255));
  w.State(EMR_SETMITERLIMIT, {3});
  w.ExtCreatePen(5, PS_GEOMETRIC | PS_DASH, 2, 0);
  const std::vector<POINTL> line{{10, 10}, {100, 10}, {100, 50}};
  for (uint32_t pen = 1; pen <= 5; ++pen) {
    w.SelectObject(pen);
    w.Poly(EMR_POLYLINE, line);
  }
  const Played p = Play(w);
  ASSERT_TRUE(p.stats.errors.empty()) << p.stats.errors.front();
  ASSERT_EQ(p.calls.size(), 5u);
  for (const RecordedCall& c : p.calls) {
    EXPECT_EQ(c.kind, "stroke");
    EXPECT_EQ(c.Points(), (Pts{{20, 20}, {200, 20}, {200, 100}}));
    EXPECT_EQ(c.mix, 13u | 13u << 8);
  }
  const RecordedCall& cosmetic = p.calls[0];
  EXPECT_EQ(cosmetic.line.fl & LA_GEOMETRIC, 0u);
  EXPECT_EQ(cosmetic.line.elWidth.l, 1);
  EXPECT_FALSE(cosmetic.hasXform);
  EXPECT_EQ(cosmetic.strokeColor, Rgb(255, 0, 0));

  const RecordedCall& wide = p.calls[1];
  EXPECT_EQ(wide.line.fl, LA_GEOMETRIC);
  EXPECT_FLOAT_EQ(wide.line.elWidth.e, 5);
  EXPECT_EQ(wide.line.iEndCap, ENDCAP_ROUND);
  EXPECT_EQ(wide.line.iJoin, JOIN_ROUND);
  ASSERT_TRUE(wide.hasXform);
  EXPECT_EQ(wide.xform[0], 2);
  EXPECT_EQ(wide.xform[3], 2);

  const RecordedCall& dashed = p.calls[2];
  EXPECT_EQ(dashed.line.fl, LA_STYLED);
  ASSERT_EQ(dashed.style.size(), 2u);
  EXPECT_EQ(dashed.style[0].l, 18);
  EXPECT_EQ(dashed.style[1].l, 6);

  const RecordedCall& ext = p.calls[3];
  EXPECT_EQ(ext.line.fl, LA_GEOMETRIC);
  EXPECT_EQ(ext.line.iEndCap, ENDCAP_BUTT);
  EXPECT_EQ(ext.line.iJoin, JOIN_MITER);
  EXPECT_FLOAT_EQ(ext.line.eMiterLimit, 3);
  EXPECT_EQ(ext.strokeColor, Rgb(0, 0, 255));

  // Dashes of a wide pen scale with its width, in logical units.
  const RecordedCall& wideDash = p.calls[4];
  EXPECT_EQ(wideDash.line.fl, LA_GEOMETRIC | LA_STYLED);
  ASSERT_EQ(wideDash.style.size(), 2u);
  EXPECT_FLOAT_EQ(wideDash.style[0].e, 6);
  EXPECT_FLOAT_EQ(wideDash.style[1].e, 2);
}

TEST(DeviceContext, LineToTakesTheFastPathOnlyForThinSolidPens) {
  EmfWriter w = Page();
  w.State(EMR_SETROP2, {7});  // R2_XORPEN
  w.MoveToEx(30, 20);
  w.LineTo(10, 5);
  w.CreatePen(1, kPsSolid, 3, 0);
  w.SelectObject(1);
  w.LineTo(40, 40);  // from (10, 5): the current position moved
  const Played p = Play(w);
  ASSERT_EQ(p.calls.size(), 2u);
  const RecordedCall& fast = p.calls[0];
  EXPECT_EQ(fast.kind, "lineto");
  EXPECT_EQ(std::vector<LONG>({fast.x1, fast.y1, fast.x2, fast.y2}), std::vector<LONG>({30, 20, 10, 5}));
  EXPECT_EQ(fast.target.left, 10);
  EXPECT_EQ(fast.target.top, 5);
  EXPECT_EQ(fast.target.right, 31);
  EXPECT_EQ(fast.target.bottom, 21);
  EXPECT_EQ(fast.mix, 7u | 7u << 8);
  EXPECT_EQ(fast.clipComplexity, DC_TRIVIAL);
  EXPECT_EQ(p.calls[1].kind, "stroke");
  EXPECT_EQ(p.calls[1].Points(), (Pts{{10, 5}, {40, 40}}));
}

TEST(DeviceContext, RectanglesByPenAndBrush) {
  EmfWriter w = Page();
  w.CreateBrushIndirect(1, kBsSolid, Rgb(1, 2, 3));
  w.SelectObject(1);
  w.Rectangle({10, 10, 20, 30});  // black pen + brush
  w.SelectObject(kStockObject | 8);
  w.Rectangle({20, 30, 10, 10});  // null pen: a blit one pixel short
  w.State(EMR_SETROP2, {7});
  w.Rectangle({0, 0, 5, 5});
  w.SelectObject(kStockObject | 5);
  w.Rectangle({0, 0, 5, 5});  // null pen and null brush: nothing
  const Played p = Play(w);
  ASSERT_TRUE(p.stats.errors.empty());
  ASSERT_EQ(p.calls.size(), 3u);
  EXPECT_EQ(p.calls[0].kind, "strokefill");
  EXPECT_EQ(p.calls[0].fillColor, Rgb(1, 2, 3));
  EXPECT_EQ(p.calls[0].strokeColor, 0u);
  EXPECT_EQ(p.calls[1].kind, "bitblt");
  EXPECT_EQ(p.calls[1].target.left, 10);
  EXPECT_EQ(p.calls[1].target.top, 10);
  EXPECT_EQ(p.calls[1].target.right, 19);
  EXPECT_EQ(p.calls[1].target.bottom, 29);
  EXPECT_EQ(p.calls[1].rop, 0xF0F0u);
  EXPECT_EQ(p.calls[1].fillColor, Rgb(1, 2, 3));
  EXPECT_EQ(p.calls[2].rop, 0x5A5Au);
}

TEST(DeviceContext, PathBracketCollectsShapesUntilFillPath) {
  EmfWriter w = Page();
  w.State(EMR_SETPOLYFILLMODE, {2});
  w.Bare(EMR_BEGINPATH);
  w.Poly(EMR_POLYGON, Triangle());
  w.MoveToEx(100, 100);
  w.Poly(EMR_POLYLINETO, std::vector<POINTL>{{200, 100}, {200, 200}});
  w.Bare(EMR_CLOSEFIGURE);
  w.Bare(EMR_ENDPATH);
  w.PathOp(EMR_FILLPATH);
  w.PathOp(EMR_FILLPATH);  // the path was used up
  const Played p = Play(w);
  ASSERT_EQ(p.calls.size(), 1u);
  EXPECT_EQ(p.calls[0].kind, "fill");
  EXPECT_EQ(p.calls[0].fillOptions, FP_WINDINGMODE);
  EXPECT_EQ(p.calls[0].fillColor, 0xFFFFFFu);
  EXPECT_EQ(p.calls[0].Points(), (Pts{{10, 10}, {50, 10}, {10, 40}, {100, 100}, {200, 100}, {200, 200}}));
  size_t closed = 0;
  for (const auto& run : p.calls[0].runs) closed += (run.flags & PD_CLOSEFIGURE) != 0;
  EXPECT_EQ(closed, 2u);
  ASSERT_EQ(p.stats.errors.size(), 1u);
  EXPECT_NE(p.stats.errors[0].find("EMR_FILLPATH"), std::string::npos);
}

TEST(DeviceContext, ClipRecordsBuildRegions) {
  using engine::Region;
  const RECTL a{100, 100, 300, 300};
  const RECTL b{200, 200, 400, 400};
  struct Case {
    const char* name;
    std::function<void(EmfWriter&)> setup;
    Region expected;
  };
  using engine::RegionOp;
  // Two rectangles, combined by mode `m`.
  auto two = [](int m) {
    return [m](EmfWriter& w) {
      w.ExtSelectClipRgn(std::vector<RECTL>{{100, 100, 300, 300}}, 5);
      w.ExtSelectClipRgn(std::vector<RECTL>{{200, 200, 400, 400}}, m);
    };
  };
  // clang-format off
  const Case cases[] = {
      {"intersect", [](EmfWriter& w) { w.RectRecord(EMR_INTERSECTCLIPRECT, {100, 100, 300, 300}); },
       Region(a)},
      {"exclude", [](EmfWriter& w) { w.RectRecord(EMR_EXCLUDECLIPRECT, {100, 100, 300, 300}); },
       Region({0, 0, 1000, 1000}).Combine(Region(a), RegionOp::Diff)},
      {"and", two(1), Region(a).Combine(Region(b), RegionOp::And)},
      {"or", two(2), Region(a).Combine(Region(b), RegionOp::Or)},
      {"xor", two(3), Region(a).Combine(Region(b), RegionOp::Xor)},
      {"diff", two(4), Region(a).Combine(Region(b), RegionOp::Diff)},
      {"copy without data resets", [](EmfWriter& w) {
         w.ExtSelectClipRgn(std::vector<RECTL>{{100, 100, 300, 300}}, 5);
         w.ExtSelectClipRgn({}, 5); },
       Region({0, 0, 1000, 1000})},
      {"meta region stays under a new clip", [](EmfWriter& w) {
         w.RectRecord(EMR_INTERSECTCLIPRECT, {100, 100, 300, 300});
         w.Bare(EMR_SETMETARGN);
         w.ExtSelectClipRgn(std::vector<RECTL>{{200, 200, 400, 400}}, 5); },
       Region(a).Combine(Region(b), RegionOp::And)},
      {"offset", [](EmfWriter& w) {
         w.RectRecord(EMR_INTERSECTCLIPRECT, {100, 100, 300, 300});
         w.State(EMR_OFFSETCLIPRGN, {100, 100}); },
       Region(b)},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EmfWriter w = Page();
    c.setup(w);
    w.SelectObject(kStockObject | 8);
    w.RectRecord(EMR_ELLIPSE, {0, 0, 1000, 1000});
    const Played p = Play(w);
    EXPECT_TRUE(p.stats.errors.empty());
    ASSERT_EQ(p.calls.size(), 1u);
    EXPECT_EQ(Rects(p.calls[0].clipRegion), Rects(c.expected));
    EXPECT_EQ(p.calls[0].clipComplexity, c.expected.IsRect() ? DC_RECT : DC_COMPLEX);
  }
}

TEST(DeviceContext, DrawingOutsideTheClipIsNotSent) {
  EmfWriter w = Page();
  w.RectRecord(EMR_INTERSECTCLIPRECT, {500, 500, 600, 600});
  w.Poly(EMR_POLYGON, Triangle());
  w.RectRecord(EMR_RECTANGLE, {550, 550, 560, 560});
  const Played p = Play(w);
  ASSERT_EQ(p.calls.size(), 1u);
  EXPECT_EQ(p.calls[0].clipComplexity, DC_TRIVIAL);
  EXPECT_EQ(p.stats.played, 3u);
}

TEST(DeviceContext, RegionRecordsPixelsAndHatchMixes) {
  EmfWriter w = Page();
  w.CreateBrushIndirect(1, kBsSolid, Rgb(7, 7, 7));
  w.CreateBrushIndirect(2, kBsHatched, Rgb(0, 0, 9), 4);
  const std::vector<RECTL> region{{10, 10, 20, 20}, {30, 10, 40, 20}};
  w.RegionRecord(EMR_FILLRGN, region, 1);
  w.RegionRecord(EMR_INVERTRGN, region);
  w.State(EMR_SETPIXELV, {5, 6, Rgb(1, 1, 1)});
  w.SelectObject(2);
  w.SelectObject(kStockObject | 8);
  w.SetBkMode(kTransparent);
  w.Poly(EMR_POLYGON, Triangle());
  w.SetBkMode(kOpaque);
  w.Poly(EMR_POLYGON, Triangle());
  w.RegionRecord(EMR_FILLRGN, region, 9);  // no such brush
  const Played p = Play(w);
  ASSERT_EQ(p.calls.size(), 5u);
  const RecordedCall& fill = p.calls[0];
  EXPECT_EQ(fill.kind, "bitblt");
  EXPECT_EQ(fill.rop, 0xF0F0u);
  EXPECT_EQ(fill.fillColor, Rgb(7, 7, 7));
  EXPECT_EQ(fill.target.left, 10);
  EXPECT_EQ(fill.target.right, 40);
  EXPECT_EQ(Rects(fill.clipRegion), Rects(engine::Region::FromRects(region)));
  EXPECT_EQ(p.calls[1].rop, 0x5555u);
  EXPECT_EQ(p.calls[2].rop, 0xF0F0u);
  EXPECT_EQ(p.calls[2].fillColor, Rgb(1, 1, 1));
  EXPECT_EQ(p.calls[2].target.left, 5);
  EXPECT_EQ(p.calls[2].target.right, 6);
  EXPECT_EQ(p.calls[3].mix, 13u | R2_NOP << 8);
  EXPECT_EQ(p.calls[4].mix, 13u | 13u << 8);
  ASSERT_EQ(p.stats.errors.size(), 1u);
  EXPECT_NE(p.stats.errors[0].find("EMR_FILLRGN"), std::string::npos);
}

TEST(DeviceContext, DeletedSelectionKeepsDrawing) {
  EmfWriter w = Page();
  w.CreatePen(1, kPsSolid, 0, Rgb(9, 9, 9));
  w.SelectObject(1);
  w.DeleteObject(1);
  w.Poly(EMR_POLYLINE, Triangle());
  w.SelectObject(1);  // the slot is empty now
  const Played p = Play(w);
  ASSERT_EQ(p.calls.size(), 1u);
  EXPECT_EQ(p.calls[0].strokeColor, Rgb(9, 9, 9));
  ASSERT_EQ(p.stats.errors.size(), 1u);
  EXPECT_NE(p.stats.errors[0].find("EMR_SELECTOBJECT"), std::string::npos);
}

TEST(DeviceContext, BadInputGivesErrorsNotCrashes) {
  EmfWriter w = Page();
  w.CreateBrushIndirect(1, kBsSolid, 0);
  w.CreatePen(2, kPsSolid, 0, 0);
  w.SelectObject(0);                 // 1 reserved index
  w.SelectObject(77);                // 2 beyond the table
  w.SelectObject(kStockObject | 9);  // 3 no such stock object
  w.DeleteObject(2);
  w.DeleteObject(2);  // 4 already empty
  const float singular[6] = {1, 2, 2, 4, 0, 0};
  w.SetWorldTransform(singular);  // 5
  const float huge[6] = {1e30f, 0, 0, 1e30f, 0, 0};
  w.SetWorldTransform(huge);
  w.Poly(EMR_POLYLINE, Triangle());  // 6 far outside
  w.ModifyWorldTransform(huge, 1);
  // 7: a POLYPOLYGON claiming 2^31 polygons.
  {
    std::vector<std::byte> payload(16 + 8, std::byte{0});
    payload[16 + 3] = std::byte{0x80};
    w.Add(EMR_POLYPOLYGON16, payload);
  }
  // 8: a POLYLINE claiming more points than it holds.
  {
    std::vector<std::byte> payload(16 + 4 + 8, std::byte{0});
    payload[16] = std::byte{100};
    w.Add(EMR_POLYLINE, payload);
  }
  // 9: region data whose count lies.
  {
    std::vector<std::byte> data = EmfWriter::RegionData(std::vector<RECTL>{{0, 0, 10, 10}});
    data[8] = std::byte{50};
    std::vector<std::byte> payload(8);
    payload[0] = std::byte(data.size());
    payload[4] = std::byte{5};
    payload.insert(payload.end(), data.begin(), data.end());
    w.Add(EMR_EXTSELECTCLIPRGN, payload);
  }
  // 10: a region record whose data size runs past the record.
  {
    std::vector<std::byte> payload(16 + 4, std::byte{0});
    payload[16 + 3] = std::byte{0x7F};
    w.Add(EMR_INVERTRGN, payload);
  }
  w.Add(EMR_RECTANGLE, {});  // 11 too short
  w.SelectObject(kStockObject | 0);
  w.SelectObject(2);  // 12 deleted
  const Played p = Play(w);
  EXPECT_EQ(p.stats.errors.size(), 12u);
  for (const std::string& e : p.stats.errors) EXPECT_NE(e.find("t.emf: record"), std::string::npos) << e;
  EXPECT_TRUE(p.calls.empty());
}

}  // namespace
}  // namespace snk::gdi
