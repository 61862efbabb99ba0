// The printer's "FFaces" block comes from outside the driver: any bytes
// must give a list that lookups can walk without reading past the block.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fonts/font.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::vector<uint8_t> block(data, data + size);
  CKMC_FontCatalogue::FaceBlockHolds(block, u"Arial");
  CKMC_FontCatalogue::FaceBlockHolds(block, u"");
  CKMC_FontCatalogue::FaceBlockHolds(block, u"Times New Roman");
  return 0;
}
