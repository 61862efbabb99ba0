// The page's text block, glyph by glyph: the exact operators of a block,
// the pen model that spares position operators, and the string escapes.
// Page: 300 dpi (0.24 points a pixel), 3507 pixels high.
#include "fonts/text_output.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "fonts/font.h"

namespace {

// A font whose characters are scripted: by default the code is the
// character's low byte, one byte long, in subfont 5, half an em wide.
class ScriptedFont : public CKMC_Font {
 public:
  using CKMC_Font::CKMC_Font;

  void InitCharsets(const IFIMETRICS&) override {}
  CKMC_MappedCharacter MapCharacter(uint16_t unicode, HGLYPH, bool vertical) override {
    verticalAsked.push_back(vertical);
    if (auto it = script.find(unicode); it != script.end()) return it->second;
    return CKMC_MappedCharacter{static_cast<uint32_t>(unicode & 0xFF), 1, 5, 500};
  }
  void WriteFont() override {}
  void WriteDescriptor(uint32_t, int32_t) override {}

  std::map<uint16_t, CKMC_MappedCharacter> script;
  std::vector<bool> verticalAsked;
};

class TextBlock : public ::testing::Test {
 protected:
  void SetUp() override {
    text_.scale = 0.24;
    text_.height = 3507;
    style_.font = &font_;
    style_.matrix = CKMC_TextMatrix{12, 0, 0, 12};  // 12 points, upright
    style_.size = 1;
  }

  // The block as FlushText writes it.
  std::string Flushed() {
    CKM_BinaryBuf out;
    text_.FlushText(out);
    return std::string(out.view());
  }

