// The TrueType subsetter reads a font file that may lie in every table
// offset, length, location and composite; parsing, taking glyphs and
// building must stay inside the file and end. The input is the font file;
// its first byte chooses the face of a collection and the glyphs taken are
// drawn from its last bytes. A subset that builds is opened by FreeType,
// as a reader of the PDF would.
#include <ft2build.h>
#include FT_FREETYPE_H

#include <cstddef>
#include <cstdint>

#include "fonts/truetype_subset.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1 || size > (4u << 20)) return 0;
  CKMC_FontReader reader{data, size};
  CKMC_TrueTypeSubset subset(data[0] & 3, &CKMC_FontReader::Read, &reader);
  if (subset.status != 0) return 0;
  subset.GetEmbeddingBits();
  subset.SetMetricFlags(3);
  for (size_t i = 1; i <= 16 && i + 1 < size; i += 2)
    subset.MapOldGlyph(uint32_t(data[size - i]) << 8 | data[size - i - 1]);
  subset.MapOldGlyph(1);
  subset.MapOldGlyph(3);
  if (subset.BuildSubset() != 0) return 0;
  static FT_Library library = [] {
    FT_Library l = nullptr;
    FT_Init_FreeType(&l);
    return l;
  }();
  std::span<const uint8_t> out = subset.Output();
  FT_Face face = nullptr;
  if (library && FT_New_Memory_Face(library, out.data(), FT_Long(out.size()), 0, &face) == 0) {
    for (FT_Long g = 0; g < face->num_glyphs && g < 8; ++g) FT_Load_Glyph(face, FT_UInt(g), FT_LOAD_NO_SCALE);
    FT_Done_Face(face);
  }
  return 0;
}
