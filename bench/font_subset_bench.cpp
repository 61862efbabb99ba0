// Subsetting time and bytes per face.
//
//   bench_font_subset
//
// For the faces a Latin and a CJK document embed, subsets the glyphs such
// a document uses and prints the source file's size, the glyphs kept, the
// subset's size raw and Flate-compressed (as it goes into the PDF), and the
// median time of one subset (taking the glyphs and building) over repeated
// runs. Then the glyph closure on a font whose composites nest 2,000 deep.
// Faces that are not installed are passed over.
#include <ft2build.h>
#include FT_FREETYPE_H
#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "fonts/truetype_subset.h"
#include "fonts/type1_subset.h"

namespace {

std::string ReadFile(const char* path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), {});
}

size_t Compressed(std::span<const uint8_t> bytes) {
  uLongf size = compressBound(uLong(bytes.size()));
  std::vector<uint8_t> out(size);
  compress2(out.data(), &size, bytes.data(), uLong(bytes.size()), 6);
  return size;
}

// The median of `runs` timings of `work`, in milliseconds.
double MedianMs(int runs, const std::function<void()>& work) {
  std::vector<double> times;
  for (int i = 0; i < runs; ++i) {
    auto start = std::chrono::steady_clock::now();
    work();
    times.push_back(
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
  }
  std::nth_element(times.begin(), times.begin() + runs / 2, times.end());
  return times[runs / 2];
}

// The glyphs of `characters` in face `index` of the file, by FreeType.
std::vector<FT_UInt> GlyphsOf(const std::string& file, int index, const std::u32string& characters) {
  FT_Library library;
  FT_Init_FreeType(&library);
  FT_Face face = nullptr;
  std::vector<FT_UInt> glyphs;
  if (FT_New_Memory_Face(library, reinterpret_cast<const FT_Byte*>(file.data()), FT_Long(file.size()), index,
                         &face) == 0) {
    for (char32_t c : characters)
      if (FT_UInt g = FT_Get_Char_Index(face, c)) glyphs.push_back(g);
    FT_Done_Face(face);
  }
  FT_Done_FreeType(library);
  return glyphs;
}

void Report(const char* document, const char* path, size_t source, size_t glyphs,
            std::span<const uint8_t> out, double ms) {
  std::printf("%-6s %-58s source %9zu B  glyphs %5zu  subset %8zu B (%5.1f%%)  flate %8zu B  %8.3f ms\n",
              document, path, source, glyphs, out.size(), 100.0 * double(out.size()) / double(source),
              Compressed(out), ms);
}

void TrueType(const char* document, const char* path, int index, const std::u32string& text) {
  const std::string file = ReadFile(path);
  if (file.empty()) return;
  const std::vector<FT_UInt> glyphs = GlyphsOf(file, index, text);
  CKMC_FontReader reader{reinterpret_cast<const uint8_t*>(file.data()), file.size()};
  std::vector<uint8_t> last;
  size_t kept = 0;
  const double ms = MedianMs(21, [&] {
    CKMC_TrueTypeSubset subset(uint32_t(index), &CKMC_FontReader::Read, &reader);
    subset.SetMetricFlags(3);
    for (FT_UInt g : glyphs) subset.MapOldGlyph(g);
    if (subset.BuildSubset() != 0) return;
    kept = subset.GlyphCount();
    last.assign(subset.Output().begin(), subset.Output().end());
  });
  Report(document, path, file.size(), kept, last, ms);
}

void Type1(const char* document, const char* path, const std::u32string& text) {
  const std::string file = ReadFile(path);
  if (file.empty()) return;
  const std::vector<FT_UInt> glyphs = GlyphsOf(file, 0, text);
  CKMC_FontReader reader{reinterpret_cast<const uint8_t*>(file.data()), file.size()};
  std::vector<uint8_t> last;
  size_t kept = 0;
  const double ms = MedianMs(21, [&] {
    CKMC_Type1Subset subset(&CKMC_FontReader::Read, &CKMC_FontReader::Size, &reader);
    subset.SetOutputForm(1);
    for (FT_UInt g : glyphs) subset.MapCharString(g);
    if (subset.WriteFontProgram() != 0) return;
    kept = glyphs.size();
    last.assign(subset.Output().begin(), subset.Output().end());
  });
  Report(document, path, file.size(), kept, last, ms);
}

// A font whose glyph k (k >= 2) is a composite of glyph k - 1 and glyph 1.
std::string DeepComposites(uint16_t depth) {
  auto put16 = [](std::string& s, uint32_t v) { s += char(v >> 8), s += char(v); };
  auto put32 = [&](std::string& s, uint32_t v) { put16(s, v >> 16), put16(s, v); };
  const uint16_t count = uint16_t(depth + 2);
  std::string glyf, loca;
  for (uint16_t g = 0; g < count; ++g) {
    put32(loca, uint32_t(glyf.size()));
    std::string bytes;
    if (g < 2) {
      put16(bytes, 1);
      bytes.resize(12, '\x11');
    } else {
      put16(bytes, 0xFFFF);
      bytes.resize(10, '\0');
      for (uint16_t component : {uint16_t(g - 1), uint16_t(1)}) {
        put16(bytes, 0x0001 | (component != 1 ? 0x0020 : 0));
        put16(bytes, component);
        put32(bytes, 0);
      }
    }
    glyf += bytes;
  }
  put32(loca, uint32_t(glyf.size()));
  std::string head(54, '\0');
  head[3] = 1, head[12] = char(0x5F), head[13] = char(0x0F), head[14] = char(0x3C), head[15] = char(0xF5);
  head[51] = 1;  // long locations
  std::string maxp;
  put32(maxp, 0x00005000);
  put16(maxp, count);
  const std::vector<std::pair<std::string, std::string>> tables = {
      {"glyf", glyf}, {"head", head}, {"loca", loca}, {"maxp", maxp}};
  std::string dir, data;
  put32(dir, 0x00010000);
  put16(dir, uint16_t(tables.size()));
  dir.append(6, '\0');
  for (const auto& [tag, bytes] : tables) {
    dir += tag;
    put32(dir, 0);
    put32(dir, uint32_t(12 + 16 * tables.size() + data.size()));
    put32(dir, uint32_t(bytes.size()));
    data += bytes;
    while (data.size() % 4) data += '\0';
  }
  return dir + data;
}

}  // namespace