  CKMC_DocumentWriter writer_;
  ScriptedFont font_{writer_};
  CKMC_TextObject text_;
  CKMC_GlyphStyle style_;
};

// The first glyph at (100, 200): 24 points right, 793.68 up, which is
// (2, 66.14) in a 12-point text space.
constexpr char kFirstGlyph[] = "12 0 0 12 0 0 Tm /F5 1 Tf 0 0 0 sc 0 0 0 SC 0 Tr 2 66.14 TD [(A";

TEST_F(TextBlock, GlyphsAtTheirNaturalPlacesNeedNoPositionOperators) {
  EXPECT_EQ(text_.EmitGlyph(style_, u'A', 36, 100, 200), 5u);
  EXPECT_EQ(text_.state, CKMC_TextObject::kInArray);
  // Half an em at 12 points is 25 pixels: B lands where the pen stands.
  font_.script[u'B'] = CKMC_MappedCharacter{'B', 1, 5, 505};
  text_.EmitGlyph(style_, u'B', 37, 125, 200);
  // A drift below half a pixel (B was 0.005 em wider than its place) is
  // let go; the pen keeps its own count.
  text_.EmitGlyph(style_, u'C', 38, 150, 200);
  // Then 0.195 em further than the pen: -195 thousandths.
  text_.EmitGlyph(style_, u'D', 39, 185, 200);
  EXPECT_EQ(Flushed(), std::string("BT ") + kFirstGlyph + "BC)-195(D)]TJ ET\n");

  // Nothing left: a second flush writes nothing, and the next glyph opens
  // a block with font, colour and render mode again (no " Tm " for the
  // identity matrix that a block starts with).
  EXPECT_EQ(Flushed(), "");
  style_.matrix = CKMC_TextMatrix{};
  style_.size = 12;
  text_.EmitGlyph(style_, u'E', 40, 100, 200);
  EXPECT_EQ(Flushed(), "BT /F5 12 Tf 0 0 0 sc 0 0 0 SC 0 Tr 24 793.68 TD [(E)]TJ ET\n");
}

TEST_F(TextBlock, ChangesOfColourFontAndRenderModeCloseTheArray) {
  text_.EmitGlyph(style_, u'A', 36, 100, 200);
  style_.color = 0x0000FF;  // red
  text_.EmitGlyph(style_, u'B', 37, 125, 200);
  font_.script[u'C'] = CKMC_MappedCharacter{'C', 1, 6, 500};
  font_.script[u'D'] = CKMC_MappedCharacter{'D', 1, 6, 500};
  text_.EmitGlyph(style_, u'C', 38, 150, 200);
  style_.boldWidth = 0.24;
  text_.EmitGlyph(style_, u'D', 39, 175, 200);
  // Each change leaves the array closed, so the glyph after it starts a
  // fresh one at its offset from the last " TD ". The close that takes the
  // block past 100 bytes is followed by a line feed.
  EXPECT_EQ(Flushed(), std::string("BT ") + kFirstGlyph +
                           ")]TJ 1 0 0 sc 1 0 0 SC 0.5 0 TD [(B"
                           ")]TJ \n/F6 1 Tf 0.5 0 TD [(C"
                           ")]TJ 2 Tr 0.5 0 TD [(D)]TJ ET\n");
}

TEST_F(TextBlock, ANewMatrixRestartsThePenAndANewLineStartsAnArray) {
  text_.EmitGlyph(style_, u'A', 36, 100, 200);
  text_.EmitGlyph(style_, u'B', 37, 100, 250);  // the next line: 1 em lower
  style_.matrix = CKMC_TextMatrix{0, 12, -12, 0};
  text_.EmitGlyph(style_, u'C', 38, 100, 200);
  EXPECT_EQ(Flushed(), std::string("BT ") + kFirstGlyph + ")]TJ 0 -1 TD [(B" +
                           ")]TJ 0 12 -12 0 0 0 Tm 66.14 -2 TD [(C)]TJ ET\n");
}

TEST_F(TextBlock, AGothicFaceWritesItsGapsUnsigned) {
  style_.gothic = true;
  text_.EmitGlyph(style_, u'A', 36, 100, 200);
  text_.EmitGlyph(style_, u'B', 37, 135, 200);  // 10 pixels of gap
  text_.EmitGlyph(style_, u'C', 38, 150, 200);  // 10 pixels of overlap
  EXPECT_EQ(Flushed(), std::string("BT ") + kFirstGlyph + ")200(B)200(C)]TJ ET\n");
}

TEST_F(TextBlock, VerticalGlyphsStepOneUnitDownWhateverTheirWidth) {
  font_.ascent = 880;
  font_.descent = -120;
  style_.vertical = true;
  style_.matrix = CKMC_TextMatrix{0, 12, -12, 0};
  text_.EmitGlyph(style_, 0x4E00, 1, 500, 1000);
  text_.EmitGlyph(style_, 0x4E01, 2, 550, 1000);  // one em on: where the pen is
  text_.EmitGlyph(style_, 0x4E02, 3, 610, 1000);  // ten pixels more
  EXPECT_EQ(font_.verticalAsked, (std::vector<bool>{true, true, true}));
  // The line hangs (880 + 120) / 2 - 120 thousandths off the glyph origin;
  // the extra step is a TJ number, signed as it comes.
  EXPECT_EQ(
      Flushed(),
      "BT 0 12 -12 0 0 0 Tm /F5 1 Tf 0 0 0 sc 0 0 0 SC 0 Tr 50.52 -10 TD [(\\000\\001)200(\\002)]TJ ET\n");
}

TEST_F(TextBlock, CodesAreEscapedByteByByteInMemoryOrder) {
  font_.script[1] = CKMC_MappedCharacter{0x7F, 1, 5, 0};
  font_.script[2] = CKMC_MappedCharacter{'(', 1, 5, 0};
  // Two-byte codes come swapped: 0x2941 stands for the code 0x4129.
  font_.script[3] = CKMC_MappedCharacter{0x2941, 2, 5, 0};
  font_.script[4] = CKMC_MappedCharacter{0x0A5C, 2, 5, 0};
  font_.script[5] = CKMC_MappedCharacter{0x00FF, 2, 5, 0};
  for (uint16_t c = 1; c <= 5; ++c) text_.EmitGlyph(style_, c, c, 100, 200);
  std::string block = Flushed();
  EXPECT_EQ(block.substr(block.find("TD [(") + 5),
            std::string("\x7F\\050A\\051\\134\\012\xFF\\000)]TJ ET\n"));
}

TEST_F(TextBlock, AnUnmappableCharacterLeavesEverythingAsItWas) {
  font_.script[u'?'] = CKMC_MappedCharacter{0x3F, 0, 5, 500};
  style_.color = 0x00FF00;
  EXPECT_EQ(text_.EmitGlyph(style_, u'?', 34, 100, 200), 0u);
  EXPECT_TRUE(text_.IsEmpty());
  EXPECT_EQ(text_.state, CKMC_TextObject::kOutside);
  EXPECT_EQ(text_.matrix, CKMC_TextMatrix{});
  EXPECT_EQ(text_.color, 0u);
}

}  // namespace
