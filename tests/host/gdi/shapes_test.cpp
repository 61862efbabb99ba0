// GDI shapes as paths: where the points of ellipses and arcs lie, which way
// they run, how finely curves are flattened and what a wide pen covers.
#include "host/gdi/shapes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "platform/winddi.h"

namespace snk::gdi {
namespace {

constexpr double kPi = 3.14159265358979323846;

PointD Bezier(PointD p0, PointD p1, PointD p2, PointD p3, double t) {
  const double s = 1 - t;
  return {s * s * s * p0.x + 3 * s * s * t * p1.x + 3 * s * t * t * p2.x + t * t * t * p3.x,
          s * s * s * p0.y + 3 * s * s * t * p1.y + 3 * s * t * t * p2.y + t * t * t * p3.y};
}

// How far p lies off the ellipse of centre c and radii (rx, ry), relative.
double EllipseError(PointD p, PointD c, double rx, double ry) {
  return std::fabs(std::hypot((p.x - c.x) / rx, (p.y - c.y) / ry) - 1);
}

// Every on-curve point and every curve midpoint of a path.
std::vector<PointD> Samples(const GdiPath& path) {
  std::vector<PointD> out;
  for (size_t i = 0; i < path.points.size(); ++i) {
    if ((path.types[i] & ~PT_CLOSEFIGURE) == PT_BEZIERTO) {
      if (i == 0 || i + 2 >= path.points.size()) {
        ADD_FAILURE() << "a curve without its points at " << i;
        break;
      }
      out.push_back(Bezier(path.points[i - 1], path.points[i], path.points[i + 1], path.points[i + 2], 0.5));
      out.push_back(path.points[i + 2]);
      i += 2;
    } else {
      out.push_back(path.points[i]);
    }
  }
  return out;
}

// The winding number of the closed polygons of a widened path around p.
int Winding(const GdiPath& path, PointD p) {
  int winding = 0;
  size_t start = 0;
  for (size_t i = 0; i < path.points.size(); ++i) {
    EXPECT_NE(path.types[i] & ~PT_CLOSEFIGURE, PT_BEZIERTO);
    const bool last = i + 1 == path.points.size() || path.types[i + 1] == PT_MOVETO;
    if (!last) continue;
    EXPECT_TRUE(path.types[i] & PT_CLOSEFIGURE);
    for (size_t k = start; k <= i; ++k) {
      const PointD a = path.points[k], b = path.points[k == i ? start : k + 1];
      const double cross = (b.x - a.x) * (p.y - a.y) - (p.x - a.x) * (b.y - a.y);
      if (a.y <= p.y && b.y > p.y && cross > 0) ++winding;
      if (a.y > p.y && b.y <= p.y && cross < 0) --winding;
    }
    start = i + 1;
  }
  return winding;
}

bool Covers(const GdiPath& path, PointD p) { return Winding(path, p) != 0; }

struct Bounds {
  double left = 1e300, top = 1e300, right = -1e300, bottom = -1e300;
};

Bounds BoundsOf(const GdiPath& path) {
  Bounds b;
  for (const PointD& p : path.points) {
    b.left = std::min(b.left, p.x);
    b.top = std::min(b.top, p.y);
    b.right = std::max(b.right, p.x);
    b.bottom = std::max(b.bottom, p.y);
  }
  return b;
}

TEST(Shapes, EllipseQuarterPointsAndMidpointsLieOnTheEllipse) {
  for (bool clockwise : {false, true}) {
    SCOPED_TRACE(clockwise ? "clockwise" : "counter-clockwise");
    GdiPath path;
    // Corners in either order; the shape ends one unit short of right and bottom.
    AppendEllipse(path, 201, 81, 0, 0, clockwise);
    ASSERT_EQ(path.points.size(), 13u);
    EXPECT_EQ(path.types[0], PT_MOVETO);
    EXPECT_EQ(path.types[12], PT_BEZIERTO | PT_CLOSEFIGURE);
    const PointD c{100, 40};
    EXPECT_EQ(path.points[0], (PointD{200, 40}));
    // Counter-clockwise on screen (y down) goes up first.
    EXPECT_EQ(path.points[3], clockwise ? (PointD{100, 80}) : (PointD{100, 0}));
    EXPECT_EQ(path.points[6], (PointD{0, 40}));
    EXPECT_EQ(path.points[12], path.points[0]);
    for (const PointD& p : Samples(path)) EXPECT_LT(EllipseError(p, c, 100, 40), 0.001) << p.x << "," << p.y;
  }
}

TEST(Shapes, RectanglesAndRoundRectsRunInTheArcDirection) {
  GdiPath ccw, cw;
  AppendRectangle(ccw, 10, 20, 0, 0, false);
  AppendRectangle(cw, 0, 0, 10, 20, true);
  EXPECT_EQ(ccw.points, (std::vector<PointD>{{9, 0}, {0, 0}, {0, 19}, {9, 19}}));
  EXPECT_EQ(cw.points, (std::vector<PointD>{{0, 0}, {9, 0}, {9, 19}, {0, 19}}));
  EXPECT_EQ(ccw.types, (std::vector<uint8_t>{PT_MOVETO, PT_LINETO, PT_LINETO, PT_LINETO | PT_CLOSEFIGURE}));

  for (bool clockwise : {false, true}) {
    GdiPath round;
    AppendRoundRect(round, 0, 0, 101, 51, 20, 10, clockwise);
    ASSERT_FALSE(round.Empty());
    EXPECT_TRUE(round.types.back() & PT_CLOSEFIGURE);
    // Signed area (shoelace over the samples) tells the direction; screen y is down.
    const std::vector<PointD> s = Samples(round);
    double area = 0;
    for (size_t i = 0; i < s.size(); ++i)
      area += s[i].x * s[(i + 1) % s.size()].y - s[(i + 1) % s.size()].x * s[i].y;
    EXPECT_EQ(area > 0, clockwise);
    // The corners are cut.
    for (const PointD& p : round.points) EXPECT_FALSE(p.x < 3 && p.y < 1.5);
  }
  GdiPath square;  // no corner: a rectangle
  AppendRoundRect(square, 0, 0, 11, 11, 0, 5, false);
  EXPECT_EQ(square.points.size(), 4u);
}

TEST(Shapes, ArcsFollowTheirDirectionAndClose) {
  // The box (0,0)-(100,100) less one: centre (49.5, 49.5), radius 49.5.
  const PointD c{49.5, 49.5};
  const PointD right{200, 49.5}, top{49.5, -300};
  {
    GdiPath path;
    const PointD end = AppendArc(path, 0, 0, 100, 100, right, top, false, ArcKind::Arc, {});
    ASSERT_EQ(path.points.size(), 4u);  // a quarter: one curve
    EXPECT_EQ(path.types[0], PT_MOVETO);
    EXPECT_NEAR(path.points[0].x, 99, 1e-9);
    EXPECT_NEAR(end.x, 49.5, 1e-9);
    EXPECT_NEAR(end.y, 0, 1e-9);
    EXPECT_FALSE(path.types.back() & PT_CLOSEFIGURE);
  }
  {
    GdiPath path;  // clockwise from the same rays: three quarters, through the bottom
    AppendArc(path, 0, 0, 100, 100, right, top, true, ArcKind::Arc, {});
    ASSERT_EQ(path.points.size(), 10u);
    EXPECT_NEAR(path.points[3].y, 99, 1e-9);
    for (const PointD& p : Samples(path)) EXPECT_LT(EllipseError(p, c, 49.5, 49.5), 0.001);
  }
  {
    GdiPath path;  // equal rays: the whole ellipse
    AppendArc(path, 0, 0, 100, 100, right, right, false, ArcKind::Chord, {});
    EXPECT_EQ(path.points.size(), 13u);
    EXPECT_NEAR(path.points.back().x, path.points.front().x, 1e-9);
    EXPECT_TRUE(path.types.back() & PT_CLOSEFIGURE);
  }
  {
    GdiPath path;  // a pie goes to the centre and closes
    AppendArc(path, 0, 0, 100, 100, right, top, false, ArcKind::Pie, {});
    ASSERT_EQ(path.points.size(), 5u);
    EXPECT_EQ(path.points[4], c);
    EXPECT_EQ(path.types[4], PT_LINETO | PT_CLOSEFIGURE);
  }
  {
    GdiPath path;  // ArcTo: a line from the current position, then the arc
    path.MoveTo({-10, -10});
    const PointD end = AppendArc(path, 0, 0, 100, 100, top, right, false, ArcKind::ArcTo, {-10, -10});
    ASSERT_EQ(path.points.size(), 2u + 9u);  // the line, then three quarters via the left and bottom
    EXPECT_EQ(path.types[1], PT_LINETO);
    EXPECT_NEAR(path.points[1].x, 49.5, 1e-9);
    EXPECT_NEAR(path.points[1].y, 0, 1e-9);
    EXPECT_NEAR(end.x, 99, 1e-9);
    EXPECT_NEAR(end.y, 49.5, 1e-9);
    EXPECT_NEAR(path.points[4].x, 0, 1e-9);
    EXPECT_NEAR(path.points[7].y, 99, 1e-9);
  }
  {
    GdiPath path;  // a flat box and rays through the centre do not break anything
    AppendArc(path, 5, 5, 5, 50, {5, 5}, {5, 5}, false, ArcKind::Pie, {});
    for (const PointD& p : path.points) EXPECT_TRUE(std::isfinite(p.x) && std::isfinite(p.y));
  }
}

TEST(Shapes, AngleArcSweepsCounterClockwiseForPositiveAngles) {
  GdiPath up;
  up.MoveTo({0, 0});
  const PointD end = AppendAngleArc(up, {0, 0}, {100, 100}, 10, 0, 90);
  EXPECT_EQ(up.types[1], PT_LINETO);
  EXPECT_NEAR(up.points[1].x, 110, 1e-9);
  EXPECT_NEAR(end.x, 100, 1e-9);
  EXPECT_NEAR(end.y, 90, 1e-9);  // up on the screen

  GdiPath down;
  const PointD end2 = AppendAngleArc(down, {0, 0}, {100, 100}, 10, 0, -90);
  EXPECT_EQ(down.types[0], PT_MOVETO);  // an empty path starts at the current position
  EXPECT_NEAR(end2.y, 110, 1e-9);

  GdiPath many;  // more than a turn ends where the remainder ends
  const PointD end3 = AppendAngleArc(many, {0, 0}, {0, 0}, 10, 0, 1e9 + 90);
  EXPECT_LE(many.points.size(), 2u + 3u * 64u);
  EXPECT_NEAR(std::hypot(end3.x, end3.y), 10, 1e-6);
}

double SegmentDistance(PointD p, PointD a, PointD b) {
  const double dx = b.x - a.x, dy = b.y - a.y, len2 = dx * dx + dy * dy;
  const double t = len2 > 0 ? std::clamp(((p.x - a.x) * dx + (p.y - a.y) * dy) / len2, 0.0, 1.0) : 0;
  return std::hypot(p.x - a.x - t * dx, p.y - a.y - t * dy);
}

TEST(Shapes, FlattenStaysWithinTolerance) {
  // A quarter of a large circle and an S-shaped curve.
  const PointD curves[2][4] = {{{500, 0}, {500, -276.14}, {276.14, -500}, {0, -500}},
                               {{0, 0}, {900, -300}, {-500, 700}, {400, 400}}};
  for (const auto& c : curves) {
    for (double tolerance : {0.1, 0.25, 2.0}) {
      GdiPath curve;
      curve.MoveTo(c[0]);
      curve.BezierTo(c[1], c[2], c[3]);
      curve.CloseFigure();
      const GdiPath flat = Flatten(curve, tolerance);
      ASSERT_EQ(flat.points.size(), flat.types.size());
      EXPECT_EQ(flat.types.front(), PT_MOVETO);
      EXPECT_EQ(flat.types.back(), PT_LINETO | PT_CLOSEFIGURE);
      EXPECT_EQ(flat.points.back(), c[3]);
      for (size_t i = 1; i < flat.points.size(); ++i) EXPECT_EQ(flat.types[i] & ~PT_CLOSEFIGURE, PT_LINETO);
      double worst = 0;
      for (int k = 0; k <= 4000; ++k) {
        const PointD p = Bezier(c[0], c[1], c[2], c[3], k / 4000.0);
        double best = 1e300;
        for (size_t i = 1; i < flat.points.size(); ++i)
          best = std::min(best, SegmentDistance(p, flat.points[i - 1], flat.points[i]));
        worst = std::max(worst, best);
      }
      EXPECT_LE(worst, tolerance);
      // Not absurdly fine either: a fifth of the tolerance would be wasteful.
      EXPECT_GT(worst, tolerance / 5);
    }
  }
  // Lines pass unchanged; huge, infinite and NaN curves are cut into at most 1024 lines.
  GdiPath odd;
  odd.MoveTo({0, 0});
  odd.LineTo({5, 5});
  odd.BezierTo({1e300, -1e300}, {-1e300, 1e300}, {0, 0});
  const double nan = std::numeric_limits<double>::quiet_NaN();
  odd.BezierTo({nan, 0}, {std::numeric_limits<double>::infinity(), 0}, {1, 1});
  const GdiPath flat = Flatten(odd, 0.25);
  EXPECT_EQ(flat.points[1], (PointD{5, 5}));
  EXPECT_LE(flat.points.size(), 2u + 2 * 1024u);
  EXPECT_GT(flat.points.size(), 2u + 1000u);
}

TEST(Shapes, WidenedSegmentCapsReachAsFarAsTheyShould) {
  GdiPath line;
  line.MoveTo({0, 0});
  line.LineTo({100, 0});
  struct Case {
    uint32_t cap;
    double left, right;
  };
  for (const Case& c :
       {Case{ENDCAP_BUTT, 0, 100}, Case{ENDCAP_SQUARE, -5, 105}, Case{ENDCAP_ROUND, -5, 105}}) {
    SCOPED_TRACE(c.cap);
    const GdiPath wide = Widen(line, 10, c.cap, JOIN_MITER, 10);
    const Bounds b = BoundsOf(wide);
    EXPECT_NEAR(b.left, c.left, 0.25);
    EXPECT_NEAR(b.right, c.right, 0.25);
    EXPECT_NEAR(b.top, -5, 0.25);
    EXPECT_NEAR(b.bottom, 5, 0.25);
    EXPECT_TRUE(Covers(wide, {50, 4.9}));
    EXPECT_FALSE(Covers(wide, {50, 5.1}));
    EXPECT_EQ(Covers(wide, {-2, 0}), c.cap != ENDCAP_BUTT);
    // Only a square cap fills the corner.
    EXPECT_EQ(Covers(wide, {-4.5, 4.5}), c.cap == ENDCAP_SQUARE);
  }
  // A dot shows with round and square caps only.
  GdiPath dot;
  dot.MoveTo({3, 3});
  dot.LineTo({3, 3});
  EXPECT_TRUE(Covers(Widen(dot, 4, ENDCAP_ROUND, JOIN_ROUND, 10), {4, 4}));
  EXPECT_TRUE(Covers(Widen(dot, 4, ENDCAP_SQUARE, JOIN_ROUND, 10), {4.9, 4.9}));
  EXPECT_TRUE(Widen(dot, 4, ENDCAP_BUTT, JOIN_ROUND, 10).Empty());
  EXPECT_TRUE(Widen(line, 0, ENDCAP_ROUND, JOIN_ROUND, 10).Empty());
}

TEST(Shapes, WidenJoinsMiterUpToTheLimitThenBevel) {
  // A right angle: the miter is sqrt(2) pen widths long.
  GdiPath corner;
  corner.MoveTo({0, 0});
  corner.LineTo({100, 0});
  corner.LineTo({100, 100});
  const PointD nearTip{104, -4}, inRound{103, -3};
  const GdiPath miter = Widen(corner, 10, ENDCAP_BUTT, JOIN_MITER, 1.5);
  EXPECT_TRUE(Covers(miter, nearTip));
  EXPECT_NEAR(BoundsOf(miter).right, 105, 1e-9);
  EXPECT_NEAR(BoundsOf(miter).top, -5, 1e-9);
  const GdiPath beyond = Widen(corner, 10, ENDCAP_BUTT, JOIN_MITER, 1.4);
  EXPECT_FALSE(Covers(beyond, nearTip));
  EXPECT_TRUE(Covers(beyond, {101, -1}));
  const GdiPath bevel = Widen(corner, 10, ENDCAP_BUTT, JOIN_BEVEL, 10);
  EXPECT_FALSE(Covers(bevel, nearTip));
  EXPECT_FALSE(Covers(bevel, inRound));
  const GdiPath round = Widen(corner, 10, ENDCAP_BUTT, JOIN_ROUND, 10);
  EXPECT_FALSE(Covers(round, nearTip));
  EXPECT_TRUE(Covers(round, inRound));
  // The inside of the turn is covered by the segments themselves.
  EXPECT_TRUE(Covers(bevel, {96, 4}));
}

TEST(Shapes, WidenedClosedFigureHasJoinsAllRound) {
  GdiPath square;
  AppendRectangle(square, 0, 0, 101, 101, false);
  const GdiPath wide = Widen(square, 10, ENDCAP_ROUND, JOIN_MITER, 10);
  for (const PointD corner : {PointD{-4, -4}, PointD{104, -4}, PointD{104, 104}, PointD{-4, 104}})
    EXPECT_TRUE(Covers(wide, corner)) << corner.x << "," << corner.y;
  EXPECT_FALSE(Covers(wide, {50, 50}));  // the inside stays empty
  EXPECT_FALSE(Covers(wide, {50, 106}));
  // Overlapping pieces all turn the same way: nothing cancels out.
  EXPECT_GE(Winding(wide, {2, 2}) * Winding(wide, {50, 2}), 1);
}

TEST(Shapes, WidenSurvivesBadPoints) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  GdiPath path;
  path.LineTo({1, 1});  // no move first
  path.LineTo({nan, 2});
  path.LineTo({1e300, 1e300});
  path.BezierTo({-1e300, 0}, {nan, nan}, {5, 5});
  path.CloseFigure();
  path.LineTo({7, 7});  // after a close: from the figure's start
  for (uint32_t join : {JOIN_ROUND, JOIN_BEVEL, JOIN_MITER}) {
    const GdiPath wide = Widen(path, 1e12, ENDCAP_SQUARE, join, nan);
    EXPECT_EQ(wide.points.size(), wide.types.size());
  }
  EXPECT_TRUE(Widen(path, nan, ENDCAP_ROUND, JOIN_ROUND, 10).Empty());
}

}  // namespace
}  // namespace snk::gdi
