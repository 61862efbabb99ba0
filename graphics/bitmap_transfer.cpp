// Bitmaps with a source while the engine does not draw: the source is
// captured at once and copied into its target rectangle, whatever the
// raster operation. True-colour images wait in a queue until the next
// vector object or the page's end; a full queue may be composed into one
// image on a memory canvas. Skewed copies and JPEG sources are placed at
// once.
#include <algorithm>
#include <cstring>
#include <vector>

#include "base/number_format.h"
#include "graphics/graphics.h"
#include "graphics/image_object.h"
#include "platform/win32.h"

CKMC_Graphics::~CKMC_Graphics() = default;

namespace {

std::string G(double value) { return snk::FormatG(value); }

// The rectangle's lower left and upper right corners in points.
void MapRect(const CKMC_Graphics& graphics, const RECTL& rect, double& x1, double& y1, double& x2,
             double& y2) {
  x1 = rect.left;
  y1 = rect.bottom;
  x2 = rect.right;
  y2 = rect.top;
  graphics.DeviceToUser(x1, y1);
  graphics.DeviceToUser(x2, y2);
}

}  // namespace

void CKMC_Graphics::TransferBitmap(SURFOBJ* source, XLATEOBJ* xlate, const RECTL& target,
                                   const RECTL& sourceRect) {
  if (Cancelled() || !source) return;
  if (source->iBitmapFormat == BMF_JPEG) {
    WriteJpegPassthrough(static_cast<const uint8_t*>(source->pvBits), source->cjBits, target);
    return;
  }
  if (source->iBitmapFormat == BMF_PNG) return;  // PNG sources are not shown

  std::unique_ptr<ImageData> image = CaptureBitmap(writer_, source, xlate, sourceRect);
  if (!image) return;
  if (image->bits == 24) {
    pendingImages_.push_back(std::move(image));
    pendingSources.Add(sourceRect);
    pendingTargets.Add(target);
    if (static_cast<int32_t>(pendingImages_.size()) < kPendingLimit) return;
    if (gdiPunt_) {
      dirtyRegion.Clear();
      return;
    }
    FlushPendingImages();
    return;
  }
  // Indexed images are not queued: they go before the true-colour images
  // that wait.
  PlaceImage(*image, target, Stream());
}

void CKMC_Graphics::DiscardPendingImages() {
  pendingImages_.clear();
  pendingSources.Clear();
  pendingTargets.Clear();
}

void CKMC_Graphics::FlushPendingImages() {
  if (static_cast<int32_t>(pendingImages_.size()) >= kPendingLimit && *mergeImages_) {
    RECTL box = pendingTargets.Count() ? pendingTargets[0] : RECTL{};
    for (const RECTL& r : pendingTargets) {
      box.left = std::min(box.left, r.left);
      box.top = std::min(box.top, r.top);
      box.right = std::max(box.right, r.right);
      box.bottom = std::max(box.bottom, r.bottom);
    }
    MergePendingImages(box);
    DiscardPendingImages();
    return;
  }
  for (size_t i = 0; i < pendingImages_.size(); ++i) {
    // A target lost to a failed allocation leaves its image unplaced.
    if (static_cast<int32_t>(i) >= pendingTargets.Count()) break;
    PlaceImage(*pendingImages_[i], pendingTargets[static_cast<int32_t>(i)], Stream());
    pendingImages_[i].reset();
  }
  DiscardPendingImages();
}

void CKMC_Graphics::PlaceImage(ImageData& image, const RECTL& target, CKM_BinaryBuf& out) {
  CloseTextRun(out);
  image.objectNumber = writer_.NewObjectNumber();
  writer_.UseImage(image.objectNumber);
  double x1, y1, x2, y2;
  MapRect(*this, target, x1, y1, x2, y2);
  out.AppendString("q " + G(x2 - x1) + " 0 0 " + G(y2 - y1) + ' ' + G(x1) + ' ' + G(y1) + " cm /Im" +
                   snk::FormatInteger(image.objectNumber) + " Do Q\n");
  WriteImageObject(writer_, image, *imageCompress_ != 0);
}

