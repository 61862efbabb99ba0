#include "host/gdi/shapes.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "platform/winddi.h"

namespace snk::gdi {
namespace {

constexpr double kPi = std::numbers::pi;
// A quarter circle as one cubic Bezier: the control points sit this far
// along the tangents (4/3 tan(pi/8)).
constexpr double kKappa = 0.5522847498;
// Most line segments one curve is flattened into, whatever its size.
constexpr int kMaxCurveSegments = 1024;
// Most and fewest sides of the polygons that stand for round caps and joins.
constexpr int kMaxCircleSides = 1024;
constexpr int kMinCircleSides = 8;

bool Finite(PointD p) { return std::isfinite(p.x) && std::isfinite(p.y); }

// The box of a shape record: corners in either order, the right and bottom
// edges excluded (the shape ends one unit short of them).
struct Box {
  double left, top, right, bottom;
};

Box NormalBox(double l, double t, double r, double b) {
  Box box{std::min(l, r), std::min(t, b), std::max(l, r), std::max(t, b)};
  box.right = std::max(box.left, box.right - 1);
  box.bottom = std::max(box.top, box.bottom - 1);
  return box;
}

// An elliptic arc of centre c and radii (rx, ry) from parametric angle a0
// sweeping `sweep` radians (positive = counter-clockwise on screen), as
// Beziers of at most 90 degrees, appended to the current figure.
void AppendEllipticArc(GdiPath& path, PointD c, double rx, double ry, double a0, double sweep) {
  // Never more than a few turns, and one piece for a sweep that is not a number.
  const double wanted = std::ceil(std::fabs(sweep) / (kPi / 2) - 1e-9);
  const int pieces = wanted >= 1 ? static_cast<int>(std::min(wanted, 64.0)) : 1;
  const double step = sweep / pieces;
  const double k = 4.0 / 3.0 * std::tan(step / 4);
  // Screen y grows downward: angle a lies at (cos a, -sin a).
  auto at = [&](double u, double v) { return PointD{c.x + rx * u, c.y - ry * v}; };
  double a = a0;
  for (int i = 0; i < pieces; ++i) {
    const double b = i + 1 == pieces ? a0 + sweep : a + step;
    const double ca = std::cos(a), sa = std::sin(a), cb = std::cos(b), sb = std::sin(b);
    path.BezierTo(at(ca - k * sa, sa + k * ca), at(cb + k * sb, sb - k * cb), at(cb, sb));
    a = b;
  }
}

// The parametric angle of the point where the ray from the centre through
// p meets the ellipse (counter-clockwise on screen from the +x axis).
double RayAngle(PointD c, double rx, double ry, PointD p) {
  const double dx = p.x - c.x, dy = p.y - c.y;
  const double a = std::atan2(-dy * rx, dx * ry);
  return std::isfinite(a) ? a : 0;
}

// Begins a figure at the current position unless one is open.
void StartFigure(GdiPath& path, PointD current) {
  if (path.Empty() || (path.types.back() & PT_CLOSEFIGURE)) path.MoveTo(current);
}

// Segments a curve from p0 with controls p1, p2 to p3 must be cut into so
// that each chord stays within `tolerance` of it. A chord over a parameter
// step h deviates at most h^2/8 times the largest second derivative, which
// is at most 6 times the larger second difference of the control points.
int CurveSegments(PointD p0, PointD p1, PointD p2, PointD p3, double tolerance) {
  const double d1x = p0.x - 2 * p1.x + p2.x, d1y = p0.y - 2 * p1.y + p2.y;
  const double d2x = p1.x - 2 * p2.x + p3.x, d2y = p1.y - 2 * p2.y + p3.y;
  const double m = std::max(std::hypot(d1x, d1y), std::hypot(d2x, d2y));
  const double n = std::ceil(std::sqrt(0.75 * m / tolerance));
  if (!(n >= 1)) return n == 0 ? 1 : kMaxCurveSegments;  // NaN: as many as allowed
  return n > kMaxCurveSegments ? kMaxCurveSegments : static_cast<int>(n);
}

PointD BezierPoint(PointD p0, PointD p1, PointD p2, PointD p3, double t) {
  const double s = 1 - t;
  const double a = s * s * s, b = 3 * s * s * t, c = 3 * s * t * t, d = t * t * t;
  return {a * p0.x + b * p1.x + c * p2.x + d * p3.x, a * p0.y + b * p1.y + c * p2.y + d * p3.y};
}

// ---------------------------------------------------------------- widening

PointD Add(PointD a, PointD b) { return {a.x + b.x, a.y + b.y}; }
PointD Sub(PointD a, PointD b) { return {a.x - b.x, a.y - b.y}; }
PointD Mul(PointD a, double s) { return {a.x * s, a.y * s}; }
double Cross(PointD a, PointD b) { return a.x * b.y - a.y * b.x; }
double Dot(PointD a, PointD b) { return a.x * b.x + a.y * b.y; }

PointD Unit(PointD v) {
  const double len = std::hypot(v.x, v.y);
  return {v.x / len, v.y / len};
}

// Collects the convex pieces of a widened path, all turning the same way
// so that the winding rule fills their union.
class Outline {
 public:
  explicit Outline(double half) : half_(half) {
    int sides = kMinCircleSides;
    if (half > 0.25) {
      // A chord of a circle of radius r over angle a misses it by r(1 - cos(a/2)).
      const double n = std::ceil(kPi / std::acos(1 - 0.25 / half));
      sides = std::isfinite(n)
                  ? static_cast<int>(std::clamp(n, double(kMinCircleSides), double(kMaxCircleSides)))
                  : kMaxCircleSides;
    }
    sides_ = sides;
  }

