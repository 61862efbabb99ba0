// Font files are untrusted: any bytes opened as a face must give either an
// error or a font whose metrics, glyph set, glyph bitmaps, outlines and
// runs can all be used without reading outside what was built.
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "host/engine/path.h"
#include "host/fonts/host_font.h"

namespace {

constexpr size_t kGlyphsTried = 48;

void Exercise(snk::fonts::HostFont& font) {
  const IFIMETRICS& m = font.Metrics();
  volatile size_t sink = 0;
  const auto* block = reinterpret_cast<const char16_t*>(&m);
  for (PTRDIFF offset : {m.dpwszFamilyName, m.dpwszFaceName, m.dpwszStyleName, m.dpwszUniqueName}) {
    for (const char16_t* p = block + offset / 2; *p; ++p) sink = sink + *p;
  }
  const FD_GLYPHSET* set = FONTOBJ_pfdg(font.Fontobj());
  const WCRUN* runs = set->awcrun;
  for (ULONG r = 0; r < set->cRuns; ++r) {
    for (USHORT i = 0; i < runs[r].cGlyphs; ++i) sink = sink + runs[r].phg[i];
  }
  std::vector<GLYPHPOS> glyphs;
  std::u16string text;
  snk::engine::HostPath path;
  LONG x = 0;
  for (char16_t c : std::u16string(u"Ag\u00E9\u4E2D ")) {
    const HGLYPH g = font.GlyphOf(c);
    glyphs.push_back(GLYPHPOS{g, nullptr, POINTL{x, 40}});
    text += c;
    x += LONG(font.Advance(g));
  }
  const HGLYPH last = HGLYPH(std::min<size_t>(kGlyphsTried, 0xFFFF));
  for (HGLYPH g = 0; g < last; ++g) {
    const auto& bits = font.Bits(g);
    sink = sink + bits.bits.size();
    font.AppendOutline(path, g, 10.5, 20.25);
    glyphs.push_back(GLYPHPOS{g, nullptr, POINTL{x, 40}});
    text += u'x';
  }
  glyphs.push_back(GLYPHPOS{0xFFFFFFF0u, nullptr, POINTL{0, 0}});  // a glyph the face does not have
  text += u'?';
  snk::fonts::HostStrobj run(font, std::move(glyphs), std::move(text), 0);
  STROBJ_vEnumStart(run.Strobj());
  ULONG count = 0;
  GLYPHPOS* positions = nullptr;
  while (STROBJ_bEnumPositionsOnly(run.Strobj(), &count, &positions)) {
  }
  ULONG size = 0;
  FONTOBJ_pvTrueTypeFontFile(font.Fontobj(), &size);
  (void)font.Ascent();
  (void)font.Descent();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::vector<uint8_t> file(data, data + size);
  snk::fonts::FontRequest upright;
  upright.faceName = u"Fuzz";
  upright.height = -30;
  upright.weight = 700;
  upright.italic = true;
  snk::fonts::FontRequest turned;
  turned.faceName = u"@Fuzz";
  turned.height = 25;
  turned.width = 9;
  turned.charset = 128;
  turned.m11 = 0.5;
  turned.m12 = -0.866;
  turned.m21 = 0.866;
  turned.m22 = 0.5;
  // Sizes from damaged records: not finite, or far beyond any page.
  snk::fonts::FontRequest wild;
  wild.height = INT32_MIN + 1;
  wild.width = INT32_MAX;
  wild.m11 = std::numeric_limits<double>::quiet_NaN();
  wild.m12 = 1e300;
  wild.m21 = -std::numeric_limits<double>::infinity();
  wild.m22 = 1e-300;
  for (const auto& request : {upright, turned, wild}) {
    for (int32_t index : {0, 1}) {
      std::string error;
      auto font = snk::fonts::HostFont::RealizeFromBytes(request, file, index, "fuzz.ttf", &error);
      if (font) Exercise(*font);
    }
  }
  return 0;
}