namespace {

// The GDI objects of a memory canvas, released in the reverse order of
// their making whichever step fails.
class MemoryCanvas {
 public:
  MemoryCanvas(LONG width, LONG height) {
    screen_ = GetDC(nullptr);
    if (!screen_) return;
    dc_ = CreateCompatibleDC(screen_);
    if (!dc_) return;
    bitmap_ = CreateCompatibleBitmap(screen_, width, height);
    brush_ = CreateSolidBrush(0xFFFFFF);
    pen_ = CreatePen(PS_SOLID, 1, 0xFFFFFF);
    if (!bitmap_) return;
    oldBitmap_ = SelectObject(dc_, bitmap_);
    if (brush_) oldBrush_ = SelectObject(dc_, brush_);
    if (pen_) oldPen_ = SelectObject(dc_, pen_);
  }
  ~MemoryCanvas() {
    if (oldPen_) SelectObject(dc_, oldPen_);
    if (oldBrush_) SelectObject(dc_, oldBrush_);
    if (oldBitmap_) SelectObject(dc_, oldBitmap_);
    if (pen_) DeleteObject(pen_);
    if (brush_) DeleteObject(brush_);
    if (bitmap_) DeleteObject(bitmap_);
    if (dc_) DeleteDC(dc_);
    if (screen_) ReleaseDC(nullptr, screen_);
  }
  MemoryCanvas(const MemoryCanvas&) = delete;
  MemoryCanvas& operator=(const MemoryCanvas&) = delete;

  bool Ready() const { return oldBitmap_ != nullptr; }
  HDC Dc() const { return dc_; }
  HBITMAP Bitmap() const { return bitmap_; }

 private:
  HDC screen_ = nullptr;
  HDC dc_ = nullptr;
  HBITMAP bitmap_ = nullptr;
  HBRUSH brush_ = nullptr;
  HPEN pen_ = nullptr;
  HGDIOBJ oldBitmap_ = nullptr;
  HGDIOBJ oldBrush_ = nullptr;
  HGDIOBJ oldPen_ = nullptr;
};

BITMAPINFO TopDownRgb(LONG width, LONG height) {
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
  info.bmiHeader.biWidth = width;
  info.bmiHeader.biHeight = -height;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 24;
  info.bmiHeader.biCompression = BI_RGB;
  return info;
}

size_t DibStride(uint32_t width) { return (static_cast<size_t>(width) * 3 + 3) & ~size_t{3}; }

}  // namespace

void CKMC_Graphics::MergePendingImages(const RECTL& box) {
  const LONG width = box.right - box.left;
  const LONG height = box.bottom - box.top;
  if (width <= 0 || height <= 0) return;

  auto merged = std::make_unique<ImageData>();
  {
    MemoryCanvas canvas(width, height);
    if (!canvas.Ready()) {
      // No canvas of that size: the images go one by one.
      for (size_t i = 0; i < pendingImages_.size() && static_cast<int32_t>(i) < pendingTargets.Count(); ++i)
        PlaceImage(*pendingImages_[i], pendingTargets[static_cast<int32_t>(i)], Stream());
      return;
    }

    // Each image as a 24-bit top-down DIB into its target. Its source
    // rectangle is applied to the image as it stands, which holds only the
    // captured area already.
    std::vector<uint8_t> dib;
    for (size_t i = 0; i < pendingImages_.size(); ++i) {
      const auto index = static_cast<int32_t>(i);
      if (index >= pendingTargets.Count() || index >= pendingSources.Count()) break;
      const ImageData& image = *pendingImages_[i];
      const RECTL& target = pendingTargets[index];
      const RECTL& source = pendingSources[index];
      const size_t stride = DibStride(image.width);
      const size_t rowBytes = static_cast<size_t>(image.width) * 3;
      dib.assign(stride * image.height, 0);
      for (uint32_t y = 0; y < image.height; ++y)
        std::memcpy(dib.data() + y * stride, image.pixels.get() + y * rowBytes, rowBytes);
      BITMAPINFO info = TopDownRgb(static_cast<LONG>(image.width), static_cast<LONG>(image.height));
      StretchDIBits(canvas.Dc(), target.left - box.left, target.top - box.top, target.right - target.left,
                    target.bottom - target.top, source.left, source.top, source.right - source.left,
                    source.bottom - source.top, dib.data(), &info, DIB_RGB_COLORS, SRCCOPY);
    }

    // The canvas read back, top-down, and its row padding removed.
    BITMAPINFO info = TopDownRgb(width, height);
    GetDIBits(canvas.Dc(), canvas.Bitmap(), 0, static_cast<UINT>(height), nullptr, &info, DIB_RGB_COLORS);
    const size_t stride = DibStride(static_cast<uint32_t>(width));
    size_t bytes = std::max<size_t>(info.bmiHeader.biSizeImage, stride * static_cast<size_t>(height));
    std::vector<uint8_t> canvasBits(bytes, 0);
    GetDIBits(canvas.Dc(), canvas.Bitmap(), 0, static_cast<UINT>(height), canvasBits.data(), &info,
              DIB_RGB_COLORS);
    merged->width = static_cast<uint32_t>(width);
    merged->height = static_cast<uint32_t>(height);
    const size_t rowBytes = static_cast<size_t>(width) * 3;
    merged->AllocatePixels(static_cast<uint32_t>(rowBytes * static_cast<size_t>(height)));
    for (LONG y = 0; y < height; ++y)
      std::memcpy(merged->pixels.get() + y * rowBytes, canvasBits.data() + y * stride, rowBytes);
  }

  // Clipped to the union of the targets, so that nothing between them
  // shows.
  CKM_BinaryBuf& out = Stream();
  CloseTextRun(out);
  NormalizeRectList(pendingTargets);
  std::string text = "q\n";
  for (const RECTL& r : pendingTargets) {
    double x1, y1, x2, y2;
    MapRect(*this, r, x1, y1, x2, y2);
    text += G(x1) + ' ' + G(y1) + ' ' + G(x2 - x1) + ' ' + G(y2 - y1) + " re\n";
  }
  text += "W n\n";
  merged->objectNumber = writer_.NewObjectNumber();
  writer_.UseImage(merged->objectNumber);
  double x1, y1, x2, y2;
  MapRect(*this, box, x1, y1, x2, y2);
  text += G(x2 - x1) + " 0 0 " + G(y2 - y1) + ' ' + G(x1) + ' ' + G(y1) + " cm\n/Im" +
          snk::FormatInteger(merged->objectNumber) + " Do Q\n";
  out.AppendString(text);
  WriteImageObject(writer_, *merged, *imageCompress_ != 0);
}

