// A DrvTextOut run: background, colour, matrices and glyphs.
#include "fonts/text_run.h"

#include <cmath>
#include <cstdint>
#include <cstring>

#include "base/number_format.h"

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

// The two text matrices of a run: `plain` for upright glyphs, `rotated`
// for the glyphs a vertical face turns, and the " Tf " size that goes with
// them.
struct CKMC_RunGeometry {
  CKMC_TextMatrix plain;
  CKMC_TextMatrix rotated;
  double size = 1;
  double boldWidth = 0;
};

namespace {

// The simulations the engine asks for when a face has no bold or italic
// form of its own; the host's glyph renderer uses the same two values, so
// that its pictures match the PDF text.
constexpr double kItalicShear = 0.342;  // simulated italic: the slant of the text matrix
constexpr double kBoldStroke = 0.02;    // simulated bold: the stroke width, in ems

CKMC_RunGeometry RunGeometryOf(FONTOBJ* font, const IFIMETRICS& metrics, double scale) {
  CKMC_RunGeometry run;
  XFORMOBJ* xform = FONTOBJ_pxoGetXform(font);
  XFORML transform{};
  if (!xform || XFORMOBJ_iGetXform(xform, &transform) == DDI_ERROR) {
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
  const double toPoints = metrics.fwdUnitsPerEm * scale;
  const double a0 = transform.eM11 * toPoints, b0 = transform.eM12 * toPoints;
  const double c0 = transform.eM21 * toPoints, d0 = transform.eM22 * toPoints;
  run.plain = CKMC_TextMatrix{a0, c0, b0, d0};
  const FLONG type = font->flFontType;
  if (type & FO_SIM_BOLD) run.boldWidth = std::fabs(c0 != 0 ? c0 : d0) * kBoldStroke;
  const bool italic = (type & FO_SIM_ITALIC) != 0;
  if (italic && !(type & FO_VERT_FACE))
    run.plain = CKMC_TextMatrix{a0, c0, b0 + a0 * kItalicShear, d0 + c0 * kItalicShear};
  const double a1 = italic ? a0 - b0 * kItalicShear : a0;
  const double c1 = italic ? c0 - d0 * kItalicShear : c0;
  run.rotated = CKMC_TextMatrix{-c1, a1, -d0, b0};
  return run;
}

}  // namespace

// The opaque background of a run, filled in its colour. The two blanks
// between its y and its width are part of the format readers have seen.
void CKMC_TextRunWriter::WriteBackground(CKM_BinaryBuf& out, const RECTL& rect, BRUSHOBJ* brush) {
  m_canvas.BeginBackground(out, BRUSHOBJ_ulGetBrushColor(brush));
  const double scale = m_text.scale, height = m_text.height;
  const double left = rect.left * scale, bottom = (height - rect.bottom) * scale;
  const double right = rect.right * scale, top = (height - rect.top) * scale;
  out.AppendString(snk::FormatNumber(left) + ' ' + snk::FormatNumber(bottom) + "  " +
                   snk::FormatNumber(right - left) + ' ' + snk::FormatNumber(top - bottom) + " re f ");
}

bool CKMC_TextRunWriter::IsGothicFace(std::u16string_view faceName) {
  if (faceName != m_gothicFace) {
    m_gothicAnswer = IsGothicFaceName(faceName);
    m_gothicFace = faceName;
  }
  return m_gothicAnswer;
}

void CKMC_TextRunWriter::WriteGlyphs(STROBJ* run, FONTOBJ* fontObject, const IFIMETRICS& metrics,
                                     CKMC_GlyphStyle style, const CKMC_RunGeometry& geometry) {
  // The run's text gives the characters, unless its glyphs are indices
  // that do not stand for it; then the font's glyph set is asked.
  const bool useText = run->pwszOrg && !(run->flAccel & SO_GLYPHINDEX_TEXTOUT);
  CKMC_Font& font = m_fonts.FindOrCreateFont(fontObject);
  style.font = &font;
  style.gothic = IsGothicFace(MetricsName(metrics, metrics.dpwszFaceName));
  const bool verticalFace = (fontObject->flFontType & FO_VERT_FACE) != 0;

  m_canvas.OpenTextRun();
  uint32_t lastFont = 0;
  size_t index = 0;
  STROBJ_vEnumStart(run);
  for (;;) {
    ULONG count = 0;
    GLYPHPOS* positions = nullptr;
    const BOOL more = STROBJ_bEnumPositionsOnly(run, &count, &positions);
    for (ULONG i = 0; positions && i < count; ++i, ++index) {
      const GLYPHPOS& glyph = positions[i];
      const uint16_t unicode =
          useText && index < run->cGlyphs ? run->pwszOrg[index] : font.UnicodeOf(glyph.hg);
      // A vertical face sets the characters of the first 256 upright.
      style.vertical = verticalFace && unicode >= 0x100;
      style.matrix = style.vertical ? geometry.rotated : geometry.plain;
      const uint32_t number = m_text.EmitGlyph(style, unicode, glyph.hg, glyph.ptl.x, glyph.ptl.y);
      if (number == 0 || number == lastFont) continue;
      lastFont = number;
      m_writer.UseFont(number);
    }
    if (!more || count == 0) break;
  }
}

void CKMC_TextRunWriter::WriteRun(SURFOBJ* surface, STROBJ* run, FONTOBJ* font, const RECTL* opaqueRect,
                                  BRUSHOBJ* foreground, BRUSHOBJ* opaque) {
  CKM_BinaryBuf& out = m_canvas.BeginText(surface);
  if (opaque && opaqueRect) WriteBackground(out, *opaqueRect, opaque);

  const IFIMETRICS* metrics = font ? FONTOBJ_pifi(font) : nullptr;
  if (!metrics || !run) return;
  CKMC_GlyphStyle style;
  style.color = foreground ? BRUSHOBJ_ulGetBrushColor(foreground) : 0;
  // The text block sets both colours; the graphic state learns them now,
  // before any glyph is written. A run that writes no glyph leaves them
  // known all the same, so a later fill of that colour writes no colour.
  // What the page holds already is what the block's colour compares with.
  const CKMC_ColorState before = m_canvas.Colors();
  if (before.strokeKnown) m_text.color = before.stroke;
  m_canvas.SetColors(CKMC_ColorState{true, true, style.color, style.color});

  const CKMC_RunGeometry geometry = RunGeometryOf(font, *metrics, m_text.scale);
  style.size = geometry.size;
  style.boldWidth = geometry.boldWidth;
  if (style.boldWidth > 0) m_canvas.SetLineWidth(out, style.boldWidth);
  WriteGlyphs(run, font, *metrics, style, geometry);
}
