#include "host/engine/path.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "host/engine/live_set.h"

namespace snk::engine {

FIX ToFix(double pixels) {
  // FIX is a 32-bit 28.4 number; anything beyond it (or not a number) is
  // pinned to the nearest representable value rather than wrapped.
  const double fixed = std::round(pixels * 16.0);
  if (std::isnan(fixed)) return 0;
  constexpr double kMax = std::numeric_limits<FIX>::max();
  constexpr double kMin = std::numeric_limits<FIX>::min();
  return static_cast<FIX>(std::clamp(fixed, kMin, kMax));
}

HostPath::HostPath() {
  LiveSet<HostPath>::Add(this);
  Recount();
}

HostPath::HostPath(const HostPath& other) : figures_(other.figures_), open_(other.open_) {
  LiveSet<HostPath>::Add(this);
  Recount();
}

HostPath& HostPath::operator=(const HostPath& other) {
  figures_ = other.figures_;
  open_ = other.open_;
  enumFigure_ = enumRun_ = 0;
  Recount();
  return *this;
}

HostPath::~HostPath() { LiveSet<HostPath>::Remove(this); }

HostPath* HostPath::From(PATHOBJ* po) {
  // po is the first member, so the PATHOBJ's address is the HostPath's.
  return po && LiveSet<HostPath>::Contains(po) ? reinterpret_cast<HostPath*>(po) : nullptr;
}

void HostPath::MoveTo(POINTFIX p) {
  if (!figures_.empty() && figures_.back().runs.empty() && !figures_.back().closed) {
    Count(figures_.back().start, -1);
    figures_.pop_back();
  }
  figures_.push_back(PathFigure{p, {}, false});
  Count(p);
  open_ = true;
}

void HostPath::LineTo(POINTFIX p) {
  if (!open_) {
    // A segment with no figure open starts from the last figure's start
    // (after a close) or, on an empty path, from the point itself.
    if (figures_.empty()) {
      MoveTo(p);
      return;
    }
    MoveTo(figures_.back().start);
  }
  auto& runs = figures_.back().runs;
  if (runs.empty() || runs.back().bezier) runs.push_back(PathRun{false, {}});
  runs.back().points.push_back(p);
  Count(p);
  ++po.cCurves;
}

void HostPath::BezierTo(POINTFIX c1, POINTFIX c2, POINTFIX end) {
  if (!open_) MoveTo(figures_.empty() ? c1 : figures_.back().start);
  auto& runs = figures_.back().runs;
  if (runs.empty() || !runs.back().bezier) runs.push_back(PathRun{true, {}});
  runs.back().points.insert(runs.back().points.end(), {c1, c2, end});
  for (POINTFIX p : {c1, c2, end}) Count(p);
  ++po.cCurves;
  po.fl |= PO_BEZIERS;
}

void HostPath::CloseFigure() {
  if (!open_ || figures_.empty()) return;
  figures_.back().closed = true;
  open_ = false;
}

void HostPath::AddRectangle(const RECTL& rect) {
  auto fix = [](LONG v) { return ToFix(static_cast<double>(v)); };
  MoveTo({fix(rect.left), fix(rect.top)});
  LineTo({fix(rect.right), fix(rect.top)});
  LineTo({fix(rect.right), fix(rect.bottom)});
  LineTo({fix(rect.left), fix(rect.bottom)});
  CloseFigure();
}

RECTFX HostPath::Bounds() const {
  bool any = false;
  RECTFX b{0, 0, 0, 0};
  auto add = [&](POINTFIX p) {
    if (!any) {
      b = {p.x, p.y, p.x, p.y};
      any = true;
      return;
    }
    b.xLeft = std::min(b.xLeft, p.x);
    b.yTop = std::min(b.yTop, p.y);
    b.xRight = std::max(b.xRight, p.x);
    b.yBottom = std::max(b.yBottom, p.y);
  };
  for (const PathFigure& figure : figures_) {
    add(figure.start);
    for (const PathRun& run : figure.runs)
      for (POINTFIX p : run.points) add(p);
  }
  return b;
}

void HostPath::EnumStart() {
  enumFigure_ = 0;
  enumRun_ = 0;
}

BOOL HostPath::Enum(PATHDATA* data) {
  if (!data) return FALSE;
  enumPoints_.clear();
  if (enumFigure_ >= figures_.size()) {
    *data = PATHDATA{0, 0, nullptr};
    return FALSE;
  }
  const PathFigure& figure = figures_[enumFigure_];
  FLONG flags = 0;
  if (enumRun_ == 0) {
    flags |= PD_BEGINSUBPATH | PD_RESETSTYLE;
    enumPoints_.push_back(figure.start);
  }
  if (enumRun_ < figure.runs.size()) {
    const PathRun& run = figure.runs[enumRun_];
    if (run.bezier) flags |= PD_BEZIERS;
    enumPoints_.insert(enumPoints_.end(), run.points.begin(), run.points.end());
  }
  ++enumRun_;
  if (enumRun_ >= figure.runs.size()) {
    flags |= PD_ENDSUBPATH;
    if (figure.closed) flags |= PD_CLOSEFIGURE;
    ++enumFigure_;
    enumRun_ = 0;
  }
  *data = PATHDATA{flags, static_cast<ULONG>(enumPoints_.size()), enumPoints_.data()};
  return enumFigure_ < figures_.size() ? TRUE : FALSE;
}

void HostPath::Count(POINTFIX p, int sign) {
  if ((p.x & 15) == 0 && (p.y & 15) == 0) return;
  fractional_ += sign;
  if (fractional_ == 0)
    po.fl |= PO_ALL_INTEGERS;
  else
    po.fl &= ~FLONG{PO_ALL_INTEGERS};
}

void HostPath::Recount() {
  po.fl = PO_ALL_INTEGERS;
  po.cCurves = 0;
  fractional_ = 0;
  for (const PathFigure& figure : figures_) {
    Count(figure.start);
    for (const PathRun& run : figure.runs) {
      if (run.bezier) po.fl |= PO_BEZIERS;
      po.cCurves += static_cast<ULONG>(run.bezier ? run.points.size() / 3 : run.points.size());
      for (POINTFIX p : run.points) Count(p);
    }
  }
}

}  // namespace snk::engine

using snk::engine::HostPath;

extern "C" void APIENTRY PATHOBJ_vEnumStart(PATHOBJ* ppo) {
  if (HostPath* path = HostPath::From(ppo)) path->EnumStart();
}

extern "C" BOOL APIENTRY PATHOBJ_bEnum(PATHOBJ* ppo, PATHDATA* ppd) {
  HostPath* path = HostPath::From(ppo);
  if (!path) {
    if (ppd) *ppd = PATHDATA{0, 0, nullptr};
    return FALSE;
  }
  return path->Enum(ppd);
}

extern "C" void APIENTRY PATHOBJ_vGetBounds(PATHOBJ* ppo, RECTFX* prectfx) {
  if (!prectfx) return;
  HostPath* path = HostPath::From(ppo);
  *prectfx = path ? path->Bounds() : RECTFX{0, 0, 0, 0};
}
