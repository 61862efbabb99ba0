// The text records played onto a recording target: where glyphs land (from
// the spacing array or the font's advances, after the text alignment), the
// background and clip rectangles, glyph-index runs, code-page text, the
// font transform under rotation and y-up mappings, the outline mode, and
// damaged records refused without a crash.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/fonts/host_font.h"
#include "host/gdi/emf_player.h"
#include "host/gdi/emf_records.h"
#include "tests/host/gdi/recording_target.h"
#include "tools/sample_job/emf_writer.h"

namespace snk::gdi {
namespace {

using test::Play;
using test::Played;
using test::RecordedCall;

constexpr uint32_t kOpaqueFlag = 0x0002;  // ETO_OPAQUE
constexpr uint32_t kClipped = 0x0004;
constexpr uint32_t kGlyphIndex = 0x0010;
constexpr uint32_t kNoRect = 0x0100;
constexpr uint32_t kSmallChars = 0x0200;
constexpr uint32_t kPdy = 0x2000;
constexpr uint32_t kTaUpdateCp = 1, kTaRight = 2, kTaCenter = 6, kTaBottom = 8, kTaBaseline = 24;

// Reference pixels are surface pixels on a 1000-pixel surface.
EmfWriter Page(const char16_t* face = u"Arial", int32_t height = -40, uint8_t charSet = 0,
               int32_t escapement = 0, bool lined = false) {
  EmfWriter w({0, 0, 10000, 10000}, {1000, 1000}, {100, 100});
  EmfFont font;
  font.height = height;
  font.face = face;
  font.charSet = charSet;
  font.escapement = escapement;
  font.underline = font.strikeOut = lined;
  w.ExtCreateFontIndirectW(1, font);
  w.SelectObject(1);
  w.SetBkMode(kTransparent);
  return w;
}

// The same font as the page's, realized by the test for its metrics.
std::unique_ptr<fonts::HostFont> Font(const char16_t* face = u"Arial", int32_t height = -40) {
  fonts::FontRequest request;
  request.faceName = face;
  request.height = height;
  std::string error;
  auto font = fonts::HostFont::Realize(request, &error);
  EXPECT_TRUE(font) << error;
  return font;
}

std::vector<RecordedCall> Calls(const Played& played, const std::string& kind) {
  std::vector<RecordedCall> out;
  for (const RecordedCall& c : played.calls)
    if (c.kind == kind) out.push_back(c);
  return out;
}

std::vector<std::pair<LONG, LONG>> Origins(const RecordedCall& c) {
  std::vector<std::pair<LONG, LONG>> out;
  for (const GLYPHPOS& g : c.glyphs) out.emplace_back(g.ptl.x, g.ptl.y);
  return out;
}

using Origin = std::vector<std::pair<LONG, LONG>>;

TEST(EmfText, GlyphsLandBySpacingOrByAdvance) {
  auto font = Font();
  ASSERT_TRUE(font);
  EmfWriter w = Page();
  w.SetTextColor(Rgb(0, 0, 255));
  w.SetTextAlign(kTaBaseline);
  const int32_t dx[] = {30, 40};
  w.ExtTextOutW(100, 200, u"AB", dx);
  w.ExtTextOutW(100, 300, u"AB");
  EmfText pdy;
  pdy.options = kPdy;
  pdy.dx = {30, 5, 40, 0};  // the second glyph sits 5 units higher
  w.ExtTextOutW(100, 400, u"AB", pdy);
  const Played p = Play(w);
  ASSERT_TRUE(p.stats.errors.empty()) << p.Errors();
  const auto t = Calls(p, "textout");
  ASSERT_EQ(t.size(), 3u);
  EXPECT_EQ(Origins(t[0]), (Origin{{100, 200}, {130, 200}}));
  const LONG a = LONG(std::lround(font->Advance(font->GlyphOf(u'A'))));
  EXPECT_EQ(Origins(t[1]), (Origin{{100, 300}, {100 + a, 300}}));
  EXPECT_EQ(Origins(t[2]), (Origin{{100, 400}, {130, 395}}));
  EXPECT_EQ(t[0].glyphs[0].hg, font->GlyphOf(u'A'));
  EXPECT_EQ(t[0].glyphs[1].hg, font->GlyphOf(u'B'));
  EXPECT_TRUE(t[0].hasText);
  EXPECT_EQ(t[0].text, u"AB");
  EXPECT_EQ(t[0].fillColor, Rgb(0, 0, 255));
  EXPECT_FALSE(t[0].hasOpaque);
  EXPECT_EQ(t[0].accel & SO_GLYPHINDEX_TEXTOUT, 0u);
  EXPECT_EQ(t[0].mix, MIX(R2_COPYPEN | R2_COPYPEN << 8));
}

TEST(EmfText, AlignmentMovesTheReferencePoint) {
  auto font = Font();
  ASSERT_TRUE(font);
  const LONG ascent = LONG(std::lround(font->Ascent())), descent = LONG(std::lround(font->Descent()));
  struct Case {
    uint32_t align;
    LONG x, y;  // the first glyph's origin for text at (100, 200) of advance 70
  } cases[] = {
      {0, 100, 200 + ascent},  // TA_LEFT | TA_TOP, the default
      {kTaBaseline, 100, 200},
      {kTaBottom, 100, 200 - descent},
      {kTaCenter | kTaBaseline, 65, 200},
      {kTaRight | kTaBaseline, 30, 200},
      {kTaRight, 30, 200 + ascent},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.align);
    EmfWriter w = Page();
    if (c.align) w.SetTextAlign(c.align);
    const int32_t dx[] = {30, 40};
    w.ExtTextOutW(100, 200, u"AB", dx);
    const auto t = Calls(Play(w), "textout");
    ASSERT_EQ(t.size(), 1u);
    EXPECT_EQ(Origins(t[0])[0], std::make_pair(c.x, c.y));
  }
}

TEST(EmfText, UpdateCpStartsAtAndMovesTheCurrentPosition) {
  EmfWriter w = Page();
  w.MoveToEx(50, 300);
  w.SetTextAlign(kTaUpdateCp | kTaBaseline);
  const int32_t dx[] = {10, 20};
  w.ExtTextOutW(900, 900, u"AB", dx);  // the reference point is not used
  w.ExtTextOutW(900, 900, u"AB", dx);
  w.SetTextAlign(kTaUpdateCp | kTaRight | kTaBaseline);
  w.ExtTextOutW(900, 900, u"AB", dx);  // ends at the position and moves it back
  w.SetTextAlign(kTaBaseline);
  w.LineTo(0, 0);
  const Played p = Play(w);
  const auto t = Calls(p, "textout");
  ASSERT_EQ(t.size(), 3u);
  EXPECT_EQ(Origins(t[0]), (Origin{{50, 300}, {60, 300}}));
  EXPECT_EQ(Origins(t[1]), (Origin{{80, 300}, {90, 300}}));
  EXPECT_EQ(Origins(t[2]), (Origin{{80, 300}, {90, 300}}));
  const auto l = Calls(p, "lineto");
  ASSERT_EQ(l.size(), 1u);
  EXPECT_EQ(l[0].x1, 80);
  EXPECT_EQ(l[0].y1, 300);
}

TEST(EmfText, OpaqueAndClippedRectangles) {
  EmfWriter w = Page();
  w.State(EMR_SETBKCOLOR, {Rgb(255, 0, 0)});
  w.SetTextAlign(kTaBaseline);
  EmfText opaque;
  opaque.options = kOpaqueFlag;
  opaque.rect = {90, 150, 300, 260};
  w.ExtTextOutW(100, 200, u"AB", opaque);
  EmfText clipped;
  clipped.options = kClipped;
  clipped.rect = {100, 180, 120, 210};
  w.ExtTextOutW(100, 200, u"AB", clipped);
  EmfText fillOnly;  // no characters: the rectangle alone
  fillOnly.options = kOpaqueFlag;
  fillOnly.rect = {10, 20, 30, 40};
  w.ExtTextOutW(0, 0, u"", fillOnly);
  w.SetBkMode(kOpaque);  // the opaque mode fills the text's cell
  w.ExtTextOutW(100, 500, u"AB");
  const Played p = Play(w);
  ASSERT_TRUE(p.stats.errors.empty()) << p.Errors();
  const auto t = Calls(p, "textout");
  ASSERT_EQ(t.size(), 3u);
  EXPECT_TRUE(t[0].hasOpaque);
  EXPECT_EQ(t[0].opaque.left, 90);
  EXPECT_EQ(t[0].opaque.top, 150);
  EXPECT_EQ(t[0].opaque.right, 300);
  EXPECT_EQ(t[0].opaque.bottom, 260);
  EXPECT_EQ(t[0].opaqueColor, Rgb(255, 0, 0));
  EXPECT_FALSE(t[1].hasOpaque);
  const RECTL cb = t[1].clipRegion.Bounds();
  EXPECT_GE(cb.left, 100);
  EXPECT_GE(cb.top, 180);
  EXPECT_LE(cb.right, 120);
  EXPECT_LE(cb.bottom, 210);
  EXPECT_TRUE(t[2].hasOpaque);
  EXPECT_EQ(t[2].opaque.left, 100);
  EXPECT_LT(t[2].opaque.top, 500);
  EXPECT_GT(t[2].opaque.bottom, 500);
  const auto b = Calls(p, "bitblt");
  ASSERT_EQ(b.size(), 1u);
  EXPECT_EQ(b[0].target.left, 10);
  EXPECT_EQ(b[0].target.bottom, 40);
  EXPECT_EQ(b[0].fillColor, Rgb(255, 0, 0));
  EXPECT_EQ(b[0].rop, 0xF0F0u);
}

TEST(EmfText, UnderlineAndStrikeoutAreExtraRectangles) {
  EmfWriter w = Page(u"Arial", -40, 0, 0, true);
  w.SetTextAlign(kTaBaseline);
  const int32_t dx[] = {30, 40};
  w.ExtTextOutW(100, 200, u"AB", dx);
  const auto t = Calls(Play(w), "textout");
  ASSERT_EQ(t.size(), 1u);
  ASSERT_EQ(t[0].extra.size(), 2u);
  const RECTL& under = t[0].extra[0];
  const RECTL& strike = t[0].extra[1];
  EXPECT_EQ(under.left, 100);
  EXPECT_EQ(under.right, 170);
  EXPECT_GE(under.top, 200);  // below the baseline
  EXPECT_GT(under.bottom, under.top);
  EXPECT_LT(strike.bottom, 200);  // above it
}

TEST(EmfText, GlyphIndexRunsAndOneWarningPerSubstituteFace) {
  auto arial = Font();
  ASSERT_TRUE(arial);
  ASSERT_TRUE(arial->IsSubstitute());
  EmfWriter w = Page();
  EmfText glyphs;
  glyphs.options = kGlyphIndex;
  const std::u16string numbers{char16_t(36), char16_t(37)};
  w.ExtTextOutW(100, 200, numbers, glyphs);
  w.ExtTextOutW(100, 300, numbers, glyphs);
  EmfFont own;
  own.height = -40;
  own.face = u"DejaVu Sans";
  w.ExtCreateFontIndirectW(2, own);
  w.SelectObject(2);
  w.ExtTextOutW(100, 400, numbers, glyphs);
  const Played p = Play(w);
  const auto t = Calls(p, "textout");
  ASSERT_EQ(t.size(), 3u);
  EXPECT_NE(t[0].accel & SO_GLYPHINDEX_TEXTOUT, 0u);
  EXPECT_FALSE(t[0].hasText);
  EXPECT_EQ(t[0].glyphs[0].hg, 36u);
  EXPECT_EQ(t[0].glyphs[1].hg, 37u);
  ASSERT_EQ(p.stats.errors.size(), 1u) << p.Errors();
  EXPECT_NE(p.stats.errors[0].find("EMR_EXTTEXTOUTW"), std::string::npos);
  EXPECT_NE(p.stats.errors[0].find("substitute"), std::string::npos);
  EXPECT_EQ(p.stats.NotPlayedTotal(), 0u);
}

TEST(EmfText, AnsiTextGoesThroughTheFontsCodePage) {
  EmfWriter w = Page(u"Arial", -40, 204);  // RUSSIAN_CHARSET: cp1251
  EmfText fields;
  fields.dx = {10, 20, 30};
  w.ExtTextOutA(100, 200, "\xCF\xF0\xE8", fields);
  EmfWriter latin = Page(u"Arial", -40, 0);
  latin.ExtTextOutA(100, 200, "\xE9", {});
  EmfWriter japanese = Page(u"Arial", -40, 128);  // SHIFTJIS_CHARSET: a two-byte character
  EmfText spaced;
  spaced.dx = {10, 10, 20};
  japanese.ExtTextOutA(100, 200,
                       "\x82\xA0"
                       "A",
                       spaced);
  const auto j = Calls(Play(japanese), "textout");
  ASSERT_EQ(j.size(), 1u);
  EXPECT_EQ(j[0].text, u"\u3042A");
  EXPECT_EQ(j[0].glyphs[1].ptl.x - j[0].glyphs[0].ptl.x, 20);  // its bytes' advances together
  const auto t = Calls(Play(w), "textout");
  ASSERT_EQ(t.size(), 1u);
  EXPECT_EQ(t[0].text, u"\u041F\u0440\u0438");
  EXPECT_EQ(t[0].glyphs[2].ptl.x - t[0].glyphs[1].ptl.x, 20);
  const auto l = Calls(Play(latin), "textout");
  ASSERT_EQ(l.size(), 1u);
  EXPECT_EQ(l[0].text, u"\u00E9");
}

TEST(EmfText, SmallTextOutAndPolyTextOut) {
  EmfWriter w = Page();
  w.SetTextAlign(kTaBaseline);
  w.SmallTextOut(100, 200, u"Hi", kSmallChars | kNoRect);
  w.State(EMR_SETBKCOLOR, {Rgb(0, 255, 0)});
  w.SmallTextOut(100, 300, u"\u0416", kOpaqueFlag, {90, 250, 200, 320});
  EmfTextPiece pieces[2];
  pieces[0].x = 10, pieces[0].y = 400, pieces[0].text = u"one";
  pieces[1].x = 10, pieces[1].y = 450, pieces[1].text = u"two";
  pieces[1].fields.dx = {5, 5, 5};
  w.PolyTextOutW(pieces);
  const Played p = Play(w);
  ASSERT_TRUE(p.stats.errors.empty()) << p.Errors();
  const auto t = Calls(p, "textout");
  ASSERT_EQ(t.size(), 4u);
  EXPECT_EQ(t[0].text, u"Hi");
  EXPECT_EQ(t[0].glyphs[0].ptl.x, 100);
  EXPECT_GT(t[0].glyphs[1].ptl.x, 100);
  EXPECT_EQ(t[1].text, u"\u0416");
  EXPECT_TRUE(t[1].hasOpaque);
  EXPECT_EQ(t[1].opaqueColor, Rgb(0, 255, 0));
  EXPECT_EQ(t[2].text, u"one");
  EXPECT_EQ(Origins(t[3]), (Origin{{10, 450}, {15, 450}, {20, 450}}));
}

// Where "AB" (advances 30 and 40) lands and which way its glyphs turn. The
// escapement turns text counterclockwise; a y-up mapping keeps glyphs
// upright, and in the compatible mode it turns the escapement (taken in
// logical space with y down) clockwise, so 2700 runs the baseline up the
// page. A world transform turns the baseline only in the advanced mode.
TEST(EmfText, EscapementMappingAndWorldTransformTurnText) {
  enum Setup { kPlain, kYUp, kQuarterTurn };
  struct Case {
    const char* name;
    int32_t escapement;
    Setup setup;
    uint32_t mode;
    std::pair<LONG, LONG> at;
    Origin origins;
    const char* signs;  // of eM11, eM12, eM21, eM22: 0, +, - or . (not checked)
  } cases[] = {
      {"escapement 900", 900, kPlain, 1, {500, 500}, {{500, 500}, {500, 470}}, "0-+0"},
      {"y up, compatible", 0, kYUp, 1, {100, 800}, {{100, 200}, {130, 200}}, "+0.+"},
      {"y up, advanced", 0, kYUp, 2, {100, 800}, {{100, 200}, {130, 200}}, "+0.+"},
      {"y up, escapement 2700", 2700, kYUp, 1, {100, 200}, {{100, 800}, {100, 770}}, "0-+0"},
      {"quarter turn, compatible", 0, kQuarterTurn, 1, {100, 0}, {{500, 600}, {530, 600}}, "+0.."},
      {"quarter turn, advanced", 0, kQuarterTurn, 2, {100, 0}, {{500, 600}, {500, 630}}, "0+.."},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EmfWriter w = Page(u"Arial", -40, 0, c.escapement);
    if (c.setup == kYUp) {
      w.SetMapMode(kMmAnisotropic);
      w.SetWindowExtEx(1000, 1000);
      w.SetViewportExtEx(1000, -1000);
      w.SetViewportOrgEx(0, 1000);
    }
    if (c.setup == kQuarterTurn) {
      const float quarter[6] = {0, 1, -1, 0, 500, 500};  // clockwise on the page
      w.SetWorldTransform(quarter);
    }
    w.SetTextAlign(kTaBaseline);
    EmfText fields;
    fields.dx = {30, 40};
    fields.graphicsMode = c.mode;
    w.ExtTextOutW(c.at.first, c.at.second, u"AB", fields);
    const auto t = Calls(Play(w), "textout");
    ASSERT_EQ(t.size(), 1u);
    EXPECT_EQ(Origins(t[0]), c.origins);
    const XFORML& x = t[0].fontXform;
    const FLOATL values[4] = {x.eM11, x.eM12, x.eM21, x.eM22};
    auto sign = [](double v) { return std::abs(v) < 1e-6 ? '0' : v > 0 ? '+' : '-'; };
    for (int k = 0; k < 4; ++k)
      EXPECT_TRUE(c.signs[k] == '.' || sign(values[k]) == c.signs[k]) << "element " << k << ": " << values[k];
  }
}

TEST(EmfText, JustificationWidensBreakCharacters) {
  auto font = Font();
  ASSERT_TRUE(font);
  EmfWriter w = Page();
  w.SetTextAlign(kTaBaseline);
  w.SetTextJustification(20, 2);
  w.ExtTextOutW(100, 200, u"a b");
  const auto t = Calls(Play(w), "textout");
  ASSERT_EQ(t.size(), 1u);
  const double a = font->Advance(font->GlyphOf(u'a')), space = font->Advance(font->GlyphOf(u' '));
  EXPECT_EQ(t[0].glyphs[2].ptl.x, std::lround(100 + a + space + 10));
}

TEST(EmfText, OutlineModeFillsGlyphPaths) {
  EmfWriter w = Page();
  w.SetTextColor(Rgb(1, 2, 3));
  w.ExtTextOutW(100, 200, u"AB");
  w.ExtTextOutW(100, 300, u"AB");
  const std::vector<std::byte> bytes = w.Finish();
  const auto file = EmfFile::Parse("t.emf", bytes, nullptr);
  ASSERT_TRUE(file);
  test::RecordingTarget target;
  target.glyphMode = FO_PATHOBJ;
  const PlayStats stats = EmfPlayer().PlayPage(*file, target);
  EXPECT_TRUE(stats.errors.empty());
  EXPECT_EQ(target.glyphModeCalls, 1);  // asked once per realized font
  int fills = 0;
  for (const RecordedCall& c : target.calls) {
    EXPECT_NE(c.kind, "textout");
    if (c.kind != "fill") continue;
    ++fills;
    EXPECT_EQ(c.fillColor, Rgb(1, 2, 3));
    EXPECT_EQ(c.fillOptions, FP_WINDINGMODE);
    EXPECT_GT(c.Points().size(), 8u);
  }
  EXPECT_EQ(fills, 2);
}

TEST(EmfText, TextInsideAPathBracketBecomesOutlines) {
  EmfWriter w = Page();
  w.CreateBrushIndirect(2, kBsSolid, Rgb(9, 8, 7));
  w.SelectObject(2);
  w.Bare(EMR_BEGINPATH);
  w.ExtTextOutW(100, 200, u"AB");
  w.Bare(EMR_ENDPATH);
  w.PathOp(EMR_FILLPATH);
  const Played p = Play(w);
  ASSERT_TRUE(p.stats.errors.empty()) << p.Errors();
  EXPECT_TRUE(Calls(p, "textout").empty());
  const auto f = Calls(p, "fill");
  ASSERT_EQ(f.size(), 1u);
  EXPECT_EQ(f[0].fillColor, Rgb(9, 8, 7));
  EXPECT_GT(f[0].Points().size(), 8u);
  for (const auto& [x, y] : f[0].Points()) {
    EXPECT_GE(x, 95);  // around the text's cell
    EXPECT_LE(y, 260);
  }
}

// A text record built by hand: EmrText fields after bounds and scales.
std::vector<std::byte> TextPayload(uint32_t nChars, uint32_t offString, uint32_t options, uint32_t offDx,
                                   size_t padding) {
  std::vector<uint32_t> words = {0, 0, 0, 0, 1, 0, 0, 100, 100, nChars, offString, options};
  if (!(options & kNoRect)) words.insert(words.end(), {0, 0, 0, 0});
  words.push_back(offDx);
  words.resize(words.size() + padding / 4, 0x00410041);
  std::vector<std::byte> out;
  for (uint32_t v : words)
    for (int i = 0; i < 4; ++i) out.push_back(std::byte(v >> (8 * i)));
  return out;
}

TEST(EmfText, DamagedRecordsAreSkippedWithAMessage) {
  EmfWriter w = Page();
  w.Add(EMR_EXTTEXTOUTW, TextPayload(0xFFFFFFFF, 76, 0, 0, 8));        // absurd count
  w.Add(EMR_EXTTEXTOUTW, TextPayload(2, 0x7FFFFFF0, 0, 0, 8));         // string past the end
  w.Add(EMR_EXTTEXTOUTW, TextPayload(2, 76, 0, 4000, 8));              // spacing past the end
  w.Add(EMR_EXTTEXTOUTW, TextPayload(0x40000001, 76, 0, 80, 8));       // nChars * 4 wraps in 32 bits
  w.Add(EMR_EXTTEXTOUTW, TextPayload(3, 60, kNoRect | kPdy, 66, 16));  // PDY pairs past the end
  w.Add(EMR_EXTTEXTOUTA, TextPayload(1u << 24, 76, 0, 0, 8));
  w.Add(EMR_POLYTEXTOUTW, TextPayload(0x7FFFFFFF, 0, 0, 0, 0));  // string count
  std::vector<std::byte> small(44, std::byte{0});                // 50 values promised, none there
  small[8] = std::byte{50};
  small[16] = std::byte{1};
  w.Add(EMR_SMALLTEXTOUT, small);
  const std::byte shortFont[40] = {std::byte{2}};
  w.Add(EMR_EXTCREATEFONTINDIRECTW, shortFont);
  w.Add(EMR_EXTTEXTOUTW, {});
  EmfText far;
  far.dx = {INT32_MAX, 5};
  w.ExtTextOutW(100, 100, u"AB", far);  // advances beyond any page
  const Played p = Play(w);
  EXPECT_TRUE(Calls(p, "textout").empty());
  ASSERT_EQ(p.stats.errors.size(), 11u) << p.Errors();
  EXPECT_NE(p.Errors().find("EMR_EXTCREATEFONTINDIRECTW"), std::string::npos);
  EXPECT_NE(p.Errors().find("too short for a LOGFONTW"), std::string::npos);
  EXPECT_NE(p.Errors().find("lies outside the record"), std::string::npos);
  for (const std::string& e : p.stats.errors) EXPECT_NE(e.find("EMR_"), std::string::npos) << e;
}

// Under world transforms far from any page, text reaches the driver only
// with an em that the engine can place (from a sixteenth of a pixel to the
// largest em), else the record is skipped with a message: a text matrix
// that rounds to zero would give the driver positions beyond any number.
TEST(EmfText, TransformsOutsideTheEnginesRangeSkipTheText) {
  struct Case {
    float m11, m12, m21, m22;
    const char* refusal;  // empty: drawn
  };
  const Case cases[] = {
      {1, 0, 0, 1, ""},
      {0.01f, 0, 0, 0.01f, ""},  // an em of 0.4 pixels: small but placeable
      {1e-7f, 0, 0, 1e-7f, "too small"},
      {1e-30f, 0, 0, 1e-30f, "too small"},
      {1, 1, 1, 1.000001f, "too small"},  // both axes folded onto one line
      {1e7f, 0, 0, 1e7f, "too large"},
      {1e30f, 0, 0, 1e30f, "lies too far away"},  // the text rectangle
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.m11);
    EmfWriter w = Page();
    const float xform[6] = {c.m11, c.m12, c.m21, c.m22, 500, 500};
    w.SetWorldTransform(xform);
    EmfText fields;
    fields.graphicsMode = 2;
    w.ExtTextOutW(0, 0, u"AB", fields);
    const Played p = Play(w);
    const auto t = Calls(p, "textout");
    if (*c.refusal) {
      EXPECT_TRUE(t.empty());
      EXPECT_NE(p.Errors().find(c.refusal), std::string::npos) << p.Errors();
    } else {
      ASSERT_EQ(t.size(), 1u) << p.Errors();
      const XFORML& f = t[0].fontXform;
      EXPECT_GT(std::sqrt(std::abs(f.eM11 * f.eM22 - f.eM12 * f.eM21)) * 2048, 1.0 / 16);
    }
  }
}

// The fuzz corpus's text seed reaches every text record with a font that
// can be realized.
TEST(EmfText, FuzzSeedPlaysEveryTextRecord) {
  std::string error;
  const auto file =
      EmfFile::Open(std::string(SNK_SOURCE_DIR) + "/fuzz/corpus/emf_reader/text-records.emf", &error);
  ASSERT_TRUE(file) << error;
  test::RecordingTarget target;
  const PlayStats stats = EmfPlayer().PlayPage(*file, target);
  EXPECT_EQ(stats.NotPlayedTotal(), 0u);
  size_t runs = 0;
  for (const RecordedCall& c : target.calls) runs += c.kind == "textout";
  EXPECT_EQ(runs, 6u);
  // Only the glyph-index run in a substitute face is remarked on.
  ASSERT_EQ(stats.errors.size(), 1u);
  EXPECT_NE(stats.errors[0].find("substitute"), std::string::npos);
}

}  // namespace
}  // namespace snk::gdi
