#include "host/engine/surface_png.h"

#include <cairo.h>

#include <cstdint>
#include <cstring>
#include <memory>

namespace snk::engine {

namespace {

struct SurfaceDeleter {
  void operator()(cairo_surface_t* s) const { cairo_surface_destroy(s); }
};

}  // namespace

bool WriteSurfacePng(const SURFOBJ& so, const std::string& path, std::string* error) {
  auto fail = [&](const char* why) {
    if (error) *error = why;
    return false;
  };
  if (!so.pvScan0 || so.iBitmapFormat != BMF_24BPP || so.sizlBitmap.cx <= 0 || so.sizlBitmap.cy <= 0)
    return fail("the surface has no 24-bit pixels");
  std::unique_ptr<cairo_surface_t, SurfaceDeleter> image(
      cairo_image_surface_create(CAIRO_FORMAT_RGB24, so.sizlBitmap.cx, so.sizlBitmap.cy));
  if (cairo_surface_status(image.get()) != CAIRO_STATUS_SUCCESS) return fail("out of memory");
  cairo_surface_flush(image.get());
  uint8_t* target = cairo_image_surface_get_data(image.get());
  const int targetStride = cairo_image_surface_get_stride(image.get());
  // The surface holds R, G, B bytes; cairo's RGB24 is a native 32-bit word
  // 0x00RRGGBB.
  for (int32_t y = 0; y < so.sizlBitmap.cy; ++y) {
    const auto* row = static_cast<const uint8_t*>(so.pvScan0) + static_cast<ptrdiff_t>(y) * so.lDelta;
    auto* out = reinterpret_cast<uint32_t*>(target + static_cast<ptrdiff_t>(y) * targetStride);
    for (int32_t x = 0; x < so.sizlBitmap.cx; ++x, row += 3)
      out[x] = (uint32_t{row[0]} << 16) | (uint32_t{row[1]} << 8) | row[2];
  }
  cairo_surface_mark_dirty(image.get());
  const cairo_status_t status = cairo_surface_write_to_png(image.get(), path.c_str());
  if (status != CAIRO_STATUS_SUCCESS) return fail(cairo_status_to_string(status));
  return true;
}

}  // namespace snk::engine
