#include "host/engine/surface.h"

#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <set>

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

}  // namespace snk::engine

using snk::engine::FindSurface;
using snk::engine::HostSurface;

extern "C" {

HBITMAP APIENTRY EngCreateBitmap(SIZEL size, LONG stride, ULONG format, FLONG flags, PVOID bits) {
  // Only the format of the driver's page surface is supported here.
  if (format != BMF_24BPP || size.cx <= 0 || size.cy <= 0 || bits) return nullptr;
  int64_t rowBytes = (int64_t{size.cx} * 3 + 3) & ~int64_t{3};
  if (stride < rowBytes) return nullptr;
  uint64_t total = uint64_t(stride) * uint64_t(size.cy);
  if (total > snk::engine::kMaxBitmapBytes) return nullptr;
  auto surface = std::make_unique<HostSurface>();
  try {
    surface->bits.assign(total, 0);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  SURFOBJ& so = surface->so;
  so.sizlBitmap = size;
  so.cjBits = static_cast<ULONG>(total);
  so.pvBits = surface->bits.data();
  so.pvScan0 = surface->bits.data();
  so.lDelta = stride;
  so.iBitmapFormat = format;
  so.iType = STYPE_BITMAP;
  so.fjBitmap = static_cast<USHORT>(flags & BMF_TOPDOWN);
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
