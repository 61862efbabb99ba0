#include "host/gdi/driver_target.h"

namespace snk::gdi {

template <typename F>
F DriverTarget::Hooked(ULONG index, FLONG hook) const {
  const engine::HostSurface* surface = engine::FindSurface(job_.Surface() ? job_.Surface()->hsurf : nullptr);
  if (!surface || !(surface->hooks & hook)) return nullptr;
  return job_.Driver().Get<F>(index);
}

BOOL DriverTarget::StrokePath(PATHOBJ* path, CLIPOBJ* clip, XFORMOBJ* xform, BRUSHOBJ* brush,
                              POINTL* brushOrigin, LINEATTRS* line, MIX mix) {
  if (auto drv = Hooked<PFN_DrvStrokePath>(INDEX_DrvStrokePath, HOOK_STROKEPATH))
    return drv(Surface(), path, clip, xform, brush, brushOrigin, line, mix);
  return EngStrokePath(Surface(), path, clip, xform, brush, brushOrigin, line, mix);
}

BOOL DriverTarget::FillPath(PATHOBJ* path, CLIPOBJ* clip, BRUSHOBJ* brush, POINTL* brushOrigin, MIX mix,
                            FLONG options) {
  if (auto drv = Hooked<PFN_DrvFillPath>(INDEX_DrvFillPath, HOOK_FILLPATH))
    return drv(Surface(), path, clip, brush, brushOrigin, mix, options);
  return EngFillPath(Surface(), path, clip, brush, brushOrigin, mix, options);
}

BOOL DriverTarget::StrokeAndFillPath(PATHOBJ* path, CLIPOBJ* clip, XFORMOBJ* xform, BRUSHOBJ* stroke,
                                     LINEATTRS* line, BRUSHOBJ* fill, POINTL* brushOrigin, MIX mix,
                                     FLONG options) {
  if (auto drv = Hooked<PFN_DrvStrokeAndFillPath>(INDEX_DrvStrokeAndFillPath, HOOK_STROKEANDFILLPATH))
    return drv(Surface(), path, clip, xform, stroke, line, fill, brushOrigin, mix, options);
  return EngStrokeAndFillPath(Surface(), path, clip, xform, stroke, line, fill, brushOrigin, mix, options);
}

BOOL DriverTarget::LineTo(CLIPOBJ* clip, BRUSHOBJ* brush, LONG x1, LONG y1, LONG x2, LONG y2, RECTL* bounds,
                          MIX mix) {
  if (auto drv = Hooked<PFN_DrvLineTo>(INDEX_DrvLineTo, HOOK_LINETO))
    return drv(Surface(), clip, brush, x1, y1, x2, y2, bounds, mix);
  return EngLineTo(Surface(), clip, brush, x1, y1, x2, y2, bounds, mix);
}

BOOL DriverTarget::BitBlt(SURFOBJ* source, SURFOBJ* mask, CLIPOBJ* clip, XLATEOBJ* xlate, RECTL* target,
                          POINTL* sourceOrigin, POINTL* maskOrigin, BRUSHOBJ* brush, POINTL* brushOrigin,
                          ROP4 rop) {
  if (auto drv = Hooked<PFN_DrvBitBlt>(INDEX_DrvBitBlt, HOOK_BITBLT))
    return drv(Surface(), source, mask, clip, xlate, target, sourceOrigin, maskOrigin, brush, brushOrigin,
               rop);
  return EngBitBlt(Surface(), source, mask, clip, xlate, target, sourceOrigin, maskOrigin, brush, brushOrigin,
                   rop);
}

BOOL DriverTarget::CopyBits(SURFOBJ* source, CLIPOBJ* clip, XLATEOBJ* xlate, RECTL* target,
                            POINTL* sourceOrigin) {
  if (auto drv = Hooked<PFN_DrvCopyBits>(INDEX_DrvCopyBits, HOOK_COPYBITS))
    return drv(Surface(), source, clip, xlate, target, sourceOrigin);
  return EngCopyBits(Surface(), source, clip, xlate, target, sourceOrigin);
}

BOOL DriverTarget::StretchBlt(SURFOBJ* source, SURFOBJ* mask, CLIPOBJ* clip, XLATEOBJ* xlate,
                              COLORADJUSTMENT* adjustment, POINTL* halftoneOrigin, RECTL* target,
                              RECTL* sourceRect, POINTL* maskOrigin, ULONG mode) {
  if (auto drv = Hooked<PFN_DrvStretchBlt>(INDEX_DrvStretchBlt, HOOK_STRETCHBLT))
    return drv(Surface(), source, mask, clip, xlate, adjustment, halftoneOrigin, target, sourceRect,
               maskOrigin, mode);
  return EngStretchBlt(Surface(), source, mask, clip, xlate, adjustment, halftoneOrigin, target, sourceRect,
                       maskOrigin, mode);
}

BOOL DriverTarget::StretchBltROP(SURFOBJ* source, SURFOBJ* mask, CLIPOBJ* clip, XLATEOBJ* xlate,
                                 COLORADJUSTMENT* adjustment, POINTL* halftoneOrigin, RECTL* target,
                                 RECTL* sourceRect, POINTL* maskOrigin, ULONG mode, BRUSHOBJ* brush,
                                 DWORD rop) {
  if (auto drv = Hooked<PFN_DrvStretchBltROP>(INDEX_DrvStretchBltROP, HOOK_STRETCHBLTROP))
    return drv(Surface(), source, mask, clip, xlate, adjustment, halftoneOrigin, target, sourceRect,
               maskOrigin, mode, brush, rop);
  return EngStretchBltROP(Surface(), source, mask, clip, xlate, adjustment, halftoneOrigin, target,
                          sourceRect, maskOrigin, mode, brush, rop);
}

BOOL DriverTarget::PlgBlt(SURFOBJ* source, SURFOBJ* mask, CLIPOBJ* clip, XLATEOBJ* xlate,
                          COLORADJUSTMENT* adjustment, POINTL* brushOrigin, POINTFIX* corners,
                          RECTL* sourceRect, POINTL* maskOrigin, ULONG mode) {
  if (auto drv = Hooked<PFN_DrvPlgBlt>(INDEX_DrvPlgBlt, HOOK_PLGBLT))
    return drv(Surface(), source, mask, clip, xlate, adjustment, brushOrigin, corners, sourceRect, maskOrigin,
               mode);
  return EngPlgBlt(Surface(), source, mask, clip, xlate, adjustment, brushOrigin, corners, sourceRect,
                   maskOrigin, mode);
}

BOOL DriverTarget::AlphaBlend(SURFOBJ* source, CLIPOBJ* clip, XLATEOBJ* xlate, RECTL* target,
                              RECTL* sourceRect, BLENDOBJ* blend) {
  if (auto drv = Hooked<PFN_DrvAlphaBlend>(INDEX_DrvAlphaBlend, HOOK_ALPHABLEND))
    return drv(Surface(), source, clip, xlate, target, sourceRect, blend);
  return EngAlphaBlend(Surface(), source, clip, xlate, target, sourceRect, blend);
}

BOOL DriverTarget::TransparentBlt(SURFOBJ* source, CLIPOBJ* clip, XLATEOBJ* xlate, RECTL* target,
                                  RECTL* sourceRect, ULONG transparentColor, ULONG reserved) {
  if (auto drv = Hooked<PFN_DrvTransparentBlt>(INDEX_DrvTransparentBlt, HOOK_TRANSPARENTBLT))
    return drv(Surface(), source, clip, xlate, target, sourceRect, transparentColor, reserved);
  return EngTransparentBlt(Surface(), source, clip, xlate, target, sourceRect, transparentColor, reserved);
}

BOOL DriverTarget::GradientFill(CLIPOBJ* clip, XLATEOBJ* xlate, TRIVERTEX* vertices, ULONG vertexCount,
                                PVOID mesh, ULONG meshCount, RECTL* extents, POINTL* ditherOrigin,
                                ULONG mode) {
  if (auto drv = Hooked<PFN_DrvGradientFill>(INDEX_DrvGradientFill, HOOK_GRADIENTFILL))
    return drv(Surface(), clip, xlate, vertices, vertexCount, mesh, meshCount, extents, ditherOrigin, mode);
  return EngGradientFill(Surface(), clip, xlate, vertices, vertexCount, mesh, meshCount, extents,
                         ditherOrigin, mode);
}

// The engine asks once per realized font; a driver without the entry gets
// glyph runs.
ULONG DriverTarget::GetGlyphMode(FONTOBJ* font) {
  auto drv = job_.Driver().Get<PFN_DrvGetGlyphMode>(INDEX_DrvGetGlyphMode);
  SURFOBJ* so = Surface();
  if (!drv || !so) return FO_HGLYPHS;
  return drv(so->dhpdev, font);
}

BOOL DriverTarget::TextOut(STROBJ* text, FONTOBJ* font, CLIPOBJ* clip, RECTL* extra, RECTL* opaque,
                           BRUSHOBJ* fore, BRUSHOBJ* opaqueBrush, POINTL* brushOrigin, MIX mix) {
  if (auto drv = Hooked<PFN_DrvTextOut>(INDEX_DrvTextOut, HOOK_TEXTOUT))
    return drv(Surface(), text, font, clip, extra, opaque, fore, opaqueBrush, brushOrigin, mix);
  return EngTextOut(Surface(), text, font, clip, extra, opaque, fore, opaqueBrush, brushOrigin, mix);
}

}  // namespace snk::gdi
