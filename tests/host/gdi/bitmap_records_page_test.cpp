// Bitmap records played through the driver as snkprint plays them: the
// driver draws what it cannot express back through the engine onto the
// page surface (GDIPunt on, the default), and the surface shows the
// gradients, masks, parallelograms, colour keys and alpha blends.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "driver_page.h"
#include "host/gdi/driver_target.h"
#include "host/gdi/emf_player.h"
#include "host/gdi/emf_records.h"
#include "tools/sample_job/emf_writer.h"

namespace snk::gdi {
namespace {

constexpr uint32_t kRed = 0x0000FF, kBlue = 0xFF0000, kWhite = 0xFFFFFF;

class BitmapRecordsPage : public test::DriverPageTest {
 protected:
  // An A4 page whose reference pixels are the surface's 300-dpi pixels.
  static EmfWriter A4() { return EmfWriter({0, 0, 21000, 29700}, {2480, 3507}, {210, 297}); }

  // Plays `writer`'s page through the driver; `check` sees the surface
  // after the records and before the page is sent.
  std::string Print(const EmfWriter& writer, const std::function<void(SURFOBJ*)>& check) {
    const auto file = EmfFile::Parse("page.emf", writer.Finish(), nullptr);
    if (!file) {
      ADD_FAILURE() << "the page does not parse";
      return {};
    }
    return PrintJobPage([&](engine::EngineJob& job) {
      DriverTarget target(job);
      stats_ = EmfPlayer().PlayPage(*file, target);
      check(job.Surface());
    });
  }

  std::string Errors() const {
    std::string all;
    for (const auto& e : stats_.errors) all += e + "\n";
    return all;
  }

  PlayStats stats_;
};

// Channels within `tolerance` of each other.
bool Near(uint32_t a, uint32_t b, int tolerance = 3) {
  for (int shift = 0; shift < 24; shift += 8)
    if (std::abs(int(a >> shift & 0xFF) - int(b >> shift & 0xFF)) > tolerance) return false;
  return true;
}

// 8 x 8: the top half red, the bottom half blue.
EmfBitmap Halves() {
  std::vector<COLORREF> px(64);
  for (int i = 0; i < 64; ++i) px[i] = i < 32 ? kRed : kBlue;
  return EmfWriter::Dib24(8, 8, px);
}

TEST_F(BitmapRecordsPage, GradientsMasksAndParallelogramsReachTheSurface) {
  EmfWriter w = A4();
  // A horizontal gradient from red to blue over 100..200.
  const EmfVertex v[] = {{100, 100, 0xFF00, 0, 0, 0}, {200, 150, 0, 0, 0xFF00, 0}};
  const uint32_t rect[] = {0, 1};
  w.GradientFill(v, rect, GRADIENT_FILL_RECT_H);
  // A mask with its left half set: the source there, the page elsewhere.
  EmfBitmap mask;
  const COLORREF bw[] = {0, kWhite};
  mask.info = EmfWriter::BitmapInfo(8, 8, 1, 0, bw);
  for (int y = 0; y < 8; ++y) mask.bits.insert(mask.bits.end(), {std::byte{0xF0}, {}, {}, {}});
  w.MaskBlt({300, 100, 8, 8}, 0xAACC0020, 0, 0, Halves(), 0, 0, mask);
  // The bitmap stood on its side: its top row runs down the page at x 409.
  const POINTL corners[3] = {{410, 100}, {410, 108}, {402, 100}};
  w.PlgBlt(corners, {0, 0, 8, 8}, Halves());
  const std::string pdf = Print(w, [](SURFOBJ* so) {
    EXPECT_TRUE(Near(Pixel(so, 100, 120), kRed, 8)) << std::hex << Pixel(so, 100, 120);
    EXPECT_TRUE(Near(Pixel(so, 199, 120), kBlue, 8)) << std::hex << Pixel(so, 199, 120);
    EXPECT_EQ(Pixel(so, 150, 160), kWhite);
    EXPECT_EQ(Pixel(so, 301, 101), kRed);
    EXPECT_EQ(Pixel(so, 301, 106), kBlue);
    EXPECT_EQ(Pixel(so, 306, 101), kWhite);
    EXPECT_EQ(Pixel(so, 409, 104), kRed);
    EXPECT_EQ(Pixel(so, 402, 104), kBlue);
  });
  EXPECT_EQ(Errors(), "");
  EXPECT_EQ(stats_.NotPlayedTotal(), 0u);
  EXPECT_EQ(pdf.rfind("%PDF-", 0), 0u);
}

TEST_F(BitmapRecordsPage, ColourKeysAndAlphaBlendsReachTheSurface) {
  EmfWriter w = A4();
  // Blue is the key: only the red half is drawn.
  w.TransparentBlt({100, 100, 8, 8}, kBlue, {0, 0, 8, 8}, Halves());
  // Half of red over white, twice the size.
  w.AlphaBlend({200, 100, 16, 16}, 0x00800000, {0, 0, 8, 8}, Halves());
  Print(w, [](SURFOBJ* so) {
    EXPECT_EQ(Pixel(so, 101, 101), kRed);
    EXPECT_EQ(Pixel(so, 101, 106), kWhite);
    EXPECT_TRUE(Near(Pixel(so, 201, 101), 0x7F7FFF)) << std::hex << Pixel(so, 201, 101);
    EXPECT_TRUE(Near(Pixel(so, 201, 114), 0xFF7F7F)) << std::hex << Pixel(so, 201, 114);
    EXPECT_EQ(Pixel(so, 217, 101), kWhite);
  });
  EXPECT_EQ(Errors(), "");
}

}  // namespace
}  // namespace snk::gdi
