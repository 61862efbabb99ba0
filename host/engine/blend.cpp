// Alpha blending, colour-key transparency and gradients on the 24-bit
// surface.
#include "platform/winddi.h"

extern "C" {

BOOL APIENTRY EngAlphaBlend(SURFOBJ*, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, RECTL*, RECTL*, BLENDOBJ*) { return FALSE; }

BOOL APIENTRY EngTransparentBlt(SURFOBJ*, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, RECTL*, RECTL*, ULONG, ULONG) {
  return FALSE;
}

BOOL APIENTRY EngGradientFill(SURFOBJ*, CLIPOBJ*, XLATEOBJ*, TRIVERTEX*, ULONG, PVOID, ULONG, RECTL*, POINTL*,
                              ULONG) {
  return FALSE;
}

}  // extern "C"
