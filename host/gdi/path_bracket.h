// The path bracket of a device context: what the drawing records between
// BEGINPATH and ENDPATH add (in device space), and the path ENDPATH leaves
// ready for FILLPATH, STROKEPATH, SELECTCLIPPATH and their kin.
#pragma once

#include <cstdint>
#include <string>

#include "host/gdi/dc_state.h"
#include "host/gdi/shapes.h"

namespace snk::engine {
class HostPath;
}

namespace snk::gdi {

class PathBracket {
 public:
  // Between BEGINPATH and ENDPATH: drawing goes into the path.
  bool open() const { return open_; }

  void Begin();
  bool End(std::string* fault);
  void Abort();
  bool CloseFigure(std::string* fault);
  // The next drawing starts a new figure (MOVETOEX).
  void EndFigure() { figureOpen_ = false; }
  // Adds a shape in device space; `continues` joins an open figure to the
  // current one (the -TO records).
  void Append(const GdiPath& device, bool continues);
  // Adds glyph outlines (surface pixels).
  void AppendOutline(const engine::HostPath& outline);

  // FLATTENPATH and WIDENPATH on the ready path.
  bool Flatten(std::string* fault);
  bool Widen(double width, uint32_t endCap, uint32_t join, double miterLimit, std::string* fault);
  // Takes the ready path out of the bracket; `widened` says it is an
  // outline to fill by the winding rule. False with `fault` when ENDPATH
  // left no path.
  bool Take(GdiPath* path, bool* widened, std::string* fault);

 private:
  bool open_ = false;
  bool figureOpen_ = false;
  GdiPath path_;
  bool ready_ = false;    // ENDPATH seen
  bool widened_ = false;  // the path is an outline to fill by the winding rule
};

}  // namespace snk::gdi
