// A play target that accepts every drawing call without drawing, for tests
// and fuzzing of the player.
#pragma once

#include "host/gdi/emf_player.h"

namespace snk::test {

// Accepts every drawing call on a page of 1000 by 1000 pixels without bits.
class NullTarget : public gdi::PlayTarget {
 public:
  NullTarget() { surface_.sizlBitmap = {1000, 1000}; }
  SURFOBJ* Surface() override { return &surface_; }
  BOOL StrokePath(PATHOBJ*, CLIPOBJ*, XFORMOBJ*, BRUSHOBJ*, POINTL*, LINEATTRS*, MIX) override { return TRUE; }
  BOOL FillPath(PATHOBJ*, CLIPOBJ*, BRUSHOBJ*, POINTL*, MIX, FLONG) override { return TRUE; }
  BOOL StrokeAndFillPath(PATHOBJ*, CLIPOBJ*, XFORMOBJ*, BRUSHOBJ*, LINEATTRS*, BRUSHOBJ*, POINTL*, MIX,
                         FLONG) override {
    return TRUE;
  }
  BOOL LineTo(CLIPOBJ*, BRUSHOBJ*, LONG, LONG, LONG, LONG, RECTL*, MIX) override { return TRUE; }
  BOOL BitBlt(SURFOBJ*, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, RECTL*, POINTL*, POINTL*, BRUSHOBJ*, POINTL*,
              ROP4) override {
    return TRUE;
  }

 private:
  SURFOBJ surface_{};
};

}  // namespace snk::test