  void Polygon(std::initializer_list<PointD> pts) { Polygon(std::vector<PointD>(pts)); }

  void Polygon(std::vector<PointD> pts) {
    double area = 0;
    for (size_t i = 0; i < pts.size(); ++i) area += Cross(pts[i], pts[(i + 1) % pts.size()]);
    if (!(std::fabs(area) > 0)) return;  // nothing to fill, or not a number
    if (area < 0) std::reverse(pts.begin(), pts.end());
    out_.MoveTo(pts[0]);
    for (size_t i = 1; i < pts.size(); ++i) out_.LineTo(pts[i]);
    out_.CloseFigure();
  }

  void Circle(PointD c) {
    std::vector<PointD> pts(sides_);
    for (int i = 0; i < sides_; ++i) {
      const double a = 2 * kPi * i / sides_;
      pts[i] = {c.x + half_ * std::cos(a), c.y + half_ * std::sin(a)};
    }
    Polygon(std::move(pts));
  }

  // The body of the segment a-b (direction d, normal n of length half).
  void Segment(PointD a, PointD b, PointD n) { Polygon({Add(a, n), Add(b, n), Sub(b, n), Sub(a, n)}); }

  // The cap at end point p of a segment leaving p in direction `away`
  // (unit vector pointing out of the line).
  void Cap(PointD p, PointD away, uint32_t cap) {
    if (cap == ENDCAP_ROUND) {
      Circle(p);
    } else if (cap == ENDCAP_SQUARE) {
      const PointD n = Mul(PointD{-away.y, away.x}, half_), e = Mul(away, half_);
      Polygon({Add(p, n), Add(Add(p, n), e), Add(Sub(p, n), e), Sub(p, n)});
    }
  }

