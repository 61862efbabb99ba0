#include "host/gdi/device_context.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <span>
#include <utility>

#include "host/engine/brush.h"
#include "host/engine/clip.h"
#include "host/engine/path.h"
#include "host/engine/xform.h"
#include "host/gdi/emf_objects.h"
#include "host/gdi/emf_player.h"
#include "host/gdi/emf_records.h"

namespace snk::gdi {

using engine::HostBrush;
using engine::HostClip;
using engine::HostPath;
using engine::HostXform;
using engine::Region;
using engine::RegionOp;

namespace {

constexpr uint32_t kOpaque = 2;
constexpr uint32_t kTransparent = 1;
constexpr uint32_t kWinding = 2;

// The part of the reference device that the page shows, from the frame in
// reference pixels: the frame itself, unless the recorded bounds (inclusive)
// lie mostly outside it. Then the bounds' corner starts the page, and a
// drawing larger than the frame is shrunk to fit, keeping its proportions.
// Bounds that are empty or far larger than the frame are not trusted.
struct PageArea {
  double left, top, width, height;
};
PageArea ShownArea(const RECTL& bounds, const PageArea& frame) {
  const double bw = double(bounds.right) - bounds.left + 1, bh = double(bounds.bottom) - bounds.top + 1;
  if (bw <= 0 || bh <= 0 || bw > 2 * frame.width || bh > 2 * frame.height) return frame;
  const double ow = std::min(frame.left + frame.width, bounds.right + 1.0) - std::max<double>(frame.left, bounds.left);
  const double oh = std::min(frame.top + frame.height, bounds.bottom + 1.0) - std::max<double>(frame.top, bounds.top);
  const double inside = ow > 0 && oh > 0 ? ow * oh : 0;
  if (inside >= 0.25 * bw * bh) return frame;
  const double grow = std::max({1.0, bw / frame.width, bh / frame.height});
  return {double(bounds.left), double(bounds.top), frame.width * grow, frame.height * grow};
}

// ROP2 (1..16) to the ternary op that does the same with the pattern.
constexpr uint8_t kRop3OfRop2[16] = {0x00, 0x05, 0x0A, 0x0F, 0x50, 0x55, 0x5A, 0x5F,
                                     0xA0, 0xA5, 0xAA, 0xAF, 0xF0, 0xF5, 0xFA, 0xFF};

// Cosmetic style arrays in pixels: dash and gap lengths.
const std::vector<uint32_t>& CosmeticStyle(uint32_t kind) {
  static const std::vector<uint32_t> dash{18, 6}, dot{3, 3}, dashDot{9, 6, 3, 6},
      dashDotDot{9, 3, 3, 3, 3, 3}, none{};
  switch (kind) {
    case PS_DASH:
      return dash;
    case PS_DOT:
      return dot;
    case PS_DASHDOT:
      return dashDot;
    case PS_DASHDOTDOT:
      return dashDotDot;
    default:
      return none;
  }
}

// Geometric style arrays in pen widths.
const std::vector<uint32_t>& GeometricStyle(uint32_t kind) {
  static const std::vector<uint32_t> dash{3, 1}, dot{1, 1}, dashDot{3, 1, 1, 1}, dashDotDot{3, 1, 1, 1, 1, 1},
      none{};
  switch (kind) {
    case PS_DASH:
      return dash;
    case PS_DOT:
      return dot;
    case PS_DASHDOT:
      return dashDot;
    case PS_DASHDOTDOT:
      return dashDotDot;
    default:
      return none;
  }
}

bool ReadPoint(ByteReader& r, PointD& p) {
  int32_t x = 0, y = 0;
  if (!r.ReadI32(x) || !r.ReadI32(y)) return false;
  p = {double(x), double(y)};
  return true;
}

bool ReadRect(ByteReader& r, double v[4]) {
  for (int i = 0; i < 4; ++i) {
    int32_t c = 0;
    if (!r.ReadI32(c)) return false;
    v[i] = c;
  }
  return true;
}

bool ReadFloat(ByteReader& r, double& out) {
  uint32_t bits = 0;
  if (!r.ReadU32(bits)) return false;
  out = std::bit_cast<float>(bits);
  return true;
}

bool ReadMatrix(ByteReader& r, Matrix& m) {
  return ReadFloat(r, m.m11) && ReadFloat(r, m.m12) && ReadFloat(r, m.m21) && ReadFloat(r, m.m22) &&
         ReadFloat(r, m.dx) && ReadFloat(r, m.dy);
}

bool Fail(std::string* fault, std::string text) {
  if (fault) *fault = std::move(text);
  return false;
}

LONG FloorPx(FIX f) { return static_cast<LONG>(std::floor(f / 16.0)); }
LONG CeilPx(FIX f) { return static_cast<LONG>(std::ceil(f / 16.0)); }

RECTL Normalized(double l, double t, double r, double b) {
  return {static_cast<LONG>(std::lround(std::min(l, r))), static_cast<LONG>(std::lround(std::min(t, b))),
          static_cast<LONG>(std::lround(std::max(l, r))), static_cast<LONG>(std::lround(std::max(t, b)))};
}

HostPath ToHostPath(const GdiPath& device) {
  HostPath hp;
  const auto& pts = device.points;
  for (size_t i = 0; i < pts.size(); ++i) {
    const uint8_t type = device.types[i] & ~PT_CLOSEFIGURE;
    const POINTFIX p{engine::ToFix(pts[i].x), engine::ToFix(pts[i].y)};
    if (type == PT_BEZIERTO && i + 2 < pts.size()) {
      const POINTFIX c2{engine::ToFix(pts[i + 1].x), engine::ToFix(pts[i + 1].y)};
      const POINTFIX e{engine::ToFix(pts[i + 2].x), engine::ToFix(pts[i + 2].y)};
      hp.BezierTo(p, c2, e);
      i += 2;
    } else if (type == PT_MOVETO) {
      hp.MoveTo(p);
    } else {
      hp.LineTo(p);
    }
    if (device.types[i] & PT_CLOSEFIGURE) hp.CloseFigure();
  }
  return hp;
}

}  // namespace

Matrix Matrix::Then(const Matrix& n) const {
  Matrix r;
  r.m11 = m11 * n.m11 + m12 * n.m21;
  r.m12 = m11 * n.m12 + m12 * n.m22;
  r.m21 = m21 * n.m11 + m22 * n.m21;
  r.m22 = m21 * n.m12 + m22 * n.m22;
  r.dx = dx * n.m11 + dy * n.m21 + n.dx;
  r.dy = dx * n.m12 + dy * n.m22 + n.dy;
  return r;
}

bool Matrix::Finite() const {
  return std::isfinite(m11) && std::isfinite(m12) && std::isfinite(m21) && std::isfinite(m22) &&
         std::isfinite(dx) && std::isfinite(dy);
}

// A pen resolved for one drawing: what the target gets.
struct DeviceContext::Pen {
  bool null = true;
  bool cosmetic = true;
  bool styled = false;
  uint32_t color = 0;
  double deviceWidth = 1;
  LINEATTRS la{};
  std::vector<FLOAT_LONG> style;
};

namespace {

// The mapping of the shown area onto a surface. Paper is given in tenths of
// a millimetre and surfaces in whole pixels, so a page on the paper made
// from its own frame differs from the surface's shape by rounding only: it
// fills the surface. On paper of another shape (chosen by the user, or
// turned) the drawing keeps its proportions and is centred.
Matrix FitOnSurface(const PageArea& shown, LONG width, LONG height) {
  constexpr double kSameShape = 0.005;
  double sx = width / shown.width;
  double sy = height / shown.height;
  double offsetX = 0, offsetY = 0;
  if (std::abs(sx - sy) > kSameShape * std::max(sx, sy)) {
    sx = sy = std::min(sx, sy);
    offsetX = (width - shown.width * sx) / 2;
    offsetY = (height - shown.height * sy) / 2;
  }
  Matrix page;
  page.m11 = sx;
  page.m22 = sy;
  page.dx = offsetX - shown.left * sx;
  page.dy = offsetY - shown.top * sy;
  return page;
}

}  // namespace

DeviceContext::DeviceContext(const EmfHeader& header, PlayTarget& target)
    : header_(header), target_(target), handles_(std::max<size_t>(header.handles, 1)) {
  const SURFOBJ* so = target.Surface();
  const LONG w = so ? so->sizlBitmap.cx : 0;
  const LONG h = so ? so->sizlBitmap.cy : 0;
  surface_ = {0, 0, std::max<LONG>(w, 0), std::max<LONG>(h, 0)};
  // The frame (0.01 mm) in reference pixels, stretched over the surface.
  const double pxPerHmmX =
      header.millimeters.cx > 0 ? double(header.device.cx) / (header.millimeters.cx * 100.0) : 0;
  const double pxPerHmmY =
      header.millimeters.cy > 0 ? double(header.device.cy) / (header.millimeters.cy * 100.0) : 0;
  const PageArea frame{header.frame.left * pxPerHmmX, header.frame.top * pxPerHmmY,
                       (double(header.frame.right) - header.frame.left) * pxPerHmmX,
                       (double(header.frame.bottom) - header.frame.top) * pxPerHmmY};
  if (frame.width > 0 && frame.height > 0 && surface_.right > 0 && surface_.bottom > 0) {
    // Some programs record a frame that misses their drawing; the header's
    // bounds then say where it is.
    const PageArea shown = ShownArea(header.bounds, frame);
    page_ = FitOnSurface(shown, surface_.right, surface_.bottom);
  }
  state_.pen = Stock(BLACK_PEN);
  state_.brush = Stock(WHITE_BRUSH);
  state_.font = Stock(13);
}

DeviceContext::~DeviceContext() = default;

Matrix DeviceContext::DeviceMatrix() const {
  const DcState& s = state_;
  Matrix wv;
  wv.m11 = s.viewportExt.x / s.windowExt.x;
  wv.m22 = s.viewportExt.y / s.windowExt.y;
  wv.dx = s.viewportOrg.x - s.windowOrg.x * wv.m11;
  wv.dy = s.viewportOrg.y - s.windowOrg.y * wv.m22;
  return s.world.Then(wv).Then(page_);
}

Region DeviceContext::VisibleRegion() const {
  Region vis(surface_);
  if (state_.clip) vis = vis.Combine(*state_.clip, RegionOp::And);
  if (state_.meta) vis = vis.Combine(*state_.meta, RegionOp::And);
  return vis;
}

std::shared_ptr<const GdiObject> DeviceContext::Stock(uint32_t n) const {
  auto obj = std::make_shared<GdiObject>();
  if (n <= 5 || n == DC_BRUSH) {
    static const uint32_t grays[] = {0xFFFFFF, 0xC0C0C0, 0x808080, 0x404040, 0x000000, 0};
    obj->kind = GdiObject::Kind::Brush;
    obj->brush.kind = n == NULL_BRUSH ? BrushObject::Kind::Null : BrushObject::Kind::Solid;
    obj->brush.color = n == DC_BRUSH ? state_.dcBrushColor : grays[n];
  } else if (n == WHITE_PEN || n == BLACK_PEN || n == NULL_PEN || n == DC_PEN) {
    obj->kind = GdiObject::Kind::Pen;
    obj->pen.style = n == NULL_PEN ? PS_NULL : PS_SOLID;
    obj->pen.color = n == WHITE_PEN ? 0xFFFFFF : n == DC_PEN ? state_.dcPenColor : 0;
  } else if ((n >= 10 && n <= 14) || n == 16 || n == 17) {
    obj->kind = GdiObject::Kind::Font;
    FontObject& f = obj->font;
    f.id = n + 1;
    switch (n) {
      case 10:  // OEM_FIXED_FONT
      case 11:  // ANSI_FIXED_FONT
      case 16:  // SYSTEM_FIXED_FONT
        f.face = u"Courier New";
        f.height = n == 16 ? 15 : 13;
        f.pitchAndFamily = 0x31;  // FIXED_PITCH | FF_MODERN
        break;
      case 12:  // ANSI_VAR_FONT
        f.face = u"MS Sans Serif";
        f.height = 13;
        break;
      case 17:  // DEFAULT_GUI_FONT
        f.face = u"MS Shell Dlg";
        f.height = -11;
        break;
      default:  // SYSTEM_FONT, DEVICE_DEFAULT_FONT
        f.face = u"System";
        f.height = 16;
        f.weight = 700;
        break;
    }
  } else if (n == 15) {
    obj->kind = GdiObject::Kind::Palette;
  } else {
    return nullptr;
  }
  return obj;
}

std::shared_ptr<const GdiObject> DeviceContext::Object(uint32_t handle, std::string* fault) const {
  if (handle & 0x80000000u) {
    auto obj = Stock(handle & 0x7FFFFFFFu);
    if (!obj) Fail(fault, "no stock object " + std::to_string(handle & 0x7FFFFFFFu));
    return obj;
  }
  if (handle == 0 || handle >= handles_.size()) {
    Fail(fault,
         "handle " + std::to_string(handle) + " is outside the table of " + std::to_string(handles_.size()));
    return nullptr;
  }
  if (!handles_[handle]) Fail(fault, "handle " + std::to_string(handle) + " holds no object");
  return handles_[handle];
}

bool DeviceContext::Handles(uint32_t type) {
  switch (type) {
    case EMR_SAVEDC:
    case EMR_RESTOREDC:
    case EMR_SETMAPMODE:
    case EMR_SETWINDOWEXTEX:
    case EMR_SETWINDOWORGEX:
    case EMR_SETVIEWPORTEXTEX:
    case EMR_SETVIEWPORTORGEX:
    case EMR_SCALEVIEWPORTEXTEX:
    case EMR_SCALEWINDOWEXTEX:
    case EMR_SETWORLDTRANSFORM:
    case EMR_MODIFYWORLDTRANSFORM:
    case EMR_SETPOLYFILLMODE:
    case EMR_SETROP2:
    case EMR_SETMITERLIMIT:
    case EMR_SETBKMODE:
    case EMR_SETBKCOLOR:
    case EMR_SETTEXTCOLOR:
    case EMR_SETARCDIRECTION:
    case EMR_SETBRUSHORGEX:
    case EMR_MOVETOEX:
    case EMR_SETMAPPERFLAGS:
    case EMR_SETICMMODE:
    case EMR_SETLAYOUT:
    case EMR_SETSTRETCHBLTMODE:
    case EMR_SETTEXTALIGN:
    case EMR_SETCOLORADJUSTMENT:
    case EMR_SELECTPALETTE:
    case EMR_CREATEPALETTE:
    case EMR_REALIZEPALETTE:
    case EMR_COMMENT:
    case EMR_EXTCREATEFONTINDIRECTW:
    case EMR_CREATEPEN:
    case EMR_EXTCREATEPEN:
    case EMR_CREATEBRUSHINDIRECT:
    case EMR_CREATEDIBPATTERNBRUSHPT:
    case EMR_CREATEMONOBRUSH:
    case EMR_SELECTOBJECT:
    case EMR_DELETEOBJECT:
    case EMR_LINETO:
    case EMR_POLYLINE:
    case EMR_POLYLINETO:
    case EMR_POLYBEZIER:
    case EMR_POLYBEZIERTO:
    case EMR_POLYGON:
    case EMR_POLYPOLYLINE:
    case EMR_POLYPOLYGON:
    case EMR_POLYLINE16:
    case EMR_POLYLINETO16:
    case EMR_POLYBEZIER16:
    case EMR_POLYBEZIERTO16:
    case EMR_POLYGON16:
    case EMR_POLYPOLYLINE16:
    case EMR_POLYPOLYGON16:
    case EMR_POLYDRAW:
    case EMR_POLYDRAW16:
    case EMR_RECTANGLE:
    case EMR_ROUNDRECT:
    case EMR_ELLIPSE:
    case EMR_ARC:
    case EMR_ARCTO:
    case EMR_CHORD:
    case EMR_PIE:
    case EMR_ANGLEARC:
    case EMR_SETPIXELV:
    case EMR_BEGINPATH:
    case EMR_ENDPATH:
    case EMR_CLOSEFIGURE:
    case EMR_FILLPATH:
    case EMR_STROKEPATH:
    case EMR_STROKEANDFILLPATH:
    case EMR_FLATTENPATH:
    case EMR_WIDENPATH:
    case EMR_ABORTPATH:
    case EMR_INTERSECTCLIPRECT:
    case EMR_EXCLUDECLIPRECT:
    case EMR_EXTSELECTCLIPRGN:
    case EMR_SELECTCLIPPATH:
    case EMR_OFFSETCLIPRGN:
    case EMR_SETMETARGN:
    case EMR_FILLRGN:
    case EMR_FRAMERGN:
    case EMR_INVERTRGN:
    case EMR_PAINTRGN:
    case EMR_BITBLT:
    case EMR_STRETCHBLT:
    case EMR_MASKBLT:
    case EMR_PLGBLT:
    case EMR_SETDIBITSTODEVICE:
    case EMR_STRETCHDIBITS:
    case EMR_ALPHABLEND:
    case EMR_TRANSPARENTBLT:
    case EMR_GRADIENTFILL:
    case EMR_SETTEXTJUSTIFICATION:
    case EMR_EXTTEXTOUTW:
    case EMR_EXTTEXTOUTA:
    case EMR_POLYTEXTOUTW:
    case EMR_POLYTEXTOUTA:
    case EMR_SMALLTEXTOUT:
      return true;
    default:
      return false;
  }
}

bool DeviceContext::Play(const EmfRecord& record, std::string* fault) {
  ByteReader r = record.Reader();
  switch (record.type) {
    case EMR_CREATEPEN:
    case EMR_EXTCREATEPEN:
    case EMR_CREATEBRUSHINDIRECT:
    case EMR_CREATEDIBPATTERNBRUSHPT:
    case EMR_CREATEMONOBRUSH:
    case EMR_SELECTOBJECT:
    case EMR_DELETEOBJECT:
    case EMR_EXTCREATEFONTINDIRECTW:
    case EMR_CREATEPALETTE:
    case EMR_SELECTPALETTE:
      return PlayObject(record, r, fault);
    case EMR_BEGINPATH:
    case EMR_ENDPATH:
    case EMR_CLOSEFIGURE:
    case EMR_FILLPATH:
    case EMR_STROKEPATH:
    case EMR_STROKEANDFILLPATH:
    case EMR_FLATTENPATH:
    case EMR_WIDENPATH:
    case EMR_ABORTPATH:
    case EMR_INTERSECTCLIPRECT:
    case EMR_EXCLUDECLIPRECT:
    case EMR_EXTSELECTCLIPRGN:
    case EMR_SELECTCLIPPATH:
    case EMR_OFFSETCLIPRGN:
    case EMR_SETMETARGN:
      return PlayPathOrClip(record, r, fault);
    case EMR_FILLRGN:
    case EMR_FRAMERGN:
    case EMR_INVERTRGN:
    case EMR_PAINTRGN:
      return PlayRegion(record, r, fault);
    case EMR_BITBLT:
    case EMR_STRETCHBLT:
    case EMR_MASKBLT:
    case EMR_PLGBLT:
    case EMR_SETDIBITSTODEVICE:
    case EMR_STRETCHDIBITS:
    case EMR_ALPHABLEND:
    case EMR_TRANSPARENTBLT:
      return PlayBitmap(record, r, fault);
    case EMR_GRADIENTFILL:
      return PlayGradient(r, fault);
    case EMR_EXTTEXTOUTW:
    case EMR_EXTTEXTOUTA:
    case EMR_POLYTEXTOUTW:
    case EMR_POLYTEXTOUTA:
    case EMR_SMALLTEXTOUT:
      return PlayText(record, r, fault);
    default:
      break;
  }
  if (record.type == EMR_LINETO || record.type == EMR_SETPIXELV ||
      (record.type >= EMR_POLYBEZIER && record.type <= EMR_POLYPOLYGON) ||
      (record.type >= EMR_ANGLEARC && record.type <= EMR_PIE) || record.type == EMR_ARCTO ||
      record.type == EMR_POLYDRAW || (record.type >= EMR_POLYBEZIER16 && record.type <= EMR_POLYDRAW16))
    return PlayDrawing(record, r, fault);
  return PlayState(record, r, fault);
}

// ---------------------------------------------------------------- state

bool DeviceContext::SetMapMode(uint32_t mode, std::string* fault) {
  if (mode < 1 || mode > 8) return Fail(fault, "map mode " + std::to_string(mode) + " is unknown");
  DcState& s = state_;
  const double mmx = header_.millimeters.cx, mmy = header_.millimeters.cy;
  const double k[] = {0, 0, 10, 100, 100 / 25.4, 1000 / 25.4, 1440 / 25.4};
  if (mode >= 2 && mode <= 6) {
    if (mmx <= 0 || mmy <= 0 || header_.device.cx <= 0 || header_.device.cy <= 0)
      return Fail(fault, "the reference device has no size for a metric map mode");
    s.windowExt = {mmx * k[mode], mmy * k[mode]};
    s.viewportExt = {double(header_.device.cx), -double(header_.device.cy)};
  } else if (mode == 1) {
    s.windowExt = {1, 1};
    s.viewportExt = {1, 1};
  }
  s.mapMode = mode;
  FixIsotropic();
  return true;
}

void DeviceContext::FixIsotropic() {
  DcState& s = state_;
  if (s.mapMode != 7) return;
  const double xs = std::fabs(s.viewportExt.x / s.windowExt.x),
               ys = std::fabs(s.viewportExt.y / s.windowExt.y);
  if (xs > ys)
    s.viewportExt.x = std::copysign(std::fabs(s.windowExt.x) * ys, s.viewportExt.x);
  else if (ys > xs)
    s.viewportExt.y = std::copysign(std::fabs(s.windowExt.y) * xs, s.viewportExt.y);
}

bool DeviceContext::SetWorld(const Matrix& m, std::string* fault) {
  if (!m.Finite()) return Fail(fault, "the world transform is not finite");
  if (m.Determinant() == 0 || !std::isfinite(m.Determinant()))
    return Fail(fault, "the world transform is singular");
  state_.world = m;
  return true;
}

bool DeviceContext::PlayState(const EmfRecord& record, ByteReader& r, std::string* fault) {
  DcState& s = state_;
  uint32_t u = 0;
  int32_t a = 0, b = 0, c = 0, d = 0;
  const bool extMode = s.mapMode == 7 || s.mapMode == 8;
  switch (record.type) {
    case EMR_SAVEDC:
      saved_.push_back(s);
      return true;
    case EMR_RESTOREDC: {
      if (!r.ReadI32(a)) return Fail(fault, "too short");
      const int64_t n = int64_t(saved_.size());
      const int64_t target = a < 0 ? n + a : int64_t(a) - 1;
      if (a == 0 || target < 0 || target >= n)
        return Fail(fault, "no saved state " + std::to_string(a) + " (" + std::to_string(n) + " saved)");
      s = saved_[size_t(target)];
      saved_.resize(size_t(target));
      ClipChanged();
      return true;
    }
    case EMR_SETMAPMODE:
      if (!r.ReadU32(u)) return Fail(fault, "too short");
      return SetMapMode(u, fault);
    case EMR_SETWINDOWEXTEX:
    case EMR_SETVIEWPORTEXTEX:
      if (!r.ReadI32(a) || !r.ReadI32(b)) return Fail(fault, "too short");
      if (a == 0 || b == 0) return Fail(fault, "extent has a zero side");
      if (!extMode) return true;
      (record.type == EMR_SETWINDOWEXTEX ? s.windowExt : s.viewportExt) = {double(a), double(b)};
      FixIsotropic();
      return true;
    case EMR_SETWINDOWORGEX:
    case EMR_SETVIEWPORTORGEX:
      if (!r.ReadI32(a) || !r.ReadI32(b)) return Fail(fault, "too short");
      (record.type == EMR_SETWINDOWORGEX ? s.windowOrg : s.viewportOrg) = {double(a), double(b)};
      return true;
    case EMR_SCALEVIEWPORTEXTEX:
    case EMR_SCALEWINDOWEXTEX: {
      if (!r.ReadI32(a) || !r.ReadI32(b) || !r.ReadI32(c) || !r.ReadI32(d)) return Fail(fault, "too short");
      if (b == 0 || d == 0) return Fail(fault, "scale has a zero denominator");
      if (!extMode) return true;
      PointD& ext = record.type == EMR_SCALEWINDOWEXTEX ? s.windowExt : s.viewportExt;
      const PointD scaled{ext.x * a / b, ext.y * c / d};
      if (scaled.x == 0 || scaled.y == 0) return Fail(fault, "scaled extent has a zero side");
      ext = scaled;
      FixIsotropic();
      return true;
    }
    case EMR_SETWORLDTRANSFORM: {
      Matrix m;
      if (!ReadMatrix(r, m)) return Fail(fault, "too short");
      return SetWorld(m, fault);
    }
    case EMR_MODIFYWORLDTRANSFORM: {
      Matrix m;
      if (!ReadMatrix(r, m) || !r.ReadU32(u)) return Fail(fault, "too short");
      switch (u) {
        case 1:
          s.world = Matrix{};
          return true;
        case 2:
          return SetWorld(m.Then(s.world), fault);
        case 3:
          return SetWorld(s.world.Then(m), fault);
        case 4:
          return SetWorld(m, fault);
        default:
          return Fail(fault, "mode " + std::to_string(u) + " is unknown");
      }
    }
    case EMR_SETPOLYFILLMODE:
      if (!r.ReadU32(u)) return Fail(fault, "too short");
      if (u != 1 && u != 2) return Fail(fault, "fill mode " + std::to_string(u) + " is unknown");
      s.polyFillMode = u;
      return true;
    case EMR_SETROP2:
      if (!r.ReadU32(u)) return Fail(fault, "too short");
      if (u < 1 || u > 16) return Fail(fault, "raster op " + std::to_string(u) + " is unknown");
      s.rop2 = u;
      return true;
    case EMR_SETMITERLIMIT:
      if (!r.ReadU32(u)) return Fail(fault, "too short");
      if (u < 1) return Fail(fault, "miter limit below 1");
      s.miterLimit = u;
      return true;
    case EMR_SETBKMODE:
      if (!r.ReadU32(u)) return Fail(fault, "too short");
      if (u != kOpaque && u != kTransparent) return Fail(fault, "mode " + std::to_string(u) + " is unknown");
      s.bkMode = u;
      return true;
    case EMR_SETBKCOLOR:
    case EMR_SETTEXTCOLOR:
      if (!r.ReadU32(u)) return Fail(fault, "too short");
      (record.type == EMR_SETBKCOLOR ? s.bkColor : s.textColor) = u & 0xFFFFFF;
      return true;
    case EMR_SETARCDIRECTION:
      if (!r.ReadU32(u)) return Fail(fault, "too short");
      if (u != 1 && u != 2) return Fail(fault, "direction " + std::to_string(u) + " is unknown");
      s.clockwise = u == 2;
      return true;
    case EMR_SETBRUSHORGEX:
      if (!ReadPoint(r, s.brushOrigin)) return Fail(fault, "too short");
      return true;
    case EMR_SETSTRETCHBLTMODE:
      if (!r.ReadU32(u)) return Fail(fault, "too short");
      if (u < BLACKONWHITE || u > HALFTONE)
        return Fail(fault, "stretch mode " + std::to_string(u) + " is unknown");
      s.stretchMode = u;
      return true;
    case EMR_MOVETOEX: {
      PointD p;
      if (!ReadPoint(r, p)) return Fail(fault, "too short");
      s.current = p;
      figureOpen_ = false;
      return true;
    }
    case EMR_SETTEXTALIGN:
      if (!r.ReadU32(u)) return Fail(fault, "too short");
      s.textAlign = u;
      return true;
    case EMR_SETMAPPERFLAGS:
      if (!r.ReadU32(u)) return Fail(fault, "too short");
      s.mapperFlags = u;
      return true;
    case EMR_SETTEXTJUSTIFICATION:
      if (!r.ReadI32(a) || !r.ReadI32(b)) return Fail(fault, "too short");
      s.breakExtra = b > 0 ? a : 0;
      s.breakCount = b > 0 ? b : 0;
      return true;
    default:
      // Records accepted without effect on drawing.
      return true;
  }
}

// ---------------------------------------------------------------- objects

bool DeviceContext::PlayObject(const EmfRecord& record, ByteReader& r, std::string* fault) {
  uint32_t ih = 0;
  if (!r.ReadU32(ih)) return Fail(fault, "too short");
  auto slot = [&](std::string* f) -> bool {
    if (ih == 0 || ih >= handles_.size())
      return Fail(
          f, "handle " + std::to_string(ih) + " is outside the table of " + std::to_string(handles_.size()));
    return true;
  };
  auto obj = std::make_shared<GdiObject>();
  // Bytes at an offset from the record's start.
  auto at = [&](uint32_t off, uint32_t size, std::span<const std::byte>& out) {
    if (off > record.bytes.size() || size > record.bytes.size() - off) return false;
    out = record.bytes.subspan(off, size);
    return true;
  };
  switch (record.type) {
    case EMR_SELECTOBJECT: {
      auto o = Object(ih, fault);
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
          return Fail(fault, "handle " + std::to_string(ih) + " is not a pen, brush or font");
      }
    }
    case EMR_DELETEOBJECT:
      if (ih & 0x80000000u) return true;  // stock objects are never deleted
      if (!slot(fault)) return false;
      if (!handles_[ih]) return Fail(fault, "handle " + std::to_string(ih) + " holds no object");
      handles_[ih].reset();  // a selection keeps its own reference
      return true;
    case EMR_SELECTPALETTE:
      return true;
    case EMR_CREATEPALETTE:
      if (!slot(fault)) return false;
      obj->kind = GdiObject::Kind::Palette;
      break;
    case EMR_EXTCREATEFONTINDIRECTW:
      if (!ReadLogFont(record.bytes.subspan(12), &obj->font, fault)) return false;
      if (!slot(fault)) return false;
      obj->kind = GdiObject::Kind::Font;
      obj->font.id = nextFontId_++;
      break;
    case EMR_CREATEPEN: {
      uint32_t style = 0, color = 0;
      int32_t width = 0, unused = 0;
      if (!r.ReadU32(style) || !r.ReadI32(width) || !r.ReadI32(unused) || !r.ReadU32(color))
        return Fail(fault, "too short");
      if (!slot(fault)) return false;
      obj->kind = GdiObject::Kind::Pen;
      // Pens of CreatePen are geometric when wide: round caps and joins.
      obj->pen.style = style & PS_STYLE_MASK;
      if (obj->pen.style > PS_ALTERNATE) obj->pen.style = PS_SOLID;
      obj->pen.width = std::abs(double(width));
      obj->pen.color = color & 0xFFFFFF;
      break;
    }
    case EMR_EXTCREATEPEN: {
      uint32_t offBmi = 0, cbBmi = 0, offBits = 0, cbBits = 0, style = 0, width = 0, brushStyle = 0,
               color = 0, hatch = 0, nStyle = 0;
      if (!r.ReadU32(offBmi) || !r.ReadU32(cbBmi) || !r.ReadU32(offBits) || !r.ReadU32(cbBits) ||
          !r.ReadU32(style) || !r.ReadU32(width) || !r.ReadU32(brushStyle) || !r.ReadU32(color) ||
          !r.ReadU32(hatch) || !r.ReadU32(nStyle))
        return Fail(fault, "too short");
      if (nStyle > r.remaining() / 4)
        return Fail(fault, "style entry count " + std::to_string(nStyle) + " exceeds the record");
      if (!slot(fault)) return false;
      obj->kind = GdiObject::Kind::Pen;
      obj->pen.style = style;
      if ((style & PS_STYLE_MASK) > PS_ALTERNATE) obj->pen.style = (style & ~PS_STYLE_MASK);
      obj->pen.width = (style & PS_GEOMETRIC) ? double(width) : 0;
      obj->pen.color = color & 0xFFFFFF;  // a pattern pen draws in its colour
      if (brushStyle == BS_NULL) obj->pen.style = (obj->pen.style & ~PS_STYLE_MASK) | PS_NULL;
      if ((style & PS_STYLE_MASK) == PS_USERSTYLE) {
        obj->pen.userStyle.resize(nStyle);
        for (uint32_t& e : obj->pen.userStyle) r.ReadU32(e);
        bool any = false;
        for (uint32_t e : obj->pen.userStyle) any = any || e != 0;
        if (!any || nStyle > 16) obj->pen.style = obj->pen.style & ~PS_STYLE_MASK;  // solid
      }
      break;
    }
    case EMR_CREATEBRUSHINDIRECT: {
      uint32_t style = 0, color = 0, hatch = 0;
      if (!r.ReadU32(style) || !r.ReadU32(color) || !r.ReadU32(hatch)) return Fail(fault, "too short");
      if (!slot(fault)) return false;
      obj->kind = GdiObject::Kind::Brush;
      obj->brush.color = color & 0xFFFFFF;
      if (style == BS_NULL) {
        obj->brush.kind = BrushObject::Kind::Null;
      } else if (style == BS_HATCHED && hatch <= 5) {
        obj->brush.kind = BrushObject::Kind::Hatch;
        obj->brush.hatch = hatch;
      } else {
        obj->brush.kind = BrushObject::Kind::Solid;
      }
      break;
    }
    case EMR_CREATEDIBPATTERNBRUSHPT:
    case EMR_CREATEMONOBRUSH: {
      uint32_t usage = 0, offBmi = 0, cbBmi = 0, offBits = 0, cbBits = 0;
      if (!r.ReadU32(usage) || !r.ReadU32(offBmi) || !r.ReadU32(cbBmi) || !r.ReadU32(offBits) ||
          !r.ReadU32(cbBits))
        return Fail(fault, "too short");
      std::span<const std::byte> info, bits;
      if (!at(offBmi, cbBmi, info) || !at(offBits, cbBits, bits))
        return Fail(fault, "bitmap lies outside the record");
      if (!slot(fault)) return false;
      obj->kind = GdiObject::Kind::Brush;
      if (record.type == EMR_CREATEMONOBRUSH) {
        // Decoded once now to check it; again with the colours of each use.
        const uint32_t mono[2] = {0, 0xFFFFFF};
        std::string why;
        if (!DecodeDib(info, bits, usage, mono, &why)) return Fail(fault, "bad bitmap: " + why);
        obj->brush.kind = BrushObject::Kind::Mono;
        obj->brush.info.assign(info.begin(), info.end());
        obj->brush.bits.assign(bits.begin(), bits.end());
      } else {
        std::string why;
        auto dib = DecodeDib(info, bits, usage, nullptr, &why);
        if (!dib) return Fail(fault, "bad bitmap: " + why);
        obj->brush.kind = BrushObject::Kind::Pattern;
        obj->brush.width = dib->width;
        obj->brush.height = dib->height;
        obj->brush.pixels = std::move(dib->pixels);
      }
      break;
    }
    default:
      return Fail(fault, "not an object record");
  }
  handles_[ih] = std::move(obj);
  return true;
}

