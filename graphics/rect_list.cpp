// Lists of pixel rectangles and their banding.
#include "graphics/rect_list.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

void CKMC_RectList::Add(const RECTL& rect) {
  if (static_cast<uint32_t>(count_) >= capacity_) {
    uint32_t capacity = capacity_ + kGrowth;
    std::unique_ptr<RECTL[]> grown(new (std::nothrow) RECTL[capacity]);
    if (!grown) return;
    for (int32_t i = 0; i < count_; ++i) grown[i] = rects_[i];
    rects_ = std::move(grown);
    capacity_ = capacity;
  }
  rects_[count_++] = rect;
}

namespace {

// The most rectangles that are turned into bands; a longer list becomes
// its bounding box.
constexpr int32_t kMaxBandedRects = 500;

}  // namespace

void NormalizeRectList(CKMC_RectList& list) {
  int32_t count = list.Count();
  if (count < 2) return;
  RECTL box = list[0];
  for (const RECTL& r : list) {
    box.left = std::min(box.left, r.left);
    box.top = std::min(box.top, r.top);
    box.right = std::max(box.right, r.right);
    box.bottom = std::max(box.bottom, r.bottom);
  }
  if (count > kMaxBandedRects) {
    list.Clear();
    list.Add(box);
    return;
  }

  // One bit per pixel of the box, leftmost pixel in the top bit.
  int64_t width = static_cast<int64_t>(box.right) - box.left;
  int64_t height = static_cast<int64_t>(box.bottom) - box.top;
  std::vector<RECTL> bands;
  if (width > 0 && height > 0) {
    size_t rowBytes = static_cast<size_t>((width + 7) / 8);
    std::vector<uint8_t> bits(rowBytes * static_cast<size_t>(height), 0);
    for (const RECTL& r : list) {
      for (int64_t y = r.top; y < r.bottom; ++y) {
        uint8_t* row = bits.data() + static_cast<size_t>(y - box.top) * rowBytes;
        for (int64_t x = r.left - box.left; x < r.right - box.left; ++x) row[x >> 3] |= 0x80 >> (x & 7);
      }
    }
    auto emit = [&](int64_t row, int64_t top, int64_t bottom) {
      const uint8_t* line = bits.data() + static_cast<size_t>(row) * rowBytes;
      auto set = [&](int64_t x) { return (line[x >> 3] & (0x80 >> (x & 7))) != 0; };
      for (int64_t x = 0; x < width;) {
        if (!set(x)) {
          ++x;
          continue;
        }
        int64_t start = x;
        while (x < width && set(x)) ++x;
        bands.push_back(RECTL{static_cast<LONG>(box.left + start), static_cast<LONG>(box.top + top),
                              static_cast<LONG>(box.left + x), static_cast<LONG>(box.top + bottom)});
      }
    };
    int64_t bandTop = 0;
    for (int64_t y = 1; y < height; ++y) {
      const uint8_t* above = bits.data() + static_cast<size_t>(y - 1) * rowBytes;
      if (std::memcmp(above, above + rowBytes, rowBytes) != 0) {
        emit(y - 1, bandTop, y);
        bandTop = y;
      }
    }
    emit(height - 1, bandTop, height);
  }

  if (bands.size() > static_cast<size_t>(count)) return;
  // No more entries than before: the storage holds them without growing.
  list.Clear();
  for (const RECTL& r : bands) list.Add(r);
}
