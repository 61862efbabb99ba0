// Areas the engine drew on the page surface, waiting to be shown as images.
#include <algorithm>
#include <cstring>
#include <vector>

#include "base/number_format.h"
#include "graphics/graphics.h"
#include "graphics/image_object.h"

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

void CKMC_Graphics::AddDirtyRect(RECTL& rect) {
  if (Cancelled()) return;
  if (rect.left < 0) rect.left = 0;
  if (rect.top < 0) rect.top = 0;
  if (rect.right > writer_.Geometry().widthPixels) rect.right = writer_.Geometry().widthPixels;
  if (rect.bottom > writer_.Geometry().heightPixels) rect.bottom = writer_.Geometry().heightPixels;
  if (rect.left < rect.right && rect.top < rect.bottom) dirtyRegion.Add(rect);
}

void CKMC_Graphics::FlushDeferredBitmaps(SURFOBJ* surface) {
  if (!gdiPunt_) {
    FlushPendingImages();
    return;
  }
  // Without a surface, or one without bits, there is nothing to cut the
  // areas from.
  if (!surface || !surface->pvScan0) {
    dirtyRegion.Clear();
    return;
  }
  CaptureDirtyAreas(surface);
}

void CKMC_Graphics::CaptureDirtyAreas(SURFOBJ* surface) {
  if (dirtyRegion.Count() == 0) return;
  NormalizeRectList(dirtyRegion);
  for (const RECTL& rect : dirtyRegion) CaptureSurfaceRect(surface, rect);
  dirtyRegion.Clear();
}

void CKMC_Graphics::CaptureSurfaceRect(SURFOBJ* surface, const RECTL& rect) {
  // Only a 24-bit surface whose rows hold all its pixels can be read, and
  // only within its size.
  if (!surface || !surface->pvScan0 || surface->iBitmapFormat != BMF_24BPP) return;
  int64_t surfaceWidth = surface->sizlBitmap.cx;
  int64_t surfaceHeight = surface->sizlBitmap.cy;
  int64_t stride = surface->lDelta;
  if (surfaceWidth <= 0 || surfaceHeight <= 0 || (stride < 0 ? -stride : stride) < surfaceWidth * 3) return;
  RECTL area{std::max<LONG>(rect.left, 0), std::max<LONG>(rect.top, 0),
             static_cast<LONG>(std::min<int64_t>(rect.right, surfaceWidth)),
             static_cast<LONG>(std::min<int64_t>(rect.bottom, surfaceHeight))};
  if (area.left >= area.right || area.top >= area.bottom) return;

  ImageData image;
  image.width = static_cast<uint32_t>(area.right - area.left);
  image.height = static_cast<uint32_t>(area.bottom - area.top);
  size_t rowBytes = static_cast<size_t>(image.width) * 3;
  if (rowBytes * image.height > UINT32_MAX) return;  // more than an image's size can count
  image.AllocatePixels(static_cast<uint32_t>(rowBytes * image.height));
  // Surface pixels are red, green, blue already, as the image wants them.
  const uint8_t* scan0 = static_cast<const uint8_t*>(surface->pvScan0);
  for (uint32_t row = 0; row < image.height; ++row) {
    const uint8_t* from = scan0 + (area.top + static_cast<int64_t>(row)) * stride + int64_t{area.left} * 3;
    std::memcpy(image.pixels.get() + row * rowBytes, from, rowBytes);
  }
  image.objectNumber = writer_.NewObjectNumber();
  writer_.UseImage(image.objectNumber);

  CKM_BinaryBuf& out = Stream();
  CloseTextRun(out);
  double x1 = area.left, y1 = area.bottom, x2 = area.right, y2 = area.top;
  DeviceToUser(x1, y1);
  DeviceToUser(x2, y2);
  out.AppendString("q " + snk::FormatG(x2 - x1) + " 0 0 " + snk::FormatG(y2 - y1) + ' ' + snk::FormatG(x1) +
                   ' ' + snk::FormatG(y1) + " cm /Im" + snk::FormatInteger(image.objectNumber) + " Do Q\n");
  WriteImageObject(writer_, image, *imageCompress_ != 0);
}
