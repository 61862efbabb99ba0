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
#include "host/gdi/emf_objects.h"
#include "host/gdi/emf_player.h"
#include "host/gdi/emf_records.h"

namespace snk::gdi {

using engine::HostBrush;
using engine::HostClip;
using engine::HostPath;

namespace {

constexpr ROP4 kSrcCopy4 = 0xCCCC;

bool Fail(std::string* fault, std::string text) {
  if (fault) *fault = std::move(text);
  return false;
}

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

// Where a record keeps one of its bitmaps: offsets and sizes from the
// record's start, and how its colour table is to be read.
struct BitmapPlace {
  uint32_t usage = 0;
  uint32_t offBmi = 0;
  uint32_t cbBmi = 0;
  uint32_t offBits = 0;
  uint32_t cbBits = 0;
  bool Present() const { return cbBmi != 0; }
};

// The usage first (BITBLT and friends, the masks) or last (the DIB records).
bool ReadPlace(ByteReader& r, BitmapPlace& b, bool usageFirst) {
  if (usageFirst && !r.ReadU32(b.usage)) return false;
  if (!r.ReadU32(b.offBmi) || !r.ReadU32(b.cbBmi) || !r.ReadU32(b.offBits) || !r.ReadU32(b.cbBits))
    return false;
  return usageFirst || r.ReadU32(b.usage);
}

bool ReadFloat(ByteReader& r, double& out) {
  uint32_t bits = 0;
  if (!r.ReadU32(bits)) return false;
  out = std::bit_cast<float>(bits);
  return true;
}

bool ReadXform(ByteReader& r, Matrix& m) {
  return ReadFloat(r, m.m11) && ReadFloat(r, m.m12) && ReadFloat(r, m.m21) && ReadFloat(r, m.m22) &&
         ReadFloat(r, m.dx) && ReadFloat(r, m.dy);
}

// The fields that EMR_BITBLT, EMR_STRETCHBLT, EMR_MASKBLT, EMR_ALPHABLEND
// and EMR_TRANSPARENTBLT share after the bounds.
struct BltFields {
  int32_t xDest = 0, yDest = 0, cxDest = 0, cyDest = 0;
  uint32_t op = 0;  // raster operation, ROP4, BLENDFUNCTION or colour key
  int32_t xSrc = 0, ySrc = 0;
  Matrix xformSrc;
  uint32_t bkColorSrc = 0;
  BitmapPlace src;
};

bool ReadBlt(ByteReader& r, BltFields& f) {
  return r.Skip(16) && r.ReadI32(f.xDest) && r.ReadI32(f.yDest) && r.ReadI32(f.cxDest) &&
         r.ReadI32(f.cyDest) && r.ReadU32(f.op) && r.ReadI32(f.xSrc) && r.ReadI32(f.ySrc) &&
         ReadXform(r, f.xformSrc) && r.ReadU32(f.bkColorSrc) && ReadPlace(r, f.src, true);
}

// The bitmap of a record, decoded into a source surface: the source or
// (`isMask`) the mask. Notes of the decoding go to `notes`.
std::unique_ptr<SourceBitmap> RecordBitmap(const EmfRecord& record, const BitmapPlace& place, bool isMask,
                                           std::vector<std::string>& notes, std::string* fault,
                                           uint32_t maxRows = UINT32_MAX) {
  const char* name = isMask ? "Mask" : "Src";
  const std::string which = isMask ? "mask bitmap: " : "source bitmap: ";
  const size_t size = record.bytes.size();
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
  auto dib = DecodeDibSource(record.bytes.subspan(place.offBmi, place.cbBmi),
                             record.bytes.subspan(place.offBits, place.cbBits), place.usage, &why, maxRows);
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

LONG Round(double v) { return LONG(std::lround(v)); }

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

// ROP2 (1..16) to the ternary op that does the same with the pattern.
constexpr uint8_t kRop3OfRop2[16] = {0x00, 0x05, 0x0A, 0x0F, 0x50, 0x55, 0x5A, 0x5F,
                                     0xA0, 0xA5, 0xAA, 0xAF, 0xF0, 0xF5, 0xFA, 0xFF};

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

// ---------------------------------------------------------------- the records

bool DeviceContext::PlayBitmap(const EmfRecord& record, ByteReader& r, std::string* fault) {
  const uint32_t t = record.type;
  BlitPlan plan;
  std::unique_ptr<SourceBitmap> source, mask;
  auto tooShort = [&] { return Fail(fault, "too short"); };
  auto zero = [&](int64_t cx, int64_t cy, const char* what) {
    return Fail(fault, std::string(what) + " " + Num(cx) + " x " + Num(cy) + ": nothing to draw");
  };

  switch (t) {
    case EMR_BITBLT:
    case EMR_STRETCHBLT:
    case EMR_MASKBLT: {
      BltFields f;
      if (!ReadBlt(r, f)) return tooShort();
      int32_t cxSrc = f.cxDest, cySrc = f.cyDest;
      POINTL maskAt{};
      BitmapPlace maskPlace;
      if (t == EMR_STRETCHBLT && (!r.ReadI32(cxSrc) || !r.ReadI32(cySrc))) return tooShort();
      if (t == EMR_MASKBLT &&
          (!r.ReadI32(maskAt.x) || !r.ReadI32(maskAt.y) || !ReadPlace(r, maskPlace, true)))
        return tooShort();
      if (f.cxDest == 0 || f.cyDest == 0) return zero(f.cxDest, f.cyDest, "destination extents");
      ROP4 rop = 0;
      if (t == EMR_MASKBLT) {
        // MAKEROP4: the foreground op in bits 16-23, the background op in 24-31.
        rop = ROP4(f.op >> 16 & 0xFF) | ROP4(f.op >> 24 & 0xFF) << 8;
      } else {
        rop = Rop3Of(f.op) | ROP4(Rop3Of(f.op)) << 8;
      }
      PlaceDestination(f.xDest, f.yDest, f.cxDest, f.cyDest, plan.corner);
      const bool needsSource = UsesSource(uint8_t(rop)) || UsesSource(uint8_t(rop >> 8));
      const bool masked = t == EMR_MASKBLT && maskPlace.Present() && (rop & 0xFF) != (rop >> 8 & 0xFF);
      if (!needsSource && !masked) return BrushBlit(plan.corner, rop & 0xFF, fault);
      if (!f.src.Present()) return Fail(fault, "the raster operation needs a source and the record has none");
      if (cxSrc == 0 || cySrc == 0) return zero(cxSrc, cySrc, "source extents");
      if (!SourceRect(f.xformSrc, f.xSrc, f.ySrc, cxSrc, cySrc, plan.src, fault)) return false;
      if (!(source = RecordBitmap(record, f.src, false, notes_, fault))) return false;
      if (masked) {
        if (!(mask = RecordBitmap(record, maskPlace, true, notes_, fault))) return false;
        if (!CheckMask(*mask, fault)) return false;
        plan.mask = mask.get();
        plan.maskOrigin = maskAt;
      }
      plan.source = source.get();
      plan.rop = rop;
      return SendBlit(plan, fault);
    }
    case EMR_PLGBLT: {
      POINTL pts[3];
      int32_t xSrc = 0, ySrc = 0, cxSrc = 0, cySrc = 0;
      Matrix xformSrc;
      uint32_t bkColor = 0;
      BitmapPlace srcPlace, maskPlace;
      POINTL maskAt{};
      if (!r.Skip(16)) return tooShort();
      for (POINTL& p : pts)
        if (!r.ReadI32(p.x) || !r.ReadI32(p.y)) return tooShort();
      if (!r.ReadI32(xSrc) || !r.ReadI32(ySrc) || !r.ReadI32(cxSrc) || !r.ReadI32(cySrc) ||
          !ReadXform(r, xformSrc) || !r.ReadU32(bkColor) || !ReadPlace(r, srcPlace, true) ||
          !r.ReadI32(maskAt.x) || !r.ReadI32(maskAt.y) || !ReadPlace(r, maskPlace, true))
        return tooShort();
      if (cxSrc == 0 || cySrc == 0) return zero(cxSrc, cySrc, "source extents");
      if (!srcPlace.Present()) return Fail(fault, "the record has no source bitmap");
      const Matrix m = DeviceMatrix();
      for (int i = 0; i < 3; ++i) plan.corner[i] = m.Apply({double(pts[i].x), double(pts[i].y)});
      if (!SourceRect(xformSrc, xSrc, ySrc, cxSrc, cySrc, plan.src, fault)) return false;
      if (!(source = RecordBitmap(record, srcPlace, false, notes_, fault))) return false;
      plan.source = source.get();
      if (maskPlace.Present()) {
        if (!(mask = RecordBitmap(record, maskPlace, true, notes_, fault))) return false;
        if (!CheckMask(*mask, fault)) return false;
        plan.mask = mask.get();
        plan.maskOrigin = maskAt;
        plan.rop = 0xAACC;  // the source where the mask is set, the destination elsewhere
      }
      return SendBlit(plan, fault);
    }
    case EMR_STRETCHDIBITS:
    case EMR_SETDIBITSTODEVICE: {
      int32_t xDest = 0, yDest = 0, xSrc = 0, ySrc = 0, cxSrc = 0, cySrc = 0, cxDest = 0, cyDest = 0;
      uint32_t dwRop = 0x00CC0020, startScan = 0, scans = 0;
      BitmapPlace place;
      if (!r.Skip(16) || !r.ReadI32(xDest) || !r.ReadI32(yDest) || !r.ReadI32(xSrc) || !r.ReadI32(ySrc) ||
          !r.ReadI32(cxSrc) || !r.ReadI32(cySrc) || !ReadPlace(r, place, false))
        return tooShort();
      const bool stretch = t == EMR_STRETCHDIBITS;
      if (stretch ? !r.ReadU32(dwRop) || !r.ReadI32(cxDest) || !r.ReadI32(cyDest)
                  : !r.ReadU32(startScan) || !r.ReadU32(scans))
        return tooShort();
      if (stretch) {
        if (cxDest == 0 || cyDest == 0) return zero(cxDest, cyDest, "destination extents");
        PlaceDestination(xDest, yDest, cxDest, cyDest, plan.corner);
      } else {
        // The origin goes through the whole mapping; the extents are
        // reference-device pixels, scaled onto the surface only.
        const PointD at = DeviceMatrix().Apply({double(xDest), double(yDest)});
        plan.corner[0] = at;
        plan.corner[1] = {at.x + cxSrc * page_.m11, at.y};
        plan.corner[2] = {at.x, at.y + cySrc * page_.m22};
      }
      const uint8_t rop3 = Rop3Of(dwRop);
      if (!UsesSource(rop3)) return BrushBlit(plan.corner, rop3, fault);
      if (cxSrc == 0 || cySrc == 0) return zero(cxSrc, cySrc, "source extents");
      if (!place.Present()) return Fail(fault, "the record has no bitmap");
      if (!stretch && scans == 0) return true;  // no scan lines: nothing to set
      if (!(source = RecordBitmap(record, place, false, notes_, fault, stretch ? UINT32_MAX : scans)))
        return false;
      // A bottom-up DIB counts ySrc (and the scan lines) from its bottom row.
      const DibSource& dib = source->dib();
      // The decoded rows start at scan line startScan of the whole bitmap
      // (SETDIBITSTODEVICE) or at its first (STRETCHDIBITS).
      const double first = stretch ? 0 : double(startScan);
      double top = double(ySrc) - first, bottom = top + cySrc;
      if (!dib.topDown) {
        top = first + dib.height - (double(ySrc) + cySrc);
        bottom = first + dib.height - ySrc;
      }
      plan.src[0] = xSrc;
      plan.src[1] = top;
      plan.src[2] = double(xSrc) + cxSrc;
      plan.src[3] = bottom;
      plan.source = source.get();
      plan.rop = rop3 | ROP4(rop3) << 8;
      return SendBlit(plan, fault);
    }
    case EMR_ALPHABLEND:
    case EMR_TRANSPARENTBLT: {
      BltFields f;
      int32_t cxSrc = 0, cySrc = 0;
      if (!ReadBlt(r, f) || !r.ReadI32(cxSrc) || !r.ReadI32(cySrc)) return tooShort();
      if (f.cxDest == 0 || f.cyDest == 0) return zero(f.cxDest, f.cyDest, "destination extents");
      if (cxSrc == 0 || cySrc == 0) return zero(cxSrc, cySrc, "source extents");
      if (f.cxDest < 0 || f.cyDest < 0 || cxSrc < 0 || cySrc < 0)
        return Fail(fault, "negative extents: " +
                               std::string(t == EMR_ALPHABLEND ? "alpha blending" : "a colour key") +
                               " does not mirror");
      if (!f.src.Present()) return Fail(fault, "the record has no source bitmap");
      PlaceDestination(f.xDest, f.yDest, f.cxDest, f.cyDest, plan.corner);
      if (!SourceRect(f.xformSrc, f.xSrc, f.ySrc, cxSrc, cySrc, plan.src, fault)) return false;
      if (!(source = RecordBitmap(record, f.src, false, notes_, fault))) return false;
      plan.source = source.get();
      if (!FitSource(plan, fault)) return false;
      if (!AxisAligned(plan.corner))
        notes_.push_back("a rotated destination is drawn into its bounding rectangle");
      const PointD all[4] = {plan.corner[0], plan.corner[1], plan.corner[2], Opposite(plan.corner)};
      RECTL dest = BoundsOf(all, 4);  // drawn upright whatever the mapping's direction
      std::optional<HostClip> clip;
      if (!BlitClip(dest, &clip)) return true;
      RECTL src{LONG(plan.src[0]), LONG(plan.src[1]), LONG(plan.src[2]), LONG(plan.src[3])};
      if (t == EMR_ALPHABLEND) {
        BLENDOBJ blend{};
        blend.BlendFunction.BlendOp = BYTE(f.op);
        blend.BlendFunction.BlendFlags = BYTE(f.op >> 8);
        blend.BlendFunction.SourceConstantAlpha = BYTE(f.op >> 16);
        blend.BlendFunction.AlphaFormat = BYTE(f.op >> 24);
        if (blend.BlendFunction.BlendOp != AC_SRC_OVER)
          return Fail(fault, "BlendOperation " + Num(blend.BlendFunction.BlendOp) + " is not AC_SRC_OVER");
        target_.AlphaBlend(source->Surface(), &clip->co, source->Xlate(), &dest, &src, &blend);
      } else {
        target_.TransparentBlt(source->Surface(), &clip->co, source->Xlate(), &dest, &src,
                               source->dib().WordOf(f.op & 0xFFFFFF), 0);
      }
      return true;
    }
    default:
      return Fail(fault, "not a bitmap record");
  }
}

bool DeviceContext::PlayGradient(ByteReader& r, std::string* fault) {
  uint32_t nVer = 0, nTri = 0, mode = 0;
  if (!r.Skip(16) || !r.ReadU32(nVer) || !r.ReadU32(nTri) || !r.ReadU32(mode))
    return Fail(fault, "too short");
  if (mode > GRADIENT_FILL_TRIANGLE) return Fail(fault, "ulMode " + Num(mode) + " is unknown");
  if (nVer > r.remaining() / 16)
    return Fail(fault, "nVer " + Num(nVer) + " vertices need " + Num(int64_t{nVer} * 16) + " bytes, " +
                           Num(int64_t(r.remaining())) + " follow");
  const size_t meshSize = mode == GRADIENT_FILL_TRIANGLE ? 12 : 8;
  const size_t vertexBytes = size_t{nVer} * 16;
  if (nTri > (r.remaining() - vertexBytes) / meshSize)
    return Fail(fault, "nTri " + Num(nTri) + " elements need " + Num(int64_t(nTri * meshSize)) + " bytes, " +
                           Num(int64_t(r.remaining() - vertexBytes)) + " follow the vertices");
  const Matrix m = DeviceMatrix();
  std::vector<TRIVERTEX> vertices(nVer);
  for (TRIVERTEX& v : vertices) {
    int32_t x = 0, y = 0;
    r.ReadI32(x);
    r.ReadI32(y);
    r.ReadU16(v.Red);
    r.ReadU16(v.Green);
    r.ReadU16(v.Blue);
    r.ReadU16(v.Alpha);
    const PointD d = m.Apply({double(x), double(y)});
    if (!(std::fabs(d.x) <= kMaxDeviceCoordinate) || !(std::fabs(d.y) <= kMaxDeviceCoordinate))
      return Fail(fault, "vertex (" + Num(x) + ", " + Num(y) + ") lies too far away");
    v.x = Round(d.x);
    v.y = Round(d.y);
  }
  // Elements with an index past the vertices are left out.
  std::vector<ULONG> mesh;
  std::vector<bool> used(nVer, false);
  const size_t per = meshSize / 4;
  uint32_t dropped = 0;
  for (uint32_t i = 0; i < nTri; ++i) {
    ULONG index[3] = {};
    bool ok = true;
    for (size_t k = 0; k < per; ++k) {
      r.ReadU32(index[k]);
      ok = ok && index[k] < nVer;
    }
    if (!ok) {
      ++dropped;
      continue;
    }
    for (size_t k = 0; k < per; ++k) {
      mesh.push_back(index[k]);
      used[index[k]] = true;
    }
  }
  if (dropped > 0)
    notes_.push_back(Num(dropped) + " of " + Num(nTri) + " gradient elements name vertices past nVer " +
                     Num(nVer) + "; they are left out");
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
                       &extents, &dither, mode);
  return true;
}

}  // namespace snk::gdi
