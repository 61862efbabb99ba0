#include "tools/sample_job/emf_writer.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <limits>

#include "host/gdi/emf_reader.h"
#include "host/gdi/emf_records.h"

namespace snk::gdi {
namespace {

constexpr uint32_t kHeaderSize = 108;  // with both header extensions
constexpr uint32_t kEofSize = 20;
constexpr uint32_t kEtoNoRect = 0x0100;
constexpr size_t kLogFontSize = 92;
constexpr size_t kLogFontPanoseSize = 320;
constexpr size_t kFaceChars = 32;
constexpr RECTL kNoBounds{0, 0, -1, -1};

// Appends little-endian fields.
class Sink {
 public:
  explicit Sink(std::vector<std::byte>& out) : out_(out) {}
  void U8(uint8_t v) { out_.push_back(static_cast<std::byte>(v)); }
  void U16(uint16_t v) {
    U8(static_cast<uint8_t>(v));
    U8(static_cast<uint8_t>(v >> 8));
  }
  void U32(uint32_t v) {
    U16(static_cast<uint16_t>(v));
    U16(static_cast<uint16_t>(v >> 16));
  }
  void I32(int32_t v) { U32(static_cast<uint32_t>(v)); }
  void I16(int16_t v) { U16(static_cast<uint16_t>(v)); }
  void F32(float v) { U32(std::bit_cast<uint32_t>(v)); }
  void Rect(const RECTL& r) {
    I32(r.left);
    I32(r.top);
    I32(r.right);
    I32(r.bottom);
  }
  void Zeros(size_t n) { out_.insert(out_.end(), n, std::byte{0}); }
  void PadTo4() { Zeros((4 - out_.size() % 4) % 4); }
  void Text(std::u16string_view text) {
    for (char16_t c : text) U16(c);
  }

