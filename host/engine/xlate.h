// The engine's colour translation object: from a source bitmap's pixel
// words to the colour words of the page surface (PAL_RGB: red in bits 0-7,
// green 8-15, blue 16-23, which is also the byte order of a surface pixel).
//
// A source pixel word is the pixel's bits read as a little-endian word:
// the palette index of a 1, 4 or 8-bit pixel; the 16 bits of a 16-bit pixel
// (masked as the source's bit fields say); the bytes B, G, R of a 24 or
// 32-bit BI_RGB pixel, which read as 0x00RRGGBB (PAL_BGR) and are swapped.
// Bits above the source's depth are ignored, as callers may read whole
// 32-bit words at 16 and 24-bit pixels.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "host/engine/surface.h"
#include "platform/winddi.h"

namespace snk::engine {

struct SNK_HOST_API HostXlate {
  // Indexed source: entry i of `palette` (COLORREF words) is index i's
  // colour. An index past the palette translates to black.
  static HostXlate Indexed(std::span<const uint32_t> palette);
  // Bit-field source of `bits` (16 or 32) bits per pixel: each mask selects
  // one colour's bits, which are scaled to 8 bits.
  static HostXlate Bitfields(uint32_t bits, uint32_t red, uint32_t green, uint32_t blue);
  // 24 or 32-bit pixels stored B, G, R (BI_RGB).
  static HostXlate Bgr(uint32_t bits);
  // Colour words already in the surface's form (a 24-bit RGB source).
  static HostXlate Trivial();

  HostXlate(const HostXlate& other);
  HostXlate& operator=(const HostXlate& other);
  ~HostXlate();
  // The host object behind a driver's pointer; null when it is not live.
  static HostXlate* From(XLATEOBJ* xo);

  // What XLATEOBJ_iXlate answers.
  uint32_t Translate(uint32_t word) const;

  XLATEOBJ xo{};  // handed to drivers as &xo; kept first
  std::vector<ULONG> table;
  uint32_t bits = 24;
  uint32_t masks[3] = {};

 private:
  HostXlate();
};

}  // namespace snk::engine
