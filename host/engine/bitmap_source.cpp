#include "host/engine/bitmap_source.h"

#include <cstdlib>
#include <cstring>
#include <vector>

namespace snk::engine {
namespace {

inline void Put(uint8_t* rgb, uint32_t color) {
  rgb[0] = uint8_t(color);
  rgb[1] = uint8_t(color >> 8);
  rgb[2] = uint8_t(color >> 16);
}

// The word of pixel x of a row in one of the formats.
template <ULONG kFormat>
inline uint32_t WordAt(const uint8_t* row, int32_t x) {
  if constexpr (kFormat == BMF_1BPP) {
    return (row[x >> 3] >> (7 - (x & 7))) & 1;
  } else if constexpr (kFormat == BMF_4BPP) {
    return (x & 1) ? row[x >> 1] & 0x0F : row[x >> 1] >> 4;
  } else if constexpr (kFormat == BMF_8BPP) {
    return row[x];
  } else if constexpr (kFormat == BMF_16BPP) {
    const uint8_t* p = row + int64_t{x} * 2;
    return uint32_t{p[0]} | uint32_t{p[1]} << 8;
  } else if constexpr (kFormat == BMF_24BPP) {
    const uint8_t* p = row + int64_t{x} * 3;
    return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16;
  } else {
    const uint8_t* p = row + int64_t{x} * 4;
    return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
  }
}

// Translates the pixels at columns xs(i), i < count, of one row.
// `palette` is the translated colour of every index of an indexed format.
template <ULONG kFormat, typename Column>
void Convert(const uint8_t* row, const XlateMap& map, const uint32_t* palette, Column xs, int32_t count,
             uint8_t* rgb) {
  if constexpr (kFormat == BMF_1BPP || kFormat == BMF_4BPP || kFormat == BMF_8BPP) {
    for (int32_t i = 0; i < count; ++i, rgb += 3) Put(rgb, palette[WordAt<kFormat>(row, xs(i))]);
  } else if constexpr (kFormat == BMF_24BPP) {
    if (map.Identity()) {
      for (int32_t i = 0; i < count; ++i, rgb += 3) std::memcpy(rgb, row + int64_t{xs(i)} * 3, 3);
    } else if (map.Bgr()) {
      for (int32_t i = 0; i < count; ++i, rgb += 3) {
        const uint8_t* p = row + int64_t{xs(i)} * 3;
        rgb[0] = p[2];
        rgb[1] = p[1];
        rgb[2] = p[0];
      }
    } else {
      for (int32_t i = 0; i < count; ++i, rgb += 3) Put(rgb, map.Map(WordAt<kFormat>(row, xs(i))));
    }
  } else {
    for (int32_t i = 0; i < count; ++i, rgb += 3) Put(rgb, map.Map(WordAt<kFormat>(row, xs(i))));
  }
}

template <typename Column>
void ConvertRow(ULONG format, const uint8_t* row, const XlateMap& map, const uint32_t* palette, Column xs,
                int32_t count, uint8_t* rgb) {
  switch (format) {
    case BMF_1BPP:
      Convert<BMF_1BPP>(row, map, palette, xs, count, rgb);
      break;
    case BMF_4BPP:
      Convert<BMF_4BPP>(row, map, palette, xs, count, rgb);
      break;
    case BMF_8BPP:
      Convert<BMF_8BPP>(row, map, palette, xs, count, rgb);
      break;
    case BMF_16BPP:
      Convert<BMF_16BPP>(row, map, palette, xs, count, rgb);
      break;
    case BMF_24BPP:
      Convert<BMF_24BPP>(row, map, palette, xs, count, rgb);
      break;
    case BMF_32BPP:
      Convert<BMF_32BPP>(row, map, palette, xs, count, rgb);
      break;
    default:
      break;
  }
}

}  // namespace

int32_t BitsPerPixel(ULONG format) {
  switch (format) {
    case BMF_1BPP:
      return 1;
    case BMF_4BPP:
      return 4;
    case BMF_8BPP:
      return 8;
    case BMF_16BPP:
      return 16;
    case BMF_24BPP:
      return 24;
    case BMF_32BPP:
      return 32;
    default:
      return 0;
  }
}

SourcePixels::SourcePixels(const SURFOBJ& so, XLATEOBJ* xlate)
    : format_(so.iBitmapFormat), xlate_(xlate), map_(XlateMap::Of(xlate)) {
  const int64_t depth = BitsPerPixel(so.iBitmapFormat);
  if (depth == 0 || !so.pvScan0 || so.sizlBitmap.cx <= 0 || so.sizlBitmap.cy <= 0) return;
  const int64_t rowBytes = (int64_t{so.sizlBitmap.cx} * depth + 7) / 8;
  const int64_t delta = so.lDelta;
  if (std::llabs(delta) < rowBytes) return;
  // The rows must lie inside the bitmap's bits, when the surface says where
  // they are.
  if (so.pvBits) {
    const auto* bits = static_cast<const uint8_t*>(so.pvBits);
    const auto* scan0 = static_cast<const uint8_t*>(so.pvScan0);
    const int64_t first = scan0 - bits;
    const int64_t last = first + delta * (so.sizlBitmap.cy - 1);
    const int64_t low = first < last ? first : last;
    const int64_t high = (first < last ? last : first) + rowBytes;
    if (low < 0 || high > int64_t{so.cjBits}) return;
  }
  scan0_ = static_cast<const uint8_t*>(so.pvScan0);
  delta_ = delta;
  // An indexed source's palette is translated once, not per pixel.
  if (depth <= 8) {
    palette_.resize(size_t{1} << depth);
    for (uint32_t i = 0; i < palette_.size(); ++i) palette_[i] = map_.Map(i) & 0xFFFFFF;
  }
  width_ = so.sizlBitmap.cx;
  height_ = so.sizlBitmap.cy;
  valid_ = true;
}

uint32_t SourcePixels::Word(int32_t x, int32_t y) const {
  const uint8_t* row = scan0_ + y * delta_;
  switch (format_) {
    case BMF_1BPP:
      return WordAt<BMF_1BPP>(row, x);
    case BMF_4BPP:
      return WordAt<BMF_4BPP>(row, x);
    case BMF_8BPP:
      return WordAt<BMF_8BPP>(row, x);
    case BMF_16BPP:
      return WordAt<BMF_16BPP>(row, x);
    case BMF_24BPP:
      return WordAt<BMF_24BPP>(row, x);
    case BMF_32BPP:
      return WordAt<BMF_32BPP>(row, x);
    default:
      return 0;
  }
}

uint32_t SourcePixels::Color(int32_t x, int32_t y) const {
  const uint32_t word = Word(x, y);
  return palette_.empty() ? map_.Map(word) & 0xFFFFFF : palette_[word];
}

void SourcePixels::Colors(int32_t y, int32_t x0, int32_t count, uint8_t* rgb) const {
  if (!valid_ || count <= 0) return;
  const uint8_t* row = scan0_ + y * delta_;
  if (format_ == BMF_24BPP && map_.Identity()) {
    std::memcpy(rgb, row + int64_t{x0} * 3, size_t(count) * 3);
    return;
  }
  ConvertRow(
      format_, row, map_, palette_.data(), [x0](int32_t i) { return x0 + i; }, count, rgb);
}

void SourcePixels::Colors(int32_t y, const int32_t* xs, int32_t count, uint8_t* rgb) const {
  if (!valid_ || count <= 0) return;
  ConvertRow(
      format_, scan0_ + y * delta_, map_, palette_.data(), [xs](int32_t i) { return xs[i]; }, count, rgb);
}

int32_t NearestSource(int32_t i, int32_t to, int32_t from) {
  // Centre of destination pixel i, (i + 0.5) * from / to, in whole numbers.
  const int64_t s = ((2 * int64_t{i} + 1) * from) / (2 * int64_t{to});
  return static_cast<int32_t>(s < from ? s : from - 1);
}

}  // namespace snk::engine
