// Alpha blending, colour-key transparency and gradients on the 24-bit
// surface.
//
// All three paint pixel by pixel with colours of their own (no raster
// operation), so they walk the rectangles of the visible region themselves
// instead of going through the Painter: the target rectangle cut to the
// surface, to the clip and, for gradients, to the extents the caller gives.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <vector>

#include "host/engine/bitmap_source.h"
#include "host/engine/raster.h"
#include "host/engine/region.h"
#include "host/engine/xlate.h"
#include "platform/winddi.h"

namespace {

using snk::engine::Region;
using snk::engine::SourcePixels;

// The pixels of the 24-bit target a call may write.
class Target {
 public:
  explicit Target(const SURFOBJ& so)
      : scan0_(static_cast<uint8_t*>(so.pvScan0)), delta_(so.lDelta), size_(so.sizlBitmap) {}

  // The rectangles of `bounds` that lie on the surface and inside the clip
  // (`clip` null: no clipping); they do not overlap.
  Region Visible(RECTL bounds, const Region* clip) const {
    bounds.left = std::max(bounds.left, LONG{0});
    bounds.top = std::max(bounds.top, LONG{0});
    bounds.right = std::min(bounds.right, size_.cx);
    bounds.bottom = std::min(bounds.bottom, size_.cy);
    if (bounds.left >= bounds.right || bounds.top >= bounds.bottom) return Region();
    return clip ? clip->Intersect(bounds) : Region(bounds);
  }

  uint8_t* At(int32_t x, int32_t y) const { return scan0_ + y * delta_ + int64_t{x} * 3; }

  static void Put(uint8_t* p, uint32_t color) {
    p[0] = uint8_t(color);
    p[1] = uint8_t(color >> 8);
    p[2] = uint8_t(color >> 16);
  }

 private:
  uint8_t* scan0_;
  int64_t delta_;
  SIZEL size_;
};

// The 24-bit bitmap a call paints on. Null with `result` TRUE for a
// surface without bits (nothing to paint, not a failure), null with FALSE
// for a bitmap of another format.
const SURFOBJ* TargetOf(SURFOBJ* pso, BOOL& result) {
  const SURFOBJ* so = snk::engine::BitmapOf(pso);
  result = TRUE;
  if (so && so->iBitmapFormat != BMF_24BPP) {
    result = FALSE;
    return nullptr;
  }
  return so;
}

// ------------------------------------------------------------- stretching

// One axis of a stretched copy: the destination span [start, start+count)
// and the source span it takes its pixels from, flipped when exactly one
// of the two rectangles comes with its edges in reverse order.
struct Axis {
  int32_t dstStart = 0;
  int32_t dstCount = 0;
  int32_t srcStart = 0;
  int32_t srcCount = 0;
  bool flip = false;

  // False when a span is too long to be meant.
  bool Set(LONG dstLow, LONG dstHigh, LONG srcLow, LONG srcHigh) {
    bool dstFlip = dstLow > dstHigh, srcFlip = srcLow > srcHigh;
    if (dstFlip) std::swap(dstLow, dstHigh);
    if (srcFlip) std::swap(srcLow, srcHigh);
    int64_t dst = int64_t{dstHigh} - dstLow, src = int64_t{srcHigh} - srcLow;
    if (dst > INT32_MAX || src > INT32_MAX) return false;
    dstStart = dstLow;
    dstCount = int32_t(dst);
    srcStart = srcLow;
    srcCount = int32_t(src);
    flip = dstFlip != srcFlip;
    return true;
  }

  bool Empty() const { return dstCount <= 0 || srcCount <= 0; }

