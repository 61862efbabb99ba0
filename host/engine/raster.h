// The engine's raster side: painting on a 24-bit bitmap surface with the
// raster operations of the graphics engine.
//
// A Painter is set up for one drawing call with the surface, the clip, the
// brush and the operations; the scan converters (coverage masks rendered by
// cairo for fills and geometric strokes, an integer line stepper for
// cosmetic lines) hand it runs and single pixels in device pixels.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

#include "host/engine/brush.h"
#include "host/engine/path.h"
#include "host/engine/region.h"
#include "host/engine/rop.h"
#include "host/engine/xform.h"
#include "platform/winddi.h"

namespace snk::engine {

class Painter {
 public:
  // `so` is a 24-bit bitmap surface with bits; `clip` is null for "the
  // whole surface". The clip is not copied and must outlive the painter.
  Painter(const SURFOBJ& so, const Region* clip);

  // Surface and clip bounds intersected: nothing outside is painted. Empty
  // (left >= right or top >= bottom) when nothing can be painted.
  const RECTL& Area() const { return area_; }

  // The brush: a host brush, or (brush null) the solid colour `solid`.
  // Pattern pixels are taken relative to `origin`.
  void SetBrush(const HostBrush* brush, uint32_t solid, POINTL origin);
  // Foreground pixels with the MIX's low byte, background pixels (hatch
  // gaps, gaps of styled cosmetic lines) with its second byte.
  void SetMix(MIX mix);
  // Both kinds of pixel with one ternary operation (blits without source).
  void SetRop3(uint8_t rop3);

  // Paints row y from x0 to x1 (exclusive), cut by the area and the clip.
  void Span(int32_t y, int32_t x0, int32_t x1);
  // Calls run(a, b) for each part [a, b) of row y's pixels from x0 to x1
  // (exclusive) that the area and the clip leave, left to right.
  template <typename Run>
  void Runs(int32_t y, int32_t x0, int32_t x1, Run&& run) const;
  // The first pixel of row y.
  uint8_t* Row(int32_t y) const { return scan0_ + y * delta_; }
  // Whether the brush is one colour (no pattern or hatch).
  bool SolidBrush() const { return brush_ == nullptr; }
  // The brush's colours at `count` pixels of row y from x0 on, as bytes R,
  // G, B (a hatch's gaps in its background colour).
  void BrushColors(int32_t y, int32_t x0, int32_t count, uint8_t* rgb) const;

  // Paints one pixel, if inside. A background pixel (a gap of a styled
  // line) takes the brush's background colour and the background op.
  void Pixel(int32_t x, int32_t y, bool foreground = true);

 private:
  void PaintRun(int32_t y, int32_t x0, int32_t x1);  // already cut
  void Prepare();

  uint8_t* scan0_ = nullptr;
  int64_t delta_ = 0;
  RECTL area_{};
  const Region* clip_ = nullptr;  // null when the area alone clips
  const HostBrush* brush_ = nullptr;
  uint32_t solid_ = 0;
  uint32_t background_ = 0xFFFFFF;
  POINTL origin_{};
  int32_t periodX_ = 8;  // the brush repeats every periodX_ x periodY_ pixels
  int32_t periodY_ = 8;
  uint8_t fgRop_ = 0xF0;
  uint8_t bgRop_ = 0xF0;
  // Solid brush: the constant result (when the op ignores the destination)
  // or the per-channel table of the foreground and background ops.
  bool fgConstant_ = false;
  uint8_t fgColor_[3] = {};
  RopTable fgTable_;
  RopTable bgTable_;
  bool prepared_ = false;
};

template <typename Run>
void Painter::Runs(int32_t y, int32_t x0, int32_t x1, Run&& run) const {
  if (y < area_.top || y >= area_.bottom) return;
  x0 = x0 > area_.left ? x0 : area_.left;
  x1 = x1 < area_.right ? x1 : area_.right;
  if (x0 >= x1) return;
  if (!clip_) {
    run(x0, x1);
    return;
  }
  const auto band = clip_->BandAt(y);
  auto it = std::partition_point(band.begin(), band.end(), [x0](const RECTL& r) { return r.right <= x0; });
  for (; it != band.end(); ++it) {
    if (it->left >= x1) break;
    run(it->left > x0 ? it->left : x0, it->right < x1 ? it->right : x1);
  }
}

// The bitmap a drawing call paints on, or null when there is nothing to
// paint on (a device surface, or a surface the engine does not know).
const SURFOBJ* BitmapOf(SURFOBJ* so);
// The clip of a call: null for "no clipping"; otherwise the host region,
// or for a clip object the host did not make, its bounds (kept in
// `storage`).
const Region* ClipOf(CLIPOBJ* pco, std::optional<Region>& storage);
// Sets the painter's brush; false for a brush that cannot be painted with.
bool SetBrush(Painter& painter, BRUSHOBJ* pbo, POINTL* origin);

// Fills the pixels whose centres lie inside the path, by the winding or
// the alternate rule.
void FillPath(Painter& painter, const HostPath& path, bool winding);

// Strokes with a geometric pen: width and style in world units, mapped to
// device pixels by `xform` (null: the units are device pixels).
void StrokeGeometric(Painter& painter, const HostPath& path, const LINEATTRS& attrs, const HostXform* xform);

// Strokes one pixel wide; the last pixel of each figure that is not closed
// is left out. `attrs` may be null (solid).
void StrokeCosmetic(Painter& painter, const HostPath& path, const LINEATTRS* attrs);

// The one-pixel line from a to b without b's pixel.
void CosmeticLine(Painter& painter, POINTL a, POINTL b);

}  // namespace snk::engine
