// EngTextOut: the engine draws a glyph run on its 24-bit bitmap surface as
// GDI does for aliased text: the opaque rectangle, the extra rectangles
// (underline, strikeout) and then each glyph's bitmap, all cut by the clip.
#include <optional>

#include "host/engine/raster.h"
#include "host/fonts/host_font.h"

namespace {

using snk::engine::Painter;
using snk::engine::Region;
using snk::fonts::HostFont;
using snk::fonts::HostStrobj;

// Extra rectangles come as a list ended by an all-zero one; GDI gives at
// most a few (underline, strikeout).
constexpr int kMaxExtraRects = 8;

void FillRect(Painter& painter, RECTL r) {
  if (r.left > r.right) std::swap(r.left, r.right);
  if (r.top > r.bottom) std::swap(r.top, r.bottom);
  const RECTL& area = painter.Area();
  const LONG top = std::max(r.top, area.top), bottom = std::min(r.bottom, area.bottom);
  for (LONG y = top; y < bottom; ++y) painter.Span(y, r.left, r.right);
}

// Paints the set bits of one glyph bitmap as runs.
void PaintGlyph(Painter& painter, const HostFont::GlyphBits& bits, POINTL origin) {
  const int64_t x0 = int64_t{origin.x} + bits.left, y0 = int64_t{origin.y} + bits.top;
  const RECTL& area = painter.Area();
  for (int32_t row = 0; row < bits.rows; ++row) {
    const int64_t y = y0 + row;
    if (y < area.top || y >= area.bottom) continue;
    const uint8_t* line = bits.bits.data() + size_t(row) * size_t(bits.pitch);
    int32_t col = 0;
    while (col < bits.width) {
      while (col < bits.width && !(line[col >> 3] & (0x80 >> (col & 7)))) ++col;
      const int32_t start = col;
      while (col < bits.width && (line[col >> 3] & (0x80 >> (col & 7)))) ++col;
      if (col == start) break;
      const int64_t a = x0 + start, b = x0 + col;
      if (b <= area.left || a >= area.right) continue;
      painter.Span(int32_t(y), int32_t(std::max<int64_t>(a, area.left)),
                   int32_t(std::min<int64_t>(b, area.right)));
    }
  }
}

bool Empty(const RECTL& r) { return r.left >= r.right || r.top >= r.bottom; }

}  // namespace

extern "C" BOOL APIENTRY EngTextOut(SURFOBJ* pso, STROBJ* pstro, FONTOBJ* pfo, CLIPOBJ* pco, RECTL* prclExtra,
                                    RECTL* prclOpaque, BRUSHOBJ* pboFore, BRUSHOBJ* pboOpaque,
                                    POINTL* pptlOrg, MIX mix) {
  HostStrobj* run = HostStrobj::From(pstro);
  HostFont* font = HostFont::From(pfo);
  if (!pso || !run || !font) return FALSE;
  const SURFOBJ* so = snk::engine::BitmapOf(pso);
  if (!so) return TRUE;
  if (so->iBitmapFormat != BMF_24BPP) return FALSE;
  std::optional<Region> storage;
  const Region* clip = snk::engine::ClipOf(pco, storage);
  // GDI's text mixes are binary operations; an undefined one draws as a copy.
  const ULONG fore = mix & 0xFF;
  const MIX textMix =
      fore >= 1 && fore <= 16 ? (mix & 0xFF) | (mix & 0xFF) << 8 : R2_COPYPEN | R2_COPYPEN << 8;

  if (prclOpaque && pboOpaque) {
    Painter painter(*so, clip);
    if (!snk::engine::SetBrush(painter, pboOpaque, pptlOrg)) return FALSE;
    painter.SetMix(R2_COPYPEN | R2_COPYPEN << 8);
    if (!Empty(painter.Area())) FillRect(painter, *prclOpaque);
  }
  if (!pboFore) return TRUE;
  Painter painter(*so, clip);
  if (!snk::engine::SetBrush(painter, pboFore, pptlOrg)) return FALSE;
  painter.SetMix(textMix);
  if (Empty(painter.Area())) return TRUE;
  for (int i = 0; prclExtra && i < kMaxExtraRects; ++i) {
    const RECTL& r = prclExtra[i];
    if (r.left == 0 && r.top == 0 && r.right == 0 && r.bottom == 0) break;
    FillRect(painter, r);
  }
  for (const GLYPHPOS& glyph : run->Glyphs()) PaintGlyph(painter, font->Bits(glyph.hg), glyph.ptl);
  return TRUE;
}
