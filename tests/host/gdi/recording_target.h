// A play target that records each drawing call with what the driver would
// see of it: the path's points as enumerated, the clip, the line attributes,
// the mix or ROP and the brush colour.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "host/engine/clip.h"
#include "host/engine/path.h"
#include "host/engine/region.h"
#include "host/engine/xform.h"
#include "host/gdi/emf_player.h"
#include "host/gdi/emf_reader.h"
#include "tools/sample_job/emf_writer.h"

namespace snk::test {

struct RecordedCall {
  // "stroke", "fill", "strokefill", "lineto", "bitblt", "copybits",
  // "stretchblt", "stretchbltrop", "plgblt", "alphablend",
  // "transparentblt", "gradientfill", "textout"
  std::string kind;
  // Enumerated path records: flags and points in pixels (28.4 / 16).
  struct Run {
    FLONG flags = 0;
    std::vector<std::pair<double, double>> points;
  };
  std::vector<Run> runs;
  BYTE clipComplexity = 0;
  RECTL clipBounds{};
  engine::Region clipRegion;
  bool hasLine = false;
  LINEATTRS line{};
  std::vector<FLOAT_LONG> style;
  bool hasXform = false;
  double xform[6] = {};
  MIX mix = 0;
  ROP4 rop = 0;
  ULONG strokeColor = 0xFFFFFFFF;
  ULONG fillColor = 0xFFFFFFFF;
  FLONG fillOptions = 0;
  RECTL target{};  // LineTo: bounds; BitBlt: target rectangle
  LONG x1 = 0, y1 = 0, x2 = 0, y2 = 0;
  // Blits with a source: the source's format and size, the source
  // rectangle (or origin in left/top), the colour of source word 0 and 1
  // through the translation, the mask and its origin, the stretch mode.
  bool hasSource = false;
  ULONG sourceFormat = 0;
  SIZEL sourceSize{};
  RECTL sourceRect{};
  ULONG word0Color = 0, word1Color = 0;
  bool hasMask = false;
  POINTL maskOrigin{};
  ULONG mode = 0;
  POINTFIX corners[3] = {};  // PlgBlt
  BLENDFUNCTION blend{};
  ULONG transparentColor = 0;
  std::vector<TRIVERTEX> vertices;  // GradientFill
  std::vector<ULONG> mesh;
  // TextOut: the glyphs as enumerated, the run's text (pwszOrg, empty when
  // null), flAccel, the foreground colour (fillColor), the opaque rectangle
  // and its colour, the extra rectangles, the font's face name and its
  // notional-to-device transform.
  std::vector<GLYPHPOS> glyphs;
  bool hasText = false;
  std::u16string text;
  FLONG accel = 0;
  bool hasOpaque = false;
  RECTL opaque{};
  ULONG opaqueColor = 0xFFFFFFFF;
  std::vector<RECTL> extra;
  std::u16string face;
  FLONG fontType = 0;
  XFORML fontXform{};

  // All points of all runs.
  std::vector<std::pair<double, double>> Points() const {
    std::vector<std::pair<double, double>> all;
    for (const Run& r : runs) all.insert(all.end(), r.points.begin(), r.points.end());
    return all;
  }
};

class RecordingTarget : public gdi::PlayTarget {
 public:
  explicit RecordingTarget(LONG width = 1000, LONG height = 1000) { surface_.sizlBitmap = {width, height}; }
  SURFOBJ* Surface() override { return &surface_; }

