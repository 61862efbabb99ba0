#include "host/engine/clip.h"

#include "host/engine/live_set.h"
#include "host/engine/path.h"

namespace snk::engine {

// Paths made on the heap for CLIPOBJ_ppoGetPath: the only ones a driver may
// hand to EngDeletePath.
struct HeapPath {};

namespace {

void Describe(CLIPOBJ& co, const Region& region, const RECTL* drawBounds) {
  co.rclBounds = region.Bounds();
  const size_t count = region.Rects().size();
  if (drawBounds && region.ContainsRect(*drawBounds) && !region.Empty())
    co.iDComplexity = DC_TRIVIAL;
  else
    co.iDComplexity = count == 1 ? DC_RECT : DC_COMPLEX;
  co.iFComplexity = count == 1 ? FC_RECT : count <= 4 ? FC_RECT4 : FC_COMPLEX;
  co.iMode = TC_RECTANGLES;
  co.fjOptions = 0;
}

}  // namespace

HostClip::HostClip(Region region, const RECTL* drawBounds, ULONG uniq) : region_(std::move(region)) {
  co.iUniq = uniq;
  Describe(co, region_, drawBounds);
  LiveSet<HostClip>::Add(this);
}

HostClip::HostClip(const HostClip& other) : co(other.co), region_(other.region_) { LiveSet<HostClip>::Add(this); }

HostClip& HostClip::operator=(const HostClip& other) {
  co = other.co;
  region_ = other.region_;
  return *this;
}

HostClip::~HostClip() { LiveSet<HostClip>::Remove(this); }

HostClip* HostClip::From(CLIPOBJ* co) {
  return co && LiveSet<HostClip>::Contains(co) ? reinterpret_cast<HostClip*>(co) : nullptr;
}

}  // namespace snk::engine

using snk::engine::HeapPath;
using snk::engine::HostClip;
using snk::engine::HostPath;
using snk::engine::LiveSet;

extern "C" PATHOBJ* APIENTRY CLIPOBJ_ppoGetPath(CLIPOBJ* pco) {
  HostClip* clip = HostClip::From(pco);
  if (!clip) return nullptr;
  auto* path = new HostPath();
  for (const RECTL& r : clip->region().Rects()) path->AddRectangle(r);
  LiveSet<HeapPath>::Add(reinterpret_cast<const HeapPath*>(path));
  return &path->po;
}

extern "C" void APIENTRY EngDeletePath(PATHOBJ* ppo) {
  // Anything else (a path the engine passed in, a stale pointer) is left
  // alone: freeing it would corrupt the engine.
  if (!ppo || !LiveSet<HeapPath>::Contains(ppo)) return;
  LiveSet<HeapPath>::Remove(reinterpret_cast<const HeapPath*>(ppo));
  delete HostPath::From(ppo);
}
