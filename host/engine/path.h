// The engine's path object: figures of lines and Bezier curves in 28.4
// fixed-point device coordinates, enumerated to drivers as PATHDATA records.
//
// Enumeration gives, for each figure, one record per run of segments of one
// kind. A figure's first record has PD_BEGINSUBPATH and starts with the
// figure's start point; its last has PD_ENDSUBPATH, and PD_CLOSEFIGURE when
// the figure is closed. A Bezier record (PD_BEZIERS) holds control-point
// triples (after the start point, if it begins the figure).
#pragma once

#include <cstdint>
#include <vector>

#include "host/engine/surface.h"
#include "platform/winddi.h"

namespace snk::engine {

// FIX from a device coordinate in pixels, rounded to the nearest 1/16.
SNK_HOST_API FIX ToFix(double pixels);

struct PathRun {
  bool bezier = false;
  std::vector<POINTFIX> points;  // lines: end points; Beziers: triples
};

struct PathFigure {
  POINTFIX start{};
  std::vector<PathRun> runs;
  bool closed = false;
};

class SNK_HOST_API HostPath {
 public:
  HostPath();
  HostPath(const HostPath& other);
  HostPath& operator=(const HostPath& other);
  ~HostPath();

  // The host path behind a PATHOBJ it handed out, or null for anything else.
  static HostPath* From(PATHOBJ* po);

  // A MoveTo starts a new figure (an empty figure before it is dropped).
  void MoveTo(POINTFIX p);
  void LineTo(POINTFIX p);
  void BezierTo(POINTFIX c1, POINTFIX c2, POINTFIX end);
  // Closes the current figure; the next segment starts a new one at the
  // closed figure's start point.
  void CloseFigure();
  // Adds a closed rectangle figure (left, top) -> (right, top) -> ...
  void AddRectangle(const RECTL& rect);

  bool Empty() const { return figures_.empty(); }
  const std::vector<PathFigure>& Figures() const { return figures_; }
  // Bounds of all points, control points included; zeros for an empty path.
  RECTFX Bounds() const;

  // Enumeration, as PATHOBJ_vEnumStart / PATHOBJ_bEnum.
  void EnumStart();
  BOOL Enum(PATHDATA* data);

  PATHOBJ po{};  // handed to drivers as &po; kept first

 private:
  // Counts a point into the header's totals, or (sign -1) takes it out.
  void Count(POINTFIX p, int sign = 1);
  void Recount();
  std::vector<PathFigure> figures_;
  // Points not on whole pixels: the header is PO_ALL_INTEGERS when none.
  size_t fractional_ = 0;
  bool open_ = false;  // the last figure takes more segments
  // Enumeration position and the buffer of the record handed out.
  size_t enumFigure_ = 0;
  size_t enumRun_ = 0;
  std::vector<POINTFIX> enumPoints_;
};

}  // namespace snk::engine
