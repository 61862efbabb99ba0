#include "host/gdi/device_context.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/gdi/emf_player.h"
#include "host/gdi/record_fields.h"

namespace snk::gdi {

using engine::Region;
using engine::RegionOp;

namespace {

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
  const double ow =
      std::min(frame.left + frame.width, bounds.right + 1.0) - std::max<double>(frame.left, bounds.left);
  const double oh =
      std::min(frame.top + frame.height, bounds.bottom + 1.0) - std::max<double>(frame.top, bounds.top);
  const double inside = ow > 0 && oh > 0 ? ow * oh : 0;
  if (inside >= 0.25 * bw * bh) return frame;
  const double grow = std::max({1.0, bw / frame.width, bh / frame.height});
  return {double(bounds.left), double(bounds.top), frame.width * grow, frame.height * grow};
}

// The header's frame (0.01 mm) in reference pixels.
PageArea FrameInPixels(const EmfHeader& header) {
  const double pxPerHmmX =
      header.millimeters.cx > 0 ? double(header.device.cx) / (header.millimeters.cx * 100.0) : 0;
  const double pxPerHmmY =
      header.millimeters.cy > 0 ? double(header.device.cy) / (header.millimeters.cy * 100.0) : 0;
  return {header.frame.left * pxPerHmmX, header.frame.top * pxPerHmmY,
          (double(header.frame.right) - header.frame.left) * pxPerHmmX,
          (double(header.frame.bottom) - header.frame.top) * pxPerHmmY};
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

uint32_t PenObject::EndCap() const {
  const uint32_t cap = style & PS_ENDCAP_MASK;
  if (!(style & PS_GEOMETRIC) || cap == 0) return ENDCAP_ROUND;
  return cap == PS_ENDCAP_SQUARE ? ENDCAP_SQUARE : ENDCAP_BUTT;
}

uint32_t PenObject::Join() const {
  const uint32_t join = style & PS_JOIN_MASK;
  if (!(style & PS_GEOMETRIC) || join == 0) return JOIN_ROUND;
  return join == PS_JOIN_BEVEL ? JOIN_BEVEL : JOIN_MITER;
}

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
    : header_(header), target_(target), objects_(header.handles) {
  const SURFOBJ* so = target.Surface();
  const LONG w = so ? so->sizlBitmap.cx : 0;
  const LONG h = so ? so->sizlBitmap.cy : 0;
  surface_ = {0, 0, std::max<LONG>(w, 0), std::max<LONG>(h, 0)};
  // The frame, stretched over the surface.
  const PageArea frame = FrameInPixels(header);
  if (frame.width > 0 && frame.height > 0 && surface_.right > 0 && surface_.bottom > 0) {
    // Some programs record a frame that misses their drawing; the header's
    // bounds then say where it is.
    const PageArea shown = ShownArea(header.bounds, frame);
    page_ = FitOnSurface(shown, surface_.right, surface_.bottom);
  }
  state_.pen = ObjectTable::Stock(BLACK_PEN, state_);
  state_.brush = ObjectTable::Stock(WHITE_BRUSH, state_);
  state_.font = ObjectTable::Stock(13, state_);
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

POINTL DeviceContext::DeviceBrushOrigin() const {
  const PointD org = page_.Apply(state_.brushOrigin);
  return {LONG(std::lround(org.x)), LONG(std::lround(org.y))};
}

std::shared_ptr<const GdiObject> DeviceContext::Object(uint32_t handle, std::string* fault) const {
  return objects_.Get(handle, state_, fault);
}

}  // namespace snk::gdi
