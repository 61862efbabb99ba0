// Font descriptors: the scaling of the face's metrics and the exact
// /FontDescriptor of a not-embedded font.
#include <gtest/gtest.h>

#include "font_fixtures.h"
#include "fonts/subfonts.h"
#include "services/core_module.h"

namespace {

class Descriptors : public snk::test::WriterTest {
 protected:
  void SetUp() override {
    WriterTest::SetUp();
    CKMC_CoreModule::Shutdown();
  }
  CKMC_UnicodeFont font_{writer_};
  snk::test::IfiBlock ifi_;
};

TEST_F(Descriptors, ValuesScaleWithHalfAnEmAddedAndTruncateTowardZero) {
  ifi_.metrics.rclFontBox = RECTL{-200, 900, 1000, -300};
  ifi_.metrics.fwdTypoAscender = 750;
  ifi_.metrics.fwdTypoDescender = -250;
  ifi_.metrics.fwdCapHeight = 699;
  ifi_.metrics.lItalicAngle = -120;
  font_.SetMetrics(ifi_.Build());
  EXPECT_EQ(font_.bboxLeft, -199);  // (500 - 200000) / 1000
  EXPECT_EQ(font_.bboxBottom, -299);
  EXPECT_EQ(font_.bboxRight, 1000);
  EXPECT_EQ(font_.bboxTop, 900);
  EXPECT_EQ(font_.descent, -249);
  EXPECT_EQ(font_.capHeight, 699);
  EXPECT_EQ(font_.italicAngle, -120);  // as the system gives it
  EXPECT_EQ(font_.stemV, 80);          // weight 400

  ifi_.metrics.fwdUnitsPerEm = 2048;
  ifi_.metrics.rclFontBox.left = -200;
  ifi_.metrics.fwdTypoAscender = 1901;
  ifi_.metrics.usWinWeight = 700;
  font_.SetMetrics(ifi_.Build());
  EXPECT_EQ(font_.bboxLeft, -97);  // (1024 - 200000) / 2048
  EXPECT_EQ(font_.ascent, 928);    // (1024 + 1901000) / 2048 = 928.7
  EXPECT_EQ(font_.unitsPerEm, 2048);
  EXPECT_EQ(font_.stemV, 140);

  ifi_.metrics.fwdUnitsPerEm = 0;  // a broken face scales nothing, and divides by nothing
  font_.SetMetrics(ifi_.Build());
  EXPECT_EQ(font_.ascent, 0);
}

TEST_F(Descriptors, FlagsComeFromCharsetPitchFamilyAndItalic) {
  struct Case {
    uint8_t charset, pitchAndFamily;
    uint16_t selection;
    uint32_t flags;
  } cases[] = {
      {0, 0x00, 0, 0x20}, {2, 0x00, 0, 0x04}, {0, 0x11, 0, 0x23}, {0, 0x22, 0, 0x20},
      {0, 0x30, 0, 0x21}, {0, 0x40, 1, 0x68}, {2, 0x51, 0, 0x05}, {0, 0x12, FM_SEL_BOLD, 0x22},
  };
  for (const Case& c : cases) {
    ifi_.metrics.jWinCharSet = c.charset;
    ifi_.metrics.jWinPitchAndFamily = c.pitchAndFamily;
    ifi_.metrics.fsSelection = c.selection;
    font_.SetMetrics(ifi_.Build());
    EXPECT_EQ(font_.flags, c.flags) << int(c.charset) << " " << int(c.pitchAndFamily);
  }
}

TEST_F(Descriptors, TheDictionaryPutsBottomSecondInTheBoxAndWritesMissingWidthOnlyWhenSet) {
  ifi_.metrics.rclFontBox = RECTL{-10, 800, 900, -200};
  ifi_.metrics.fwdTypoAscender = 780;
  ifi_.metrics.fwdTypoDescender = -220;
  ifi_.metrics.fwdCapHeight = 700;
  ifi_.metrics.fsType = 2;
  font_.SetMetrics(ifi_.Build());  // the negative values lose their half unit toward zero
  font_.SetName("Tiny Sans#1");
  font_.WriteDescriptor(7, 0);
  font_.WriteDescriptor(8, 612);
  EXPECT_EQ(font_.fsType, 2u);
  EXPECT_EQ(Objects(),
            "7 0 obj\n<<\n/Ascent 780 \n/CapHeight 700 \n/Descent -219 \n/Flags 32 \n"
            "/FontBBox [-9 -199 900 800] \n/FontName /Tiny#20Sans#231 \n/ItalicAngle 0 \n/StemV 80 \n"
            "/Type /FontDescriptor \n>>\nendobj\n"
            "8 0 obj\n<<\n/Ascent 780 \n/CapHeight 700 \n/Descent -219 \n/Flags 32 \n"
            "/FontBBox [-9 -199 900 800] \n/FontName /Tiny#20Sans#231 \n/ItalicAngle 0 \n"
            "/MissingWidth 612 \n/StemV 80 \n/Type /FontDescriptor \n>>\nendobj\n");
}

TEST_F(Descriptors, GothicFacesAlwaysHaveMissingWidth500) {
  for (const char* name : {"MS Gothic", "MSP Gothic", "MS-Gothic", "MSP-Gothic", "MS Mincho", "ms gothic"}) {
    font_.SetName(name);
    bool gothic = std::string(name).find("Gothic") != std::string::npos;
    EXPECT_EQ(font_.IsGothic(), gothic) << name;
  }
  font_.SetName("MSP-Gothic");
  font_.WriteDescriptor(5, 0);
  font_.WriteDescriptor(6, 1000);
  std::string objects = Objects();
  size_t first = objects.find("/MissingWidth 500 ");
  ASSERT_NE(first, std::string::npos);
  EXPECT_NE(objects.find("/MissingWidth 500 ", first + 1), std::string::npos);
  EXPECT_EQ(objects.find("/MissingWidth 1000"), std::string::npos);
}

}  // namespace
