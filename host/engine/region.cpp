#include "host/engine/region.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "host/engine/path.h"

namespace snk::engine {
namespace {

struct Span {
  int32_t left;
  int32_t right;
  friend bool operator==(const Span&, const Span&) = default;
};

bool WellFormed(const RECTL& r) { return r.left < r.right && r.top < r.bottom; }

// Builds the banded rectangle list band by band. A band whose spans equal
// those of the band right above it and touch it is merged into that band.
class BandBuilder {
 public:
  void AddBand(int32_t top, int32_t bottom, std::vector<Span>& spans) {
    if (top >= bottom) return;
    // Sort, and merge overlapping or touching spans.
    std::sort(spans.begin(), spans.end(), [](const Span& a, const Span& b) { return a.left < b.left; });
    std::vector<Span> merged;
    for (const Span& s : spans) {
      if (s.left >= s.right) continue;
      if (!merged.empty() && s.left <= merged.back().right)
        merged.back().right = std::max(merged.back().right, s.right);
      else
        merged.push_back(s);
    }
    if (merged.empty()) return;
    if (lastBottom_ == top && merged == lastSpans_) {
      for (size_t i = rects_.size() - lastSpans_.size(); i < rects_.size(); ++i) rects_[i].bottom = bottom;
    } else {
      for (const Span& s : merged) rects_.push_back(RECTL{s.left, top, s.right, bottom});
      lastSpans_ = std::move(merged);
    }
    lastBottom_ = bottom;
  }
  std::vector<RECTL> Take() { return std::move(rects_); }

