// Scan conversion of paths for the painter: fills and geometric strokes as
// aliased coverage masks rendered by cairo, cosmetic lines by an integer
// line stepper.
//
// Coordinates: a fill covers the pixels whose centres (x + 0.5, y + 0.5)
// lie inside the path. Pens are centred on the pixel a point names, as a
// cosmetic line draws pixel (x, y) for the point (x, y): geometric strokes
// are rendered half a pixel down and right, so that a one-pixel styled pen
// lands on the same pixels as a cosmetic one.
#include <cairo.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <functional>
#include <utility>
#include <vector>

#include "host/engine/raster.h"

namespace snk::engine {
namespace {

// A coverage strip holds at most this many pixels; larger areas are
// rendered strip by strip.
constexpr int64_t kStripPixels = int64_t{1} << 22;

double FixToPixels(FIX v) { return v / 16.0; }

// The area a path covers in device pixels, grown by `reach` pixels on each
// side and cut to the painter's area; empty if nothing can be painted.
RECTL CoverageArea(const Painter& painter, const HostPath& path, double reach) {
  RECTFX b = path.Bounds();
  auto lo = [reach](FIX v) { return std::floor(FixToPixels(v) - reach) - 1; };
  auto hi = [reach](FIX v) { return std::ceil(FixToPixels(v) + reach) + 2; };
  const RECTL& a = painter.Area();
  auto clamp = [](double v, int32_t low, int32_t high) {
    return int32_t(std::clamp(v, double(low), double(high)));
  };
  RECTL r{clamp(lo(b.xLeft), a.left, a.right), clamp(lo(b.yTop), a.top, a.bottom),
          clamp(hi(b.xRight), a.left, a.right), clamp(hi(b.yBottom), a.top, a.bottom)};
  return r;
}

// Index of the first byte at or after `x` (below `end`) that is nonzero
// (`want` true) or zero (`want` false); `end` if none. Eight bytes are
// looked at a time: the lowest flagged byte of a word is the one sought.
int32_t FindCoverage(const uint8_t* row, int32_t x, int32_t end, bool want) {
  constexpr uint64_t kOnes = 0x0101010101010101, kHighs = 0x8080808080808080;
  if constexpr (std::endian::native == std::endian::little) {
    for (; x + 8 <= end; x += 8) {
      uint64_t word;
      std::memcpy(&word, row + x, 8);
      // Nonzero bytes, or the zero bytes (exact up to the first one).
      const uint64_t flags = want ? word : (word - kOnes) & ~word & kHighs;
      if (flags) return x + std::countr_zero(flags) / 8;
    }
  }
  for (; x < end; ++x)
    if ((row[x] != 0) == want) return x;
  return end;
}

// The bytes of the coverage strips, kept from call to call so that every
// drawing call does not allocate a fresh strip. Between calls every byte is
// zero: the runs painted are cleared again, so no strip is cleared whole.
std::vector<uint8_t>& StripBuffer() {
  thread_local std::vector<uint8_t> buffer;
  return buffer;
}

// Paints the covered runs of the strip's rows and clears them.
void PaintStrip(Painter& painter, uint8_t* data, int stride, int32_t left, int32_t top, int32_t width,
                int32_t rows) {
  for (int32_t r = 0; r < rows; ++r) {
    uint8_t* row = data + int64_t{r} * stride;
    int32_t x = 0;
    while (x < width) {
      int32_t start = FindCoverage(row, x, width, true);
      if (start >= width) break;
      int32_t end = FindCoverage(row, start, width, false);
      painter.Span(top + r, left + start, left + end);
      std::memset(row + start, 0, size_t(end - start));
      x = end;
    }
  }
}

// Renders with `draw` into aliased A8 strips covering `area` and paints
// every covered run. `draw` gets the context and the device position of
// the strip's top-left pixel; it adds the path and fills or strokes it.
void PaintCoverage(Painter& painter, const RECTL& area,
                   const std::function<void(cairo_t*, double, double)>& draw) {
  int32_t width = area.right - area.left, height = area.bottom - area.top;
  if (width <= 0 || height <= 0) return;
  int32_t stripRows = int32_t(std::clamp<int64_t>(kStripPixels / width, 1, height));
  const int stride = cairo_format_stride_for_width(CAIRO_FORMAT_A8, width);
  if (stride <= 0) return;
  std::vector<uint8_t>& buffer = StripBuffer();
  const size_t bytes = size_t(stride) * size_t(stripRows);
  if (buffer.size() < bytes) buffer.resize(bytes);
  uint8_t* data = buffer.data();
  for (int32_t top = area.top; top < area.bottom; top += stripRows) {
    int32_t rows = std::min(stripRows, area.bottom - top);
    // The surface keeps the strip's full height on the last strip too; the
    // clip keeps drawing to its rows.
    cairo_surface_t* mask =
        cairo_image_surface_create_for_data(data, CAIRO_FORMAT_A8, width, stripRows, stride);
    if (cairo_surface_status(mask) != CAIRO_STATUS_SUCCESS) {
      cairo_surface_destroy(mask);
      return;
    }
    cairo_t* cr = cairo_create(mask);
    cairo_set_antialias(cr, CAIRO_ANTIALIAS_NONE);
    cairo_rectangle(cr, 0, 0, width, rows);
    cairo_clip(cr);
    draw(cr, area.left, top);
    cairo_destroy(cr);
    cairo_surface_flush(mask);
    cairo_surface_destroy(mask);
    PaintStrip(painter, data, stride, area.left, top, width, rows);
  }
}

// Figures of straight lines in device pixels: a path cut down to a box.
struct Polyline {
  std::vector<std::pair<double, double>> points;
  bool closed = false;
};

// Adds the path (or, when given, its cut-down polylines) to the context,
// each point mapped by `map` from device pixels to the context's user space.
void AddPath(cairo_t* cr, const HostPath& path, const std::vector<Polyline>* cut,
             const std::function<void(double&, double&)>& map) {
  cairo_new_path(cr);
  if (cut) {
    for (const Polyline& line : *cut) {
      for (size_t i = 0; i < line.points.size(); ++i) {
        auto [x, y] = line.points[i];
        map(x, y);
        if (i == 0) {
          cairo_move_to(cr, x, y);
        } else {
          cairo_line_to(cr, x, y);
        }
      }
      if (line.closed) cairo_close_path(cr);
    }
    return;
  }
  for (const PathFigure& figure : path.Figures()) {
    double x = FixToPixels(figure.start.x), y = FixToPixels(figure.start.y);
    map(x, y);
    cairo_move_to(cr, x, y);
    for (const PathRun& run : figure.runs) {
      if (run.bezier) {
        for (size_t i = 0; i + 2 < run.points.size(); i += 3) {
          double p[6];
          for (int k = 0; k < 3; ++k) {
            p[2 * k] = FixToPixels(run.points[i + k].x);
            p[2 * k + 1] = FixToPixels(run.points[i + k].y);
            map(p[2 * k], p[2 * k + 1]);
          }
          cairo_curve_to(cr, p[0], p[1], p[2], p[3], p[4], p[5]);
        }
      } else {
        for (const POINTFIX& pt : run.points) {
          double px = FixToPixels(pt.x), py = FixToPixels(pt.y);
          map(px, py);
          cairo_line_to(cr, px, py);
        }
      }
    }
    if (figure.closed) cairo_close_path(cr);
  }
}

// ------------------------------------------------------------- cosmetic

// Position along a cosmetic style: which pixels of a line are dashes.
// One style step is one pixel along the line's longer axis.
class CosmeticStyle {
 public:
  explicit CosmeticStyle(const LINEATTRS* attrs) {
    if (!attrs) return;
    if (attrs->fl & LA_ALTERNATE) {
      steps_ = {1, 1};
    } else if ((attrs->fl & LA_STYLED) && attrs->pstyle && attrs->cstyle > 0 && attrs->cstyle <= 1024) {
      for (ULONG i = 0; i < attrs->cstyle; ++i) steps_.push_back(std::max<LONG>(attrs->pstyle[i].l, 0));
      // An odd count repeats with dashes and gaps swapped.
      if (steps_.size() % 2) steps_.insert(steps_.end(), steps_.begin(), steps_.end());
    }
    for (int64_t s : steps_) period_ += s;
    if (period_ <= 0) {
      steps_.clear();
      return;
    }
    startGap_ = (attrs->fl & LA_STARTGAP) != 0;
    // The high word holds whole steps already taken; its fraction is ignored.
    position_ = (uint32_t(attrs->elStyleState.l) >> 16) % period_;
  }

