// The device context an EMF page is played in: GDI's drawing state (map
// mode, window and viewport, world transform, selected objects, colours and
// modes, the path bracket, the clip and meta regions) and the handle table.
//
// Records arrive through Play(); each changes the state or becomes calls on
// a PlayTarget, the way the graphics engine calls a driver that handles
// Beziers and geometric wide lines itself. Coordinates travel
//   logical -> world transform -> window/viewport mapping (reference device
//   pixels) -> page mapping (the header's frame onto the whole surface)
// and reach the target as surface pixels (28.4 fixed point in paths).
// Record fields are untrusted: every count is checked against the record's
// size before anything is allocated, and a record that cannot be played is
// refused with a one-line fault; the state is then left as it was.
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
#include "host/gdi/emf_reader.h"
#include "host/gdi/shapes.h"
#include "platform/winddi.h"

namespace snk::engine {
class HostPath;
}

namespace snk::gdi {

class PlayTarget;
class SourceBitmap;
struct TextRun;
struct RealizedFont;

// An affine transform in GDI's XFORM layout:
// x' = x * m11 + y * m21 + dx, y' = x * m12 + y * m22 + dy.
struct Matrix {
  double m11 = 1, m12 = 0, m21 = 0, m22 = 1, dx = 0, dy = 0;

  PointD Apply(PointD p) const { return {p.x * m11 + p.y * m21 + dx, p.x * m12 + p.y * m22 + dy}; }
  // This transform followed by `next`.
  Matrix Then(const Matrix& next) const;
  double Determinant() const { return m11 * m22 - m12 * m21; }
  bool Finite() const;
  bool AxisAligned() const { return m12 == 0 && m21 == 0; }
};

// Points farther than this from the surface's origin are refused.
inline constexpr double kMaxDeviceCoordinate = double(1 << 26);

// Pen styles and their flags (LOGPEN / EXTLOGPEN).
inline constexpr uint32_t PS_SOLID = 0;
inline constexpr uint32_t PS_DASH = 1;
inline constexpr uint32_t PS_DOT = 2;
inline constexpr uint32_t PS_DASHDOT = 3;
inline constexpr uint32_t PS_DASHDOTDOT = 4;
inline constexpr uint32_t PS_NULL = 5;
inline constexpr uint32_t PS_INSIDEFRAME = 6;
inline constexpr uint32_t PS_USERSTYLE = 7;
inline constexpr uint32_t PS_ALTERNATE = 8;
inline constexpr uint32_t PS_STYLE_MASK = 0x0000000F;
inline constexpr uint32_t PS_ENDCAP_MASK = 0x00000F00;
inline constexpr uint32_t PS_ENDCAP_SQUARE = 0x00000100;
inline constexpr uint32_t PS_ENDCAP_FLAT = 0x00000200;
inline constexpr uint32_t PS_JOIN_MASK = 0x0000F000;
inline constexpr uint32_t PS_JOIN_BEVEL = 0x00001000;
inline constexpr uint32_t PS_JOIN_MITER = 0x00002000;
inline constexpr uint32_t PS_GEOMETRIC = 0x00010000;

// Brush styles (LOGBRUSH).
inline constexpr uint32_t BS_SOLID = 0;
inline constexpr uint32_t BS_NULL = 1;
inline constexpr uint32_t BS_HATCHED = 2;
inline constexpr uint32_t BS_PATTERN = 3;
inline constexpr uint32_t BS_DIBPATTERN = 5;
inline constexpr uint32_t BS_DIBPATTERNPT = 6;

// Stock objects (GetStockObject numbers), selected as 0x80000000 | n.
inline constexpr uint32_t WHITE_BRUSH = 0;
inline constexpr uint32_t NULL_BRUSH = 5;
inline constexpr uint32_t WHITE_PEN = 6;
inline constexpr uint32_t BLACK_PEN = 7;
inline constexpr uint32_t NULL_PEN = 8;
inline constexpr uint32_t DC_BRUSH = 18;
inline constexpr uint32_t DC_PEN = 19;

struct PenObject {
  uint32_t style = PS_SOLID;  // the whole style word, flags included
  double width = 0;           // logical units; 0 = cosmetic
  uint32_t color = 0;
  std::vector<uint32_t> userStyle;  // PS_USERSTYLE: dash and gap lengths, logical units

