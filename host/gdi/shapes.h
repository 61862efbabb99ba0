// GDI's shapes as paths in logical coordinates.
//
// A GdiPath is what a device context collects between BEGINPATH and
// ENDPATH, and what every shape record becomes before it is transformed to
// device space: points with the types of PolyDraw. Logical space has y
// growing downward (as in MM_TEXT); "clockwise" means clockwise on screen.
#pragma once

#include <cstdint>
#include <vector>

namespace snk::gdi {

struct PointD {
  double x = 0;
  double y = 0;
  friend bool operator==(const PointD&, const PointD&) = default;
};

inline constexpr uint8_t PT_CLOSEFIGURE = 0x01;
inline constexpr uint8_t PT_LINETO = 0x02;
inline constexpr uint8_t PT_BEZIERTO = 0x04;
inline constexpr uint8_t PT_MOVETO = 0x06;

struct GdiPath {
  std::vector<PointD> points;
  std::vector<uint8_t> types;  // one per point; PT_CLOSEFIGURE is or-ed in

  bool Empty() const { return points.empty(); }
  void MoveTo(PointD p);
  void LineTo(PointD p);
  void BezierTo(PointD c1, PointD c2, PointD end);
  // Marks the last point as closing its figure (nothing on an empty path).
  void CloseFigure();
  void Append(const GdiPath& other);
};

enum class ArcKind { Arc, ArcTo, Chord, Pie };

// Closed figures for RECTANGLE, ROUNDRECT and ELLIPSE over the box given as
// the records give it (inclusive-exclusive corners in either order), drawn
// in the arc direction. Corner sizes are full ellipse sizes, as in ROUNDRECT.
void AppendRectangle(GdiPath& path, double left, double top, double right, double bottom, bool clockwise);
void AppendRoundRect(GdiPath& path, double left, double top, double right, double bottom, double cornerWidth,
                     double cornerHeight, bool clockwise);
void AppendEllipse(GdiPath& path, double left, double top, double right, double bottom, bool clockwise);

// The elliptic arc of the box from the ray through `start` to the ray
// through `end` (both from the box's centre), in the arc direction, as
// Bezier curves of at most 90 degrees each. Arc: an open figure. ArcTo: a
// line from `current` to the arc's start, then the arc, continuing the
// current figure (returns the arc's end). Chord: closed by a line. Pie:
// with lines to and from the centre, closed.
PointD AppendArc(GdiPath& path, double left, double top, double right, double bottom, PointD start, PointD end,
                 bool clockwise, ArcKind kind, PointD current);

// ANGLEARC: a line from `current` to the start of a circular arc of the
// given centre and radius, from `startDegrees` sweeping `sweepDegrees`
// (counter-clockwise for positive sweeps, whatever the arc direction).
// Returns the arc's end.
PointD AppendAngleArc(GdiPath& path, PointD current, PointD centre, double radius, double startDegrees,
                      double sweepDegrees);

// The path with every Bezier replaced by lines that stay within
// `tolerance` of the curve.
GdiPath Flatten(const GdiPath& path, double tolerance);

// The outline of the path stroked with a geometric pen of `width`, with
// GDI's end caps and joins (ENDCAP_* and JOIN_* of the driver interface),
// as closed figures to be filled with the winding rule.
GdiPath Widen(const GdiPath& path, double width, uint32_t endCap, uint32_t join, double miterLimit);

}  // namespace snk::gdi
