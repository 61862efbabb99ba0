// The decoders of record_types.h. Each reads its record's fields in the
// order the record stores them; a record too short for its fixed fields
// never gets here (the record table refuses it first).
#include <string>

#include "host/gdi/emf_records.h"
#include "host/gdi/record_fields.h"
#include "host/gdi/record_types.h"

namespace snk::gdi {
namespace {

constexpr uint32_t ETO_NO_RECT = 0x0100;
constexpr uint32_t ETO_GLYPH_INDEX = 0x0010;
constexpr uint32_t ETO_SMALL_CHARS = 0x0200;
constexpr uint32_t ETO_PDY = 0x2000;
constexpr uint32_t kGradientTriangle = 2;  // GRADIENT_FILL_TRIANGLE
// One run holds at most this many values; more is no text anyone prints.
constexpr uint32_t kMaxRunChars = 1u << 20;

std::string Num(uint64_t v) { return std::to_string(v); }

bool TooShort(std::string* fault) { return Fail(fault, "too short"); }

// The usage first (BITBLT and friends, the masks) or last (the DIB records).
void ReadPlace(ByteReader& r, BitmapPlace& b, bool usageFirst) {
  if (usageFirst) r.ReadU32(b.usage);
  r.ReadU32(b.offBmi);
  r.ReadU32(b.cbBmi);
  r.ReadU32(b.offBits);
  r.ReadU32(b.cbBits);
  if (!usageFirst) r.ReadU32(b.usage);
}

// A span of `size` bytes at `offset` from the record's start.
bool RecordPart(const EmfRecord& record, uint32_t offset, uint32_t size, std::span<const std::byte>& out) {
  if (offset > record.bytes.size() || size > record.bytes.size() - offset) return false;
  out = record.bytes.subspan(offset, size);
  return true;
}

// The figure counts of POLYPOLYLINE and POLYPOLYGON; they must add up to
// the record's point count.
bool ReadCounts(ByteReader& r, uint32_t figures, uint32_t points, std::vector<uint32_t>& counts,
                std::string* fault) {
  if (figures > r.remaining() / 4)
    return Fail(fault, "polygon count " + std::to_string(figures) + " exceeds the record");
  counts.resize(figures);
  uint64_t total = 0;
  for (uint32_t& c : counts) {
    r.ReadU32(c);
    total += c;
  }
  if (total != points)
    return Fail(fault, "point counts add up to " + std::to_string(total) + ", not " + std::to_string(points));
  return true;
}

// `count` points of 32 or 16 bits each, with `extra` more bytes per point
// after them (the types of POLYDRAW).
bool ReadPoints(ByteReader& r, uint32_t count, bool small, size_t extra, std::vector<PointD>& points,
                std::string* fault) {
  if (count > r.remaining() / ((small ? 4 : 8) + extra))
    return Fail(fault, "point count " + std::to_string(count) + " exceeds the record");
  points.resize(count);
  for (PointD& p : points) {
    if (small) {
      int16_t x = 0, y = 0;
      r.ReadI16(x);
      r.ReadI16(y);
      p = {double(x), double(y)};
    } else {
      ReadPoint(r, p);
    }
  }
  return true;
}

// The record's rectangle, present unless ETO_NO_RECT.
bool ReadTextRect(ByteReader& r, EmrTextRun& run) {
  if (run.options & ETO_NO_RECT) return true;
  run.hasRect = true;
  return ReadRect(r, run.rect);
}

// The spacing array of a run at `offDx` from the record's start.
bool ReadSpacing(const EmfRecord& record, uint32_t nChars, uint32_t offDx, EmrTextRun& run,
                 std::string* fault) {
  const uint64_t size = record.size();
  const bool pdy = run.options & ETO_PDY;
  const uint64_t dxBytes = uint64_t(nChars) * (pdy ? 8 : 4);
  if (offDx > size || dxBytes > size - offDx)
    return Fail(fault, "spacing of " + Num(nChars) + " characters at offset " + Num(offDx) +
                           " lies outside the record of " + Num(size) + " bytes");
  ByteReader r(record.bytes);
  r.Seek(offDx);
  for (uint32_t i = 0; i < nChars; ++i) {
    int32_t v = 0;
    r.ReadI32(v);
    run.dx.push_back(v);
    if (pdy) {
      r.ReadI32(v);
      run.dy.push_back(v);
    }
  }
  return true;
}

// The string and spacing array of a run, at offsets from the record's start.
bool ReadChars(const EmfRecord& record, uint32_t nChars, uint32_t offString, uint32_t offDx, bool ansi,
               EmrTextRun& run, std::string* fault) {
  if (nChars == 0) return true;
  if (nChars > kMaxRunChars) return Fail(fault, Num(nChars) + " characters are more than one run may hold");
  const uint64_t size = record.size();
  const uint64_t stringBytes = uint64_t(nChars) * (ansi ? 1 : 2);
  if (offString > size || stringBytes > size - offString)
    return Fail(fault, "string of " + Num(nChars) + " characters at offset " + Num(offString) +
                           " lies outside the record of " + Num(size) + " bytes");
  if (offDx != 0 && !ReadSpacing(record, nChars, offDx, run, fault)) return false;
  const auto bytes = record.bytes.subspan(offString, size_t(stringBytes));
  if (ansi && !(run.options & ETO_GLYPH_INDEX)) {
    run.ansi = bytes;
    return true;
  }
  ByteReader r(bytes);
  run.text.resize(nChars);
  for (char16_t& c : run.text) {
    uint8_t lo = 0;
    uint16_t unit = 0;
    if (ansi) {
      r.ReadU8(lo);
      unit = lo;
    } else {
      r.ReadU16(unit);
    }
    c = char16_t(unit);
  }
  return true;
}

// An EmrText object at the reader's position: reference, count, string
// offset, options, the rectangle unless ETO_NO_RECT, spacing offset.
bool ReadEmrText(const EmfRecord& record, ByteReader& r, bool ansi, EmrTextRun& run, std::string* fault) {
  uint32_t nChars = 0, offString = 0, offDx = 0;
  if (!ReadPoint(r, run.reference) || !r.ReadU32(nChars) || !r.ReadU32(offString) || !r.ReadU32(run.options))
    return TooShort(fault);
  if (!ReadTextRect(r, run) || !r.ReadU32(offDx)) return TooShort(fault);
  return ReadChars(record, nChars, offString, offDx, ansi, run, fault);
}

bool IsAnsiText(uint32_t type) { return type == EMR_EXTTEXTOUTA || type == EMR_POLYTEXTOUTA; }

}  // namespace

bool Decode(const EmfRecord&, ByteReader&, EmrEmpty&, std::string*) { return true; }

bool Decode(const EmfRecord&, ByteReader& r, EmrValue& out, std::string*) { return r.ReadU32(out.value); }

bool Decode(const EmfRecord&, ByteReader& r, EmrSavedIndex& out, std::string*) {
  return r.ReadI32(out.index);
}

bool Decode(const EmfRecord&, ByteReader& r, EmrPoint& out, std::string*) { return ReadPoint(r, out.point); }

bool Decode(const EmfRecord&, ByteReader& r, EmrScale& out, std::string*) {
  return r.ReadI32(out.xNum) && r.ReadI32(out.xDenom) && r.ReadI32(out.yNum) && r.ReadI32(out.yDenom);
}

bool Decode(const EmfRecord&, ByteReader& r, EmrXform& out, std::string*) { return ReadXform(r, out.xform); }

bool Decode(const EmfRecord&, ByteReader& r, EmrModifyXform& out, std::string*) {
  return ReadXform(r, out.xform) && r.ReadU32(out.mode);
}

bool Decode(const EmfRecord&, ByteReader& r, EmrJustification& out, std::string*) {
  return r.ReadI32(out.extra) && r.ReadI32(out.count);
}

bool Decode(const EmfRecord&, ByteReader& r, EmrBox& out, std::string*) { return ReadRect(r, out.box); }

bool Decode(const EmfRecord&, ByteReader& r, EmrRoundRect& out, std::string*) {
  return ReadRect(r, out.box) && ReadPoint(r, out.corner);
}

bool Decode(const EmfRecord& record, ByteReader& r, EmrArc& out, std::string*) {
  out.kind = record.type == EMR_ARC     ? ArcKind::Arc
             : record.type == EMR_ARCTO ? ArcKind::ArcTo
             : record.type == EMR_CHORD ? ArcKind::Chord
                                        : ArcKind::Pie;
  return ReadRect(r, out.box) && ReadPoint(r, out.start) && ReadPoint(r, out.end);
}

bool Decode(const EmfRecord&, ByteReader& r, EmrAngleArc& out, std::string*) {
  return ReadPoint(r, out.centre) && r.ReadU32(out.radius) && ReadFloat(r, out.startDegrees) &&
         ReadFloat(r, out.sweepDegrees);
}

bool Decode(const EmfRecord&, ByteReader& r, EmrSetPixel& out, std::string*) {
  return ReadPoint(r, out.point) && r.ReadU32(out.color);
}

// Bounds, then for the poly-poly records the figure count, then the point
// count, the figures' counts and the points.
bool Decode(const EmfRecord& record, ByteReader& r, EmrPoly& out, std::string* fault) {
  const bool small = record.type >= EMR_POLYBEZIER16;
  const uint32_t base = small ? record.type - (EMR_POLYBEZIER16 - EMR_POLYBEZIER) : record.type;
  const bool poly2 = base == EMR_POLYPOLYLINE || base == EMR_POLYPOLYGON;
  out.to = base == EMR_POLYLINETO || base == EMR_POLYBEZIERTO;
  out.bezier = base == EMR_POLYBEZIER || base == EMR_POLYBEZIERTO;
  out.closed = base == EMR_POLYGON || base == EMR_POLYPOLYGON;
  uint32_t figures = 1, count = 0;
  r.Skip(16);
  if (poly2) r.ReadU32(figures);
  r.ReadU32(count);
  if (r.failed()) return TooShort(fault);
  if (poly2 && !ReadCounts(r, figures, count, out.counts, fault)) return false;
  if (!poly2) out.counts.push_back(count);
  return ReadPoints(r, count, small, 0, out.points, fault);
}

bool Decode(const EmfRecord& record, ByteReader& r, EmrPolyDraw& out, std::string* fault) {
  uint32_t count = 0;
  r.Skip(16);
  r.ReadU32(count);
  if (r.failed()) return TooShort(fault);
  if (!ReadPoints(r, count, record.type == EMR_POLYDRAW16, 1, out.points, fault)) return false;
  out.types.resize(count);
  for (uint8_t& type : out.types) r.ReadU8(type);
  return true;
}

bool Decode(const EmfRecord&, ByteReader& r, EmrHandle& out, std::string*) { return r.ReadU32(out.handle); }

bool Decode(const EmfRecord&, ByteReader& r, EmrCreatePen& out, std::string*) {
  int32_t widthY = 0;
  return r.ReadU32(out.handle) && r.ReadU32(out.style) && r.ReadI32(out.width) && r.ReadI32(widthY) &&
         r.ReadU32(out.color);
}

bool Decode(const EmfRecord&, ByteReader& r, EmrExtCreatePen& out, std::string* fault) {
  BitmapPlace unused;
  uint32_t hatch = 0, entries = 0;
  r.ReadU32(out.handle);
  r.ReadU32(unused.offBmi);
  r.ReadU32(unused.cbBmi);
  r.ReadU32(unused.offBits);
  r.ReadU32(unused.cbBits);
  r.ReadU32(out.style);
  r.ReadU32(out.width);
  r.ReadU32(out.brushStyle);
  r.ReadU32(out.color);
  r.ReadU32(hatch);
  r.ReadU32(entries);
  if (r.failed()) return TooShort(fault);
  if (entries > r.remaining() / 4)
    return Fail(fault, "style entry count " + std::to_string(entries) + " exceeds the record");
  out.styleEntries.resize(entries);
  for (uint32_t& e : out.styleEntries) r.ReadU32(e);
  return true;
}

bool Decode(const EmfRecord&, ByteReader& r, EmrCreateBrush& out, std::string*) {
  return r.ReadU32(out.handle) && r.ReadU32(out.style) && r.ReadU32(out.color) && r.ReadU32(out.hatch);
}

bool Decode(const EmfRecord& record, ByteReader& r, EmrDibBrush& out, std::string* fault) {
  BitmapPlace place;
  r.ReadU32(out.handle);
  ReadPlace(r, place, true);
  if (r.failed()) return TooShort(fault);
  out.mono = record.type == EMR_CREATEMONOBRUSH;
  out.usage = place.usage;
  if (!RecordPart(record, place.offBmi, place.cbBmi, out.info) ||
      !RecordPart(record, place.offBits, place.cbBits, out.bits))
    return Fail(fault, "bitmap lies outside the record");
  return true;
}

bool Decode(const EmfRecord& record, ByteReader& r, EmrCreateFont& out, std::string* fault) {
  if (!r.ReadU32(out.handle)) return TooShort(fault);
  return ReadLogFont(record.bytes.subspan(12), &out.font, fault);
}

bool Decode(const EmfRecord&, ByteReader& r, EmrClipRegion& out, std::string* fault) {
  uint32_t size = 0;
  r.ReadU32(size);
  r.ReadU32(out.mode);
  if (r.failed()) return TooShort(fault);
  if (!r.ReadSpan(size, out.data))
    return Fail(fault, "region data of " + std::to_string(size) + " bytes exceeds the record");
  return true;
}

bool Decode(const EmfRecord& record, ByteReader& r, EmrRegion& out, std::string* fault) {
  uint32_t size = 0;
  out.type = record.type;
  r.Skip(16);
  r.ReadU32(size);
  if (out.type == EMR_FILLRGN || out.type == EMR_FRAMERGN) r.ReadU32(out.brush);
  if (out.type == EMR_FRAMERGN) r.ReadI32(out.frameWidth), r.ReadI32(out.frameHeight);
  if (r.failed()) return TooShort(fault);
  if (!r.ReadSpan(size, out.data))
    return Fail(fault, "region data of " + std::to_string(size) + " bytes exceeds the record");
  return true;
}

// The fields the blits share after the bounds, then those of the record's
// own type.
bool Decode(const EmfRecord& record, ByteReader& r, EmrBlt& out, std::string*) {
  out.type = record.type;
  out.recordBytes = record.bytes;
  r.Skip(16);
  r.ReadI32(out.xDest), r.ReadI32(out.yDest), r.ReadI32(out.cxDest), r.ReadI32(out.cyDest);
  r.ReadU32(out.op);
  r.ReadI32(out.xSrc), r.ReadI32(out.ySrc);
  ReadXform(r, out.xformSrc);
  r.ReadU32(out.bkColorSrc);
  ReadPlace(r, out.src, true);
  out.cxSrc = out.cxDest;
  out.cySrc = out.cyDest;
  if (out.type != EMR_BITBLT && out.type != EMR_MASKBLT) r.ReadI32(out.cxSrc), r.ReadI32(out.cySrc);
  if (out.type == EMR_MASKBLT) {
    r.ReadI32(out.maskAt.x), r.ReadI32(out.maskAt.y);
    ReadPlace(r, out.mask, true);
  }
  return true;
}

bool Decode(const EmfRecord& record, ByteReader& r, EmrPlgBlt& out, std::string*) {
  uint32_t bkColor = 0;
  out.recordBytes = record.bytes;
  r.Skip(16);
  for (POINTL& p : out.corners) r.ReadI32(p.x), r.ReadI32(p.y);
  r.ReadI32(out.xSrc), r.ReadI32(out.ySrc), r.ReadI32(out.cxSrc), r.ReadI32(out.cySrc);
  ReadXform(r, out.xformSrc);
  r.ReadU32(bkColor);
  ReadPlace(r, out.src, true);
  r.ReadI32(out.maskAt.x), r.ReadI32(out.maskAt.y);
  ReadPlace(r, out.mask, true);
  return true;
}

bool Decode(const EmfRecord& record, ByteReader& r, EmrDibBits& out, std::string*) {
  out.stretch = record.type == EMR_STRETCHDIBITS;
  out.recordBytes = record.bytes;
  r.Skip(16);
  r.ReadI32(out.xDest), r.ReadI32(out.yDest), r.ReadI32(out.xSrc), r.ReadI32(out.ySrc);
  r.ReadI32(out.cxSrc), r.ReadI32(out.cySrc);
  ReadPlace(r, out.src, false);
  if (out.stretch) return r.ReadU32(out.rop) && r.ReadI32(out.cxDest) && r.ReadI32(out.cyDest);
  return r.ReadU32(out.startScan) && r.ReadU32(out.scanCount);
}

bool Decode(const EmfRecord&, ByteReader& r, EmrGradient& out, std::string* fault) {
  uint32_t nVer = 0;
  r.Skip(16);
  r.ReadU32(nVer), r.ReadU32(out.elements), r.ReadU32(out.mode);
  if (r.failed()) return TooShort(fault);
  if (out.mode > kGradientTriangle) return Fail(fault, "ulMode " + Num(out.mode) + " is unknown");
  if (nVer > r.remaining() / 16)
    return Fail(fault, "nVer " + Num(nVer) + " vertices need " + Num(uint64_t{nVer} * 16) + " bytes, " +
                           Num(r.remaining()) + " follow");
  const size_t meshSize = out.mode == kGradientTriangle ? 12 : 8;
  const size_t vertexBytes = size_t{nVer} * 16;
  if (out.elements > (r.remaining() - vertexBytes) / meshSize)
    return Fail(fault, "nTri " + Num(out.elements) + " elements need " + Num(out.elements * meshSize) +
                           " bytes, " + Num(r.remaining() - vertexBytes) + " follow the vertices");
  out.vertices.resize(nVer);
  for (EmrGradient::Vertex& v : out.vertices) {
    r.ReadI32(v.x), r.ReadI32(v.y);
    r.ReadU16(v.red), r.ReadU16(v.green), r.ReadU16(v.blue), r.ReadU16(v.alpha);
  }
  out.indices.resize(out.elements * (meshSize / 4));
  for (uint32_t& index : out.indices) r.ReadU32(index);
  return true;
}

// EXTTEXTOUT: bounds, iGraphicsMode, exScale, eyScale, one EmrText.
// SMALLTEXTOUT: x, y, cChars, fuOptions, iGraphicsMode, exScale, eyScale,
// the rectangle unless ETO_NO_RECT, then 8- or 16-bit values; no spacing.
bool Decode(const EmfRecord& record, ByteReader& r, EmrText& out, std::string* fault) {
  EmrTextRun& run = out.run;
  if (record.type != EMR_SMALLTEXTOUT) {
    r.Skip(16);
    r.ReadU32(run.graphicsMode);
    r.Skip(8);
    if (r.failed()) return TooShort(fault);
    return ReadEmrText(record, r, IsAnsiText(record.type), run, fault);
  }
  uint32_t n = 0;
  ReadPoint(r, run.reference);
  r.ReadU32(n), r.ReadU32(run.options), r.ReadU32(run.graphicsMode);
  r.Skip(8);
  if (r.failed()) return TooShort(fault);
  if (!ReadTextRect(r, run)) return TooShort(fault);
  const bool small = run.options & ETO_SMALL_CHARS;
  if (n > kMaxRunChars) return Fail(fault, Num(n) + " characters are more than one run may hold");
  if (uint64_t(n) * (small ? 1 : 2) > r.remaining())
    return Fail(fault, "string of " + Num(n) + " characters exceeds the record");
  run.text.resize(n);
  for (char16_t& c : run.text) {
    uint8_t lo = 0, hi = 0;
    r.ReadU8(lo);
    if (!small) r.ReadU8(hi);
    c = char16_t(lo | hi << 8);
  }
  return true;
}

// Bounds, iGraphicsMode, exScale, eyScale, the string count, then one
// EmrText per string.
bool Decode(const EmfRecord& record, ByteReader& r, EmrPolyText& out, std::string* fault) {
  uint32_t mode = 0;
  r.Skip(16);
  r.ReadU32(mode);
  r.Skip(8);
  r.ReadU32(out.count);
  if (r.failed()) return TooShort(fault);
  if (out.count > r.remaining() / 24)
    return Fail(fault, "string count " + Num(out.count) + " exceeds the record");
  // A string cut short ends the runs, not the record.
  ByteReader strings = r;
  for (uint32_t i = 0; i < out.count; ++i) {
    EmrTextRun run;
    run.graphicsMode = mode;
    if (!ReadEmrText(record, strings, IsAnsiText(record.type), run, &out.fault)) break;
    out.runs.push_back(std::move(run));
  }
  return true;
}

}  // namespace snk::gdi
