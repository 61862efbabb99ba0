// Fuzz target for the header reader of JPEG sources: the bytes are read as
// a JPEG file's header and, when that succeeds, the image dictionary that
// copies the file is built.
#include <cstddef>
#include <cstdint>

#include "graphics/image_object.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  JpegHeader header;
  if (!ReadJpegHeader(data, size, header)) return 0;
  if (header.width == 0 || header.height == 0) __builtin_trap();
  CKMC_Stream stream;
  BuildJpegStream(header, data, size, 3, stream);
  return 0;
}
