// The engine's FD_GLYPHSET is copied into the font and walked again at each
// lookup; its run table and phg arrays must never lead a lookup outside the
// copy, whatever counts and pointers the block holds. The input is the
// block, with each run's phg field read as "1 + offset from the block's
// start" (0: no array), so that the fuzzer can place arrays inside, across
// and outside the block. The same bytes are also offered as a font file.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fonts/font.h"
#include "fonts/subfonts.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > (1u << 20)) return 0;
  std::vector<uint64_t> storage(size / 8 + 2, 0);
  auto* block = reinterpret_cast<uint8_t*>(storage.data());
  std::memcpy(block, data, size);
  constexpr size_t kRuns = offsetof(FD_GLYPHSET, awcrun);
  if (size >= kRuns) {
    auto* set = reinterpret_cast<FD_GLYPHSET*>(block);
    set->cjThis = static_cast<ULONG>(size);  // the engine's size is true
    for (size_t at = kRuns; at + sizeof(WCRUN) <= size; at += sizeof(WCRUN)) {
      WCRUN run;
      std::memcpy(&run, block + at, sizeof run);
      uintptr_t offset = reinterpret_cast<uintptr_t>(run.phg);
      run.phg = offset ? reinterpret_cast<HGLYPH*>(reinterpret_cast<uintptr_t>(block) + offset - 1) : nullptr;
      std::memcpy(block + at, &run, sizeof run);
    }
  }

  CKMC_DocumentWriter writer;
  CKMC_UnicodeFont font(writer);
  font.CopyGlyphSet(size >= kRuns ? reinterpret_cast<FD_GLYPHSET*>(block) : nullptr);
  for (HGLYPH glyph : {0u, 1u, 3u, 0x41u, 0xFFFFu, 0xFFFFFFFFu}) font.UnicodeOf(glyph);
  for (uint16_t value : {0x20, 0x41, 0x410, 0x4E00, 0xFFFF}) font.GlyphOf(value);

  font.SetName("A");
  font.unitsPerEm = 1000;
  font.OpenFace(data, size);
  int32_t width = 0;
  font.GlyphWidth(font.GlyphOf(0x41), width);
  return 0;
}
