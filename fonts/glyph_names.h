// Glyph names of the Adobe Glyph List: what a font's encoding calls the
// glyph of a Unicode value, so that a viewer can map the codes of a font
// without a ToUnicode map back to text.
#pragma once

#include <cstdint>

// The glyph name of `unicode`, or null when the list has none.
const char* AdobeGlyphName(uint16_t unicode);
