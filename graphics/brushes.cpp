// Brushes and raster operations that PDF can paint: black, the brush's
// colour, its complement and, for fills, the last fill colour. Everything
// else is left to the engine's drawing on the page surface.
#include "base/number_format.h"
#include "graphics/graphics.h"

namespace {

uint32_t BrushColor(BRUSHOBJ* brush) { return brush ? BRUSHOBJ_ulGetBrushColor(brush) : 0xFFFFFFFF; }

}  // namespace

// Only the low four bits of a binary raster operation are looked at, so
// R2_WHITE (16) arrives as 0 and is not expressible. A hatch or pattern
// brush gives the colour word 0xFFFFFFFF and is painted white.
std::optional<uint32_t> CKMC_Graphics::StrokeColorFor(BRUSHOBJ* brush, uint32_t op) const {
  switch (op) {
    case R2_BLACK:
      return 0u;
    case R2_NOTCOPYPEN:
      return ~BrushColor(brush);
    case R2_COPYPEN:
      return BrushColor(brush);
    default:
      return std::nullopt;
  }
}

std::optional<uint32_t> CKMC_Graphics::FillColorFor(BRUSHOBJ* brush, uint32_t op) const {
  if (op == R2_MASKPEN) return lastFillColor;
  return StrokeColorFor(brush, op);
}

int CKMC_Graphics::PaintRectangle(SURFOBJ* surface, const RECTL& rect, BRUSHOBJ* brush, ROP4 rop) {
  if (Cancelled()) return 1;
  uint32_t color = 0;
  bool needsSolid = false;
  switch (rop & 0xFF) {
    case ROP3_BLACKNESS:
      color = 0;
      break;
    case ROP3_NOTPATCOPY:
    case ROP3_PATCOPY:
      needsSolid = true;
      break;
    case ROP3_WHITENESS:
      color = 0xFFFFFF;
      break;
    default:
      return 0;
  }
  if (needsSolid) {
    if (!brush || brush->iSolidColor == 0xFFFFFFFF) return 0;
    color = BrushColor(brush);
    if ((rop & 0xFF) == ROP3_NOTPATCOPY) color = ~color;
  }

  FlushDeferredBitmaps(surface);
  double left = rect.left, bottom = rect.bottom, right = rect.right, top = rect.top;
  DeviceToUser(left, bottom);
  DeviceToUser(right, top);
  CKM_BinaryBuf& out = Stream();
  CloseTextRun(out);
  SetFillColor(out, color);
  out.AppendString(snk::FormatG(left) + ' ' + snk::FormatG(bottom) + ' ' + snk::FormatG(right - left) + ' ' +
                   snk::FormatG(top - bottom) + " re f\n");
  return 1;
}
