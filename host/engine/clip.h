// The engine's clip object for one drawing call.
//
// Built from the visible region (the DC's clip, the page's bounds) and the
// bounds of what is about to be drawn:
//   iDComplexity  DC_TRIVIAL when the drawing's bounds are given and lie
//                 wholly inside the region (nothing to clip), else DC_RECT
//                 for a one-rectangle region, else DC_COMPLEX;
//   iFComplexity  FC_RECT / FC_COMPLEX likewise, from the region alone;
//   rclBounds     the region's bounds (not cut to the drawing);
//   iUniq         the caller's identity of the region: equal regions may
//                 share a value, a changed region gets a new one; 0 means
//                 "do not cache".
// CLIPOBJ_ppoGetPath gives the region's rectangles as closed figures; under
// the even-odd rule their union is the region.
#pragma once

#include "host/engine/region.h"
#include "host/engine/surface.h"
#include "platform/winddi.h"

namespace snk::engine {

class SNK_HOST_API HostClip {
 public:
  HostClip(Region region, const RECTL* drawBounds, ULONG uniq);
  HostClip(const HostClip& other);
  HostClip& operator=(const HostClip& other);
  ~HostClip();

  // The host clip behind a CLIPOBJ it handed out, or null.
  static HostClip* From(CLIPOBJ* co);

  const Region& region() const { return region_; }

  CLIPOBJ co{};  // handed to drivers as &co; kept first

 private:
  Region region_;
};

}  // namespace snk::engine
