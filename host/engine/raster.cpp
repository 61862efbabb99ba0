// Drawing entries of the engine on its 24-bit bitmap surfaces, and the
// painter that applies the raster operations pixel by pixel.
#include "host/engine/raster.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "host/engine/clip.h"
#include "host/engine/surface.h"

namespace snk::engine {
namespace {

constexpr uint8_t kNop = 0xAA;   // result = destination
constexpr uint8_t kCopy = 0xF0;  // result = pattern

// Writes `count` pixels of one colour; rows of one grey level are a memset.
void FillPixels(uint8_t* p, int64_t count, const uint8_t color[3]) {
  if (count <= 0) return;
  if (color[0] == color[1] && color[1] == color[2]) {
    std::memset(p, color[0], size_t(count) * 3);
    return;
  }
  p[0] = color[0];
  p[1] = color[1];
  p[2] = color[2];
  // Doubling copies of what is already written.
  size_t done = 3, total = size_t(count) * 3;
  while (done < total) {
    size_t n = std::min(done, total - done);
    std::memcpy(p + done, p, n);
    done += n;
  }
}

uint8_t ChannelOf(uint32_t color, int c) { return uint8_t(color >> (8 * c)); }

// v - origin within one period of the brush (the plain difference may not
// fit 32 bits for far-off origins).
int32_t Within(int32_t v, int32_t origin, int32_t period) {
  const int64_t d = (int64_t{v} - origin) % period;
  return int32_t(d < 0 ? d + period : d);
}

}  // namespace

Painter::Painter(const SURFOBJ& so, const Region* clip) {
  scan0_ = static_cast<uint8_t*>(so.pvScan0);
  delta_ = so.lDelta;
  area_ = RECTL{0, 0, so.sizlBitmap.cx, so.sizlBitmap.cy};
  if (clip) {
    RECTL b = clip->Bounds();
    area_.left = std::max(area_.left, b.left);
    area_.top = std::max(area_.top, b.top);
    area_.right = std::min(area_.right, b.right);
    area_.bottom = std::min(area_.bottom, b.bottom);
    if (clip->Empty()) area_ = RECTL{0, 0, 0, 0};
    // A one-rectangle region clips by the area alone.
    if (!clip->IsRect()) clip_ = clip;
  }
  if (area_.right < area_.left) area_.right = area_.left;
  if (area_.bottom < area_.top) area_.bottom = area_.top;
}

void Painter::SetBrush(const HostBrush* brush, uint32_t solid, POINTL origin) {
  brush_ = brush;
  origin_ = origin;
  periodX_ = periodY_ = 8;  // hatches
  if (brush && brush->kind == BrushKind::Pattern) {
    periodX_ = std::max(brush->patternWidth, 1);
    periodY_ = std::max(brush->patternHeight, 1);
  }
  if (brush && brush->kind == BrushKind::Solid) {
    solid = brush->color;
    brush_ = nullptr;  // solid brushes take the fast paths
  }
  solid_ = solid & 0xFFFFFF;
  background_ = (brush ? brush->background : 0xFFFFFF) & 0xFFFFFF;
  prepared_ = false;
}

void Painter::SetMix(MIX mix) {
  fgRop_ = Rop2ToRop3(mix & 0xFF);
  bgRop_ = Rop2ToRop3((mix >> 8) & 0xFF);
  prepared_ = false;
}

void Painter::SetRop3(uint8_t rop3) {
  fgRop_ = bgRop_ = rop3;
  prepared_ = false;
}

void Painter::Prepare() {
  prepared_ = true;
  if (brush_) return;  // pattern and hatch brushes work pixel by pixel
  fgConstant_ = !RopUsesDest(fgRop_);
  for (int c = 0; c < 3; ++c) fgColor_[c] = RopByte(fgRop_, ChannelOf(solid_, c), 0, 0);
  if (!fgConstant_ && fgRop_ != kNop) fgTable_ = RopTable(fgRop_, solid_, 0);
  if (bgRop_ != kNop) bgTable_ = RopTable(bgRop_, background_, 0);
}

void Painter::Span(int32_t y, int32_t x0, int32_t x1) {
  if (!prepared_) Prepare();
  Runs(y, x0, x1, [&](int32_t a, int32_t b) { PaintRun(y, a, b); });
}

void Painter::BrushColors(int32_t y, int32_t x0, int32_t count, uint8_t* rgb) const {
  if (!brush_) {
    const uint8_t color[3] = {ChannelOf(solid_, 0), ChannelOf(solid_, 1), ChannelOf(solid_, 2)};
    FillPixels(rgb, count, color);
    return;
  }
  for (int32_t i = 0; i < count; ++i, rgb += 3) {
    bool foreground = true;
    uint32_t color =
        brush_->PixelAt(Within(x0 + i, origin_.x, periodX_), Within(y, origin_.y, periodY_), &foreground);
    rgb[0] = ChannelOf(color, 0);
    rgb[1] = ChannelOf(color, 1);
    rgb[2] = ChannelOf(color, 2);
  }
}

void Painter::Pixel(int32_t x, int32_t y, bool foreground) {
  if (x < area_.left || x >= area_.right || y < area_.top || y >= area_.bottom) return;
  if (clip_ && !clip_->Contains(x, y)) return;
  if (!prepared_) Prepare();
  if (foreground) {
    if (!brush_ && fgConstant_) {
      // The common one-colour pixel of a cosmetic line, without a run.
      uint8_t* p = scan0_ + y * delta_ + int64_t{x} * 3;
      p[0] = fgColor_[0];
      p[1] = fgColor_[1];
      p[2] = fgColor_[2];
      return;
    }
    PaintRun(y, x, x + 1);
    return;
  }
  if (bgRop_ == kNop) return;
  uint8_t* p = scan0_ + y * delta_ + int64_t{x} * 3;
  if (brush_) {
    for (int c = 0; c < 3; ++c) p[c] = RopByte(bgRop_, ChannelOf(background_, c), 0, p[c]);
  } else {
    bgTable_.Apply(p);
  }
}

void Painter::PaintRun(int32_t y, int32_t x0, int32_t x1) {
  uint8_t* p = scan0_ + y * delta_ + int64_t{x0} * 3;
  if (!brush_) {
    if (fgRop_ == kNop) return;
    if (fgConstant_) {
      FillPixels(p, x1 - x0, fgColor_);
      return;
    }
    for (int32_t x = x0; x < x1; ++x, p += 3) fgTable_.Apply(p);
    return;
  }
  for (int32_t x = x0; x < x1; ++x, p += 3) {
    bool foreground = true;
    uint32_t color =
        brush_->PixelAt(Within(x, origin_.x, periodX_), Within(y, origin_.y, periodY_), &foreground);
    uint8_t rop = foreground ? fgRop_ : bgRop_;
    if (rop == kNop) continue;
    if (rop == kCopy) {
      p[0] = ChannelOf(color, 0);
      p[1] = ChannelOf(color, 1);
      p[2] = ChannelOf(color, 2);
      continue;
    }
    for (int c = 0; c < 3; ++c) p[c] = RopByte(rop, ChannelOf(color, c), 0, p[c]);
  }
}

const SURFOBJ* BitmapOf(SURFOBJ* so) {
  if (!so) return nullptr;
  HostSurface* surface = snk::engine::FindSurface(so->hsurf);
  if (!surface || !surface->so.pvBits || !surface->so.pvScan0) return nullptr;
  return &surface->so;
}

const Region* ClipOf(CLIPOBJ* pco, std::optional<Region>& storage) {
  if (!pco || pco->iDComplexity == DC_TRIVIAL) return nullptr;
  if (HostClip* clip = HostClip::From(pco)) return &clip->region();
  storage.emplace(pco->rclBounds);
  return &*storage;
}

bool SetBrush(Painter& painter, BRUSHOBJ* pbo, POINTL* origin) {
  if (!pbo) return false;
  POINTL org = origin ? *origin : POINTL{0, 0};
  if (const HostBrush* brush = HostBrush::From(pbo)) {
    painter.SetBrush(brush, 0, org);
    return true;
  }
  // A brush object the host did not make: only its solid colour is known.
  if (pbo->iSolidColor == 0xFFFFFFFF) return false;
  painter.SetBrush(nullptr, pbo->iSolidColor, org);
  return true;
}

}  // namespace snk::engine

