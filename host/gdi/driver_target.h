// Plays onto the driver: each drawing call goes to the driver's entry when
// the driver hooked it for its surface, and to the engine's own Eng call
// otherwise, as the graphics engine does.
#pragma once

#include "host/engine/print_job.h"
#include "host/gdi/emf_player.h"

namespace snk::gdi {

class SNK_HOST_API DriverTarget final : public PlayTarget {
 public:
  explicit DriverTarget(const engine::EngineJob& job) : job_(job) {}

  SURFOBJ* Surface() override { return job_.Surface(); }
  BOOL StrokePath(PATHOBJ* path, CLIPOBJ* clip, XFORMOBJ* xform, BRUSHOBJ* brush, POINTL* brushOrigin,
                  LINEATTRS* line, MIX mix) override;
  BOOL FillPath(PATHOBJ* path, CLIPOBJ* clip, BRUSHOBJ* brush, POINTL* brushOrigin, MIX mix,
                FLONG options) override;
  BOOL StrokeAndFillPath(PATHOBJ* path, CLIPOBJ* clip, XFORMOBJ* xform, BRUSHOBJ* stroke, LINEATTRS* line,
                         BRUSHOBJ* fill, POINTL* brushOrigin, MIX mix, FLONG options) override;
  BOOL LineTo(CLIPOBJ* clip, BRUSHOBJ* brush, LONG x1, LONG y1, LONG x2, LONG y2, RECTL* bounds,
              MIX mix) override;
  BOOL BitBlt(SURFOBJ* source, SURFOBJ* mask, CLIPOBJ* clip, XLATEOBJ* xlate, RECTL* target,
              POINTL* sourceOrigin, POINTL* maskOrigin, BRUSHOBJ* brush, POINTL* brushOrigin,
              ROP4 rop) override;
  BOOL CopyBits(SURFOBJ* source, CLIPOBJ* clip, XLATEOBJ* xlate, RECTL* target,
                POINTL* sourceOrigin) override;
  BOOL StretchBlt(SURFOBJ* source, SURFOBJ* mask, CLIPOBJ* clip, XLATEOBJ* xlate, COLORADJUSTMENT* adjustment,
                  POINTL* halftoneOrigin, RECTL* target, RECTL* sourceRect, POINTL* maskOrigin,
                  ULONG mode) override;
  BOOL StretchBltROP(SURFOBJ* source, SURFOBJ* mask, CLIPOBJ* clip, XLATEOBJ* xlate,
                     COLORADJUSTMENT* adjustment, POINTL* halftoneOrigin, RECTL* target, RECTL* sourceRect,
                     POINTL* maskOrigin, ULONG mode, BRUSHOBJ* brush, DWORD rop) override;
  BOOL PlgBlt(SURFOBJ* source, SURFOBJ* mask, CLIPOBJ* clip, XLATEOBJ* xlate, COLORADJUSTMENT* adjustment,
              POINTL* brushOrigin, POINTFIX* corners, RECTL* sourceRect, POINTL* maskOrigin,
              ULONG mode) override;
  BOOL AlphaBlend(SURFOBJ* source, CLIPOBJ* clip, XLATEOBJ* xlate, RECTL* target, RECTL* sourceRect,
                  BLENDOBJ* blend) override;
  BOOL TransparentBlt(SURFOBJ* source, CLIPOBJ* clip, XLATEOBJ* xlate, RECTL* target, RECTL* sourceRect,
                      ULONG transparentColor, ULONG reserved) override;
  BOOL GradientFill(CLIPOBJ* clip, XLATEOBJ* xlate, TRIVERTEX* vertices, ULONG vertexCount, PVOID mesh,
                    ULONG meshCount, RECTL* extents, POINTL* ditherOrigin, ULONG mode) override;
  ULONG GetGlyphMode(FONTOBJ* font) override;
  BOOL TextOut(STROBJ* text, FONTOBJ* font, CLIPOBJ* clip, RECTL* extra, RECTL* opaque, BRUSHOBJ* fore,
               BRUSHOBJ* opaqueBrush, POINTL* brushOrigin, MIX mix) override;

 private:
  // The driver's function for `index` if its surface hooks `hook`.
  template <typename F>
  F Hooked(ULONG index, FLONG hook) const;

  const engine::EngineJob& job_;
};

}  // namespace snk::gdi