  BOOL StrokePath(PATHOBJ* po, CLIPOBJ* co, XFORMOBJ* xo, BRUSHOBJ* bo, POINTL*, LINEATTRS* la,
                  MIX mix) override {
    RecordedCall& c = Start("stroke", po, co);
    Line(c, xo, la);
    c.strokeColor = bo->iSolidColor;
    c.mix = mix;
    return TRUE;
  }
  BOOL FillPath(PATHOBJ* po, CLIPOBJ* co, BRUSHOBJ* bo, POINTL*, MIX mix, FLONG options) override {
    RecordedCall& c = Start("fill", po, co);
    c.fillColor = bo->iSolidColor;
    c.mix = mix;
    c.fillOptions = options;
    return TRUE;
  }
  BOOL StrokeAndFillPath(PATHOBJ* po, CLIPOBJ* co, XFORMOBJ* xo, BRUSHOBJ* stroke, LINEATTRS* la,
                         BRUSHOBJ* fill, POINTL*, MIX mix, FLONG options) override {
    RecordedCall& c = Start("strokefill", po, co);
    Line(c, xo, la);
    c.strokeColor = stroke->iSolidColor;
    c.fillColor = fill->iSolidColor;
    c.mix = mix;
    c.fillOptions = options;
    return TRUE;
  }
  BOOL LineTo(CLIPOBJ* co, BRUSHOBJ* bo, LONG x1, LONG y1, LONG x2, LONG y2, RECTL* bounds,
              MIX mix) override {
    RecordedCall& c = Start("lineto", nullptr, co);
    c.strokeColor = bo->iSolidColor;
    c.x1 = x1, c.y1 = y1, c.x2 = x2, c.y2 = y2;
    c.target = *bounds;
    c.mix = mix;
    return TRUE;
  }
  BOOL BitBlt(SURFOBJ* so, SURFOBJ* mask, CLIPOBJ* co, XLATEOBJ* xo, RECTL* target, POINTL* origin,
              POINTL* maskOrigin, BRUSHOBJ* bo, POINTL*, ROP4 rop) override {
    RecordedCall& c = Start("bitblt", nullptr, co);
    c.target = *target;
    c.rop = rop;
    if (bo) c.fillColor = bo->iSolidColor;
    Source(c, so, xo, origin, nullptr);
    Mask(c, mask, maskOrigin);
    return TRUE;
  }
  BOOL CopyBits(SURFOBJ* so, CLIPOBJ* co, XLATEOBJ* xo, RECTL* target, POINTL* origin) override {
    RecordedCall& c = Start("copybits", nullptr, co);
    c.target = *target;
    Source(c, so, xo, origin, nullptr);
    return TRUE;
  }
  BOOL StretchBlt(SURFOBJ* so, SURFOBJ* mask, CLIPOBJ* co, XLATEOBJ* xo, COLORADJUSTMENT*, POINTL*,
                  RECTL* target, RECTL* src, POINTL* maskOrigin, ULONG mode) override {
    RecordedCall& c = Start("stretchblt", nullptr, co);
    c.target = *target;
    c.mode = mode;
    Source(c, so, xo, nullptr, src);
    Mask(c, mask, maskOrigin);
    return TRUE;
  }
  BOOL StretchBltROP(SURFOBJ* so, SURFOBJ* mask, CLIPOBJ* co, XLATEOBJ* xo, COLORADJUSTMENT*, POINTL*,
                     RECTL* target, RECTL* src, POINTL* maskOrigin, ULONG mode, BRUSHOBJ* bo,
                     DWORD rop) override {
    RecordedCall& c = Start("stretchbltrop", nullptr, co);
    c.target = *target;
    c.mode = mode;
    c.rop = rop;
    if (bo) c.fillColor = bo->iSolidColor;
    Source(c, so, xo, nullptr, src);
    Mask(c, mask, maskOrigin);
    return TRUE;
  }
  BOOL PlgBlt(SURFOBJ* so, SURFOBJ* mask, CLIPOBJ* co, XLATEOBJ* xo, COLORADJUSTMENT*, POINTL*,
              POINTFIX* corners, RECTL* src, POINTL* maskOrigin, ULONG mode) override {
    RecordedCall& c = Start("plgblt", nullptr, co);
    std::copy(corners, corners + 3, c.corners);
    c.mode = mode;
    Source(c, so, xo, nullptr, src);
    Mask(c, mask, maskOrigin);
    return TRUE;
  }
  BOOL AlphaBlend(SURFOBJ* so, CLIPOBJ* co, XLATEOBJ* xo, RECTL* target, RECTL* src,
                  BLENDOBJ* blend) override {
    RecordedCall& c = Start("alphablend", nullptr, co);
    c.target = *target;
    c.blend = blend->BlendFunction;
    Source(c, so, xo, nullptr, src);
    return TRUE;
  }
  BOOL TransparentBlt(SURFOBJ* so, CLIPOBJ* co, XLATEOBJ* xo, RECTL* target, RECTL* src, ULONG color,
                      ULONG) override {
    RecordedCall& c = Start("transparentblt", nullptr, co);
    c.target = *target;
    c.transparentColor = color;
    Source(c, so, xo, nullptr, src);
    return TRUE;
  }
  BOOL GradientFill(CLIPOBJ* co, XLATEOBJ*, TRIVERTEX* vertices, ULONG count, PVOID mesh, ULONG meshCount,
                    RECTL* extents, POINTL*, ULONG mode) override {
    RecordedCall& c = Start("gradientfill", nullptr, co);
    c.vertices.assign(vertices, vertices + count);
    const ULONG* m = static_cast<const ULONG*>(mesh);
    c.mesh.assign(m, m + meshCount * (mode == GRADIENT_FILL_TRIANGLE ? 3 : 2));
    c.target = *extents;
    c.mode = mode;
    return TRUE;
  }

