// Drawing entries: vector drawing goes to the graphics part as PDF
// operators; with GDIPunt on, the engine draws every call on the page
// surface as well, so that what PDF cannot express can be cut from there.
#include "driver/drawing_entries.h"

#include "driver/device.h"
#include "driver/driver_entry.h"
#include "driver/print_job.h"

namespace {

// Drawing on a surface without a device (or between jobs) is accepted and
// ignored.
template <typename Body>
BOOL Draw(const char16_t* name, SURFOBJ* surface, Body&& body) {
  return Guarded(name, FALSE, [&]() -> BOOL {
    CKMC_Device* device = DeviceOf(surface);
    if (!device || !device->document) return TRUE;
    return body(*device);
  });
}

constexpr auto kNothing = [](CKMC_Device&) -> BOOL { return TRUE; };

// With IgnoreBackground on, drawing whose result depends on what is already
// on the page is left out.
bool SkipsBackground(const CKMC_Device& device, ULONG rop) {
  return device.ignoreBackground && ReadsDestination(rop);
}

// The path's pixel bounds, for the clip decision.
RECTL PathPixelBounds(PATHOBJ* path) {
  RECTFX bounds{};
  if (path) PATHOBJ_vGetBounds(path, &bounds);
  return PixelBounds(bounds);
}

}  // namespace

BOOL APIENTRY DrvLineTo(SURFOBJ* so, CLIPOBJ* pco, BRUSHOBJ* pbo, LONG x1, LONG y1, LONG x2, LONG y2,
                        RECTL* prclBounds, MIX mix) {
  return Draw(u"DrvLineTo", so, [&](CKMC_Device& device) -> BOOL {
    if (SkipsBackground(device, mix)) return TRUE;
    CKMC_Document& doc = *device.document;
    // The engine draws first here: the clip's flush then takes the line
    // along if it cannot be expressed.
    if (doc.gdiPunt) EngLineTo(so, pco, pbo, x1, y1, x2, y2, prclBounds, mix);
    doc.graphics.SelectClip(so, pco, prclBounds);
    doc.graphics.PaintLine(so, x1, y1, x2, y2, pbo, mix);
    return TRUE;
  });
}

BOOL APIENTRY DrvStrokePath(SURFOBJ* so, PATHOBJ* ppo, CLIPOBJ* pco, XFORMOBJ* pxo, BRUSHOBJ* pbo,
                            POINTL* pptlBrushOrg, LINEATTRS* plineattrs, MIX mix) {
  return Draw(u"DrvStrokePath", so, [&](CKMC_Device& device) -> BOOL {
    if (SkipsBackground(device, mix)) return TRUE;
    CKMC_Document& doc = *device.document;
    RECTL bounds = PathPixelBounds(ppo);
    doc.graphics.SelectClip(so, pco, &bounds);
    doc.graphics.PaintPath(so, ppo, pxo, pbo, nullptr, plineattrs, mix, 0);
    if (doc.gdiPunt) EngStrokePath(so, ppo, pco, pxo, pbo, pptlBrushOrg, plineattrs, mix);
    return TRUE;
  });
}

BOOL APIENTRY DrvStrokeAndFillPath(SURFOBJ* so, PATHOBJ* ppo, CLIPOBJ* pco, XFORMOBJ* pxo,
                                   BRUSHOBJ* pboStroke, LINEATTRS* plineattrs, BRUSHOBJ* pboFill,
                                   POINTL* pptlBrushOrg, MIX mixFill, FLONG flOptions) {
  return Draw(u"DrvStrokeAndFillPath", so, [&](CKMC_Device& device) -> BOOL {
    if (SkipsBackground(device, mixFill)) return TRUE;
    CKMC_Document& doc = *device.document;
    RECTL bounds = PathPixelBounds(ppo);
    doc.graphics.SelectClip(so, pco, &bounds);
    doc.graphics.PaintPath(so, ppo, pxo, pboStroke, pboFill, plineattrs, mixFill, flOptions);
    if (doc.gdiPunt)
      EngStrokeAndFillPath(so, ppo, pco, pxo, pboStroke, plineattrs, pboFill, pptlBrushOrg, mixFill,
                           flOptions);
    return TRUE;
  });
}

BOOL APIENTRY DrvFillPath(SURFOBJ* so, PATHOBJ* ppo, CLIPOBJ* pco, BRUSHOBJ* pbo, POINTL* pptlBrushOrg,
                          MIX mix, FLONG flOptions) {
  return Draw(u"DrvFillPath", so, [&](CKMC_Device& device) -> BOOL {
    if (SkipsBackground(device, mix)) return TRUE;
    CKMC_Document& doc = *device.document;
    RECTL bounds = PathPixelBounds(ppo);
    doc.graphics.SelectClip(so, pco, &bounds);
    doc.graphics.PaintPath(so, ppo, nullptr, nullptr, pbo, nullptr, mix, flOptions);
    if (doc.gdiPunt) EngFillPath(so, ppo, pco, pbo, pptlBrushOrg, mix, flOptions);
    return TRUE;
  });
}

