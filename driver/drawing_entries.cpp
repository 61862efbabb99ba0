// Drawing entries: vector drawing goes to the graphics part as PDF
// operators; with GDIPunt on, the engine draws every call on the page
// surface as well, so that what PDF cannot express can be cut from there.
#include "driver/drawing_entries.h"

#include <algorithm>
#include <cstdint>

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

// The source rectangle of a blit without stretching: the target's size at
// the source origin.
RECTL SourceRect(const RECTL& target, const POINTL* origin) {
  const POINTL at = origin ? *origin : POINTL{0, 0};
  return RECTL{at.x, at.y, static_cast<LONG>(int64_t{at.x} + target.right - target.left),
               static_cast<LONG>(int64_t{at.y} + target.bottom - target.top)};
}

// The box around a parallelogram given by its upper left, upper right and
// lower left corners in 28.4 fixed point, each cut to whole pixels.
RECTL ParallelogramBox(const POINTFIX* corners) {
  const int64_t x0 = corners[0].x / 16, y0 = corners[0].y / 16;
  const int64_t x1 = corners[1].x / 16, y1 = corners[1].y / 16;
  const int64_t x2 = corners[2].x / 16, y2 = corners[2].y / 16;
  const int64_t x3 = x2 + x1 - x0, y3 = y2 + y1 - y0;
  auto clamp = [](int64_t v) { return static_cast<LONG>(std::clamp<int64_t>(v, INT32_MIN, INT32_MAX)); };
  return RECTL{clamp(std::min({x0, x1, x2, x3})), clamp(std::min({y0, y1, y2, y3})),
               clamp(std::max({x0, x1, x2, x3})), clamp(std::max({y0, y1, y2, y3}))};
}

// The engine drew into `rect`: the area goes to the dirty list (the
// caller's rectangle is left as it is). The target of a mirrored blit comes
// with its corners swapped; the area is the same.
void AddDirty(CKMC_Document& doc, const RECTL& rect) {
  RECTL dirty{std::min(rect.left, rect.right), std::min(rect.top, rect.bottom), std::max(rect.left, rect.right),
              std::max(rect.top, rect.bottom)};
  doc.graphics.AddDirtyRect(dirty);
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

BOOL APIENTRY DrvCopyBits(SURFOBJ* psoDest, SURFOBJ* psoSrc, CLIPOBJ* pco, XLATEOBJ* pxlo, RECTL* prclDest,
                          POINTL* pptlSrc) {
  return Draw(u"DrvCopyBits", psoDest, [&](CKMC_Device& device) -> BOOL {
    CKMC_Document& doc = *device.document;
    doc.graphics.SelectClip(psoDest, pco, prclDest);
    if (!prclDest) return TRUE;
    if (doc.gdiPunt) {
      EngCopyBits(psoDest, psoSrc, pco, pxlo, prclDest, pptlSrc);
      AddDirty(doc, *prclDest);
      return TRUE;
    }
    doc.graphics.TransferBitmap(psoSrc, pxlo, *prclDest, SourceRect(*prclDest, pptlSrc));
    return TRUE;
  });
}

BOOL APIENTRY DrvPlgBlt(SURFOBJ* psoTrg, SURFOBJ* psoSrc, SURFOBJ* psoMsk, CLIPOBJ* pco, XLATEOBJ* pxlo,
                        COLORADJUSTMENT* pca, POINTL* pptlBrushOrg, POINTFIX* pptfx, RECTL* prcl,
                        POINTL* pptl, ULONG iMode) {
  return Draw(u"DrvPlgBlt", psoTrg, [&](CKMC_Device& device) -> BOOL {
    CKMC_Document& doc = *device.document;
    doc.graphics.SelectClip(psoTrg, pco, prcl);
    if (!pptfx || !prcl) return TRUE;
    if (doc.gdiPunt) {
      EngPlgBlt(psoTrg, psoSrc, psoMsk, pco, pxlo, pca, pptlBrushOrg, pptfx, prcl, pptl, iMode);
      RECTL box = ParallelogramBox(pptfx);
      doc.graphics.AddDirtyRect(box);
      return TRUE;
    }
    doc.graphics.PlaceSkewedImage(psoSrc, psoMsk, pxlo, pptfx, *prcl);
    return TRUE;
  });
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
    graphics.TransferBitmap(psoSrc, pxlo, *prclTrg, SourceRect(*prclTrg, pptlSrc));
    return TRUE;
  });
}

BOOL APIENTRY DrvStretchBlt(SURFOBJ* psoDest, SURFOBJ* psoSrc, SURFOBJ* psoMask, CLIPOBJ* pco, XLATEOBJ* pxlo,
                            COLORADJUSTMENT* pca, POINTL* pptlHTOrg, RECTL* prclDest, RECTL* prclSrc,
                            POINTL* pptlMask, ULONG iMode) {
  return Draw(u"DrvStretchBlt", psoDest, [&](CKMC_Device& device) -> BOOL {
    CKMC_Document& doc = *device.document;
    doc.graphics.SelectClip(psoDest, pco, prclDest);
    if (!prclDest || !prclSrc) return TRUE;
    // The engine cannot read a PNG source; the driver drops it.
    if (doc.gdiPunt && (!psoSrc || psoSrc->iBitmapFormat != BMF_PNG)) {
      EngStretchBlt(psoDest, psoSrc, psoMask, pco, pxlo, pca, pptlHTOrg, prclDest, prclSrc, pptlMask, iMode);
      AddDirty(doc, *prclDest);
      return TRUE;
    }
    doc.graphics.TransferBitmap(psoSrc, pxlo, *prclDest, *prclSrc);
    return TRUE;
  });
}