  uint32_t Kind() const { return style & PS_STYLE_MASK; }
};

struct BrushObject {
  enum class Kind { Solid, Null, Hatch, Pattern, Mono };
  Kind kind = Kind::Solid;
  uint32_t color = 0;
  uint32_t hatch = 0;
  // Pattern: decoded pixels. Mono: the 1-bit bitmap's info and bits, decoded
  // with the text and background colours when the brush is used.
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint32_t> pixels;
  std::vector<std::byte> info;
  std::vector<std::byte> bits;
};

// A LOGFONTW as EXTCREATEFONTINDIRECTW gives it (the larger forms carry
// one at their start).
struct FontObject {
  int32_t height = 0;  // logical units; < 0: em height, > 0: cell height
  int32_t width = 0;
  int32_t escapement = 0;  // tenths of a degree, counterclockwise
  int32_t orientation = 0;
  int32_t weight = 400;
  bool italic = false;
  bool underline = false;
  bool strikeOut = false;
  uint8_t charSet = 1;  // DEFAULT_CHARSET
  uint8_t outPrecision = 0;
  uint8_t clipPrecision = 0;
  uint8_t quality = 0;
  uint8_t pitchAndFamily = 0;
  std::u16string face;
  // Tells realizations apart: unique per created font, fixed per stock font.
  uint64_t id = 0;
};

// Reads the LOGFONTW at the start of an EXTCREATEFONTINDIRECTW's elw field
// (`bytes`: the record after its handle). False with `fault` when the
// record is too short for one.
bool ReadLogFont(std::span<const std::byte> bytes, FontObject* font, std::string* fault);

struct GdiObject {
  enum class Kind { Pen, Brush, Font, Palette };
  Kind kind = Kind::Pen;
  PenObject pen;
  BrushObject brush;
  FontObject font;
};

// The part of the DC that SAVEDC saves.
struct DcState {
  std::shared_ptr<const GdiObject> pen;
  std::shared_ptr<const GdiObject> brush;
  std::shared_ptr<const GdiObject> font;
  uint32_t mapMode = 1;  // MM_TEXT
  PointD windowOrg{0, 0};
  PointD windowExt{1, 1};
  PointD viewportOrg{0, 0};
  PointD viewportExt{1, 1};
  Matrix world;
  uint32_t polyFillMode = 1;  // ALTERNATE
  uint32_t rop2 = 13;         // R2_COPYPEN
  double miterLimit = 10;
  uint32_t bkMode = 2;  // OPAQUE
  uint32_t bkColor = 0xFFFFFF;
  uint32_t textColor = 0;
  bool clockwise = false;  // AD_COUNTERCLOCKWISE
  PointD brushOrigin{0, 0};
  PointD current{0, 0};                // logical
  std::optional<engine::Region> clip;  // device pixels; none = everything
  std::optional<engine::Region> meta;
  uint32_t dcBrushColor = 0xFFFFFF;
  uint32_t dcPenColor = 0;
  uint32_t stretchMode = BLACKONWHITE;  // iMode of the stretching blits
  uint32_t textAlign = 0;               // TA_LEFT | TA_TOP | TA_NOUPDATECP
  int32_t breakExtra = 0;               // SETTEXTJUSTIFICATION: logical units
  int32_t breakCount = 0;               //   spread over this many break characters
  uint32_t mapperFlags = 0;
};

class DeviceContext {
 public:
  DeviceContext(const EmfHeader& header, PlayTarget& target);
  ~DeviceContext();

  // Whether Play() knows the record type.
  static bool Handles(uint32_t type);
  // Plays one record; false with `fault` when it cannot be played.
  bool Play(const EmfRecord& record, std::string* fault);

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

 private:
  struct Pen;  // a pen resolved for one drawing

