// Drawing entries. Until the graphics and text parts stand, each one checks
// its surface and succeeds without drawing.
#include "driver/drawing_entries.h"

#include "driver/device.h"
#include "driver/driver_entry.h"

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

}  // namespace

BOOL APIENTRY DrvLineTo(SURFOBJ* so, CLIPOBJ*, BRUSHOBJ*, LONG, LONG, LONG, LONG, RECTL*, MIX) {
  return Draw(u"DrvLineTo", so, kNothing);
}

BOOL APIENTRY DrvStrokePath(SURFOBJ* so, PATHOBJ*, CLIPOBJ*, XFORMOBJ*, BRUSHOBJ*, POINTL*, LINEATTRS*,
                            MIX) {
  return Draw(u"DrvStrokePath", so, kNothing);
}

BOOL APIENTRY DrvStrokeAndFillPath(SURFOBJ* so, PATHOBJ*, CLIPOBJ*, XFORMOBJ*, BRUSHOBJ*, LINEATTRS*,
                                   BRUSHOBJ*, POINTL*, MIX, FLONG) {
  return Draw(u"DrvStrokeAndFillPath", so, kNothing);
}

BOOL APIENTRY DrvFillPath(SURFOBJ* so, PATHOBJ*, CLIPOBJ*, BRUSHOBJ*, POINTL*, MIX, FLONG) {
  return Draw(u"DrvFillPath", so, kNothing);
}

BOOL APIENTRY DrvCopyBits(SURFOBJ* so, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, RECTL*, POINTL*) {
  return Draw(u"DrvCopyBits", so, kNothing);
}

BOOL APIENTRY DrvPlgBlt(SURFOBJ* so, SURFOBJ*, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, COLORADJUSTMENT*, POINTL*,
                        POINTFIX*, RECTL*, POINTL*, ULONG) {
  return Draw(u"DrvPlgBlt", so, kNothing);
}

BOOL APIENTRY DrvBitBlt(SURFOBJ* so, SURFOBJ*, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, RECTL*, POINTL*, POINTL*,
                        BRUSHOBJ*, POINTL*, ROP4) {
  return Draw(u"DrvBitBlt", so, kNothing);
}

BOOL APIENTRY DrvStretchBlt(SURFOBJ* so, SURFOBJ*, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, COLORADJUSTMENT*,
                            POINTL*, RECTL*, RECTL*, POINTL*, ULONG) {
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