 private:
  std::vector<std::byte>& out_;
};

RECTL PointsBounds(std::span<const PointS> points) {
  if (points.empty()) return kNoBounds;
  RECTL box{points[0].x, points[0].y, points[0].x, points[0].y};
  for (const PointS& p : points) {
    box.left = std::min<int32_t>(box.left, p.x);
    box.top = std::min<int32_t>(box.top, p.y);
    box.right = std::max<int32_t>(box.right, p.x);
    box.bottom = std::max<int32_t>(box.bottom, p.y);
  }
  return box;
}

int32_t MmToPixels(int32_t hundredthsMm, int32_t pixels, int32_t mm) {
  return static_cast<int32_t>(std::lround(static_cast<double>(hundredthsMm) * pixels / (mm * 100.0)));
}

}  // namespace

EmfWriter::EmfWriter(RECTL frame, SIZEL devicePixels, SIZEL deviceMillimeters)
    : frame_(frame), devicePixels_(devicePixels), deviceMillimeters_(deviceMillimeters) {}

void EmfWriter::Add(uint32_t type, std::span<const std::byte> payload) {
  const size_t padded = (payload.size() + 3) / 4 * 4;
  Sink sink(records_);
  sink.U32(type);
  sink.U32(static_cast<uint32_t>(8 + padded));
  records_.insert(records_.end(), payload.begin(), payload.end());
  sink.PadTo4();
  ++recordCount_;
}

void EmfWriter::AddU32s(uint32_t type, std::initializer_list<uint32_t> fields) {
  std::vector<std::byte> payload;
  Sink sink(payload);
  for (uint32_t field : fields) sink.U32(field);
  Add(type, payload);
}

void EmfWriter::UseHandle(uint32_t handle) {
  if ((handle & kStockObject) == 0) maxHandle_ = std::max(maxHandle_, handle);
}

void EmfWriter::SetBkMode(uint32_t mode) { AddU32s(EMR_SETBKMODE, {mode}); }
void EmfWriter::SetMapMode(uint32_t mode) { AddU32s(EMR_SETMAPMODE, {mode}); }
void EmfWriter::SetTextColor(COLORREF color) { AddU32s(EMR_SETTEXTCOLOR, {color}); }
void EmfWriter::SetTextAlign(uint32_t align) { AddU32s(EMR_SETTEXTALIGN, {align}); }
void EmfWriter::SaveDC() { Add(EMR_SAVEDC, {}); }

void EmfWriter::RestoreDC(int32_t saved) { AddU32s(EMR_RESTOREDC, {static_cast<uint32_t>(saved)}); }
void EmfWriter::SetWindowExtEx(int32_t cx, int32_t cy) {
  AddU32s(EMR_SETWINDOWEXTEX, {static_cast<uint32_t>(cx), static_cast<uint32_t>(cy)});
}
void EmfWriter::SetWindowOrgEx(int32_t x, int32_t y) {
  AddU32s(EMR_SETWINDOWORGEX, {static_cast<uint32_t>(x), static_cast<uint32_t>(y)});
}
void EmfWriter::SetViewportExtEx(int32_t cx, int32_t cy) {
  AddU32s(EMR_SETVIEWPORTEXTEX, {static_cast<uint32_t>(cx), static_cast<uint32_t>(cy)});
}
void EmfWriter::SetViewportOrgEx(int32_t x, int32_t y) {
  AddU32s(EMR_SETVIEWPORTORGEX, {static_cast<uint32_t>(x), static_cast<uint32_t>(y)});
}
void EmfWriter::MoveToEx(int32_t x, int32_t y) {
  AddU32s(EMR_MOVETOEX, {static_cast<uint32_t>(x), static_cast<uint32_t>(y)});
}
void EmfWriter::LineTo(int32_t x, int32_t y) {
  AddU32s(EMR_LINETO, {static_cast<uint32_t>(x), static_cast<uint32_t>(y)});
}

// [MS-EMF] 2.3.7.7: ihPen, then LogPen (style, width as a PointL whose y
// is unused, colour).
void EmfWriter::CreatePen(uint32_t handle, uint32_t style, int32_t width, COLORREF color) {
  UseHandle(handle);
  AddU32s(EMR_CREATEPEN, {handle, style, static_cast<uint32_t>(width), 0, color});
}

void EmfWriter::CreateBrushIndirect(uint32_t handle, uint32_t style, COLORREF color, uint32_t hatch) {
  UseHandle(handle);
  AddU32s(EMR_CREATEBRUSHINDIRECT, {handle, style, color, hatch});
}

// [MS-EMF] 2.3.7.8: a LogFont padded to the size of a LogFontPanose, which
// readers take as a LogFont.
void EmfWriter::ExtCreateFontIndirectW(uint32_t handle, const EmfFont& font) {
  UseHandle(handle);
  std::vector<std::byte> payload;
  Sink sink(payload);
  sink.U32(handle);
  for (int32_t v : {font.height, font.width, font.escapement, font.orientation, font.weight}) sink.I32(v);
  for (uint8_t v : {font.italic, font.underline, font.strikeOut, font.charSet, font.outPrecision,
                    font.clipPrecision, font.quality, font.pitchAndFamily})
    sink.U8(v);
  const std::u16string_view face = std::u16string_view(font.face).substr(0, kFaceChars - 1);
  sink.Text(face);
  sink.Zeros(2 * (kFaceChars - face.size()));
  sink.Zeros(kLogFontPanoseSize - kLogFontSize);
  Add(EMR_EXTCREATEFONTINDIRECTW, payload);
}

void EmfWriter::SelectObject(uint32_t handle) { AddU32s(EMR_SELECTOBJECT, {handle}); }
void EmfWriter::DeleteObject(uint32_t handle) { AddU32s(EMR_DELETEOBJECT, {handle}); }

void EmfWriter::SetWorldTransform(const float xform[6]) {
  std::vector<std::byte> payload;
  Sink sink(payload);
  for (int i = 0; i < 6; ++i) sink.F32(xform[i]);
  Add(EMR_SETWORLDTRANSFORM, payload);
}

void EmfWriter::ModifyWorldTransform(const float xform[6], uint32_t mode) {
  std::vector<std::byte> payload;
  Sink sink(payload);
  for (int i = 0; i < 6; ++i) sink.F32(xform[i]);
  sink.U32(mode);
  Add(EMR_MODIFYWORLDTRANSFORM, payload);
}

// ihPen, offBmi, cbBmi, offBits, cbBits, then LogPenEx (style, width, brush
// style, colour, hatch, style entry count, entries).
void EmfWriter::ExtCreatePen(uint32_t handle, uint32_t style, uint32_t width, COLORREF color,
                             std::span<const uint32_t> userStyle) {
  UseHandle(handle);
  std::vector<std::byte> payload;
  Sink sink(payload);
  for (uint32_t v : {handle, 0u, 0u, 0u, 0u, style, width, 0u, color, 0u}) sink.U32(v);
  sink.U32(static_cast<uint32_t>(userStyle.size()));
  for (uint32_t v : userStyle) sink.U32(v);
  Add(EMR_EXTCREATEPEN, payload);
}

void EmfWriter::RectRecord(uint32_t type, RECTL box) {
  std::vector<std::byte> payload;
  Sink(payload).Rect(box);
  Add(type, payload);
}

std::vector<std::byte> EmfWriter::RegionData(std::span<const RECTL> rects) {
  std::vector<std::byte> data;
  Sink sink(data);
  RECTL bound = rects.empty() ? RECTL{} : rects[0];
  for (const RECTL& r : rects) {
    bound.left = std::min(bound.left, r.left);
    bound.top = std::min(bound.top, r.top);
    bound.right = std::max(bound.right, r.right);
    bound.bottom = std::max(bound.bottom, r.bottom);
  }
  sink.U32(32);
  sink.U32(1);
  sink.U32(static_cast<uint32_t>(rects.size()));
  sink.U32(static_cast<uint32_t>(rects.size() * 16));
  sink.Rect(bound);
  for (const RECTL& r : rects) sink.Rect(r);
  return data;
}

void EmfWriter::ExtSelectClipRgn(std::span<const RECTL> rects, uint32_t mode) {
  std::vector<std::byte> payload;
  Sink sink(payload);
  const std::vector<std::byte> data = rects.empty() ? std::vector<std::byte>{} : RegionData(rects);
  sink.U32(static_cast<uint32_t>(data.size()));
  sink.U32(mode);
  payload.insert(payload.end(), data.begin(), data.end());
  Add(EMR_EXTSELECTCLIPRGN, payload);
}

void EmfWriter::RegionRecord(uint32_t type, std::span<const RECTL> rects, uint32_t brush) {
  std::vector<std::byte> payload;
  Sink sink(payload);
  const std::vector<std::byte> data = RegionData(rects);
  sink.Rect(kNoBounds);
  sink.U32(static_cast<uint32_t>(data.size()));
  if (type == EMR_FILLRGN) sink.U32(brush);
  payload.insert(payload.end(), data.begin(), data.end());
  Add(type, payload);
}

void EmfWriter::Poly(uint32_t type, std::span<const POINTL> points) {
  std::vector<std::byte> payload;
  Sink sink(payload);
  sink.Rect(kNoBounds);
  sink.U32(static_cast<uint32_t>(points.size()));
  for (const POINTL& p : points) {
    sink.I32(p.x);
    sink.I32(p.y);
  }
  Add(type, payload);
}

void EmfWriter::PolyPoly(uint32_t type, std::span<const std::vector<POINTL>> polys) {
  std::vector<std::byte> payload;
  Sink sink(payload);
  sink.Rect(kNoBounds);
  size_t total = 0;
  for (const auto& poly : polys) total += poly.size();
  sink.U32(static_cast<uint32_t>(polys.size()));
  sink.U32(static_cast<uint32_t>(total));
  for (const auto& poly : polys) sink.U32(static_cast<uint32_t>(poly.size()));
  for (const auto& poly : polys)
    for (const POINTL& p : poly) {
      sink.I32(p.x);
      sink.I32(p.y);
    }
  Add(type, payload);
}

void EmfWriter::Rectangle(RECTL box) {
  AddU32s(EMR_RECTANGLE, {static_cast<uint32_t>(box.left), static_cast<uint32_t>(box.top),
                          static_cast<uint32_t>(box.right), static_cast<uint32_t>(box.bottom)});
}

void EmfWriter::Ellipse(RECTL box) {
  AddU32s(EMR_ELLIPSE, {static_cast<uint32_t>(box.left), static_cast<uint32_t>(box.top),
                        static_cast<uint32_t>(box.right), static_cast<uint32_t>(box.bottom)});
}

// [MS-EMF] 2.3.5.x: Bounds, Count, then the 16-bit points.
void EmfWriter::AddPoly16(uint32_t type, std::span<const PointS> points) {
  std::vector<std::byte> payload;
  Sink sink(payload);
  sink.Rect(PointsBounds(points));
  sink.U32(static_cast<uint32_t>(points.size()));
  for (const PointS& p : points) {
    sink.I16(p.x);
    sink.I16(p.y);
  }
  Add(type, payload);
}

void EmfWriter::Polygon16(std::span<const PointS> points) { AddPoly16(EMR_POLYGON16, points); }
void EmfWriter::PolyBezier16(std::span<const PointS> points) { AddPoly16(EMR_POLYBEZIER16, points); }

// [MS-EMF] 2.3.5.8 and 2.2.5 EmrText: the fixed part is 76 bytes (60
// without the rectangle); the string follows, padded to 4, then the spacing
// array. Offsets count from the start of the record.
void EmfWriter::ExtTextOutW(int32_t x, int32_t y, std::u16string_view text, std::span<const int32_t> dx,
                            uint32_t options) {
  EmfText fields;
  fields.options = options & ~kEtoNoRect;
  fields.dx.assign(dx.begin(), dx.end());
  ExtTextOutW(x, y, text, fields);
}

void EmfWriter::ExtTextOutW(int32_t x, int32_t y, std::u16string_view text, const EmfText& fields) {
  std::vector<std::byte> string;
  Sink(string).Text(text);
  TextRecord(EMR_EXTTEXTOUTW, x, y, string, static_cast<uint32_t>(text.size()), fields);
}

void EmfWriter::ExtTextOutA(int32_t x, int32_t y, std::string_view bytes, const EmfText& fields) {
  const auto* first = reinterpret_cast<const std::byte*>(bytes.data());
  TextRecord(EMR_EXTTEXTOUTA, x, y, {first, bytes.size()}, static_cast<uint32_t>(bytes.size()), fields);
}

namespace {

uint32_t EmrTextSize(const EmfText& fields) { return (fields.options & kEtoNoRect) ? 24 : 40; }

// An EmrText whose string and spacing lie at `offString` and `offDx`.
void EmrText(Sink& sink, int32_t x, int32_t y, uint32_t count, uint32_t offString, uint32_t offDx,
             const EmfText& fields) {
  sink.I32(x);
  sink.I32(y);
  sink.U32(count);
  sink.U32(offString);
  sink.U32(fields.options);
  if (!(fields.options & kEtoNoRect)) sink.Rect(fields.rect);
  sink.U32(fields.dx.empty() ? 0 : offDx);
}

}  // namespace

void EmfWriter::TextRecord(uint32_t type, int32_t x, int32_t y, std::span<const std::byte> string,
                           uint32_t count, const EmfText& fields) {
  const uint32_t fixed = 36 + EmrTextSize(fields);
  const uint32_t stringBytes = static_cast<uint32_t>((string.size() + 3) / 4 * 4);
  const float scale = devicePixels_.cx > 0 ? deviceMillimeters_.cx * 100.0f / devicePixels_.cx : 0.0f;
  std::vector<std::byte> payload;
  Sink sink(payload);
  sink.Rect(kNoBounds);
  sink.U32(fields.graphicsMode);
  sink.F32(scale);
  sink.F32(scale);
  EmrText(sink, x, y, count, fixed, fixed + stringBytes, fields);
  payload.insert(payload.end(), string.begin(), string.end());
  sink.PadTo4();
  for (int32_t advance : fields.dx) sink.I32(advance);
  Add(type, payload);
}

// [MS-EMF] 2.3.5.32: the EmrText objects one after another, then each
// string and spacing array.
void EmfWriter::PolyTextOutW(std::span<const EmfTextPiece> pieces, uint32_t graphicsMode) {
  uint32_t at = 40;
  for (const EmfTextPiece& piece : pieces) at += EmrTextSize(piece.fields);
  std::vector<std::byte> payload, tail;
  Sink sink(payload), more(tail);
  sink.Rect(kNoBounds);
  sink.U32(graphicsMode);
  sink.F32(1);
  sink.F32(1);
  sink.U32(static_cast<uint32_t>(pieces.size()));
  for (const EmfTextPiece& piece : pieces) {
    const uint32_t offString = at + static_cast<uint32_t>(tail.size());
    more.Text(piece.text);
    more.PadTo4();
    const uint32_t offDx = at + static_cast<uint32_t>(tail.size());
    for (int32_t advance : piece.fields.dx) more.I32(advance);
    EmrText(sink, piece.x, piece.y, static_cast<uint32_t>(piece.text.size()), offString, offDx, piece.fields);
  }
  payload.insert(payload.end(), tail.begin(), tail.end());
  Add(EMR_POLYTEXTOUTW, payload);
}

// [MS-EMF] 2.3.5.37.
void EmfWriter::SmallTextOut(int32_t x, int32_t y, std::u16string_view text, uint32_t options, RECTL rect,
                             uint32_t graphicsMode) {
  constexpr uint32_t kEtoSmallChars = 0x0200;
  std::vector<std::byte> payload;
  Sink sink(payload);
  sink.I32(x);
  sink.I32(y);
  sink.U32(static_cast<uint32_t>(text.size()));
  sink.U32(options);
  sink.U32(graphicsMode);
  sink.F32(1);
  sink.F32(1);
  if (!(options & kEtoNoRect)) sink.Rect(rect);
  for (char16_t c : text) {
    if (options & kEtoSmallChars)
      sink.U8(static_cast<uint8_t>(c));
    else
      sink.U16(c);
  }
  Add(EMR_SMALLTEXTOUT, payload);
}

void EmfWriter::SetTextJustification(int32_t breakExtra, int32_t breakCount) {
  AddU32s(EMR_SETTEXTJUSTIFICATION, {static_cast<uint32_t>(breakExtra), static_cast<uint32_t>(breakCount)});
}

// ---------------------------------------------------------------- bitmap records

namespace {

constexpr float kIdentity[6] = {1, 0, 0, 1, 0, 0};

void Xform(Sink& sink, const float* xform) {
  for (int i = 0; i < 6; ++i) sink.F32((xform ? xform : kIdentity)[i]);
}

void Box(Sink& sink, const EmfBox& b) {
  sink.I32(b.x);
  sink.I32(b.y);
  sink.I32(b.cx);
  sink.I32(b.cy);
}

// Offsets of the bitmaps that follow a record's fixed part of `fixed`
// bytes (type and size included): each bitmap's info, then its bits.
struct Placed {
  uint32_t offBmi = 0, cbBmi = 0, offBits = 0, cbBits = 0;
};

Placed Place(uint32_t& at, const EmfBitmap& b) {
  Placed p;
  if (b.info.empty()) return p;
  p.offBmi = at;
  p.cbBmi = static_cast<uint32_t>(b.info.size());
  p.offBits = at + p.cbBmi;
  p.cbBits = static_cast<uint32_t>(b.bits.size());
  at = p.offBits + p.cbBits;
  return p;
}

void Append(std::vector<std::byte>& payload, const EmfBitmap& b) {
  payload.insert(payload.end(), b.info.begin(), b.info.end());
  payload.insert(payload.end(), b.bits.begin(), b.bits.end());
}

void Where(Sink& sink, const Placed& p, uint32_t usage, bool usageFirst) {
  if (usageFirst) sink.U32(usage);
  for (uint32_t v : {p.offBmi, p.cbBmi, p.offBits, p.cbBits}) sink.U32(v);
  if (!usageFirst) sink.U32(usage);
}

}  // namespace

std::vector<std::byte> EmfWriter::BitmapInfo(int32_t width, int32_t height, uint16_t bitCount,
                                             uint32_t compression, std::span<const COLORREF> table,
                                             std::span<const uint32_t> masks, uint32_t headerSize,
                                             uint32_t sizeImage) {
  std::vector<std::byte> out;
  Sink sink(out);
  sink.U32(headerSize);
  sink.I32(width);
  sink.I32(height);
  sink.U16(1);
  sink.U16(bitCount);
  sink.U32(compression);
  sink.U32(sizeImage);
  sink.I32(3780);  // 96 dpi
  sink.I32(3780);
  sink.U32(static_cast<uint32_t>(table.size()));
  sink.U32(0);
  for (uint32_t m : masks) sink.U32(m);
  if (out.size() < headerSize) sink.Zeros(headerSize - out.size());
  for (COLORREF c : table) {
    sink.U8(static_cast<uint8_t>(c >> 16));
    sink.U8(static_cast<uint8_t>(c >> 8));
    sink.U8(static_cast<uint8_t>(c));
    sink.U8(0);
  }
  return out;
}

EmfBitmap EmfWriter::Dib24(int32_t width, int32_t height, std::span<const COLORREF> pixels) {
  EmfBitmap b;
  b.info = BitmapInfo(width, height, 24);
  const size_t stride = (size_t(width) * 3 + 3) / 4 * 4;
  b.bits.assign(stride * size_t(height), std::byte{0});
  for (int32_t y = 0; y < height; ++y) {
    std::byte* row = b.bits.data() + size_t(height - 1 - y) * stride;
    for (int32_t x = 0; x < width; ++x) {
      const size_t i = size_t(y) * size_t(width) + size_t(x);
      const COLORREF c = i < pixels.size() ? pixels[i] : 0;
      row[3 * x] = std::byte(c >> 16);
      row[3 * x + 1] = std::byte(c >> 8);
      row[3 * x + 2] = std::byte(c);
    }
  }
  return b;
}

void EmfWriter::SetStretchBltMode(uint32_t mode) { AddU32s(EMR_SETSTRETCHBLTMODE, {mode}); }

// EMR_BITBLT and EMR_STRETCHBLT: bounds, destination, operation, source
// origin, source transform, background colour, the bitmap's place, and for
// EMR_STRETCHBLT the source extents.
void EmfWriter::BitBlt(EmfBox dest, uint32_t rop, int32_t xSrc, int32_t ySrc, const EmfBitmap& source,
                       const float* xformSrc) {
  SourceBlt(EMR_BITBLT, dest, rop, xSrc, ySrc, nullptr, source, xformSrc);
}

void EmfWriter::StretchBlt(EmfBox dest, uint32_t rop, EmfBox src, const EmfBitmap& source,
                           const float* xformSrc) {
  StretchLike(EMR_STRETCHBLT, dest, rop, src, source, xformSrc);
}

// EMR_ALPHABLEND and EMR_TRANSPARENTBLT share EMR_STRETCHBLT's layout, with
// the blend function or the colour key in the operation's place.
void EmfWriter::AlphaBlend(EmfBox dest, uint32_t blend, EmfBox src, const EmfBitmap& source) {
  StretchLike(EMR_ALPHABLEND, dest, blend, src, source, nullptr);
}

void EmfWriter::TransparentBlt(EmfBox dest, COLORREF key, EmfBox src, const EmfBitmap& source) {
  StretchLike(EMR_TRANSPARENTBLT, dest, key, src, source, nullptr);
}

void EmfWriter::StretchLike(uint32_t type, EmfBox dest, uint32_t op, EmfBox src, const EmfBitmap& source,
                            const float* xformSrc) {
  const SIZEL extent{src.cx, src.cy};
  SourceBlt(type, dest, op, src.x, src.y, &extent, source, xformSrc);
}

// The layout of EMR_BITBLT, and with the source's extents behind it that of
// EMR_STRETCHBLT.
void EmfWriter::SourceBlt(uint32_t type, EmfBox dest, uint32_t op, int32_t xSrc, int32_t ySrc,
                          const SIZEL* extent, const EmfBitmap& source, const float* xformSrc) {
  std::vector<std::byte> payload;
  Sink sink(payload);
  uint32_t at = extent ? 108 : 100;
  const Placed p = Place(at, source);
  sink.Rect(kNoBounds);
  Box(sink, dest);
  sink.U32(op);
  sink.I32(xSrc);
  sink.I32(ySrc);
  Xform(sink, xformSrc);
  sink.U32(0);
  Where(sink, p, source.usage, true);
  if (extent) {
    sink.I32(extent->cx);
    sink.I32(extent->cy);
  }
  Append(payload, source);
  Add(type, payload);
}

void EmfWriter::MaskBlt(EmfBox dest, uint32_t rop4, int32_t xSrc, int32_t ySrc, const EmfBitmap& source,
                        int32_t xMask, int32_t yMask, const EmfBitmap& mask) {
  std::vector<std::byte> payload;
  Sink sink(payload);
  uint32_t at = 128;
  const Placed p = Place(at, source);
  const Placed m = Place(at, mask);
  sink.Rect(kNoBounds);
  Box(sink, dest);
  sink.U32(rop4);
  sink.I32(xSrc);
  sink.I32(ySrc);
  Xform(sink, nullptr);
  sink.U32(0);
  Where(sink, p, source.usage, true);
  sink.I32(xMask);
  sink.I32(yMask);
  Where(sink, m, mask.usage, true);
  Append(payload, source);
  Append(payload, mask);
  Add(EMR_MASKBLT, payload);
}

void EmfWriter::PlgBlt(const POINTL dest[3], EmfBox src, const EmfBitmap& source, int32_t xMask,
                       int32_t yMask, const EmfBitmap& mask) {
  std::vector<std::byte> payload;
  Sink sink(payload);
  uint32_t at = 140;
  const Placed p = Place(at, source);
  const Placed m = Place(at, mask);
  sink.Rect(kNoBounds);
  for (int i = 0; i < 3; ++i) {
    sink.I32(dest[i].x);
    sink.I32(dest[i].y);
  }
  Box(sink, src);
  Xform(sink, nullptr);
  sink.U32(0);
  Where(sink, p, source.usage, true);
  sink.I32(xMask);
  sink.I32(yMask);
  Where(sink, m, mask.usage, true);
  Append(payload, source);
  Append(payload, mask);
  Add(EMR_PLGBLT, payload);
}

void EmfWriter::StretchDIBits(EmfBox dest, EmfBox src, uint32_t rop, const EmfBitmap& source) {
  std::vector<std::byte> payload;
  Sink sink(payload);
  uint32_t at = 80;
  const Placed p = Place(at, source);
  sink.Rect(kNoBounds);
  sink.I32(dest.x);
  sink.I32(dest.y);
  Box(sink, src);
  Where(sink, p, source.usage, false);
  sink.U32(rop);
  sink.I32(dest.cx);
  sink.I32(dest.cy);
  Append(payload, source);
  Add(EMR_STRETCHDIBITS, payload);
}

void EmfWriter::SetDIBitsToDevice(int32_t xDest, int32_t yDest, EmfBox src, uint32_t startScan,
                                  uint32_t scans, const EmfBitmap& source) {
  std::vector<std::byte> payload;
  Sink sink(payload);
  uint32_t at = 76;
  const Placed p = Place(at, source);
  sink.Rect(kNoBounds);
  sink.I32(xDest);
  sink.I32(yDest);
  Box(sink, src);
  Where(sink, p, source.usage, false);
  sink.U32(startScan);
  sink.U32(scans);
  Append(payload, source);
  Add(EMR_SETDIBITSTODEVICE, payload);
}

// EMR_GRADIENTFILL: bounds, counts, mode, the vertices, then the
// rectangles or triangles.
void EmfWriter::GradientFill(std::span<const EmfVertex> vertices, std::span<const uint32_t> indices,
                             uint32_t mode) {
  std::vector<std::byte> payload;
  Sink sink(payload);
  const size_t per = mode == 2 ? 3 : 2;
  sink.Rect(kNoBounds);
  sink.U32(static_cast<uint32_t>(vertices.size()));
  sink.U32(static_cast<uint32_t>(indices.size() / per));
  sink.U32(mode);
  for (const EmfVertex& v : vertices) {
    sink.I32(v.x);
    sink.I32(v.y);
    for (uint16_t c : {v.red, v.green, v.blue, v.alpha}) sink.U16(c);
  }
  for (uint32_t i : indices) sink.U32(i);
  Add(EMR_GRADIENTFILL, payload);
}

// [MS-EMF] 2.3.4.2 with both extensions; the description follows at 108.
std::vector<std::byte> EmfWriter::Header(uint32_t totalBytes, uint32_t totalRecords) const {
  const uint32_t descriptionChars = description_.empty() ? 0 : static_cast<uint32_t>(description_.size() + 2);
  const uint32_t size = kHeaderSize + (2 * descriptionChars + 3) / 4 * 4;
  RECTL bounds = kNoBounds;
  if (deviceMillimeters_.cx > 0 && deviceMillimeters_.cy > 0) {
    bounds.left = MmToPixels(frame_.left, devicePixels_.cx, deviceMillimeters_.cx);
    bounds.top = MmToPixels(frame_.top, devicePixels_.cy, deviceMillimeters_.cy);
    bounds.right = MmToPixels(frame_.right, devicePixels_.cx, deviceMillimeters_.cx) - 1;
    bounds.bottom = MmToPixels(frame_.bottom, devicePixels_.cy, deviceMillimeters_.cy) - 1;
  }
  if (bounds_) bounds = *bounds_;
  std::vector<std::byte> out;
  Sink sink(out);
  sink.U32(EMR_HEADER);
  sink.U32(size);
  sink.Rect(bounds);
  sink.Rect(frame_);
  sink.U32(kEmfSignature);
  sink.U32(0x00010000);  // version
  sink.U32(totalBytes + size);
  sink.U32(totalRecords);
  sink.U16(static_cast<uint16_t>(std::min<uint32_t>(maxHandle_ + 1, 0xFFFF)));
  sink.U16(0);
  sink.U32(descriptionChars);
  sink.U32(descriptionChars ? kHeaderSize : 0);
  sink.U32(0);  // palette entries
  sink.I32(devicePixels_.cx);
  sink.I32(devicePixels_.cy);
  sink.I32(deviceMillimeters_.cx);
  sink.I32(deviceMillimeters_.cy);
  sink.Zeros(12);  // no pixel format, no OpenGL
  sink.I32(deviceMillimeters_.cx * 1000);
  sink.I32(deviceMillimeters_.cy * 1000);
  if (descriptionChars) {
    sink.Text(description_);
    sink.Zeros(4);
    out.resize(size);
  }
  return out;
}

std::vector<std::byte> EmfWriter::Finish() const {
  const uint32_t restBytes = static_cast<uint32_t>(records_.size()) + kEofSize;
  std::vector<std::byte> out = Header(restBytes, recordCount_ + 2);
  out.insert(out.end(), records_.begin(), records_.end());
  Sink sink(out);
  // [MS-EMF] 2.3.4.1: no palette; offPalEntries points past the fixed
  // fields and nSizeLast repeats the record size.
  for (uint32_t field : {uint32_t{EMR_EOF}, kEofSize, 0u, 16u, kEofSize}) sink.U32(field);
  return out;
}

bool EmfWriter::WriteFile(const std::string& path) const {
  const std::vector<std::byte> bytes = Finish();
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) return false;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  return std::fclose(file) == 0 && written;
}

}  // namespace snk::gdi