// ---------------------------------------------------------------- drawing

bool DeviceContext::ToDevice(const GdiPath& logical, GdiPath* device, std::string* fault) const {
  const Matrix m = DeviceMatrix();
  if (!m.Finite() || m.Determinant() == 0) return Fail(fault, "the transform to the device is unusable");
  device->points.clear();
  device->types = logical.types;
  device->points.reserve(logical.points.size());
  for (const PointD& p : logical.points) {
    const PointD q = m.Apply(p);
    if (!(std::fabs(q.x) <= kMaxDeviceCoordinate) || !(std::fabs(q.y) <= kMaxDeviceCoordinate))
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
  if (inBracket_) {
    size_t first = 0;
    if (continues && figureOpen_ && !path_.Empty() && device.types[0] == PT_MOVETO) first = 1;
    for (size_t i = first; i < device.points.size(); ++i) {
      path_.points.push_back(device.points[i]);
      path_.types.push_back(device.types[i]);
    }
    figureOpen_ = !(device.types.back() & PT_CLOSEFIGURE);
    return true;
  }
  return Render(device, DeviceMatrix(), stroke, fill, fault);
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

bool DeviceContext::Render(const GdiPath& device, const Matrix& toDevice, bool stroke, bool fill,
                           std::string* fault, bool winding) {
  (void)fault;
  const PenObject& penObj = state_.pen->pen;
  const BrushObject& brushObj = state_.brush->brush;
  stroke = stroke && penObj.Kind() != PS_NULL;
  fill = fill && brushObj.kind != BrushObject::Kind::Null;
  if (!stroke && !fill) return true;

  HostPath hp = ToHostPath(device);
  if (hp.Empty()) return true;
  const double scale = std::sqrt(std::fabs(toDevice.Determinant()));

  // The pen.
  Pen pen;
  LINEATTRS& la = pen.la;
  if (stroke) {
    pen.null = false;
    pen.color = penObj.color;
    pen.deviceWidth = penObj.width * scale;
    pen.cosmetic = penObj.width == 0 || pen.deviceWidth <= 1;
    const uint32_t kind = penObj.Kind();
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
        for (uint32_t e : CosmeticStyle(kind)) pen.style.push_back(FLOAT_LONG{.l = LONG(e)});
      }
    } else {
      la.fl |= LA_GEOMETRIC;
      la.elWidth.e = FLOATL(penObj.width);
      const bool extPen = (penObj.style & PS_GEOMETRIC) != 0;
      const uint32_t cap = penObj.style & PS_ENDCAP_MASK, join = penObj.style & PS_JOIN_MASK;
      la.iEndCap = !extPen || cap == 0 ? ENDCAP_ROUND : cap == PS_ENDCAP_SQUARE ? ENDCAP_SQUARE : ENDCAP_BUTT;
      la.iJoin = !extPen || join == 0 ? JOIN_ROUND : join == PS_JOIN_BEVEL ? JOIN_BEVEL : JOIN_MITER;
      la.eMiterLimit = FLOATL(state_.miterLimit);
      // Styles of wide pens scale with the width (logical units).
      if (extPen && kind == PS_USERSTYLE) {
        for (uint32_t e : penObj.userStyle) pen.style.push_back(FLOAT_LONG{.e = FLOATL(e)});
      } else if (extPen) {
        for (uint32_t e : GeometricStyle(kind))
          pen.style.push_back(FLOAT_LONG{.e = FLOATL(e * penObj.width)});
      }
    }
    if (!pen.style.empty()) {
      pen.styled = true;
      la.fl |= LA_STYLED;
      la.cstyle = ULONG(pen.style.size());
      la.pstyle = pen.style.data();
    }
  }

  // Device bounds of what is drawn.
  const RECTFX fx = hp.Bounds();
  // A pen wider than the coordinate range grows the bounds by that range.
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
  const PointD org = page_.Apply(state_.brushOrigin);
  POINTL brushOrigin{LONG(std::lround(org.x)), LONG(std::lround(org.y))};
  const FLONG options = winding || state_.polyFillMode == kWinding ? FP_WINDINGMODE : FP_ALTERNATEMODE;
  MIX strokeMix = state_.rop2 | state_.rop2 << 8;
  if (pen.styled && state_.bkMode == kTransparent) strokeMix = state_.rop2 | R2_NOP << 8;

  hp.EnumStart();
  if (stroke && fill)
    target_.StrokeAndFillPath(&hp.po, &clip.co, xo, &penBrush->bo, &la, &fillBrush->bo, &brushOrigin,
                              Mix(&brushObj), options);
  else if (stroke)
    target_.StrokePath(&hp.po, &clip.co, xo, &penBrush->bo, &brushOrigin, &la, strokeMix);
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

POINTL DeviceContext::DeviceBrushOrigin() const {
  const PointD org = page_.Apply(state_.brushOrigin);
  return {LONG(std::lround(org.x)), LONG(std::lround(org.y))};
}

bool DeviceContext::PlayDrawing(const EmfRecord& record, ByteReader& r, std::string* fault) {
  DcState& s = state_;
  const uint32_t t = record.type;
  GdiPath shape;
  const bool cw = s.clockwise;
  auto box = [&](double v[4]) { return ReadRect(r, v) ? true : Fail(fault, "too short"); };
  switch (t) {
    case EMR_LINETO: {
      PointD p;
      if (!ReadPoint(r, p)) return Fail(fault, "too short");
      const PenObject& pen = s.pen->pen;
      const Matrix m = DeviceMatrix();
      const bool cosmeticSolid = (pen.Kind() == PS_SOLID || pen.Kind() == PS_INSIDEFRAME) &&
                                 (pen.width == 0 || pen.width * std::sqrt(std::fabs(m.Determinant())) <= 1);
      if (!inBracket_ && cosmeticSolid) {
        GdiPath seg;
        seg.MoveTo(s.current);
        seg.LineTo(p);
        GdiPath d;
        if (!ToDevice(seg, &d, fault)) return false;
        s.current = p;
        const LONG x1 = LONG(std::lround(d.points[0].x)), y1 = LONG(std::lround(d.points[0].y));
        const LONG x2 = LONG(std::lround(d.points[1].x)), y2 = LONG(std::lround(d.points[1].y));
        RECTL bounds{std::min(x1, x2), std::min(y1, y2), std::max(x1, x2) + 1, std::max(y1, y2) + 1};
        const Region vis = VisibleRegion();
        if (vis.Intersect(bounds).Empty()) return true;
        HostClip clip(vis, &bounds, uniq_);
        HostBrush hb = HostBrush::Solid(pen.color);
        target_.LineTo(&clip.co, &hb.bo, x1, y1, x2, y2, &bounds, s.rop2 | s.rop2 << 8);
        return true;
      }
      shape.MoveTo(s.current);
      shape.LineTo(p);
      if (!Draw(shape, true, false, true, fault)) return false;
      s.current = p;
      return true;
    }
    case EMR_RECTANGLE:
    case EMR_ELLIPSE: {
      double v[4];
      if (!box(v)) return false;
      const Matrix m = DeviceMatrix();
      if (t == EMR_RECTANGLE && !inBracket_ && s.pen->pen.Kind() == PS_NULL && m.AxisAligned() &&
          s.brush->brush.kind != BrushObject::Kind::Null) {
        const PointD a = m.Apply({v[0], v[1]}), b = m.Apply({v[2], v[3]});
        for (double c : {a.x, a.y, b.x, b.y})
          if (!(std::fabs(c) <= kMaxDeviceCoordinate)) return Fail(fault, "rectangle lies too far away");
        RECTL rect = Normalized(a.x, a.y, b.x, b.y);
        rect.right -= 1;  // a rectangle without its frame is one pixel short
        rect.bottom -= 1;
        const ROP4 rop3 = kRop3OfRop2[s.rop2 - 1];
        return Blit(rect, nullptr, &s.brush->brush, rop3 | rop3 << 8);
      }
      if (t == EMR_RECTANGLE)
        AppendRectangle(shape, v[0], v[1], v[2], v[3], cw);
      else
        AppendEllipse(shape, v[0], v[1], v[2], v[3], cw);
      return Draw(shape, true, true, false, fault);
    }
    case EMR_ROUNDRECT: {
      double v[4];
      int32_t w = 0, h = 0;
      if (!box(v)) return false;
      if (!r.ReadI32(w) || !r.ReadI32(h)) return Fail(fault, "too short");
      AppendRoundRect(shape, v[0], v[1], v[2], v[3], w, h, cw);
      return Draw(shape, true, true, false, fault);
    }
    case EMR_ARC:
    case EMR_ARCTO:
    case EMR_CHORD:
    case EMR_PIE: {
      double v[4];
      PointD a, b;
      if (!box(v)) return false;
      if (!ReadPoint(r, a) || !ReadPoint(r, b)) return Fail(fault, "too short");
      const ArcKind kind = t == EMR_ARC     ? ArcKind::Arc
                           : t == EMR_ARCTO ? ArcKind::ArcTo
                           : t == EMR_CHORD ? ArcKind::Chord
                                            : ArcKind::Pie;
      if (kind == ArcKind::ArcTo) shape.MoveTo(s.current);
      const PointD end = AppendArc(shape, v[0], v[1], v[2], v[3], a, b, cw, kind, s.current);
      const bool closed = kind == ArcKind::Chord || kind == ArcKind::Pie;
      if (!Draw(shape, true, closed, kind == ArcKind::ArcTo, fault)) return false;
      if (kind == ArcKind::ArcTo) s.current = end;
      return true;
    }
    case EMR_ANGLEARC: {
      PointD c;
      uint32_t radius = 0;
      double start = 0, sweep = 0;
      if (!ReadPoint(r, c) || !r.ReadU32(radius) || !ReadFloat(r, start) || !ReadFloat(r, sweep))
        return Fail(fault, "too short");
      if (!std::isfinite(start) || !std::isfinite(sweep) || radius > (1u << 30))
        return Fail(fault, "angles or radius out of range");
      shape.MoveTo(s.current);
      const PointD end = AppendAngleArc(shape, s.current, c, radius, start, sweep);
      if (!Draw(shape, true, false, true, fault)) return false;
      s.current = end;
      return true;
    }
    case EMR_SETPIXELV: {
      PointD p;
      uint32_t color = 0;
      if (!ReadPoint(r, p) || !r.ReadU32(color)) return Fail(fault, "too short");
      const Matrix m = DeviceMatrix();
      const PointD a = m.Apply(p), b = m.Apply({p.x + 1, p.y + 1});
      for (double c : {a.x, a.y, b.x, b.y})
        if (!(std::fabs(c) <= kMaxDeviceCoordinate)) return Fail(fault, "pixel lies too far away");
      RECTL rect = Normalized(a.x, a.y, b.x, b.y);
      if (rect.right == rect.left) ++rect.right;
      if (rect.bottom == rect.top) ++rect.bottom;
      BrushObject solid;
      solid.color = color & 0xFFFFFF;
      return Blit(rect, nullptr, &solid, 0xF0F0);
    }
    default:
      break;
  }

  // The poly records: bounds, then counts and points.
  const bool small = t >= EMR_POLYBEZIER16;
  const uint32_t base = small ? t - (EMR_POLYBEZIER16 - EMR_POLYBEZIER) : t;
  const size_t pointSize = small ? 4 : 8;
  if (!r.Skip(16)) return Fail(fault, "too short");
  uint32_t nPolys = 1, count = 0;
  const bool poly2 = base == EMR_POLYPOLYLINE || base == EMR_POLYPOLYGON;
  if (poly2 && !r.ReadU32(nPolys)) return Fail(fault, "too short");
  if (!r.ReadU32(count)) return Fail(fault, "too short");
  std::vector<uint32_t> counts;
  if (poly2) {
    if (nPolys > r.remaining() / 4)
      return Fail(fault, "polygon count " + std::to_string(nPolys) + " exceeds the record");
    counts.resize(nPolys);
    uint64_t total = 0;
    for (uint32_t& c : counts) {
      r.ReadU32(c);
      total += c;
    }
    if (total != count)
      return Fail(fault,
                  "point counts add up to " + std::to_string(total) + ", not " + std::to_string(count));
  } else {
    counts.push_back(count);
  }
  const bool polyDraw = t == EMR_POLYDRAW || t == EMR_POLYDRAW16;
  if (count > r.remaining() / (pointSize + (polyDraw ? 1 : 0)))
    return Fail(fault, "point count " + std::to_string(count) + " exceeds the record");
  std::vector<PointD> pts(count);
  for (PointD& p : pts) {
    if (small) {
      int16_t x = 0, y = 0;
      r.ReadI16(x);
      r.ReadI16(y);
      p = {double(x), double(y)};
    } else {
      ReadPoint(r, p);
    }
  }

  if (polyDraw) {
    std::span<const std::byte> types;
    r.ReadSpan(count, types);
    shape.MoveTo(s.current);
    PointD cur = s.current;
    for (size_t i = 0; i < count; ++i) {
      const uint8_t ty = uint8_t(types[i]);
      switch (ty & ~PT_CLOSEFIGURE) {
        case PT_MOVETO:
          shape.MoveTo(pts[i]);
          break;
        case PT_LINETO:
          shape.LineTo(pts[i]);
          break;
        case PT_BEZIERTO:
          if (i + 2 >= count || (uint8_t(types[i + 1]) & ~PT_CLOSEFIGURE) != PT_BEZIERTO ||
              (uint8_t(types[i + 2]) & ~PT_CLOSEFIGURE) != PT_BEZIERTO)
            return Fail(fault, "Bezier point " + std::to_string(i) + " is not one of three");
          shape.BezierTo(pts[i], pts[i + 1], pts[i + 2]);
          i += 2;
          break;
        default:
          return Fail(fault, "point type " + std::to_string(ty) + " is unknown");
      }
      cur = pts[i];
      if (uint8_t(types[i]) & PT_CLOSEFIGURE) shape.CloseFigure();
    }
    if (!Draw(shape, true, false, true, fault)) return false;
    s.current = cur;
    return true;
  }

  const bool to = base == EMR_POLYLINETO || base == EMR_POLYBEZIERTO;
  const bool bezier = base == EMR_POLYBEZIER || base == EMR_POLYBEZIERTO;
  const bool closed = base == EMR_POLYGON || base == EMR_POLYPOLYGON;
  if (bezier && (to ? count % 3 != 0 : (count == 0 || (count - 1) % 3 != 0)))
    return Fail(fault, std::to_string(count) + " points do not make Bezier curves");
  size_t k = 0;
  for (uint32_t n : counts) {
    if (n == 0) continue;
    size_t i = k;
    if (to) {
      shape.MoveTo(s.current);
    } else {
      shape.MoveTo(pts[k]);
      ++i;
    }
    if (bezier) {
      for (; i + 2 < k + n; i += 3) shape.BezierTo(pts[i], pts[i + 1], pts[i + 2]);
    } else {
      for (; i < k + n; ++i) shape.LineTo(pts[i]);
    }
    if (closed) shape.CloseFigure();
    k += n;
  }
  if (!Draw(shape, true, closed, to, fault)) return false;
  if (to && count > 0) s.current = pts.back();
  return true;
}

// ---------------------------------------------------------------- blit placement

void DeviceContext::PlaceDestination(double x, double y, double cx, double cy, PointD corner[3]) const {
  const Matrix m = DeviceMatrix();
  corner[0] = m.Apply({x, y});
  corner[1] = m.Apply({x + cx, y});
  corner[2] = m.Apply({x, y + cy});
}

bool DeviceContext::FitSource(BlitPlan& plan, std::string* fault) const {
  PointD* c = plan.corner;
  double* s = plan.src;
  for (const PointD& p : {c[0], c[1], c[2]})
    if (!(std::fabs(p.x) <= kMaxDeviceCoordinate) || !(std::fabs(p.y) <= kMaxDeviceCoordinate))
      return Fail(fault, "the destination lies too far away");
  for (int i = 0; i < 4; ++i)
    if (!(std::fabs(s[i]) <= kMaxDeviceCoordinate))
      return Fail(fault, "the source rectangle lies too far away");
  // Whole source pixels.
  for (int i = 0; i < 4; ++i) s[i] = std::round(s[i]);
  // A source running right to left or bottom to top mirrors the destination.
  if (s[2] < s[0]) {
    std::swap(s[0], s[2]);
    const PointD across{c[1].x - c[0].x, c[1].y - c[0].y};
    std::swap(c[0], c[1]);
    c[2] = {c[2].x + across.x, c[2].y + across.y};
  }
  if (s[3] < s[1]) {
    std::swap(s[1], s[3]);
    const PointD down{c[2].x - c[0].x, c[2].y - c[0].y};
    std::swap(c[0], c[2]);
    c[1] = {c[1].x + down.x, c[1].y + down.y};
  }
  const double sw = s[2] - s[0], sh = s[3] - s[1];
  if (sw == 0 || sh == 0) return Fail(fault, "the source rectangle is empty");
  // Cut to the source bitmap: the engine reads only inside it.
  double cut[4] = {s[0], s[1], s[2], s[3]};
  if (plan.source) {
    const SURFOBJ* so = plan.source->Surface();
    cut[0] = std::max(cut[0], 0.0);
    cut[1] = std::max(cut[1], 0.0);
    cut[2] = std::min(cut[2], double(so->sizlBitmap.cx));
    cut[3] = std::min(cut[3], double(so->sizlBitmap.cy));
  }
  if (cut[2] <= cut[0] || cut[3] <= cut[1])
    return Fail(fault, "the source rectangle lies outside the bitmap");
  const PointD across{(c[1].x - c[0].x) / sw, (c[1].y - c[0].y) / sw};
  const PointD down{(c[2].x - c[0].x) / sh, (c[2].y - c[0].y) / sh};
  auto at = [&](double u, double v) {
    return PointD{c[0].x + across.x * (u - s[0]) + down.x * (v - s[1]),
                  c[0].y + across.y * (u - s[0]) + down.y * (v - s[1])};
  };
  const PointD moved[3] = {at(cut[0], cut[1]), at(cut[2], cut[1]), at(cut[0], cut[3])};
  for (int i = 0; i < 3; ++i) c[i] = moved[i];
  plan.maskOrigin.x += LONG(cut[0] - s[0]);
  plan.maskOrigin.y += LONG(cut[1] - s[1]);
  for (int i = 0; i < 4; ++i) s[i] = cut[i];
  if (plan.mask) {
    const SURFOBJ* mo = plan.mask->Surface();
    const POINTL& o = plan.maskOrigin;
    if (o.x < 0 || o.y < 0 || o.x + (s[2] - s[0]) > mo->sizlBitmap.cx ||
        o.y + (s[3] - s[1]) > mo->sizlBitmap.cy)
      return Fail(fault, "the mask of " + std::to_string(mo->sizlBitmap.cx) + " x " +
                             std::to_string(mo->sizlBitmap.cy) + " pixels does not cover the source from (" +
                             std::to_string(o.x) + ", " + std::to_string(o.y) + ")");
  }
  return true;
}

bool DeviceContext::BlitClip(const RECTL& bounds, std::optional<HostClip>* clip) const {
  if (bounds.right <= bounds.left || bounds.bottom <= bounds.top) return false;
  const Region vis = VisibleRegion();
  if (vis.Intersect(bounds).Empty()) return false;
  clip->emplace(vis, &bounds, uniq_);
  return true;
}

// ---------------------------------------------------------------- paths and clipping

std::optional<Region> DeviceContext::ReferenceRegion(std::span<const std::byte> data,
                                                     std::string* fault) const {
  auto region = ParseRegionData(data, fault);
  if (!region) return std::nullopt;
  return region->Transformed(page_.m11, page_.m22, page_.dx, page_.dy);
}

bool DeviceContext::CombineClip(const Region& region, uint32_t mode, std::string* fault) {
  if (mode < 1 || mode > 5) return Fail(fault, "combine mode " + std::to_string(mode) + " is unknown");
  const Region current = state_.clip ? *state_.clip : Region(surface_);
  state_.clip = mode == 5 ? region : current.Combine(region, RegionOp(mode));
  ClipChanged();
  return true;
}

bool DeviceContext::PlayPathOrClip(const EmfRecord& record, ByteReader& r, std::string* fault) {
  const uint32_t t = record.type;
  DcState& s = state_;
  switch (t) {
    case EMR_BEGINPATH:
      inBracket_ = true;
      pathReady_ = pathWidened_ = false;
      figureOpen_ = false;
      path_ = GdiPath{};
      return true;
    case EMR_ENDPATH:
      if (!inBracket_) return Fail(fault, "no path is open");
      inBracket_ = false;
      pathReady_ = true;
      return true;
    case EMR_ABORTPATH:
      inBracket_ = pathReady_ = figureOpen_ = pathWidened_ = false;
      path_ = GdiPath{};
      return true;
    case EMR_CLOSEFIGURE:
      if (!inBracket_) return Fail(fault, "no path is open");
      path_.CloseFigure();
      figureOpen_ = false;
      return true;
    case EMR_FLATTENPATH:
    case EMR_WIDENPATH:
      if (!pathReady_) return Fail(fault, "no path is ready");
      if (t == EMR_FLATTENPATH) {
        path_ = Flatten(path_, 0.25);
      } else {
        const PenObject& pen = s.pen->pen;
        const Matrix m = DeviceMatrix();
        const double width = std::max(1.0, pen.width * std::sqrt(std::fabs(m.Determinant())));
        const bool ext = (pen.style & PS_GEOMETRIC) != 0;
        const uint32_t cap = pen.style & PS_ENDCAP_MASK, join = pen.style & PS_JOIN_MASK;
        path_ = Widen(path_, width,
                      !ext || cap == 0          ? ENDCAP_ROUND
                      : cap == PS_ENDCAP_SQUARE ? ENDCAP_SQUARE
                                                : ENDCAP_BUTT,
                      !ext || join == 0       ? JOIN_ROUND
                      : join == PS_JOIN_BEVEL ? JOIN_BEVEL
                                              : JOIN_MITER,
                      s.miterLimit);
        pathWidened_ = true;
      }
      return true;
    case EMR_FILLPATH:
    case EMR_STROKEPATH:
    case EMR_STROKEANDFILLPATH: {
      if (!pathReady_) return Fail(fault, "no path is ready");
      GdiPath path = std::move(path_);
      path_ = GdiPath{};
      pathReady_ = false;
      const bool winding = pathWidened_;
      pathWidened_ = false;
      return Render(path, DeviceMatrix(), t != EMR_FILLPATH, t != EMR_STROKEPATH, fault, winding);
    }
    case EMR_SELECTCLIPPATH: {
      uint32_t mode = 0;
      if (!r.ReadU32(mode)) return Fail(fault, "too short");
      if (!pathReady_) return Fail(fault, "no path is ready");
      const HostPath hp = ToHostPath(path_);
      const bool winding = pathWidened_ || s.polyFillMode == kWinding;
      path_ = GdiPath{};
      pathReady_ = pathWidened_ = false;
      return CombineClip(Region::FromPath(hp, winding), mode, fault);
    }
    case EMR_INTERSECTCLIPRECT:
    case EMR_EXCLUDECLIPRECT: {
      double v[4];
      if (!ReadRect(r, v)) return Fail(fault, "too short");
      const Matrix m = DeviceMatrix();
      Region region;
      const PointD a = m.Apply({v[0], v[1]}), b = m.Apply({v[2], v[3]});
      for (double c : {a.x, a.y, b.x, b.y})
        if (!(std::fabs(c) <= kMaxDeviceCoordinate)) return Fail(fault, "rectangle lies too far away");
      if (m.AxisAligned()) {
        region = Region(Normalized(a.x, a.y, b.x, b.y));
      } else {
        GdiPath logical, device;
        logical.MoveTo({v[0], v[1]});
        logical.LineTo({v[2], v[1]});
        logical.LineTo({v[2], v[3]});
        logical.LineTo({v[0], v[3]});
        logical.CloseFigure();
        if (!ToDevice(logical, &device, fault)) return false;
        region = Region::FromPath(ToHostPath(device), false);
      }
      return CombineClip(region, t == EMR_INTERSECTCLIPRECT ? 1 : 4, fault);
    }
    case EMR_EXTSELECTCLIPRGN: {
      uint32_t size = 0, mode = 0;
      if (!r.ReadU32(size) || !r.ReadU32(mode)) return Fail(fault, "too short");
      std::span<const std::byte> data;
      if (!r.ReadSpan(size, data))
        return Fail(fault, "region data of " + std::to_string(size) + " bytes exceeds the record");
      if (size == 0) {
        if (mode != 5) return Fail(fault, "no region to combine");
        s.clip.reset();
        ClipChanged();
        return true;
      }
      auto region = ReferenceRegion(data, fault);
      if (!region) return false;
      return CombineClip(*region, mode, fault);
    }
    case EMR_OFFSETCLIPRGN: {
      PointD p;
      if (!ReadPoint(r, p)) return Fail(fault, "too short");
      const Matrix m = DeviceMatrix();
      const double dx = p.x * m.m11 + p.y * m.m21, dy = p.x * m.m12 + p.y * m.m22;
      if (!(std::fabs(dx) <= kMaxDeviceCoordinate) || !(std::fabs(dy) <= kMaxDeviceCoordinate))
        return Fail(fault, "offset too large");
      if (s.clip) {
        s.clip->Offset(int32_t(std::lround(dx)), int32_t(std::lround(dy)));
        ClipChanged();
      }
      return true;
    }
    case EMR_SETMETARGN:
      if (s.clip) {
        s.meta = s.meta ? s.meta->Combine(*s.clip, RegionOp::And) : *s.clip;
        s.clip.reset();
        ClipChanged();
      }
      return true;
    default:
      return Fail(fault, "not a path or clip record");
  }
}

// ---------------------------------------------------------------- region records

bool DeviceContext::PlayRegion(const EmfRecord& record, ByteReader& r, std::string* fault) {
  const uint32_t t = record.type;
  uint32_t size = 0, ih = 0;
  int32_t w = 0, h = 0;
  if (!r.Skip(16) || !r.ReadU32(size)) return Fail(fault, "too short");
  if ((t == EMR_FILLRGN || t == EMR_FRAMERGN) && !r.ReadU32(ih)) return Fail(fault, "too short");
  if (t == EMR_FRAMERGN && (!r.ReadI32(w) || !r.ReadI32(h))) return Fail(fault, "too short");
  std::span<const std::byte> data;
  if (!r.ReadSpan(size, data))
    return Fail(fault, "region data of " + std::to_string(size) + " bytes exceeds the record");
  std::shared_ptr<const GdiObject> brush = state_.brush;
  if (ih != 0 || t == EMR_FILLRGN || t == EMR_FRAMERGN) {
    brush = Object(ih, fault);
    if (!brush) return false;
    if (brush->kind != GdiObject::Kind::Brush)
      return Fail(fault, "handle " + std::to_string(ih) + " is not a brush");
  }
  auto region = ReferenceRegion(data, fault);
  if (!region) return false;
  const uint8_t rop3 = kRop3OfRop2[state_.rop2 - 1];
  if (t == EMR_INVERTRGN) return Blit(region->Bounds(), &*region, nullptr, 0x5555);
  if (t == EMR_FRAMERGN) {
    const Matrix m = DeviceMatrix();
    const int32_t fw = std::max(1, int32_t(std::min(1e6, std::fabs(w * m.m11) + 0.5)));
    const int32_t fh = std::max(1, int32_t(std::min(1e6, std::fabs(h * m.m22) + 0.5)));
    // The erosion: pixels whose neighbours fw across and fh down are all inside.
    Region eroded = *region;
    for (auto [dx, dy] : {std::pair{fw, 0}, std::pair{-fw, 0}, std::pair{0, fh}, std::pair{0, -fh}}) {
      Region moved = *region;
      moved.Offset(dx, dy);
      eroded = eroded.Combine(moved, RegionOp::And);
    }
    const Region frame = region->Combine(eroded, RegionOp::Diff);
    return Blit(frame.Bounds(), &frame, &brush->brush, rop3 | rop3 << 8);
  }
  if (brush->brush.kind == BrushObject::Kind::Null) return true;
  return Blit(region->Bounds(), &*region, &brush->brush, rop3 | rop3 << 8);
}

}  // namespace snk::gdi
