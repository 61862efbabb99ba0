// Areas the engine drew, cut from the page surface as image objects: the
// banding of the dirty list, the placement, the filters chosen for the
// data, and one page through the driver module.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "driver_page.h"
#include "graphics/graphics.h"
#include "graphics/image_object.h"
#include "host/engine/brush.h"
#include "host/engine/path.h"
#include "test_support.h"
#include "writer/document_writer.h"

// After the system's headers: it defines TRUE and FALSE as macros.
#include <jpeglib.h>

namespace {

using snk::engine::HostBrush;
using snk::engine::HostPath;
using snk::test::Object;
using snk::test::StreamData;

std::vector<std::array<LONG, 4>> Rects(const CKMC_RectList& list) {
  std::vector<std::array<LONG, 4>> out;
  for (const RECTL& r : list) out.push_back({r.left, r.top, r.right, r.bottom});
  return out;
}

CKMC_RectList ListOf(std::initializer_list<RECTL> rects) {
  CKMC_RectList list;
  for (const RECTL& r : rects) list.Add(r);
  return list;
}

TEST(ImageCaptureBands, NormalizeMergesSplitsAndFallsBack) {
  // Abutting rectangles of equal height are one run.
  CKMC_RectList abutting = ListOf({{0, 0, 10, 5}, {10, 0, 20, 5}});
  NormalizeRectList(abutting);
  EXPECT_EQ(Rects(abutting), (std::vector<std::array<LONG, 4>>{{0, 0, 20, 5}}));

  // Overlaps become bands of equal rows; a gap inside a band stays a gap.
  CKMC_RectList overlapping = ListOf({{0, 0, 10, 10}, {2, 1, 8, 4}, {5, 5, 15, 10}, {20, 0, 30, 10}});
  NormalizeRectList(overlapping);
  EXPECT_EQ(Rects(overlapping), (std::vector<std::array<LONG, 4>>{
                                    {0, 0, 10, 5}, {20, 0, 30, 5}, {0, 5, 15, 10}, {20, 5, 30, 10}}));

  // Rows without any pixel between two bands yield nothing.
  CKMC_RectList apart = ListOf({{3, 2, 6, 4}, {1, 7, 4, 9}});
  NormalizeRectList(apart);
  EXPECT_EQ(Rects(apart), (std::vector<std::array<LONG, 4>>{{3, 2, 6, 4}, {1, 7, 4, 9}}));

  // More bands than rectangles: the list stays as it was.
  CKMC_RectList stepped = ListOf({{0, 0, 10, 10}, {5, 5, 15, 15}});
  NormalizeRectList(stepped);
  EXPECT_EQ(Rects(stepped), (std::vector<std::array<LONG, 4>>{{0, 0, 10, 10}, {5, 5, 15, 15}}));
}

TEST(ImageCaptureBands, FiveHundredAreBandedMoreBecomeTheBox) {
  CKMC_RectList five;
  for (LONG i = 0; i < 500; ++i) five.Add(RECTL{i, 0, i + 1, 2});
  NormalizeRectList(five);
  EXPECT_EQ(Rects(five), (std::vector<std::array<LONG, 4>>{{0, 0, 500, 2}}));
  EXPECT_EQ(five.Capacity(), 512u);

  // 501 scattered pixels: banding would give 501 rectangles; the box is one.
  CKMC_RectList many;
  for (LONG i = 0; i < 501; ++i) many.Add(RECTL{2 * i, 3 * i, 2 * i + 1, 3 * i + 1});
  NormalizeRectList(many);
  EXPECT_EQ(Rects(many), (std::vector<std::array<LONG, 4>>{{0, 0, 1001, 1501}}));
}

TEST(ImageCaptureFilters, ChoicesBySize) {
  // A Flate layer over JPEG must save more than 20 bytes.
  EXPECT_EQ(ChooseJpegEncoding(1000, 980), ImageEncoding::kJpeg);
  EXPECT_EQ(ChooseJpegEncoding(1000, 979), ImageEncoding::kFlateOverJpeg);
  EXPECT_EQ(ChooseJpegEncoding(15, 0), ImageEncoding::kJpeg);
  // Deflated pixels only when smaller.
  EXPECT_FALSE(KeepFlate(100, 100));
  EXPECT_TRUE(KeepFlate(100, 99));
}

ImageData TrueColour(uint32_t width, uint32_t height, const std::function<uint8_t(uint32_t)>& byte) {
  ImageData image;
  image.width = width;
  image.height = height;
  image.AllocatePixels(width * height * 3);
  for (uint32_t i = 0; i < image.size; ++i) image.pixels[i] = byte(i);
  return image;
}

// Pseudo-random bytes that neither deflate nor JPEG shrink much.
uint8_t Noise(uint32_t i) {
  uint32_t x = i * 2654435761u;
  x ^= x >> 13;
  x *= 0x5bd1e995u;
  return static_cast<uint8_t>(x >> 24);
}

std::string Serialise(const ImageData& image, bool imageCompress) {
  CKMC_Stream stream;
  BuildImageStream(image, imageCompress, 2, stream);
  CKM_BinaryBuf out;
  WriteObjectBody(out, &stream);
  return std::string(out.view());
}

TEST(ImageCaptureFilters, FlateRouteWithAndWithoutFilter) {
  ImageData flat = TrueColour(40, 30, [](uint32_t i) { return static_cast<uint8_t>(i % 3 * 70); });
  std::string object = Serialise(flat, false);
  EXPECT_EQ(object.substr(0, object.find("stream\n")),
            "<<\n/BitsPerComponent 8 \n/ColorSpace 2 0 R \n/Filter /FlateDecode \n/Height 30 \n/Length " +
                std::to_string(StreamData(object).size()) +
                " \n/Subtype /Image \n/Type /XObject \n/Width 40 \n>>\n");
  EXPECT_EQ(snk::test::Inflate(StreamData(object)),
            std::string(reinterpret_cast<char*>(flat.pixels.get()), 3600));

  ImageData noisy = TrueColour(7, 5, Noise);
  object = Serialise(noisy, false);
  EXPECT_EQ(object.find("/Filter"), std::string::npos);
  EXPECT_EQ(StreamData(object), std::string(reinterpret_cast<char*>(noisy.pixels.get()), noisy.size));

  // Indexed: the palette as hexadecimal over the ICC space, and the bits.
  ImageData bilevel;
  bilevel.width = 64;
  bilevel.height = 16;
  bilevel.bits = 1;
  bilevel.AllocatePixels(8 * 16);
  for (uint32_t i = 0; i < bilevel.size; ++i) bilevel.pixels[i] = 0xF0;
  bilevel.paletteCount = 2;
  bilevel.palette.reset(new uint32_t[2]{0x000000, 0xFFFFFF});
  object = Serialise(bilevel, true);
  EXPECT_NE(object.find("/BitsPerComponent 1 \n/ColorSpace [/Indexed 2 0 R 1 <000000FFFFFF> ] \n"
                        "/Filter /FlateDecode \n"),
            std::string::npos)
      << object;
  bilevel.bits = 8;
  bilevel.width = 8;
  for (uint32_t i = 0; i < bilevel.size; ++i) bilevel.pixels[i] = Noise(i);
  bilevel.paletteCount = 3;
  bilevel.palette.reset(new uint32_t[3]{0x0000FF, 0x123456, 0xABCDEF});
  object = Serialise(bilevel, true);
  EXPECT_NE(object.find("/ColorSpace [/Indexed 2 0 R 2 <FF0000563412EFCDAB> ] \n/Height"), std::string::npos)
      << object;
}

// Decodes a JPEG to RGB bytes; empty on error.
std::vector<uint8_t> DecodeJpeg(const std::string& data, uint32_t& width, uint32_t& height) {
  jpeg_decompress_struct info{};
  jpeg_error_mgr errors{};
  info.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, reinterpret_cast<const unsigned char*>(data.data()), data.size());
  jpeg_read_header(&info, TRUE);
  info.out_color_space = JCS_RGB;
  jpeg_start_decompress(&info);
  width = info.output_width;
  height = info.output_height;
  std::vector<uint8_t> pixels(static_cast<size_t>(width) * height * 3);
  while (info.output_scanline < height) {
    JSAMPROW row = pixels.data() + static_cast<size_t>(info.output_scanline) * width * 3;
    jpeg_read_scanlines(&info, &row, 1);
  }
  jpeg_finish_decompress(&info);
  jpeg_destroy_decompress(&info);
  return pixels;
}

