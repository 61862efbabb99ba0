// The device context an EMF page is played in. Its parts:
//   - the drawing state (dc_state.h): map mode, window and viewport, world
//     transform, selected objects, colours and modes, clip and meta
//     regions, with the stack of SAVEDC;
//   - the object table (object_table.h) of created and stock objects;
//   - the path bracket (path_bracket.h);
//   - the drawing: shapes, blits and text become calls on a PlayTarget, the
//     way the graphics engine calls a driver that handles Beziers and
//     geometric wide lines itself.
//
// Records arrive decoded (record_types.h) through the handlers below, one
// per record type or family, which the record table (record_table.cpp)
// names. Coordinates travel
//   logical -> world transform -> window/viewport mapping (reference device
//   pixels) -> page mapping (the header's frame onto the whole surface)
// and reach the target as surface pixels (28.4 fixed point in paths).
// A record that cannot be played is refused with a one-line fault; the state
// is then left as it was.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "host/engine/brush.h"
#include "host/engine/clip.h"
#include "host/engine/region.h"
#include "host/gdi/dc_state.h"
#include "host/gdi/emf_reader.h"
#include "host/gdi/object_table.h"
#include "host/gdi/path_bracket.h"
#include "host/gdi/record_types.h"
#include "host/gdi/shapes.h"
#include "platform/winddi.h"

namespace snk::gdi {

class PlayTarget;
class SourceBitmap;
struct RealizedFont;

class DeviceContext {
 public:
  DeviceContext(const EmfHeader& header, PlayTarget& target);
  ~DeviceContext();

  // Read access for tests.
  const DcState& state() const { return state_; }
  // Logical to surface pixels with the current state.
  Matrix DeviceMatrix() const;
  // The clip, meta region and surface combined, in surface pixels.
  engine::Region VisibleRegion() const;
  uint32_t visibleUniq() const { return uniq_; }
  // Faults of the last record that did not stop it from being played (a
  // bitmap's colour table cut short); taken once.
  std::vector<std::string> TakeNotes() { return std::exchange(notes_, {}); }

  // The record handlers. Each returns false with `fault` when its record
  // cannot be played.
  using Fault = std::string*;

  // State (dc_state_records.cpp).
  bool OnIgnored(const EmrEmpty&, Fault) { return true; }
  bool OnSaveDc(const EmrEmpty&, Fault);
  bool OnRestoreDc(const EmrSavedIndex& rec, Fault fault);
  bool OnSetMapMode(const EmrValue& rec, Fault fault);
  bool OnSetWindowExt(const EmrPoint& rec, Fault fault);
  bool OnSetViewportExt(const EmrPoint& rec, Fault fault);
  bool OnSetWindowOrg(const EmrPoint& rec, Fault fault);
  bool OnSetViewportOrg(const EmrPoint& rec, Fault fault);
  bool OnScaleWindowExt(const EmrScale& rec, Fault fault);
  bool OnScaleViewportExt(const EmrScale& rec, Fault fault);
  bool OnSetWorldTransform(const EmrXform& rec, Fault fault);
  bool OnModifyWorldTransform(const EmrModifyXform& rec, Fault fault);
  bool OnSetPolyFillMode(const EmrValue& rec, Fault fault);
  bool OnSetRop2(const EmrValue& rec, Fault fault);
  bool OnSetMiterLimit(const EmrValue& rec, Fault fault);
  bool OnSetBkMode(const EmrValue& rec, Fault fault);
  bool OnSetBkColor(const EmrValue& rec, Fault fault);
  bool OnSetTextColor(const EmrValue& rec, Fault fault);
  bool OnSetArcDirection(const EmrValue& rec, Fault fault);
  bool OnSetBrushOrg(const EmrPoint& rec, Fault fault);
  bool OnSetStretchBltMode(const EmrValue& rec, Fault fault);
  bool OnMoveTo(const EmrPoint& rec, Fault fault);
  bool OnSetTextAlign(const EmrValue& rec, Fault fault);
  bool OnSetMapperFlags(const EmrValue& rec, Fault fault);
  bool OnSetTextJustification(const EmrJustification& rec, Fault fault);

