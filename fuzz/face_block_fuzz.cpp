// The printer's "FFaces" block comes from outside the driver: any bytes
// must give a list that lookups can walk without reading past the block.
#include <cstddef>
#include <cstdint>

#include "driver/print_job.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  CKMC_Document document;
  document.faceBlock.assign(data, data + size);
  document.IsEmbedFace(u"Arial");
  document.IsEmbedFace(u"");
  document.IsEmbedFace(u"Times New Roman");
  return 0;
}