TEST(ImageCaptureFilters, JpegRouteKeepsColoursAndPicksItsLayer) {
  // A flat colour: the JPEG repeats itself and deflates well.
  static constexpr uint8_t kColour[3] = {200, 100, 40};
  ImageData flat = TrueColour(64, 48, [](uint32_t i) { return kColour[i % 3]; });
  std::string object = Serialise(flat, true);
  ASSERT_NE(object.find("/Filter [/FlateDecode /DCTDecode] \n"), std::string::npos) << object.substr(0, 200);
  std::string jpeg = snk::test::Inflate(StreamData(object));
  ASSERT_GT(jpeg.size(), 4u);
  uint32_t width = 0, height = 0;
  std::vector<uint8_t> decoded = DecodeJpeg(jpeg, width, height);
  ASSERT_EQ(width, 64u);
  ASSERT_EQ(height, 48u);
  for (size_t i = 0; i < decoded.size(); ++i) ASSERT_NEAR(decoded[i], kColour[i % 3], 3) << i;

  // Noise: the data is the JPEG or its deflated form as the sizes decide
  // (the deflated form wins by the JPEG's tables already).
  for (uint32_t side : {8u, 96u}) {
    ImageData noisy = TrueColour(side, side, Noise);
    CKM_ByteString jpegData, flateData;
    ASSERT_TRUE(EncodeJpeg(noisy, jpegData));
    ASSERT_TRUE(DeflateImageData(jpegData.raw_str(), jpegData.GetLength(), flateData));
    object = Serialise(noisy, true);
    if (ChooseJpegEncoding(jpegData.GetLength(), flateData.GetLength()) == ImageEncoding::kJpeg) {
      EXPECT_NE(object.find("/Filter /DCTDecode \n"), std::string::npos);
      EXPECT_EQ(StreamData(object), jpegData.view());
    } else {
      EXPECT_NE(object.find("/Filter [/FlateDecode /DCTDecode] \n"), std::string::npos);
      EXPECT_EQ(StreamData(object), flateData.view());
    }
  }
}

