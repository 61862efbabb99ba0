// The records a page plays, as typed values: what each record type's bytes
// mean, decoded once before a handler of the device context sees them.
//
// A decoder reads one record through a ByteReader after type and size. The
// record table (record_table.h) has already checked the record against the
// type's minimum size, so the fixed fields always read; a decoder checks
// the parts whose size the record itself gives (counts, offsets, strings)
// and refuses them with the fault a reader of the record would want
// ("point count 100 exceeds the record"). Values are not judged here:
// a map mode of 99 is decoded and refused by its handler.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "host/gdi/dc_state.h"
#include "host/gdi/emf_reader.h"
#include "host/gdi/shapes.h"

namespace snk::gdi {

// Records without fields after type and size (or whose fields are unused).
struct EmrEmpty {};

// One unsigned field: a mode, colour, limit or flag word.
struct EmrValue {
  uint32_t value = 0;
};

// RESTOREDC: which saved state; negative counts back from the newest.
struct EmrSavedIndex {
  int32_t index = 0;
};

// A POINTL: an origin, an extent, a position or an offset.
struct EmrPoint {
  PointD point;
};

// SCALEVIEWPORTEXTEX, SCALEWINDOWEXTEX.
struct EmrScale {
  int32_t xNum = 0, xDenom = 0, yNum = 0, yDenom = 0;
};

// SETWORLDTRANSFORM.
struct EmrXform {
  Matrix xform;
};

// MODIFYWORLDTRANSFORM.
struct EmrModifyXform {
  Matrix xform;
  uint32_t mode = 0;
};

// SETTEXTJUSTIFICATION.
struct EmrJustification {
  int32_t extra = 0;  // logical units
  int32_t count = 0;  // break characters
};

// A logical rectangle: RECTANGLE, ELLIPSE, the clip rectangles.
struct EmrBox {
  double box[4] = {};  // left, top, right, bottom
};

struct EmrRoundRect {
  double box[4] = {};
  PointD corner;  // the corner ellipse's width and height
};

// ARC, ARCTO, CHORD, PIE.
struct EmrArc {
  ArcKind kind = ArcKind::Arc;
  double box[4] = {};
  PointD start, end;
};

struct EmrAngleArc {
  PointD centre;
  uint32_t radius = 0;
  double startDegrees = 0, sweepDegrees = 0;
};

struct EmrSetPixel {
  PointD point;
  uint32_t color = 0;
};

// The poly records, 32-bit and 16-bit points alike.
struct EmrPoly {
  bool to = false;               // POLYLINETO, POLYBEZIERTO: continue from the current position
  bool bezier = false;           // POLYBEZIER, POLYBEZIERTO
  bool closed = false;           // POLYGON, POLYPOLYGON
  std::vector<uint32_t> counts;  // points per figure; they add up to points.size()
  std::vector<PointD> points;
};

// POLYDRAW, POLYDRAW16: points with a PT_* type each.
struct EmrPolyDraw {
  std::vector<PointD> points;
  std::vector<uint8_t> types;
};

// SELECTOBJECT, DELETEOBJECT, SELECTPALETTE, CREATEPALETTE.
struct EmrHandle {
  uint32_t handle = 0;
};

// CREATEPEN: a LOGPEN.
struct EmrCreatePen {
  uint32_t handle = 0, style = 0, color = 0;
  int32_t width = 0;  // the x of the LOGPEN's width; its y is unused
};

// EXTCREATEPEN: an EXTLOGPEN; a pattern pen's bitmap is not used.
struct EmrExtCreatePen {
  uint32_t handle = 0, style = 0, width = 0;
  uint32_t brushStyle = 0, color = 0;
  std::vector<uint32_t> styleEntries;  // dash and gap lengths (PS_USERSTYLE)
};

// CREATEBRUSHINDIRECT: a LOGBRUSH.
struct EmrCreateBrush {
  uint32_t handle = 0, style = 0, color = 0, hatch = 0;
};

// CREATEDIBPATTERNBRUSHPT, CREATEMONOBRUSH: the bitmap inside the record.
struct EmrDibBrush {
  uint32_t handle = 0;
  bool mono = false;
  uint32_t usage = 0;
  std::span<const std::byte> info;
  std::span<const std::byte> bits;
};

struct EmrCreateFont {
  uint32_t handle = 0;
  FontObject font;
};

// EXTSELECTCLIPRGN.
struct EmrClipRegion {
  uint32_t mode = 0;
  std::span<const std::byte> data;  // RGNDATA; empty with RGN_COPY resets the clip
};

// FILLRGN, FRAMERGN, INVERTRGN, PAINTRGN.
struct EmrRegion {
  uint32_t type = 0;
  uint32_t brush = 0;                       // FILLRGN, FRAMERGN
  int32_t frameWidth = 0, frameHeight = 0;  // FRAMERGN
  std::span<const std::byte> data;          // RGNDATA
};

// Where a record keeps one of its bitmaps: offsets and sizes from the
// record's start, and how its colour table is to be read. The place is
// checked against the record when the bitmap is decoded.
struct BitmapPlace {
  uint32_t usage = 0;
  uint32_t offBmi = 0;
  uint32_t cbBmi = 0;
  uint32_t offBits = 0;
  uint32_t cbBits = 0;
  bool Present() const { return cbBmi != 0; }
};

// BITBLT, STRETCHBLT, MASKBLT, ALPHABLEND, TRANSPARENTBLT.
struct EmrBlt {
  uint32_t type = 0;
  int32_t xDest = 0, yDest = 0, cxDest = 0, cyDest = 0;
  uint32_t op = 0;  // raster operation, ROP4, BLENDFUNCTION or colour key
  int32_t xSrc = 0, ySrc = 0;
  int32_t cxSrc = 0, cySrc = 0;  // the destination's extents unless the record has its own
  Matrix xformSrc;
  uint32_t bkColorSrc = 0;
  BitmapPlace src;
  POINTL maskAt{};  // MASKBLT
  BitmapPlace mask;
  std::span<const std::byte> recordBytes;  // the whole record: the places are offsets into it
};

struct EmrPlgBlt {
  POINTL corners[3] = {};
  int32_t xSrc = 0, ySrc = 0, cxSrc = 0, cySrc = 0;
  Matrix xformSrc;
  BitmapPlace src;
  POINTL maskAt{};
  BitmapPlace mask;
  std::span<const std::byte> recordBytes;
};

// STRETCHDIBITS, SETDIBITSTODEVICE.
struct EmrDibBits {
  bool stretch = false;
  int32_t xDest = 0, yDest = 0, xSrc = 0, ySrc = 0, cxSrc = 0, cySrc = 0;
  BitmapPlace src;
  uint32_t rop = 0x00CC0020;              // STRETCHDIBITS
  int32_t cxDest = 0, cyDest = 0;         // STRETCHDIBITS
  uint32_t startScan = 0, scanCount = 0;  // SETDIBITSTODEVICE
  std::span<const std::byte> recordBytes;
};

struct EmrGradient {
  uint32_t mode = 0;  // GRADIENT_FILL_*
  struct Vertex {
    int32_t x = 0, y = 0;
    uint16_t red = 0, green = 0, blue = 0, alpha = 0;
  };
  std::vector<Vertex> vertices;
  std::vector<uint32_t> indices;  // 2 (rectangles) or 3 (triangles) per element
  uint32_t elements = 0;
};

// One run of text as a record stores it.
struct EmrTextRun {
  PointD reference;  // logical
  uint32_t options = 0;
  bool hasRect = false;
  double rect[4] = {};              // logical left, top, right, bottom
  std::u16string text;              // UTF-16 values or glyph numbers
  std::span<const std::byte> ansi;  // 8-bit text in the font's code page, not yet in `text`
  std::vector<double> dx;           // logical advance after each value; empty: the font's
  std::vector<double> dy;           // ETO_PDY: vertical offset after each value (up)
  uint32_t graphicsMode = 1;
};

// EXTTEXTOUTW, EXTTEXTOUTA, SMALLTEXTOUT.
struct EmrText {
  EmrTextRun run;
};

// POLYTEXTOUTW, POLYTEXTOUTA. The runs are decoded up to the first that
// cannot be; `fault` says why that one could not (its runs before it are
// still drawn).
struct EmrPolyText {
  uint32_t count = 0;
  std::vector<EmrTextRun> runs;
  std::string fault;
};

// The decoders, one per typed record, reading through `r` (positioned after
// type and size). False with `fault` when a part whose size the record
// gives does not lie inside it; fixed fields cut short leave `r.failed()`,
// which a decoder checks before such parts and the record table after.
bool Decode(const EmfRecord& record, ByteReader& r, EmrEmpty& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrValue& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrSavedIndex& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrPoint& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrScale& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrXform& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrModifyXform& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrJustification& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrBox& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrRoundRect& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrArc& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrAngleArc& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrSetPixel& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrPoly& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrPolyDraw& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrHandle& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrCreatePen& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrExtCreatePen& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrCreateBrush& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrDibBrush& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrCreateFont& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrClipRegion& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrRegion& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrBlt& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrPlgBlt& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrDibBits& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrGradient& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrText& out, std::string* fault);
bool Decode(const EmfRecord& record, ByteReader& r, EmrPolyText& out, std::string* fault);

}  // namespace snk::gdi
