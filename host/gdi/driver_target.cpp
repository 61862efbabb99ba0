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
    return drv(Surface(), source, mask, clip, xlate, target, sourceOrigin, maskOrigin, brush, brushOrigin, rop);
  return EngBitBlt(Surface(), source, mask, clip, xlate, target, sourceOrigin, maskOrigin, brush, brushOrigin,
                   rop);
}

}  // namespace snk::gdi
