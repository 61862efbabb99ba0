// The GDI memory canvas: device contexts compatible with the screen, the
// bitmaps, brushes and pens selected into them, drawing a DIB into a
// bitmap and reading a bitmap back as a DIB.
//
// A compatible bitmap is a 24-bit engine bitmap, top-down, with the page
// surface's byte order. A 24-bit DIB drawn into it goes through
// EngStretchBlt without colour translation, and GetDIBits copies the rows
// out as they are, so the bytes of an image pass both ways unchanged.
// Every handle is looked up in the live set before it is used.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <new>
#include <set>
#include <vector>

#include "platform/win32.h"
#include "platform/winddi.h"

namespace {

enum class Kind { kScreen, kMemory, kBitmap, kBrush, kPen };

struct GdiObject {
  Kind kind;
  // Bitmaps: the engine surface behind it, and the DC it is selected into.
  HSURF surface = nullptr;
  GdiObject* selectedInto = nullptr;
  // Memory DCs: what is selected.
  GdiObject* bitmap = nullptr;
  GdiObject* brush = nullptr;
  GdiObject* pen = nullptr;
};

// Stock objects a new memory DC holds before anything is selected: a
// one-pixel bitmap, a white brush and a black pen. They are never deleted.
GdiObject g_stockBitmap{Kind::kBitmap};
GdiObject g_stockBrush{Kind::kBrush};
GdiObject g_stockPen{Kind::kPen};

std::mutex g_mutex;
std::set<GdiObject*> g_live = {&g_stockBitmap, &g_stockBrush, &g_stockPen};

bool IsStock(const GdiObject* object) {
  return object == &g_stockBitmap || object == &g_stockBrush || object == &g_stockPen;
}

// The live object behind a handle, of one of the kinds given; callers hold
// the lock.
GdiObject* Find(const void* handle, std::initializer_list<Kind> kinds) {
  auto* object = static_cast<GdiObject*>(const_cast<void*>(handle));
  if (!object || !g_live.count(object)) return nullptr;
  return std::find(kinds.begin(), kinds.end(), object->kind) != kinds.end() ? object : nullptr;
}

GdiObject* Make(Kind kind) {
  auto* object = new (std::nothrow) GdiObject{kind};
  if (!object) return nullptr;
  std::lock_guard lock(g_mutex);
  g_live.insert(object);
  return object;
}

size_t DibStride(int64_t width) { return static_cast<size_t>((width * 3 + 3) & ~int64_t{3}); }

// Whether `header` describes a 24-bit BI_RGB DIB, the only kind the canvas
// draws and reads.
bool IsRgb24(const BITMAPINFOHEADER& header) {
  return header.biSize >= sizeof(BITMAPINFOHEADER) && header.biBitCount == 24 &&
         header.biCompression == BI_RGB && header.biWidth > 0 && header.biHeight != 0 &&
         header.biHeight != INT32_MIN;
}

}  // namespace

