#include "host/engine/brush.h"

#include <new>

extern "C" PVOID APIENTRY BRUSHOBJ_pvAllocRbrush(BRUSHOBJ* bo, ULONG size) {
  if (!bo) return nullptr;
  // Every BRUSHOBJ the host hands out is the first member of a HostBrush.
  auto* brush = reinterpret_cast<snk::engine::HostBrush*>(bo);
  try {
    brush->realization.assign(size, std::byte{0});
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  bo->pvRbrush = brush->realization.data();
  return bo->pvRbrush;
}