  ULONG GetGlyphMode(FONTOBJ*) override {
    ++glyphModeCalls;
    return glyphMode;
  }
  BOOL TextOut(STROBJ* so, FONTOBJ* fo, CLIPOBJ* co, RECTL* extra, RECTL* opaque, BRUSHOBJ* fore,
               BRUSHOBJ* opaqueBrush, POINTL*, MIX mix) override {
    RecordedCall& c = Start("textout", nullptr, co);
    STROBJ_vEnumStart(so);
    ULONG count = 0;
    GLYPHPOS* gp = nullptr;
    BOOL more = TRUE;
    while (more) {
      more = STROBJ_bEnumPositionsOnly(so, &count, &gp);
      c.glyphs.insert(c.glyphs.end(), gp, gp + count);
      if (count == 0) break;
    }
    c.hasText = so->pwszOrg != nullptr;
    if (so->pwszOrg) c.text.assign(reinterpret_cast<const char16_t*>(so->pwszOrg), so->cGlyphs);
    c.accel = so->flAccel;
    c.fillColor = fore->iSolidColor;
    c.hasOpaque = opaque != nullptr;
    if (opaque) c.opaque = *opaque;
    if (opaqueBrush) c.opaqueColor = opaqueBrush->iSolidColor;
    for (; extra && (extra->right != 0 || extra->bottom != 0); ++extra) c.extra.push_back(*extra);
    c.mix = mix;
    if (const IFIMETRICS* ifi = FONTOBJ_pifi(fo))
      c.face = reinterpret_cast<const char16_t*>(reinterpret_cast<const BYTE*>(ifi) + ifi->dpwszFaceName);
    c.fontType = fo->flFontType;
    if (XFORMOBJ* xo = FONTOBJ_pxoGetXform(fo)) XFORMOBJ_iGetXform(xo, &c.fontXform);
    return TRUE;
  }

  std::vector<RecordedCall> calls;
  // What GetGlyphMode answers, and how often it was asked.
  ULONG glyphMode = FO_HGLYPHS;
  int glyphModeCalls = 0;

 private:
  RecordedCall& Start(const char* kind, PATHOBJ* po, CLIPOBJ* co) {
    RecordedCall& c = calls.emplace_back();
    c.kind = kind;
    if (po) {
      engine::HostPath* path = engine::HostPath::From(po);
      path->EnumStart();
      PATHDATA data{};
      BOOL more = TRUE;
      while (more) {
        more = path->Enum(&data);
        RecordedCall::Run run;
        run.flags = data.flags;
        for (ULONG i = 0; i < data.count; ++i)
          run.points.emplace_back(data.pptfx[i].x / 16.0, data.pptfx[i].y / 16.0);
        if (data.count > 0) c.runs.push_back(run);
      }
    }
    if (co) {
      c.clipComplexity = co->iDComplexity;
      c.clipBounds = co->rclBounds;
      c.clipRegion = engine::HostClip::From(co)->region();
    }
    return c;
  }
  static void Line(RecordedCall& c, XFORMOBJ* xo, LINEATTRS* la) {
    c.hasLine = true;
    c.line = *la;
    if (la->pstyle) c.style.assign(la->pstyle, la->pstyle + la->cstyle);
    c.line.pstyle = nullptr;
    if (xo) {
      const engine::HostXform* x = engine::HostXform::From(xo);
      c.hasXform = true;
      const double v[6] = {x->m11, x->m12, x->m21, x->m22, x->dx, x->dy};
      std::copy(v, v + 6, c.xform);
    }
  }

  static void Source(RecordedCall& c, SURFOBJ* so, XLATEOBJ* xo, POINTL* origin, RECTL* rect) {
    if (!so) return;
    c.hasSource = true;
    c.sourceFormat = so->iBitmapFormat;
    c.sourceSize = so->sizlBitmap;
    if (rect) c.sourceRect = *rect;
    if (origin) c.sourceRect = {origin->x, origin->y, 0, 0};
    c.word0Color = XLATEOBJ_iXlate(xo, 0);
    c.word1Color = XLATEOBJ_iXlate(xo, 1);
  }
  static void Mask(RecordedCall& c, SURFOBJ* mask, POINTL* origin) {
    c.hasMask = mask != nullptr;
    if (origin) c.maskOrigin = *origin;
  }

  SURFOBJ surface_{};
};

// A page played into a recording target: the player's figures and the
// calls it made.
struct Played {
  gdi::PlayStats stats;
  std::vector<RecordedCall> calls;
  std::string Errors() const {
    std::string all;
    for (const auto& e : stats.errors) all += e + "\n";
    return all;
  }
};

// Plays `writer`'s page onto a recording target of surface x surface pixels
// whose GetGlyphMode answers `glyphMode`.
inline Played Play(const gdi::EmfWriter& writer, LONG surface = 1000, ULONG glyphMode = FO_HGLYPHS) {
  const auto file = gdi::EmfFile::Parse("t.emf", writer.Finish(), nullptr);
  EXPECT_TRUE(file);
  RecordingTarget target(surface, surface);
  target.glyphMode = glyphMode;
  Played out;
  if (file) out.stats = gdi::EmfPlayer().PlayPage(*file, target);
  out.calls = std::move(target.calls);
  return out;
}

}  // namespace snk::test
