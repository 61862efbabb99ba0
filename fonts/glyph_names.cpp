#include "fonts/glyph_names.h"

#include <algorithm>
#include <iterator>

namespace {

struct GlyphNameEntry {
  uint16_t unicode;
  const char* name;
};

#include "fonts/glyph_names.inc"

}  // namespace

const char* AdobeGlyphName(uint16_t unicode) {
  const auto* end = std::end(kGlyphNames);
  const auto* at =
      std::lower_bound(std::begin(kGlyphNames), end, unicode,
                       [](const GlyphNameEntry& entry, uint16_t value) { return entry.unicode < value; });
  return at != end && at->unicode == unicode ? at->name : nullptr;
}
