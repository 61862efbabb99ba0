// Paths, lines and solid rectangles as PDF operators.
#include "graphics/path_painting.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "base/number_format.h"

namespace {

constexpr std::string_view kSolidDash = "[] 0 d ";

// The colour GDI gives for a brush; a missing brush reads like a pattern.
uint32_t BrushColor(BRUSHOBJ* brush) { return brush ? BRUSHOBJ_ulGetBrushColor(brush) : 0xFFFFFFFF; }

void AppendG(CKM_BinaryBuf& out, double value) { out.AppendString(snk::FormatG(value)); }

}  // namespace

RECTL PixelBounds(const RECTFX& bounds) {
  // 64-bit sums: a right edge near the top of the range must not wrap.
  return RECTL{bounds.xLeft / 16, bounds.yTop / 16,
               static_cast<LONG>((static_cast<int64_t>(bounds.xRight) + 15) / 16),
               static_cast<LONG>((static_cast<int64_t>(bounds.yBottom) + 15) / 16)};
}

void CKMC_PathPainter::PaintPath(SURFOBJ* surface, PATHOBJ* path, XFORMOBJ* xform, BRUSHOBJ* strokeBrush,
                                 BRUSHOBJ* fillBrush, LINEATTRS* line, MIX mix, FLONG fillOptions) {
  if (Cancelled()) return;
  m_images.FlushDeferredBitmaps(surface);

  // The stroke follows the mix's low byte, the fill its second byte.
  std::optional<uint32_t> stroke, fill;
  bool expressible = true;
  if (strokeBrush) {
    stroke = StrokeColorFor(strokeBrush, mix & 0x0F);
    expressible = stroke.has_value();
  }
  if (expressible && fillBrush) {
    fill = FillColorFor(fillBrush, (mix >> 8) & 0x0F);
    expressible = fill.has_value();
  }
  if (!expressible) {
    // The engine's drawing of it will be shown as an image instead.
    if (m_switches.gdiPunt && path) {
      RECTFX bounds{};
      PATHOBJ_vGetBounds(path, &bounds);
      RECTL rect = PixelBounds(bounds);
      m_images.AddDirtyRect(rect);
    }
    return;
  }

  CKM_BinaryBuf& out = m_page.Operators();

  // GDI hands the path in device space already; a transform only scales the
  // line width. Its points are then written in device units under a matrix
  // that maps pixels to points.
  float meanScale = 0;
  if (xform) {
    out.AppendString("q ");
    XFORML m{};
    XFORMOBJ_iGetXform(xform, &m);
    meanScale = (m.eM11 + m.eM22) / 2;
    const double p = m_writer.Geometry().pixelToPoint;
    const double base[6] = {p, 0, 0, -0.0 - p, 0, static_cast<double>(m_writer.Geometry().heightPixels) * p};
    for (int i = 0; i < 6; ++i) {
      if (i) out.AppendByte(' ');
      AppendG(out, base[i]);
    }
    out.AppendString(" cm ");
  }

  WriteLineStyle(out, line, xform != nullptr, meanScale);

  if (strokeBrush) m_state.SetStrokeColor(out, *stroke);
  if (fillBrush) m_state.SetFillColor(out, *fill);

  out.AppendString(PathOperators(path, xform ? nullptr : &m_writer.Geometry()).view());

  const bool winding = fillOptions & FP_WINDINGMODE;
  const bool alternate = fillOptions & FP_ALTERNATEMODE;
  if (strokeBrush)
    out.AppendString(winding ? "B " : alternate ? "B* " : "S ");
  else
    out.AppendString(winding ? "f " : alternate ? "f* " : "n ");

  if (xform) {
    out.AppendString("Q ");
    m_state.Forget();
  }
  out.AppendByte('\n');
}

void CKMC_PathPainter::WriteLineStyle(CKM_BinaryBuf& out, const LINEATTRS* line, bool transformed,
                                      float meanScale) {
  if (line) {
    if (line->fl & LA_GEOMETRIC) {
      double width = line->elWidth.e;
      if (transformed) {
        if (meanScale > 0) width *= meanScale;
      } else {
        width = ScaleLength(width);
      }
      m_state.SetLineWidth(out, width);
      // The width goes out a second time in the stream's number form,
      // whether or not the cache already held it.
      AppendG(out, std::fabs(width));
      out.AppendString(" w ");
      switch (line->iEndCap) {
        case ENDCAP_ROUND:
          out.AppendString("1 J ");
          break;
        case ENDCAP_SQUARE:
          out.AppendString("2 J ");
          break;
        case ENDCAP_BUTT:
          out.AppendString("0 J ");
          break;
        default:
          break;
      }
      switch (line->iJoin) {
        case JOIN_ROUND:
          out.AppendString("1 j ");
          break;
        case JOIN_BEVEL:
          out.AppendString("2 j ");
          break;
        case JOIN_MITER:
          out.AppendString("0 j ");
          AppendG(out, static_cast<double>(line->eMiterLimit));
          out.AppendString(" M ");
          break;
        default:
          break;
      }
    } else {
      double width = static_cast<double>(line->elWidth.l);
      width = transformed ? width * meanScale : ScaleLength(width);
      m_state.SetLineWidth(out, width);
      out.AppendString("0 J 0 j ");
    }
    // A styled line keeps whatever dash the stream holds; its style array is
    // not read.
    if (!line->pstyle) m_state.SetDash(out, kSolidDash);
  } else {
    m_state.SetLineWidth(out, ScaleLength(1.0));
    m_state.SetDash(out, kSolidDash);
  }
}

