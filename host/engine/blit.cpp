// Blits on the 24-bit surface: EngBitBlt (with or without a source bitmap,
// a pattern brush and a mask), EngCopyBits, EngStretchBlt, EngStretchBltROP
// and EngPlgBlt.
//
// Every blit with a source or a mask runs through one row compositor: for
// each destination row, a mapping (straight, stretched or through a
// parallelogram) fills a row of source colours (bytes R, G, B) and says per
// pixel whether it is drawn and with which of the two ternary operations;
// the compositor then applies the operations to whole runs of bytes, cut by
// the clip. Colour translation is resolved once per call (SourcePixels), so
// the loops neither call through pointers nor look objects up per pixel.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include "host/engine/bitmap_source.h"
#include "host/engine/raster.h"
#include "host/engine/surface.h"
#include "platform/winddi.h"

namespace snk::engine {
namespace {

constexpr uint8_t kSkip = 0;  // pixel left alone
constexpr uint8_t kFore = 1;  // the ROP4's low byte (mask bit 1, or no mask)
constexpr uint8_t kBack = 2;  // its second byte (mask bit 0)

constexpr ROP4 kSrcCopy4 = 0xCCCC;
constexpr ROP4 kMaskedCopy4 = 0xAACC;  // mask bit 1: source; 0: destination kept

bool Empty(const RECTL& r) { return r.left >= r.right || r.top >= r.bottom; }

// A rectangle with its corners put in order, and whether each axis came
// reversed. False when an extent does not fit 31 bits.
bool Order(const RECTL& in, RECTL& out, bool& flipX, bool& flipY) {
  out = in;
  flipX = in.left > in.right;
  flipY = in.top > in.bottom;
  if (flipX) std::swap(out.left, out.right);
  if (flipY) std::swap(out.top, out.bottom);
  constexpr int64_t kMax = std::numeric_limits<int32_t>::max();
  return int64_t{out.right} - out.left <= kMax && int64_t{out.bottom} - out.top <= kMax;
}

RECTL Intersect(const RECTL& a, const RECTL& b) {
  return RECTL{std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
               std::min(a.bottom, b.bottom)};
}

// Division rounding towards minus and plus infinity (b > 0).
int64_t FloorDiv(int64_t a, int64_t b) { return a >= 0 ? a / b : -((-a + b - 1) / b); }
int64_t CeilDiv(int64_t a, int64_t b) { return a >= 0 ? (a + b - 1) / b : -((-a) / b); }

// A bitmap read by a blit: its pixels, read from a copy when it is also the
// bitmap being painted (so that overlapping blits read the old pixels).
struct Input {
  std::vector<uint8_t> copy;
  SURFOBJ snapshot{};
  std::optional<SourcePixels> pixels;
  ULONG format = 0;
};

bool Open(SURFOBJ* pso, XLATEOBJ* xlo, const SURFOBJ& target, Input& in) {
  HostSurface* surface = pso ? FindSurface(pso->hsurf) : nullptr;
  if (!surface) return false;
  const SURFOBJ* so = &surface->so;
  if (so->pvBits && so->pvBits == target.pvBits && so->pvScan0) {
    const auto* bits = static_cast<const uint8_t*>(so->pvBits);
    in.copy.assign(bits, bits + so->cjBits);
    in.snapshot = *so;
    in.snapshot.pvBits = in.copy.data();
    in.snapshot.pvScan0 = in.copy.data() + (static_cast<const uint8_t*>(so->pvScan0) - bits);
    so = &in.snapshot;
  }
  in.format = so->iBitmapFormat;
  in.pixels.emplace(*so, xlo);
  return in.pixels->Valid();
}

// What every blit sets up: the target, the painter with clip and brush,
// the two operations, the source and the mask.
struct Blit {
  std::optional<Region> clipStorage;
  std::optional<Painter> painter;
  uint8_t fore = 0xCC;
  uint8_t back = 0xCC;
  bool usesSource = false;
  bool usesPattern = false;
  Input source;
  Input mask;
  bool masked = false;
};

enum class Setup { kFail, kNothing, kDraw };

Setup Begin(Blit& blit, SURFOBJ* psoTrg, SURFOBJ* psoSrc, SURFOBJ* psoMask, CLIPOBJ* pco, XLATEOBJ* pxlo,
            BRUSHOBJ* pbo, POINTL* pptlBrush, ROP4 rop4) {
  if (!psoTrg) return Setup::kFail;
  blit.fore = uint8_t(rop4 & 0xFF);
  // Without a mask the low byte applies everywhere; with one whose two
  // operations agree the mask changes nothing and is not read.
  blit.masked = psoMask && uint8_t(rop4 >> 8) != blit.fore;
  blit.back = blit.masked ? uint8_t(rop4 >> 8) : blit.fore;
  blit.usesSource = RopUsesSource(blit.fore) || RopUsesSource(blit.back);
  blit.usesPattern = RopUsesPattern(blit.fore) || RopUsesPattern(blit.back);
  if ((blit.usesSource && !psoSrc) || (blit.usesPattern && !pbo)) return Setup::kFail;
  const SURFOBJ* target = BitmapOf(psoTrg);
  if (!target) return Setup::kNothing;  // a device surface: nothing to paint on
  if (target->iBitmapFormat != BMF_24BPP) return Setup::kFail;
  blit.painter.emplace(*target, ClipOf(pco, blit.clipStorage));
  if (blit.usesPattern) {
    if (!SetBrush(*blit.painter, pbo, pptlBrush)) return Setup::kFail;
  } else {
    blit.painter->SetBrush(nullptr, 0, POINTL{0, 0});
  }
  if (blit.usesSource && !Open(psoSrc, pxlo, *target, blit.source)) return Setup::kFail;
  if (blit.masked && (!Open(psoMask, nullptr, *target, blit.mask) || blit.mask.format != BMF_1BPP))
    return Setup::kFail;
  return Setup::kDraw;
}

// The mask bit at (x, y): 1 (the foreground operation) outside the mask.
uint8_t MaskState(const SourcePixels& mask, int64_t x, int64_t y) {
  if (x < 0 || y < 0 || x >= mask.Width() || y >= mask.Height()) return kFore;
  return mask.Word(int32_t(x), int32_t(y)) ? kFore : kBack;
}

// The first index at or after `i` (below `end`) whose state is not `kind`;
// `end` if none. Whole words of equal states are stepped over at once.
int32_t RunEnd(const uint8_t* state, int32_t i, int32_t end, uint8_t kind) {
  const uint64_t same = kind * 0x0101010101010101ull;
  while (i + 8 <= end) {
    uint64_t word;
    std::memcpy(&word, state + i, 8);
    if (word != same) break;
    i += 8;
  }
  while (i < end && state[i] == kind) ++i;
  return i;
}

// Paints the rows of `box` (inside the painter's area). For each row,
// fill(y, src, state) writes the source colours and the per-pixel state of
// the box's columns, and returns false when the row has nothing to draw.
template <typename Fill>
void Compose(Blit& blit, const RECTL& box, Fill&& fill) {
  Painter& painter = *blit.painter;
  const int32_t width = box.right - box.left;
  const size_t bytes = size_t(width) * 3;
  std::vector<uint8_t> src(bytes), pattern(bytes), state(bytes / 3);
  const bool rowPattern = blit.usesPattern && !painter.SolidBrush();
  if (blit.usesPattern && !rowPattern) painter.BrushColors(box.top, box.left, width, pattern.data());
  for (int32_t y = box.top; y < box.bottom; ++y) {
    if (!fill(y, src.data(), state.data())) continue;
    if (rowPattern) painter.BrushColors(y, box.left, width, pattern.data());
    uint8_t* row = painter.Row(y);
    painter.Runs(y, box.left, box.right, [&](int32_t a, int32_t b) {
      for (int32_t x = a; x < b;) {
        const uint8_t kind = state[x - box.left];
        const int32_t end = box.left + RunEnd(state.data(), x + 1 - box.left, b - box.left, kind);
        if (kind != kSkip) {
          const size_t at = size_t(x - box.left) * 3;
          ApplyRop(kind == kFore ? blit.fore : blit.back, pattern.data() + at, src.data() + at,
                   row + int64_t{x} * 3, size_t(end - x) * 3);
        }
        x = end;
      }
    });
  }
}

// How the pixels of a destination row or column pick source pixels.
enum class Reduce { kNearest, kAnd, kOr, kAverage };

struct Axis {
  std::vector<int64_t> nearest;  // source pixel of each destination pixel (may lie outside)
  std::vector<int32_t> lo, hi;   // source pixels [lo, hi) it combines, inside the bitmap
};

// Maps destination pixels first..first+count of an extent of `to` pixels onto
// a source extent of `from` pixels starting at `start` (reversed when
// `flip`); ranges are cut to the bitmap's `limit` pixels.
Axis MapAxis(int64_t first, int32_t count, int32_t to, int32_t from, int64_t start, bool flip, int32_t limit,
             Reduce reduce) {
  Axis axis;
  axis.nearest.resize(size_t(count));
  axis.lo.resize(size_t(count));
  axis.hi.resize(size_t(count));
  // AND and OR combine the pixels a shrink would drop: each source pixel
  // belongs to the destination pixel its centre falls in. Averaging takes
  // every source pixel a destination pixel overlaps.
  const bool partition = (reduce == Reduce::kAnd || reduce == Reduce::kOr) && from > to;
  const bool overlap = reduce == Reduce::kAverage;
  for (int32_t k = 0; k < count; ++k) {
    const int64_t i = first + k;
    const int64_t j = flip ? to - 1 - i : i;
    const int64_t n = NearestSource(int32_t(j), to, from);
    int64_t a = n, b = n + 1;
    if (partition) {
      a = CeilDiv(2 * j * from - to, 2 * int64_t{to});
      b = CeilDiv(2 * (j + 1) * from - to, 2 * int64_t{to});
    } else if (overlap) {
      a = FloorDiv(j * from, to);
      b = CeilDiv((j + 1) * from, to);
    }
    a = std::clamp<int64_t>(a, 0, from);
    b = std::clamp<int64_t>(b, a, from);
    axis.nearest[size_t(k)] = start + n;
    axis.lo[size_t(k)] = int32_t(std::clamp<int64_t>(start + a, 0, limit));
    axis.hi[size_t(k)] = int32_t(std::clamp<int64_t>(start + b, 0, limit));
  }
  return axis;
}

Reduce ReduceOf(ULONG mode) {
  switch (mode) {
    case BLACKONWHITE:
      return Reduce::kAnd;
    case WHITEONBLACK:
      return Reduce::kOr;
    case HALFTONE:
      return Reduce::kAverage;
    default:
      return Reduce::kNearest;
  }
}

// Source rows for a destination mapped by rectangles (plain and stretched
// blits): reads each needed source row once per distinct row range.
class RectRows {
 public:
  RectRows(Blit& blit, const RECTL& box, Axis columns, Axis rows, int64_t sourceLeft, int64_t sourceTop,
           POINTL maskOrigin, Reduce reduce)
      : blit_(blit), box_(box), columns_(std::move(columns)), rows_(std::move(rows)), reduce_(reduce) {
    const size_t width = size_t(box.right - box.left);
    valid_.resize(width);
    gather_.resize(width);
    maskColumns_.resize(width);
    bool single = true, contiguous = true;
    for (size_t k = 0; k < width; ++k) {
      const int32_t lo = columns_.lo[k], hi = columns_.hi[k];
      valid_[k] = lo < hi;
      gather_[k] = valid_[k] ? lo : 0;
      if (valid_[k]) {
        first_ = std::min(first_, lo);
        last_ = std::max(last_, hi);
      }
      single = single && hi - lo <= 1;
      contiguous = contiguous && valid_[k] && (k == 0 || gather_[k] == gather_[k - 1] + 1);
      maskColumns_[k] = maskOrigin.x + (columns_.nearest[k] - sourceLeft);
    }
    singleColumns_ = single;
    contiguous_ = contiguous && width > 0;
    sourceTop_ = sourceTop;
    maskTop_ = maskOrigin.y;
    if (!single || reduce_ != Reduce::kNearest) line_.resize(size_t(std::max(last_ - first_, 0)) * 3);
  }

