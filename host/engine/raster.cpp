// Placeholder: replaced by the engine's raster operations.
#include "platform/winddi.h"

extern "C" {
BOOL APIENTRY EngStrokePath(SURFOBJ*, PATHOBJ*, CLIPOBJ*, XFORMOBJ*, BRUSHOBJ*, POINTL*, LINEATTRS*, MIX) {
  return TRUE;
}
BOOL APIENTRY EngFillPath(SURFOBJ*, PATHOBJ*, CLIPOBJ*, BRUSHOBJ*, POINTL*, MIX, FLONG) { return TRUE; }
BOOL APIENTRY EngStrokeAndFillPath(SURFOBJ*, PATHOBJ*, CLIPOBJ*, XFORMOBJ*, BRUSHOBJ*, LINEATTRS*, BRUSHOBJ*,
                                   POINTL*, MIX, FLONG) {
  return TRUE;
}
BOOL APIENTRY EngLineTo(SURFOBJ*, CLIPOBJ*, BRUSHOBJ*, LONG, LONG, LONG, LONG, RECTL*, MIX) { return TRUE; }
BOOL APIENTRY EngBitBlt(SURFOBJ*, SURFOBJ*, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, RECTL*, POINTL*, POINTL*, BRUSHOBJ*,
                        POINTL*, ROP4) {
  return TRUE;
}
}