CKM_ByteString PathOperators(PATHOBJ* path, const CKMC_PageGeometry* page) {
  std::string text;
  if (!path) return CKM_ByteString(std::move(text));
  auto point = [&](const POINTFIX& p) {
    double x = p.x * 0.0625;
    double y = p.y * 0.0625;
    if (page) DeviceToUser(*page, x, y);
    text += snk::FormatG(x);
    text += ' ';
    text += snk::FormatG(y);
  };

  PATHOBJ_vEnumStart(path);
  BOOL more = FALSE;
  do {
    PATHDATA data{};
    more = PATHOBJ_bEnum(path, &data);
    if (!data.pptfx) continue;
    const ULONG n = data.count;
    const POINTFIX* points = data.pptfx;
    for (ULONG i = 0; i < n; ++i) {
      if (i == 0 && (data.flags & PD_BEGINSUBPATH)) {
        point(points[0]);
        text += " m ";
        continue;
      }
      if (!(data.flags & PD_BEZIERS)) {
        point(points[i]);
        text += " l ";
      } else {
        if (n - i < 3) break;  // an incomplete control triple
        point(points[i]);
        text += ' ';
        point(points[i + 1]);
        text += ' ';
        point(points[i + 2]);
        text += " c ";
        i += 2;
      }
      if (i == n - 1 && (data.flags & PD_CLOSEFIGURE)) text += "h ";
    }
  } while (more);
  return CKM_ByteString(std::move(text));
}

void CKMC_PathPainter::PaintLine(SURFOBJ* surface, LONG x1, LONG y1, LONG x2, LONG y2, BRUSHOBJ* brush,
                                 MIX mix) {
  if (Cancelled()) return;
  m_images.FlushDeferredBitmaps(surface);

  // Only the low four bits count, so R2_WHITE (16) reads as 0 and goes the
  // way of the operations PDF cannot express.
  uint32_t color = 0;
  switch (mix & 0x0F) {
    case R2_NOP:
      return;
    case R2_BLACK:
      color = 0;
      break;
    case R2_NOTCOPYPEN:
      color = ~BrushColor(brush);
      break;
    case R2_COPYPEN:
      color = BrushColor(brush);
      break;
    default:
      AddDirtyLine(x1, y1, x2, y2);
      return;
  }

  CKM_BinaryBuf& out = m_page.Operators();
  m_state.SetStrokeColor(out, color);
  // Through the pixels' centres.
  double ax = x1 + 0.5, ay = y1 + 0.5, bx = x2 + 0.5, by = y2 + 0.5;
  DeviceToUser(ax, ay);
  DeviceToUser(bx, by);
  m_state.SetLineWidth(out, ScaleLength(1.0));
  m_state.SetDash(out, kSolidDash);
  AppendG(out, ax);
  out.AppendByte(' ');
  AppendG(out, ay);
  out.AppendString(" m ");
  AppendG(out, bx);
  out.AppendByte(' ');
  AppendG(out, by);
  out.AppendString(" l S ");
}

void CKMC_PathPainter::AddDirtyLine(LONG x1, LONG y1, LONG x2, LONG y2) {
  RECTL rect{std::min(x1, x2), std::min(y1, y2), std::max(x1, x2), std::max(y1, y2)};
  m_images.AddDirtyRect(rect);
}

// Only the low four bits of a binary raster operation are looked at, so
// R2_WHITE (16) arrives as 0 and is not expressible. A hatch or pattern
// brush gives the colour word 0xFFFFFFFF and is painted white.
std::optional<uint32_t> CKMC_PathPainter::StrokeColorFor(BRUSHOBJ* brush, uint32_t op) const {
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

std::optional<uint32_t> CKMC_PathPainter::FillColorFor(BRUSHOBJ* brush, uint32_t op) const {
  if (op == R2_MASKPEN) return m_state.LastFillColor();
  return StrokeColorFor(brush, op);
}

int CKMC_PathPainter::PaintRectangle(SURFOBJ* surface, const RECTL& rect, BRUSHOBJ* brush, ROP4 rop) {
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

  m_images.FlushDeferredBitmaps(surface);
  double left = rect.left, bottom = rect.bottom, right = rect.right, top = rect.top;
  DeviceToUser(left, bottom);
  DeviceToUser(right, top);
  CKM_BinaryBuf& out = m_page.Operators();
  m_state.SetFillColor(out, color);
  out.AppendString(snk::FormatG(left) + ' ' + snk::FormatG(bottom) + ' ' + snk::FormatG(right - left) + ' ' +
                   snk::FormatG(top - bottom) + " re f\n");
  return 1;
}
