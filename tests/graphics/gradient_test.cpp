// Gradient fills on an A4 page at 300 dpi (2480 x 3507 pixels, 841.68
// points high): the shading object and its 8-bit vertex stream while the
// engine does not draw, the area left to the surface while it does, and
// the meshes that cannot be written.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "driver_page.h"
#include "test_support.h"

namespace {

using snk::test::ContentOfFirstPage;
using snk::test::Object;
using snk::test::StreamData;

constexpr char kPageStart[] = "/CS1 cs /CS1 CS ";

std::string Bytes(std::initializer_list<int> values) {
  std::string out;
  for (int v : values) out += static_cast<char>(v);
  return out;
}

class Gradients : public snk::test::DriverPageTest {
 protected:
  void SetUp() override {
    DriverPageTest::SetUp();
    SetOption(u"GDIPunt", 0);
  }

  BOOL Fill(SURFOBJ* so, std::vector<TRIVERTEX> vertices, const void* mesh, ULONG count, RECTL extents,
            ULONG mode) {
    return Entry<PFN_DrvGradientFill>(INDEX_DrvGradientFill)(
        so, nullptr, nullptr, vertices.data(), static_cast<ULONG>(vertices.size()), const_cast<void*>(mesh),
        count, &extents, nullptr, mode);
  }
};

TEST_F(Gradients, RectangleBecomesTwoTrianglesOfTheShading) {
  // Upper left at the left and top of the extents, lower right at their
  // right and bottom; 16-bit components keep their high byte.
  std::vector<TRIVERTEX> v = {{100, 200, 0xFF00, 0x80FF, 0x0012, 0}, {300, 260, 0x0000, 0x1234, 0xFFFF, 0}};
  GRADIENT_RECT rect{0, 1};
  std::string pdf = PrintPage([&](SURFOBJ* so) {
    EXPECT_TRUE(Fill(so, v, &rect, 1, {100, 200, 300, 260}, 0));
  });
  EXPECT_EQ(ContentOfFirstPage(pdf),
            std::string(kPageStart) + "q 0.24 0 0 -0.24 24 793.68 cm  BX /Sh5 sh EX Q \n");
  std::string shading = Object(pdf, 5);
  std::string data = StreamData(shading);
  EXPECT_EQ(shading,
            "5 0 obj\n<<\n/BitsPerComponent 8 \n/BitsPerCoordinate 8 \n/BitsPerFlag 8 \n"
            "/ColorSpace 2 0 R \n/Decode [0 200 0 60 0 1 0 1 0 1] \n/Filter /FlateDecode \n/Length " +
                std::to_string(data.size()) + " \n/ShadingType 4 \n>>\nstream\n" + data + "\nendstream\n");
  // (UL.x, UL.y) and (UL.x, LR.y) in UL's colour, (LR.x, UL.y) and
  // (LR.x, LR.y) in LR's; the last one continues the first triangle.
  EXPECT_EQ(snk::test::Inflate(data), Bytes({0, 0,   0, 0xFF, 0x80, 0x00, 0, 0,   255, 0xFF, 0x80, 0x00,  //
                                             0, 255, 0, 0x00, 0x12, 0xFF, 1, 255, 255, 0x00, 0x12, 0xFF}));
  EXPECT_NE(pdf.find("/Shading <</Sh5 5 0 R >>"), std::string::npos);
}

TEST_F(Gradients, VerticalRectanglesAndTrianglesAndPositionsInBetween) {
  // Extents 0..10 wide and 0..3 high: x 4 is 4 * 255 / 10 = 102, y 1 is 85;
  // a vertex left of the extents wraps in its byte.
  std::vector<TRIVERTEX> v = {{4, 1, 0x1100, 0x2200, 0x3300, 0},
                              {10, 3, 0xAA00, 0xBB00, 0xCC00, 0},
                              {-1, 0, 0x0100, 0x0200, 0x0300, 0}};
  GRADIENT_RECT rect{0, 1};
  GRADIENT_TRIANGLE triangle{2, 0, 1};
  std::string pdf = PrintPage([&](SURFOBJ* so) {
    EXPECT_TRUE(Fill(so, v, &rect, 1, {0, 0, 10, 3}, GRADIENT_FILL_RECT_V));
    EXPECT_TRUE(Fill(so, v, &triangle, 1, {0, 0, 10, 3}, GRADIENT_FILL_TRIANGLE));
    // Another mode writes nothing.
    EXPECT_TRUE(Fill(so, v, &triangle, 1, {0, 0, 10, 3}, 3));
  });
  EXPECT_EQ(snk::test::Inflate(StreamData(Object(pdf, 5))),
            Bytes({0, 102, 85, 0x11, 0x22, 0x33, 0, 102, 255, 0xAA, 0xBB, 0xCC,  //
                   0, 255, 85, 0x11, 0x22, 0x33, 1, 255, 255, 0xAA, 0xBB, 0xCC}));
  EXPECT_EQ(
      snk::test::Inflate(StreamData(Object(pdf, 6))),
      Bytes({0, 231, 0, 0x01, 0x02, 0x03, 0, 102, 85, 0x11, 0x22, 0x33, 0, 255, 255, 0xAA, 0xBB, 0xCC}));
  EXPECT_EQ(ContentOfFirstPage(pdf), std::string(kPageStart) +
                                         "q 0.24 0 0 -0.24 0 841.68 cm  BX /Sh5 sh EX Q \n"
                                         "q 0.24 0 0 -0.24 0 841.68 cm  BX /Sh6 sh EX Q \n");
  EXPECT_EQ(Object(pdf, 7).find("/ShadingType"), std::string::npos);
}

TEST_F(Gradients, ManyRectanglesGrowTheStreamWithoutAGap) {
  // 171 rectangles are 4104 bytes: the buffer grows past 1024 four times.
  std::vector<TRIVERTEX> v;
  std::vector<GRADIENT_RECT> rects;
  for (int i = 0; i < 171; ++i) {
    v.push_back({i, 0, static_cast<USHORT>(i << 8), 0, 0, 0});
    v.push_back({i + 1, 171, 0, static_cast<USHORT>(i << 8), 0, 0});
    rects.push_back({static_cast<ULONG>(2 * i), static_cast<ULONG>(2 * i + 1)});
  }
  std::string pdf = PrintPage([&](SURFOBJ* so) {
    EXPECT_TRUE(Fill(so, v, rects.data(), 171, {0, 0, 171, 171}, GRADIENT_FILL_RECT_H));
  });
  std::string stream = snk::test::Inflate(StreamData(Object(pdf, 5)));
  ASSERT_EQ(stream.size(), 4104u);
  for (int i = 0; i < 171; ++i) {
    const int left = i * 255 / 171, right = (i + 1) * 255 / 171;
    ASSERT_EQ(stream.substr(i * 24, 24), Bytes({0, left,  0, i, 0, 0, 0, left,  255, i, 0, 0,  //
                                                0, right, 0, 0, i, 0, 1, right, 255, 0, i, 0}))
        << i;
  }
}

TEST_F(Gradients, MeshesThatCannotBeWrittenFailTheCall) {
  std::vector<TRIVERTEX> v = {{0, 0, 0, 0, 0, 0}, {10, 10, 0xFF00, 0xFF00, 0xFF00, 0}};
  GRADIENT_RECT rect{0, 1}, beyond{0, 2};
  GRADIENT_TRIANGLE triangle{0, 1, 7};
  std::string pdf = PrintPage([&](SURFOBJ* so) {
    // An extent without width or height cannot scale the positions.
    EXPECT_FALSE(Fill(so, v, &rect, 1, {5, 5, 5, 20}, GRADIENT_FILL_RECT_H));
    EXPECT_FALSE(Fill(so, v, &rect, 1, {5, 5, 20, 5}, GRADIENT_FILL_RECT_V));
    // Indices past the vertices.
    EXPECT_FALSE(Fill(so, v, &beyond, 1, {0, 0, 10, 10}, GRADIENT_FILL_RECT_H));
    EXPECT_FALSE(Fill(so, v, &triangle, 1, {0, 0, 10, 10}, GRADIENT_FILL_TRIANGLE));
    // No mesh: an empty shading is written, whatever the extent.
    EXPECT_TRUE(Fill(so, v, &rect, 0, {5, 5, 5, 5}, GRADIENT_FILL_RECT_H));
  });
  EXPECT_EQ(boxes_.size(), 4u);
  std::string shading = Object(pdf, 5);
  EXPECT_NE(shading.find("/Decode [0 0 0 0 0 1 0 1 0 1] \n"), std::string::npos) << shading;
  EXPECT_EQ(snk::test::Inflate(StreamData(shading)), "");
  EXPECT_EQ(ContentOfFirstPage(pdf),
            std::string(kPageStart) + "q 0.24 0 0 -0.24 1.2 840.48 cm  BX /Sh5 sh EX Q \n");
}

TEST_F(Gradients, IgnoreBackgroundLeavesThemOutInBothModes) {
  SetOption(u"IgnoreBackground", 1);
  std::vector<TRIVERTEX> v = {{0, 0, 0, 0, 0, 0}, {10, 10, 0xFF00, 0, 0, 0}};
  GRADIENT_RECT rect{0, 1};
  for (DWORD punt : {0u, 1u}) {
    SetOption(u"GDIPunt", punt);
    uint32_t pixel = 0;
    std::string pdf = PrintPage([&](SURFOBJ* so) {
      EXPECT_TRUE(Fill(so, v, &rect, 1, {0, 0, 10, 10}, GRADIENT_FILL_RECT_H));
      pixel = Pixel(so, 9, 5);
    });
    EXPECT_EQ(ContentOfFirstPage(pdf), kPageStart) << punt;
    EXPECT_EQ(pdf.find("/ShadingType"), std::string::npos);
    EXPECT_EQ(pixel, punt ? 0xFFFFFFu : 0xFFFFFFFFu);  // white, or no surface bits
  }
}

TEST_F(Gradients, WithTheEngineTheExtentsBecomeAnImage) {
  SetOption(u"GDIPunt", 1);
  SetOption(u"ImageCompress", 0);
  std::vector<TRIVERTEX> v = {{100, 200, 0, 0, 0, 0}, {300, 260, 0xFF00, 0xFF00, 0xFF00, 0}};
  GRADIENT_RECT rect{0, 1};
  std::string pdf = PrintPage([&](SURFOBJ* so) {
    EXPECT_TRUE(Fill(so, v, &rect, 1, {100, 200, 300, 260}, 0));
  });
  EXPECT_EQ(ContentOfFirstPage(pdf), std::string(kPageStart) + "q 48 0 0 14.4 24 779.28 cm /Im5 Do Q\n");
  EXPECT_EQ(pdf.find("/ShadingType"), std::string::npos);
}

}  // namespace
