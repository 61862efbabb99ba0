// The shape records and how a shape reaches the target: a path stroked
// and/or filled with the selected pen and brush, a line, or a blit.
#include <algorithm>
#include <cmath>
#include <utility>

#include "host/engine/brush.h"
#include "host/engine/clip.h"
#include "host/engine/path.h"
#include "host/engine/xform.h"
#include "host/gdi/device_context.h"
#include "host/gdi/device_pixels.h"
#include "host/gdi/emf_objects.h"
#include "host/gdi/emf_player.h"
#include "host/gdi/record_fields.h"

namespace snk::gdi {

using engine::HostBrush;
using engine::HostClip;
using engine::HostPath;
using engine::HostXform;
using engine::Region;
using engine::RegionOp;

namespace {

// The dash and gap lengths of the pen styles PS_DASH .. PS_DASHDOTDOT:
// cosmetic pens in pixels, geometric pens in pen widths.
const std::vector<uint32_t>& StyleArray(uint32_t kind, bool geometric) {
  static const std::vector<uint32_t> cosmetic[4] = {{18, 6}, {3, 3}, {9, 6, 3, 6}, {9, 3, 3, 3, 3, 3}};
  static const std::vector<uint32_t> wide[4] = {{3, 1}, {1, 1}, {3, 1, 1, 1}, {3, 1, 1, 1, 1, 1}};
  static const std::vector<uint32_t> none;
  if (kind < PS_DASH || kind > PS_DASHDOTDOT) return none;
  return (geometric ? wide : cosmetic)[kind - PS_DASH];
}

}  // namespace

HostPath ToHostPath(const GdiPath& device) {
  HostPath hp;
  const auto& pts = device.points;
  auto fix = [&](size_t i) { return POINTFIX{engine::ToFix(pts[i].x), engine::ToFix(pts[i].y)}; };
  for (size_t i = 0; i < pts.size(); ++i) {
    const uint8_t type = device.types[i] & ~PT_CLOSEFIGURE;
    if (type == PT_BEZIERTO && i + 2 < pts.size()) {
      hp.BezierTo(fix(i), fix(i + 1), fix(i + 2));
      i += 2;
    } else if (type == PT_MOVETO) {
      hp.MoveTo(fix(i));
    } else {
      hp.LineTo(fix(i));
    }
    if (device.types[i] & PT_CLOSEFIGURE) hp.CloseFigure();
  }
  return hp;
}

// A pen resolved for one drawing: what the target gets.
struct DeviceContext::Pen {
  bool cosmetic = true;
  bool styled = false;
  uint32_t color = 0;
  double deviceWidth = 1;
  LINEATTRS la{};
  std::vector<FLOAT_LONG> style;
};

// ---------------------------------------------------------------- to the device

bool DeviceContext::ToDevice(const GdiPath& logical, GdiPath* device, std::string* fault) const {
  const Matrix m = DeviceMatrix();
  if (!m.Finite() || m.Determinant() == 0) return Fail(fault, "the transform to the device is unusable");
  device->points.clear();
  device->types = logical.types;
  device->points.reserve(logical.points.size());
  for (const PointD& p : logical.points) {
    const PointD q = m.Apply(p);
    if (!InRange(q.x) || !InRange(q.y))
      return Fail(fault,
                  "point (" + std::to_string(p.x) + ", " + std::to_string(p.y) + ") lies too far away");
    device->points.push_back(q);
  }
  return true;
}

bool DeviceContext::Draw(const GdiPath& shape, bool stroke, bool fill, bool continues, std::string* fault) {
  GdiPath device;
  if (!ToDevice(shape, &device, fault)) return false;
  if (device.Empty()) return true;
  if (bracket_.open()) {
    bracket_.Append(device, continues);
    return true;
  }
  return Render(device, DeviceMatrix(), stroke, fill);
}

MIX DeviceContext::Mix(const BrushObject* brush) const {
  const MIX rop = state_.rop2;
  if (brush && brush->kind == BrushObject::Kind::Hatch && state_.bkMode == kTransparent)
    return rop | R2_NOP << 8;
  return rop | rop << 8;
}

bool DeviceContext::Realize(const BrushObject& b, std::optional<HostBrush>* out) const {
  switch (b.kind) {
    case BrushObject::Kind::Null:
      return false;
    case BrushObject::Kind::Solid:
      out->emplace(HostBrush::Solid(b.color));
      return true;
    case BrushObject::Kind::Hatch:
      out->emplace(HostBrush::Hatch(b.hatch, b.color, state_.bkColor));
      return true;
    case BrushObject::Kind::Pattern:
      out->emplace(HostBrush::Pattern(b.width, b.height, b.pixels));
      return true;
    case BrushObject::Kind::Mono: {
      const uint32_t mono[2] = {state_.textColor, state_.bkColor};
      auto dib = DecodeDib(b.info, b.bits, DIB_RGB_COLORS, mono, nullptr);
      if (!dib) return false;
      out->emplace(HostBrush::Pattern(dib->width, dib->height, std::move(dib->pixels)));
      return true;
    }
  }
  return false;
}

// A pen at `scale` device pixels per logical unit: cosmetic when it is at
// most a pixel wide, geometric (with the target doing the widening) else.
DeviceContext::Pen DeviceContext::ResolvePen(const PenObject& penObj, double scale) const {
  Pen pen;
  LINEATTRS& la = pen.la;
  const uint32_t kind = penObj.Kind();
  pen.color = penObj.color;
  pen.deviceWidth = penObj.width * scale;
  pen.cosmetic = penObj.width == 0 || pen.deviceWidth <= 1;
  if (pen.cosmetic) {
    la.elWidth.l = 1;
    pen.deviceWidth = 1;
    if (kind == PS_ALTERNATE) {
      la.fl |= LA_ALTERNATE;
      pen.styled = true;
    } else if (kind == PS_USERSTYLE) {
      for (uint32_t e : penObj.userStyle)
        pen.style.push_back(FLOAT_LONG{.l = LONG(std::min<uint32_t>(e, 1u << 20))});
    } else {
      for (uint32_t e : StyleArray(kind, false)) pen.style.push_back(FLOAT_LONG{.l = LONG(e)});
    }
  } else {
    la.fl |= LA_GEOMETRIC;
    la.elWidth.e = FLOATL(penObj.width);
    la.iEndCap = penObj.EndCap();
    la.iJoin = penObj.Join();
    la.eMiterLimit = FLOATL(state_.miterLimit);
    // Styles of wide pens scale with the width (logical units).
    const bool extPen = (penObj.style & PS_GEOMETRIC) != 0;
    if (extPen && kind == PS_USERSTYLE) {
      for (uint32_t e : penObj.userStyle) pen.style.push_back(FLOAT_LONG{.e = FLOATL(e)});
    } else if (extPen) {
      for (uint32_t e : StyleArray(kind, true))
        pen.style.push_back(FLOAT_LONG{.e = FLOATL(e * penObj.width)});
    }
  }
  if (!pen.style.empty()) {
    pen.styled = true;
    la.fl |= LA_STYLED;
    la.cstyle = ULONG(pen.style.size());
  }
  return pen;
}

bool DeviceContext::Render(const GdiPath& device, const Matrix& toDevice, bool stroke, bool fill,
                           bool winding) {
  const PenObject& penObj = state_.pen->pen;
  const BrushObject& brushObj = state_.brush->brush;
  stroke = stroke && penObj.Kind() != PS_NULL;
  fill = fill && brushObj.kind != BrushObject::Kind::Null;
  if (!stroke && !fill) return true;
  HostPath hp = ToHostPath(device);
  if (hp.Empty()) return true;
  Pen pen;
  if (stroke) pen = ResolvePen(penObj, std::sqrt(std::fabs(toDevice.Determinant())));
  pen.la.pstyle = pen.style.empty() ? nullptr : pen.style.data();

  // Device bounds of what is drawn. A pen wider than the coordinate range
  // grows the bounds by that range.
  const RECTFX fx = hp.Bounds();
  const double half =
      pen.deviceWidth / 2 <= kMaxDeviceCoordinate ? pen.deviceWidth / 2 : kMaxDeviceCoordinate;
  const LONG grow = stroke ? LONG(std::ceil(half)) + 1 : 1;
  RECTL bounds{FloorPx(fx.xLeft) - grow, FloorPx(fx.yTop) - grow, CeilPx(fx.xRight) + grow,
               CeilPx(fx.yBottom) + grow};
  const Region vis = VisibleRegion();
  if (vis.Intersect(bounds).Empty()) return true;
  HostClip clip(vis, &bounds, uniq_);

  std::optional<HostBrush> penBrush, fillBrush;
  if (stroke) {
    // The gaps of a styled line take the background colour.
    penBrush.emplace(HostBrush::Solid(pen.color));
    penBrush->background = state_.bkColor;
  }
  if (fill && !Realize(brushObj, &fillBrush)) fill = false;
  if (!stroke && !fill) return true;
  std::optional<HostXform> xform;
  if (stroke && !pen.cosmetic)
    xform.emplace(toDevice.m11, toDevice.m12, toDevice.m21, toDevice.m22, toDevice.dx, toDevice.dy);
  XFORMOBJ* xo = xform ? &xform->xo : nullptr;
  POINTL brushOrigin = DeviceBrushOrigin();
  const FLONG options = winding || state_.polyFillMode == kWinding ? FP_WINDINGMODE : FP_ALTERNATEMODE;
  MIX strokeMix = state_.rop2 | state_.rop2 << 8;
  if (pen.styled && state_.bkMode == kTransparent) strokeMix = state_.rop2 | R2_NOP << 8;

  hp.EnumStart();
  if (stroke && fill)
    target_.StrokeAndFillPath(&hp.po, &clip.co, xo, &penBrush->bo, &pen.la, &fillBrush->bo, &brushOrigin,
                              Mix(&brushObj), options);
  else if (stroke)
    target_.StrokePath(&hp.po, &clip.co, xo, &penBrush->bo, &brushOrigin, &pen.la, strokeMix);
  else
    target_.FillPath(&hp.po, &clip.co, &fillBrush->bo, &brushOrigin, Mix(&brushObj), options);
  return true;
}

bool DeviceContext::Blit(const RECTL& rect, const Region* extraClip, const BrushObject* brush, ROP4 rop) {
  if (rect.right <= rect.left || rect.bottom <= rect.top) return true;
  Region vis = VisibleRegion();
  ULONG uniq = uniq_;
  if (extraClip) {
    vis = vis.Combine(*extraClip, RegionOp::And);
    uniq = 0;
  }
  if (vis.Intersect(rect).Empty()) return true;
  std::optional<HostBrush> hb;
  if (brush && !Realize(*brush, &hb)) return true;
  RECTL target = rect;
  HostClip clip(vis, &target, uniq);
  POINTL brushOrigin = DeviceBrushOrigin();
  target_.BitBlt(nullptr, nullptr, &clip.co, nullptr, &target, nullptr, nullptr, hb ? &hb->bo : nullptr,
                 &brushOrigin, rop);
  return true;
}

// ---------------------------------------------------------------- shape records

bool DeviceContext::FastLine(PointD to, std::string* fault) {
  DcState& s = state_;
  GdiPath seg, d;
  seg.MoveTo(s.current);
  seg.LineTo(to);
  if (!ToDevice(seg, &d, fault)) return false;
  s.current = to;
  const LONG x1 = Round(d.points[0].x), y1 = Round(d.points[0].y);
  const LONG x2 = Round(d.points[1].x), y2 = Round(d.points[1].y);
  RECTL bounds{std::min(x1, x2), std::min(y1, y2), std::max(x1, x2) + 1, std::max(y1, y2) + 1};
  const Region vis = VisibleRegion();
  if (vis.Intersect(bounds).Empty()) return true;
  HostClip clip(vis, &bounds, uniq_);
  HostBrush hb = HostBrush::Solid(s.pen->pen.color);
  target_.LineTo(&clip.co, &hb.bo, x1, y1, x2, y2, &bounds, s.rop2 | s.rop2 << 8);
  return true;
}

bool DeviceContext::OnLineTo(const EmrPoint& rec, Fault fault) {
  DcState& s = state_;
  const PenObject& pen = s.pen->pen;
  const bool cosmeticSolid =
      (pen.Kind() == PS_SOLID || pen.Kind() == PS_INSIDEFRAME) &&
      (pen.width == 0 || pen.width * std::sqrt(std::fabs(DeviceMatrix().Determinant())) <= 1);
  if (!bracket_.open() && cosmeticSolid) return FastLine(rec.point, fault);
  GdiPath shape;
  shape.MoveTo(s.current);
  shape.LineTo(rec.point);
  if (!Draw(shape, true, false, true, fault)) return false;
  s.current = rec.point;
  return true;
}

bool DeviceContext::OnRectangle(const EmrBox& rec, Fault fault) {
  const DcState& s = state_;
  const double* v = rec.box;
  const Matrix m = DeviceMatrix();
  // A rectangle without a frame is a blit of the brush.
  if (!bracket_.open() && s.pen->pen.Kind() == PS_NULL && m.AxisAligned() &&
      s.brush->brush.kind != BrushObject::Kind::Null) {
    const PointD a = m.Apply({v[0], v[1]}), b = m.Apply({v[2], v[3]});
    for (double c : {a.x, a.y, b.x, b.y})
      if (!InRange(c)) return Fail(fault, "rectangle lies too far away");
    RECTL rect = Normalized(a.x, a.y, b.x, b.y);
    rect.right -= 1;  // a rectangle without its frame is one pixel short
    rect.bottom -= 1;
    return Blit(rect, nullptr, &s.brush->brush, Rop4OfRop2());
  }
  GdiPath shape;
  AppendRectangle(shape, v[0], v[1], v[2], v[3], s.clockwise);
  return Draw(shape, true, true, false, fault);
}

bool DeviceContext::OnEllipse(const EmrBox& rec, Fault fault) {
  GdiPath shape;
  AppendEllipse(shape, rec.box[0], rec.box[1], rec.box[2], rec.box[3], state_.clockwise);
  return Draw(shape, true, true, false, fault);
}

bool DeviceContext::OnRoundRect(const EmrRoundRect& rec, Fault fault) {
  GdiPath shape;
  const double* v = rec.box;
  AppendRoundRect(shape, v[0], v[1], v[2], v[3], rec.corner.x, rec.corner.y, state_.clockwise);
  return Draw(shape, true, true, false, fault);
}

bool DeviceContext::OnArc(const EmrArc& rec, Fault fault) {
  DcState& s = state_;
  const double* v = rec.box;
  const bool to = rec.kind == ArcKind::ArcTo;
  GdiPath shape;
  if (to) shape.MoveTo(s.current);
  const PointD end =
      AppendArc(shape, v[0], v[1], v[2], v[3], rec.start, rec.end, s.clockwise, rec.kind, s.current);
  const bool closed = rec.kind == ArcKind::Chord || rec.kind == ArcKind::Pie;
  if (!Draw(shape, true, closed, to, fault)) return false;
  if (to) s.current = end;
  return true;
}

bool DeviceContext::OnAngleArc(const EmrAngleArc& rec, Fault fault) {
  if (!std::isfinite(rec.startDegrees) || !std::isfinite(rec.sweepDegrees) || rec.radius > (1u << 30))
    return Fail(fault, "angles or radius out of range");
  DcState& s = state_;
  GdiPath shape;
  shape.MoveTo(s.current);
  const PointD end =
      AppendAngleArc(shape, s.current, rec.centre, rec.radius, rec.startDegrees, rec.sweepDegrees);
  if (!Draw(shape, true, false, true, fault)) return false;
  s.current = end;
  return true;
}

bool DeviceContext::OnSetPixel(const EmrSetPixel& rec, Fault fault) {
  const Matrix m = DeviceMatrix();
  const PointD p = rec.point;
  const PointD a = m.Apply(p), b = m.Apply({p.x + 1, p.y + 1});
  for (double c : {a.x, a.y, b.x, b.y})
    if (!InRange(c)) return Fail(fault, "pixel lies too far away");
  RECTL rect = Normalized(a.x, a.y, b.x, b.y);
  if (rect.right == rect.left) ++rect.right;
  if (rect.bottom == rect.top) ++rect.bottom;
  BrushObject solid;
  solid.color = rec.color & 0xFFFFFF;
  return Blit(rect, nullptr, &solid, 0xF0F0);
}

bool DeviceContext::OnPoly(const EmrPoly& rec, Fault fault) {
  DcState& s = state_;
  const std::vector<PointD>& pts = rec.points;
  const size_t count = pts.size();
  if (rec.bezier && (rec.to ? count % 3 != 0 : (count == 0 || (count - 1) % 3 != 0)))
    return Fail(fault, std::to_string(count) + " points do not make Bezier curves");
  GdiPath shape;
  size_t k = 0;
  for (uint32_t n : rec.counts) {
    if (n == 0) continue;
    size_t i = k;
    if (rec.to) {
      shape.MoveTo(s.current);
    } else {
      shape.MoveTo(pts[k]);
      ++i;
    }
    if (rec.bezier) {
      for (; i + 2 < k + n; i += 3) shape.BezierTo(pts[i], pts[i + 1], pts[i + 2]);
    } else {
      for (; i < k + n; ++i) shape.LineTo(pts[i]);
    }
    if (rec.closed) shape.CloseFigure();
    k += n;
  }
  if (!Draw(shape, true, rec.closed, rec.to, fault)) return false;
  if (rec.to && count > 0) s.current = pts.back();
  return true;
}

bool DeviceContext::OnPolyDraw(const EmrPolyDraw& rec, Fault fault) {
  DcState& s = state_;
  const std::vector<PointD>& pts = rec.points;
  const size_t count = pts.size();
  auto kind = [&](size_t i) { return uint8_t(rec.types[i] & ~PT_CLOSEFIGURE); };
  GdiPath shape;
  shape.MoveTo(s.current);
  PointD cur = s.current;
  for (size_t i = 0; i < count; ++i) {
    switch (kind(i)) {
      case PT_MOVETO:
        shape.MoveTo(pts[i]);
        break;
      case PT_LINETO:
        shape.LineTo(pts[i]);
        break;
      case PT_BEZIERTO:
        if (i + 2 >= count || kind(i + 1) != PT_BEZIERTO || kind(i + 2) != PT_BEZIERTO)
          return Fail(fault, "Bezier point " + std::to_string(i) + " is not one of three");
        shape.BezierTo(pts[i], pts[i + 1], pts[i + 2]);
        i += 2;
        break;
      default:
        return Fail(fault, "point type " + std::to_string(rec.types[i]) + " is unknown");
    }
    cur = pts[i];
    if (rec.types[i] & PT_CLOSEFIGURE) shape.CloseFigure();
  }
  if (!Draw(shape, true, false, true, fault)) return false;
  s.current = cur;
  return true;
}

}  // namespace snk::gdi