void CKMC_Graphics::PlaceSkewedImage(SURFOBJ* source, SURFOBJ* /*mask*/, XLATEOBJ* xlate,
                                     const POINTFIX* corners, const RECTL& sourceRect) {
  if (Cancelled() || !corners) return;
  // Upper left, upper right and lower left corners; the lower right one
  // completes the parallelogram.
  const double p0x = corners[0].x / 16, p0y = corners[0].y / 16;
  const double p1x = corners[1].x / 16, p1y = corners[1].y / 16;
  const double p2x = corners[2].x / 16, p2y = corners[2].y / 16;
  double llx = p2x, lly = p2y;
  double ulx = p0x, uly = p0y;
  double lrx = p1x - p0x + p2x, lry = p1y - p0y + p2y;
  DeviceToUser(llx, lly);
  DeviceToUser(ulx, uly);
  DeviceToUser(lrx, lry);
  // The skew divides by the height of the left edge and the width of the
  // bottom edge; a parallelogram without either shows nothing.
  if (uly == lly || lrx == llx) return;

  std::unique_ptr<ImageData> image = CaptureBitmap(writer_, source, xlate, sourceRect);
  if (!image) return;
  writer_.UseImage(image->objectNumber);

  CKM_BinaryBuf& out = Stream();
  CloseTextRun(out);
  out.AppendString("q " + G(lrx - llx) + " 0 0 " + G(uly - lly) + ' ' + G(llx) + ' ' + G(lly) + " cm 1 " +
                   G((lry - lly) / (uly - lly)) + ' ' + G((ulx - llx) / (lrx - llx)) + " 1 0 0 cm /Im" +
                   snk::FormatInteger(image->objectNumber) + " Do Q\n");
  WriteImageObject(writer_, *image, *imageCompress_ != 0);
}

void CKMC_Graphics::WriteJpegPassthrough(const uint8_t* data, uint32_t size, const RECTL& target) {
  JpegHeader header;
  if (!ReadJpegHeader(data, size, header)) return;
  CKMC_Stream stream;
  BuildJpegStream(header, data, size, CKMC_DocumentWriter::kColorSpaceObject, stream);
  const uint32_t number = writer_.NewObjectNumber();
  writer_.WriteIndirectObject(number, &stream);
  CKM_BinaryBuf& out = Stream();
  CloseTextRun(out);
  writer_.UseImage(number);
  double x1, y1, x2, y2;
  MapRect(*this, target, x1, y1, x2, y2);
  out.AppendString("q " + G(x2 - x1) + " 0 0 " + G(y2 - y1) + ' ' + G(x1) + ' ' + G(y1) + " cm /Im" +
                   snk::FormatInteger(number) + " Do Q\n");
}