namespace {

using snk::engine::BitmapOf;
using snk::engine::ClipOf;
using snk::engine::HostBrush;
using snk::engine::HostClip;
using snk::engine::HostPath;
using snk::engine::HostSurface;
using snk::engine::HostXform;
using snk::engine::Painter;
using snk::engine::Region;

bool Stroke(Painter& painter, const HostPath& path, XFORMOBJ* pxo, const LINEATTRS& attrs) {
  if (attrs.fl & LA_GEOMETRIC) {
    snk::engine::StrokeGeometric(painter, path, attrs, HostXform::From(pxo));
  } else {
    snk::engine::StrokeCosmetic(painter, path, &attrs);
  }
  return true;
}

bool Empty(const RECTL& r) { return r.left >= r.right || r.top >= r.bottom; }

}  // namespace

namespace {

// The common part of the path entries: a painter on a 24-bit bitmap
// surface with the clip, the brush and the mix, handed to `draw`. A device
// surface (no bits) succeeds with nothing to paint.
template <typename Draw>
BOOL PaintOnSurface(SURFOBJ* pso, CLIPOBJ* pco, BRUSHOBJ* pbo, POINTL* pptlBrushOrg, MIX mix, Draw&& draw) {
  const SURFOBJ* so = BitmapOf(pso);
  if (!so) return TRUE;
  if (so->iBitmapFormat != BMF_24BPP) return FALSE;
  std::optional<Region> storage;
  Painter painter(*so, ClipOf(pco, storage));
  if (!SetBrush(painter, pbo, pptlBrushOrg)) return FALSE;
  if (Empty(painter.Area())) return TRUE;
  painter.SetMix(mix);
  return draw(painter) ? TRUE : FALSE;
}

}  // namespace

