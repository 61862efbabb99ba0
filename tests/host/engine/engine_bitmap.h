// Engine bitmaps for the engine's tests: a locked bitmap over memory the
// engine or the test owns, and a white 24-bit page with pixel access.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/winddi.h"

namespace snk::engine {

// A bitmap made by EngCreateBitmap and locked, deleted at the end.
class Bitmap {
 public:
  Bitmap(LONG cx, LONG cy, LONG stride, ULONG format, FLONG flags, void* bits = nullptr) {
    handle_ = EngCreateBitmap(SIZEL{cx, cy}, stride, format, flags, bits);
    if (handle_) so_ = EngLockSurface(reinterpret_cast<HSURF>(handle_));
  }
  ~Bitmap() {
    if (so_) EngUnlockSurface(so_);
    if (handle_) EngDeleteSurface(reinterpret_cast<HSURF>(handle_));
  }
  Bitmap(const Bitmap&) = delete;
  Bitmap& operator=(const Bitmap&) = delete;

  SURFOBJ* so() const { return so_; }
  uint8_t* Row(int y) const { return static_cast<uint8_t*>(so_->pvScan0) + y * so_->lDelta; }

 private:
  HBITMAP handle_ = nullptr;
  SURFOBJ* so_ = nullptr;
};

// A 24-bit RGB bitmap as the page surface is, with pixel access.
class Page : public Bitmap {
 public:
  Page(LONG cx, LONG cy) : Bitmap(cx, cy, (cx * 3 + 3) & ~3, BMF_24BPP, BMF_TOPDOWN) { Clear(0xFFFFFF); }
  uint32_t Get(int x, int y) const {
    const uint8_t* p = Row(y) + x * 3;
    return p[0] | p[1] << 8 | p[2] << 16;
  }
  void Set(int x, int y, uint32_t c) {
    uint8_t* p = Row(y) + x * 3;
    p[0] = uint8_t(c), p[1] = uint8_t(c >> 8), p[2] = uint8_t(c >> 16);
  }
  void Clear(uint32_t c) {
    for (int y = 0; y < so()->sizlBitmap.cy; ++y)
      for (int x = 0; x < so()->sizlBitmap.cx; ++x) Set(x, y, c);
  }
  int Count(uint32_t c) const {
    int n = 0;
    for (int y = 0; y < so()->sizlBitmap.cy; ++y)
      for (int x = 0; x < so()->sizlBitmap.cx; ++x) n += Get(x, y) == c;
    return n;
  }
  // The row's pixels as colour words.
  std::vector<uint32_t> Line(int y, int x0, int x1) const {
    std::vector<uint32_t> out;
    for (int x = x0; x < x1; ++x) out.push_back(Get(x, y));
    return out;
  }
};

}  // namespace snk::engine
