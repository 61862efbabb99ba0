// Reading the pixels of a source bitmap in any of the formats the engine
// makes (1, 4, 8, 16, 24 and 32 bits per pixel, top-down or bottom-up), as
// the blits with a source need them.
#pragma once

#include <cstdint>
#include <vector>

#include "host/engine/xlate.h"
#include "platform/winddi.h"

namespace snk::engine {

class SourcePixels {
 public:
  // `xlate` null means colour words pass unchanged.
  SourcePixels(const SURFOBJ& so, XLATEOBJ* xlate);

  // False for a surface without readable bits (a device surface, a JPEG
  // or PNG source, an unknown format): nothing can be read from it.
  bool Valid() const { return valid_; }
  int32_t Width() const { return width_; }
  int32_t Height() const { return height_; }

  // The bits of pixel (x, y) as a word (palette index, 16-bit value, or
  // the bytes B, G, R[, A] read little-endian). (x, y) must lie inside.
  uint32_t Word(int32_t x, int32_t y) const;
  // The pixel's colour as a COLORREF word (red in bits 0-7).
  uint32_t Color(int32_t x, int32_t y) const;

  // The colours of `count` pixels of row y from x0 on, as bytes R, G, B
  // (3 * count bytes at `rgb`). The pixels must lie inside.
  void Colors(int32_t y, int32_t x0, int32_t count, uint8_t* rgb) const;
  // The same for the pixels of row y at columns xs[0..count), which must lie
  // inside (a stretched row).
  void Colors(int32_t y, const int32_t* xs, int32_t count, uint8_t* rgb) const;

 private:
  const uint8_t* scan0_ = nullptr;
  int64_t delta_ = 0;
  uint32_t format_ = 0;
  int32_t width_ = 0;
  int32_t height_ = 0;
  XLATEOBJ* xlate_ = nullptr;
  bool valid_ = false;
  XlateMap map_;                   // the translation, resolved once
  std::vector<uint32_t> palette_;  // 1, 4 and 8 bits: every index's colour
};

// Bits per pixel of an uncompressed bitmap format (BMF_1BPP..BMF_32BPP); 0
// for any other format.
int32_t BitsPerPixel(ULONG format);

// Which of `from` source pixels destination pixel i of `to` takes when a
// row or column is stretched or shrunk (0 <= i < to; both counts > 0): the
// pixel whose span holds the destination pixel's centre.
int32_t NearestSource(int32_t i, int32_t to, int32_t from);

}  // namespace snk::engine
