// Decoders of the objects that EMF records carry: region data and device-
// independent bitmaps. Their bytes are untrusted: every count, size and
// offset is checked, and a fault is reported in words that name the field.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/engine/region.h"

namespace snk::gdi {

// RGNDATA: a 32-byte header (dwSize 32, iType 1 = RDH_RECTANGLES, nCount,
// nRgnSize, rcBound) and nCount rectangles, in device units. The rectangles
// are united whatever their order; nRgnSize and rcBound are not trusted.
std::optional<engine::Region> ParseRegionData(std::span<const std::byte> data, std::string* fault);

inline constexpr uint32_t DIB_RGB_COLORS = 0;
inline constexpr uint32_t DIB_PAL_COLORS = 1;

// A decoded bitmap: COLORREF words (red in bits 0-7), top row first.
struct DibPixels {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint32_t> pixels;
};

// Decodes a BITMAPINFO (`info`: header and colour table) and its bits.
// For a 1-bit bitmap `mono`, when given, replaces the colour table: bit 0
// takes mono[0], bit 1 takes mono[1] (as a monochrome pattern brush takes
// the text and background colours). DIB_PAL_COLORS tables index the
// default palette.
std::optional<DibPixels> DecodeDib(std::span<const std::byte> info, std::span<const std::byte> bits,
                                   uint32_t usage, const uint32_t* mono, std::string* fault);

}  // namespace snk::gdi
