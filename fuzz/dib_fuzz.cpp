// Fuzz target for device-independent bitmaps. The input is a small frame
// around the two parts a record carries: byte 0 holds flags (bit 0: the
// colour table holds palette indices, bit 1: monochrome colours replace a
// 1-bit table), bytes 1-2 the length of the bitmap info (little-endian),
// then the info, then the bits.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "host/gdi/emf_objects.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 3) return 0;
  const uint8_t flags = data[0];
  const size_t infoSize = std::min<size_t>(data[1] | data[2] << 8, size - 3);
  const auto* bytes = reinterpret_cast<const std::byte*>(data) + 3;
  const std::span<const std::byte> info(bytes, infoSize), bits(bytes + infoSize, size - 3 - infoSize);
  const uint32_t mono[2] = {0x0000FF, 0xFFFFFF};
  std::string fault;
  const auto dib =
      snk::gdi::DecodeDib(info, bits, flags & 1 ? snk::gdi::DIB_PAL_COLORS : snk::gdi::DIB_RGB_COLORS,
                          flags & 2 ? mono : nullptr, &fault);
  volatile uint64_t sink = fault.size();
  if (dib) {
    if (dib->pixels.size() != static_cast<size_t>(dib->width) * static_cast<size_t>(dib->height))
      __builtin_trap();
    for (uint32_t p : dib->pixels) sink = sink + p;
  }
  return 0;
}