BOOL APIENTRY DrvStretchBltROP(SURFOBJ* psoDest, SURFOBJ* psoSrc, SURFOBJ* psoMask, CLIPOBJ* pco,
                               XLATEOBJ* pxlo, COLORADJUSTMENT* pca, POINTL* pptlHTOrg, RECTL* prclDest,
                               RECTL* prclSrc, POINTL* pptlMask, ULONG iMode, BRUSHOBJ* pbo, DWORD rop4) {
  return Draw(u"DrvStretchBltROP", psoDest, [&](CKMC_Device& device) -> BOOL {
    if (SkipsBackground(device, rop4)) return TRUE;
    CKMC_Document& doc = *device.document;
    doc.graphics.SelectClip(psoDest, pco, prclDest);
    if (!prclDest || !prclSrc) return TRUE;
    if (doc.gdiPunt) {
      EngStretchBltROP(psoDest, psoSrc, psoMask, pco, pxlo, pca, pptlHTOrg, prclDest, prclSrc, pptlMask,
                       iMode, pbo, rop4);
      AddDirty(doc, *prclDest);
      return TRUE;
    }
    // Bits 2 to 4 of the operation reading 3 or 4 draw nothing here.
    const DWORD bits = (rop4 >> 2) & 7;
    if (bits == 3 || bits == 4) return TRUE;
    doc.graphics.TransferBitmap(psoSrc, pxlo, *prclDest, *prclSrc);
    return TRUE;
  });
}

BOOL APIENTRY DrvAlphaBlend(SURFOBJ* psoDest, SURFOBJ* psoSrc, CLIPOBJ* pco, XLATEOBJ* pxlo, RECTL* prclDest,
                            RECTL* prclSrc, BLENDOBJ* pBlendObj) {
  return Draw(u"DrvAlphaBlend", psoDest, [&](CKMC_Device& device) -> BOOL {
    // Blending always depends on what is on the page.
    if (device.ignoreBackground) return TRUE;
    CKMC_Document& doc = *device.document;
    doc.graphics.SelectClip(psoDest, pco, prclDest);
    if (!prclDest || !prclSrc) return TRUE;
    if (doc.gdiPunt) {
      EngAlphaBlend(psoDest, psoSrc, pco, pxlo, prclDest, prclSrc, pBlendObj);
      AddDirty(doc, *prclDest);
      return TRUE;
    }
    // Without the engine the source is drawn opaque.
    doc.graphics.TransferBitmap(psoSrc, pxlo, *prclDest, *prclSrc);
    return TRUE;
  });
}

BOOL APIENTRY DrvGradientFill(SURFOBJ* psoDest, CLIPOBJ* pco, XLATEOBJ* pxlo, TRIVERTEX* pVertex,
                              ULONG nVertex, PVOID pMesh, ULONG nMesh, RECTL* prclExtents,
                              POINTL* pptlDitherOrg, ULONG ulMode) {
  return Draw(u"DrvGradientFill", psoDest, [&](CKMC_Device& device) -> BOOL {
    if (device.ignoreBackground) return TRUE;
    CKMC_Document& doc = *device.document;
    doc.graphics.SelectClip(psoDest, pco, prclExtents);
    if (!prclExtents) return TRUE;
    if (doc.gdiPunt) {
      EngGradientFill(psoDest, pco, pxlo, pVertex, nVertex, pMesh, nMesh, prclExtents, pptlDitherOrg, ulMode);
      AddDirty(doc, *prclExtents);
      return TRUE;
    }
    // A mesh that cannot be written throws, and the guard reports it.
    doc.graphics.WriteGradient(pVertex, nVertex, pMesh, nMesh, *prclExtents, ulMode);
    return TRUE;
  });
}

BOOL APIENTRY DrvTransparentBlt(SURFOBJ* psoDst, SURFOBJ* psoSrc, CLIPOBJ* pco, XLATEOBJ* pxlo,
                                RECTL* prclDst, RECTL* prclSrc, ULONG iTransColor, ULONG ulReserved) {
  return Draw(u"DrvTransparentBlt", psoDst, [&](CKMC_Device& device) -> BOOL {
    if (device.ignoreBackground) return TRUE;
    CKMC_Document& doc = *device.document;
    doc.graphics.SelectClip(psoDst, pco, prclDst);
    if (!prclDst || !prclSrc) return TRUE;
    if (doc.gdiPunt) {
      EngTransparentBlt(psoDst, psoSrc, pco, pxlo, prclDst, prclSrc, iTransColor, ulReserved);
      AddDirty(doc, *prclDst);
      return TRUE;
    }
    // Without the engine the colour key is not applied.
    doc.graphics.TransferBitmap(psoSrc, pxlo, *prclDst, *prclSrc);
    return TRUE;
  });
}

ULONG APIENTRY DrvGetGlyphMode(DHPDEV, FONTOBJ*) {
  constexpr ULONG FO_HGLYPHS = 0;
  return FO_HGLYPHS;
}

BOOL APIENTRY DrvTextOut(SURFOBJ* so, STROBJ*, FONTOBJ*, CLIPOBJ*, RECTL*, RECTL*, BRUSHOBJ*, BRUSHOBJ*,
                         POINTL*, MIX) {
  return Draw(u"DrvTextOut", so, kNothing);
}
