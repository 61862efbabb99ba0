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

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "host/engine/surface.h"
#include "platform/winddi.h"

namespace snk::engine {

// One translation resolved for pixel loops: made once per drawing call from
// an XLATEOBJ (one live-set look-up), then Map() per pixel word without
// calls. It refers to the XLATEOBJ's table, which must outlive it.
class SNK_HOST_API XlateMap {
 public:
  // Words pass unchanged.
  XlateMap() = default;
  // Null: words pass unchanged. A host object: its rule. An object the host
  // did not make: its table (XO_TABLE) or, otherwise, unchanged words.
  static XlateMap Of(XLATEOBJ* xo);

  uint32_t Map(uint32_t word) const {
    switch (kind_) {
      case Kind::kTable:
        return word < count_ ? table_[word] & 0xFFFFFF : 0;
      case Kind::kFields:
        return uint32_t{scale_[0][((word & mask_[0]) >> shift_[0]) >> drop_[0]]} |
               uint32_t{scale_[1][((word & mask_[1]) >> shift_[1]) >> drop_[1]]} << 8 |
               uint32_t{scale_[2][((word & mask_[2]) >> shift_[2]) >> drop_[2]]} << 16;
      case Kind::kBgr:
        return (word >> 16 & 0xFF) | (word & 0xFF00) | (word & 0xFF) << 16;
      case Kind::kSame:
        break;
    }
    return word & keep_;
  }
  // True when every word maps to itself (within 24 bits).
  bool Identity() const { return kind_ == Kind::kSame; }
  bool Bgr() const { return kind_ == Kind::kBgr; }

 private:
  friend struct HostXlate;
  enum class Kind : uint8_t { kSame, kTable, kFields, kBgr };
  void SetFields(uint32_t red, uint32_t green, uint32_t blue);

  Kind kind_ = Kind::kSame;
  uint32_t keep_ = 0xFFFFFFFF;
  const ULONG* table_ = nullptr;
  uint32_t count_ = 0;
  uint32_t mask_[3] = {};
  uint8_t shift_[3] = {};
  uint8_t drop_[3] = {};
  // A channel's value (at most 8 bits after `drop_`) scaled to 0..255.
  std::array<std::array<uint8_t, 256>, 3> scale_{};
};

struct SNK_HOST_API HostXlate {
  // Indexed source: entry i of `palette` (COLORREF words) is index i's
  // colour. An index past the palette translates to black.
  static HostXlate Indexed(std::span<const uint32_t> palette);
  // Bit-field source of `bits` (16 or 32) bits per pixel: each mask selects
  // one colour's bits, which are scaled to 8 bits. Three zero masks stand for
  // the BI_RGB layout of the depth (5-5-5 for 16 bits, 8-8-8 for 32).
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
  // The same, remembering the last object found on this thread: for calls
  // made once per pixel.
  static const HostXlate* Remembered(XLATEOBJ* xo);

  // What XLATEOBJ_iXlate answers.
  uint32_t Translate(uint32_t word) const;

  XLATEOBJ xo{};  // handed to drivers as &xo; kept first
  std::vector<ULONG> table;
  uint32_t bits = 24;
  uint32_t masks[3] = {};

 private:
  friend class XlateMap;
  HostXlate();
  // Points the public object and the map at this object's own table.
  void Bind();

  XlateMap map_;
};

}  // namespace snk::engine
