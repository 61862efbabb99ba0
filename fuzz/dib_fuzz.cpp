// Fuzz target for device-independent bitmaps. The input is a small frame
// around the two parts a record carries: byte 0 holds flags (bit 0: the
// colour table holds palette indices, bit 1: monochrome colours replace a
// 1-bit table, bit 2: only a band of scan lines is present, as many as the
// high nibble + 1), bytes 1-2 the length of the bitmap info
// (little-endian), then the info, then the bits. Each input is decoded both
// into colours (as brushes use it) and into a source surface of its own
// format (as the blit records use it), whose every pixel is read back
// through the surface's colour translation.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "host/gdi/emf_objects.h"

namespace {

volatile uint64_t g_sink = 0;

void CheckSource(const snk::gdi::DibSource& dib) {
  if (dib.width <= 0 || dib.height <= 0) __builtin_trap();
  if (dib.format == BMF_PNG) {
    if (dib.bits.empty()) __builtin_trap();
    return;
  }
  // The rows, one spare row and 4 bytes: what the engine's readers may touch.
  const uint64_t rowBits = uint64_t(dib.width) * dib.bitCount;
  if (uint64_t{dib.stride} * 8 < rowBits) __builtin_trap();
  if (dib.bits.size() < uint64_t{dib.stride} * (uint64_t(dib.height) + 1) + 4) __builtin_trap();
  if (dib.colors == snk::gdi::DibSource::Colors::Indexed && dib.palette.size() > (1u << dib.bitCount))
    __builtin_trap();
  std::string fault;
  auto source = snk::gdi::SourceBitmap::Create(dib, &fault);
  uint64_t sum = fault.size();
  for (int32_t y = 0; y < dib.height; ++y)
    for (int32_t x = 0; x < dib.width; ++x) {
      const uint32_t word = dib.Word(x, y);
      sum += dib.ColorOf(word);
      if (source) sum += XLATEOBJ_iXlate(source->Xlate(), word);
    }
  sum += dib.WordOf(0x123456);
  g_sink = g_sink + sum;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 3) return 0;
  const uint8_t flags = data[0];
  const size_t infoSize = std::min<size_t>(data[1] | data[2] << 8, size - 3);
  const auto* bytes = reinterpret_cast<const std::byte*>(data) + 3;
  const std::span<const std::byte> info(bytes, infoSize), bits(bytes + infoSize, size - 3 - infoSize);
  const uint32_t mono[2] = {0x0000FF, 0xFFFFFF};
  const uint32_t usage = flags & 1 ? snk::gdi::DIB_PAL_COLORS : snk::gdi::DIB_RGB_COLORS;
  std::string fault;
  const auto dib = snk::gdi::DecodeDib(info, bits, usage, flags & 2 ? mono : nullptr, &fault);
  uint64_t sum = fault.size();
  if (dib) {
    if (dib->pixels.size() != static_cast<size_t>(dib->width) * static_cast<size_t>(dib->height))
      __builtin_trap();
    for (uint32_t p : dib->pixels) sum += p;
  }
  const uint32_t rows = flags & 4 ? (flags >> 4) + 1u : UINT32_MAX;
  if (const auto source = snk::gdi::DecodeDibSource(info, bits, usage, &fault, rows)) CheckSource(*source);
  g_sink = g_sink + sum + fault.size();
  return 0;
}
