// The path bracket's records, the clipping records and the region records.
#include <algorithm>
#include <cmath>
#include <utility>

#include "host/engine/path.h"
#include "host/gdi/device_context.h"
#include "host/gdi/device_pixels.h"
#include "host/gdi/emf_objects.h"
#include "host/gdi/emf_records.h"
#include "host/gdi/record_fields.h"

namespace snk::gdi {

using engine::Region;
using engine::RegionOp;

namespace {

constexpr uint32_t kRgnAnd = 1;
constexpr uint32_t kRgnDiff = 4;
constexpr uint32_t kRgnCopy = 5;

}  // namespace

// ---------------------------------------------------------------- the path bracket

bool DeviceContext::OnBeginPath(const EmrEmpty&, Fault) {
  bracket_.Begin();
  return true;
}

bool DeviceContext::OnEndPath(const EmrEmpty&, Fault fault) { return bracket_.End(fault); }

bool DeviceContext::OnAbortPath(const EmrEmpty&, Fault) {
  bracket_.Abort();
  return true;
}

bool DeviceContext::OnCloseFigure(const EmrEmpty&, Fault fault) { return bracket_.CloseFigure(fault); }

bool DeviceContext::OnFlattenPath(const EmrEmpty&, Fault fault) { return bracket_.Flatten(fault); }

bool DeviceContext::OnWidenPath(const EmrEmpty&, Fault fault) {
  const PenObject& pen = state_.pen->pen;
  const double width = std::max(1.0, pen.width * std::sqrt(std::fabs(DeviceMatrix().Determinant())));
  return bracket_.Widen(width, pen.EndCap(), pen.Join(), state_.miterLimit, fault);
}

bool DeviceContext::RenderPath(bool stroke, bool fill, std::string* fault) {
  GdiPath path;
  bool widened = false;
  if (!bracket_.Take(&path, &widened, fault)) return false;
  return Render(path, DeviceMatrix(), stroke, fill, widened);
}

bool DeviceContext::OnFillPath(const EmrEmpty&, Fault fault) { return RenderPath(false, true, fault); }
bool DeviceContext::OnStrokePath(const EmrEmpty&, Fault fault) { return RenderPath(true, false, fault); }
bool DeviceContext::OnStrokeAndFillPath(const EmrEmpty&, Fault fault) {
  return RenderPath(true, true, fault);
}

// ---------------------------------------------------------------- clipping

bool DeviceContext::CombineClip(const Region& region, uint32_t mode, std::string* fault) {
  if (mode < 1 || mode > 5) return Fail(fault, "combine mode " + std::to_string(mode) + " is unknown");
  const Region current = state_.clip ? *state_.clip : Region(surface_);
  state_.clip = mode == kRgnCopy ? region : current.Combine(region, RegionOp(mode));
  ClipChanged();
  return true;
}

std::optional<Region> DeviceContext::ReferenceRegion(std::span<const std::byte> data,
                                                     std::string* fault) const {
  auto region = ParseRegionData(data, fault);
  if (!region) return std::nullopt;
  return region->Transformed(page_.m11, page_.m22, page_.dx, page_.dy);
}

bool DeviceContext::OnSelectClipPath(const EmrValue& rec, Fault fault) {
  GdiPath path;
  bool widened = false;
  if (!bracket_.Take(&path, &widened, fault)) return false;
  const bool winding = widened || state_.polyFillMode == kWinding;
  return CombineClip(Region::FromPath(ToHostPath(path), winding), rec.value, fault);
}

// A logical rectangle combined with the clip: exact pixels when the
// mapping keeps axes, else the rectangle's outline as a path.
bool DeviceContext::ClipRect(const double v[4], uint32_t mode, std::string* fault) {
  const Matrix m = DeviceMatrix();
  const PointD a = m.Apply({v[0], v[1]}), b = m.Apply({v[2], v[3]});
  for (double c : {a.x, a.y, b.x, b.y})
    if (!InRange(c)) return Fail(fault, "rectangle lies too far away");
  if (m.AxisAligned()) return CombineClip(Region(Normalized(a.x, a.y, b.x, b.y)), mode, fault);
  GdiPath logical, device;
  logical.MoveTo({v[0], v[1]});
  logical.LineTo({v[2], v[1]});
  logical.LineTo({v[2], v[3]});
  logical.LineTo({v[0], v[3]});
  logical.CloseFigure();
  if (!ToDevice(logical, &device, fault)) return false;
  return CombineClip(Region::FromPath(ToHostPath(device), false), mode, fault);
}

bool DeviceContext::OnIntersectClipRect(const EmrBox& rec, Fault fault) {
  return ClipRect(rec.box, kRgnAnd, fault);
}
bool DeviceContext::OnExcludeClipRect(const EmrBox& rec, Fault fault) {
  return ClipRect(rec.box, kRgnDiff, fault);
}

bool DeviceContext::OnExtSelectClipRgn(const EmrClipRegion& rec, Fault fault) {
  if (rec.data.empty()) {
    if (rec.mode != kRgnCopy) return Fail(fault, "no region to combine");
    state_.clip.reset();
    ClipChanged();
    return true;
  }
  auto region = ReferenceRegion(rec.data, fault);
  if (!region) return false;
  return CombineClip(*region, rec.mode, fault);
}

bool DeviceContext::OnOffsetClipRgn(const EmrPoint& rec, Fault fault) {
  const Matrix m = DeviceMatrix();
  const PointD p = rec.point;
  const double dx = p.x * m.m11 + p.y * m.m21, dy = p.x * m.m12 + p.y * m.m22;
  if (!InRange(dx) || !InRange(dy)) return Fail(fault, "offset too large");
  if (state_.clip) {
    state_.clip->Offset(int32_t(std::lround(dx)), int32_t(std::lround(dy)));
    ClipChanged();
  }
  return true;
}

bool DeviceContext::OnSetMetaRgn(const EmrEmpty&, Fault) {
  DcState& s = state_;
  if (s.clip) {
    s.meta = s.meta ? s.meta->Combine(*s.clip, RegionOp::And) : *s.clip;
    s.clip.reset();
    ClipChanged();
  }
  return true;
}

// ---------------------------------------------------------------- region records

ROP4 DeviceContext::Rop4OfRop2() const {
  const ROP4 rop3 = kRop3OfRop2[state_.rop2 - 1];
  return rop3 | rop3 << 8;
}

bool DeviceContext::OnRegion(const EmrRegion& rec, Fault fault) {
  const uint32_t t = rec.type;
  std::shared_ptr<const GdiObject> brush = state_.brush;
  if (rec.brush != 0 || t == EMR_FILLRGN || t == EMR_FRAMERGN) {
    brush = Object(rec.brush, fault);
    if (!brush) return false;
    if (brush->kind != GdiObject::Kind::Brush)
      return Fail(fault, "handle " + std::to_string(rec.brush) + " is not a brush");
  }
  auto region = ReferenceRegion(rec.data, fault);
  if (!region) return false;
  if (t == EMR_INVERTRGN) return Blit(region->Bounds(), &*region, nullptr, 0x5555);
  if (t == EMR_FRAMERGN) {
    const Matrix m = DeviceMatrix();
    const int32_t fw = std::max(1, int32_t(std::min(1e6, std::fabs(rec.frameWidth * m.m11) + 0.5)));
    const int32_t fh = std::max(1, int32_t(std::min(1e6, std::fabs(rec.frameHeight * m.m22) + 0.5)));
    // The erosion: pixels whose neighbours fw across and fh down are all inside.
    Region eroded = *region;
    for (auto [dx, dy] : {std::pair{fw, 0}, std::pair{-fw, 0}, std::pair{0, fh}, std::pair{0, -fh}}) {
      Region moved = *region;
      moved.Offset(dx, dy);
      eroded = eroded.Combine(moved, RegionOp::And);
    }
    const Region frame = region->Combine(eroded, RegionOp::Diff);
    return Blit(frame.Bounds(), &frame, &brush->brush, Rop4OfRop2());
  }
  if (brush->brush.kind == BrushObject::Kind::Null) return true;
  return Blit(region->Bounds(), &*region, &brush->brush, Rop4OfRop2());
}

}  // namespace snk::gdi
