// The Type 1 subsetter reads a program that may lie in its segment
// lengths, its eexec part, its charstring counts and lengths, and its
// accented glyphs; parsing, taking glyphs and writing every output form
// must stay inside the program and end. The input is the program; the
// glyphs taken are drawn from its last bytes. The scratch file goes to a
// private temporary folder.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fonts/type1_subset.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool folder = [] {
    char pattern[] = "/tmp/snk-fuzz-XXXXXX";
    return mkdtemp(pattern) && setenv("XDG_RUNTIME_DIR", pattern, 1) == 0;
  }();
  (void)folder;
  if (size > (1u << 20)) return 0;
  CKMC_FontReader reader{data, size};
  CKMC_Type1Subset subset(&CKMC_FontReader::Read, &CKMC_FontReader::Size, &reader);
  if (subset.status != 0) return 0;
  for (size_t i = 1; i <= 8 && i < size; ++i)
    subset.MapCharString(data[size - i] % (subset.GlyphCount() + 1));
  subset.MapCharString(subset.GlyphCount() - 1);
  for (int form : {1, 0, 2}) {
    subset.SetOutputForm(form);
    subset.WriteFontProgram();
  }
  return 0;
}
