// Drawing entries: vector drawing goes to the graphics part as PDF
// operators; with GDIPunt on, the engine draws every call on the page
// surface as well, so that what PDF cannot express can be cut from there.
#include "driver/drawing_entries.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "base/number_format.h"
#include "driver/device.h"
#include "driver/driver_entry.h"
#include "driver/print_job.h"
#include "fonts/font.h"
#include "fonts/text_output.h"
#include "platform/win32.h"
#include "services/core_module.h"

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
  RECTL dirty{std::min(rect.left, rect.right), std::min(rect.top, rect.bottom),
              std::max(rect.left, rect.right), std::max(rect.top, rect.bottom)};
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

namespace {

// A name of the IFIMETRICS block at byte offset `offset`: zero-ended UTF-16
// within the block's cjThis bytes, empty when it lies outside.
std::u16string_view MetricsName(const IFIMETRICS& metrics, PTRDIFF offset) {
  if (offset < static_cast<PTRDIFF>(sizeof(IFIMETRICS)) || offset % 2 != 0 ||
      static_cast<ULONG>(offset) >= metrics.cjThis)
    return {};
  const auto* base = reinterpret_cast<const uint8_t*>(&metrics);
  const size_t units = (metrics.cjThis - static_cast<ULONG>(offset)) / 2;
  for (size_t i = 0; i < units; ++i) {
    char16_t unit = 0;
    std::memcpy(&unit, base + offset + 2 * i, 2);
    if (unit == 0) return {reinterpret_cast<const char16_t*>(base + offset), i};
  }
  return {};
}

// Under these system versions the page surface gets the text only when the
// driver has the engine draw it there.
bool EngineDrawsText() {
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof version;
  if (!GetVersionExW(&version)) return false;
  const DWORD number = version.dwMajorVersion * 100 + version.dwMinorVersion;
  return number >= 501 && number <= 600;
}

// The opaque background of a run, filled in its colour. The two blanks
// between its y and its width are part of the format readers have seen.
void WriteOpaqueRectangle(CKMC_Document& doc, CKM_BinaryBuf& out, const RECTL& rect, BRUSHOBJ* brush) {
  doc.graphics.CloseTextRun(out);
  const uint32_t color = BRUSHOBJ_ulGetBrushColor(brush);
  doc.graphics.SetFillColor(out, color);
  doc.graphics.SetStrokeColor(out, color);
  const double scale = doc.text.scale, height = doc.text.height;
  const double left = rect.left * scale, bottom = (height - rect.bottom) * scale;
  const double right = rect.right * scale, top = (height - rect.top) * scale;
  out.AppendString(snk::FormatNumber(left) + ' ' + snk::FormatNumber(bottom) + "  " +
                   snk::FormatNumber(right - left) + ' ' + snk::FormatNumber(top - bottom) + " re f ");
}

// The two text matrices of a run: `plain` for upright glyphs, `rotated`
// for the glyphs a vertical face turns, and the " Tf " size that goes with
// them.
struct RunGeometry {
  CKMC_TextMatrix plain;
  CKMC_TextMatrix rotated;
  double size = 1;
  double boldWidth = 0;
};

RunGeometry RunGeometryOf(FONTOBJ* font, const IFIMETRICS& metrics, double scale) {
  RunGeometry run;
  XFORMOBJ* xform = FONTOBJ_pxoGetXform(font);
  XFORML m{};
  if (!xform || XFORMOBJ_iGetXform(xform, &m) == DDI_ERROR) {
    // Without a transform the size is the nominal one, or derived from the
    // widest advance.
    run.size = font->ulStyleSize;
    if (run.size == 0) {
      const int64_t divisor = int64_t{metrics.fwdMaxCharInc} + 1;
      if (divisor != 0)
        run.size = static_cast<double>(int64_t{font->cxMax} * metrics.fwdUnitsPerEm / divisor);
      run.size *= scale;
    }
    // The identity turned as a transformed run's matrix is (its first
    // value is the negated zero, as there).
    run.rotated = CKMC_TextMatrix{-0.0, 1, -1, 0};
    return run;
  }
  // Notional units to points: the matrix carries the size, " Tf " is 1.
  const double k = metrics.fwdUnitsPerEm * scale;
  const double a0 = m.eM11 * k, b0 = m.eM12 * k, c0 = m.eM21 * k, d0 = m.eM22 * k;
  run.plain = CKMC_TextMatrix{a0, c0, b0, d0};
  const FLONG type = font->flFontType;
  if (type & FO_SIM_BOLD) run.boldWidth = std::fabs(c0 != 0 ? c0 : d0) * 0.02;
  const bool italic = (type & FO_SIM_ITALIC) != 0;
  if (italic && !(type & FO_VERT_FACE)) run.plain = CKMC_TextMatrix{a0, c0, b0 + a0 * 0.342, d0 + c0 * 0.342};
  const double a1 = italic ? a0 - b0 * 0.342 : a0;
  const double c1 = italic ? c0 - d0 * 0.342 : c0;
  run.rotated = CKMC_TextMatrix{-c1, a1, -d0, b0};
  return run;
}

// Appends the run's glyphs to the page's text block; the number of glyphs
// that went in.
size_t WriteGlyphs(CKMC_Document& doc, STROBJ* run, FONTOBJ* fontObject, const IFIMETRICS& metrics,
                   CKMC_GlyphStyle style, const RunGeometry& geometry) {
  // The run's text gives the characters, unless its glyphs are indices
  // that do not stand for it; then the font's glyph set is asked.
  const bool useText = run->pwszOrg && !(run->flAccel & SO_GLYPHINDEX_TEXTOUT);
  CKMC_Font& font = doc.fonts.FindOrCreateFont(fontObject);
  style.font = &font;
  // A gothic face writes its TJ numbers without sign.
  std::u16string_view faceName = MetricsName(metrics, metrics.dpwszFaceName);
  if (faceName != doc.gothicFace) {
    doc.gothicAnswer = CKMC_FontCatalogue::IsGothicName(faceName);
    doc.gothicFace = faceName;
  }
  style.gothic = doc.gothicAnswer;
  const bool verticalFace = (fontObject->flFontType & FO_VERT_FACE) != 0;

  doc.graphics.textRunOpen = true;
  uint32_t lastFont = 0;
  size_t index = 0, written = 0;
  STROBJ_vEnumStart(run);
  for (;;) {
    ULONG count = 0;
    GLYPHPOS* positions = nullptr;
    const BOOL more = STROBJ_bEnumPositionsOnly(run, &count, &positions);
    for (ULONG i = 0; positions && i < count; ++i, ++index) {
      const GLYPHPOS& glyph = positions[i];
      const uint16_t unicode = useText && index < run->cGlyphs
                                   ? run->pwszOrg[index]
                                   : CKMC_FontCatalogue::GlyphToUnicode(font, glyph.hg);
      // A vertical face sets the characters of the first 256 upright.
      style.vertical = verticalFace && unicode >= 0x100;
      style.matrix = style.vertical ? geometry.rotated : geometry.plain;
      const uint32_t number = doc.text.EmitGlyph(style, unicode, glyph.hg, glyph.ptl.x, glyph.ptl.y);
      if (number != 0) ++written;
      if (number == 0 || number == lastFont) continue;
      lastFont = number;
      doc.writer.UseFont(number);
    }
    if (!more || count == 0) break;
  }
  return written;
}

void WriteTextRun(CKMC_Document& doc, SURFOBJ* surface, STROBJ* run, FONTOBJ* font, RECTL* opaqueRect,
                  BRUSHOBJ* foreground, BRUSHOBJ* opaque) {
  if (doc.jobCancelled) return;
  CKMC_Graphics& graphics = doc.graphics;
  graphics.FlushDeferredBitmaps(surface);
  CKM_BinaryBuf& out = graphics.Stream();
  if (opaque && opaqueRect) WriteOpaqueRectangle(doc, out, *opaqueRect, opaque);

  const IFIMETRICS* metrics = font ? FONTOBJ_pifi(font) : nullptr;
  if (!metrics || !run) return;
  CKMC_GlyphStyle style;
  style.color = foreground ? BRUSHOBJ_ulGetBrushColor(foreground) : 0;
  // The text block sets both colours; the graphic state learns them now.
  // What the page holds already is what the block's colour compares with.
  const bool fillKnown = graphics.fillColorKnown, strokeKnown = graphics.strokeColorKnown;
  const uint32_t fill = graphics.fillColor, stroke = graphics.strokeColor;
  if (graphics.strokeColorKnown) doc.text.color = graphics.strokeColor;
  graphics.fillColorKnown = graphics.strokeColorKnown = true;
  graphics.fillColor = graphics.strokeColor = style.color;

  const RunGeometry geometry = RunGeometryOf(font, *metrics, doc.text.scale);
  style.size = geometry.size;
  style.boldWidth = geometry.boldWidth;
  if (style.boldWidth > 0) graphics.SetLineWidth(out, style.boldWidth);
  if (WriteGlyphs(doc, run, font, *metrics, style, geometry) != 0) return;
  // No glyph wrote the colours: the page still holds the earlier ones.
  graphics.fillColorKnown = fillKnown;
  graphics.strokeColorKnown = strokeKnown;
  graphics.fillColor = fill;
  graphics.strokeColor = stroke;
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
    const uint32_t pdfa = doc ? doc->writer.Pdfa() : device->pdfa;
    const uint32_t fontEmbed = doc ? doc->fontEmbed : device->fontEmbed;
    if (pdfa || fontEmbed == 2) return FO_PATHOBJ;
    if (fontEmbed == 1 && doc && doc->fonts.IsEmbedFace(MetricsName(*metrics, metrics->dpwszFamilyName)))
      return FO_PATHOBJ;
    return FO_HGLYPHS;
  });
}

BOOL APIENTRY DrvTextOut(SURFOBJ* so, STROBJ* pstro, FONTOBJ* pfo, CLIPOBJ* pco, RECTL* prclExtra,
                         RECTL* prclOpaque, BRUSHOBJ* pboFore, BRUSHOBJ* pboOpaque, POINTL* pptlOrg,
                         MIX mix) {
  return Draw(u"DrvTextOut", so, [&](CKMC_Device& device) -> BOOL {
    CKMC_Document& doc = *device.document;
    // Underlines and strike-outs (prclExtra) are left to the engine's
    // drawing; the PDF has the glyphs only.
    if (doc.gdiPunt && EngineDrawsText())
      EngTextOut(so, pstro, pfo, pco, prclExtra, prclOpaque, pboFore, pboOpaque, pptlOrg, mix);
    doc.graphics.SelectClip(so, pco, nullptr);
    WriteTextRun(doc, so, pstro, pfo, prclOpaque, pboFore, pboOpaque);
    return TRUE;
  });
}