extern "C" {

HDC GetDC(HWND window) {
  // Only the screen's DC is given out.
  if (window && window != GetDesktopWindow()) return nullptr;
  return reinterpret_cast<HDC>(Make(Kind::kScreen));
}

INT ReleaseDC(HWND, HDC dc) {
  std::unique_ptr<GdiObject> object;
  {
    std::lock_guard lock(g_mutex);
    GdiObject* screen = Find(dc, {Kind::kScreen});
    if (!screen) return 0;
    g_live.erase(screen);
    object.reset(screen);
  }
  return 1;
}

HDC CreateCompatibleDC(HDC dc) {
  {
    std::lock_guard lock(g_mutex);
    if (dc && !Find(dc, {Kind::kScreen, Kind::kMemory})) return nullptr;
  }
  GdiObject* memory = Make(Kind::kMemory);
  if (!memory) return nullptr;
  memory->bitmap = &g_stockBitmap;
  memory->brush = &g_stockBrush;
  memory->pen = &g_stockPen;
  return reinterpret_cast<HDC>(memory);
}

BOOL DeleteDC(HDC dc) {
  std::unique_ptr<GdiObject> object;
  {
    std::lock_guard lock(g_mutex);
    GdiObject* memory = Find(dc, {Kind::kMemory});
    if (!memory) return FALSE;
    // What is still selected is free to be deleted afterwards.
    if (memory->bitmap && memory->bitmap->selectedInto == memory) memory->bitmap->selectedInto = nullptr;
    g_live.erase(memory);
    object.reset(memory);
  }
  return TRUE;
}

HBITMAP CreateCompatibleBitmap(HDC dc, INT width, INT height) {
  {
    std::lock_guard lock(g_mutex);
    if (!Find(dc, {Kind::kScreen, Kind::kMemory})) return nullptr;
  }
  if (width <= 0 || height <= 0) return nullptr;
  const int64_t stride = static_cast<int64_t>(DibStride(width));
  if (stride > INT32_MAX) return nullptr;
  HBITMAP surface =
      EngCreateBitmap(SIZEL{width, height}, static_cast<LONG>(stride), BMF_24BPP, BMF_TOPDOWN, nullptr);
  if (!surface) return nullptr;
  GdiObject* bitmap = Make(Kind::kBitmap);
  if (!bitmap) {
    EngDeleteSurface(reinterpret_cast<HSURF>(surface));
    return nullptr;
  }
  bitmap->surface = reinterpret_cast<HSURF>(surface);
  return reinterpret_cast<HBITMAP>(bitmap);
}

HBRUSH CreateSolidBrush(COLORREF) { return reinterpret_cast<HBRUSH>(Make(Kind::kBrush)); }

HPEN CreatePen(INT style, INT, COLORREF) {
  if (style < 0) return nullptr;
  return reinterpret_cast<HPEN>(Make(Kind::kPen));
}

HGDIOBJ SelectObject(HDC dc, HGDIOBJ handle) {
  std::lock_guard lock(g_mutex);
  GdiObject* memory = Find(dc, {Kind::kMemory});
  GdiObject* object = Find(handle, {Kind::kBitmap, Kind::kBrush, Kind::kPen});
  if (!memory || !object) return nullptr;
  GdiObject** slot = object->kind == Kind::kBitmap  ? &memory->bitmap
                     : object->kind == Kind::kBrush ? &memory->brush
                                                    : &memory->pen;
  if (object->kind == Kind::kBitmap && !IsStock(object)) {
    // A bitmap can be in one DC at a time.
    if (object->selectedInto && object->selectedInto != memory) return nullptr;
    object->selectedInto = memory;
  }
  GdiObject* old = *slot;
  if (old && old != object && old->kind == Kind::kBitmap) old->selectedInto = nullptr;
  *slot = object;
  return old;
}

BOOL DeleteObject(HGDIOBJ handle) {
  std::unique_ptr<GdiObject> object;
  {
    std::lock_guard lock(g_mutex);
    GdiObject* found = Find(handle, {Kind::kBitmap, Kind::kBrush, Kind::kPen});
    if (!found) return FALSE;
    if (IsStock(found)) return TRUE;
    // A bitmap still selected into a DC cannot go.
    if (found->selectedInto) return FALSE;
    g_live.erase(found);
    object.reset(found);
  }
  if (object->surface) EngDeleteSurface(object->surface);
  return TRUE;
}

INT StretchDIBits(HDC dc, INT xDest, INT yDest, INT destWidth, INT destHeight, INT xSrc, INT ySrc,
                  INT srcWidth, INT srcHeight, const void* bits, const BITMAPINFO* info, UINT usage,
                  DWORD rop) {
  if (!bits || !info || usage != DIB_RGB_COLORS || rop != SRCCOPY || !IsRgb24(info->bmiHeader)) return 0;
  HSURF target = nullptr;
  {
    std::lock_guard lock(g_mutex);
    GdiObject* memory = Find(dc, {Kind::kMemory});
    if (!memory || !memory->bitmap || !memory->bitmap->surface) return 0;
    target = memory->bitmap->surface;
  }
  if (destWidth <= 0 || destHeight <= 0 || srcWidth <= 0 || srcHeight <= 0) return 0;

  const int64_t width = info->bmiHeader.biWidth;
  const bool topDown = info->bmiHeader.biHeight < 0;
  const int64_t height = topDown ? -int64_t{info->bmiHeader.biHeight} : info->bmiHeader.biHeight;
  const size_t stride = DibStride(width);
  if (static_cast<uint64_t>(stride) * height > (uint64_t{1} << 30)) return 0;

  // The source rectangle in top-down rows (a bottom-up DIB counts ySrc from
  // its last row), kept within the DIB; the target shrinks with it.
  int64_t left = xSrc, top = topDown ? ySrc : height - (int64_t{ySrc} + srcHeight);
  int64_t right = left + srcWidth, bottom = top + srcHeight;
  RECTL dest{xDest, yDest, static_cast<LONG>(int64_t{xDest} + destWidth),
             static_cast<LONG>(int64_t{yDest} + destHeight)};
  const int64_t cutLeft = std::max<int64_t>(0, -left), cutTop = std::max<int64_t>(0, -top);
  const int64_t cutRight = std::max<int64_t>(0, right - width),
                cutBottom = std::max<int64_t>(0, bottom - height);
  if (cutLeft + cutRight >= srcWidth || cutTop + cutBottom >= srcHeight) return 0;
  dest.left = static_cast<LONG>(xDest + cutLeft * destWidth / srcWidth);
  dest.right = static_cast<LONG>(int64_t{xDest} + destWidth - cutRight * destWidth / srcWidth);
  dest.top = static_cast<LONG>(yDest + cutTop * destHeight / srcHeight);
  dest.bottom = static_cast<LONG>(int64_t{yDest} + destHeight - cutBottom * destHeight / srcHeight);
  if (dest.left >= dest.right || dest.top >= dest.bottom) return 0;
  RECTL source{static_cast<LONG>(left + cutLeft), static_cast<LONG>(top + cutTop),
               static_cast<LONG>(right - cutRight), static_cast<LONG>(bottom - cutBottom)};

  // The engine reads whole words at 24-bit pixels: the rows are copied with
  // a spare row and four zero bytes behind them. The copy is kept top-down.
  std::vector<uint8_t> rows;
  try {
    rows.assign(stride * static_cast<size_t>(height + 1) + 4, 0);
  } catch (const std::bad_alloc&) {
    return 0;
  }
  const auto* from = static_cast<const uint8_t*>(bits);
  for (int64_t y = 0; y < height; ++y) {
    const int64_t stored = topDown ? y : height - 1 - y;
    std::memcpy(rows.data() + y * stride, from + stored * stride, stride);
  }
  HBITMAP sourceBitmap = EngCreateBitmap(SIZEL{static_cast<LONG>(width), static_cast<LONG>(height)},
                                         static_cast<LONG>(stride), BMF_24BPP, BMF_TOPDOWN, rows.data());
  if (!sourceBitmap) return 0;
  SURFOBJ* sourceSurface = EngLockSurface(reinterpret_cast<HSURF>(sourceBitmap));
  SURFOBJ* targetSurface = EngLockSurface(target);
  BOOL drawn = FALSE;
  if (sourceSurface && targetSurface)
    drawn = EngStretchBlt(targetSurface, sourceSurface, nullptr, nullptr, nullptr, nullptr, nullptr, &dest,
                          &source, nullptr, COLORONCOLOR);
  if (targetSurface) EngUnlockSurface(targetSurface);
  if (sourceSurface) EngUnlockSurface(sourceSurface);
  EngDeleteSurface(reinterpret_cast<HSURF>(sourceBitmap));
  return drawn ? static_cast<INT>(height) : 0;
}

INT GetDIBits(HDC dc, HBITMAP handle, UINT start, UINT lines, LPVOID bits, BITMAPINFO* info, UINT usage) {
  if (!info || usage != DIB_RGB_COLORS || info->bmiHeader.biSize < sizeof(BITMAPINFOHEADER)) return 0;
  HSURF surface = nullptr;
  {
    std::lock_guard lock(g_mutex);
    GdiObject* bitmap = Find(handle, {Kind::kBitmap});
    if (!Find(dc, {Kind::kScreen, Kind::kMemory}) || !bitmap || !bitmap->surface) return 0;
    surface = bitmap->surface;
  }
  SURFOBJ* so = EngLockSurface(surface);
  if (!so) return 0;
  const int64_t width = so->sizlBitmap.cx;
  const int64_t height = so->sizlBitmap.cy;
  const size_t stride = DibStride(width);
  BITMAPINFOHEADER& header = info->bmiHeader;
  INT result = 0;
  if (!bits) {
    // The first step: the bitmap's format (asked with a bit count of 0) or
    // the size of its rows in the asked format.
    if (header.biBitCount == 0) {
      header.biWidth = static_cast<LONG>(width);
      header.biHeight = static_cast<LONG>(height);
      header.biPlanes = 1;
      header.biBitCount = 24;
      header.biCompression = BI_RGB;
    }
    if (header.biBitCount == 24 && header.biCompression == BI_RGB) {
      header.biSizeImage = static_cast<DWORD>(stride * static_cast<size_t>(height));
      result = static_cast<INT>(height);
    }
  } else if (IsRgb24(header) && header.biWidth == width && start < height) {
    // Rows as stored; a positive height asks for the bottom row first.
    const bool topDown = header.biHeight < 0;
    const int64_t count = std::min<int64_t>(lines, height - start);
    auto* out = static_cast<uint8_t*>(bits);
    const auto* scan0 = static_cast<const uint8_t*>(so->pvScan0);
    for (int64_t i = 0; i < count; ++i) {
      const int64_t dibRow = start + i;
      const int64_t y = topDown ? dibRow : height - 1 - dibRow;
      uint8_t* row = out + i * stride;
      std::memcpy(row, scan0 + y * so->lDelta, static_cast<size_t>(width) * 3);
      std::memset(row + width * 3, 0, stride - static_cast<size_t>(width) * 3);
    }
    header.biSizeImage = static_cast<DWORD>(stride * static_cast<size_t>(height));
    result = static_cast<INT>(count);
  }
  EngUnlockSurface(so);
  return result;
}

}  // extern "C"