  bool Styled() const { return !steps_.empty(); }
  // Whether the pixel `offset` steps on from the current position is a dash.
  bool DashAt(int64_t offset) const {
    int64_t pos = (position_ + offset) % period_;
    for (size_t i = 0; i < steps_.size(); ++i) {
      if (pos < steps_[i]) return (i % 2 == 0) != startGap_;
      pos -= steps_[i];
    }
    return !startGap_;
  }
  void Advance(int64_t steps) {
    if (Styled()) position_ = (position_ + steps) % period_;
  }

 private:
  std::vector<int64_t> steps_;
  int64_t period_ = 0;
  int64_t position_ = 0;
  bool startGap_ = false;
};

// Draws the pixels from a towards b, b's own pixel left out. Along the
// longer axis each step is one pixel; the shorter coordinate at step i is
// the start's plus i * d / n rounded, halves away from the start.
void Line(Painter& painter, int64_t ax, int64_t ay, int64_t bx, int64_t by, CosmeticStyle& style) {
  int64_t dx = bx - ax, dy = by - ay;
  int64_t adx = std::abs(dx), ady = std::abs(dy);
  int64_t n = std::max(adx, ady);
  if (n == 0) return;
  bool xMajor = adx >= ady;
  int64_t major0 = xMajor ? ax : ay, minor0 = xMajor ? ay : ax;
  int64_t majorStep = (xMajor ? dx : dy) < 0 ? -1 : 1;
  int64_t minorStep = (xMajor ? dy : dx) < 0 ? -1 : 1;
  int64_t minorLen = xMajor ? ady : adx;
  // Only the steps whose major coordinate lies in the painter's area.
  const RECTL& area = painter.Area();
  int64_t lo = xMajor ? area.left : area.top, hi = (xMajor ? area.right : area.bottom) - 1;
  int64_t first = 0, last = n - 1;
  if (majorStep > 0) {
    first = std::max(first, lo - major0);
    last = std::min(last, hi - major0);
  } else {
    first = std::max(first, major0 - hi);
    last = std::min(last, major0 - lo);
  }
  // The shorter offset (2 * i * minorLen + n) / (2 * n) is stepped as a
  // quotient and remainder rather than divided out at every pixel.
  int64_t quotient = 0, remainder = 0;
  if (first <= last) {
    quotient = (2 * first * minorLen + n) / (2 * n);
    remainder = (2 * first * minorLen + n) % (2 * n);
  }
  for (int64_t i = first; i <= last; ++i) {
    if (i > first) {
      remainder += 2 * minorLen;
      if (remainder >= 2 * n) {
        remainder -= 2 * n;
        ++quotient;
      }
    }
    int64_t major = major0 + majorStep * i;
    int64_t minor = minor0 + minorStep * quotient;
    bool dash = !style.Styled() || style.DashAt(i);
    int64_t x = xMajor ? major : minor, y = xMajor ? minor : major;
    if (x < INT32_MIN || x > INT32_MAX || y < INT32_MIN || y > INT32_MAX) continue;
    painter.Pixel(int32_t(x), int32_t(y), dash);
  }
  style.Advance(n);
}

// Pixel of a 28.4 coordinate: the nearest integer, halves up.
int64_t Round(FIX v) { return (int64_t{v} + 8) >> 4; }

// Flattens a cubic Bezier from p0 into line ends appended to `out`, each
// piece within a quarter pixel (4 FIX units) of the curve.
void Flatten(double x0, double y0, double x1, double y1, double x2, double y2, double x3, double y3,
             std::vector<POINTFIX>& out, int depth = 0) {
  auto distance = [&](double px, double py) {
    double ux = x3 - x0, uy = y3 - y0, len = std::hypot(ux, uy);
    if (len < 1e-9) return std::hypot(px - x0, py - y0);
    return std::abs((px - x0) * uy - (py - y0) * ux) / len;
  };
  if (depth >= 16 || std::max(distance(x1, y1), distance(x2, y2)) <= 4.0) {
    out.push_back(POINTFIX{FIX(std::lround(x3)), FIX(std::lround(y3))});
    return;
  }
  double ax = (x0 + x1) / 2, ay = (y0 + y1) / 2, bx = (x1 + x2) / 2, by = (y1 + y2) / 2;
  double cx = (x2 + x3) / 2, cy = (y2 + y3) / 2;
  double abx = (ax + bx) / 2, aby = (ay + by) / 2, bcx = (bx + cx) / 2, bcy = (by + cy) / 2;
  double mx = (abx + bcx) / 2, my = (aby + bcy) / 2;
  Flatten(x0, y0, ax, ay, abx, aby, mx, my, out, depth + 1);
  Flatten(mx, my, bcx, bcy, cx, cy, x3, y3, out, depth + 1);
}

// ------------------------------------------------------------ geometric

struct Pen {
  double xx = 1, yx = 0, xy = 0, yy = 1;  // world to device, linear part
  double width = 1;                       // in world units
  bool transformed = false;
};

// One device pixel in the pen's world units.
double UnitsPerPixel(const Pen& pen, double meanScale) {
  return pen.transformed && meanScale > 0 ? 1 / meanScale : 1;
}

// ------------------------------------------------ far-away coordinates
//
// cairo works in 24.8 fixed point, so points some millions of pixels away
// from the mask would wrap around. Paths reaching that far are flattened
// and cut to a box around the painted area first (nearer paths go to cairo
// as they are).

constexpr double kFarLimit = double(1 << 21);

bool ReachesFar(const HostPath& path, const RECTL& area) {
  RECTFX b = path.Bounds();
  return FixToPixels(b.xLeft) < area.left - kFarLimit || FixToPixels(b.xRight) > area.right + kFarLimit ||
         FixToPixels(b.yTop) < area.top - kFarLimit || FixToPixels(b.yBottom) > area.bottom + kFarLimit;
}

// The figure's points with its Beziers flattened, in 28.4 units.
void FlattenFigure(const PathFigure& figure, std::vector<POINTFIX>& points) {
  points.clear();
  points.push_back(figure.start);
  for (const PathRun& run : figure.runs) {
    if (!run.bezier) {
      points.insert(points.end(), run.points.begin(), run.points.end());
      continue;
    }
    for (size_t i = 0; i + 2 < run.points.size(); i += 3) {
      POINTFIX p0 = points.back();
      const POINTFIX* c = &run.points[i];
      Flatten(p0.x, p0.y, c[0].x, c[0].y, c[1].x, c[1].y, c[2].x, c[2].y, points);
    }
  }
}

struct Box {
  double left, top, right, bottom;
};

Box GrownBox(const RECTL& area, double margin) {
  return Box{area.left - margin, area.top - margin, area.right + margin, area.bottom + margin};
}

// Each figure as a closed polygon cut to the box, one edge of the box at a
// time. Inside the box every point keeps its winding number, so both fill
// rules give the same pixels there.
std::vector<Polyline> CutForFill(const HostPath& path, const Box& box) {
  std::vector<Polyline> out;
  std::vector<POINTFIX> fixes;
  using Pt = std::pair<double, double>;
  std::vector<Pt> poly, next;
  for (const PathFigure& figure : path.Figures()) {
    FlattenFigure(figure, fixes);
    poly.clear();
    for (const POINTFIX& p : fixes) poly.emplace_back(FixToPixels(p.x), FixToPixels(p.y));
    for (int edge = 0; edge < 4 && !poly.empty(); ++edge) {
      auto inside = [&](const Pt& p) {
        switch (edge) {
          case 0:
            return p.first >= box.left;
          case 1:
            return p.first <= box.right;
          case 2:
            return p.second >= box.top;
          default:
            return p.second <= box.bottom;
        }
      };
      auto cross = [&](const Pt& a, const Pt& b) {
        bool vertical = edge < 2;
        double bound = edge == 0 ? box.left : edge == 1 ? box.right : edge == 2 ? box.top : box.bottom;
        double t =
            vertical ? (bound - a.first) / (b.first - a.first) : (bound - a.second) / (b.second - a.second);
        return vertical ? Pt{bound, a.second + t * (b.second - a.second)}
                        : Pt{a.first + t * (b.first - a.first), bound};
      };
      next.clear();
      for (size_t i = 0; i < poly.size(); ++i) {
        const Pt& a = poly[i];
        const Pt& b = poly[(i + 1) % poly.size()];
        bool ina = inside(a), inb = inside(b);
        if (ina) next.push_back(a);
        if (ina != inb) next.push_back(cross(a, b));
      }
      poly.swap(next);
    }
    if (poly.size() >= 3) out.push_back(Polyline{poly, true});
  }
  return out;
}

// The parts of each figure's lines inside the box, as open pieces; a figure
// wholly inside keeps its closure. Cut ends lie outside the box, where caps
// placed there cannot reach the painted area.
std::vector<Polyline> CutForStroke(const HostPath& path, const Box& box) {
  std::vector<Polyline> out;
  std::vector<POINTFIX> fixes;
  for (const PathFigure& figure : path.Figures()) {
    FlattenFigure(figure, fixes);
    if (figure.closed) fixes.push_back(figure.start);
    size_t firstPiece = out.size();
    bool cutAny = false;
    bool open = false;  // the last piece continues at the previous end
    for (size_t i = 0; i + 1 < fixes.size(); ++i) {
      double x0 = FixToPixels(fixes[i].x), y0 = FixToPixels(fixes[i].y);
      double dx = FixToPixels(fixes[i + 1].x) - x0, dy = FixToPixels(fixes[i + 1].y) - y0;
      double t0 = 0, t1 = 1;
      bool visible = true;
      auto limit = [&](double p, double q) {  // keep the part where p * t <= q
        if (p == 0) {
          if (q < 0) visible = false;
        } else if (p < 0) {
          t0 = std::max(t0, q / p);
        } else {
          t1 = std::min(t1, q / p);
        }
      };
      limit(-dx, x0 - box.left);
      limit(dx, box.right - x0);
      limit(-dy, y0 - box.top);
      limit(dy, box.bottom - y0);
      if (!visible || t0 > t1) {
        cutAny = true;
        open = false;
        continue;
      }
      if (t0 > 0 || !open) {
        if (t0 > 0) cutAny = true;
        out.push_back(Polyline{{{x0 + t0 * dx, y0 + t0 * dy}}, false});
      }
      out.back().points.emplace_back(x0 + t1 * dx, y0 + t1 * dy);
      open = t1 >= 1;
      if (!open) cutAny = true;
    }
    if (figure.closed && !cutAny && out.size() == firstPiece + 1) {
      out.back().points.pop_back();
      out.back().closed = true;
    }
  }
  return out;
}

// The pixels of a path that is one axis-aligned rectangle with corners on
// whole pixels, without scan conversion: the common case of rectangles.
bool WholePixelRectangle(const HostPath& path, RECTL* rect) {
  const auto& figures = path.Figures();
  if (figures.size() != 1 || figures[0].runs.size() != 1 || figures[0].runs[0].bezier) return false;
  const PathFigure& figure = figures[0];
  std::vector<POINTFIX> corners{figure.start};
  corners.insert(corners.end(), figure.runs[0].points.begin(), figure.runs[0].points.end());
  if (corners.size() == 5 && corners[4].x == corners[0].x && corners[4].y == corners[0].y) corners.pop_back();
  if (corners.size() != 4) return false;
  for (const POINTFIX& c : corners) {
    if ((c.x & 15) || (c.y & 15)) return false;
  }
  // Edges alternate between horizontal and vertical, either way round.
  bool firstHorizontal = corners[0].y == corners[1].y;
  for (int i = 0; i < 4; ++i) {
    const POINTFIX& a = corners[i];
    const POINTFIX& b = corners[(i + 1) % 4];
    bool horizontal = (i % 2 == 0) == firstHorizontal;
    if (horizontal ? a.y != b.y : a.x != b.x) return false;
  }
  rect->left = std::min(corners[0].x, corners[2].x) >> 4;
  rect->right = std::max(corners[0].x, corners[2].x) >> 4;
  rect->top = std::min(corners[0].y, corners[2].y) >> 4;
  rect->bottom = std::max(corners[0].y, corners[2].y) >> 4;
  return true;
}

}  // namespace

void FillPath(Painter& painter, const HostPath& path, bool winding) {
  if (path.Empty()) return;
  if (RECTL rect; WholePixelRectangle(path, &rect)) {
    const RECTL& area = painter.Area();
    int32_t top = std::max(rect.top, area.top), bottom = std::min(rect.bottom, area.bottom);
    for (int32_t y = top; y < bottom; ++y) painter.Span(y, rect.left, rect.right);
    return;
  }
  RECTL area = CoverageArea(painter, path, 0);
  if (area.left >= area.right || area.top >= area.bottom) return;
  std::vector<Polyline> cut;
  bool far = ReachesFar(path, area);
  if (far) cut = CutForFill(path, GrownBox(area, 2));
  PaintCoverage(painter, area, [&](cairo_t* cr, double ox, double oy) {
    cairo_set_fill_rule(cr, winding ? CAIRO_FILL_RULE_WINDING : CAIRO_FILL_RULE_EVEN_ODD);
    AddPath(cr, path, far ? &cut : nullptr, [ox, oy](double& x, double& y) {
      x -= ox;
      y -= oy;
    });
    cairo_fill(cr);
  });
}

namespace {

// A geometric pen from the line's attributes and the world transform.
// `meanScale` is the transform's mean scale and `maxScale` the most it
// stretches any direction, as the stroke's reach needs them. False when
// the pen cannot be made of finite numbers.
bool MakePen(const LINEATTRS& attrs, const HostXform* xform, Pen& pen, double& meanScale, double& maxScale) {
  pen.width = std::abs(double(attrs.elWidth.e));
  if (!std::isfinite(pen.width)) return false;
  meanScale = maxScale = 1;
  if (xform) {
    const double det = xform->m11 * xform->m22 - xform->m12 * xform->m21;
    const double sx = std::hypot(xform->m11, xform->m12), sy = std::hypot(xform->m21, xform->m22);
    meanScale = (sx + sy) / 2;
    if (std::isfinite(det) && std::abs(det) > 1e-12 * std::max(1.0, sx * sy)) {
      pen.xx = xform->m11;
      pen.yx = xform->m12;
      pen.xy = xform->m21;
      pen.yy = xform->m22;
      pen.transformed = true;
      maxScale = std::hypot(sx, sy);
    } else {
      // No inverse: a round pen of the mean scale in device pixels.
      pen.width *= meanScale;
    }
  }
  if (!std::isfinite(meanScale) || !std::isfinite(maxScale)) return false;
  // Pens thinner than a pixel still draw one pixel wide.
  pen.width = std::max(pen.width, UnitsPerPixel(pen, meanScale));
  return true;
}

// The dash pattern in world units (device pixels without a transform) and
// where the line enters it; empty for a solid line.
std::vector<double> DashesOf(const LINEATTRS& attrs, const Pen& pen, bool hasXform, double meanScale,
                             double& dashOffset) {
  dashOffset = 0;
  const double unitsPerPixel = UnitsPerPixel(pen, meanScale);
  if (attrs.fl & LA_ALTERNATE) return {unitsPerPixel, unitsPerPixel};
  if (!(attrs.fl & LA_STYLED) || !attrs.pstyle || attrs.cstyle == 0 || attrs.cstyle > 1024) return {};
  const double scale = hasXform && !pen.transformed ? meanScale : 1;
  std::vector<double> dashes;
  double total = 0;
  for (ULONG i = 0; i < attrs.cstyle; ++i) {
    double v = double(attrs.pstyle[i].e) * scale;
    if (!std::isfinite(v) || v < 0) v = 0;
    dashes.push_back(v);
    total += v;
  }
  if (total <= 0 || !std::isfinite(total)) return {};
  if (dashes.size() % 2) dashes.insert(dashes.end(), dashes.begin(), dashes.end());
  total = 0;
  for (double v : dashes) total += v;
  // A style that starts with a gap is the same style rotated by one entry,
  // entered at the start of that gap.
  if (attrs.fl & LA_STARTGAP) {
    std::rotate(dashes.begin(), dashes.begin() + 1, dashes.end());
    dashOffset = total - dashes.back();
  }
  const double state = double(attrs.elStyleState.e) * scale;
  if (std::isfinite(state)) dashOffset += state;
  dashOffset = std::fmod(dashOffset, total);
  return dashes;
}

}  // namespace

void StrokeGeometric(Painter& painter, const HostPath& path, const LINEATTRS& attrs, const HostXform* xform) {
  if (path.Empty()) return;
  Pen pen;
  double meanScale = 1, maxScale = 1;
  if (!MakePen(attrs, xform, pen, meanScale, maxScale)) return;

  double miter = std::max(1.0, double(attrs.eMiterLimit));
  if (!std::isfinite(miter)) miter = 1;
  const double reachFactor = std::max(M_SQRT2, attrs.iJoin == JOIN_MITER ? miter : 1.0);
  double reach = pen.width / 2 * maxScale * reachFactor + 1;
  if (!std::isfinite(reach) || reach > 1e7) reach = 1e7;

  double dashOffset = 0;
  const std::vector<double> dashes = DashesOf(attrs, pen, xform != nullptr, meanScale, dashOffset);

  RECTL area = CoverageArea(painter, path, reach);
  if (area.left >= area.right || area.top >= area.bottom) return;
  std::vector<Polyline> cut;
  bool far = ReachesFar(path, area);
  // The box stays well inside cairo's range even for absurdly wide pens.
  if (far) cut = CutForStroke(path, GrownBox(area, std::min(reach + 2, kFarLimit / 2)));
  // The inverse of the pen's linear part maps device offsets back to world.
  double det = pen.xx * pen.yy - pen.yx * pen.xy;
  double ixx = pen.yy / det, ixy = -pen.xy / det, iyx = -pen.yx / det, iyy = pen.xx / det;
  PaintCoverage(painter, area, [&](cairo_t* cr, double ox, double oy) {
    // Pens are centred on pixel centres: device points move half a pixel.
    double tx = 0.5 - ox, ty = 0.5 - oy;
    cairo_matrix_t m;
    cairo_matrix_init(&m, pen.xx, pen.yx, pen.xy, pen.yy, tx, ty);
    cairo_set_matrix(cr, &m);
    cairo_set_line_width(cr, pen.width);
    cairo_set_line_cap(cr, attrs.iEndCap == ENDCAP_SQUARE ? CAIRO_LINE_CAP_SQUARE
                           : attrs.iEndCap == ENDCAP_BUTT ? CAIRO_LINE_CAP_BUTT
                                                          : CAIRO_LINE_CAP_ROUND);
    cairo_set_line_join(cr, attrs.iJoin == JOIN_BEVEL   ? CAIRO_LINE_JOIN_BEVEL
                            : attrs.iJoin == JOIN_MITER ? CAIRO_LINE_JOIN_MITER
                                                        : CAIRO_LINE_JOIN_ROUND);
    cairo_set_miter_limit(cr, miter);
    if (!dashes.empty()) cairo_set_dash(cr, dashes.data(), int(dashes.size()), dashOffset);
    // Points: device = M * user + t, so user = M^-1 * (device - 0) here,
    // the offset t living in the matrix.
    AddPath(cr, path, far ? &cut : nullptr, [&](double& x, double& y) {
      double ux = ixx * x + ixy * y, uy = iyx * x + iyy * y;
      x = ux;
      y = uy;
    });
    cairo_stroke(cr);
  });
}

void StrokeCosmetic(Painter& painter, const HostPath& path, const LINEATTRS* attrs) {
  CosmeticStyle style(attrs);
  std::vector<POINTFIX> points;
  for (const PathFigure& figure : path.Figures()) {
    FlattenFigure(figure, points);
    if (figure.closed) points.push_back(figure.start);
    for (size_t i = 0; i + 1 < points.size(); ++i) {
      Line(painter, Round(points[i].x), Round(points[i].y), Round(points[i + 1].x), Round(points[i + 1].y),
           style);
    }
  }
}

void CosmeticLine(Painter& painter, POINTL a, POINTL b) {
  CosmeticStyle solid(nullptr);
  Line(painter, a.x, a.y, b.x, b.y, solid);
}

}  // namespace snk::engine