 private:
  std::vector<RECTL> rects_;
  std::vector<Span> lastSpans_;
  int32_t lastBottom_ = std::numeric_limits<int32_t>::min();
};

// The spans of a region's band that covers row y, starting the search at
// `cursor` (bands are visited top to bottom).
std::vector<Span> SpansAt(const std::vector<RECTL>& rects, size_t& cursor, int32_t y) {
  while (cursor < rects.size() && rects[cursor].bottom <= y) ++cursor;
  std::vector<Span> spans;
  for (size_t i = cursor; i < rects.size() && rects[i].top <= y; ++i)
    if (rects[i].bottom > y) spans.push_back({rects[i].left, rects[i].right});
  return spans;
}

bool Keep(RegionOp op, bool a, bool b) {
  switch (op) {
    case RegionOp::And:
      return a && b;
    case RegionOp::Or:
      return a || b;
    case RegionOp::Xor:
      return a != b;
    case RegionOp::Diff:
      return a && !b;
    case RegionOp::Copy:
      return a;
  }
  return false;
}

// Combines two sorted, disjoint span lists.
std::vector<Span> CombineSpans(const std::vector<Span>& a, const std::vector<Span>& b, RegionOp op) {
  std::vector<int32_t> xs;
  for (const Span& s : a) xs.insert(xs.end(), {s.left, s.right});
  for (const Span& s : b) xs.insert(xs.end(), {s.left, s.right});
  std::sort(xs.begin(), xs.end());
  xs.erase(std::unique(xs.begin(), xs.end()), xs.end());
  std::vector<Span> out;
  size_t ia = 0, ib = 0;
  for (size_t i = 0; i + 1 < xs.size(); ++i) {
    const int32_t x = xs[i];
    while (ia < a.size() && a[ia].right <= x) ++ia;
    while (ib < b.size() && b[ib].right <= x) ++ib;
    const bool inA = ia < a.size() && a[ia].left <= x;
    const bool inB = ib < b.size() && b[ib].left <= x;
    if (!Keep(op, inA, inB)) continue;
    if (!out.empty() && out.back().right == x)
      out.back().right = xs[i + 1];
    else
      out.push_back({x, xs[i + 1]});
  }
  return out;
}

int32_t Saturate(int64_t v) {
  return static_cast<int32_t>(
      std::clamp<int64_t>(v, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

int32_t RoundToPixel(double v) {
  if (std::isnan(v)) return 0;
  return static_cast<int32_t>(std::clamp(std::round(v), -2147483648.0, 2147483647.0));
}

}  // namespace

Region::Region(const RECTL& rect) {
  if (WellFormed(rect)) rects_.push_back(rect);
}

Region Region::FromRects(std::span<const RECTL> rects) {
  std::vector<RECTL> sorted;
  for (const RECTL& r : rects)
    if (WellFormed(r)) sorted.push_back(r);
  std::sort(sorted.begin(), sorted.end(), [](const RECTL& a, const RECTL& b) { return a.top < b.top; });
  std::vector<int32_t> ys;
  for (const RECTL& r : sorted) ys.insert(ys.end(), {r.top, r.bottom});
  std::sort(ys.begin(), ys.end());
  ys.erase(std::unique(ys.begin(), ys.end()), ys.end());

  // Sweep the bands between consecutive edges with the rectangles active
  // in each.
  BandBuilder builder;
  std::vector<const RECTL*> active;
  size_t next = 0;
  for (size_t i = 0; i + 1 < ys.size(); ++i) {
    const int32_t top = ys[i], bottom = ys[i + 1];
    std::erase_if(active, [&](const RECTL* r) { return r->bottom <= top; });
    while (next < sorted.size() && sorted[next].top <= top) active.push_back(&sorted[next++]);
    std::vector<Span> spans;
    for (const RECTL* r : active) spans.push_back({r->left, r->right});
    builder.AddBand(top, bottom, spans);
  }
  Region region;
  region.rects_ = builder.Take();
  return region;
}

namespace {

// A path's edge in pixels, from its upper to its lower end; `dir` is +1
// for an edge that ran downward and -1 for one that ran upward.
struct PathEdge {
  double x0, y0, x1, y1;
  int dir;
};

// The path flattened to edges in pixels, every figure closed for filling;
// horizontal edges are left out, as no row centre crosses them.
std::vector<PathEdge> EdgesOf(const HostPath& path) {
  std::vector<PathEdge> edges;
  auto addEdge = [&](double x0, double y0, double x1, double y1) {
    if (y0 == y1) return;
    if (y0 < y1)
      edges.push_back({x0, y0, x1, y1, 1});
    else
      edges.push_back({x1, y1, x0, y0, -1});
  };
  for (const PathFigure& figure : path.Figures()) {
    double cx = figure.start.x / 16.0, cy = figure.start.y / 16.0;
    for (const PathRun& run : figure.runs) {
      if (!run.bezier) {
        for (POINTFIX p : run.points) {
          addEdge(cx, cy, p.x / 16.0, p.y / 16.0);
          cx = p.x / 16.0;
          cy = p.y / 16.0;
        }
        continue;
      }
      for (size_t i = 0; i + 2 < run.points.size(); i += 3) {
        const double x1 = run.points[i].x / 16.0, y1 = run.points[i].y / 16.0;
        const double x2 = run.points[i + 1].x / 16.0, y2 = run.points[i + 1].y / 16.0;
        const double x3 = run.points[i + 2].x / 16.0, y3 = run.points[i + 2].y / 16.0;
        // Enough steps for a quarter-pixel error, within a sane bound.
        const double extent = std::abs(x1 - cx) + std::abs(x2 - x1) + std::abs(x3 - x2) + std::abs(y1 - cy) +
                              std::abs(y2 - y1) + std::abs(y3 - y2);
        const int steps = static_cast<int>(std::clamp(std::sqrt(extent) * 2.0, 1.0, 256.0));
        double px = cx, py = cy;
        for (int step = 1; step <= steps; ++step) {
          const double t = static_cast<double>(step) / steps, u = 1 - t;
          const double x = u * u * u * cx + 3 * u * u * t * x1 + 3 * u * t * t * x2 + t * t * t * x3;
          const double y = u * u * u * cy + 3 * u * u * t * y1 + 3 * u * t * t * y2 + t * t * t * y3;
          addEdge(px, py, x, y);
          px = x;
          py = y;
        }
        cx = x3;
        cy = y3;
      }
    }
    addEdge(cx, cy, figure.start.x / 16.0, figure.start.y / 16.0);
  }
  return edges;
}

}  // namespace

Region Region::FromPath(const HostPath& path, bool winding) {
  // Scan each row at its pixel centre: pixel x is inside when x + 0.5 lies
  // between an entering and a leaving crossing of the row's centre line.
  std::vector<PathEdge> edges = EdgesOf(path);
  if (edges.empty()) return Region();

  // Rows whose centres the edges can reach, kept to a range that no real
  // page exceeds so that absurd coordinates cannot make the scan endless.
  constexpr double kLimit = 1 << 20;
  double minY = kLimit, maxY = -kLimit;
  for (const PathEdge& e : edges) {
    minY = std::min(minY, e.y0);
    maxY = std::max(maxY, e.y1);
  }
  const int32_t firstRow = static_cast<int32_t>(std::ceil(std::max(minY, -kLimit) - 0.5));
  const int32_t lastRow = static_cast<int32_t>(std::floor(std::min(maxY, kLimit) - 0.5));

  std::sort(edges.begin(), edges.end(), [](const PathEdge& a, const PathEdge& b) { return a.y0 < b.y0; });
  BandBuilder builder;
  std::vector<const PathEdge*> active;
  size_t next = 0;
  struct Crossing {
    double x;
    int dir;
  };
  std::vector<Crossing> crossings;
  std::vector<Span> spans;
  for (int32_t row = firstRow; row <= lastRow; ++row) {
    const double y = row + 0.5;
    while (next < edges.size() && edges[next].y0 <= y) active.push_back(&edges[next++]);
    std::erase_if(active, [&](const PathEdge* e) { return e->y1 <= y; });
    crossings.clear();
    for (const PathEdge* e : active) {
      if (e->y0 > y) continue;
      const double x = e->x0 + (y - e->y0) * (e->x1 - e->x0) / (e->y1 - e->y0);
      crossings.push_back({x, e->dir});
    }
    std::sort(crossings.begin(), crossings.end(),
              [](const Crossing& a, const Crossing& b) { return a.x < b.x; });
    spans.clear();
    int count = 0;
    for (size_t i = 0; i + 1 < crossings.size(); ++i) {
      count = winding ? count + crossings[i].dir : count ^ 1;
      if (count == 0) continue;
      const int32_t left = RoundToPixel(std::ceil(crossings[i].x - 0.5));
      const int32_t right = RoundToPixel(std::ceil(crossings[i + 1].x - 0.5));
      if (left < right) spans.push_back({left, right});
    }
    builder.AddBand(row, row + 1, spans);
  }
  Region region;
  region.rects_ = builder.Take();
  return region;
}

RECTL Region::Bounds() const {
  if (rects_.empty()) return RECTL{0, 0, 0, 0};
  RECTL b = rects_.front();
  for (const RECTL& r : rects_) {
    b.left = std::min(b.left, r.left);
    b.right = std::max(b.right, r.right);
  }
  b.bottom = rects_.back().bottom;
  return b;
}

Region Region::Combine(const Region& other, RegionOp op) const {
  if (op == RegionOp::Copy) return *this;
  // A region cut by a rectangle around it is unchanged: the common case of
  // a clip cut to the page.
  if (op == RegionOp::And && IsRect() && Contains(rects_.front(), other)) return other;
  if (op == RegionOp::And && other.IsRect() && Contains(other.rects_.front(), *this)) return *this;
  std::vector<int32_t> ys;
  for (const RECTL& r : rects_) ys.insert(ys.end(), {r.top, r.bottom});
  for (const RECTL& r : other.rects_) ys.insert(ys.end(), {r.top, r.bottom});
  std::sort(ys.begin(), ys.end());
  ys.erase(std::unique(ys.begin(), ys.end()), ys.end());
  BandBuilder builder;
  size_t ca = 0, cb = 0;
  for (size_t i = 0; i + 1 < ys.size(); ++i) {
    const std::vector<Span> a = SpansAt(rects_, ca, ys[i]);
    const std::vector<Span> b = SpansAt(other.rects_, cb, ys[i]);
    std::vector<Span> spans = CombineSpans(a, b, op);
    builder.AddBand(ys[i], ys[i + 1], spans);
  }
  Region region;
  region.rects_ = builder.Take();
  return region;
}

bool Region::Contains(const RECTL& rect, const Region& region) {
  if (region.Empty()) return true;
  const RECTL b = region.Bounds();
  return rect.left <= b.left && rect.top <= b.top && b.right <= rect.right && b.bottom <= rect.bottom;
}

Region Region::Intersect(const RECTL& rect) const { return Combine(Region(rect), RegionOp::And); }

void Region::Offset(int32_t dx, int32_t dy) {
  for (RECTL& r : rects_) {
    r.left = Saturate(int64_t{r.left} + dx);
    r.right = Saturate(int64_t{r.right} + dx);
    r.top = Saturate(int64_t{r.top} + dy);
    r.bottom = Saturate(int64_t{r.bottom} + dy);
  }
  // Saturation can squash rectangles together; rebuild to keep the form.
  *this = FromRects(rects_);
}

std::span<const RECTL> Region::BandAt(int32_t y) const {
  // Bands are sorted by top and do not overlap, so their bottoms ascend too.
  auto first =
      std::partition_point(rects_.begin(), rects_.end(), [y](const RECTL& r) { return r.bottom <= y; });
  auto last = std::partition_point(first, rects_.end(), [y](const RECTL& r) { return r.top <= y; });
  return {first, last};
}

bool Region::Contains(int32_t x, int32_t y) const {
  const std::span<const RECTL> band = BandAt(y);
  auto it = std::partition_point(band.begin(), band.end(), [x](const RECTL& r) { return r.right <= x; });
  return it != band.end() && it->left <= x;
}

bool Region::ContainsRect(const RECTL& rect) const {
  if (!WellFormed(rect)) return true;
  // Every row of the rectangle lies in a band with one rectangle spanning
  // it; bands follow each other without gaps.
  int32_t y = rect.top;
  while (y < rect.bottom) {
    const std::span<const RECTL> band = BandAt(y);
    auto it =
        std::partition_point(band.begin(), band.end(), [&](const RECTL& r) { return r.right <= rect.left; });
    if (it == band.end() || it->left > rect.left || it->right < rect.right) return false;
    y = it->bottom;
  }
  return true;
}

Region Region::Transformed(double sx, double sy, double dx, double dy) const {
  std::vector<RECTL> out;
  out.reserve(rects_.size());
  for (const RECTL& r : rects_) {
    const int32_t x0 = RoundToPixel(r.left * sx + dx), x1 = RoundToPixel(r.right * sx + dx);
    const int32_t y0 = RoundToPixel(r.top * sy + dy), y1 = RoundToPixel(r.bottom * sy + dy);
    out.push_back(RECTL{std::min(x0, x1), std::min(y0, y1), std::max(x0, x1), std::max(y0, y1)});
  }
  return FromRects(out);
}

bool operator==(const Region& a, const Region& b) {
  return std::equal(a.rects_.begin(), a.rects_.end(), b.rects_.begin(), b.rects_.end(),
                    [](const RECTL& x, const RECTL& y) {
                      return x.left == y.left && x.top == y.top && x.right == y.right && x.bottom == y.bottom;
                    });
}

}  // namespace snk::engine
