// A play target that accepts every drawing call without drawing, for tests
// and fuzzing of the player. It enumerates every path and clip path it is
// given, the way a driver reads them, so that fuzzing reaches that code.
#pragma once

#include "host/gdi/emf_player.h"

namespace snk::test {

// Accepts every drawing call on a page of 1000 by 1000 pixels without bits.
class NullTarget : public gdi::PlayTarget {
 public:
  NullTarget() { surface_.sizlBitmap = {1000, 1000}; }
  SURFOBJ* Surface() override { return &surface_; }
  BOOL StrokePath(PATHOBJ* po, CLIPOBJ* co, XFORMOBJ*, BRUSHOBJ*, POINTL*, LINEATTRS*, MIX) override {
    return Read(po, co);
  }
  BOOL FillPath(PATHOBJ* po, CLIPOBJ* co, BRUSHOBJ*, POINTL*, MIX, FLONG) override { return Read(po, co); }
  BOOL StrokeAndFillPath(PATHOBJ* po, CLIPOBJ* co, XFORMOBJ*, BRUSHOBJ*, LINEATTRS*, BRUSHOBJ*, POINTL*, MIX,
                         FLONG) override {
    return Read(po, co);
  }
  BOOL LineTo(CLIPOBJ* co, BRUSHOBJ*, LONG, LONG, LONG, LONG, RECTL*, MIX) override {
    return Read(nullptr, co);
  }
  BOOL BitBlt(SURFOBJ*, SURFOBJ*, CLIPOBJ* co, XLATEOBJ*, RECTL*, POINTL*, POINTL*, BRUSHOBJ*, POINTL*,
              ROP4) override {
    return Read(nullptr, co);
  }
  BOOL CopyBits(SURFOBJ*, CLIPOBJ* co, XLATEOBJ*, RECTL*, POINTL*) override { return Read(nullptr, co); }
  BOOL StretchBlt(SURFOBJ*, SURFOBJ*, CLIPOBJ* co, XLATEOBJ*, COLORADJUSTMENT*, POINTL*, RECTL*, RECTL*,
                  POINTL*, ULONG) override {
    return Read(nullptr, co);
  }
  BOOL StretchBltROP(SURFOBJ*, SURFOBJ*, CLIPOBJ* co, XLATEOBJ*, COLORADJUSTMENT*, POINTL*, RECTL*, RECTL*,
                     POINTL*, ULONG, BRUSHOBJ*, DWORD) override {
    return Read(nullptr, co);
  }
  BOOL PlgBlt(SURFOBJ*, SURFOBJ*, CLIPOBJ* co, XLATEOBJ*, COLORADJUSTMENT*, POINTL*, POINTFIX*, RECTL*,
              POINTL*, ULONG) override {
    return Read(nullptr, co);
  }
  BOOL AlphaBlend(SURFOBJ*, CLIPOBJ* co, XLATEOBJ*, RECTL*, RECTL*, BLENDOBJ*) override {
    return Read(nullptr, co);
  }
  BOOL TransparentBlt(SURFOBJ*, CLIPOBJ* co, XLATEOBJ*, RECTL*, RECTL*, ULONG, ULONG) override {
    return Read(nullptr, co);
  }
  BOOL GradientFill(CLIPOBJ* co, XLATEOBJ*, TRIVERTEX*, ULONG, PVOID, ULONG, RECTL*, POINTL*,
                    ULONG) override {
    return Read(nullptr, co);
  }

  // Answers glyph runs and outlines in turn, so that both ways of drawing
  // text are reached.
  ULONG GetGlyphMode(FONTOBJ*) override { return (++fonts_ & 1) ? FO_HGLYPHS : FO_PATHOBJ; }
  BOOL TextOut(STROBJ* so, FONTOBJ* fo, CLIPOBJ* co, RECTL* extra, RECTL*, BRUSHOBJ*, BRUSHOBJ*, POINTL*,
               MIX) override {
    // Read the run as a driver does: positions, text and font metrics.
    STROBJ_vEnumStart(so);
    ULONG count = 0;
    GLYPHPOS* glyphs = nullptr;
    BOOL more = TRUE;
    while (more) {
      more = STROBJ_bEnumPositionsOnly(so, &count, &glyphs);
      for (ULONG i = 0; i < count; ++i) sum_ += long(glyphs[i].hg) ^ glyphs[i].ptl.x ^ glyphs[i].ptl.y;
      points_ += count;
      if (count == 0) break;
    }
    for (ULONG i = 0; so->pwszOrg && i < so->cGlyphs; ++i) sum_ += so->pwszOrg[i];
    if (const IFIMETRICS* ifi = FONTOBJ_pifi(fo)) sum_ += ifi->fwdUnitsPerEm;
    for (; extra && (extra->right != 0 || extra->bottom != 0); ++extra) sum_ += extra->left;
    return Read(nullptr, co);
  }

  // Points and glyphs enumerated so far.
  size_t points() const { return points_; }

 private:
  void Enumerate(PATHOBJ* po) {
    PATHOBJ_vEnumStart(po);
    PATHDATA data{};
    BOOL more = TRUE;
    while (more) {
      more = PATHOBJ_bEnum(po, &data);
      for (ULONG i = 0; i < data.count; ++i) sum_ += data.pptfx[i].x ^ data.pptfx[i].y;
      points_ += data.count;
    }
  }
  BOOL Read(PATHOBJ* po, CLIPOBJ* co) {
    if (po) Enumerate(po);
    if (co && co->iDComplexity != DC_TRIVIAL) {
      if (PATHOBJ* clipPath = CLIPOBJ_ppoGetPath(co)) {
        Enumerate(clipPath);
        EngDeletePath(clipPath);
      }
    }
    return TRUE;
  }

  SURFOBJ surface_{};
  size_t points_ = 0;
  size_t fonts_ = 0;
  long sum_ = 0;
};

}  // namespace snk::test