  // The join at v between a segment arriving in unit direction d1 and one
  // leaving in unit direction d2.
  void Join(PointD v, PointD d1, PointD d2, uint32_t join, double miterLimit) {
    const double turn = Cross(d1, d2);
    if (turn == 0 && Dot(d1, d2) > 0) return;  // straight on
    // A gap between the segments' corners narrower than this shows nowhere;
    // flattened curves turn a little at every point.
    if (half_ * std::hypot(d1.x - d2.x, d1.y - d2.y) < 0.05) return;
    if (join == JOIN_ROUND) {
      Circle(v);
      return;
    }
    if (turn == 0) return;  // a full reversal: the segments cover it
    // The outer side lies opposite the turn.
    const double side = turn > 0 ? -1 : 1;
    const PointD n1 = Mul(PointD{-d1.y, d1.x}, side), n2 = Mul(PointD{-d2.y, d2.x}, side);
    const PointD a = Add(v, Mul(n1, half_)), b = Add(v, Mul(n2, half_));
    // The miter length over the pen width is 1/sin(phi/2) for the angle phi
    // between the segments, that is sqrt(2 / (1 + cos)) of the normals' angle.
    const double c = Dot(n1, n2);
    if (join == JOIN_MITER && 1 + c > 0 && 2 / (1 + c) <= miterLimit * miterLimit) {
      const PointD tip = Add(v, Mul(Add(n1, n2), half_ / (1 + c)));
      Polygon({v, a, tip, b});
    } else {
      Polygon({v, a, b});
    }
  }

  GdiPath Take() { return std::move(out_); }