  // The source coordinate destination coordinate d (inside the span) takes.
  int64_t Source(int32_t d) const {
    int32_t i = d - dstStart;
    if (flip) i = dstCount - 1 - i;
    return int64_t{srcStart} + snk::engine::NearestSource(i, dstCount, srcCount);
  }
};

// Calls `paint(target pixel, source x, source y)` for every visible target
// pixel of a stretched copy whose source pixel lies on the source bitmap.
template <typename Paint>
BOOL Stretch(SURFOBJ* psoDst, const SourcePixels& src, CLIPOBJ* pco, const RECTL& dst, const RECTL& from,
             Paint&& paint) {
  BOOL result;
  const SURFOBJ* so = TargetOf(psoDst, result);
  if (!so) return result;
  if (!src.Valid()) return FALSE;
  Axis ax, ay;
  if (!ax.Set(dst.left, dst.right, from.left, from.right) ||
      !ay.Set(dst.top, dst.bottom, from.top, from.bottom)) {
    return FALSE;
  }
  if (ax.Empty() || ay.Empty()) return TRUE;
  Target target(*so);
  std::optional<Region> storage;
  RECTL bounds{ax.dstStart, ay.dstStart, LONG(int64_t{ax.dstStart} + ax.dstCount),
               LONG(int64_t{ay.dstStart} + ay.dstCount)};
  Region visible = target.Visible(bounds, snk::engine::ClipOf(pco, storage));
  if (visible.Empty()) return TRUE;

  // Source columns of the visible columns, once; -1 off the source.
  RECTL box = visible.Bounds();
  std::vector<int32_t> columns(size_t(box.right - box.left));
  for (int32_t x = box.left; x < box.right; ++x) {
    int64_t sx = ax.Source(x);
    columns[size_t(x - box.left)] = sx >= 0 && sx < src.Width() ? int32_t(sx) : -1;
  }
  for (const RECTL& r : visible.Rects()) {
    for (int32_t y = r.top; y < r.bottom; ++y) {
      int64_t sy = ay.Source(y);
      if (sy < 0 || sy >= src.Height()) continue;
      uint8_t* p = target.At(r.left, y);
      for (int32_t x = r.left; x < r.right; ++x, p += 3) {
        int32_t sx = columns[size_t(x - box.left)];
        if (sx >= 0) paint(p, sx, int32_t(sy));
      }
    }
  }
  return TRUE;
}

// ------------------------------------------------------------- gradients

struct Color16 {
  uint32_t c[3];  // red, green, blue, 16 bits each
};

Color16 ColorOf(const TRIVERTEX& v) { return Color16{{v.Red, v.Green, v.Blue}}; }

// The surface colour of 16-bit components: their high bytes.
uint32_t Surface(const uint32_t c[3]) { return (c[0] >> 8) | (c[1] >> 8) << 8 | (c[2] >> 8) << 16; }

// A rectangle whose colour runs linearly from `low`'s at its left (top)
// edge to `high`'s at its right (bottom) edge; a column (row) takes the
// colour at its left (top) coordinate.
void FillGradientRect(const Target& target, const Region& visible, const TRIVERTEX& a, const TRIVERTEX& b,
                      bool horizontal) {
  // The colours stay with their vertices when the corners come swapped.
  const TRIVERTEX* low = &a;
  const TRIVERTEX* high = &b;
  if (horizontal ? a.x > b.x : a.y > b.y) std::swap(low, high);
  RECTL rect{std::min(a.x, b.x), std::min(a.y, b.y), std::max(a.x, b.x), std::max(a.y, b.y)};
  Region pixels = visible.Intersect(rect);
  if (pixels.Empty()) return;
  int64_t start = horizontal ? rect.left : rect.top;
  int64_t length = horizontal ? int64_t{rect.right} - rect.left : int64_t{rect.bottom} - rect.top;
  Color16 c0 = ColorOf(*low), c1 = ColorOf(*high);
  auto colorAt = [&](int32_t pos) {
    int64_t i = pos - start;
    uint32_t c[3];
    for (int k = 0; k < 3; ++k) c[k] = uint32_t((c0.c[k] * (length - i) + c1.c[k] * i) / length);
    return Surface(c);
  };
  for (const RECTL& r : pixels.Rects()) {
    if (horizontal) {
      std::vector<uint32_t> row(size_t(r.right - r.left));
      for (int32_t x = r.left; x < r.right; ++x) row[size_t(x - r.left)] = colorAt(x);
      for (int32_t y = r.top; y < r.bottom; ++y) {
        uint8_t* p = target.At(r.left, y);
        for (uint32_t color : row) {
          Target::Put(p, color);
          p += 3;
        }
      }
    } else {
      for (int32_t y = r.top; y < r.bottom; ++y) {
        uint32_t color = colorAt(y);
        uint8_t* p = target.At(r.left, y);
        for (int32_t x = r.left; x < r.right; ++x, p += 3) Target::Put(p, color);
      }
    }
  }
}

// a / b rounded towards minus infinity (b > 0).
template <typename T>
T FloorDiv(T a, T b) {
  T q = a / b;
  return q * b > a ? q - 1 : q;
}

// Twice the signed area of a triangle; positive when it runs clockwise on
// the screen (y down).
template <typename T>
T TwiceArea(const TRIVERTEX* const v[3]) {
  return (T(v[1]->x) - v[0]->x) * (T(v[2]->y) - v[0]->y) - (T(v[1]->y) - v[0]->y) * (T(v[2]->x) - v[0]->x);
}

// One edge of a triangle as a function of the pixel: positive inside.
template <typename T>
struct TriangleEdge {
  T stepX, stepY;  // change per pixel right and per pixel down
  T origin;        // value at the centre of pixel (0, 0)
  bool topLeft;
};

// The run [first, last) of row `y` of `r`, counted from r.left, inside all
// three edges: edge i keeps pixel k while w + stepX*k >= 1, or >= 0 on a
// top or left edge. `w` receives the edges' values at r.left. False for
// an empty run.
template <typename T>
bool RowInside(const TriangleEdge<T> (&edge)[3], const RECTL& r, int32_t y, T w[3], T& first, T& last) {
  first = 0, last = T(r.right) - r.left;
  for (int i = 0; i < 3; ++i) {
    w[i] = edge[i].origin + edge[i].stepX * r.left + edge[i].stepY * y;
    const T need = (edge[i].topLeft ? 0 : 1) - w[i];  // stepX*k >= need
    const T step = edge[i].stepX;
    if (step == 0) {
      if (need > 0) last = 0;
    } else if (step > 0) {
      first = std::max(first, -FloorDiv(-need, step));
    } else {
      last = std::min(last, FloorDiv(-need, -step) + 1);
    }
  }
  return first < last;
}

// A Gouraud-shaded triangle: the pixels whose centres lie inside, each
// with the vertex colours weighted by its barycentric coordinates. Centres
// on an edge belong to the triangle only when the edge is a top or a left
// edge, so triangles sharing an edge paint each of its pixels once.
//
// Edge functions are evaluated at doubled coordinates, where pixel centres
// are integers, so the inside test is exact. `T` is wide enough for the
// triangle's coordinates and area (int64_t, or __int128 for huge ones).
template <typename T>
void FillTriangle(const Target& target, const Region& visible, const TRIVERTEX* v[3]) {
  T area2 = TwiceArea<T>(v);
  if (area2 == 0) return;
  // Clockwise on the screen, so the inside is where every edge function is
  // positive.
  const TRIVERTEX* p[3] = {v[0], v[1], v[2]};
  if (area2 < 0) std::swap(p[1], p[2]);

  TriangleEdge<T> edge[3];
  for (int i = 0; i < 3; ++i) {
    // Edge i runs opposite vertex i; its function is vertex i's weight.
    const TRIVERTEX& a = *p[(i + 1) % 3];
    const TRIVERTEX& b = *p[(i + 2) % 3];
    T dx = T(b.x) - T(a.x), dy = T(b.y) - T(a.y);
    edge[i].stepX = -2 * dy;
    edge[i].stepY = 2 * dx;
    edge[i].origin = dx * (1 - 2 * T(a.y)) - dy * (1 - 2 * T(a.x));
    edge[i].topLeft = dy < 0 || (dy == 0 && dx > 0);
  }
  T total = 2 * (area2 < 0 ? -area2 : area2);  // the three weights' sum
  Color16 color[3] = {ColorOf(*p[0]), ColorOf(*p[1]), ColorOf(*p[2])};

  int64_t minX = std::min({p[0]->x, p[1]->x, p[2]->x}), maxX = std::max({p[0]->x, p[1]->x, p[2]->x});
  int64_t minY = std::min({p[0]->y, p[1]->y, p[2]->y}), maxY = std::max({p[0]->y, p[1]->y, p[2]->y});
  RECTL box{LONG(minX), LONG(minY), LONG(maxX), LONG(maxY)};
  // Across a row each colour's weighted sum changes by a constant; its
  // quotient by `total` is stepped with the remainder, without dividing.
  T sumStep[3], quotientStep[3], remainderStep[3];
  for (int k = 0; k < 3; ++k) {
    sumStep[k] =
        edge[0].stepX * color[0].c[k] + edge[1].stepX * color[1].c[k] + edge[2].stepX * color[2].c[k];
    quotientStep[k] = FloorDiv(sumStep[k], total);
    remainderStep[k] = sumStep[k] - quotientStep[k] * total;
  }

  Region pixels = visible.Intersect(box);
  for (const RECTL& r : pixels.Rects()) {
    for (int32_t y = r.top; y < r.bottom; ++y) {
      T w[3], first = 0, last = 0;
      if (!RowInside(edge, r, y, w, first, last)) continue;
      T quotient[3], remainder[3];
      for (int k = 0; k < 3; ++k) {
        T sum = 0;
        for (int i = 0; i < 3; ++i) sum += (w[i] + edge[i].stepX * first) * color[i].c[k];
        quotient[k] = sum / total;
        remainder[k] = sum - quotient[k] * total;
      }
      uint8_t* out = target.At(int32_t(r.left + first), y);
      for (T x = first; x < last; ++x, out += 3) {
        out[0] = uint8_t(uint32_t(quotient[0]) >> 8);
        out[1] = uint8_t(uint32_t(quotient[1]) >> 8);
        out[2] = uint8_t(uint32_t(quotient[2]) >> 8);
        for (int k = 0; k < 3; ++k) {
          quotient[k] += quotientStep[k];
          remainder[k] += remainderStep[k];
          if (remainder[k] >= total) {
            ++quotient[k];
            remainder[k] -= total;
          }
        }
      }
    }
  }
}

void FillTriangle(const Target& target, const Region& visible, const TRIVERTEX* v[3]) {
  // 64 bits hold the edge functions while coordinates stay within 2^28,
  // and the weighted colour sums while twice the area stays below 2^45.
  constexpr int64_t kCoordLimit = int64_t{1} << 28;
  bool small = true;
  for (int i = 0; i < 3; ++i) {
    small = small && std::llabs(v[i]->x) <= kCoordLimit && std::llabs(v[i]->y) <= kCoordLimit;
  }
  if (small) small = std::llabs(TwiceArea<int64_t>(v)) < (int64_t{1} << 45);
  if (small) {
    FillTriangle<int64_t>(target, visible, v);
  } else {
    FillTriangle<__int128>(target, visible, v);
  }
}

// The bits of a source pixel word that the colour key compares: those of
// the pixel's depth, and of those only the bits that carry colour: 32-bit
// B, G, R pixels leave their top byte unused, and bit-field pixels use the
// bits of their masks.
uint32_t KeyMask(ULONG format, XLATEOBJ* pxlo) {
  uint32_t mask = 0xFFFFFFFF;
  switch (format) {
    case BMF_1BPP:
      mask = 0x1;
      break;
    case BMF_4BPP:
      mask = 0xF;
      break;
    case BMF_8BPP:
      mask = 0xFF;
      break;
    case BMF_16BPP:
      mask = 0xFFFF;
      break;
    case BMF_24BPP:
      mask = 0xFFFFFF;
      break;
    default:
      break;
  }
  if (!pxlo || mask <= 0xFF) return mask;  // an index
  if (pxlo->iSrcType == PAL_BGR || pxlo->iSrcType == PAL_RGB) return mask & 0xFFFFFF;
  const snk::engine::HostXlate* xlate = snk::engine::HostXlate::From(pxlo);
  if (pxlo->iSrcType == PAL_BITFIELDS && xlate) mask &= xlate->masks[0] | xlate->masks[1] | xlate->masks[2];
  return mask;
}

// Rounded a / b for non-negative a and positive b.
uint32_t DivRound(uint64_t a, uint64_t b) { return uint32_t((a + b / 2) / b); }

}  // namespace

