// Small pieces the parts of the device context share: rounding to surface
// pixels, paths for the engine, and the raster-op and mode numbers of the
// records.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "host/engine/path.h"
#include "host/gdi/dc_state.h"
#include "host/gdi/shapes.h"
#include "platform/winddi.h"

namespace snk::gdi {

inline constexpr uint32_t kOpaque = 2;       // background mode OPAQUE
inline constexpr uint32_t kTransparent = 1;  // background mode TRANSPARENT
inline constexpr uint32_t kWinding = 2;      // fill mode WINDING

// ROP2 (1..16) to the ternary op that does the same with the pattern.
inline constexpr uint8_t kRop3OfRop2[16] = {0x00, 0x05, 0x0A, 0x0F, 0x50, 0x55, 0x5A, 0x5F,
                                            0xA0, 0xA5, 0xAA, 0xAF, 0xF0, 0xF5, 0xFA, 0xFF};

inline LONG FloorPx(FIX f) { return static_cast<LONG>(std::floor(f / 16.0)); }
inline LONG CeilPx(FIX f) { return static_cast<LONG>(std::ceil(f / 16.0)); }
inline LONG Round(double v) { return LONG(std::lround(v)); }

// Whether a device point lies inside the coordinate range.
inline bool InRange(double v) { return std::fabs(v) <= kMaxDeviceCoordinate; }

// The rectangle of two corners in either order, in whole pixels.
inline RECTL Normalized(double l, double t, double r, double b) {
  return {Round(std::min(l, r)), Round(std::min(t, b)), Round(std::max(l, r)), Round(std::max(t, b))};
}

// A device-space path in the engine's 28.4 fixed point.
engine::HostPath ToHostPath(const GdiPath& device);

}  // namespace snk::gdi
