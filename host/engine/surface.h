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

// Zeroed pixel memory that a surface owns. Large buffers are mapped from
// the system directly: its pages come zeroed, so nothing clears them twice,
// and they go back to the system as soon as the surface is deleted, so a
// job's memory does not keep the largest page it has seen.
class PixelMemory {
 public:
  PixelMemory() = default;
  ~PixelMemory() { Release(); }
  PixelMemory(const PixelMemory&) = delete;
  PixelMemory& operator=(const PixelMemory&) = delete;

  // Replaces the memory with `bytes` zero bytes; false if none is left.
  bool Allocate(uint64_t bytes);
  uint8_t* data() const { return data_; }

 private:
  void Release();
  uint8_t* data_ = nullptr;
  uint64_t size_ = 0;
  bool mapped_ = false;
};

struct HostSurface {
  SURFOBJ so{};
  PixelMemory bits;
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
