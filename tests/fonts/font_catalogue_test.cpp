// The font catalogue: names and keys of the document's fonts, the glyph set
// copy and its checks, the face chosen in a collection, and the fallback
// when a face cannot be embedded; with hand-made blocks and with fonts
// realized by the host.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "driver/print_job.h"
#include "font_fixtures.h"
#include "fonts/embedded_font.h"
#include "fonts/font.h"
#include "fonts/subfonts.h"
#include "host/fonts/host_font.h"
#include "services/core_module.h"

namespace {

using snk::test::GlyphSetBlock;
using snk::test::TinyFace;

TEST(FontNames, TheAlternateNameStandsOnlyWithoutEmbeddingOrForNSimSun) {
  struct Case {
    std::u16string_view face, alternate;
    uint32_t embed;
    bool even;
    std::u16string_view kept;
  } cases[] = {
      {u"Liberation Sans", u"LiberationSans", 0, false, u"LiberationSans"},
      {u"Liberation Sans Bold", u"LiberationSans", 0, false, u"LiberationSans Bold"},
      {u"Foo BOLD Italic", u"FooPS", 0, false, u"FooPS Bold Italic"},
      {u"Foo Bold", u"Foo-Bold", 0, false, u"Foo-Bold"},  // the alternate has its style already
      {u"Liberation Sans Bold", u"LiberationSans", 2, false, u"Liberation Sans Bold"},
      {u"SimSun Bold", u"NSimSun", 2, false, u"NSimSun Bold"},
      {u"SimSun", u"NSimSun", 3, false, u"NSimSun"},
      {u"Foo Bold", u"", 0, false, u"Foo Bold"},
      // Without an alternate the style test still runs where the font is
      // prepared: the name is then the style alone.
      {u"Foo Bold", u"", 0, true, u" Bold"},
      {u"Foo", u"", 0, true, u"Foo"},
      {u"Foo Bold", u"", 2, true, u"Foo Bold"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(KeptFaceName(c.face, c.alternate, c.embed, c.even), c.kept)
        << CKM_WideString(c.face).ToUTF8() << " / " << CKM_WideString(c.alternate).ToUTF8();
}

class GlyphSets : public ::testing::Test {
 protected:
  CKMC_DocumentWriter writer_;
  CKMC_UnicodeFont font_{writer_};
};

TEST_F(GlyphSets, RunsWithAndWithoutHandlesMapBothWays) {
  GlyphSetBlock block({{0x20, {3, 4, 5}}, {0x41, {}, 26}, {0x410, {933, 934}}});
  font_.CopyGlyphSet(block.Set());
  // The copy is followed, not the engine's block.
  block.Set()->cRuns = 0;
  EXPECT_EQ(font_.UnicodeOf(4), 0x21);
  EXPECT_EQ(font_.UnicodeOf(0x41), 0x41);  // handle = value
  EXPECT_EQ(font_.UnicodeOf(0x5A), 0x5A);
  EXPECT_EQ(font_.UnicodeOf(0x5B), 0);  // past the run
  EXPECT_EQ(font_.UnicodeOf(934), 0x411);
  EXPECT_EQ(font_.UnicodeOf(7), 0);
  EXPECT_EQ(font_.GlyphOf(0x22), 5u);
  EXPECT_EQ(font_.GlyphOf(0x43), 0x43u);
  EXPECT_EQ(font_.GlyphOf(0x410), 933u);
  EXPECT_EQ(font_.GlyphOf(0x23), HGLYPH_INVALID);
}

TEST_F(GlyphSets, RunsThatPointOutsideTheBlockGiveNothing) {
  GlyphSetBlock block({{0x20, {3, 4}}, {0x30, {7, 8}}});
  FD_GLYPHSET* set = block.Set();
  set->awcrun[0].cGlyphs = 40000;  // reaches past the block
  set->awcrun[1].phg = reinterpret_cast<HGLYPH*>(reinterpret_cast<uint8_t*>(set) - 64);  // before it
  font_.CopyGlyphSet(set);
  EXPECT_EQ(font_.UnicodeOf(4), 0);
  EXPECT_EQ(font_.UnicodeOf(8), 0);
  EXPECT_EQ(font_.GlyphOf(0x20), HGLYPH_INVALID);
  EXPECT_EQ(font_.GlyphOf(0x31), HGLYPH_INVALID);

  // More runs than the block holds: only those inside are read.
  GlyphSetBlock small(std::vector<GlyphSetBlock::Run>{{0x41, {9}}});
  small.Set()->cRuns = 1000000;
  font_.CopyGlyphSet(small.Set());
  EXPECT_EQ(font_.UnicodeOf(9), 0x41);
  EXPECT_EQ(font_.UnicodeOf(10), 0);

  // A block too short for its header is no glyph set at all.
  small.Set()->cjThis = 8;
  font_.CopyGlyphSet(small.Set());
  EXPECT_TRUE(font_.glyphSet.empty());
  EXPECT_EQ(font_.UnicodeOf(9), 0);
}

TinyFace NamedFace(std::vector<TinyFace::Name> names, uint16_t advance) {
  TinyFace face;
  face.characters = {{0x41, advance}};
  face.names = std::move(names);
  return face;
}

TEST_F(GlyphSets, InACollectionOnlyAUtf16FullNameChoosesTheFace) {
  using snk::test::WideName;
  TinyFace::Name mac{1, 0, 0, 4, "Tiny Sans"};
  // Face 0 matches only through its Macintosh record, which never counts;
  // face 1 matches through its Windows record.
  std::vector<uint8_t> file = snk::test::BuildCollection(
      {NamedFace({mac, WideName(3, 1, u"Tiny Sans Mono")}, 600),
       NamedFace({WideName(3, 1, u"Tiny Sans")}, 700), NamedFace({WideName(0, 3, u"Tiny Sans Wide")}, 800)});
  font_.unitsPerEm = 1000;
  int32_t width = 0;

  font_.SetName("Tiny Sans");
  font_.OpenFace(file.data(), file.size());
  ASSERT_NE(font_.face, nullptr);
  EXPECT_EQ(font_.faceIndex, 1);
  EXPECT_TRUE(font_.GlyphWidth(1, width));
  EXPECT_EQ(width, 700);

  font_.SetName("Tiny Sans Wide");  // a Unicode-platform record
  font_.OpenFace(file.data(), file.size());
  EXPECT_EQ(font_.faceIndex, 2);

  font_.SetName("Tiny Serif");
  font_.OpenFace(file.data(), file.size());
  EXPECT_EQ(font_.face, nullptr);
  EXPECT_FALSE(font_.GlyphWidth(1, width));
  EXPECT_EQ(font_.fontFile.size(), file.size());

  // A single face is kept whatever its names.
  std::vector<uint8_t> single = snk::test::BuildFont(NamedFace({mac}, 500));
  font_.OpenFace(single.data(), single.size());
  ASSERT_NE(font_.face, nullptr);
  EXPECT_EQ(font_.faceIndex, 0);

  // Bytes that are no font leave no face.
  std::vector<uint8_t> junk(100, 0x41);
  font_.OpenFace(junk.data(), junk.size());
  EXPECT_EQ(font_.face, nullptr);
}

// ------------------------------------------------------------ host fonts

class Catalogue : public snk::test::FontCatalogueTest {
 protected:
  FONTOBJ* Realize(std::u16string face, int32_t weight = 400) {
    snk::fonts::HostFont* font = RealizeFace(std::move(face), weight);
    return font ? font->Fontobj() : nullptr;
  }
  // A face that forbids embedding (fsType 2), under `family`.
  FONTOBJ* RealizeRestricted(std::u16string_view family) {
    TinyFace face;
    face.characters = {{u'A', 600}};
    face.fsType = 2;
    for (uint16_t id : {1, 4}) {
      TinyFace::Name name = snk::test::WideName(3, 1, family);
      name.id = id;
      face.names.push_back(name);
    }
    snk::fonts::HostFont* font = RealizeBytes(std::u16string(family), snk::test::BuildFont(face));
    return font ? font->Fontobj() : nullptr;
  }

  uint32_t embed_ = 0, warn_ = 1;
  std::vector<uint8_t> faces_;
  // The driver's warning, as the document hands it to its catalogue.
  CKMC_FontCatalogue catalogue_{writer_, {embed_, warn_, faces_, &WarnFontNotEmbedded}};
};

TEST_F(Catalogue, OneFontPerFaceKeptByUniqueAndFaceName) {
  CKMC_Font& regular = catalogue_.FindOrCreateFont(Realize(u"Liberation Sans"));
  EXPECT_EQ(&catalogue_.FindOrCreateFont(Realize(u"Liberation Sans")), &regular);
  CKMC_Font& bold = catalogue_.FindOrCreateFont(Realize(u"Liberation Sans", 700));
  EXPECT_NE(&bold, &regular);
  // Liberation's styles share one unique name: the face name tells them apart.
  EXPECT_NE(bold.name, regular.name);
  EXPECT_EQ(catalogue_.Fonts().size(), 2u);
  EXPECT_NE(dynamic_cast<CKMC_UnicodeFont*>(&regular), nullptr);
  EXPECT_TRUE(boxes_.empty());  // nothing was to be embedded

  catalogue_.Clear();
  EXPECT_TRUE(catalogue_.Fonts().empty());
}

TEST_F(Catalogue, APreparedFontHasItsFaceGlyphSetAndMetrics) {
  FONTOBJ* fo = Realize(u"Liberation Sans");
  snk::fonts::HostFont* host = snk::fonts::HostFont::From(fo);
  ASSERT_NE(host, nullptr);
  CKMC_Font& font = catalogue_.FindOrCreateFont(fo);
  ASSERT_NE(font.face, nullptr);
  EXPECT_FALSE(font.fontFile.empty());
  EXPECT_EQ(font.unitsPerEm, host->Metrics().fwdUnitsPerEm);
  EXPECT_EQ(font.stemV, host->Metrics().usWinWeight * 100 / 500);
  HGLYPH a = host->GlyphOf(u'A');
  ASSERT_NE(a, 0u);
  EXPECT_EQ(font.UnicodeOf(a), u'A');
  EXPECT_EQ(font.GlyphOf(u'A'), a);
  // Liberation Sans keeps Arial's widths: A is 1366 of 2048 units.
  CKMC_MappedCharacter mapped = font.MapCharacter(u'A', a, false);
  EXPECT_EQ(mapped.length, 1u);
  EXPECT_EQ(mapped.width, 667);
}

TEST_F(Catalogue, AVerticalFaceSharesTheNameOfTheUprightOne) {
  CKMC_Font& upright = catalogue_.FindOrCreateFont(Realize(u"WenQuanYi Micro Hei"));
  CKMC_Font& vertical = catalogue_.FindOrCreateFont(Realize(u"@WenQuanYi Micro Hei"));
  EXPECT_EQ(vertical.name, upright.name);
  EXPECT_EQ(vertical.name.str().find('@'), std::string::npos);
  // Only the unique name can keep them apart.
  EXPECT_EQ(&vertical == &upright, vertical.uniqueName == upright.uniqueName);
}

TEST_F(Catalogue, AFaceThatCannotBeEmbeddedWarnsOnceAndFallsBack) {
  embed_ = 2;
  CKMC_Font& font = catalogue_.FindOrCreateFont(RealizeRestricted(u"Locked Serif"));
  EXPECT_NE(dynamic_cast<CKMC_UnicodeFont*>(&font), nullptr);
  ASSERT_EQ(boxes_.size(), 1u);
  EXPECT_EQ(boxes_[0].text,
            u"Locked Serif font can't be embedded. The results depend on the availability of fonts in the "
            u"environment.");
  EXPECT_EQ(boxes_[0].caption, u"Kelmo PDF Forge");
  EXPECT_EQ(boxes_[0].type, MB_SETFOREGROUND);
  // Found in the list the second time: no second warning.
  catalogue_.FindOrCreateFont(RealizeRestricted(u"Locked Serif"));
  EXPECT_EQ(boxes_.size(), 1u);

  warn_ = 0;
  catalogue_.FindOrCreateFont(RealizeRestricted(u"Locked Mono"));
  EXPECT_EQ(boxes_.size(), 1u);
  EXPECT_EQ(catalogue_.Fonts().size(), 2u);

  // An installed TrueType face embeds without a word.
  CKMC_Font& embedded = catalogue_.FindOrCreateFont(Realize(u"Liberation Serif"));
  EXPECT_NE(dynamic_cast<CKMC_CIDEmbedFont*>(&embedded), nullptr);
  EXPECT_EQ(boxes_.size(), 1u);
}

TEST_F(Catalogue, ModeOneTriesOnlyTheListedFaces) {
  embed_ = 1;
  std::u16string names = u"Locked Mono";
  names.push_back(0);
  faces_.resize(4 + 2 * names.size());
  uint32_t size = static_cast<uint32_t>(faces_.size());
  std::memcpy(faces_.data(), &size, 4);
  std::memcpy(faces_.data() + 4, names.data(), 2 * names.size());
  catalogue_.FindOrCreateFont(RealizeRestricted(u"Locked Serif"));
  EXPECT_TRUE(boxes_.empty());
  catalogue_.FindOrCreateFont(RealizeRestricted(u"Locked Mono"));
  ASSERT_EQ(boxes_.size(), 1u);
  EXPECT_EQ(boxes_[0].text.find(u"Locked Mono font can't be embedded."), 0u);
}

}  // namespace
