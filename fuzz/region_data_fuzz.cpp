// Fuzz target for region data (RGNDATA): the bytes are parsed as a region
// and, when they make one, its rectangles and bounds are visited.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "host/gdi/emf_objects.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string fault;
  const auto region =
      snk::gdi::ParseRegionData(std::span(reinterpret_cast<const std::byte*>(data), size), &fault);
  volatile int64_t sink = static_cast<int64_t>(fault.size());
  if (region) {
    const RECTL bounds = region->Bounds();
    sink = sink + bounds.left + bounds.top + bounds.right + bounds.bottom;
    for (const RECTL& r : region->Rects())
      sink = sink + (int64_t{r.right} - r.left) + (int64_t{r.bottom} - r.top);
  }
  return 0;
}
