// The bitmap records of a page: blits with and without a source bitmap,
// alpha blending, colour keys and gradients.
//
// A record's source bitmap is decoded into a source surface in its own
// format with the translation of its colours (emf_objects.h). The
// destination rectangle goes through the DC's transform to the device; the
// source rectangle through the record's source transform to source pixels.
// Which engine call draws it follows from the two: an axis-aligned blit of
// equal size is CopyBits (SRCCOPY, no mask) or BitBlt, a stretched or
// mirrored one StretchBlt (SRCCOPY) or StretchBltROP, a rotated or sheared
// one PlgBlt.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>

#include "host/engine/path.h"
#include "host/gdi/device_context.h"
#include "host/gdi/device_pixels.h"
#include "host/gdi/emf_objects.h"
#include "host/gdi/emf_player.h"
#include "host/gdi/emf_records.h"
#include "host/gdi/record_fields.h"

namespace snk::gdi {

using engine::HostBrush;
using engine::HostClip;
using engine::HostPath;
using engine::Region;

namespace {

constexpr ROP4 kSrcCopy4 = 0xCCCC;

std::string Num(int64_t v) { return std::to_string(v); }

std::string Hex(uint32_t v) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%04X", v);
  return text;
}

// Whether a ternary op reads the source or the pattern.
bool UsesSource(uint8_t rop3) { return ((rop3 >> 2) ^ rop3) & 0x33; }
bool UsesPattern(uint8_t rop3) { return ((rop3 >> 4) ^ rop3) & 0x0F; }

// The ternary op of a raster-operation word of the records (0x00CC0020).
uint8_t Rop3Of(uint32_t dwRop) { return uint8_t(dwRop >> 16); }

// The bitmap of a record, decoded into a source surface: the source or
// (`isMask`) the mask. Notes of the decoding go to `notes`.
std::unique_ptr<SourceBitmap> RecordBitmap(std::span<const std::byte> record, const BitmapPlace& place,
                                           bool isMask, std::vector<std::string>& notes, std::string* fault,
                                           uint32_t maxRows = UINT32_MAX) {
  const char* name = isMask ? "Mask" : "Src";
  const std::string which = isMask ? "mask bitmap: " : "source bitmap: ";
  const size_t size = record.size();
  if (place.offBmi > size || place.cbBmi > size - place.offBmi) {
    Fail(fault, std::string("offBmi") + name + " " + Num(place.offBmi) + " + cbBmi" + name + " " +
                    Num(place.cbBmi) + " lie past the record's " + Num(int64_t(size)) + " bytes");
    return nullptr;
  }
  if (place.offBits > size || place.cbBits > size - place.offBits) {
    Fail(fault, std::string("offBits") + name + " " + Num(place.offBits) + " + cbBits" + name + " " +
                    Num(place.cbBits) + " lie past the record's " + Num(int64_t(size)) + " bytes");
    return nullptr;
  }
  std::string why;
  auto dib = DecodeDibSource(record.subspan(place.offBmi, place.cbBmi),
                             record.subspan(place.offBits, place.cbBits), place.usage, &why, maxRows);
  if (!dib) {
    Fail(fault, which + why);
    return nullptr;
  }
  if (!dib->note.empty()) notes.push_back(which + dib->note);
  auto bitmap = SourceBitmap::Create(std::move(*dib), &why);
  if (!bitmap) Fail(fault, why);
  return bitmap;
}

// A mask must be a 1-bit bitmap: its bits select the ROP4's two ops.
bool CheckMask(const SourceBitmap& mask, std::string* fault) {
  if (mask.dib().format == BMF_1BPP) return true;
  return Fail(fault, "mask bitmap: " + Num(mask.dib().bitCount) + " bits per pixel; a mask has 1");
}

// The source rectangle through the record's source transform.
bool SourceRect(const Matrix& xform, double x, double y, double cx, double cy, double out[4],
                std::string* fault) {
  if (!xform.Finite() || !xform.AxisAligned() || xform.Determinant() == 0)
    return Fail(fault, "the source transform is not a plain scale and offset");
  const PointD a = xform.Apply({x, y}), b = xform.Apply({x + cx, y + cy});
  out[0] = a.x;
  out[1] = a.y;
  out[2] = b.x;
  out[3] = b.y;
  return true;
}

RECTL BoundsOf(const PointD* p, size_t n) {
  double l = p[0].x, t = p[0].y, r = p[0].x, b = p[0].y;
  for (size_t i = 1; i < n; ++i) {
    l = std::min(l, p[i].x);
    t = std::min(t, p[i].y);
    r = std::max(r, p[i].x);
    b = std::max(b, p[i].y);
  }
  return {Round(l), Round(t), Round(r), Round(b)};
}

// The fourth corner of a parallelogram.
PointD Opposite(const PointD c[3]) { return {c[1].x + c[2].x - c[0].x, c[1].y + c[2].y - c[0].y}; }

bool AxisAligned(const PointD c[3]) {
  return std::fabs(c[1].y - c[0].y) < 0.5 && std::fabs(c[2].x - c[0].x) < 0.5;
}

}  // namespace

