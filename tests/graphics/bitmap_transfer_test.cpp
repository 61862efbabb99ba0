// Bitmaps with a source: how a source bitmap of each depth is captured,
// JPEG files copied as they are, and the blit entries on an A4 page at
// 300 dpi (2480 x 3507 pixels, 841.68 points high) while the engine does
// not draw (GDIPunt off): the queue of true-colour images, its merge into
// one image, plain copies whatever the raster operation, stretched and
// skewed placements.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "base/number_format.h"
#include "driver_page.h"
#include "graphics/image_object.h"
#include "host/engine/brush.h"
#include "host/engine/path.h"
#include "host/engine/xlate.h"
#include "test_support.h"
#include "writer/document_writer.h"

// After the system's headers: it defines TRUE and FALSE as macros.
#include <jpeglib.h>

namespace {

using snk::test::ContentOfFirstPage;
using snk::test::CountOf;
using snk::test::Object;
using snk::test::SourceBitmap;
using snk::test::StreamData;

std::string Bytes(const ImageData& image) {
  return std::string(reinterpret_cast<const char*>(image.pixels.get()), image.size);
}

std::string Bytes(std::initializer_list<int> values) {
  std::string out;
  for (int v : values) out += static_cast<char>(v);
  return out;
}

// A bitmap of 8 x 4 pixels in rows of 32 bytes whose byte i holds i; the
// memory ends with the last row, so that a read past it would be seen.
class BitmapCapture : public ::testing::Test {
 protected:
  void SetUp() override {
    for (size_t i = 0; i < bits_.size(); ++i) bits_[i] = static_cast<uint8_t>(i);
    so_.sizlBitmap = SIZEL{8, 4};
    so_.pvBits = so_.pvScan0 = bits_.data();
    so_.lDelta = 32;
    while (writer_.ObjectCount() < 10) writer_.NewObjectNumber();
  }

  std::unique_ptr<ImageData> Capture(ULONG format, RECTL rect, XLATEOBJ* xlate = nullptr) {
    so_.iBitmapFormat = format;
    return CaptureBitmap(writer_, &so_, xlate, rect);
  }

