#include "host/engine/surface.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <set>

#include "host/engine/bitmap_source.h"
#include "host/engine/brush.h"

namespace snk::engine {
namespace {

std::mutex g_mutex;
std::set<HostSurface*> g_surfaces;

struct HostPalette {
  ULONG mode;
  std::vector<ULONG> colors;
};
std::set<HostPalette*> g_palettes;

HSURF Register(std::unique_ptr<HostSurface> surface) {
  HostSurface* raw = surface.release();
  raw->so.hsurf = reinterpret_cast<HSURF>(raw);
  std::lock_guard lock(g_mutex);
  g_surfaces.insert(raw);
  return raw->so.hsurf;
}

}  // namespace

HostSurface* FindSurface(HSURF handle) {
  auto* surface = reinterpret_cast<HostSurface*>(handle);
  std::lock_guard lock(g_mutex);
  return g_surfaces.count(surface) ? surface : nullptr;
}

namespace {
std::atomic<uint64_t> g_maxSurfaceBytes{kDefaultMaxSurfaceBytes};
}  // namespace

void SetMaxSurfaceBytes(uint64_t bytes) { g_maxSurfaceBytes = std::min(bytes, kMaxBitmapBytes); }
uint64_t MaxSurfaceBytes() { return g_maxSurfaceBytes; }

}  // namespace snk::engine

using snk::engine::FindSurface;
using snk::engine::HostSurface;

extern "C" {

HBITMAP APIENTRY EngCreateBitmap(SIZEL size, LONG stride, ULONG format, FLONG flags, PVOID bits) {
  using snk::engine::kMaxBitmapBytes;
  if (size.cx <= 0 || size.cy <= 0) return nullptr;
  auto surface = std::make_unique<HostSurface>();
  SURFOBJ& so = surface->so;
  so.sizlBitmap = size;
  so.iBitmapFormat = format;
  so.iType = STYPE_BITMAP;
  so.fjBitmap = static_cast<USHORT>(flags & BMF_TOPDOWN);
  if (format == BMF_JPEG || format == BMF_PNG) {
    // A compressed file of `stride` bytes, kept by the caller; it has no rows.
    if (!bits || stride <= 0 || uint64_t(stride) > kMaxBitmapBytes) return nullptr;
    so.pvBits = bits;
    so.cjBits = static_cast<ULONG>(stride);
    return reinterpret_cast<HBITMAP>(snk::engine::Register(std::move(surface)));
  }
  const int64_t depth = snk::engine::BitsPerPixel(format);
  if (depth == 0) return nullptr;
  // Rows hold at least the pixels' bits; the engine's own rows are padded
  // to 4 bytes when no stride is given.
  const int64_t rowBytes = (int64_t{size.cx} * depth + 7) / 8;
  int64_t delta = stride;
  if (delta == 0 && !bits) delta = (rowBytes + 3) & ~int64_t{3};
  if (delta < rowBytes || uint64_t(delta) > kMaxBitmapBytes) return nullptr;
  const uint64_t total = uint64_t(delta) * uint64_t(size.cy);
  if (total > kMaxBitmapBytes) return nullptr;
  uint8_t* base = static_cast<uint8_t*>(bits);
  if (!base) {
    if (total > snk::engine::MaxSurfaceBytes()) return nullptr;
    try {
      surface->bits.assign(total, 0);
    } catch (const std::bad_alloc&) {
      return nullptr;
    }
    base = surface->bits.data();
  }
  so.cjBits = static_cast<ULONG>(total);
  so.pvBits = base;
  // A bottom-up bitmap stores its last row first: the top row starts at the
  // last stride of the buffer and rows step backwards.
  if (flags & BMF_TOPDOWN) {
    so.pvScan0 = base;
    so.lDelta = static_cast<LONG>(delta);
  } else {
    so.pvScan0 = base + (size.cy - 1) * delta;
    so.lDelta = static_cast<LONG>(-delta);
  }
  return reinterpret_cast<HBITMAP>(snk::engine::Register(std::move(surface)));
}

HSURF APIENTRY EngCreateDeviceSurface(DHSURF dhsurf, SIZEL size, ULONG format) {
  if (size.cx <= 0 || size.cy <= 0) return nullptr;
  auto surface = std::make_unique<HostSurface>();
  surface->so.dhsurf = dhsurf;
  surface->so.sizlBitmap = size;
  surface->so.iBitmapFormat = format;
  surface->so.iType = STYPE_DEVICE;
  return snk::engine::Register(std::move(surface));
}

BOOL APIENTRY EngAssociateSurface(HSURF handle, HDEV hdev, FLONG hooks) {
  HostSurface* surface = FindSurface(handle);
  if (!surface || !hdev) return FALSE;
  auto* device = reinterpret_cast<snk::engine::HostDevice*>(hdev);
  surface->so.hdev = hdev;
  surface->so.dhpdev = device->dhpdev;
  surface->hooks = hooks;
  return TRUE;
}

SURFOBJ* APIENTRY EngLockSurface(HSURF handle) {
  HostSurface* surface = FindSurface(handle);
  if (!surface) return nullptr;
  ++surface->locks;
  return &surface->so;
}

void APIENTRY EngUnlockSurface(SURFOBJ* so) {
  if (!so) return;
  if (HostSurface* surface = FindSurface(so->hsurf); surface && surface->locks > 0) --surface->locks;
}

BOOL APIENTRY EngDeleteSurface(HSURF handle) {
  auto* surface = reinterpret_cast<HostSurface*>(handle);
  {
    std::lock_guard lock(snk::engine::g_mutex);
    if (!snk::engine::g_surfaces.erase(surface)) return FALSE;
  }
  delete surface;
  return TRUE;
}

HPALETTE APIENTRY EngCreatePalette(ULONG mode, ULONG count, ULONG* colors, FLONG, FLONG, FLONG) {
  if (mode == PAL_INDEXED && count > 0 && !colors) return nullptr;
  auto* palette = new snk::engine::HostPalette{mode, {}};
  if (mode == PAL_INDEXED) palette->colors.assign(colors, colors + count);
  std::lock_guard lock(snk::engine::g_mutex);
  snk::engine::g_palettes.insert(palette);
  return reinterpret_cast<HPALETTE>(palette);
}

BOOL APIENTRY EngDeletePalette(HPALETTE handle) {
  auto* palette = reinterpret_cast<snk::engine::HostPalette*>(handle);
  {
    std::lock_guard lock(snk::engine::g_mutex);
    if (!snk::engine::g_palettes.erase(palette)) return FALSE;
  }
  delete palette;
  return TRUE;
}

}  // extern "C"
