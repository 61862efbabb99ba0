// The drawing entries of the driver module, called as the engine calls
// them on an A4 page at 300 dpi (2480 x 3507 pixels, 841.68 points high):
// the page's content stream, and what the engine drew on the surface.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "driver_page.h"
#include "host/engine/brush.h"
#include "host/engine/clip.h"
#include "host/engine/path.h"
#include "host/engine/region.h"
#include "host/engine/xform.h"

namespace {

using snk::engine::HostBrush;
using snk::engine::HostClip;
using snk::engine::HostPath;
using snk::engine::HostXform;
using snk::engine::Region;

constexpr char kPageStart[] = "/CS1 cs /CS1 CS ";
// The rectangle (10, 20) - (110, 70) in pixels.
constexpr char kBoxMapped[] = "2.4 836.88 m 26.4 836.88 l 26.4 824.88 l 2.4 824.88 l h ";

class DrawingEntries : public snk::test::DriverPageTest {
 protected:
  void SetUp() override {
    DriverPageTest::SetUp();
    box_.AddRectangle(RECTL{10, 20, 110, 70});
  }

  // Prints one page drawn by `draw` and returns its content stream.
  std::string Page(const std::function<void(SURFOBJ*)>& draw) {
    return snk::test::ContentOfFirstPage(PrintPage(draw));
  }

