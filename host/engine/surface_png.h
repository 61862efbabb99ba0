// Writes a bitmap surface of the engine as a PNG file, for looking at what
// the engine drew on a page.
#pragma once

#include <string>

#include "host/engine/surface.h"

namespace snk::engine {

// False with a message when the surface has no pixels or the file cannot
// be written.
SNK_HOST_API bool WriteSurfacePng(const SURFOBJ& surface, const std::string& path, std::string* error);

}  // namespace snk::engine
