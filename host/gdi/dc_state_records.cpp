// The records that change the drawing state or the object table.
#include <cmath>
#include <cstdlib>

#include "host/gdi/device_context.h"
#include "host/gdi/device_pixels.h"
#include "host/gdi/emf_objects.h"
#include "host/gdi/record_fields.h"

namespace snk::gdi {
namespace {

constexpr uint32_t kMmText = 1;
constexpr uint32_t kMmIsotropic = 7;
constexpr uint32_t kMmAnisotropic = 8;

std::string Num(int64_t v) { return std::to_string(v); }

}  // namespace

// ---------------------------------------------------------------- mapping

bool DeviceContext::SetMapMode(uint32_t mode, std::string* fault) {
  if (mode < 1 || mode > 8) return Fail(fault, "map mode " + Num(mode) + " is unknown");
  DcState& s = state_;
  const double mmx = header_.millimeters.cx, mmy = header_.millimeters.cy;
  // Logical units per millimetre of the metric modes 2..6.
  const double k[] = {0, 0, 10, 100, 100 / 25.4, 1000 / 25.4, 1440 / 25.4};
  if (mode >= 2 && mode <= 6) {
    if (mmx <= 0 || mmy <= 0 || header_.device.cx <= 0 || header_.device.cy <= 0)
      return Fail(fault, "the reference device has no size for a metric map mode");
    s.windowExt = {mmx * k[mode], mmy * k[mode]};
    s.viewportExt = {double(header_.device.cx), -double(header_.device.cy)};
  } else if (mode == kMmText) {
    s.windowExt = {1, 1};
    s.viewportExt = {1, 1};
  }
  s.mapMode = mode;
  FixIsotropic();
  return true;
}

void DeviceContext::FixIsotropic() {
  DcState& s = state_;
  if (s.mapMode != kMmIsotropic) return;
  const double xs = std::fabs(s.viewportExt.x / s.windowExt.x),
               ys = std::fabs(s.viewportExt.y / s.windowExt.y);
  if (xs > ys)
    s.viewportExt.x = std::copysign(std::fabs(s.windowExt.x) * ys, s.viewportExt.x);
  else if (ys > xs)
    s.viewportExt.y = std::copysign(std::fabs(s.windowExt.y) * xs, s.viewportExt.y);
}

// Extents count only in the modes that let the program choose them.
bool DeviceContext::SetExtent(PointD& extent, PointD value, std::string* fault) {
  if (value.x == 0 || value.y == 0) return Fail(fault, "extent has a zero side");
  if (state_.mapMode != kMmIsotropic && state_.mapMode != kMmAnisotropic) return true;
  extent = value;
  FixIsotropic();
  return true;
}

bool DeviceContext::ScaleExtent(PointD& extent, const EmrScale& rec, std::string* fault) {
  if (rec.xDenom == 0 || rec.yDenom == 0) return Fail(fault, "scale has a zero denominator");
  if (state_.mapMode != kMmIsotropic && state_.mapMode != kMmAnisotropic) return true;
  const PointD scaled{extent.x * rec.xNum / rec.xDenom, extent.y * rec.yNum / rec.yDenom};
  if (scaled.x == 0 || scaled.y == 0) return Fail(fault, "scaled extent has a zero side");
  extent = scaled;
  FixIsotropic();
  return true;
}

bool DeviceContext::SetWorld(const Matrix& m, std::string* fault) {
  if (!m.Finite()) return Fail(fault, "the world transform is not finite");
  if (m.Determinant() == 0 || !std::isfinite(m.Determinant()))
    return Fail(fault, "the world transform is singular");
  state_.world = m;
  return true;
}

bool DeviceContext::OnSetMapMode(const EmrValue& rec, Fault fault) { return SetMapMode(rec.value, fault); }
bool DeviceContext::OnSetWindowExt(const EmrPoint& rec, Fault fault) {
  return SetExtent(state_.windowExt, rec.point, fault);
}
bool DeviceContext::OnSetViewportExt(const EmrPoint& rec, Fault fault) {
  return SetExtent(state_.viewportExt, rec.point, fault);
}
bool DeviceContext::OnSetWindowOrg(const EmrPoint& rec, Fault) {
  state_.windowOrg = rec.point;
  return true;
}
bool DeviceContext::OnSetViewportOrg(const EmrPoint& rec, Fault) {
  state_.viewportOrg = rec.point;
  return true;
}
bool DeviceContext::OnScaleWindowExt(const EmrScale& rec, Fault fault) {
  return ScaleExtent(state_.windowExt, rec, fault);
}
bool DeviceContext::OnScaleViewportExt(const EmrScale& rec, Fault fault) {
  return ScaleExtent(state_.viewportExt, rec, fault);
}
bool DeviceContext::OnSetWorldTransform(const EmrXform& rec, Fault fault) {
  return SetWorld(rec.xform, fault);
}

bool DeviceContext::OnModifyWorldTransform(const EmrModifyXform& rec, Fault fault) {
  switch (rec.mode) {
    case 1:  // MWT_IDENTITY
      state_.world = Matrix{};
      return true;
    case 2:  // MWT_LEFTMULTIPLY
      return SetWorld(rec.xform.Then(state_.world), fault);
    case 3:  // MWT_RIGHTMULTIPLY
      return SetWorld(state_.world.Then(rec.xform), fault);
    case 4:  // MWT_SET
      return SetWorld(rec.xform, fault);
    default:
      return Fail(fault, "mode " + Num(rec.mode) + " is unknown");
  }
}

// ---------------------------------------------------------------- saved states

bool DeviceContext::OnSaveDc(const EmrEmpty&, Fault) {
  saved_.push_back(state_);
  return true;
}

bool DeviceContext::OnRestoreDc(const EmrSavedIndex& rec, Fault fault) {
  const int32_t a = rec.index;
  const int64_t n = int64_t(saved_.size());
  const int64_t target = a < 0 ? n + a : int64_t(a) - 1;
  if (a == 0 || target < 0 || target >= n)
    return Fail(fault, "no saved state " + Num(a) + " (" + Num(n) + " saved)");
  state_ = saved_[size_t(target)];
  saved_.resize(size_t(target));
  ClipChanged();
  return true;
}

// ---------------------------------------------------------------- modes and colours

bool DeviceContext::OnSetPolyFillMode(const EmrValue& rec, Fault fault) {
  if (rec.value != 1 && rec.value != 2) return Fail(fault, "fill mode " + Num(rec.value) + " is unknown");
  state_.polyFillMode = rec.value;
  return true;
}

bool DeviceContext::OnSetRop2(const EmrValue& rec, Fault fault) {
  if (rec.value < 1 || rec.value > 16) return Fail(fault, "raster op " + Num(rec.value) + " is unknown");
  state_.rop2 = rec.value;
  return true;
}

bool DeviceContext::OnSetMiterLimit(const EmrValue& rec, Fault fault) {
  if (rec.value < 1) return Fail(fault, "miter limit below 1");
  state_.miterLimit = rec.value;
  return true;
}

bool DeviceContext::OnSetBkMode(const EmrValue& rec, Fault fault) {
  if (rec.value != kOpaque && rec.value != kTransparent)
    return Fail(fault, "mode " + Num(rec.value) + " is unknown");
  state_.bkMode = rec.value;
  return true;
}

bool DeviceContext::OnSetBkColor(const EmrValue& rec, Fault) {
  state_.bkColor = rec.value & 0xFFFFFF;
  return true;
}

bool DeviceContext::OnSetTextColor(const EmrValue& rec, Fault) {
  state_.textColor = rec.value & 0xFFFFFF;
  return true;
}

bool DeviceContext::OnSetArcDirection(const EmrValue& rec, Fault fault) {
  if (rec.value != 1 && rec.value != 2) return Fail(fault, "direction " + Num(rec.value) + " is unknown");
  state_.clockwise = rec.value == 2;
  return true;
}

bool DeviceContext::OnSetBrushOrg(const EmrPoint& rec, Fault) {
  state_.brushOrigin = rec.point;
  return true;
}

bool DeviceContext::OnSetStretchBltMode(const EmrValue& rec, Fault fault) {
  if (rec.value < BLACKONWHITE || rec.value > HALFTONE)
    return Fail(fault, "stretch mode " + Num(rec.value) + " is unknown");
  state_.stretchMode = rec.value;
  return true;
}

bool DeviceContext::OnMoveTo(const EmrPoint& rec, Fault) {
  state_.current = rec.point;
  bracket_.EndFigure();
  return true;
}

bool DeviceContext::OnSetTextAlign(const EmrValue& rec, Fault) {
  state_.textAlign = rec.value;
  return true;
}

bool DeviceContext::OnSetMapperFlags(const EmrValue& rec, Fault) {
  state_.mapperFlags = rec.value;
  return true;
}

bool DeviceContext::OnSetTextJustification(const EmrJustification& rec, Fault) {
  state_.breakExtra = rec.count > 0 ? rec.extra : 0;
  state_.breakCount = rec.count > 0 ? rec.count : 0;
  return true;
}

// ---------------------------------------------------------------- objects

bool DeviceContext::OnSelectObject(const EmrHandle& rec, Fault fault) {
  auto o = Object(rec.handle, fault);
  if (!o) return false;
  switch (o->kind) {
    case GdiObject::Kind::Pen:
      state_.pen = o;
      return true;
    case GdiObject::Kind::Brush:
      state_.brush = o;
      return true;
    case GdiObject::Kind::Font:
      state_.font = o;
      return true;
    default:
      return Fail(fault, "handle " + Num(rec.handle) + " is not a pen, brush or font");
  }
}

bool DeviceContext::OnDeleteObject(const EmrHandle& rec, Fault fault) {
  return objects_.Delete(rec.handle, fault);
}

bool DeviceContext::OnCreatePalette(const EmrHandle& rec, Fault fault) {
  GdiObject palette;
  palette.kind = GdiObject::Kind::Palette;
  return objects_.Create(rec.handle, std::move(palette), fault);
}

bool DeviceContext::OnCreateFont(const EmrCreateFont& rec, Fault fault) {
  if (!objects_.CheckSlot(rec.handle, fault)) return false;
  GdiObject font;
  font.kind = GdiObject::Kind::Font;
  font.font = rec.font;
  font.font.id = objects_.NextFontId();
  return objects_.Create(rec.handle, std::move(font), fault);
}

bool DeviceContext::OnCreatePen(const EmrCreatePen& rec, Fault fault) {
  GdiObject pen;
  pen.kind = GdiObject::Kind::Pen;
  // Pens of CreatePen are geometric when wide: round caps and joins.
  pen.pen.style = rec.style & PS_STYLE_MASK;
  if (pen.pen.style > PS_ALTERNATE) pen.pen.style = PS_SOLID;
  pen.pen.width = std::abs(double(rec.width));
  pen.pen.color = rec.color & 0xFFFFFF;
  return objects_.Create(rec.handle, std::move(pen), fault);
}

bool DeviceContext::OnExtCreatePen(const EmrExtCreatePen& rec, Fault fault) {
  GdiObject object;
  PenObject& pen = object.pen;
  const uint32_t style = rec.style;
  object.kind = GdiObject::Kind::Pen;
  pen.style = style;
  if ((style & PS_STYLE_MASK) > PS_ALTERNATE) pen.style = (style & ~PS_STYLE_MASK);
  pen.width = (style & PS_GEOMETRIC) ? double(rec.width) : 0;
  pen.color = rec.color & 0xFFFFFF;  // a pattern pen draws in its colour
  if (rec.brushStyle == BS_NULL) pen.style = (pen.style & ~PS_STYLE_MASK) | PS_NULL;
  if ((style & PS_STYLE_MASK) == PS_USERSTYLE) {
    pen.userStyle = rec.styleEntries;
    const bool any =
        std::any_of(pen.userStyle.begin(), pen.userStyle.end(), [](uint32_t e) { return e != 0; });
    if (!any || pen.userStyle.size() > 16) pen.style = pen.style & ~PS_STYLE_MASK;  // solid
  }
  return objects_.Create(rec.handle, std::move(object), fault);
}

bool DeviceContext::OnCreateBrush(const EmrCreateBrush& rec, Fault fault) {
  GdiObject object;
  BrushObject& brush = object.brush;
  object.kind = GdiObject::Kind::Brush;
  brush.color = rec.color & 0xFFFFFF;
  if (rec.style == BS_NULL) {
    brush.kind = BrushObject::Kind::Null;
  } else if (rec.style == BS_HATCHED && rec.hatch <= 5) {
    brush.kind = BrushObject::Kind::Hatch;
    brush.hatch = rec.hatch;
  } else {
    brush.kind = BrushObject::Kind::Solid;
  }
  return objects_.Create(rec.handle, std::move(object), fault);
}

bool DeviceContext::OnCreateDibBrush(const EmrDibBrush& rec, Fault fault) {
  if (!objects_.CheckSlot(rec.handle, fault)) return false;
  GdiObject object;
  BrushObject& brush = object.brush;
  object.kind = GdiObject::Kind::Brush;
  std::string why;
  if (rec.mono) {
    // Decoded once now to check it; again with the colours of each use.
    const uint32_t mono[2] = {0, 0xFFFFFF};
    if (!DecodeDib(rec.info, rec.bits, rec.usage, mono, &why)) return Fail(fault, "bad bitmap: " + why);
    brush.kind = BrushObject::Kind::Mono;
    brush.info.assign(rec.info.begin(), rec.info.end());
    brush.bits.assign(rec.bits.begin(), rec.bits.end());
  } else {
    auto dib = DecodeDib(rec.info, rec.bits, rec.usage, nullptr, &why);
    if (!dib) return Fail(fault, "bad bitmap: " + why);
    brush.kind = BrushObject::Kind::Pattern;
    brush.width = dib->width;
    brush.height = dib->height;
    brush.pixels = std::move(dib->pixels);
  }
  return objects_.Create(rec.handle, std::move(object), fault);
}

}  // namespace snk::gdi