  bool PlayState(const EmfRecord& record, ByteReader& r, std::string* fault);
  bool PlayObject(const EmfRecord& record, ByteReader& r, std::string* fault);
  bool PlayDrawing(const EmfRecord& record, ByteReader& r, std::string* fault);
  bool PlayPathOrClip(const EmfRecord& record, ByteReader& r, std::string* fault);
  bool PlayRegion(const EmfRecord& record, ByteReader& r, std::string* fault);
  // The bitmap records and EMR_GRADIENTFILL (emf_bitmaps.cpp).
  bool PlayBitmap(const EmfRecord& record, ByteReader& r, std::string* fault);
  bool PlayGradient(ByteReader& r, std::string* fault);
  // The text records (emf_text.cpp).
  bool PlayText(const EmfRecord& record, ByteReader& r, std::string* fault);
  bool DrawText(const TextRun& run, std::string* fault);
  // The font object's realization for text whose request units map to
  // device pixels by `toDevice` (linear part only); cached per font and
  // transform. Null with `fault` when no face can be opened.
  RealizedFont* RealizeFont(const FontObject& font, const Matrix& toDevice, std::string* fault);
  // Request units (x along the baseline, y down) to surface pixels for the
  // selected font in the graphics mode of a text record.
  Matrix TextMatrix(const FontObject& font, uint32_t graphicsMode) const;
  // Adds glyph outlines (surface pixels) to the open path bracket.
  void AppendToBracket(const engine::HostPath& outline);
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
  // A blit whose operation uses no source: the brush over the destination.
  bool BrushBlit(const PointD corner[3], ROP4 rop, std::string* fault);
  // The clip object of a blit inside `bounds`; false when nothing is visible.
  bool BlitClip(const RECTL& bounds, std::optional<engine::HostClip>* clip) const;
  POINTL DeviceBrushOrigin() const;

  bool SetMapMode(uint32_t mode, std::string* fault);
  void FixIsotropic();
  bool SetWorld(const Matrix& m, std::string* fault);
  std::shared_ptr<const GdiObject> Object(uint32_t handle, std::string* fault) const;
  std::shared_ptr<const GdiObject> Stock(uint32_t n) const;
  void ClipChanged() { ++uniq_; }

  // Draws a shape given in logical coordinates: adds it to the path inside
  // a bracket, else strokes and/or fills it. `continues` joins an open
  // figure to the current one (the -TO records).
  bool Draw(const GdiPath& shape, bool stroke, bool fill, bool continues, std::string* fault);
  // Sends a path already in device space.
  // `winding` fills by the winding rule whatever the DC's fill mode (a widened path).
  bool Render(const GdiPath& device, const Matrix& toDevice, bool stroke, bool fill, std::string* fault,
              bool winding = false);
  bool ToDevice(const GdiPath& logical, GdiPath* device, std::string* fault) const;
  bool Blit(const RECTL& rect, const engine::Region* extraClip, const BrushObject* brush, ROP4 rop);
  bool Realize(const BrushObject& brush, std::optional<engine::HostBrush>* out) const;
  std::optional<engine::Region> ReferenceRegion(std::span<const std::byte> data, std::string* fault) const;
  bool CombineClip(const engine::Region& region, uint32_t mode, std::string* fault);
  MIX Mix(const BrushObject* brush) const;

  const EmfHeader header_;
  PlayTarget& target_;
  Matrix page_;  // reference device pixels -> surface pixels
  RECTL surface_{};
  DcState state_;
  std::vector<DcState> saved_;
  std::vector<std::shared_ptr<const GdiObject>> handles_;
  // The path bracket, in device space.
  bool inBracket_ = false;
  bool figureOpen_ = false;
  GdiPath path_;
  bool pathReady_ = false;    // ENDPATH seen; FILLPATH and friends may use it
  bool pathWidened_ = false;  // the path is an outline to fill by the winding rule
  uint32_t uniq_ = 1;
  std::vector<std::string> notes_;
  // Realized fonts of the page, and the substitute faces already warned of.
  std::vector<std::shared_ptr<RealizedFont>> fonts_;
  std::vector<std::string> warnedFaces_;
  uint64_t nextFontId_ = 1000;
};

}  // namespace snk::gdi