// The capture from a small 24-bit surface of 7 x 6 pixels, rows padded to
// 24 bytes, on a page of 1000 x 1000 pixels at 300 dpi.
class ImageCaptureSurface : public snk::test::HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    writer_.SetGeometry(CKMC_PageGeometry{1000, 1000, 72.0 / 300});
    while (writer_.ObjectCount() < 4) writer_.NewObjectNumber();
    writer_.AttachFile(CreateFileW(Path("objects").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                   FILE_ATTRIBUTE_NORMAL, nullptr));
    writer_.BeginPageContent();
    g_.StartPage();
    writer_.Content().Clear();
    for (size_t i = 0; i < bits_.size(); ++i) bits_[i] = static_cast<uint8_t>(i);
    surface_.sizlBitmap = SIZEL{7, 6};
    surface_.pvBits = surface_.pvScan0 = bits_.data();
    surface_.lDelta = 24;
    surface_.iBitmapFormat = BMF_24BPP;
  }
  void TearDown() override {
    writer_.CloseFile();
    HostTest::TearDown();
  }

  std::string Objects() {
    writer_.CloseFile();
    return snk::test::ReadFile(Dir() / "objects");
  }

  CKMC_DocumentWriter writer_;
  CKMC_GraphicsSwitches switches_{1, 0, 0};
  CKMC_Graphics g_{writer_, switches_};
  std::vector<uint8_t> bits_ = std::vector<uint8_t>(24 * 6);
  SURFOBJ surface_{};
};

TEST_F(ImageCaptureSurface, AreasBecomePlacedImagesWithinTheSurface) {
  RECTL left{2, 1, 5, 4}, right{5, 1, 9, 4};  // right reaches past the surface
  g_.Images().AddDirtyRect(left);
  g_.Images().AddDirtyRect(right);
  g_.OpenTextRun();
  g_.Images().FlushDeferredBitmaps(&surface_);
  EXPECT_EQ(g_.Images().DirtyRegion().Count(), 0);
  EXPECT_FALSE(g_.TextRunOpen());
  EXPECT_EQ(std::string(writer_.Content().view()), "q 1.2 0 0 0.72 0.48 239.04 cm /Im5 Do Q\n");
  ASSERT_EQ(writer_.PageImages().GetSize(), 1u);
  EXPECT_EQ(writer_.PageImages()[0], 5u);

  // Columns 2..6 of rows 1..3, three bytes a pixel.
  std::string pixels;
  for (int y = 1; y < 4; ++y)
    for (int x = 2 * 3; x < 7 * 3; ++x) pixels += static_cast<char>(bits_[y * 24 + x]);
  std::string objects = Objects();
  ASSERT_EQ(objects.substr(0, 8), "5 0 obj\n");
  EXPECT_NE(objects.find("/Height 3 \n"), std::string::npos);
  EXPECT_NE(objects.find("/Width 5 \n"), std::string::npos);
  std::string data = StreamData(objects);
  EXPECT_EQ(objects.find("/Filter") == std::string::npos ? data : snk::test::Inflate(data), pixels);
}