 private:
  double half_;
  int sides_ = kMinCircleSides;
  GdiPath out_;
};

// The figures of a path that has only lines: points without repeats.
struct Figure {
  std::vector<PointD> pts;
  bool closed = false;
};

std::vector<Figure> Figures(const GdiPath& flat) {
  std::vector<Figure> figures;
  for (size_t i = 0; i < flat.points.size() && i < flat.types.size(); ++i) {
    const uint8_t type = flat.types[i] & ~PT_CLOSEFIGURE;
    const PointD p = flat.points[i];
    if (type == PT_MOVETO || figures.empty() || figures.back().closed) {
      // A line after a closed figure starts anew from that figure's start.
      Figure f;
      if (type != PT_MOVETO && !figures.empty() && !figures.back().pts.empty())
        f.pts.push_back(figures.back().pts.front());
      figures.push_back(std::move(f));
    }
    Figure& f = figures.back();
    if (Finite(p) && (f.pts.empty() || !(f.pts.back() == p))) f.pts.push_back(p);
    if (flat.types[i] & PT_CLOSEFIGURE) f.closed = true;
  }
  for (Figure& f : figures) {
    // The closing line of a figure whose last point is its first is empty.
    if (f.closed && f.pts.size() > 1 && f.pts.back() == f.pts.front()) f.pts.pop_back();
  }
  return figures;
}

}  // namespace

void GdiPath::MoveTo(PointD p) {
  points.push_back(p);
  types.push_back(PT_MOVETO);
}

void GdiPath::LineTo(PointD p) {
  if (Empty()) return MoveTo(p);
  points.push_back(p);
  types.push_back(PT_LINETO);
}

void GdiPath::BezierTo(PointD c1, PointD c2, PointD end) {
  if (Empty()) MoveTo(c1);
  points.insert(points.end(), {c1, c2, end});
  types.insert(types.end(), 3, PT_BEZIERTO);
}

void GdiPath::CloseFigure() {
  if (!types.empty()) types.back() |= PT_CLOSEFIGURE;
}

void GdiPath::Append(const GdiPath& other) {
  points.insert(points.end(), other.points.begin(), other.points.end());
  types.insert(types.end(), other.types.begin(), other.types.end());
}

void AppendRectangle(GdiPath& path, double left, double top, double right, double bottom, bool clockwise) {
  const Box b = NormalBox(left, top, right, bottom);
  if (clockwise) {
    path.MoveTo({b.left, b.top});
    path.LineTo({b.right, b.top});
    path.LineTo({b.right, b.bottom});
    path.LineTo({b.left, b.bottom});
  } else {
    path.MoveTo({b.right, b.top});
    path.LineTo({b.left, b.top});
    path.LineTo({b.left, b.bottom});
    path.LineTo({b.right, b.bottom});
  }
  path.CloseFigure();
}

void AppendRoundRect(GdiPath& path, double left, double top, double right, double bottom, double cornerWidth,
                     double cornerHeight, bool clockwise) {
  const Box b = NormalBox(left, top, right, bottom);
  const double rx = std::min(std::fabs(cornerWidth), b.right - b.left) / 2;
  const double ry = std::min(std::fabs(cornerHeight), b.bottom - b.top) / 2;
  if (!(rx > 0) || !(ry > 0)) return AppendRectangle(path, left, top, right, bottom, clockwise);
  // Corner centres, counter-clockwise on screen from the top right.
  const PointD centres[4] = {{b.right - rx, b.top + ry},
                             {b.left + rx, b.top + ry},
                             {b.left + rx, b.bottom - ry},
                             {b.right - rx, b.bottom - ry}};
  GdiPath shape;
  if (clockwise) {
    // From the top left corner's end, each corner swept clockwise.
    shape.MoveTo({b.left + rx, b.top});
    for (int i = 0; i < 4; ++i) {
      const int corner = (4 - i) % 4;  // top right, bottom right, bottom left, top left
      const double start = kPi / 2 * corner + kPi / 2;
      const PointD c = centres[corner];
      shape.LineTo({c.x + rx * std::cos(start), c.y - ry * std::sin(start)});
      AppendEllipticArc(shape, c, rx, ry, start, -kPi / 2);
    }
  } else {
    shape.MoveTo({b.right, b.top + ry});
    for (int corner = 0; corner < 4; ++corner) {
      const double start = kPi / 2 * corner;
      const PointD c = centres[corner];
      if (corner > 0) shape.LineTo({c.x + rx * std::cos(start), c.y - ry * std::sin(start)});
      AppendEllipticArc(shape, c, rx, ry, start, kPi / 2);
    }
  }
  shape.CloseFigure();
  path.Append(shape);
}

void AppendEllipse(GdiPath& path, double left, double top, double right, double bottom, bool clockwise) {
  const Box b = NormalBox(left, top, right, bottom);
  const PointD c{(b.left + b.right) / 2, (b.top + b.bottom) / 2};
  const double rx = (b.right - b.left) / 2, ry = (b.bottom - b.top) / 2;
  const double kx = rx * kKappa, ky = ry * kKappa;
  // From the rightmost point through the four quarter points.
  const PointD q[4] = {{c.x + rx, c.y}, {c.x, c.y - ry}, {c.x - rx, c.y}, {c.x, c.y + ry}};
  // Tangent offsets at each quarter point in the counter-clockwise direction.
  const PointD t[4] = {{0, -ky}, {-kx, 0}, {0, ky}, {kx, 0}};
  path.MoveTo(q[0]);
  for (int i = 0; i < 4; ++i) {
    const int from = clockwise ? (4 - i) % 4 : i;
    const int to = clockwise ? 3 - i : (i + 1) % 4;
    const double s = clockwise ? -1 : 1;
    path.BezierTo(Add(q[from], Mul(t[from], s)), Sub(q[to], Mul(t[to], s)), q[to]);
  }
  path.CloseFigure();
}

PointD AppendArc(GdiPath& path, double left, double top, double right, double bottom, PointD start,
                 PointD end, bool clockwise, ArcKind kind, PointD current) {
  const Box b = NormalBox(left, top, right, bottom);
  const PointD c{(b.left + b.right) / 2, (b.top + b.bottom) / 2};
  const double rx = (b.right - b.left) / 2, ry = (b.bottom - b.top) / 2;
  const double a0 = RayAngle(c, rx, ry, start), a1 = RayAngle(c, rx, ry, end);
  double sweep = clockwise ? a0 - a1 : a1 - a0;
  sweep = std::fmod(sweep, 2 * kPi);
  if (sweep < 0) sweep += 2 * kPi;
  if (sweep < 1e-12) sweep = 2 * kPi;  // equal rays: the whole ellipse
  if (clockwise) sweep = -sweep;
  const PointD first{c.x + rx * std::cos(a0), c.y - ry * std::sin(a0)};
  const PointD last{c.x + rx * std::cos(a0 + sweep), c.y - ry * std::sin(a0 + sweep)};

  if (kind == ArcKind::ArcTo) {
    StartFigure(path, current);
    path.LineTo(first);
  } else {
    path.MoveTo(first);
  }
  AppendEllipticArc(path, c, rx, ry, a0, sweep);
  if (kind == ArcKind::Pie) path.LineTo(c);
  if (kind == ArcKind::Chord || kind == ArcKind::Pie) path.CloseFigure();
  return last;
}

PointD AppendAngleArc(GdiPath& path, PointD current, PointD centre, double radius, double startDegrees,
                      double sweepDegrees) {
  // More than a turn draws the circle again: one turn and the remainder.
  if (std::fabs(sweepDegrees) > 360)
    sweepDegrees = std::copysign(360 + std::fmod(std::fabs(sweepDegrees), 360.0), sweepDegrees);
  const double a0 = std::fmod(startDegrees, 360.0) * kPi / 180, sweep = sweepDegrees * kPi / 180;
  const double r = std::fabs(radius);
  const PointD first{centre.x + r * std::cos(a0), centre.y - r * std::sin(a0)};
  StartFigure(path, current);
  path.LineTo(first);
  if (sweep == 0) return first;
  AppendEllipticArc(path, centre, r, r, a0, sweep);
  return path.points.back();
}

GdiPath Flatten(const GdiPath& path, double tolerance) {
  if (!(tolerance > 0)) tolerance = 0.25;
  GdiPath out;
  const size_t n = std::min(path.points.size(), path.types.size());
  out.points.reserve(n);
  out.types.reserve(n);
  for (size_t i = 0; i < n; ++i) {
    const uint8_t type = path.types[i] & ~PT_CLOSEFIGURE;
    if (type == PT_BEZIERTO && i + 2 < n && !out.Empty()) {
      const PointD p0 = out.points.back(), p1 = path.points[i], p2 = path.points[i + 1],
                   p3 = path.points[i + 2];
      const int segments = CurveSegments(p0, p1, p2, p3, tolerance);
      for (int k = 1; k < segments; ++k) {
        out.points.push_back(BezierPoint(p0, p1, p2, p3, double(k) / segments));
        out.types.push_back(PT_LINETO);
      }
      out.points.push_back(p3);
      out.types.push_back(PT_LINETO | (path.types[i + 2] & PT_CLOSEFIGURE));
      i += 2;
      continue;
    }
    out.points.push_back(path.points[i]);
    out.types.push_back(type == PT_MOVETO ? path.types[i] : (path.types[i] & PT_CLOSEFIGURE) | PT_LINETO);
  }
  return out;
}

GdiPath Widen(const GdiPath& path, double width, uint32_t endCap, uint32_t join, double miterLimit) {
  const double half = width / 2;
  if (!(half > 0) || !std::isfinite(half)) return {};
  Outline outline(half);
  for (const Figure& f : Figures(Flatten(path, 0.25))) {
    const size_t n = f.pts.size();
    if (n == 0) continue;
    if (n == 1) {
      // A dot: only caps that reach past the point show it.
      if (!f.closed && endCap != ENDCAP_BUTT) {
        outline.Cap(f.pts[0], {1, 0}, endCap);
        if (endCap == ENDCAP_SQUARE) outline.Cap(f.pts[0], {-1, 0}, endCap);
      }
      continue;
    }
    const size_t segments = f.closed ? n : n - 1;
    std::vector<PointD> dirs(segments);
    for (size_t i = 0; i < segments; ++i) dirs[i] = Unit(Sub(f.pts[(i + 1) % n], f.pts[i]));
    for (size_t i = 0; i < segments; ++i) {
      const PointD nrm = Mul(PointD{-dirs[i].y, dirs[i].x}, half);
      outline.Segment(f.pts[i], f.pts[(i + 1) % n], nrm);
    }
    for (size_t i = f.closed ? 0 : 1; i < (f.closed ? n : n - 1); ++i) {
      const PointD in = dirs[(i + segments - 1) % segments], out = dirs[i % segments];
      outline.Join(f.pts[i], in, out, join, miterLimit);
    }
    if (!f.closed) {
      outline.Cap(f.pts[0], Mul(dirs[0], -1), endCap);
      outline.Cap(f.pts[n - 1], dirs[segments - 1], endCap);
    }
  }
  return outline.Take();
}

}  // namespace snk::gdi
