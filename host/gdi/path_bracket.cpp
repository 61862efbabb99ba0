#include "host/gdi/path_bracket.h"

#include <utility>

#include "host/engine/path.h"
#include "host/gdi/record_fields.h"

namespace snk::gdi {

void PathBracket::Begin() {
  open_ = true;
  ready_ = widened_ = false;
  figureOpen_ = false;
  path_ = GdiPath{};
}

bool PathBracket::End(std::string* fault) {
  if (!open_) return Fail(fault, "no path is open");
  open_ = false;
  ready_ = true;
  return true;
}

void PathBracket::Abort() {
  open_ = ready_ = figureOpen_ = widened_ = false;
  path_ = GdiPath{};
}

bool PathBracket::CloseFigure(std::string* fault) {
  if (!open_) return Fail(fault, "no path is open");
  path_.CloseFigure();
  figureOpen_ = false;
  return true;
}

void PathBracket::Append(const GdiPath& device, bool continues) {
  size_t first = 0;
  if (continues && figureOpen_ && !path_.Empty() && device.types[0] == PT_MOVETO) first = 1;
  for (size_t i = first; i < device.points.size(); ++i) {
    path_.points.push_back(device.points[i]);
    path_.types.push_back(device.types[i]);
  }
  figureOpen_ = !(device.types.back() & PT_CLOSEFIGURE);
}

void PathBracket::AppendOutline(const engine::HostPath& outline) {
  auto at = [](POINTFIX p) { return PointD{p.x / 16.0, p.y / 16.0}; };
  for (const engine::PathFigure& figure : outline.Figures()) {
    path_.MoveTo(at(figure.start));
    for (const engine::PathRun& run : figure.runs) {
      if (!run.bezier) {
        for (POINTFIX p : run.points) path_.LineTo(at(p));
        continue;
      }
      for (size_t i = 0; i + 2 < run.points.size(); i += 3)
        path_.BezierTo(at(run.points[i]), at(run.points[i + 1]), at(run.points[i + 2]));
    }
    if (figure.closed) path_.CloseFigure();
  }
  figureOpen_ = false;
}

bool PathBracket::Flatten(std::string* fault) {
  if (!ready_) return Fail(fault, "no path is ready");
  path_ = gdi::Flatten(path_, 0.25);
  return true;
}

bool PathBracket::Widen(double width, uint32_t endCap, uint32_t join, double miterLimit, std::string* fault) {
  if (!ready_) return Fail(fault, "no path is ready");
  path_ = gdi::Widen(path_, width, endCap, join, miterLimit);
  widened_ = true;
  return true;
}

bool PathBracket::Take(GdiPath* path, bool* widened, std::string* fault) {
  if (!ready_) return Fail(fault, "no path is ready");
  *path = std::exchange(path_, GdiPath{});
  *widened = widened_;
  ready_ = widened_ = false;
  return true;
}

}  // namespace snk::gdi
