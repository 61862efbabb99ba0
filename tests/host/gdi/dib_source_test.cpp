// Bitmaps of the blit records as engine source surfaces: each DIB form
// keeps its own format, and its pixel words come out as the right colours
// through the surface's colour translation. Headers that lie, tables cut
// short and run lengths past their data are reported, never followed.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "host/gdi/emf_objects.h"
#include "tools/sample_job/emf_writer.h"

// Last: the library's header needs FILE and size_t, and defines TRUE and
// FALSE unless they are defined.
#include <jpeglib.h>

namespace snk::gdi {
namespace {

using Bytes = std::vector<std::byte>;

Bytes Raw(std::initializer_list<int> values) {
  Bytes b;
  for (int v : values) b.push_back(std::byte(v));
  return b;
}

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

constexpr uint32_t kRed = 0x0000FF, kGreen = 0x00FF00, kBlue = 0xFF0000, kWhite = 0xFFFFFF;

// What a source became: its surface's format, size and orientation, and
// each pixel (top row first) through the surface's colour translation.
struct Made {
  ULONG format = 0;
  SIZEL size{};
  bool topDown = false;
  std::vector<uint32_t> colors;
  std::string note;
};

std::optional<Made> Make(const Bytes& info, const Bytes& bits, uint32_t usage = DIB_RGB_COLORS,
                         std::string* fault = nullptr) {
  std::string why;
  auto dib = DecodeDibSource(info, bits, usage, &why);
  if (!dib) {
    if (fault) *fault = why;
    return std::nullopt;
  }
  auto source = SourceBitmap::Create(*dib, &why);
  EXPECT_TRUE(source) << why;
  if (!source) return std::nullopt;
  Made m;
  const SURFOBJ* so = source->Surface();
  m.format = so->iBitmapFormat;
  m.size = so->sizlBitmap;
  m.topDown = so->fjBitmap & BMF_TOPDOWN;
  m.note = dib->note;
  if (m.format != BMF_PNG)
    for (int32_t y = 0; y < dib->height; ++y)
      for (int32_t x = 0; x < dib->width; ++x)
        m.colors.push_back(XLATEOBJ_iXlate(source->Xlate(), source->dib().Word(x, y)));
  return m;
}

TEST(DibSource, IndexedDepthsKeepTheirFormatAndPalette) {
  const uint32_t two[] = {kRed, kBlue};
  const uint32_t sixteen[] = {0, kRed, kGreen, kBlue, kWhite, 0x123456, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  struct Case {
    const char* name;
    Bytes info, bits;
    ULONG format;
    bool topDown;
    std::vector<uint32_t> colors;
  };
  // clang-format off
  const Case cases[] = {
      // 3 x 2, bottom-up: the last stored row is the top one.
      {"1-bit", EmfWriter::BitmapInfo(3, 2, 1, 0, two), Raw({0b01000000, 0, 0, 0, 0b10100000, 0, 0, 0}),
       BMF_1BPP, false, {kBlue, kRed, kBlue, kRed, kBlue, kRed}},
      {"4-bit top-down", EmfWriter::BitmapInfo(3, -2, 4, 0, sixteen),
       Raw({0x12, 0x30, 0, 0, 0x45, 0x10, 0, 0}), BMF_4BPP, true,
       {kRed, kGreen, kBlue, kWhite, 0x123456, kRed}},
      {"8-bit with clrUsed 2", EmfWriter::BitmapInfo(2, 1, 8, 0, two), Raw({1, 0, 0, 0}), BMF_8BPP, false,
       {kBlue, kRed}},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const auto made = Make(c.info, c.bits);
    ASSERT_TRUE(made);
    EXPECT_EQ(made->format, c.format);
    EXPECT_EQ(made->topDown, c.topDown);
    EXPECT_EQ(made->colors, c.colors);
    EXPECT_EQ(made->note, "");
  }
}

TEST(DibSource, DirectDepthsAndBitfields) {
  const uint32_t m565[] = {0xF800, 0x07E0, 0x001F};
  const uint32_t m32[] = {0x0000FF00, 0x00FF0000, 0xFF000000};  // R, G, B high in the word
  struct Case {
    const char* name;
    Bytes info, bits;
    ULONG format;
    std::vector<uint32_t> colors;
  };
  // clang-format off
  const Case cases[] = {
      {"16-bit 5-5-5", EmfWriter::BitmapInfo(2, 1, 16), Raw({0x00, 0x7C, 0x1F, 0x00}), BMF_16BPP,
       {kRed, kBlue}},
      {"16-bit 5-6-5 masks after the header", EmfWriter::BitmapInfo(2, 1, 16, BI_BITFIELDS, {}, m565),
       Raw({0xE0, 0x07, 0x00, 0xF8}), BMF_16BPP, {kGreen, kRed}},
      {"24-bit", EmfWriter::BitmapInfo(2, 1, 24), Raw({0x30, 0x20, 0x10, 0xFF, 0xFF, 0xFF, 0, 0}), BMF_24BPP,
       {0x302010, kWhite}},
      {"32-bit", EmfWriter::BitmapInfo(1, 1, 32), Raw({0x01, 0x02, 0x03, 0x80}), BMF_32BPP, {0x010203}},
      {"32-bit V5 masks", EmfWriter::BitmapInfo(1, 1, 32, BI_BITFIELDS, {}, m32, 124),
       Raw({0, 0x11, 0x22, 0x33}), BMF_32BPP, {0x332211}},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const auto made = Make(c.info, c.bits);
    ASSERT_TRUE(made);
    EXPECT_EQ(made->format, c.format);
    EXPECT_EQ(made->colors, c.colors);
  }
}

TEST(DibSource, RunLengthsBecomeTopDownIndexedRows) {
  const uint32_t palette[] = {0, kRed, kGreen, kBlue};
  // RLE8, 4 x 2: bottom row "1 1 1 2", the end of the line, a delta to
  // (1, 1), an absolute run "3 2 1" and the end of the bitmap; skipped
  // pixels keep index 0.
  auto made = Make(EmfWriter::BitmapInfo(4, 2, 8, BI_RLE8, palette),
                   Raw({3, 1, 1, 2, 0, 0, 0, 2, 1, 0, 0, 3, 3, 2, 1, 0, 0, 1}));
  ASSERT_TRUE(made);
  EXPECT_EQ(made->format, BMF_8BPP);
  EXPECT_TRUE(made->topDown);
  EXPECT_EQ(made->colors, (std::vector<uint32_t>{0, kBlue, kGreen, kRed, kRed, kRed, kRed, kGreen}));

  // RLE4, 3 x 1: a run of alternating 1 and 2 cut at the row's end.
  made = Make(EmfWriter::BitmapInfo(3, 1, 4, BI_RLE4, palette), Raw({9, 0x12, 0, 1}));
  ASSERT_TRUE(made);
  EXPECT_EQ(made->format, BMF_4BPP);
  EXPECT_EQ(made->colors, (std::vector<uint32_t>{kRed, kGreen, kRed}));

  // Data ending inside an absolute run keeps what came before it.
  made = Make(EmfWriter::BitmapInfo(2, 2, 8, BI_RLE8, palette), Raw({2, 3, 0, 0, 0, 4, 1}));
  ASSERT_TRUE(made);
  EXPECT_EQ(made->colors, (std::vector<uint32_t>{0, 0, kBlue, kBlue}));
  EXPECT_NE(made->note.find("absolute run"), std::string::npos) << made->note;
}

TEST(DibSource, PaletteIndicesCoreHeadersAndShortTables) {
  // DIB_PAL_COLORS: 16-bit indices into the default palette (13 is red,
  // 255 the last static colour, white).
  auto made =
      Make(EmfWriter::BitmapInfo(2, 1, 1) + Raw({13, 0, 255, 0}), Raw({0x40, 0, 0, 0}), DIB_PAL_COLORS);
  ASSERT_TRUE(made);
  EXPECT_EQ(made->colors, (std::vector<uint32_t>{kRed, kWhite}));

  // BITMAPCOREHEADER with RGB triples.
  const Bytes core = Raw({12, 0, 0, 0, 2, 0, 1, 0, 1, 0, 1, 0, 0, 0, 0xFF, 0xFF, 0, 0});
  made = Make(core, Raw({0x40, 0, 0, 0}));
  ASSERT_TRUE(made);
  EXPECT_EQ(made->colors, (std::vector<uint32_t>{kRed, kBlue}));

  // A 2-bit-index table with one entry: index 1 is black, and said so.
  const uint32_t one[] = {kGreen};
  Bytes info = EmfWriter::BitmapInfo(2, 1, 1, 0, one);
  info[32] = std::byte{0};  // biClrUsed 0: two entries expected
  made = Make(info, Raw({0x40, 0, 0, 0}));
  ASSERT_TRUE(made);
  EXPECT_EQ(made->colors, (std::vector<uint32_t>{kGreen, 0}));
  EXPECT_NE(made->note.find("2 entries expected, 1 present"), std::string::npos) << made->note;
}

// A 2 x 1 JPEG of two colours, written by the library.
Bytes Jpeg(J_COLOR_SPACE space, int components, std::initializer_list<int> pixels) {
  jpeg_compress_struct info{};
  jpeg_error_mgr errors{};
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  unsigned char* out = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &out, &size);
  info.image_width = 2;
  info.image_height = 1;
  info.input_components = components;
  info.in_color_space = space;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, 100, TRUE);
  info.comp_info[0].h_samp_factor = info.comp_info[0].v_samp_factor = 1;  // colours not averaged
  jpeg_start_compress(&info, TRUE);
  std::vector<unsigned char> row(pixels.begin(), pixels.end());
  JSAMPROW rows[1] = {row.data()};
  jpeg_write_scanlines(&info, rows, 1);
  jpeg_finish_compress(&info);
  Bytes file(reinterpret_cast<std::byte*>(out), reinterpret_cast<std::byte*>(out) + size);
  jpeg_destroy_compress(&info);
  std::free(out);
  return file;
}

bool Near(uint32_t a, uint32_t b, int tolerance = 12) {
  for (int shift = 0; shift < 24; shift += 8)
    if (std::abs(int(a >> shift & 0xFF) - int(b >> shift & 0xFF)) > tolerance) return false;
  return true;
}

TEST(DibSource, JpegIsDecodedAndPngHandedOn) {
  const Bytes rgb = Jpeg(JCS_RGB, 3, {255, 0, 0, 0, 0, 255});
  auto made = Make(EmfWriter::BitmapInfo(2, 1, 0, BI_JPEG), rgb);
  ASSERT_TRUE(made);
  EXPECT_EQ(made->format, BMF_24BPP);
  EXPECT_EQ(made->size.cx, 2);
  ASSERT_EQ(made->colors.size(), 2u);
  EXPECT_TRUE(Near(made->colors[0], kRed)) << std::hex << made->colors[0];
  EXPECT_TRUE(Near(made->colors[1], kBlue)) << std::hex << made->colors[1];

  const Bytes gray = Jpeg(JCS_GRAYSCALE, 1, {0x40, 0xC0});
  made = Make(EmfWriter::BitmapInfo(2, 1, 0, BI_JPEG), gray);
  ASSERT_TRUE(made);
  EXPECT_TRUE(Near(made->colors[1], 0xC0C0C0, 4)) << std::hex << made->colors[1];

  // A damaged file is a fault, not an exit; biSizeImage past the bits too.
  std::string fault;
  Bytes cut(rgb.begin(), rgb.begin() + 20);
  EXPECT_FALSE(Make(EmfWriter::BitmapInfo(2, 1, 0, BI_JPEG), cut, DIB_RGB_COLORS, &fault));
  EXPECT_NE(fault.find("JPEG data"), std::string::npos) << fault;
  EXPECT_FALSE(Make(EmfWriter::BitmapInfo(2, 1, 0, BI_JPEG, {}, {}, 40, 5000), rgb, DIB_RGB_COLORS, &fault));
  EXPECT_NE(fault.find("biSizeImage 5000"), std::string::npos) << fault;

  // PNG: the file's bytes, sized by IHDR (7 x 3), whatever the header says.
  const Bytes png = Raw({0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H', 'D', 'R', 0,
                         0,    0,   7,   0,   0,    0,    3,    8,    2, 0, 0, 0,  1,   2,   3,   4});
  std::string why;
  auto dib = DecodeDibSource(EmfWriter::BitmapInfo(1, 1, 0, BI_PNG), png, DIB_RGB_COLORS, &why);
  ASSERT_TRUE(dib) << why;
  auto source = SourceBitmap::Create(*dib, &why);
  ASSERT_TRUE(source) << why;
  EXPECT_EQ(source->Surface()->iBitmapFormat, BMF_PNG);
  EXPECT_EQ(source->Surface()->sizlBitmap.cx, 7);
  EXPECT_EQ(source->Surface()->sizlBitmap.cy, 3);
  EXPECT_EQ(source->Surface()->cjBits, png.size());
  EXPECT_EQ(source->Surface()->pvScan0, nullptr);
  Bytes bad = png;
  bad[19] = std::byte{0};  // width 0
  EXPECT_FALSE(DecodeDibSource(EmfWriter::BitmapInfo(1, 1, 0, BI_PNG), bad, DIB_RGB_COLORS, &why));
  EXPECT_NE(why.find("IHDR"), std::string::npos) << why;
}

TEST(DibSource, ColourKeysInTheSourcesOwnForm) {
  std::string why;
  const uint32_t palette[] = {kRed, kGreen, kGreen, kBlue};
  auto indexed = DecodeDibSource(EmfWriter::BitmapInfo(1, 1, 8, 0, palette), Raw({0, 0, 0, 0}), 0, &why);
  ASSERT_TRUE(indexed) << why;
  EXPECT_EQ(indexed->WordOf(kGreen), 1u);    // the first of two
  EXPECT_EQ(indexed->WordOf(0xF00010), 3u);  // none equal: the nearest
  auto bgr = DecodeDibSource(EmfWriter::BitmapInfo(1, 1, 24), Raw({0, 0, 0, 0}), 0, &why);
  EXPECT_EQ(bgr->WordOf(0x112233), 0x332211u);
  auto rgb555 = DecodeDibSource(EmfWriter::BitmapInfo(1, 1, 16), Raw({0, 0, 0, 0}), 0, &why);
  EXPECT_EQ(rgb555->WordOf(kRed), 0x7C00u);
  EXPECT_EQ(rgb555->ColorOf(rgb555->WordOf(0x00FF00)), 0x00FF00u);
}

TEST(DibSource, ScanBandsKeepTheirRows) {
  // Of a 1 x 4 bitmap only two scan lines are present: the band is 1 x 2.
  std::string why;
  auto dib = DecodeDibSource(EmfWriter::BitmapInfo(1, 4, 24), Raw({1, 2, 3, 0, 4, 5, 6, 0}), 0, &why, 2);
  ASSERT_TRUE(dib) << why;
  EXPECT_EQ(dib->height, 2);
  EXPECT_EQ(dib->ColorOf(dib->Word(0, 0)), 0x040506u);
  EXPECT_EQ(dib->ColorOf(dib->Word(0, 1)), 0x010203u);
}

}  // namespace
}  // namespace snk::gdi