  std::vector<uint8_t> bits_ = std::vector<uint8_t>(128);
  SURFOBJ so_{};
  CKMC_DocumentWriter writer_;
};

TEST_F(BitmapCapture, IndexedDepthsCopyBytesFromALeftCountedInBytes) {
  ULONG palette[2] = {0x000000, 0xFFFFFF};
  XLATEOBJ xo{};
  xo.flXlate = XO_TABLE;
  xo.iSrcType = PAL_INDEXED;
  xo.cEntries = 2;
  xo.pulXlate = palette;

  // 1 bit: eight pixels from left 2 are one byte, read at byte 2 of the row.
  auto image = Capture(BMF_1BPP, RECTL{2, 1, 10, 3}, &xo);
  ASSERT_TRUE(image);
  EXPECT_EQ(image->objectNumber, 11u);
  EXPECT_EQ(image->bits, 1u);
  EXPECT_EQ(image->width, 8u);
  EXPECT_EQ(image->height, 2u);
  EXPECT_EQ(Bytes(*image), Bytes({34, 66}));
  ASSERT_EQ(image->paletteCount, 2u);
  EXPECT_EQ(image->palette[0], 0x000000u);
  EXPECT_EQ(image->palette[1], 0xFFFFFFu);

  // 4 bits: three pixels round up to two bytes, from byte 1.
  image = Capture(BMF_4BPP, RECTL{1, 0, 4, 2}, &xo);
  EXPECT_EQ(image->bits, 4u);
  EXPECT_EQ(Bytes(*image), Bytes({1, 2, 33, 34}));

  // 8 bits: one byte a pixel; no translation leaves no palette.
  image = Capture(BMF_8BPP, RECTL{3, 2, 6, 4});
  EXPECT_EQ(image->bits, 8u);
  EXPECT_EQ(image->paletteCount, 0u);
  EXPECT_EQ(Bytes(*image), Bytes({67, 68, 69, 99, 100, 101}));
  EXPECT_EQ(writer_.ObjectCount(), 13u);
}

TEST_F(BitmapCapture, DeeperSourcesStartThreeBytesAPixelInAndReadWholeWords) {
  // 16 bits: the row starts at 3 x left, pixels two bytes apart, three
  // bytes of each word kept.
  auto image = Capture(BMF_16BPP, RECTL{1, 1, 3, 2});
  ASSERT_TRUE(image);
  EXPECT_EQ(image->bits, 24u);
  EXPECT_EQ(image->paletteCount, 0u);
  EXPECT_EQ(Bytes(*image), Bytes({35, 36, 37, 37, 38, 39}));

  image = Capture(BMF_24BPP, RECTL{2, 0, 4, 1});
  EXPECT_EQ(Bytes(*image), Bytes({6, 7, 8, 9, 10, 11}));

  // 32 bits, four bytes apart from 3 x left; through a B, G, R translation
  // the first and third bytes trade places.
  image = Capture(BMF_32BPP, RECTL{1, 3, 3, 4});
  EXPECT_EQ(Bytes(*image), Bytes({99, 100, 101, 103, 104, 105}));
  snk::engine::HostXlate bgr = snk::engine::HostXlate::Bgr(32);
  image = Capture(BMF_32BPP, RECTL{1, 3, 3, 4}, &bgr.xo);
  EXPECT_EQ(Bytes(*image), Bytes({101, 100, 99, 105, 104, 103}));
}

TEST_F(BitmapCapture, BottomUpRowsAndBytesOutsideTheBitmap) {
  // Bottom-up: the top row is the last in memory and rows step back.
  so_.pvScan0 = bits_.data() + 96;
  so_.lDelta = -32;
  auto image = Capture(BMF_24BPP, RECTL{0, 0, 1, 2});
  EXPECT_EQ(Bytes(*image), Bytes({96, 97, 98, 64, 65, 66}));
  so_.pvScan0 = bits_.data();
  so_.lDelta = 32;

  // A rectangle reaching below the bitmap: what lies outside reads as 0.
  image = Capture(BMF_24BPP, RECTL{6, 3, 9, 5});
  EXPECT_EQ(Bytes(*image), Bytes({114, 115, 116, 117, 118, 119, 120, 121, 122, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  // A 1-bit left beyond the row, counted in bytes, lands past the memory.
  image = Capture(BMF_1BPP, RECTL{40, 3, 56, 4});
  EXPECT_EQ(Bytes(*image), Bytes({0, 0}));
  // The last word of a 24-bit row in the last line reads one byte past it.
  image = Capture(BMF_24BPP, RECTL{7, 3, 8, 4});
  EXPECT_EQ(Bytes(*image), Bytes({117, 118, 119}));

  // Nothing to read, or a reversed rectangle: no image and no number. An
  // empty height still makes one, without pixels.
  uint32_t count = writer_.ObjectCount();
  EXPECT_FALSE(Capture(BMF_24BPP, RECTL{4, 2, 3, 3}));
  EXPECT_FALSE(Capture(BMF_24BPP, RECTL{0, 2, 3, 1}));
  so_.pvScan0 = nullptr;
  EXPECT_FALSE(Capture(BMF_24BPP, RECTL{0, 0, 1, 1}));
  EXPECT_EQ(writer_.ObjectCount(), count);
  so_.pvScan0 = bits_.data();
  image = Capture(BMF_24BPP, RECTL{0, 2, 3, 2});
  ASSERT_TRUE(image);
  EXPECT_EQ(image->size, 0u);
  EXPECT_EQ(writer_.ObjectCount(), count + 1);
}

// A baseline JPEG of `width` x `height` with `components` 1 (grey) or 3.
std::string MakeJpeg(uint32_t width, uint32_t height, int components) {
  jpeg_compress_struct info{};
  jpeg_error_mgr errors{};
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &buffer, &size);
  info.image_width = width;
  info.image_height = height;
  info.input_components = components;
  info.in_color_space = components == 1 ? JCS_GRAYSCALE : JCS_RGB;
  jpeg_set_defaults(&info);
  jpeg_start_compress(&info, TRUE);
  std::vector<uint8_t> row(width * components);
  for (uint32_t y = 0; y < height; ++y) {
    for (size_t x = 0; x < row.size(); ++x) row[x] = static_cast<uint8_t>(x * 7 + y * 13);
    JSAMPROW rows[1] = {row.data()};
    jpeg_write_scanlines(&info, rows, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  std::string file(reinterpret_cast<char*>(buffer), size);
  free(buffer);
  return file;
}

std::string GreyRamp() {
  std::string ramp;
  char hex[8];
  for (int i = 0; i < 256; ++i) {
    std::snprintf(hex, sizeof hex, "%02X%02X%02X", i, i, i);
    ramp += hex;
  }
  return ramp;
}

TEST(JpegPassthrough, HeaderAndDictionaryOfGreyAndColourFiles) {
  std::string grey = MakeJpeg(16, 8, 1);
  const auto* data = reinterpret_cast<const uint8_t*>(grey.data());
  JpegHeader header;
  ASSERT_TRUE(ReadJpegHeader(data, grey.size(), header));
  EXPECT_EQ(header.width, 16u);
  EXPECT_EQ(header.height, 8u);
  EXPECT_EQ(header.components, 1);
  CKMC_Stream stream;
  BuildJpegStream(header, data, grey.size(), 2, stream);
  CKM_BinaryBuf out;
  WriteObjectBody(out, &stream);
  EXPECT_EQ(std::string(out.view()),
            "<<\n/BitsPerComponent 8 \n/ColorSpace [/Indexed 2 0 R 255 <" + GreyRamp() +
                "> ] \n/Filter /DCTDecode \n/Height 8 \n/Length " + std::to_string(grey.size()) +
                " \n/Subtype /Image \n/Type /XObject \n/Width 16 \n>>\nstream\n" + grey + "\nendstream\n");

  std::string colour = MakeJpeg(5, 3, 3);
  ASSERT_TRUE(ReadJpegHeader(reinterpret_cast<const uint8_t*>(colour.data()), colour.size(), header));
  EXPECT_EQ(header.components, 3);
  CKMC_Stream colourStream;
  BuildJpegStream(header, reinterpret_cast<const uint8_t*>(colour.data()), colour.size(), 2, colourStream);
  CKM_BinaryBuf colourOut;
  WriteObjectBody(colourOut, &colourStream);
  EXPECT_EQ(std::string(colourOut.view()).substr(0, 41), "<<\n/BitsPerComponent 8 \n/ColorSpace 2 0 R");
}

TEST(JpegPassthrough, UnreadableHeadersAreRefused) {
  std::string good = MakeJpeg(4, 4, 3);
  JpegHeader header;
  const std::string bad[] = {"", "not a jpeg at all", good.substr(0, 2), good.substr(0, 40),
                             std::string("\xFF\xD8\xFF\xD9", 4)};
  for (const std::string& file : bad)
    EXPECT_FALSE(ReadJpegHeader(reinterpret_cast<const uint8_t*>(file.data()), file.size(), header))
        << file.size();
  EXPECT_FALSE(ReadJpegHeader(nullptr, 10, header));
}

// ------------------------------------------------------------ driver pages

using snk::engine::HostBrush;
using snk::engine::HostPath;

constexpr char kPageStart[] = "/CS1 cs /CS1 CS ";

// The placement of an image into the target (left, top, right, bottom).
std::string Placement(LONG left, LONG top, LONG right, LONG bottom, uint32_t number) {
  double x1 = left * 0.24, y1 = (3507 - bottom) * 0.24, x2 = right * 0.24, y2 = (3507 - top) * 0.24;
  return "q " + snk::FormatG(x2 - x1) + " 0 0 " + snk::FormatG(y2 - y1) + ' ' + snk::FormatG(x1) + ' ' +
         snk::FormatG(y1) + " cm /Im" + std::to_string(number) + " Do Q\n";
}

class BitmapTransfer : public snk::test::DriverPageTest {
 protected:
  void SetUp() override {
    DriverPageTest::SetUp();
    SetOption(u"GDIPunt", 0);
    SetOption(u"ImageCompress", 0);
  }

  // Target i of a grid of 4 x 4 pixel squares, 20 to a row, 10 pixels apart.
  static RECTL Cell(int i) {
    LONG left = 10 + i % 20 * 10, top = 10 + i / 20 * 10;
    return RECTL{left, top, left + 4, top + 4};
  }
  static uint32_t CellColor(int i) { return static_cast<uint32_t>(i * 0x010203 + 0x102030) & 0xFFFFFF; }

  // `count` sources of 4 x 4 pixels, each of its own colour.
  void MakeSources(int count) {
    for (int i = 0; i < count; ++i) {
      sources_.push_back(std::make_unique<SourceBitmap>(4, 4, BMF_24BPP, 12));
      sources_.back()->Fill24(CellColor(i));
    }
  }
  void CopyCell(SURFOBJ* so, int i) {
    RECTL target = Cell(i);
    POINTL origin{0, 0};
    EXPECT_TRUE(
        Entry<PFN_DrvCopyBits>(INDEX_DrvCopyBits)(so, sources_[i]->so(), nullptr, nullptr, &target, &origin));
  }
  // A horizontal gradient over (0, 0) - (10, 10): it does not flush.
  void Gradient(SURFOBJ* so) {
    TRIVERTEX v[2] = {{0, 0, 0, 0, 0, 0}, {10, 10, 0xFF00, 0xFF00, 0xFF00, 0}};
    GRADIENT_RECT mesh{0, 1};
    RECTL extents{0, 0, 10, 10};
    EXPECT_TRUE(Entry<PFN_DrvGradientFill>(INDEX_DrvGradientFill)(so, nullptr, nullptr, v, 2, &mesh, 1,
                                                                  &extents, nullptr, GRADIENT_FILL_RECT_H));
  }

  std::vector<std::unique_ptr<SourceBitmap>> sources_;
};

TEST_F(BitmapTransfer, QueueBelowTheLimitIsPlacedOneByOneBeforeTheNextFill) {
  MakeSources(499);
  HostBrush red = HostBrush::Solid(0x0000FF);
  HostPath box;
  box.AddRectangle(RECTL{10, 20, 110, 70});
  std::string pdf = PrintPage([&](SURFOBJ* so) {
    for (int i = 0; i < 499; ++i) CopyCell(so, i);
    EXPECT_TRUE(Entry<PFN_DrvFillPath>(INDEX_DrvFillPath)(so, &box.po, nullptr, &red.bo, nullptr, 0x0D0D,
                                                          FP_ALTERNATEMODE));
  });
  std::string content = ContentOfFirstPage(pdf);
  // Capture took numbers 5 to 503; the placements take new ones.
  std::string expected = kPageStart;
  for (int i = 0; i < 499; ++i) {
    RECTL c = Cell(i);
    expected += Placement(c.left, c.top, c.right, c.bottom, 504 + i);
  }
  ASSERT_EQ(content.substr(0, expected.size()), expected);
  EXPECT_NE(content.find("f* \n", expected.size()), std::string::npos);
  EXPECT_EQ(CountOf(content, " Do Q\n"), 499u);
  EXPECT_EQ(Object(pdf, 5), "");  // numbers of the capture stay unused
  // The last placement's image holds the last source's pixels.
  std::string last = Object(pdf, 1002);
  EXPECT_NE(last.find("/Height 4 \n"), std::string::npos) << last.substr(0, 200);
  std::string data = StreamData(last);
  std::string pixels = last.find("/FlateDecode") == std::string::npos ? data : snk::test::Inflate(data);
  uint32_t color = CellColor(498);
  std::string expectedPixels;
  for (int i = 0; i < 16; ++i)
    expectedPixels += Bytes({int(color & 0xFF), int(color >> 8 & 0xFF), int(color >> 16)});
  EXPECT_EQ(pixels, expectedPixels);
}

TEST_F(BitmapTransfer, TheFiveHundredthImageMergesTheQueueIntoOne) {
  MakeSources(500);
  std::string pdf = PrintPage([&](SURFOBJ* so) {
    for (int i = 0; i < 500; ++i) CopyCell(so, i);
  });
  std::string content = ContentOfFirstPage(pdf);
  // The union of the targets as the clip, then one image over their box
  // (10, 10) - (204, 254).
  std::string expected = std::string(kPageStart) + "q\n";
  for (int i = 0; i < 500; ++i) {
    RECTL c = Cell(i);
    expected +=
        snk::FormatG(c.left * 0.24) + ' ' + snk::FormatG((3507 - c.bottom) * 0.24) + " 0.96 0.96 re\n";
  }
  expected += "W n\n46.56 0 0 58.56 2.4 780.72 cm\n/Im505 Do Q\n";
  EXPECT_EQ(content, expected);

  std::string image = Object(pdf, 505);
  ASSERT_NE(image.find("/Width 194 \n"), std::string::npos) << image.substr(0, 200);
  EXPECT_NE(image.find("/Height 244 \n"), std::string::npos);
  std::string data = StreamData(image);
  std::string pixels = image.find("/FlateDecode") == std::string::npos ? data : snk::test::Inflate(data);
  ASSERT_EQ(pixels.size(), 194u * 244 * 3);
  // Every square's colour where its target lies, bytes as captured.
  for (int i : {0, 1, 19, 20, 250, 499}) {
    RECTL c = Cell(i);
    for (LONG y = c.top; y < c.bottom; ++y)
      for (LONG x = c.left; x < c.right; ++x) {
        size_t at = ((y - 10) * 194 + (x - 10)) * 3;
        uint32_t color = uint8_t(pixels[at]) | uint8_t(pixels[at + 1]) << 8 | uint8_t(pixels[at + 2]) << 16;
        ASSERT_EQ(color, CellColor(i)) << i << " at " << x << "," << y;
      }
  }
}

TEST_F(BitmapTransfer, WithoutMergingTheFullQueueIsPlacedAtOnce) {
  SetOption(u"MergeImages", 0);
  MakeSources(501);
  std::string pdf = PrintPage([&](SURFOBJ* so) {
    for (int i = 0; i < 500; ++i) CopyCell(so, i);
    // The queue went out with the 500th image: the gradient (which does not
    // flush) comes after it, while the next image waits behind it.
    Gradient(so);
    CopyCell(so, 500);
  });
  std::string content = ContentOfFirstPage(pdf);
  std::string expected = kPageStart;
  for (int i = 0; i < 500; ++i) {
    RECTL c = Cell(i);
    expected += Placement(c.left, c.top, c.right, c.bottom, 505 + i);
  }
  expected += "q 0.24 0 0 -0.24 0 841.68 cm  BX /Sh1005 sh EX Q \n";
  RECTL c = Cell(500);
  expected += Placement(c.left, c.top, c.right, c.bottom, 1007);
  EXPECT_EQ(content, expected);
}

TEST_F(BitmapTransfer, IndexedImagesAndGradientsOvertakeTheQueue) {
  MakeSources(1);
  SourceBitmap indexed(8, 2, BMF_8BPP, 8);
  ULONG palette[2] = {0x0000FF, 0x00FF00};
  snk::engine::HostXlate xlate = snk::engine::HostXlate::Indexed(palette);
  std::string pdf = PrintPage([&](SURFOBJ* so) {
    CopyCell(so, 0);
    Gradient(so);
    RECTL target{100, 100, 108, 102};
    POINTL origin{0, 0};
    EXPECT_TRUE(
        Entry<PFN_DrvCopyBits>(INDEX_DrvCopyBits)(so, indexed.so(), nullptr, &xlate.xo, &target, &origin));
  });
  // Numbers: capture 5, shading 6, indexed capture 7 and placement 8, the
  // queued image's placement 9 at the page's end.
  EXPECT_EQ(ContentOfFirstPage(pdf),
            std::string(kPageStart) + "q 0.24 0 0 -0.24 0 841.68 cm  BX /Sh6 sh EX Q \n" +
                "q 1.92 0 0 0.48 24 817.2 cm /Im8 Do Q\n" + Placement(10, 10, 14, 14, 9));
  EXPECT_NE(Object(pdf, 8).find("/ColorSpace [/Indexed 2 0 R 1 <FF000000FF00> ] \n"), std::string::npos);
  EXPECT_NE(Object(pdf, 8).find("/BitsPerComponent 8 \n"), std::string::npos);
}

TEST_F(BitmapTransfer, RasterOperationsAndStretchingBecomePlainPlacements) {
  SourceBitmap source(4, 3, BMF_24BPP, 12);
  for (LONG y = 0; y < 3; ++y)
    for (LONG x = 0; x < 12; ++x) source.Row(y)[x] = static_cast<uint8_t>(y * 12 + x + 1);
  std::string pdf = PrintPage([&](SURFOBJ* so) {
    // A SRCAND blit reads the destination; here it is a copy.
    RECTL target{100, 100, 104, 103};
    POINTL origin{0, 0};
    EXPECT_TRUE(Entry<PFN_DrvBitBlt>(INDEX_DrvBitBlt)(so, source.so(), nullptr, nullptr, nullptr, &target,
                                                      &origin, nullptr, nullptr, nullptr, 0x8888));
    // Ten times larger: the image keeps the source's size, " cm " scales.
    RECTL large{100, 200, 140, 230}, all{0, 0, 4, 3};
    EXPECT_TRUE(Entry<PFN_DrvStretchBlt>(INDEX_DrvStretchBlt)(
        so, source.so(), nullptr, nullptr, nullptr, nullptr, nullptr, &large, &all, nullptr, COLORONCOLOR));
    // A stretch whose operation's bits 2-4 read 3 (as SRCCOPY's do) or 4
    // draws nothing.
    for (DWORD rop : {0xCCCCu, 0x3333u})
      EXPECT_TRUE(Entry<PFN_DrvStretchBltROP>(INDEX_DrvStretchBltROP)(so, source.so(), nullptr, nullptr,
                                                                      nullptr, nullptr, nullptr, &large, &all,
                                                                      nullptr, COLORONCOLOR, nullptr, rop));
  });
  EXPECT_EQ(ContentOfFirstPage(pdf), std::string(kPageStart) + "q 0.96 0 0 0.72 24 816.96 cm /Im7 Do Q\n" +
                                         "q 9.6 0 0 7.2 24 786.48 cm /Im8 Do Q\n");
  std::string pixels(reinterpret_cast<const char*>(source.Row(0)), 36);
  for (uint32_t n : {7u, 8u}) {
    std::string image = Object(pdf, n);
    EXPECT_NE(image.find("/Width 4 \n"), std::string::npos);
    EXPECT_NE(image.find("/Height 3 \n"), std::string::npos);
    std::string data = StreamData(image);
    EXPECT_EQ(image.find("/FlateDecode") == std::string::npos ? data : snk::test::Inflate(data), pixels);
  }
}

TEST_F(BitmapTransfer, SkewedCopyWritesItsMatrix) {
  SourceBitmap source(4, 3, BMF_24BPP, 12);
  source.Fill24(0x336699);
  std::string pdf = PrintPage([&](SURFOBJ* so) {
    // Upper left (100, 100), upper right (200, 120), lower left (90, 300),
    // with fractions that the division by 16 drops.
    POINTFIX corners[3] = {{100 * 16 + 5, 100 * 16 + 15}, {200 * 16 + 8, 120 * 16}, {90 * 16, 300 * 16 + 1}};
    RECTL sourceRect{0, 0, 4, 3};
    EXPECT_TRUE(Entry<PFN_DrvPlgBlt>(INDEX_DrvPlgBlt)(so, source.so(), nullptr, nullptr, nullptr, nullptr,
                                                      nullptr, corners, &sourceRect, nullptr, COLORONCOLOR));
  });
  // Lower left (21.6, 769.68), upper left (24, 817.68), lower right
  // (45.6, 764.88) in points; the capture's number is kept.
  EXPECT_EQ(ContentOfFirstPage(pdf),
            std::string(kPageStart) + "q 24 0 0 48 21.6 769.68 cm 1 -0.1 0.1 1 0 0 cm /Im5 Do Q\n");
  EXPECT_NE(Object(pdf, 5).find("/Width 4 \n"), std::string::npos);
}

TEST_F(BitmapTransfer, FlatParallelogramWritesNothing) {
  SourceBitmap source(4, 3, BMF_24BPP, 12);
  std::string pdf = PrintPage([&](SURFOBJ* so) {
    // All three corners on one row: the left edge has no height.
    POINTFIX corners[3] = {{100 * 16, 100 * 16}, {200 * 16, 100 * 16}, {90 * 16, 100 * 16}};
    RECTL sourceRect{0, 0, 4, 3};
    EXPECT_TRUE(Entry<PFN_DrvPlgBlt>(INDEX_DrvPlgBlt)(so, source.so(), nullptr, nullptr, nullptr, nullptr,
                                                      nullptr, corners, &sourceRect, nullptr, COLORONCOLOR));
  });
  EXPECT_EQ(ContentOfFirstPage(pdf), std::string(kPageStart));
  EXPECT_EQ(pdf.find("/Subtype /Image"), std::string::npos);
}

TEST_F(BitmapTransfer, JpegSourcesAreCopiedAndBrokenOnesDropped) {
  std::string grey = MakeJpeg(16, 8, 1);
  SourceBitmap jpeg(16, 8, BMF_JPEG, grey);
  SourceBitmap broken(16, 8, BMF_JPEG, grey.substr(0, 30));
  SourceBitmap png(16, 8, BMF_PNG, std::string("\x89PNG\r\n\x1A\n", 8));
  std::string pdf = PrintPage([&](SURFOBJ* so) {
    RECTL target{100, 100, 132, 116}, all{0, 0, 16, 8};
    for (SourceBitmap* source : {&broken, &png, &jpeg})
      EXPECT_TRUE(Entry<PFN_DrvStretchBlt>(INDEX_DrvStretchBlt)(so, source->so(), nullptr, nullptr, nullptr,
                                                                nullptr, nullptr, &target, &all, nullptr,
                                                                COLORONCOLOR));
  });
  EXPECT_EQ(ContentOfFirstPage(pdf), std::string(kPageStart) + "q 7.68 0 0 3.84 24 813.84 cm /Im5 Do Q\n");
  std::string image = Object(pdf, 5);
  EXPECT_NE(image.find("/ColorSpace [/Indexed 2 0 R 255 <" + GreyRamp() + "> ] \n/Filter /DCTDecode \n"),
            std::string::npos);
  EXPECT_EQ(StreamData(image), grey);
}

TEST_F(BitmapTransfer, IgnoreBackgroundSkipsBlendsKeysAndDestinationReads) {
  SetOption(u"IgnoreBackground", 1);
  SourceBitmap source(4, 3, BMF_24BPP, 12);
  std::string pdf = PrintPage([&](SURFOBJ* so) {
    RECTL target{100, 100, 104, 103}, all{0, 0, 4, 3};
    BLENDOBJ blend{{AC_SRC_OVER, 0, 128, 0}};
    EXPECT_TRUE(Entry<PFN_DrvAlphaBlend>(INDEX_DrvAlphaBlend)(so, source.so(), nullptr, nullptr, &target,
                                                              &all, &blend));
    EXPECT_TRUE(Entry<PFN_DrvTransparentBlt>(INDEX_DrvTransparentBlt)(so, source.so(), nullptr, nullptr,
                                                                      &target, &all, 0, 0));
    EXPECT_TRUE(Entry<PFN_DrvStretchBltROP>(INDEX_DrvStretchBltROP)(so, source.so(), nullptr, nullptr,
                                                                    nullptr, nullptr, nullptr, &target, &all,
                                                                    nullptr, COLORONCOLOR, nullptr, 0x8888));
    // MERGECOPY does not read the destination: not skipped.
    EXPECT_TRUE(Entry<PFN_DrvStretchBltROP>(INDEX_DrvStretchBltROP)(so, source.so(), nullptr, nullptr,
                                                                    nullptr, nullptr, nullptr, &target, &all,
                                                                    nullptr, COLORONCOLOR, nullptr, 0xC0C0));
  });
  EXPECT_EQ(ContentOfFirstPage(pdf), std::string(kPageStart) + "q 0.96 0 0 0.72 24 816.96 cm /Im6 Do Q\n");
}

// With the engine drawing, each entry marks its target for capture.
using BitmapTransferEngine = snk::test::DriverPageTest;

TEST_F(BitmapTransferEngine, EntriesLeaveTheirTargetsToTheSurface) {
  SetOption(u"ImageCompress", 0);
  SourceBitmap source(4, 3, BMF_24BPP, 12);
  source.Fill24(0x0000FF);
  std::string pdf = PrintPage([&](SURFOBJ* so) {
    RECTL target{100, 100, 104, 103};
    POINTL origin{0, 0};
    EXPECT_TRUE(
        Entry<PFN_DrvCopyBits>(INDEX_DrvCopyBits)(so, source.so(), nullptr, nullptr, &target, &origin));
    // The box around the parallelogram (200, 100), (210, 100), (195, 120).
    POINTFIX corners[3] = {{200 * 16, 100 * 16}, {210 * 16, 100 * 16}, {195 * 16, 120 * 16}};
    RECTL all{0, 0, 4, 3};
    EXPECT_TRUE(Entry<PFN_DrvPlgBlt>(INDEX_DrvPlgBlt)(so, source.so(), nullptr, nullptr, nullptr, nullptr,
                                                      nullptr, corners, &all, nullptr, COLORONCOLOR));
    // A mirrored stretch: its target comes with the corners swapped, and
    // the dirty list takes no such rectangle, so it stays on the surface.
    RECTL mirrored{308, 100, 300, 106};
    EXPECT_TRUE(Entry<PFN_DrvStretchBlt>(INDEX_DrvStretchBlt)(so, source.so(), nullptr, nullptr, nullptr,
                                                              nullptr, nullptr, &mirrored, &all, nullptr,
                                                              COLORONCOLOR));
  });
  // Two areas at the page's end (banding would make more of them).
  EXPECT_EQ(ContentOfFirstPage(pdf),
            std::string(kPageStart) + Placement(100, 100, 104, 103, 5) + Placement(195, 100, 210, 120, 6));
}

}  // namespace
