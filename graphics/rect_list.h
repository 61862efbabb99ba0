// CKMC_RectList: pixel rectangles, as the dirty list and the image queue
// hold them.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/winddi.h"

// A growable list of pixel rectangles (left, top, right, bottom; right and
// bottom exclusive). A full list grows by 256 entries; when that memory
// cannot be had, the rectangle is dropped. Clearing keeps the storage.
class CKMC_RectList {
 public:
  static constexpr uint32_t kGrowth = 256;

  void Add(const RECTL& rect);
  void Clear() { count_ = 0; }
  int32_t Count() const { return count_; }
  uint32_t Capacity() const { return capacity_; }
  const RECTL& operator[](int32_t i) const { return rects_[i]; }
  const RECTL* begin() const { return rects_.get(); }
  const RECTL* end() const { return rects_.get() + count_; }

 private:
  int32_t count_ = 0;
  std::unique_ptr<RECTL[]> rects_;
  uint32_t capacity_ = 0;
};

// Rewrites a list as bands of rectangles that do not overlap, covering the
// same pixels: each run of set pixels in a band of equal rows becomes one
// rectangle. 501 or more entries become their bounding box; a result with
// more rectangles than the list had leaves the list as it was.
void NormalizeRectList(CKMC_RectList& list);