  bool operator()(int32_t y, uint8_t* src, uint8_t* state) {
    const size_t k = size_t(y - box_.top);
    const size_t width = valid_.size();
    bool rowValid = true;
    if (blit_.usesSource) {
      const int32_t lo = rows_.lo[k], hi = rows_.hi[k];
      rowValid = lo < hi;
      if (rowValid && (lo != cachedLo_ || hi != cachedHi_)) {
        Read(lo, hi, src);
        cachedLo_ = lo;
        cachedHi_ = hi;
      }
    }
    if (!blit_.masked) {
      // Without a mask the states depend on the columns alone: two rows
      // made once, for rows with and without source pixels.
      if (unmasked_[rowValid].empty())
        unmasked_[rowValid] = States(rowValid, 0, nullptr, unmaskedAny_[rowValid]);
      std::memcpy(state, unmasked_[rowValid].data(), width);
      return unmaskedAny_[rowValid];
    }
    const int64_t maskY = maskTop_ + (rows_.nearest[k] - sourceTop_);
    bool any = false;
    States(rowValid, maskY, state, any);
    return any;
  }

 private:
  // The states of a row's columns into `state` (or, when null, into a new
  // row that is returned); `any` tells whether one of them is drawn.
  std::vector<uint8_t> States(bool rowValid, int64_t maskY, uint8_t* state, bool& any) const {
    const size_t width = valid_.size();
    std::vector<uint8_t> made;
    if (!state) {
      made.resize(width);
      state = made.data();
    }
    any = false;
    for (size_t c = 0; c < width; ++c) {
      uint8_t kind = blit_.masked ? MaskState(*blit_.mask.pixels, maskColumns_[c], maskY) : kFore;
      const uint8_t rop = kind == kFore ? blit_.fore : blit_.back;
      if (RopUsesSource(rop) && !(rowValid && valid_[c])) kind = kSkip;
      state[c] = kind;
      any = any || kind != kSkip;
    }
    return made;
  }