// ---------------------------------------------------------------- sending blits

bool DeviceContext::BrushBlit(const PointD corner[3], ROP4 rop, std::string* fault) {
  const uint8_t rop3 = uint8_t(rop);
  // The operation that leaves the destination as it is (applications
  // record it as a marker) changes nothing, and the engine passes it on to
  // no one.
  if (rop3 == 0xAA) return true;
  const BrushObject* brush = UsesPattern(rop3) ? &state_.brush->brush : nullptr;
  for (const PointD& p : {corner[0], corner[1], corner[2]})
    if (!(std::fabs(p.x) <= kMaxDeviceCoordinate) || !(std::fabs(p.y) <= kMaxDeviceCoordinate))
      return Fail(fault, "the destination lies too far away");
  if (AxisAligned(corner)) {
    const PointD c[4] = {corner[0], corner[1], corner[2], Opposite(corner)};
    return Blit(BoundsOf(c, 4), nullptr, brush, rop3 | rop3 << 8);
  }
  // A rotated destination: the parallelogram filled with the brush, by the
  // binary op that does what the ternary one does without a source.
  const uint8_t* found = std::find(kRop3OfRop2, kRop3OfRop2 + 16, rop3);
  const MIX rop2 = MIX(found - kRop3OfRop2 + 1);
  std::optional<HostBrush> hb;
  if (brush) {
    if (!Realize(*brush, &hb)) return true;
  } else {
    hb.emplace(HostBrush::Solid(0));
  }
  const PointD c[4] = {corner[0], corner[1], Opposite(corner), corner[2]};
  HostPath path;
  path.MoveTo({engine::ToFix(c[0].x), engine::ToFix(c[0].y)});
  for (int i = 1; i < 4; ++i) path.LineTo({engine::ToFix(c[i].x), engine::ToFix(c[i].y)});
  path.CloseFigure();
  RECTL bounds = BoundsOf(c, 4);
  std::optional<HostClip> clip;
  if (!BlitClip(bounds, &clip)) return true;
  POINTL brushOrigin = DeviceBrushOrigin();
  path.EnumStart();
  target_.FillPath(&path.po, &clip->co, &hb->bo, &brushOrigin, rop2 | rop2 << 8, FP_ALTERNATEMODE);
  return true;
}