  HostPath box_;
};

TEST_F(DrawingEntries, FillAndLineAreWrittenAndDrawnByTheEngine) {
  HostBrush red = HostBrush::Solid(0x0000FF);
  HostBrush blue = HostBrush::Solid(0xFF0000);
  uint32_t inside = 0, onLine = 0;
  std::string content = Page([&](SURFOBJ* so) {
    EXPECT_TRUE(Entry<PFN_DrvFillPath>(INDEX_DrvFillPath)(so, &box_.po, nullptr, &red.bo, nullptr, 0x0D0D,
                                                          FP_ALTERNATEMODE));
    RECTL bounds{0, 0, 11, 1};
    EXPECT_TRUE(
        Entry<PFN_DrvLineTo>(INDEX_DrvLineTo)(so, nullptr, &blue.bo, 0, 0, 10, 0, &bounds, R2_COPYPEN));
    inside = Pixel(so, 50, 40);
    onLine = Pixel(so, 5, 0);
  });
  EXPECT_EQ(content, std::string(kPageStart) + "0.24 w [] 0 d 1 0 0 sc " + kBoxMapped +
                         "f* \n0 0 1 SC 0.12 841.56 m 2.52 841.56 l S ");
  EXPECT_EQ(inside, 0x0000FFu);
  EXPECT_EQ(onLine, 0xFF0000u);
}

TEST_F(DrawingEntries, StrokeWithTransformAndClipUntilPageEnd) {
  HostBrush black = HostBrush::Solid(0);
  HostXform twice(2, 0, 0, 2, 0, 0);
  LINEATTRS line{};
  line.fl = LA_GEOMETRIC;
  line.elWidth.e = 1.5f;
  line.iJoin = JOIN_MITER;
  line.eMiterLimit = 4;
  std::string content = Page([&](SURFOBJ* so) {
    HostClip clip(Region(RECTL{0, 0, 50, 50}), nullptr, 5);
    EXPECT_TRUE(Entry<PFN_DrvStrokePath>(INDEX_DrvStrokePath)(so, &box_.po, &clip.co, &twice.xo, &black.bo,
                                                              nullptr, &line, 0x0D0D));
  });
  EXPECT_EQ(content, std::string(kPageStart) +
                         "q 0 829.68 12 12 re W* n 0 841.68 m 12 841.68 l 12 829.68 l 0 829.68 l h W* n\n"
                         "q 0.24 0 0 -0.24 0 841.68 cm 3 w 3 w 1 J 0 j 4 M [] 0 d 0 0 0 SC "
                         "10 20 m 110 20 l 110 70 l 10 70 l h S Q \nQ ");
}

TEST_F(DrawingEntries, BlitsPaintSolidRectanglesAndLeavePatternsToTheEngine) {
  HostBrush green = HostBrush::Solid(0x00FF00);
  HostBrush hatch = HostBrush::Hatch(snk::engine::HS_CROSS, 0x0000FF, 0xFFFFFF);
  HostBrush blue = HostBrush::Solid(0xFF0000);
  uint32_t hatched = 0;  // red pixels of the hatch
  std::string content = Page([&](SURFOBJ* so) {
    auto blt = Entry<PFN_DrvBitBlt>(INDEX_DrvBitBlt);
    RECTL target{100, 200, 700, 250};
    EXPECT_TRUE(
        blt(so, nullptr, nullptr, nullptr, nullptr, &target, nullptr, nullptr, &green.bo, nullptr, 0xF0F0));
    // A pattern is drawn by the engine only; its colour word becomes the
    // last fill colour, which a mask-pen fill then paints with.
    RECTL patterned{0, 300, 40, 340};
    EXPECT_TRUE(blt(so, nullptr, nullptr, nullptr, nullptr, &patterned, nullptr, nullptr, &hatch.bo, nullptr,
                    0xF0F0));
    for (int y = 300; y < 340; ++y)
      for (int x = 0; x < 40; ++x) hatched += Pixel(so, x, y) == 0x0000FF;
    EXPECT_TRUE(Entry<PFN_DrvFillPath>(INDEX_DrvFillPath)(so, &box_.po, nullptr, &blue.bo, nullptr, 0x0909,
                                                          FP_WINDINGMODE));
  });
  // The hatch comes out as an image cut from the surface before the fill.
  EXPECT_EQ(content, std::string(kPageStart) + "0 1 0 sc 24 781.68 144 12 re f\n" +
                         "q 9.6 0 0 9.6 0 760.08 cm /Im5 Do Q\n" + "0.24 w [] 0 d 1 1 1 sc " + kBoxMapped +
                         "f \n");
  EXPECT_GT(hatched, 40u);
}

TEST_F(DrawingEntries, IgnoreBackgroundSkipsWhatReadsThePage) {
  SetOption(u"IgnoreBackground", 1);
  HostBrush red = HostBrush::Solid(0x0000FF);
  uint32_t afterXor = 0, afterInvert = 0;
  std::string content = Page([&](SURFOBJ* so) {
    EXPECT_TRUE(Entry<PFN_DrvFillPath>(INDEX_DrvFillPath)(so, &box_.po, nullptr, &red.bo, nullptr,
                                                          R2_XORPEN | R2_XORPEN << 8, FP_ALTERNATEMODE));
    afterXor = Pixel(so, 50, 40);
    auto blt = Entry<PFN_DrvBitBlt>(INDEX_DrvBitBlt);
    RECTL target{0, 0, 20, 20};
    EXPECT_TRUE(
        blt(so, nullptr, nullptr, nullptr, nullptr, &target, nullptr, nullptr, nullptr, nullptr, 0x5555));
    afterInvert = Pixel(so, 5, 5);
    // A pattern copy does not read the page and is drawn.
    EXPECT_TRUE(
        blt(so, nullptr, nullptr, nullptr, nullptr, &target, nullptr, nullptr, &red.bo, nullptr, 0xF0F0));
  });
  EXPECT_EQ(afterXor, 0xFFFFFFu);
  EXPECT_EQ(afterInvert, 0xFFFFFFu);
  EXPECT_EQ(content, std::string(kPageStart) + "1 0 0 sc 0 836.88 4.8 4.8 re f\n");
}

TEST_F(DrawingEntries, WithoutTheEngineInexpressibleDrawingIsLost) {
  SetOption(u"GDIPunt", 0);
  HostBrush red = HostBrush::Solid(0x0000FF);
  std::string content = Page([&](SURFOBJ* so) {
    EXPECT_EQ(so->pvBits, nullptr);  // a device surface
    auto fill = Entry<PFN_DrvFillPath>(INDEX_DrvFillPath);
    EXPECT_TRUE(fill(so, &box_.po, nullptr, &red.bo, nullptr, R2_XORPEN | R2_XORPEN << 8, FP_ALTERNATEMODE));
    EXPECT_TRUE(fill(so, &box_.po, nullptr, &red.bo, nullptr, 0x0D0D, 0));
    // Without source and mask the rectangle is still painted.
    RECTL target{0, 0, 20, 20};
    EXPECT_TRUE(Entry<PFN_DrvBitBlt>(INDEX_DrvBitBlt)(so, nullptr, nullptr, nullptr, nullptr, &target,
                                                      nullptr, nullptr, nullptr, nullptr, 0x0000));
  });
  EXPECT_EQ(content, std::string(kPageStart) + "0.24 w [] 0 d 1 0 0 sc " + kBoxMapped +
                         "n \n0 0 0 sc 0 836.88 4.8 4.8 re f\n");
}

}  // namespace