  void Read(int32_t lo, int32_t hi, uint8_t* src) {
    const SourcePixels& pixels = *blit_.source.pixels;
    const int32_t width = int32_t(valid_.size());
    if (hi - lo == 1 && singleColumns_) {
      if (contiguous_) {
        pixels.Colors(lo, gather_[0], width, src);
      } else {
        pixels.Colors(lo, gather_.data(), width, src);
      }
      return;
    }
    // Several source pixels per destination pixel: AND, OR or average them,
    // first along each source row (kept while later rows still need it),
    // then across the rows.
    const size_t n = size_t(width) * 3;
    const uint64_t start = reduce_ == Reduce::kAnd ? 0xFF : 0;
    std::vector<std::pair<int32_t, std::vector<uint64_t>>> kept;
    for (auto& entry : rowCache_)
      if (entry.first >= lo && entry.first < hi) kept.push_back(std::move(entry));
    rowCache_.swap(kept);
    sums_.assign(n, start);
    for (int32_t r = lo; r < hi; ++r) {
      const std::vector<uint64_t>& row = Across(r);
      switch (reduce_) {
        case Reduce::kAnd:
          for (size_t i = 0; i < n; ++i) sums_[i] &= row[i];
          break;
        case Reduce::kOr:
          for (size_t i = 0; i < n; ++i) sums_[i] |= row[i];
          break;
        default:
          for (size_t i = 0; i < n; ++i) sums_[i] += row[i];
          break;
      }
    }
    for (int32_t c = 0; c < width; ++c) {
      if (!valid_[size_t(c)]) continue;
      uint64_t count = 1;
      if (reduce_ == Reduce::kAverage)
        count = uint64_t(hi - lo) * uint64_t(columns_.hi[size_t(c)] - columns_.lo[size_t(c)]);
      const uint64_t* sum = sums_.data() + size_t(c) * 3;
      uint8_t* out = src + size_t(c) * 3;
      if ((count & (count - 1)) == 0) {
        // Growing and mild shrinking average 1, 2 or 4 pixels: a shift.
        const int shift = std::countr_zero(count);
        for (int ch = 0; ch < 3; ++ch) out[ch] = uint8_t((sum[ch] + count / 2) >> shift);
      } else {
        for (int ch = 0; ch < 3; ++ch) out[ch] = uint8_t((sum[ch] + count / 2) / count);
      }
    }
  }