bool DeviceContext::SendBlit(BlitPlan& plan, std::string* fault) {
  if (!FitSource(plan, fault)) return false;
  ROP4 rop = plan.rop;
  SURFOBJ* mask = plan.mask ? plan.mask->Surface() : nullptr;
  if ((rop & 0xFF) == (rop >> 8 & 0xFF)) mask = nullptr;  // both ops alike: the mask changes nothing
  std::optional<HostBrush> hb;
  if (UsesPattern(uint8_t(rop)) || UsesPattern(uint8_t(rop >> 8))) Realize(state_.brush->brush, &hb);
  BRUSHOBJ* brush = hb ? &hb->bo : nullptr;
  POINTL brushOrigin = DeviceBrushOrigin();
  SURFOBJ* source = plan.source->Surface();
  XLATEOBJ* xlate = plan.source->Xlate();
  RECTL src{LONG(plan.src[0]), LONG(plan.src[1]), LONG(plan.src[2]), LONG(plan.src[3])};
  POINTL maskOrigin = plan.maskOrigin;
  const PointD* c = plan.corner;
  std::optional<HostClip> clip;

  if (!AxisAligned(c)) {
    // A parallelogram takes the source, or the source where the mask is set.
    const bool copy = (rop & 0xFF) == 0xCC && (rop >> 8 & 0xFF) == (mask ? 0xAA : 0xCC);
    if (!copy) notes_.push_back("raster operation " + Hex(rop) + " under a rotation is drawn as a copy");
    const PointD all[4] = {c[0], c[1], c[2], Opposite(c)};
    RECTL bounds = BoundsOf(all, 4);
    bounds.right += 1;
    bounds.bottom += 1;
    if (!BlitClip(bounds, &clip)) return true;
    POINTFIX corners[3];
    for (int i = 0; i < 3; ++i) corners[i] = {engine::ToFix(c[i].x), engine::ToFix(c[i].y)};
    target_.PlgBlt(source, mask, &clip->co, xlate, nullptr, &brushOrigin, corners, &src,
                   mask ? &maskOrigin : nullptr, state_.stretchMode);
    return true;
  }

  // Left > right or top > bottom: a mirrored destination.
  RECTL dest{Round(c[0].x), Round(c[0].y), Round(c[1].x), Round(c[2].y)};
  if (dest.left == dest.right || dest.top == dest.bottom) return true;  // less than a pixel
  const RECTL bounds{std::min(dest.left, dest.right), std::min(dest.top, dest.bottom),
                     std::max(dest.left, dest.right), std::max(dest.top, dest.bottom)};
  if (!BlitClip(bounds, &clip)) return true;
  const bool mirrored = dest.left > dest.right || dest.top > dest.bottom;
  const bool sameSize = !mirrored && dest.right - dest.left == src.right - src.left &&
                        dest.bottom - dest.top == src.bottom - src.top;
  POINTL srcOrigin{src.left, src.top};
  if (sameSize && rop == kSrcCopy4 && !mask) {
    target_.CopyBits(source, &clip->co, xlate, &dest, &srcOrigin);
  } else if (sameSize) {
    target_.BitBlt(source, mask, &clip->co, xlate, &dest, &srcOrigin, mask ? &maskOrigin : nullptr, brush,
                   &brushOrigin, rop);
  } else if (rop == kSrcCopy4) {
    target_.StretchBlt(source, nullptr, &clip->co, xlate, nullptr, &brushOrigin, &dest, &src, nullptr,
                       state_.stretchMode);
  } else {
    target_.StretchBltROP(source, mask, &clip->co, xlate, nullptr, &brushOrigin, &dest, &src,
                          mask ? &maskOrigin : nullptr, state_.stretchMode, brush, rop);
  }
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
    if (!InRange(p.x) || !InRange(p.y)) return Fail(fault, "the destination lies too far away");
  for (int i = 0; i < 4; ++i)
    if (!InRange(s[i])) return Fail(fault, "the source rectangle lies too far away");
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

// ---------------------------------------------------------------- the records

namespace {

std::string Extents(int64_t cx, int64_t cy, const char* what) {
  return std::string(what) + " " + Num(cx) + " x " + Num(cy) + ": nothing to draw";
}

}  // namespace

// BITBLT, STRETCHBLT, MASKBLT: a raster operation of source, pattern and
// destination; ALPHABLEND and TRANSPARENTBLT go their own way.
bool DeviceContext::OnBlt(const EmrBlt& rec, Fault fault) {
  if (rec.type == EMR_ALPHABLEND || rec.type == EMR_TRANSPARENTBLT) return BlendBlt(rec, fault);
  if (rec.cxDest == 0 || rec.cyDest == 0)
    return Fail(fault, Extents(rec.cxDest, rec.cyDest, "destination extents"));
  const bool maskBlt = rec.type == EMR_MASKBLT;
  // MASKBLT's MAKEROP4: the foreground op in bits 16-23, the background op in 24-31.
  const ROP4 rop = maskBlt ? ROP4(rec.op >> 16 & 0xFF) | ROP4(rec.op >> 24 & 0xFF) << 8
                           : Rop3Of(rec.op) | ROP4(Rop3Of(rec.op)) << 8;
  BlitPlan plan;
  PlaceDestination(rec.xDest, rec.yDest, rec.cxDest, rec.cyDest, plan.corner);
  const bool needsSource = UsesSource(uint8_t(rop)) || UsesSource(uint8_t(rop >> 8));
  const bool masked = maskBlt && rec.mask.Present() && (rop & 0xFF) != (rop >> 8 & 0xFF);
  if (!needsSource && !masked) return BrushBlit(plan.corner, rop & 0xFF, fault);
  if (!rec.src.Present()) return Fail(fault, "the raster operation needs a source and the record has none");
  if (rec.cxSrc == 0 || rec.cySrc == 0) return Fail(fault, Extents(rec.cxSrc, rec.cySrc, "source extents"));
  if (!SourceRect(rec.xformSrc, rec.xSrc, rec.ySrc, rec.cxSrc, rec.cySrc, plan.src, fault)) return false;
  std::unique_ptr<SourceBitmap> source, mask;
  if (!(source = RecordBitmap(rec.recordBytes, rec.src, false, notes_, fault))) return false;
  if (masked) {
    if (!(mask = RecordBitmap(rec.recordBytes, rec.mask, true, notes_, fault))) return false;
    if (!CheckMask(*mask, fault)) return false;
    plan.mask = mask.get();
    plan.maskOrigin = rec.maskAt;
  }
  plan.source = source.get();
  plan.rop = rop;
  return SendBlit(plan, fault);
}

bool DeviceContext::OnPlgBlt(const EmrPlgBlt& rec, Fault fault) {
  if (rec.cxSrc == 0 || rec.cySrc == 0) return Fail(fault, Extents(rec.cxSrc, rec.cySrc, "source extents"));
  if (!rec.src.Present()) return Fail(fault, "the record has no source bitmap");
  BlitPlan plan;
  const Matrix m = DeviceMatrix();
  for (int i = 0; i < 3; ++i) plan.corner[i] = m.Apply({double(rec.corners[i].x), double(rec.corners[i].y)});
  if (!SourceRect(rec.xformSrc, rec.xSrc, rec.ySrc, rec.cxSrc, rec.cySrc, plan.src, fault)) return false;
  std::unique_ptr<SourceBitmap> source, mask;
  if (!(source = RecordBitmap(rec.recordBytes, rec.src, false, notes_, fault))) return false;
  plan.source = source.get();
  if (rec.mask.Present()) {
    if (!(mask = RecordBitmap(rec.recordBytes, rec.mask, true, notes_, fault))) return false;
    if (!CheckMask(*mask, fault)) return false;
    plan.mask = mask.get();
    plan.maskOrigin = rec.maskAt;
    plan.rop = 0xAACC;  // the source where the mask is set, the destination elsewhere
  }
  return SendBlit(plan, fault);
}

bool DeviceContext::OnDibBits(const EmrDibBits& rec, Fault fault) {
  BlitPlan plan;
  if (rec.stretch) {
    if (rec.cxDest == 0 || rec.cyDest == 0)
      return Fail(fault, Extents(rec.cxDest, rec.cyDest, "destination extents"));
    PlaceDestination(rec.xDest, rec.yDest, rec.cxDest, rec.cyDest, plan.corner);
  } else {
    // The origin goes through the whole mapping; the extents are
    // reference-device pixels, scaled onto the surface only.
    const PointD at = DeviceMatrix().Apply({double(rec.xDest), double(rec.yDest)});
    plan.corner[0] = at;
    plan.corner[1] = {at.x + rec.cxSrc * page_.m11, at.y};
    plan.corner[2] = {at.x, at.y + rec.cySrc * page_.m22};
  }
  const uint8_t rop3 = Rop3Of(rec.rop);
  if (!UsesSource(rop3)) return BrushBlit(plan.corner, rop3, fault);
  if (rec.cxSrc == 0 || rec.cySrc == 0) return Fail(fault, Extents(rec.cxSrc, rec.cySrc, "source extents"));
  if (!rec.src.Present()) return Fail(fault, "the record has no bitmap");
  if (!rec.stretch && rec.scanCount == 0) return true;  // no scan lines: nothing to set
  std::unique_ptr<SourceBitmap> source =
      RecordBitmap(rec.recordBytes, rec.src, false, notes_, fault, rec.stretch ? UINT32_MAX : rec.scanCount);
  if (!source) return false;
  // A bottom-up DIB counts ySrc (and the scan lines) from its bottom row.
  const DibSource& dib = source->dib();
  // The decoded rows start at scan line startScan of the whole bitmap
  // (SETDIBITSTODEVICE) or at its first (STRETCHDIBITS).
  const double first = rec.stretch ? 0 : double(rec.startScan);
  double top = double(rec.ySrc) - first, bottom = top + rec.cySrc;
  if (!dib.topDown) {
    top = first + dib.height - (double(rec.ySrc) + rec.cySrc);
    bottom = first + dib.height - rec.ySrc;
  }
  plan.src[0] = rec.xSrc;
  plan.src[1] = top;
  plan.src[2] = double(rec.xSrc) + rec.cxSrc;
  plan.src[3] = bottom;
  plan.source = source.get();
  plan.rop = rop3 | ROP4(rop3) << 8;
  return SendBlit(plan, fault);
}

bool DeviceContext::BlendBlt(const EmrBlt& rec, std::string* fault) {
  const bool alpha = rec.type == EMR_ALPHABLEND;
  if (rec.cxDest == 0 || rec.cyDest == 0)
    return Fail(fault, Extents(rec.cxDest, rec.cyDest, "destination extents"));
  if (rec.cxSrc == 0 || rec.cySrc == 0) return Fail(fault, Extents(rec.cxSrc, rec.cySrc, "source extents"));
  if (rec.cxDest < 0 || rec.cyDest < 0 || rec.cxSrc < 0 || rec.cySrc < 0)
    return Fail(fault, "negative extents: " + std::string(alpha ? "alpha blending" : "a colour key") +
                           " does not mirror");
  if (!rec.src.Present()) return Fail(fault, "the record has no source bitmap");
  BlitPlan plan;
  PlaceDestination(rec.xDest, rec.yDest, rec.cxDest, rec.cyDest, plan.corner);
  if (!SourceRect(rec.xformSrc, rec.xSrc, rec.ySrc, rec.cxSrc, rec.cySrc, plan.src, fault)) return false;
  std::unique_ptr<SourceBitmap> source = RecordBitmap(rec.recordBytes, rec.src, false, notes_, fault);
  if (!source) return false;
  plan.source = source.get();
  if (!FitSource(plan, fault)) return false;
  if (!AxisAligned(plan.corner))
    notes_.push_back("a rotated destination is drawn into its bounding rectangle");
  const PointD all[4] = {plan.corner[0], plan.corner[1], plan.corner[2], Opposite(plan.corner)};
  RECTL dest = BoundsOf(all, 4);  // drawn upright whatever the mapping's direction
  std::optional<HostClip> clip;
  if (!BlitClip(dest, &clip)) return true;
  RECTL src{LONG(plan.src[0]), LONG(plan.src[1]), LONG(plan.src[2]), LONG(plan.src[3])};
  if (!alpha) {
    target_.TransparentBlt(source->Surface(), &clip->co, source->Xlate(), &dest, &src,
                           source->dib().WordOf(rec.op & 0xFFFFFF), 0);
    return true;
  }
  BLENDOBJ blend{};
  blend.BlendFunction.BlendOp = BYTE(rec.op);
  blend.BlendFunction.BlendFlags = BYTE(rec.op >> 8);
  blend.BlendFunction.SourceConstantAlpha = BYTE(rec.op >> 16);
  blend.BlendFunction.AlphaFormat = BYTE(rec.op >> 24);
  if (blend.BlendFunction.BlendOp != AC_SRC_OVER)
    return Fail(fault, "BlendOperation " + Num(blend.BlendFunction.BlendOp) + " is not AC_SRC_OVER");
  target_.AlphaBlend(source->Surface(), &clip->co, source->Xlate(), &dest, &src, &blend);
  return true;
}

bool DeviceContext::OnGradientFill(const EmrGradient& rec, Fault fault) {
  const Matrix m = DeviceMatrix();
  const uint32_t nVer = uint32_t(rec.vertices.size());
  std::vector<TRIVERTEX> vertices(nVer);
  for (uint32_t i = 0; i < nVer; ++i) {
    const EmrGradient::Vertex& from = rec.vertices[i];
    TRIVERTEX& v = vertices[i];
    v.Red = from.red, v.Green = from.green, v.Blue = from.blue, v.Alpha = from.alpha;
    const PointD d = m.Apply({double(from.x), double(from.y)});
    if (!InRange(d.x) || !InRange(d.y))
      return Fail(fault, "vertex (" + Num(from.x) + ", " + Num(from.y) + ") lies too far away");
    v.x = Round(d.x);
    v.y = Round(d.y);
  }
  // Elements with an index past the vertices are left out.
  std::vector<ULONG> mesh;
  std::vector<bool> used(nVer, false);
  const size_t per = rec.mode == GRADIENT_FILL_TRIANGLE ? 3 : 2;
  uint32_t dropped = 0;
  for (size_t at = 0; at < rec.indices.size(); at += per) {
    const auto element = std::span(rec.indices).subspan(at, per);
    if (std::any_of(element.begin(), element.end(), [&](uint32_t index) { return index >= nVer; })) {
      ++dropped;
      continue;
    }
    for (uint32_t index : element) {
      mesh.push_back(index);
      used[index] = true;
    }
  }
  if (dropped > 0)
    notes_.push_back(Num(dropped) + " of " + Num(rec.elements) +
                     " gradient elements name vertices past nVer " + Num(nVer) + "; they are left out");
  if (mesh.empty()) return true;
  std::vector<PointD> points;
  for (uint32_t i = 0; i < nVer; ++i)
    if (used[i]) points.push_back({double(vertices[i].x), double(vertices[i].y)});
  RECTL extents = BoundsOf(points.data(), points.size());
  // Vertices on one line cover no area: nothing to draw, and nothing the
  // driver could scale its shading to.
  if (extents.right == extents.left || extents.bottom == extents.top) {
    notes_.push_back("gradient extents " + Num(int64_t{extents.right} - extents.left) + " x " +
                     Num(int64_t{extents.bottom} - extents.top) + ": nothing to draw");
    return true;
  }
  std::optional<HostClip> clip;
  if (!BlitClip(extents, &clip)) return true;
  engine::HostXlate xlate = engine::HostXlate::Trivial();
  POINTL dither{0, 0};
  target_.GradientFill(&clip->co, &xlate.xo, vertices.data(), nVer, mesh.data(), ULONG(mesh.size() / per),
                       &extents, &dither, rec.mode);
  return true;
}

}  // namespace snk::gdi
