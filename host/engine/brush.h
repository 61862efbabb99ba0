// The host's brush object: the public BRUSHOBJ, what the engine needs to
// paint with it, and the storage of the driver's realisation of it, which
// lives as long as the brush.
//
// Colours are COLORREF words (red in bits 0-7), which is also what the
// 24-bit surface's palette (PAL_RGB) takes as a solid colour.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/engine/surface.h"
#include "platform/winddi.h"

namespace snk::engine {

enum class BrushKind { Solid, Hatch, Pattern };

// Hatch styles (HS_*).
inline constexpr uint32_t HS_HORIZONTAL = 0;
inline constexpr uint32_t HS_VERTICAL = 1;
inline constexpr uint32_t HS_FDIAGONAL = 2;
inline constexpr uint32_t HS_BDIAGONAL = 3;
inline constexpr uint32_t HS_CROSS = 4;
inline constexpr uint32_t HS_DIAGCROSS = 5;

struct SNK_HOST_API HostBrush {
  HostBrush();
  HostBrush(const HostBrush& other);
  HostBrush(HostBrush&& other) noexcept;
  HostBrush& operator=(const HostBrush& other);
  HostBrush& operator=(HostBrush&& other) noexcept;
  ~HostBrush();

  static HostBrush Solid(uint32_t color);
  // Foreground pixels take `color`; background pixels take `background`
  // unless the MIX's background byte is R2_NOP (transparent background).
  static HostBrush Hatch(uint32_t style, uint32_t color, uint32_t background);
  // A pattern of width x height COLORREF pixels, top row first; repeated
  // from the brush origin. Refused (solid black) if the sizes disagree.
  static HostBrush Pattern(int32_t width, int32_t height, std::vector<uint32_t> pixels);

  static HostBrush* From(BRUSHOBJ* bo);

  // The colour of pattern pixel (x, y) relative to the brush origin, and
  // whether it is a foreground pixel (always true but for hatch gaps).
  uint32_t PixelAt(int32_t x, int32_t y, bool* foreground) const;

  BRUSHOBJ bo{};  // handed to drivers as &bo; kept first
  std::vector<std::byte> realization;
  BrushKind kind = BrushKind::Solid;
  uint32_t color = 0;
  uint32_t background = 0xFFFFFF;
  uint32_t hatchStyle = 0;
  int32_t patternWidth = 0;
  int32_t patternHeight = 0;
  std::vector<uint32_t> pattern;
};

}  // namespace snk::engine