  // Objects (dc_state_records.cpp).
  bool OnSelectObject(const EmrHandle& rec, Fault fault);
  bool OnDeleteObject(const EmrHandle& rec, Fault fault);
  bool OnSelectPalette(const EmrHandle&, Fault) { return true; }
  bool OnCreatePalette(const EmrHandle& rec, Fault fault);
  bool OnCreateFont(const EmrCreateFont& rec, Fault fault);
  bool OnCreatePen(const EmrCreatePen& rec, Fault fault);
  bool OnExtCreatePen(const EmrExtCreatePen& rec, Fault fault);
  bool OnCreateBrush(const EmrCreateBrush& rec, Fault fault);
  bool OnCreateDibBrush(const EmrDibBrush& rec, Fault fault);

  // The path bracket, clipping and the region records (dc_paths.cpp).
  bool OnBeginPath(const EmrEmpty&, Fault);
  bool OnEndPath(const EmrEmpty&, Fault fault);
  bool OnAbortPath(const EmrEmpty&, Fault);
  bool OnCloseFigure(const EmrEmpty&, Fault fault);
  bool OnFlattenPath(const EmrEmpty&, Fault fault);
  bool OnWidenPath(const EmrEmpty&, Fault fault);
  bool OnFillPath(const EmrEmpty&, Fault fault);
  bool OnStrokePath(const EmrEmpty&, Fault fault);
  bool OnStrokeAndFillPath(const EmrEmpty&, Fault fault);
  bool OnSelectClipPath(const EmrValue& rec, Fault fault);
  bool OnIntersectClipRect(const EmrBox& rec, Fault fault);
  bool OnExcludeClipRect(const EmrBox& rec, Fault fault);
  bool OnExtSelectClipRgn(const EmrClipRegion& rec, Fault fault);
  bool OnOffsetClipRgn(const EmrPoint& rec, Fault fault);
  bool OnSetMetaRgn(const EmrEmpty&, Fault);
  bool OnRegion(const EmrRegion& rec, Fault fault);

  // Shapes (dc_drawing.cpp).
  bool OnLineTo(const EmrPoint& rec, Fault fault);
  bool OnRectangle(const EmrBox& rec, Fault fault);
  bool OnEllipse(const EmrBox& rec, Fault fault);
  bool OnRoundRect(const EmrRoundRect& rec, Fault fault);
  bool OnArc(const EmrArc& rec, Fault fault);
  bool OnAngleArc(const EmrAngleArc& rec, Fault fault);
  bool OnSetPixel(const EmrSetPixel& rec, Fault fault);
  bool OnPoly(const EmrPoly& rec, Fault fault);
  bool OnPolyDraw(const EmrPolyDraw& rec, Fault fault);

  // Bitmaps and gradients (emf_bitmaps.cpp).
  bool OnBlt(const EmrBlt& rec, Fault fault);
  bool OnPlgBlt(const EmrPlgBlt& rec, Fault fault);
  bool OnDibBits(const EmrDibBits& rec, Fault fault);
  bool OnGradientFill(const EmrGradient& rec, Fault fault);

  // Text (emf_text.cpp).
  bool OnText(const EmrText& rec, Fault fault);
  bool OnPolyText(const EmrPolyText& rec, Fault fault);

 private:
  struct Pen;  // a pen resolved for one drawing

  // State helpers.
  bool SetMapMode(uint32_t mode, std::string* fault);
  bool SetExtent(PointD& extent, PointD value, std::string* fault);
  bool ScaleExtent(PointD& extent, const EmrScale& rec, std::string* fault);
  void FixIsotropic();
  bool SetWorld(const Matrix& m, std::string* fault);
  std::shared_ptr<const GdiObject> Object(uint32_t handle, std::string* fault) const;
  void ClipChanged() { ++uniq_; }

  // Text helpers (emf_text.cpp).
  struct TextJob;
  bool DrawText(const EmrTextRun& run, std::string* fault);
  bool PlaceText(const EmrTextRun& run, TextJob& job, std::string* fault) const;
  bool LayOutText(const EmrTextRun& run, TextJob& job, std::string* fault);
  void SendText(const EmrTextRun& run, TextJob& job);
  // The run with 8-bit text decoded through the selected font's code page.
  EmrTextRun RunOf(const EmrTextRun& stored) const;
  // The font object's realization for text whose request units map to
  // device pixels by `toDevice` (linear part only); cached per font and
  // transform. Null with `fault` when no face can be opened.
  RealizedFont* RealizeFont(const FontObject& font, const Matrix& toDevice, std::string* fault);
  // Request units (x along the baseline, y down) to surface pixels for the
  // selected font in the graphics mode of a text record.
  Matrix TextMatrix(const FontObject& font, uint32_t graphicsMode) const;
  // Fills a quadrilateral of surface pixels with a solid colour.
  void FillQuad(const PointD quad[4], uint32_t color, const engine::Region& vis);