  // Source row r reduced over each destination column's range.
  const std::vector<uint64_t>& Across(int32_t r) {
    for (const auto& entry : rowCache_)
      if (entry.first == r) return entry.second;
    const int32_t width = int32_t(valid_.size());
    std::vector<uint64_t> out(size_t(width) * 3, reduce_ == Reduce::kAnd ? 0xFF : 0);
    blit_.source.pixels->Colors(r, first_, last_ - first_, line_.data());
    for (int32_t c = 0; c < width; ++c) {
      if (!valid_[size_t(c)]) continue;
      const uint8_t* from = line_.data() + size_t(columns_.lo[size_t(c)] - first_) * 3;
      const uint8_t* to = line_.data() + size_t(columns_.hi[size_t(c)] - first_) * 3;
      uint64_t* sum = out.data() + size_t(c) * 3;
      switch (reduce_) {
        case Reduce::kAnd:
          for (; from < to; from += 3) sum[0] &= from[0], sum[1] &= from[1], sum[2] &= from[2];
          break;
        case Reduce::kOr:
          for (; from < to; from += 3) sum[0] |= from[0], sum[1] |= from[1], sum[2] |= from[2];
          break;
        default:
          for (; from < to; from += 3) sum[0] += from[0], sum[1] += from[1], sum[2] += from[2];
          break;
      }
    }
    rowCache_.emplace_back(r, std::move(out));
    return rowCache_.back().second;
  }

