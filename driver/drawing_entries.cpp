// Drawing entries: vector drawing goes to the graphics part as PDF
// operators; with GDIPunt on, the engine draws every call on the page
// surface as well, so that what PDF cannot express can be cut from there.
#include "driver/drawing_entries.h"

#include <algorithm>
#include <cstdint>
#include <optional>

#include "driver/device.h"
#include "driver/driver_entry.h"
#include "driver/print_job.h"
#include "fonts/font.h"
#include "fonts/text_run.h"
#include "platform/win32.h"

namespace {

// Where the engine's drawing of a call stands to its PDF operators.
enum class EngineRole {
  kBefore,   // drawn first, so that a flush at the clip takes it along
  kAfter,    // drawn as well, after the operators
  kInstead,  // drawn instead of the operators; the area becomes dirty
};

// One drawing call as its entry describes it.
struct DrawCall {
  const char16_t* name;
  SURFOBJ* surface;
  CLIPOBJ* clip;
  const RECTL* bounds = nullptr;  // for the clip decision (null: unknown)
  EngineRole role = EngineRole::kInstead;
  // With IgnoreBackground on, a call whose result depends on what is on
  // the page is left out: `rop` is read for that, or the call always does.
  ULONG rop = 0;
  bool readsPage = false;
  // After the clip, a call without all its rectangles draws nothing.
  bool complete = true;
  // A blit's brush: the mask-pen fill of a later path paints with its
  // colour.
  BRUSHOBJ* remembered = nullptr;
  // Whether the engine can draw the call at all (with GDIPunt on).
  bool engineCan = true;
  // A path call's clip decision uses the path's pixel bounds instead.
  bool pathCall = false;
  PATHOBJ* path = nullptr;
};

// The engine's drawing of a call; for kInstead the area it drew, or nothing
// when the call went in as operators all the same.
using EngineDrawing = std::optional<RECTL>;

// The path's pixel bounds, for the clip decision.
RECTL PathPixelBounds(PATHOBJ* path) {
  RECTFX bounds{};
  if (path) PATHOBJ_vGetBounds(path, &bounds);
  return PixelBounds(bounds);
}

// A path entry's call: the engine draws the path after its operators.
DrawCall PathCall(const char16_t* name, SURFOBJ* surface, PATHOBJ* path, CLIPOBJ* clip, MIX mix) {
  DrawCall call{name, surface, clip, nullptr, EngineRole::kAfter, mix};
  call.pathCall = true;
  call.path = path;
  return call;
}

// The one shape of every drawing entry. Drawing on a surface without a
// device, or while no job writes a file (between jobs, after a failed or
// cancelled start), is accepted and ignored. The area the engine drew
// instead of operators goes to the dirty list as the call gave it: the
// target of a mirrored blit, its corners swapped, adds nothing, and what
// the engine drew there stays on the surface only.
template <typename Engine, typename Vector>
BOOL Draw(const DrawCall& call, Engine&& engine, Vector&& vector) {
  return Guarded(call.name, FALSE, [&]() -> BOOL {
    CKMC_Device* device = DeviceOf(call.surface);
    if (!device || !device->document || !device->document->IsWriting()) return TRUE;
    if (device->settings.ignoreBackground && (call.readsPage || ReadsDestination(call.rop))) return TRUE;
    CKMC_Document& doc = *device->document;
    if (call.remembered) doc.graphics.State().SetLastFillColor(BRUSHOBJ_ulGetBrushColor(call.remembered));
    const bool engineDraws = doc.switches.gdiPunt && call.engineCan;
    if (engineDraws && call.role == EngineRole::kBefore) engine(doc);
    const RECTL pathBounds = call.pathCall ? PathPixelBounds(call.path) : RECTL{};
    doc.graphics.Clip().SelectClip(call.surface, call.clip, call.pathCall ? &pathBounds : call.bounds);
    if (!call.complete) return TRUE;
    if (engineDraws && call.role == EngineRole::kInstead) {
      if (std::optional<RECTL> area = engine(doc)) doc.graphics.Images().AddDirtyRect(*area);
      return TRUE;
    }
    vector(doc);
    if (engineDraws && call.role == EngineRole::kAfter) engine(doc);
    return TRUE;
  });
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

// The engine cannot read a PNG source; the driver drops it.
bool EngineReads(const SURFOBJ* source) { return !source || source->iBitmapFormat != BMF_PNG; }

// A blit of `sourceRect` of `source` into `target`: the engine draws it
// (`engine`), or the graphics place the source there as an image. `call`
// gives the entry's name, surface and clip, and when it is left out.
template <typename Engine>
BOOL Blit(DrawCall call, SURFOBJ* source, XLATEOBJ* xlate, const RECTL* target, const RECTL* sourceRect,
          Engine&& engine) {
  call.bounds = target;
  call.role = EngineRole::kInstead;
  call.complete = target && sourceRect;
  return Draw(
      call,
      [&](CKMC_Document&) -> EngineDrawing {
        engine();
        return *target;
      },
      [&](CKMC_Document& doc) { doc.graphics.Images().TransferBitmap(source, xlate, *target, *sourceRect); });
}

}  // namespace

BOOL APIENTRY DrvLineTo(SURFOBJ* so, CLIPOBJ* pco, BRUSHOBJ* pbo, LONG x1, LONG y1, LONG x2, LONG y2,
                        RECTL* prclBounds, MIX mix) {
  // The engine draws first here: the clip's flush then takes the line
  // along if it cannot be expressed.
  const DrawCall call{u"DrvLineTo", so, pco, prclBounds, EngineRole::kBefore, mix};
  return Draw(
      call,
      [&](CKMC_Document&) -> EngineDrawing {
        EngLineTo(so, pco, pbo, x1, y1, x2, y2, prclBounds, mix);
        return {};
      },
      [&](CKMC_Document& doc) { doc.graphics.Paths().PaintLine(so, x1, y1, x2, y2, pbo, mix); });
}

BOOL APIENTRY DrvStrokePath(SURFOBJ* so, PATHOBJ* ppo, CLIPOBJ* pco, XFORMOBJ* pxo, BRUSHOBJ* pbo,
                            POINTL* pptlBrushOrg, LINEATTRS* plineattrs, MIX mix) {
  return Draw(
      PathCall(u"DrvStrokePath", so, ppo, pco, mix),
      [&](CKMC_Document&) -> EngineDrawing {
        EngStrokePath(so, ppo, pco, pxo, pbo, pptlBrushOrg, plineattrs, mix);
        return {};
      },
      [&](CKMC_Document& doc) {
        doc.graphics.Paths().PaintPath(so, ppo, pxo, pbo, nullptr, plineattrs, mix, 0);
      });
}

BOOL APIENTRY DrvStrokeAndFillPath(SURFOBJ* so, PATHOBJ* ppo, CLIPOBJ* pco, XFORMOBJ* pxo,
                                   BRUSHOBJ* pboStroke, LINEATTRS* plineattrs, BRUSHOBJ* pboFill,
                                   POINTL* pptlBrushOrg, MIX mixFill, FLONG flOptions) {
  return Draw(
      PathCall(u"DrvStrokeAndFillPath", so, ppo, pco, mixFill),
      [&](CKMC_Document&) -> EngineDrawing {
        EngStrokeAndFillPath(so, ppo, pco, pxo, pboStroke, plineattrs, pboFill, pptlBrushOrg, mixFill,
                             flOptions);
        return {};
      },
      [&](CKMC_Document& doc) {
        doc.graphics.Paths().PaintPath(so, ppo, pxo, pboStroke, pboFill, plineattrs, mixFill, flOptions);
      });
}

BOOL APIENTRY DrvFillPath(SURFOBJ* so, PATHOBJ* ppo, CLIPOBJ* pco, BRUSHOBJ* pbo, POINTL* pptlBrushOrg,
                          MIX mix, FLONG flOptions) {
  return Draw(
      PathCall(u"DrvFillPath", so, ppo, pco, mix),
      [&](CKMC_Document&) -> EngineDrawing {
        EngFillPath(so, ppo, pco, pbo, pptlBrushOrg, mix, flOptions);
        return {};
      },
      [&](CKMC_Document& doc) {
        doc.graphics.Paths().PaintPath(so, ppo, nullptr, nullptr, pbo, nullptr, mix, flOptions);
      });
}

BOOL APIENTRY DrvCopyBits(SURFOBJ* psoDest, SURFOBJ* psoSrc, CLIPOBJ* pco, XLATEOBJ* pxlo, RECTL* prclDest,
                          POINTL* pptlSrc) {
  const RECTL source = prclDest ? SourceRect(*prclDest, pptlSrc) : RECTL{};
  return Blit(DrawCall{u"DrvCopyBits", psoDest, pco}, psoSrc, pxlo, prclDest, &source,
              [&] { EngCopyBits(psoDest, psoSrc, pco, pxlo, prclDest, pptlSrc); });
}

BOOL APIENTRY DrvPlgBlt(SURFOBJ* psoTrg, SURFOBJ* psoSrc, SURFOBJ* psoMsk, CLIPOBJ* pco, XLATEOBJ* pxlo,
                        COLORADJUSTMENT* pca, POINTL* pptlBrushOrg, POINTFIX* pptfx, RECTL* prcl,
                        POINTL* pptl, ULONG iMode) {
  DrawCall call{u"DrvPlgBlt", psoTrg, pco, prcl, EngineRole::kInstead};
  call.complete = pptfx && prcl;
  return Draw(
      call,
      [&](CKMC_Document&) -> EngineDrawing {
        EngPlgBlt(psoTrg, psoSrc, psoMsk, pco, pxlo, pca, pptlBrushOrg, pptfx, prcl, pptl, iMode);
        return ParallelogramBox(pptfx);
      },
      [&](CKMC_Document& doc) {
        doc.graphics.Images().PlaceSkewedImage(psoSrc, psoMsk, pxlo, pptfx, *prcl);
      });
}

BOOL APIENTRY DrvBitBlt(SURFOBJ* psoTrg, SURFOBJ* psoSrc, SURFOBJ* psoMask, CLIPOBJ* pco, XLATEOBJ* pxlo,
                        RECTL* prclTrg, POINTL* pptlSrc, POINTL* pptlMask, BRUSHOBJ* pbo, POINTL* pptlBrush,
                        ROP4 rop4) {
  DrawCall call{u"DrvBitBlt", psoTrg, pco, prclTrg, EngineRole::kInstead, rop4};
  call.remembered = pbo;
  call.engineCan = EngineReads(psoSrc);
  call.complete = prclTrg != nullptr;
  return Draw(
      call,
      [&](CKMC_Document& doc) -> EngineDrawing {
        EngBitBlt(psoTrg, psoSrc, psoMask, pco, pxlo, prclTrg, pptlSrc, pptlMask, pbo, pptlBrush, rop4);
        // A solid rectangle stays vector, though the surface has it too.
        if (!psoSrc && !psoMask && doc.graphics.Paths().PaintRectangle(psoTrg, *prclTrg, pbo, rop4))
          return {};
        return *prclTrg;
      },
      [&](CKMC_Document& doc) {
        // The engine does not draw (or cannot read the source): raster
        // operations and masks are not honoured.
        if (psoSrc)
          doc.graphics.Images().TransferBitmap(psoSrc, pxlo, *prclTrg, SourceRect(*prclTrg, pptlSrc));
        else if (!psoMask)
          doc.graphics.Paths().PaintRectangle(psoTrg, *prclTrg, pbo, rop4);
      });
}

BOOL APIENTRY DrvStretchBlt(SURFOBJ* psoDest, SURFOBJ* psoSrc, SURFOBJ* psoMask, CLIPOBJ* pco, XLATEOBJ* pxlo,
                            COLORADJUSTMENT* pca, POINTL* pptlHTOrg, RECTL* prclDest, RECTL* prclSrc,
                            POINTL* pptlMask, ULONG iMode) {
  DrawCall call{u"DrvStretchBlt", psoDest, pco};
  call.engineCan = EngineReads(psoSrc);
  return Blit(call, psoSrc, pxlo, prclDest, prclSrc, [&] {
    EngStretchBlt(psoDest, psoSrc, psoMask, pco, pxlo, pca, pptlHTOrg, prclDest, prclSrc, pptlMask, iMode);
  });
}

BOOL APIENTRY DrvStretchBltROP(SURFOBJ* psoDest, SURFOBJ* psoSrc, SURFOBJ* psoMask, CLIPOBJ* pco,
                               XLATEOBJ* pxlo, COLORADJUSTMENT* pca, POINTL* pptlHTOrg, RECTL* prclDest,
                               RECTL* prclSrc, POINTL* pptlMask, ULONG iMode, BRUSHOBJ* pbo, DWORD rop4) {
  DrawCall call{u"DrvStretchBltROP", psoDest, pco, prclDest, EngineRole::kInstead, rop4};
  call.complete = prclDest && prclSrc;
  return Draw(
      call,
      [&](CKMC_Document&) -> EngineDrawing {
        EngStretchBltROP(psoDest, psoSrc, psoMask, pco, pxlo, pca, pptlHTOrg, prclDest, prclSrc, pptlMask,
                         iMode, pbo, rop4);
        return *prclDest;
      },
      [&](CKMC_Document& doc) {
        // Bits 2 to 4 of the operation reading 3 or 4 draw nothing here.
        const DWORD bits = (rop4 >> 2) & 7;
        if (bits != 3 && bits != 4) doc.graphics.Images().TransferBitmap(psoSrc, pxlo, *prclDest, *prclSrc);
      });
}

BOOL APIENTRY DrvAlphaBlend(SURFOBJ* psoDest, SURFOBJ* psoSrc, CLIPOBJ* pco, XLATEOBJ* pxlo, RECTL* prclDest,
                            RECTL* prclSrc, BLENDOBJ* pBlendObj) {
  // Blending always depends on what is on the page. Without the engine the
  // source is drawn opaque.
  DrawCall call{u"DrvAlphaBlend", psoDest, pco};
  call.readsPage = true;
  return Blit(call, psoSrc, pxlo, prclDest, prclSrc,
              [&] { EngAlphaBlend(psoDest, psoSrc, pco, pxlo, prclDest, prclSrc, pBlendObj); });
}

BOOL APIENTRY DrvGradientFill(SURFOBJ* psoDest, CLIPOBJ* pco, XLATEOBJ* pxlo, TRIVERTEX* pVertex,
                              ULONG nVertex, PVOID pMesh, ULONG nMesh, RECTL* prclExtents,
                              POINTL* pptlDitherOrg, ULONG ulMode) {
  DrawCall call{u"DrvGradientFill", psoDest, pco, prclExtents, EngineRole::kInstead};
  call.readsPage = true;
  call.complete = prclExtents != nullptr;
  return Draw(
      call,
      [&](CKMC_Document&) -> EngineDrawing {
        EngGradientFill(psoDest, pco, pxlo, pVertex, nVertex, pMesh, nMesh, prclExtents, pptlDitherOrg,
                        ulMode);
        return *prclExtents;
      },
      // A mesh that cannot be written throws, and the guard reports it.
      [&](CKMC_Document& doc) {
        doc.graphics.Gradients().WriteGradient(pVertex, nVertex, pMesh, nMesh, *prclExtents, ulMode);
      });
}

BOOL APIENTRY DrvTransparentBlt(SURFOBJ* psoDst, SURFOBJ* psoSrc, CLIPOBJ* pco, XLATEOBJ* pxlo,
                                RECTL* prclDst, RECTL* prclSrc, ULONG iTransColor, ULONG ulReserved) {
  // Without the engine the colour key is not applied.
  DrawCall call{u"DrvTransparentBlt", psoDst, pco};
  call.readsPage = true;
  return Blit(call, psoSrc, pxlo, prclDst, prclSrc, [&] {
    EngTransparentBlt(psoDst, psoSrc, pco, pxlo, prclDst, prclSrc, iTransColor, ulReserved);
  });
}

namespace {

// Under these system versions the page surface gets the text only when the
// driver has the engine draw it there.
bool EngineDrawsText() {
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof version;
  if (!GetVersionExW(&version)) return false;
  const DWORD number = version.dwMajorVersion * 100 + version.dwMinorVersion;
  return number >= 501 && number <= 600;
}

}  // namespace

// Text goes as glyph handles, for a face the PDF can name, or as outlines
// through the path entries: a TrueType face that forbids embedding keeps
// its look that way where the user asked for embedded fonts.
ULONG APIENTRY DrvGetGlyphMode(DHPDEV dhpdev, FONTOBJ* pfo) {
  return Guarded(u"DrvGetGlyphMode", FO_HGLYPHS, [&]() -> ULONG {
    if (!pfo || pfo->flFontType == 0) return FO_PATHOBJ;
    const IFIMETRICS* metrics = FONTOBJ_pifi(pfo);
    if (!(pfo->flFontType & FO_TYPE_TRUETYPE) || !metrics || metrics->fsType != FM_TYPE_LICENSED)
      return FO_HGLYPHS;
    const auto* device = reinterpret_cast<const CKMC_Device*>(dhpdev);
    if (!device) return FO_HGLYPHS;
    const CKMC_Document* doc = device->document.get();
    const uint32_t pdfa = doc ? doc->writer.Pdfa() : device->settings.pdfa;
    const uint32_t fontEmbed = (doc ? doc->Settings() : device->settings).fontEmbed;
    if (pdfa || fontEmbed == 2) return FO_PATHOBJ;
    if (fontEmbed == 1 && doc && doc->fonts.IsEmbedFace(MetricsName(*metrics, metrics->dpwszFamilyName)))
      return FO_PATHOBJ;
    return FO_HGLYPHS;
  });
}

BOOL APIENTRY DrvTextOut(SURFOBJ* so, STROBJ* pstro, FONTOBJ* pfo, CLIPOBJ* pco, RECTL* prclExtra,
                         RECTL* prclOpaque, BRUSHOBJ* pboFore, BRUSHOBJ* pboOpaque, POINTL* pptlOrg,
                         MIX mix) {
  // Underlines and strike-outs (prclExtra) are left to the engine's
  // drawing; the PDF has the glyphs only.
  DrawCall call{u"DrvTextOut", so, pco, nullptr, EngineRole::kBefore};
  call.engineCan = EngineDrawsText();
  return Draw(
      call,
      [&](CKMC_Document&) -> EngineDrawing {
        EngTextOut(so, pstro, pfo, pco, prclExtra, prclOpaque, pboFore, pboOpaque, pptlOrg, mix);
        return {};
      },
      [&](CKMC_Document& doc) {
        if (!doc.switches.jobCancelled) doc.textRuns.WriteRun(so, pstro, pfo, prclOpaque, pboFore, pboOpaque);
      });
}