extern "C" {

BOOL APIENTRY EngAlphaBlend(SURFOBJ* psoDest, SURFOBJ* psoSrc, CLIPOBJ* pco, XLATEOBJ* pxlo, RECTL* prclDest,
                            RECTL* prclSrc, BLENDOBJ* pBlendObj) {
  if (!psoDest || !psoSrc || !prclDest || !prclSrc || !pBlendObj) return FALSE;
  const BLENDFUNCTION& blend = pBlendObj->BlendFunction;
  if (blend.BlendOp != AC_SRC_OVER) return FALSE;
  bool perPixel = (blend.AlphaFormat & AC_SRC_ALPHA) != 0;
  // Per-pixel alpha lives in the top byte of 32-bit pixels only.
  if (perPixel && psoSrc->iBitmapFormat != BMF_32BPP) return FALSE;
  const uint32_t a = blend.SourceConstantAlpha;
  SourcePixels src(*psoSrc, pxlo);

  if (!perPixel) {
    // D = (S*a + D*(255-a)) / 255 per channel.
    return Stretch(psoDest, src, pco, *prclDest, *prclSrc, [&](uint8_t* p, int32_t sx, int32_t sy) {
      uint32_t s = src.Color(sx, sy);
      for (int k = 0; k < 3; ++k) {
        p[k] = uint8_t(DivRound(((s >> (8 * k)) & 0xFF) * a + p[k] * (255 - a), 255));
      }
    });
  }
  // Premultiplied source: D = S*a/255 + D*(1 - As*a/255/255), in units of
  // 1/65025 so that only the result is rounded.
  return Stretch(psoDest, src, pco, *prclDest, *prclSrc, [&](uint8_t* p, int32_t sx, int32_t sy) {
    uint32_t alpha = src.Word(sx, sy) >> 24;
    uint32_t s = src.Color(sx, sy);
    uint32_t keep = 65025 - alpha * a;
    for (int k = 0; k < 3; ++k) {
      uint32_t value = DivRound(uint64_t{(s >> (8 * k)) & 0xFF} * a * 255 + uint64_t{p[k]} * keep, 65025);
      p[k] = uint8_t(std::min(value, 255u));
    }
  });
}

BOOL APIENTRY EngTransparentBlt(SURFOBJ* psoDst, SURFOBJ* psoSrc, CLIPOBJ* pco, XLATEOBJ* pxlo,
                                RECTL* prclDst, RECTL* prclSrc, ULONG iTransColor, ULONG /*ulReserved*/) {
  if (!psoDst || !psoSrc || !prclDst || !prclSrc) return FALSE;
  SourcePixels src(*psoSrc, pxlo);
  const uint32_t mask = KeyMask(psoSrc->iBitmapFormat, pxlo);
  const uint32_t key = iTransColor & mask;
  return Stretch(psoDst, src, pco, *prclDst, *prclSrc, [&](uint8_t* p, int32_t sx, int32_t sy) {
    if ((src.Word(sx, sy) & mask) != key) Target::Put(p, src.Color(sx, sy));
  });
}

BOOL APIENTRY EngGradientFill(SURFOBJ* psoDest, CLIPOBJ* pco, XLATEOBJ* /*pxlo: the surface is RGB*/,
                              TRIVERTEX* pVertex, ULONG nVertex, PVOID pMesh, ULONG nMesh, RECTL* prclExtents,
                              POINTL* /*pptlDitherOrg: no dithering*/, ULONG ulMode) {
  if (!psoDest || !pVertex || !pMesh) return FALSE;
  bool triangles = ulMode == GRADIENT_FILL_TRIANGLE;
  if (!triangles && ulMode != GRADIENT_FILL_RECT_H && ulMode != GRADIENT_FILL_RECT_V) return FALSE;
  // Every index is checked before anything is drawn.
  const auto* rects = static_cast<const GRADIENT_RECT*>(pMesh);
  const auto* tris = static_cast<const GRADIENT_TRIANGLE*>(pMesh);
  for (ULONG i = 0; i < nMesh; ++i) {
    bool bad = triangles
                   ? tris[i].Vertex1 >= nVertex || tris[i].Vertex2 >= nVertex || tris[i].Vertex3 >= nVertex
                   : rects[i].UpperLeft >= nVertex || rects[i].LowerRight >= nVertex;
    if (bad) return FALSE;
  }

  BOOL result;
  const SURFOBJ* so = TargetOf(psoDest, result);
  if (!so) return result;
  Target target(*so);
  RECTL bounds{0, 0, so->sizlBitmap.cx, so->sizlBitmap.cy};
  if (prclExtents) {
    bounds.left = std::max(bounds.left, std::min(prclExtents->left, prclExtents->right));
    bounds.top = std::max(bounds.top, std::min(prclExtents->top, prclExtents->bottom));
    bounds.right = std::min(bounds.right, std::max(prclExtents->left, prclExtents->right));
    bounds.bottom = std::min(bounds.bottom, std::max(prclExtents->top, prclExtents->bottom));
  }
  std::optional<Region> storage;
  Region visible = target.Visible(bounds, snk::engine::ClipOf(pco, storage));
  if (visible.Empty()) return TRUE;

  for (ULONG i = 0; i < nMesh; ++i) {
    if (triangles) {
      const TRIVERTEX* v[3] = {&pVertex[tris[i].Vertex1], &pVertex[tris[i].Vertex2],
                               &pVertex[tris[i].Vertex3]};
      FillTriangle(target, visible, v);
    } else {
      FillGradientRect(target, visible, pVertex[rects[i].UpperLeft], pVertex[rects[i].LowerRight],
                       ulMode == GRADIENT_FILL_RECT_H);
    }
  }
  return TRUE;
}

}  // extern "C"
