#include "host/engine/brush.h"

#include <new>

#include "host/engine/live_set.h"

namespace snk::engine {
namespace {

// Whether pixel (x, y) of an 8 x 8 hatch cell lies on the hatch's lines.
bool OnHatch(uint32_t style, int32_t x, int32_t y) {
  x &= 7;
  y &= 7;
  switch (style) {
    case HS_HORIZONTAL: return y == 7;
    case HS_VERTICAL: return x == 7;
    case HS_FDIAGONAL: return x == y;
    case HS_BDIAGONAL: return x + y == 7;
    case HS_CROSS: return x == 7 || y == 7;
    case HS_DIAGCROSS: return x == y || x + y == 7;
    default: return false;
  }
}

int32_t Wrap(int32_t v, int32_t size) {
  const int32_t m = v % size;
  return m < 0 ? m + size : m;
}

}  // namespace

HostBrush::HostBrush() { LiveSet<HostBrush>::Add(this); }

HostBrush::HostBrush(const HostBrush& other)
    : bo(other.bo),
      realization(other.realization),
      kind(other.kind),
      color(other.color),
      background(other.background),
      hatchStyle(other.hatchStyle),
      patternWidth(other.patternWidth),
      patternHeight(other.patternHeight),
      pattern(other.pattern) {
  bo.pvRbrush = realization.empty() ? nullptr : realization.data();
  LiveSet<HostBrush>::Add(this);
}

// Moving a vector keeps its buffer, so a realisation pointer stays valid.
HostBrush::HostBrush(HostBrush&& other) noexcept
    : bo(other.bo),
      realization(std::move(other.realization)),
      kind(other.kind),
      color(other.color),
      background(other.background),
      hatchStyle(other.hatchStyle),
      patternWidth(other.patternWidth),
      patternHeight(other.patternHeight),
      pattern(std::move(other.pattern)) {
  other.bo.pvRbrush = nullptr;
  LiveSet<HostBrush>::Add(this);
}

HostBrush& HostBrush::operator=(const HostBrush& other) {
  if (this != &other) {
    HostBrush copy(other);
    *this = std::move(copy);
  }
  return *this;
}

HostBrush& HostBrush::operator=(HostBrush&& other) noexcept {
  if (this == &other) return *this;
  bo = other.bo;
  realization = std::move(other.realization);
  kind = other.kind;
  color = other.color;
  background = other.background;
  hatchStyle = other.hatchStyle;
  patternWidth = other.patternWidth;
  patternHeight = other.patternHeight;
  pattern = std::move(other.pattern);
  other.bo.pvRbrush = nullptr;
  return *this;
}

HostBrush::~HostBrush() { LiveSet<HostBrush>::Remove(this); }

HostBrush HostBrush::Solid(uint32_t color) {
  HostBrush brush;
  brush.kind = BrushKind::Solid;
  brush.color = color;
  brush.bo.iSolidColor = color;
  return brush;
}

HostBrush HostBrush::Hatch(uint32_t style, uint32_t color, uint32_t background) {
  HostBrush brush;
  brush.kind = BrushKind::Hatch;
  brush.hatchStyle = style;
  brush.color = color;
  brush.background = background;
  brush.bo.iSolidColor = 0xFFFFFFFF;
  return brush;
}

HostBrush HostBrush::Pattern(int32_t width, int32_t height, std::vector<uint32_t> pixels) {
  if (width <= 0 || height <= 0 || pixels.size() != static_cast<size_t>(width) * static_cast<size_t>(height))
    return Solid(0);
  HostBrush brush;
  brush.kind = BrushKind::Pattern;
  brush.patternWidth = width;
  brush.patternHeight = height;
  brush.pattern = std::move(pixels);
  brush.bo.iSolidColor = 0xFFFFFFFF;
  return brush;
}

HostBrush* HostBrush::From(BRUSHOBJ* bo) {
  return bo && LiveSet<HostBrush>::Contains(bo) ? reinterpret_cast<HostBrush*>(bo) : nullptr;
}

uint32_t HostBrush::PixelAt(int32_t x, int32_t y, bool* foreground) const {
  bool fg = true;
  uint32_t value = color;
  switch (kind) {
    case BrushKind::Solid: break;
    case BrushKind::Hatch:
      fg = OnHatch(hatchStyle, x, y);
      if (!fg) value = background;
      break;
    case BrushKind::Pattern:
      value = pattern[static_cast<size_t>(Wrap(y, patternHeight)) * static_cast<size_t>(patternWidth) +
                      static_cast<size_t>(Wrap(x, patternWidth))];
      break;
  }
  if (foreground) *foreground = fg;
  return value;
}

}  // namespace snk::engine

using snk::engine::HostBrush;

extern "C" PVOID APIENTRY BRUSHOBJ_pvAllocRbrush(BRUSHOBJ* bo, ULONG size) {
  HostBrush* brush = HostBrush::From(bo);
  if (!brush) return nullptr;
  try {
    brush->realization.assign(size, std::byte{0});
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  bo->pvRbrush = brush->realization.data();
  return bo->pvRbrush;
}

// The colour of a solid brush; 0xFFFFFFFF for a hatch or pattern, whose
// colour is not one value.
extern "C" ULONG APIENTRY BRUSHOBJ_ulGetBrushColor(BRUSHOBJ* bo) { return bo ? bo->iSolidColor : 0xFFFFFFFF; }