  Blit& blit_;
  RECTL box_;
  Axis columns_;
  Axis rows_;
  Reduce reduce_;
  std::vector<uint8_t> valid_;
  std::vector<int32_t> gather_;
  std::vector<int64_t> maskColumns_;
  std::vector<uint8_t> line_;
  std::vector<uint64_t> sums_;  // 64 bits: a huge shrink adds up billions of bytes
  // Rows reduced along x that the current row range uses.
  std::vector<std::pair<int32_t, std::vector<uint64_t>>> rowCache_;
  int32_t first_ = std::numeric_limits<int32_t>::max();
  int32_t last_ = 0;
  bool singleColumns_ = true;
  bool contiguous_ = false;
  int64_t sourceTop_ = 0;
  int64_t maskTop_ = 0;
  int32_t cachedLo_ = -1;
  int32_t cachedHi_ = -1;
  std::vector<uint8_t> unmasked_[2];  // by whether the row has source pixels
  bool unmaskedAny_[2] = {};
};

// The blit of source rectangle `src` (as given: reversed axes mirror) onto
// destination rectangle `dst` (likewise), stretched as `mode` says. The mask
// is aligned with the source rectangle, its pixel for the source's top-left
// corner at `maskOrigin`.
BOOL StretchRect(Blit& blit, const RECTL& dstIn, const RECTL& srcIn, POINTL maskOrigin, ULONG mode) {
  RECTL dst, src;
  bool dstFlipX, dstFlipY, srcFlipX, srcFlipY;
  if (!Order(dstIn, dst, dstFlipX, dstFlipY) || !Order(srcIn, src, srcFlipX, srcFlipY)) return FALSE;
  if (Empty(dst)) return TRUE;
  if (Empty(src)) return TRUE;
  const RECTL box = Intersect(dst, blit.painter->Area());
  if (Empty(box)) return TRUE;
  const int32_t toX = dst.right - dst.left, toY = dst.bottom - dst.top;
  const int32_t fromX = src.right - src.left, fromY = src.bottom - src.top;
  const Reduce reduce = ReduceOf(mode);
  const int32_t limitX = blit.usesSource ? blit.source.pixels->Width() : 0;
  const int32_t limitY = blit.usesSource ? blit.source.pixels->Height() : 0;
  Axis columns = MapAxis(int64_t{box.left} - dst.left, box.right - box.left, toX, fromX, src.left,
                         dstFlipX != srcFlipX, limitX, reduce);
  Axis rows = MapAxis(int64_t{box.top} - dst.top, box.bottom - box.top, toY, fromY, src.top,
                      dstFlipY != srcFlipY, limitY, reduce);
  RectRows fill(blit, box, std::move(columns), std::move(rows), src.left, src.top, maskOrigin, reduce);
  Compose(blit, box, fill);
  return TRUE;
}

// Combines the source pixels of columns [x0, x1) and rows [y0, y1) (inside
// the bitmap, not empty) as `reduce` says.
uint32_t CombineBox(const SourcePixels& pixels, int64_t x0, int64_t x1, int64_t y0, int64_t y1,
                    Reduce reduce) {
  uint32_t acc = reduce == Reduce::kAnd ? 0xFFFFFF : 0;
  uint64_t sums[3] = {};
  for (int64_t y = y0; y < y1; ++y) {
    for (int64_t x = x0; x < x1; ++x) {
      const uint32_t c = pixels.Color(int32_t(x), int32_t(y));
      if (reduce == Reduce::kAnd) {
        acc &= c;
      } else if (reduce == Reduce::kOr) {
        acc |= c;
      } else {
        sums[0] += c & 0xFF, sums[1] += (c >> 8) & 0xFF, sums[2] += c >> 16;
      }
    }
  }
  if (reduce != Reduce::kAverage) return acc;
  const uint64_t n = uint64_t((x1 - x0) * (y1 - y0));
  return uint32_t((sums[0] + n / 2) / n | ((sums[1] + n / 2) / n) << 8 | ((sums[2] + n / 2) / n) << 16);
}

// The source pixels [lo, hi) along one axis whose centres lie within
// `radius` of position p (source pixels of the rectangle, 0..extent), or the
// pixel at p when a destination pixel spans at most one source pixel; turned
// round when `flip`, moved to `start` and cut to the bitmap's `limit`.
void BoxRange(double p, double radius, double extent, bool flip, int64_t start, int32_t limit, int64_t& lo,
              int64_t& hi) {
  double a = std::floor(p), b = a + 1;
  if (radius > 0.5) a = std::ceil(p - radius - 0.5), b = std::ceil(p + radius - 0.5);
  a = std::clamp(a, 0.0, extent);
  b = std::clamp(b, a, extent);
  int64_t ia = int64_t(a), ib = int64_t(b);
  if (flip) std::tie(ia, ib) = std::pair(int64_t(extent) - ib, int64_t(extent) - ia);
  lo = std::clamp<int64_t>(start + ia, 0, limit);
  hi = std::clamp<int64_t>(start + ib, lo, limit);
}

// The parallelogram blit: each destination pixel centre mapped back into the
// source rectangle takes the nearest source pixel; where the mapping shrinks
// and the mode combines, the source pixels around that point (within half a
// destination pixel) are ANDed, ORed or averaged instead.
BOOL Parallelogram(Blit& blit, const POINTFIX corners[3], const RECTL& srcIn, POINTL maskOrigin, ULONG mode) {
  RECTL src;
  bool flipX, flipY;
  if (!Order(srcIn, src, flipX, flipY) || Empty(src)) return TRUE;
  // Corners in pixels: a + u * e + v * f for u, v in [0, 1].
  const double ax = corners[0].x / 16.0, ay = corners[0].y / 16.0;
  const double ex = corners[1].x / 16.0 - ax, ey = corners[1].y / 16.0 - ay;
  const double fx = corners[2].x / 16.0 - ax, fy = corners[2].y / 16.0 - ay;
  const double det = ex * fy - ey * fx;
  if (!std::isfinite(det) || std::fabs(det) < 1e-9) return TRUE;
  const double minX = std::min({ax, ax + ex, ax + fx, ax + ex + fx});
  const double maxX = std::max({ax, ax + ex, ax + fx, ax + ex + fx});
  const double minY = std::min({ay, ay + ey, ay + fy, ay + ey + fy});
  const double maxY = std::max({ay, ay + ey, ay + fy, ay + ey + fy});
  const RECTL& area = blit.painter->Area();
  const RECTL box{int32_t(std::clamp(std::floor(minX), double(area.left), double(area.right))),
                  int32_t(std::clamp(std::floor(minY), double(area.top), double(area.bottom))),
                  int32_t(std::clamp(std::ceil(maxX), double(area.left), double(area.right))),
                  int32_t(std::clamp(std::ceil(maxY), double(area.top), double(area.bottom)))};
  if (Empty(box)) return TRUE;
  const double w = double(src.right) - src.left, h = double(src.bottom) - src.top;
  // (u, v) of a point p, in source pixels: the inverse of [e f], scaled.
  const double uX = fy / det * w, uY = -fx / det * w;
  const double vX = -ey / det * h, vY = ex / det * h;
  // Half the extent of a destination pixel in source pixels, per axis.
  const double ru = (std::fabs(uX) + std::fabs(uY)) / 2, rv = (std::fabs(vX) + std::fabs(vY)) / 2;
  const Reduce reduce = ReduceOf(mode);
  const bool combine = reduce != Reduce::kNearest && (ru > 0.5 || rv > 0.5);
  const SourcePixels* pixels = blit.usesSource ? &*blit.source.pixels : nullptr;
  const int32_t width = box.right - box.left;
  auto fill = [&](int32_t y, uint8_t* out, uint8_t* state) {
    const double px = box.left + 0.5 - ax, py = y + 0.5 - ay;
    bool any = false;
    for (int32_t c = 0; c < width; ++c, out += 3) {
      state[c] = kSkip;
      // From the pixel's own position each time, so that errors do not add up.
      const double u = (px + c) * uX + py * uY, v = (px + c) * vX + py * vY;
      if (!(u >= 0 && u < w && v >= 0 && v < h)) continue;
      int64_t i = int64_t(u), j = int64_t(v);
      if (flipX) i = int64_t(w) - 1 - i;
      if (flipY) j = int64_t(h) - 1 - j;
      const int64_t sx = src.left + i, sy = src.top + j;
      uint8_t kind = blit.masked ? MaskState(*blit.mask.pixels, maskOrigin.x + i, maskOrigin.y + j) : kFore;
      if (RopUsesSource(kind == kFore ? blit.fore : blit.back)) {
        uint32_t color;
        int64_t x0 = 0, x1 = 0, y0 = 0, y1 = 0;
        if (combine) {
          BoxRange(u, ru, w, flipX, src.left, pixels->Width(), x0, x1);
          BoxRange(v, rv, h, flipY, src.top, pixels->Height(), y0, y1);
        }
        if (x0 < x1 && y0 < y1) {
          color = CombineBox(*pixels, x0, x1, y0, y1, reduce);
        } else if (sx >= 0 && sy >= 0 && sx < pixels->Width() && sy < pixels->Height()) {
          color = pixels->Color(int32_t(sx), int32_t(sy));
        } else {
          continue;
        }
        out[0] = uint8_t(color);
        out[1] = uint8_t(color >> 8);
        out[2] = uint8_t(color >> 16);
      }
      state[c] = kind;
      any = true;
    }
    return any;
  };
  Compose(blit, box, fill);
  return TRUE;
}

}  // namespace
}  // namespace snk::engine

