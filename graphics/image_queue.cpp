// The page's waiting images: areas the engine drew on the page surface, and
// bitmaps while the engine does not draw.
#include "graphics/image_queue.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "base/number_format.h"
#include "platform/win32.h"

CKMC_ImageQueue::~CKMC_ImageQueue() = default;

namespace {

std::string G(double value) { return snk::FormatG(value); }

}  // namespace

void CKMC_ImageQueue::MapRect(const RECTL& rect, double& x1, double& y1, double& x2, double& y2) const {
  x1 = rect.left;
  y1 = rect.bottom;
  x2 = rect.right;
  y2 = rect.top;
  DeviceToUser(m_writer.Geometry(), x1, y1);
  DeviceToUser(m_writer.Geometry(), x2, y2);
}

void CKMC_ImageQueue::WriteImage(const ImageData& image) const {
  WriteImageObject(m_writer, image, m_switches.imageCompress != 0);
}

void CKMC_ImageQueue::AddDirtyRect(RECTL& rect) {
  if (Cancelled()) return;
  if (rect.left < 0) rect.left = 0;
  if (rect.top < 0) rect.top = 0;
  if (rect.right > m_writer.Geometry().widthPixels) rect.right = m_writer.Geometry().widthPixels;
  if (rect.bottom > m_writer.Geometry().heightPixels) rect.bottom = m_writer.Geometry().heightPixels;
  if (rect.left < rect.right && rect.top < rect.bottom) m_dirtyRegion.Add(rect);
}

void CKMC_ImageQueue::FlushDeferredBitmaps(SURFOBJ* surface) {
  if (!m_switches.gdiPunt) {
    FlushPendingImages();
    return;
  }
  // Without a surface, or one without bits, there is nothing to cut the
  // areas from.
  if (!surface || !surface->pvScan0) {
    m_dirtyRegion.Clear();
    return;
  }
  CaptureDirtyAreas(surface);
}

void CKMC_ImageQueue::CaptureDirtyAreas(SURFOBJ* surface) {
  if (m_dirtyRegion.Count() == 0) return;
  NormalizeRectList(m_dirtyRegion);
  for (const RECTL& rect : m_dirtyRegion) CaptureSurfaceRect(surface, rect);
  m_dirtyRegion.Clear();
}

void CKMC_ImageQueue::CaptureSurfaceRect(SURFOBJ* surface, const RECTL& rect) {
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
  image.objectNumber = m_writer.NewObjectNumber();
  m_writer.UseImage(image.objectNumber);

  CKM_BinaryBuf& out = m_page.Stream();
  m_page.CloseTextRun(out);
  double x1 = area.left, y1 = area.bottom, x2 = area.right, y2 = area.top;
  DeviceToUser(m_writer.Geometry(), x1, y1);
  DeviceToUser(m_writer.Geometry(), x2, y2);
  out.AppendString("q " + snk::FormatG(x2 - x1) + " 0 0 " + snk::FormatG(y2 - y1) + ' ' + snk::FormatG(x1) +
                   ' ' + snk::FormatG(y1) + " cm /Im" + snk::FormatInteger(image.objectNumber) + " Do Q\n");
  WriteImage(image);
}

void CKMC_ImageQueue::TransferBitmap(SURFOBJ* source, XLATEOBJ* xlate, const RECTL& target,
                                     const RECTL& sourceRect) {
  if (Cancelled() || !source) return;
  if (source->iBitmapFormat == BMF_JPEG) {
    WriteJpegPassthrough(static_cast<const uint8_t*>(source->pvBits), source->cjBits, target);
    return;
  }
  if (source->iBitmapFormat == BMF_PNG) return;  // PNG sources are not shown

  std::unique_ptr<ImageData> image = CaptureBitmap(m_writer, source, xlate, sourceRect);
  if (!image) return;
  if (image->bits == 24) {
    m_pendingImages.push_back(std::move(image));
    m_pendingSources.Add(sourceRect);
    m_pendingTargets.Add(target);
    if (static_cast<int32_t>(m_pendingImages.size()) < kPendingLimit) return;
    if (m_switches.gdiPunt) {
      m_dirtyRegion.Clear();
      return;
    }
    FlushPendingImages();
    return;
  }
  // Indexed images are not queued: they go before the true-colour images
  // that wait.
  PlaceImage(*image, target, m_page.Stream());
}

void CKMC_ImageQueue::DiscardPendingImages() {
  m_pendingImages.clear();
  m_pendingSources.Clear();
  m_pendingTargets.Clear();
}

void CKMC_ImageQueue::FlushPendingImages() {
  if (static_cast<int32_t>(m_pendingImages.size()) >= kPendingLimit && m_switches.mergeImages) {
    RECTL box = m_pendingTargets.Count() ? m_pendingTargets[0] : RECTL{};
    for (const RECTL& r : m_pendingTargets) {
      box.left = std::min(box.left, r.left);
      box.top = std::min(box.top, r.top);
      box.right = std::max(box.right, r.right);
      box.bottom = std::max(box.bottom, r.bottom);
    }
    MergePendingImages(box);
    DiscardPendingImages();
    return;
  }
  for (size_t i = 0; i < m_pendingImages.size(); ++i) {
    // A target lost to a failed allocation leaves its image unplaced.
    if (static_cast<int32_t>(i) >= m_pendingTargets.Count()) break;
    PlaceImage(*m_pendingImages[i], m_pendingTargets[static_cast<int32_t>(i)], m_page.Stream());
    m_pendingImages[i].reset();
  }
  DiscardPendingImages();
}

