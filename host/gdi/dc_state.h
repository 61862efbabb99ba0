// The drawing state of a device context: the transform types, the logical
// objects that records create (pens, brushes, fonts) and the part of the
// state that SAVEDC saves.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/engine/region.h"
#include "host/gdi/shapes.h"
#include "platform/winddi.h"

namespace snk::gdi {

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
  // The ENDCAP_* and JOIN_* a geometric line takes: round for pens of
  // CREATEPEN, the style's own for geometric pens of EXTCREATEPEN.
  uint32_t EndCap() const;
  uint32_t Join() const;
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

}  // namespace snk::gdi