  // A blit placed on the device: the source rectangle (source pixels) and
  // where its top-left, top-right and bottom-left corners land (surface
  // pixels). A mask, when given, lines up with the source from maskOrigin.
  struct BlitPlan {
    SourceBitmap* source = nullptr;
    SourceBitmap* mask = nullptr;
    POINTL maskOrigin{};
    PointD corner[3];
    double src[4] = {};  // left, top, right, bottom
    ROP4 rop = 0xCCCC;
  };
  // Where the destination rectangle of logical (x, y, cx, cy) lands.
  void PlaceDestination(double x, double y, double cx, double cy, PointD corner[3]) const;
  // Turns negative source extents into a mirrored destination and cuts the
  // source rectangle to the source bitmap (and the mask), moving the
  // corners with it. False with a fault when nothing is left to draw.
  bool FitSource(BlitPlan& plan, std::string* fault) const;
  // Sends a planned blit as the engine would: CopyBits, BitBlt, StretchBlt,
  // StretchBltROP or PlgBlt.
  bool SendBlit(BlitPlan& plan, std::string* fault);
  bool SendParallelogram(BlitPlan& plan, BRUSHOBJ* brush, std::string* fault);
  // A blit whose operation uses no source: the brush over the destination.
  bool BrushBlit(const PointD corner[3], ROP4 rop, std::string* fault);
  // ALPHABLEND and TRANSPARENTBLT: the source drawn upright into the
  // destination's bounds.
  bool BlendBlt(const EmrBlt& rec, std::string* fault);
  // The clip object of a blit inside `bounds`; false when nothing is visible.
  bool BlitClip(const RECTL& bounds, std::optional<engine::HostClip>* clip) const;
  POINTL DeviceBrushOrigin() const;

  // Draws a shape given in logical coordinates: adds it to the path inside
  // a bracket, else strokes and/or fills it. `continues` joins an open
  // figure to the current one (the -TO records).
  bool Draw(const GdiPath& shape, bool stroke, bool fill, bool continues, std::string* fault);
  // Sends a path already in device space.
  // `winding` fills by the winding rule whatever the DC's fill mode (a widened path).
  bool Render(const GdiPath& device, const Matrix& toDevice, bool stroke, bool fill, bool winding = false);
  Pen ResolvePen(const PenObject& pen, double scale) const;
  bool ToDevice(const GdiPath& logical, GdiPath* device, std::string* fault) const;
  // A one-pixel line with a thin solid pen, sent as LineTo.
  bool FastLine(PointD to, std::string* fault);
  bool Blit(const RECTL& rect, const engine::Region* extraClip, const BrushObject* brush, ROP4 rop);
  bool Realize(const BrushObject& brush, std::optional<engine::HostBrush>* out) const;
  std::optional<engine::Region> ReferenceRegion(std::span<const std::byte> data, std::string* fault) const;
  bool CombineClip(const engine::Region& region, uint32_t mode, std::string* fault);
  bool ClipRect(const double box[4], uint32_t mode, std::string* fault);
  bool RenderPath(bool stroke, bool fill, std::string* fault);
  MIX Mix(const BrushObject* brush) const;
  // The ternary op of the DC's binary raster op, for both halves of a ROP4.
  ROP4 Rop4OfRop2() const;

  const EmfHeader header_;
  PlayTarget& target_;
  Matrix page_;  // reference device pixels -> surface pixels
  RECTL surface_{};
  DcState state_;
  std::vector<DcState> saved_;
  ObjectTable objects_;
  PathBracket bracket_;
  uint32_t uniq_ = 1;
  std::vector<std::string> notes_;
  // Realized fonts of the page, and the substitute faces already warned of.
  std::vector<std::shared_ptr<RealizedFont>> fonts_;
  std::vector<std::string> warnedFaces_;
};

}  // namespace snk::gdi
