// Blits with a source bitmap on the 24-bit surface.
#include "platform/winddi.h"

extern "C" {

BOOL APIENTRY EngCopyBits(SURFOBJ*, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, RECTL*, POINTL*) { return FALSE; }

BOOL APIENTRY EngStretchBlt(SURFOBJ*, SURFOBJ*, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, COLORADJUSTMENT*, POINTL*, RECTL*,
                            RECTL*, POINTL*, ULONG) {
  return FALSE;
}

BOOL APIENTRY EngStretchBltROP(SURFOBJ*, SURFOBJ*, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, COLORADJUSTMENT*, POINTL*,
                               RECTL*, RECTL*, POINTL*, ULONG, BRUSHOBJ*, DWORD) {
  return FALSE;
}

BOOL APIENTRY EngPlgBlt(SURFOBJ*, SURFOBJ*, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, COLORADJUSTMENT*, POINTL*, POINTFIX*,
                        RECTL*, POINTL*, ULONG) {
  return FALSE;
}

ULONG APIENTRY XLATEOBJ_iXlate(XLATEOBJ*, ULONG color) { return color; }

}  // extern "C"