BOOL APIENTRY DrvCopyBits(SURFOBJ* so, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, RECTL*, POINTL*) {
  return Draw(u"DrvCopyBits", so, kNothing);
}

BOOL APIENTRY DrvPlgBlt(SURFOBJ* so, SURFOBJ*, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, COLORADJUSTMENT*, POINTL*,
                        POINTFIX*, RECTL*, POINTL*, ULONG) {
  return Draw(u"DrvPlgBlt", so, kNothing);
}

BOOL APIENTRY DrvBitBlt(SURFOBJ* psoTrg, SURFOBJ* psoSrc, SURFOBJ* psoMask, CLIPOBJ* pco, XLATEOBJ* pxlo,
                        RECTL* prclTrg, POINTL* pptlSrc, POINTL* pptlMask, BRUSHOBJ* pbo, POINTL* pptlBrush,
                        ROP4 rop4) {
  return Draw(u"DrvBitBlt", psoTrg, [&](CKMC_Device& device) -> BOOL {
    if (SkipsBackground(device, rop4)) return TRUE;
    CKMC_Document& doc = *device.document;
    CKMC_Graphics& graphics = doc.graphics;
    // The mask-pen fill of a later path paints with this brush's colour.
    if (pbo) graphics.lastFillColor = BRUSHOBJ_ulGetBrushColor(pbo);
    graphics.SelectClip(psoTrg, pco, prclTrg);
    if (!prclTrg) return TRUE;

    if (doc.gdiPunt && (!psoSrc || psoSrc->iBitmapFormat != BMF_PNG)) {
      EngBitBlt(psoTrg, psoSrc, psoMask, pco, pxlo, prclTrg, pptlSrc, pptlMask, pbo, pptlBrush, rop4);
      // A solid rectangle stays vector, though the surface has it too.
      if (!psoSrc && !psoMask && graphics.PaintRectangle(psoTrg, *prclTrg, pbo, rop4)) return TRUE;
      RECTL dirty = *prclTrg;
      graphics.AddDirtyRect(dirty);
      return TRUE;
    }

    // The engine does not draw (or cannot read the source): raster
    // operations and masks are not honoured.
    if (!psoSrc) {
      if (!psoMask) graphics.PaintRectangle(psoTrg, *prclTrg, pbo, rop4);
      return TRUE;
    }
    graphics.TransferBitmap(psoSrc, *prclTrg, pptlSrc);
    return TRUE;
  });
}

BOOL APIENTRY DrvStretchBlt(SURFOBJ* so, SURFOBJ*, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, COLORADJUSTMENT*, POINTL*,
                            RECTL*, RECTL*, POINTL*, ULONG) {
  return Draw(u"DrvStretchBlt", so, kNothing);
}

BOOL APIENTRY DrvStretchBltROP(SURFOBJ* so, SURFOBJ*, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, COLORADJUSTMENT*,
                               POINTL*, RECTL*, RECTL*, POINTL*, ULONG, BRUSHOBJ*, DWORD) {
  return Draw(u"DrvStretchBltROP", so, kNothing);
}

BOOL APIENTRY DrvAlphaBlend(SURFOBJ* so, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, RECTL*, RECTL*, BLENDOBJ*) {
  return Draw(u"DrvAlphaBlend", so, kNothing);
}

BOOL APIENTRY DrvGradientFill(SURFOBJ* so, CLIPOBJ*, XLATEOBJ*, TRIVERTEX*, ULONG, PVOID, ULONG, RECTL*,
                              POINTL*, ULONG) {
  return Draw(u"DrvGradientFill", so, kNothing);
}

BOOL APIENTRY DrvTransparentBlt(SURFOBJ* so, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, RECTL*, RECTL*, ULONG, ULONG) {
  return Draw(u"DrvTransparentBlt", so, kNothing);
}

ULONG APIENTRY DrvGetGlyphMode(DHPDEV, FONTOBJ*) {
  constexpr ULONG FO_HGLYPHS = 0;
  return FO_HGLYPHS;
}

BOOL APIENTRY DrvTextOut(SURFOBJ* so, STROBJ*, FONTOBJ*, CLIPOBJ*, RECTL*, RECTL*, BRUSHOBJ*, BRUSHOBJ*,
                         POINTL*, MIX) {
  return Draw(u"DrvTextOut", so, kNothing);
}