int main() {
  std::u32string latin;
  for (char32_t c = 0x20; c < 0x7F; ++c) latin += c;
  for (char32_t c = 0xA0; c <= 0xFF; ++c) latin += c;
  std::u32string cjk = latin;
  for (char32_t c = 0x4E00; c < 0x4E00 + 3000; ++c) cjk += c;

  TrueType("Latin", "/usr/share/fonts/truetype/liberation2/LiberationSans-Regular.ttf", 0, latin);
  TrueType("Latin", "/usr/share/fonts/truetype/liberation2/LiberationSerif-Bold.ttf", 0, latin);
  Type1("Latin", "/usr/share/fonts/X11/Type1/NimbusSans-Regular.pfb", latin);
  Type1("Latin", "/usr/share/fonts/type1/urw-base35/NimbusSans-Regular.t1", latin);
  TrueType("CJK", "/usr/share/fonts/truetype/wqy/wqy-microhei.ttc", 0, cjk);

  const uint16_t depth = 2000;
  const std::string deep = DeepComposites(depth);
  CKMC_FontReader reader{reinterpret_cast<const uint8_t*>(deep.data()), deep.size()};
  size_t kept = 0;
  const double ms = MedianMs(21, [&] {
    CKMC_TrueTypeSubset subset(0, &CKMC_FontReader::Read, &reader);
    subset.SetMetricFlags(0);
    subset.MapOldGlyph(depth + 1);
    subset.BuildSubset();
    kept = subset.GlyphCount();
  });
  std::printf("closure: composites nested %u deep, %zu glyphs kept, %.3f ms\n", unsigned(depth), kept, ms);
  return 0;
}