extern "C" {

BOOL APIENTRY EngStrokePath(SURFOBJ* pso, PATHOBJ* ppo, CLIPOBJ* pco, XFORMOBJ* pxo, BRUSHOBJ* pbo,
                            POINTL* pptlBrushOrg, LINEATTRS* plineattrs, MIX mix) {
  HostPath* path = HostPath::From(ppo);
  if (!pso || !path || !pbo || !plineattrs) return FALSE;
  return PaintOnSurface(pso, pco, pbo, pptlBrushOrg, mix,
                        [&](Painter& painter) { return Stroke(painter, *path, pxo, *plineattrs); });
}

BOOL APIENTRY EngFillPath(SURFOBJ* pso, PATHOBJ* ppo, CLIPOBJ* pco, BRUSHOBJ* pbo, POINTL* pptlBrushOrg,
                          MIX mix, FLONG flOptions) {
  HostPath* path = HostPath::From(ppo);
  if (!pso || !path || !pbo) return FALSE;
  return PaintOnSurface(pso, pco, pbo, pptlBrushOrg, mix, [&](Painter& painter) {
    snk::engine::FillPath(painter, *path, (flOptions & FP_WINDINGMODE) != 0);
    return true;
  });
}

BOOL APIENTRY EngStrokeAndFillPath(SURFOBJ* pso, PATHOBJ* ppo, CLIPOBJ* pco, XFORMOBJ* pxo,
                                   BRUSHOBJ* pboStroke, LINEATTRS* plineattrs, BRUSHOBJ* pboFill,
                                   POINTL* pptlBrushOrg, MIX mixFill, FLONG flOptions) {
  HostPath* path = HostPath::From(ppo);
  if (!pso || !path || !pboStroke || !pboFill || !plineattrs) return FALSE;
  return PaintOnSurface(pso, pco, pboFill, pptlBrushOrg, mixFill, [&](Painter& painter) {
    snk::engine::FillPath(painter, *path, (flOptions & FP_WINDINGMODE) != 0);
    return SetBrush(painter, pboStroke, pptlBrushOrg) && Stroke(painter, *path, pxo, *plineattrs);
  });
}

BOOL APIENTRY EngLineTo(SURFOBJ* pso, CLIPOBJ* pco, BRUSHOBJ* pbo, LONG x1, LONG y1, LONG x2, LONG y2,
                        RECTL* /*prclBounds: a hint only*/, MIX mix) {
  if (!pso || !pbo) return FALSE;
  const SURFOBJ* so = BitmapOf(pso);
  if (!so) return TRUE;
  if (so->iBitmapFormat != BMF_24BPP) return FALSE;
  std::optional<Region> storage;
  Painter painter(*so, ClipOf(pco, storage));
  if (!SetBrush(painter, pbo, nullptr)) return FALSE;
  if (Empty(painter.Area())) return TRUE;
  painter.SetMix(mix);
  snk::engine::CosmeticLine(painter, POINTL{x1, y1}, POINTL{x2, y2});
  return TRUE;
}

}  // extern "C"