TEST_F(ImageCaptureSurface, NothingIsReadOutsideOrWithoutBits) {
  // Wholly beyond the surface (but on the page): skipped.
  RECTL beyond{7, 0, 20, 6};
  g_.Images().AddDirtyRect(beyond);
  g_.Images().FlushDeferredBitmaps(&surface_);
  // A surface without bits drops the list.
  RECTL inside{0, 0, 2, 2};
  g_.Images().AddDirtyRect(inside);
  surface_.pvScan0 = nullptr;
  g_.Images().FlushDeferredBitmaps(&surface_);
  EXPECT_EQ(g_.Images().DirtyRegion().Count(), 0);
  // A stride too short for the width, or another format, is not read.
  surface_.pvScan0 = bits_.data();
  surface_.lDelta = 20;
  g_.Images().AddDirtyRect(inside);
  g_.Images().FlushDeferredBitmaps(&surface_);
  surface_.lDelta = 24;
  surface_.iBitmapFormat = BMF_1BPP;
  g_.Images().AddDirtyRect(inside);
  g_.Images().FlushDeferredBitmaps(&surface_);
  EXPECT_EQ(g_.Images().DirtyRegion().Count(), 0);
  EXPECT_EQ(std::string(writer_.Content().view()), "");
  EXPECT_EQ(writer_.PageImages().GetSize(), 0u);
  EXPECT_EQ(writer_.ObjectCount(), 4u);
}

using ImageCaptureDriver = snk::test::DriverPageTest;

TEST_F(ImageCaptureDriver, XorFillEndsAsAnImageOfTheSurface) {
  SetOption(u"ImageCompress", 0);
  HostBrush red = HostBrush::Solid(0x0000FF);
  HostPath box;
  box.AddRectangle(RECTL{10, 20, 110, 70});
  std::string surfacePixels;
  std::string pdf = PrintPage([&](SURFOBJ* so) {
    ASSERT_NE(so->pvScan0, nullptr);
    EXPECT_TRUE(Entry<PFN_DrvFillPath>(INDEX_DrvFillPath)(so, &box.po, nullptr, &red.bo, nullptr,
                                                          R2_XORPEN | R2_XORPEN << 8, FP_ALTERNATEMODE));
    for (int y = 20; y < 70; ++y)
      surfacePixels.append(static_cast<const char*>(so->pvScan0) + y * so->lDelta + 10 * 3, 100 * 3);
  });
  // Before the page's content, the image: 100 x 50 pixels, deflated.
  std::string image = Object(pdf, 5);
  ASSERT_NE(image.find("/Subtype /Image"), std::string::npos) << image.substr(0, 300);
  EXPECT_NE(image.find("/Width 100 \n"), std::string::npos);
  EXPECT_NE(image.find("/Height 50 \n"), std::string::npos);
  EXPECT_NE(image.find("/Filter /FlateDecode \n"), std::string::npos);
  std::string pixels = snk::test::Inflate(StreamData(image));
  ASSERT_EQ(pixels.size(), surfacePixels.size());
  EXPECT_EQ(pixels, surfacePixels);
  EXPECT_EQ(pixels.substr(3 * 150, 3), std::string("\x00\xFF\xFF", 3));  // white XOR red

  std::string content = Object(pdf, 6);
  EXPECT_EQ(snk::test::Inflate(StreamData(content)), "/CS1 cs /CS1 CS q 24 0 0 12 2.4 824.88 cm /Im5 Do Q\n");
  EXPECT_NE(Object(pdf, 7).find("/XObject <</Im5 5 0 R >>"), std::string::npos);
}

}  // namespace
