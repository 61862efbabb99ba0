// Surfaces, palettes and devices of the host's graphics engine.
//
// A bitmap surface is a real pixel buffer (24-bit rows, top-down, rows
// padded to 4 bytes); a device surface has no pixels. Handles given to the
// driver are checked against the live set, so a stale or foreign handle is
// refused instead of followed.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/winddi.h"

#define SNK_HOST_API __attribute__((visibility("default")))

namespace snk::engine {

// The engine's record of one enabled driver device: what DrvEnablePDEV
// returned for it. Its address is the HDEV handed to the driver.
struct SNK_HOST_API HostDevice {
  DHPDEV dhpdev = nullptr;
};

struct HostSurface {
  SURFOBJ so{};
  std::vector<uint8_t> bits;
  FLONG hooks = 0;
  int locks = 0;
};

// The surface behind a handle, or null for a handle that is not live.
SNK_HOST_API HostSurface* FindSurface(HSURF handle);

// Largest bitmap the engine will create, in bytes.
inline constexpr uint64_t kMaxBitmapBytes = uint64_t{1} << 30;

// Largest bitmap whose pixels the engine allocates itself (a page surface,
// a canvas), in bytes; 256 MiB unless the host program sets another limit
// (at most kMaxBitmapBytes). A page at 300 dpi up to A1 fits. A driver
// whose page surface cannot be made goes on without one.
inline constexpr uint64_t kDefaultMaxSurfaceBytes = uint64_t{256} << 20;
SNK_HOST_API void SetMaxSurfaceBytes(uint64_t bytes);
SNK_HOST_API uint64_t MaxSurfaceBytes();

}  // namespace snk::engine
