#include "host/gdi/record_table.h"

#include <array>
#include <utility>

#include "host/gdi/device_context.h"
#include "host/gdi/emf_records.h"
#include "host/gdi/record_fields.h"
#include "host/gdi/record_types.h"

namespace snk::gdi {
namespace {

template <typename Method>
struct HandlerTraits;
template <typename Rec>
struct HandlerTraits<bool (DeviceContext::*)(const Rec&, std::string*)> {
  using Record = Rec;
};

// Decodes the record into the handler's typed record and hands it over.
// The player has checked the entry's minimum size; a decoder that still ran
// out of bytes in its fixed fields (false without a fault of its own, or
// true with the reader failed) says the minimum is too small, and the
// record is refused the same way.
template <auto Handler>
bool Play(DeviceContext& dc, const EmfRecord& record, std::string* fault) {
  typename HandlerTraits<decltype(Handler)>::Record typed;
  ByteReader reader = record.Reader();
  std::string why;
  const bool decoded = Decode(record, reader, typed, &why);
  if (reader.failed() && why.empty()) return Fail(fault, "too short");
  if (!decoded) return Fail(fault, std::move(why));
  return (dc.*Handler)(typed, fault);
}

template <auto Handler>
constexpr RecordEntry Entry(uint32_t type, uint32_t minSize) {
  return RecordEntry{type, minSize, &Play<Handler>};
}

using DC = DeviceContext;

// Minimum sizes count the 8 bytes of type and size.
constexpr RecordEntry kEntries[] = {
    // State.
    Entry<&DC::OnSaveDc>(EMR_SAVEDC, 8),
    Entry<&DC::OnRestoreDc>(EMR_RESTOREDC, 12),
    Entry<&DC::OnSetMapMode>(EMR_SETMAPMODE, 12),
    Entry<&DC::OnSetWindowExt>(EMR_SETWINDOWEXTEX, 16),
    Entry<&DC::OnSetWindowOrg>(EMR_SETWINDOWORGEX, 16),
    Entry<&DC::OnSetViewportExt>(EMR_SETVIEWPORTEXTEX, 16),
    Entry<&DC::OnSetViewportOrg>(EMR_SETVIEWPORTORGEX, 16),
    Entry<&DC::OnScaleViewportExt>(EMR_SCALEVIEWPORTEXTEX, 24),
    Entry<&DC::OnScaleWindowExt>(EMR_SCALEWINDOWEXTEX, 24),
    Entry<&DC::OnSetWorldTransform>(EMR_SETWORLDTRANSFORM, 32),
    Entry<&DC::OnModifyWorldTransform>(EMR_MODIFYWORLDTRANSFORM, 36),
    Entry<&DC::OnSetPolyFillMode>(EMR_SETPOLYFILLMODE, 12),
    Entry<&DC::OnSetRop2>(EMR_SETROP2, 12),
    Entry<&DC::OnSetMiterLimit>(EMR_SETMITERLIMIT, 12),
    Entry<&DC::OnSetBkMode>(EMR_SETBKMODE, 12),
    Entry<&DC::OnSetBkColor>(EMR_SETBKCOLOR, 12),
    Entry<&DC::OnSetTextColor>(EMR_SETTEXTCOLOR, 12),
    Entry<&DC::OnSetArcDirection>(EMR_SETARCDIRECTION, 12),
    Entry<&DC::OnSetBrushOrg>(EMR_SETBRUSHORGEX, 16),
    Entry<&DC::OnMoveTo>(EMR_MOVETOEX, 16),
    Entry<&DC::OnSetMapperFlags>(EMR_SETMAPPERFLAGS, 12),
    Entry<&DC::OnSetStretchBltMode>(EMR_SETSTRETCHBLTMODE, 12),
    Entry<&DC::OnSetTextAlign>(EMR_SETTEXTALIGN, 12),
    Entry<&DC::OnSetTextJustification>(EMR_SETTEXTJUSTIFICATION, 16),
    // Accepted without effect on drawing.
    Entry<&DC::OnIgnored>(EMR_SETICMMODE, 8),
    Entry<&DC::OnIgnored>(EMR_SETLAYOUT, 8),
    Entry<&DC::OnIgnored>(EMR_SETCOLORADJUSTMENT, 8),
    Entry<&DC::OnIgnored>(EMR_REALIZEPALETTE, 8),
    Entry<&DC::OnIgnored>(EMR_COMMENT, 8),
    // Objects.
    Entry<&DC::OnSelectObject>(EMR_SELECTOBJECT, 12),
    Entry<&DC::OnDeleteObject>(EMR_DELETEOBJECT, 12),
    Entry<&DC::OnSelectPalette>(EMR_SELECTPALETTE, 12),
    Entry<&DC::OnCreatePalette>(EMR_CREATEPALETTE, 12),
    Entry<&DC::OnCreateFont>(EMR_EXTCREATEFONTINDIRECTW, 12),
    Entry<&DC::OnCreatePen>(EMR_CREATEPEN, 28),
    Entry<&DC::OnExtCreatePen>(EMR_EXTCREATEPEN, 52),
    Entry<&DC::OnCreateBrush>(EMR_CREATEBRUSHINDIRECT, 24),
    Entry<&DC::OnCreateDibBrush>(EMR_CREATEDIBPATTERNBRUSHPT, 32),
    Entry<&DC::OnCreateDibBrush>(EMR_CREATEMONOBRUSH, 32),
    // The path bracket.
    Entry<&DC::OnBeginPath>(EMR_BEGINPATH, 8),
    Entry<&DC::OnEndPath>(EMR_ENDPATH, 8),
    Entry<&DC::OnAbortPath>(EMR_ABORTPATH, 8),
    Entry<&DC::OnCloseFigure>(EMR_CLOSEFIGURE, 8),
    Entry<&DC::OnFlattenPath>(EMR_FLATTENPATH, 8),
    Entry<&DC::OnWidenPath>(EMR_WIDENPATH, 8),
    Entry<&DC::OnFillPath>(EMR_FILLPATH, 8),
    Entry<&DC::OnStrokePath>(EMR_STROKEPATH, 8),
    Entry<&DC::OnStrokeAndFillPath>(EMR_STROKEANDFILLPATH, 8),
    // Clipping.
    Entry<&DC::OnSelectClipPath>(EMR_SELECTCLIPPATH, 12),
    Entry<&DC::OnIntersectClipRect>(EMR_INTERSECTCLIPRECT, 24),
    Entry<&DC::OnExcludeClipRect>(EMR_EXCLUDECLIPRECT, 24),
    Entry<&DC::OnExtSelectClipRgn>(EMR_EXTSELECTCLIPRGN, 16),
    Entry<&DC::OnOffsetClipRgn>(EMR_OFFSETCLIPRGN, 16),
    Entry<&DC::OnSetMetaRgn>(EMR_SETMETARGN, 8),
    // Regions: bounds, data size, then the brush and the frame's size.
    Entry<&DC::OnRegion>(EMR_FILLRGN, 32),
    Entry<&DC::OnRegion>(EMR_FRAMERGN, 40),
    Entry<&DC::OnRegion>(EMR_INVERTRGN, 28),
    Entry<&DC::OnRegion>(EMR_PAINTRGN, 28),
    // Shapes.
    Entry<&DC::OnLineTo>(EMR_LINETO, 16),
    Entry<&DC::OnRectangle>(EMR_RECTANGLE, 24),
    Entry<&DC::OnRoundRect>(EMR_ROUNDRECT, 32),
    Entry<&DC::OnEllipse>(EMR_ELLIPSE, 24),
    Entry<&DC::OnArc>(EMR_ARC, 40),
    Entry<&DC::OnArc>(EMR_ARCTO, 40),
    Entry<&DC::OnArc>(EMR_CHORD, 40),
    Entry<&DC::OnArc>(EMR_PIE, 40),
    Entry<&DC::OnAngleArc>(EMR_ANGLEARC, 28),
    Entry<&DC::OnSetPixel>(EMR_SETPIXELV, 20),
    // Poly records: bounds, [figure count,] point count.
    Entry<&DC::OnPoly>(EMR_POLYLINE, 28),
    Entry<&DC::OnPoly>(EMR_POLYLINETO, 28),
    Entry<&DC::OnPoly>(EMR_POLYBEZIER, 28),
    Entry<&DC::OnPoly>(EMR_POLYBEZIERTO, 28),
    Entry<&DC::OnPoly>(EMR_POLYGON, 28),
    Entry<&DC::OnPoly>(EMR_POLYPOLYLINE, 32),
    Entry<&DC::OnPoly>(EMR_POLYPOLYGON, 32),
    Entry<&DC::OnPoly>(EMR_POLYLINE16, 28),
    Entry<&DC::OnPoly>(EMR_POLYLINETO16, 28),
    Entry<&DC::OnPoly>(EMR_POLYBEZIER16, 28),
    Entry<&DC::OnPoly>(EMR_POLYBEZIERTO16, 28),
    Entry<&DC::OnPoly>(EMR_POLYGON16, 28),
    Entry<&DC::OnPoly>(EMR_POLYPOLYLINE16, 32),
    Entry<&DC::OnPoly>(EMR_POLYPOLYGON16, 32),
    Entry<&DC::OnPolyDraw>(EMR_POLYDRAW, 28),
    Entry<&DC::OnPolyDraw>(EMR_POLYDRAW16, 28),
    // Bitmaps: bounds and the blit's fields up to the source bitmap's place.
    Entry<&DC::OnBlt>(EMR_BITBLT, 100),
    Entry<&DC::OnBlt>(EMR_STRETCHBLT, 108),
    Entry<&DC::OnBlt>(EMR_MASKBLT, 128),
    Entry<&DC::OnBlt>(EMR_ALPHABLEND, 108),
    Entry<&DC::OnBlt>(EMR_TRANSPARENTBLT, 108),
    Entry<&DC::OnPlgBlt>(EMR_PLGBLT, 140),
    Entry<&DC::OnDibBits>(EMR_SETDIBITSTODEVICE, 76),
    Entry<&DC::OnDibBits>(EMR_STRETCHDIBITS, 80),
    Entry<&DC::OnGradientFill>(EMR_GRADIENTFILL, 36),
    // Text: the fixed fields before the optional rectangle.
    Entry<&DC::OnText>(EMR_EXTTEXTOUTW, 60),
    Entry<&DC::OnText>(EMR_EXTTEXTOUTA, 60),
    Entry<&DC::OnText>(EMR_SMALLTEXTOUT, 36),
    Entry<&DC::OnPolyText>(EMR_POLYTEXTOUTW, 40),
    Entry<&DC::OnPolyText>(EMR_POLYTEXTOUTA, 40),
};

using Index = std::array<const RecordEntry*, kEmrMaxType + 1>;

const Index& Entries() {
  static const Index index = [] {
    Index by{};
    for (const RecordEntry& entry : kEntries) by[entry.type] = &entry;
    return by;
  }();
  return index;
}

}  // namespace

const RecordEntry* FindRecordEntry(uint32_t type) {
  const Index& index = Entries();
  return type < index.size() ? index[type] : nullptr;
}

}  // namespace snk::gdi
