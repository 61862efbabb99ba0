// The host's brush object: the public BRUSHOBJ and the storage of the
// driver's realisation of it, which lives as long as the brush.
#pragma once

#include <cstddef>
#include <vector>

#include "platform/winddi.h"

namespace snk::engine {

struct HostBrush {
  BRUSHOBJ bo{};
  std::vector<std::byte> realization;
};

}  // namespace snk::engine
