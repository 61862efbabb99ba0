#include "host/engine/surface.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
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

// Below this size the heap serves faster than the system's mappings.
constexpr uint64_t kMapFrom = uint64_t{1} << 20;

// The last large buffer given back, kept for the next one: a job that
// changes paper makes a new page surface each time, and clearing an old
// mapping costs less than faulting in every page of a new one. The spare is
// resized to the new size unless it is at most a quarter larger.
struct Spare {
  std::mutex mutex;
  uint8_t* data = nullptr;
  uint64_t size = 0;
} g_spare;

}  // namespace

bool PixelMemory::Allocate(uint64_t bytes) {
  Release();
  if (bytes == 0) return true;
  if (bytes < kMapFrom) {
    data_ = static_cast<uint8_t*>(std::calloc(bytes, 1));
    if (!data_) return false;
    size_ = bytes;
    return true;
  }
  uint8_t* spare = nullptr;
  uint64_t spareSize = 0;
  {
    std::lock_guard lock(g_spare.mutex);
    std::swap(spare, g_spare.data);
    std::swap(spareSize, g_spare.size);
  }
  if (spare && spareSize >= bytes && spareSize - bytes <= bytes / 4) {
    std::memset(spare, 0, bytes);
    data_ = spare;
    size_ = spareSize;
    mapped_ = true;
    return true;
  }
  void* p = MAP_FAILED;
  if (spare) {
    // Shrinking gives the tail back; growing adds zero pages.
    p = mremap(spare, spareSize, bytes, MREMAP_MAYMOVE);
    if (p == MAP_FAILED) munmap(spare, spareSize);
  }
  const bool reused = p != MAP_FAILED;
  if (!reused) p = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (p == MAP_FAILED) return false;
  // Page surfaces are written whole at every page start: large pages spare
  // most of the faults where the system offers them.
  madvise(p, bytes, MADV_HUGEPAGE);
  if (reused) {
    // The old contents reach to the end of the spare's last page.
    const uint64_t page = uint64_t(sysconf(_SC_PAGESIZE));
    std::memset(p, 0, std::min((spareSize + page - 1) / page * page, bytes));
  }
  data_ = static_cast<uint8_t*>(p);
  size_ = bytes;
  mapped_ = true;
  return true;
}

void PixelMemory::Release() {
  if (!data_) return;
  if (mapped_) {
    std::lock_guard lock(g_spare.mutex);
    if (g_spare.data) munmap(g_spare.data, g_spare.size);
    g_spare.data = data_;
    g_spare.size = size_;
  } else {
    std::free(data_);
  }
  data_ = nullptr;
  size_ = 0;
  mapped_ = false;
}

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
    if (!surface->bits.Allocate(total)) return nullptr;
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