using snk::engine::Blit;
using snk::engine::Setup;

extern "C" {

BOOL APIENTRY EngBitBlt(SURFOBJ* psoTrg, SURFOBJ* psoSrc, SURFOBJ* psoMask, CLIPOBJ* pco, XLATEOBJ* pxlo,
                        RECTL* prclTrg, POINTL* pptlSrc, POINTL* pptlMask, BRUSHOBJ* pbo, POINTL* pptlBrush,
                        ROP4 rop4) {
  if (!prclTrg) return FALSE;
  Blit blit;
  switch (Begin(blit, psoTrg, psoSrc, psoMask, pco, pxlo, pbo, pptlBrush, rop4)) {
    case Setup::kFail:
      return FALSE;
    case Setup::kNothing:
      return TRUE;
    case Setup::kDraw:
      break;
  }
  // The target rectangle may come with its corners swapped; a plain blit
  // does not mirror.
  RECTL r = *prclTrg;
  if (r.left > r.right) std::swap(r.left, r.right);
  if (r.top > r.bottom) std::swap(r.top, r.bottom);
  if (!blit.usesSource && !blit.masked) {
    // Pattern and destination only: the painter's spans.
    snk::engine::Painter& painter = *blit.painter;
    painter.SetRop3(blit.fore);
    const RECTL& area = painter.Area();
    const int32_t top = std::max(r.top, area.top), bottom = std::min(r.bottom, area.bottom);
    for (int32_t y = top; y < bottom; ++y) painter.Span(y, r.left, r.right);
    return TRUE;
  }
  const POINTL origin = pptlSrc ? *pptlSrc : POINTL{0, 0};
  const POINTL maskOrigin = pptlMask ? *pptlMask : POINTL{0, 0};
  const int64_t right = int64_t{origin.x} + (int64_t{r.right} - r.left);
  const int64_t bottom = int64_t{origin.y} + (int64_t{r.bottom} - r.top);
  if (right > std::numeric_limits<int32_t>::max() || bottom > std::numeric_limits<int32_t>::max())
    return FALSE;
  const RECTL src{origin.x, origin.y, int32_t(right), int32_t(bottom)};
  return snk::engine::StretchRect(blit, r, src, maskOrigin, COLORONCOLOR);
}

BOOL APIENTRY EngCopyBits(SURFOBJ* psoDest, SURFOBJ* psoSrc, CLIPOBJ* pco, XLATEOBJ* pxlo, RECTL* prclDest,
                          POINTL* pptlSrc) {
  return EngBitBlt(psoDest, psoSrc, nullptr, pco, pxlo, prclDest, pptlSrc, nullptr, nullptr, nullptr,
                   snk::engine::kSrcCopy4);
}

BOOL APIENTRY EngStretchBltROP(SURFOBJ* psoDest, SURFOBJ* psoSrc, SURFOBJ* psoMask, CLIPOBJ* pco,
                               XLATEOBJ* pxlo, COLORADJUSTMENT*, POINTL* pptlHTOrg, RECTL* prclDest,
                               RECTL* prclSrc, POINTL* pptlMask, ULONG iMode, BRUSHOBJ* pbo, DWORD rop4) {
  if (!prclDest || !prclSrc) return FALSE;
  Blit blit;
  // The brush is aligned with the halftone origin, the only origin given.
  switch (
      snk::engine::Begin(blit, psoDest, psoSrc, psoMask, pco, pxlo, pbo, pptlHTOrg, ROP4(rop4 & 0xFFFF))) {
    case Setup::kFail:
      return FALSE;
    case Setup::kNothing:
      return TRUE;
    case Setup::kDraw:
      break;
  }
  const POINTL maskOrigin = pptlMask ? *pptlMask : POINTL{0, 0};
  return snk::engine::StretchRect(blit, *prclDest, *prclSrc, maskOrigin, iMode);
}

BOOL APIENTRY EngStretchBlt(SURFOBJ* psoDest, SURFOBJ* psoSrc, SURFOBJ* psoMask, CLIPOBJ* pco, XLATEOBJ* pxlo,
                            COLORADJUSTMENT* pca, POINTL* pptlHTOrg, RECTL* prclDest, RECTL* prclSrc,
                            POINTL* pptlMask, ULONG iMode) {
  return EngStretchBltROP(psoDest, psoSrc, psoMask, pco, pxlo, pca, pptlHTOrg, prclDest, prclSrc, pptlMask,
                          iMode, nullptr, psoMask ? snk::engine::kMaskedCopy4 : snk::engine::kSrcCopy4);
}

BOOL APIENTRY EngPlgBlt(SURFOBJ* psoTrg, SURFOBJ* psoSrc, SURFOBJ* psoMsk, CLIPOBJ* pco, XLATEOBJ* pxlo,
                        COLORADJUSTMENT*, POINTL*, POINTFIX* pptfx, RECTL* prcl, POINTL* pptl, ULONG iMode) {
  if (!pptfx || !prcl || !psoSrc) return FALSE;
  Blit blit;
  switch (snk::engine::Begin(blit, psoTrg, psoSrc, psoMsk, pco, pxlo, nullptr, nullptr,
                             psoMsk ? snk::engine::kMaskedCopy4 : snk::engine::kSrcCopy4)) {
    case Setup::kFail:
      return FALSE;
    case Setup::kNothing:
      return TRUE;
    case Setup::kDraw:
      break;
  }
  const POINTL maskOrigin = pptl ? *pptl : POINTL{0, 0};
  return snk::engine::Parallelogram(blit, pptfx, *prcl, maskOrigin, iMode);
}

}  // extern "C"
