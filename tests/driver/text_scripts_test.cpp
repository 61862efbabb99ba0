// One page with runs in many scripts, played from EMF records through the
// driver: each script lands in the subfont its charset or glyph names call
// for, and the page keeps all of it in one text object.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "driver_page.h"
#include "fonts/glyph_names.h"
#include "host/gdi/driver_target.h"
#include "host/gdi/emf_player.h"
#include "host/gdi/emf_reader.h"
#include "tools/sample_job/emf_writer.h"

namespace snk::test {
namespace {

using gdi::EmfFile;
using gdi::EmfFont;
using gdi::EmfPlayer;
using gdi::EmfWriter;

class TextScripts : public DriverPageTest {
 protected:
  void SetUp() override {
    DriverPageTest::SetUp();
    SetOption(u"FontEmbed", 0);
  }

  // The font objects of the file: every object that is a /Font.
  static std::vector<std::string> FontObjects(const std::string& pdf) {
    std::vector<std::string> fonts;
    for (uint32_t n = 1; n < 200; ++n) {
      const std::string object = Object(pdf, n);
      if (object.find("/Type /Font ") != std::string::npos ||
          object.find("/Type /Font\n") != std::string::npos ||
          object.find("/Type /Font/") != std::string::npos ||
          object.find("/Type /Font>") != std::string::npos)
        fonts.push_back(object);
    }
    return fonts;
  }

  // The font object whose encoding names the glyph of `unicode`, or "".
  static std::string FontNaming(const std::vector<std::string>& fonts, char16_t unicode) {
    const std::string name = std::string("/") + AdobeGlyphName(unicode);
    for (const std::string& font : fonts) {
      const size_t at = font.find(name);
      // The whole name: the next byte ends it.
      if (at != std::string::npos && at + name.size() < font.size() &&
          (font[at + name.size()] == ' ' || font[at + name.size()] == ']'))
        return font;
    }
    return {};
  }
};

TEST_F(TextScripts, EachScriptLandsInItsSubfont) {
  EmfWriter w({0, 0, 21000, 29700}, {2480, 3507}, {210, 297});
  EmfFont font;
  font.height = -60;
  font.charSet = 0;  // ANSI, as word processors ask for Arial
  font.face = u"Arial";
  w.ExtCreateFontIndirectW(1, font);
  w.SelectObject(1);
  w.SetBkMode(1);  // transparent
  const std::u16string lines[] = {
      u"Latin text",
      u"\u041F\u0440\u0438\u0432\u0435\u0442",  // Cyrillic
      u"\u0393\u03B5\u03B9\u03AC",              // Greek
      u"\u011F\u0131\u015F",                    // Turkish
      u"\u05E9\u05DC\u05D5\u05DD",              // Hebrew
      u"\u0633\u0644\u0627\u0645",              // Arabic
      u"\u0E2A\u0E27\u0E31\u0E2A\u0E14\u0E35",  // Thai
      u"Vi\u1EC7t",                             // Vietnamese
      u"\u4E2D\u6587",                          // Chinese
  };
  int32_t y = 200;
  for (const std::u16string& line : lines) {
    w.ExtTextOutW(200, y, line);
    y += 100;
  }
  const auto file = EmfFile::Parse("scripts.emf", w.Finish(), nullptr);
  ASSERT_TRUE(file);
  gdi::PlayStats stats;
  const std::string pdf = PrintJobPage([&](engine::EngineJob& job) {
    gdi::DriverTarget target(job);
    stats = EmfPlayer().PlayPage(*file, target);
  });
  EXPECT_TRUE(stats.errors.empty()) << stats.errors.front();
  EXPECT_EQ(CountOf(ContentOfFirstPage(pdf), "BT "), 1u);

  const std::vector<std::string> fonts = FontObjects(pdf);
  // Latin stays in the WinAnsi subfont.
  bool winAnsi = false;
  for (const std::string& f : fonts) winAnsi |= f.find("/Encoding /WinAnsiEncoding") != std::string::npos;
  EXPECT_TRUE(winAnsi);
  // Each single-byte charset has its own subfont, with its code page's
  // letters as differences from WinAnsi.
  const std::string cyrillic = FontNaming(fonts, 0x041F);
  const std::string greek = FontNaming(fonts, 0x0393);
  const std::string turkish = FontNaming(fonts, 0x011F);
  const std::string hebrew = FontNaming(fonts, 0x05E9);
  ASSERT_FALSE(cyrillic.empty());
  ASSERT_FALSE(greek.empty());
  ASSERT_FALSE(turkish.empty());
  ASSERT_FALSE(hebrew.empty());
  EXPECT_NE(cyrillic, greek);
  EXPECT_NE(greek, turkish);
  EXPECT_NE(turkish, hebrew);
  for (const std::string* f : {&cyrillic, &greek, &turkish, &hebrew}) {
    EXPECT_NE(f->find("/BaseEncoding /WinAnsiEncoding /Differences ["), std::string::npos) << *f;
    EXPECT_EQ(f->find("/Differences [1 "), std::string::npos) << *f;  // not a custom subfont
  }
  // Letters of charsets the face does not cover, which have glyph names,
  // go to a custom subfont that numbers them from 1.
  for (char16_t c : {u'\u0633', u'\u0E2A', u'\u1EC7'}) {
    const std::string custom = FontNaming(fonts, c);
    ASSERT_FALSE(custom.empty()) << int(c);
    EXPECT_NE(custom.find("/Differences [1 "), std::string::npos) << custom;
  }
  // Chinese has no glyph names: the search finds GB2312, a CID subfont
  // with the predefined Unicode CMap.
  bool gb = false;
  for (const std::string& f : fonts)
    gb |= f.find("/Subtype /Type0") != std::string::npos && f.find("/UniGB-UCS2-H") != std::string::npos;
  EXPECT_TRUE(gb);
  EXPECT_NE(pdf.find("/Ordering (GB1) /Supplement 4"), std::string::npos);
}

}  // namespace
}  // namespace snk::test
