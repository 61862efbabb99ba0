// Regions in device pixels, with the set operations GDI offers.
//
// A region is a set of pixels stored as y-x banded rectangles: sorted by
// top, then left; rectangles of one band share top and bottom; no two
// overlap; horizontally touching rectangles of a band are merged; equal
// adjacent bands are merged. Rectangles are right- and bottom-exclusive.
// Two regions with the same pixels therefore have the same rectangles.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "host/engine/surface.h"
#include "platform/winddi.h"

namespace snk::engine {

class HostPath;

// The combine modes of CombineRgn / ExtSelectClipRgn.
enum class RegionOp : uint32_t { And = 1, Or = 2, Xor = 3, Diff = 4, Copy = 5 };

class SNK_HOST_API Region {
 public:
  Region() = default;                  // empty
  explicit Region(const RECTL& rect);  // empty if the rectangle is
  // The union of any rectangles (ill-formed ones are ignored).
  static Region FromRects(std::span<const RECTL> rects);
  // The pixels whose centres lie inside the path (Beziers flattened), by
  // the alternate (even-odd) or winding rule.
  static Region FromPath(const HostPath& path, bool winding);

  bool Empty() const { return rects_.empty(); }
  bool IsRect() const { return rects_.size() == 1; }
  RECTL Bounds() const;  // zeros when empty
  const std::vector<RECTL>& Rects() const { return rects_; }

  Region Combine(const Region& other, RegionOp op) const;
  Region Intersect(const RECTL& rect) const;
  void Offset(int32_t dx, int32_t dy);  // saturates instead of overflowing
  bool Contains(int32_t x, int32_t y) const;
  // The rectangles of the band that holds row y, in [first, last) (an empty
  // range when no band does). Found by binary search.
  std::span<const RECTL> BandAt(int32_t y) const;
  bool ContainsRect(const RECTL& rect) const;  // every pixel of rect
  // Each rectangle scaled by (sx, sy) and moved by (dx, dy), edges rounded
  // to the nearest pixel; used to carry a region between resolutions.
  Region Transformed(double sx, double sy, double dx, double dy) const;

  friend bool operator==(const Region& a, const Region& b);

 private:
  // Whether every pixel of `region` lies in `rect`.
  static bool Contains(const RECTL& rect, const Region& region);

  std::vector<RECTL> rects_;
};

}  // namespace snk::engine