void CKMC_ImageQueue::PlaceImage(ImageData& image, const RECTL& target, CKM_BinaryBuf& out) {
  m_page.CloseTextRun(out);
  image.objectNumber = m_writer.NewObjectNumber();
  m_writer.UseImage(image.objectNumber);
  double x1, y1, x2, y2;
  MapRect(target, x1, y1, x2, y2);
  out.AppendString("q " + G(x2 - x1) + " 0 0 " + G(y2 - y1) + ' ' + G(x1) + ' ' + G(y1) + " cm /Im" +
                   snk::FormatInteger(image.objectNumber) + " Do Q\n");
  WriteImage(image);
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

void CKMC_ImageQueue::MergePendingImages(const RECTL& box) {
  const LONG width = box.right - box.left;
  const LONG height = box.bottom - box.top;
  if (width <= 0 || height <= 0) return;

  auto merged = std::make_unique<ImageData>();
  {
    MemoryCanvas canvas(width, height);
    if (!canvas.Ready()) {
      // No canvas of that size: the images go one by one.
      for (size_t i = 0; i < m_pendingImages.size() && static_cast<int32_t>(i) < m_pendingTargets.Count();
           ++i)
        PlaceImage(*m_pendingImages[i], m_pendingTargets[static_cast<int32_t>(i)], m_page.Stream());
      return;
    }

    // Each image as a 24-bit top-down DIB into its target. Its source
    // rectangle is applied to the image as it stands, which holds only the
    // captured area already.
    std::vector<uint8_t> dib;
    for (size_t i = 0; i < m_pendingImages.size(); ++i) {
      const auto index = static_cast<int32_t>(i);
      if (index >= m_pendingTargets.Count() || index >= m_pendingSources.Count()) break;
      const ImageData& image = *m_pendingImages[i];
      const RECTL& target = m_pendingTargets[index];
      const RECTL& source = m_pendingSources[index];
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
  CKM_BinaryBuf& out = m_page.Stream();
  m_page.CloseTextRun(out);
  NormalizeRectList(m_pendingTargets);
  std::string text = "q\n";
  for (const RECTL& r : m_pendingTargets) {
    double x1, y1, x2, y2;
    MapRect(r, x1, y1, x2, y2);
    text += G(x1) + ' ' + G(y1) + ' ' + G(x2 - x1) + ' ' + G(y2 - y1) + " re\n";
  }
  text += "W n\n";
  merged->objectNumber = m_writer.NewObjectNumber();
  m_writer.UseImage(merged->objectNumber);
  double x1, y1, x2, y2;
  MapRect(box, x1, y1, x2, y2);
  text += G(x2 - x1) + " 0 0 " + G(y2 - y1) + ' ' + G(x1) + ' ' + G(y1) + " cm\n/Im" +
          snk::FormatInteger(merged->objectNumber) + " Do Q\n";
  out.AppendString(text);
  WriteImage(*merged);
}

void CKMC_ImageQueue::PlaceSkewedImage(SURFOBJ* source, SURFOBJ* /*mask*/, XLATEOBJ* xlate,
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
  const CKMC_PageGeometry& page = m_writer.Geometry();
  DeviceToUser(page, llx, lly);
  DeviceToUser(page, ulx, uly);
  DeviceToUser(page, lrx, lry);
  // The skew divides by the height of the left edge and the width of the
  // bottom edge; a parallelogram without either shows nothing.
  if (uly == lly || lrx == llx) return;

  std::unique_ptr<ImageData> image = CaptureBitmap(m_writer, source, xlate, sourceRect);
  if (!image) return;
  m_writer.UseImage(image->objectNumber);

  CKM_BinaryBuf& out = m_page.Stream();
  m_page.CloseTextRun(out);
  out.AppendString("q " + G(lrx - llx) + " 0 0 " + G(uly - lly) + ' ' + G(llx) + ' ' + G(lly) + " cm 1 " +
                   G((lry - lly) / (uly - lly)) + ' ' + G((ulx - llx) / (lrx - llx)) + " 1 0 0 cm /Im" +
                   snk::FormatInteger(image->objectNumber) + " Do Q\n");
  WriteImage(*image);
}

void CKMC_ImageQueue::WriteJpegPassthrough(const uint8_t* data, uint32_t size, const RECTL& target) {
  JpegHeader header;
  if (!ReadJpegHeader(data, size, header)) return;
  CKMC_Stream stream;
  BuildJpegStream(header, data, size, CKMC_DocumentWriter::kColorSpaceObject, stream);
  const uint32_t number = m_writer.NewObjectNumber();
  m_writer.WriteIndirectObject(number, &stream);
  CKM_BinaryBuf& out = m_page.Stream();
  m_page.CloseTextRun(out);
  m_writer.UseImage(number);
  double x1, y1, x2, y2;
  MapRect(target, x1, y1, x2, y2);
  out.AppendString("q " + G(x2 - x1) + " 0 0 " + G(y2 - y1) + ' ' + G(x1) + ' ' + G(y1) + " cm /Im" +
                   snk::FormatInteger(number) + " Do Q\n");
}
