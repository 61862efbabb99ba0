// The TrueType subsetter: the file it writes (directory order, checksums,
// rebuilt metrics and locations), the closure over composite glyphs, the
// faces of a collection, real fonts read back by FreeType, and files that
// lie about themselves.
#include <ft2build.h>
#include <gtest/gtest.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "fonts/truetype_subset.h"

namespace {

void Put16(std::string& out, uint32_t v) {
  out += char(v >> 8);
  out += char(v);
}
void Put32(std::string& out, uint32_t v) {
  Put16(out, v >> 16);
  Put16(out, v);
}
uint32_t Get16(const uint8_t* p) { return uint32_t(p[0] << 8 | p[1]); }
uint32_t Get32(const uint8_t* p) { return Get16(p) << 16 | Get16(p + 2); }

// A glyph's bytes: a simple glyph is its contour count (1) and a marker
// byte; a composite lists its components.
std::string Simple(char marker, size_t length = 12) {
  std::string g;
  Put16(g, 1);
  g.resize(length, marker);
  return g;
}
std::string Composite(std::vector<uint16_t> components) {
  std::string g;
  Put16(g, 0xFFFF);  // -1 contours
  g.resize(10, '\0');
  for (size_t i = 0; i < components.size(); ++i) {
    // Word arguments and a scale: 8 + 2 bytes.
    Put16(g, 0x0001 | 0x0008 | (i + 1 < components.size() ? 0x0020 : 0));
    Put16(g, components[i]);
    Put32(g, 0);
    Put16(g, 0x4000);
  }
  return g;
}

struct FontSpec {
  std::vector<std::string> glyphs;
  uint16_t longMetrics = 0;  // 0: one per glyph
  uint16_t locaFormat = 1;
  bool vertical = false;
  int fsType = -1;
};

// The tables of a font, sorted by tag, as the directory lists them.
std::map<std::string, std::string> Tables(const FontSpec& spec) {
  const uint16_t count = uint16_t(spec.glyphs.size());
  const uint16_t longMetrics = spec.longMetrics ? spec.longMetrics : count;
  std::map<std::string, std::string> t;
  std::string glyf, loca;
  for (const std::string& g : spec.glyphs) {
    spec.locaFormat ? Put32(loca, uint32_t(glyf.size())) : Put16(loca, uint32_t(glyf.size() / 2));
    glyf += g;
  }
  spec.locaFormat ? Put32(loca, uint32_t(glyf.size())) : Put16(loca, uint32_t(glyf.size() / 2));
  t["glyf"] = glyf;
  t["loca"] = loca;
  std::string head;
  Put32(head, 0x00010000);
  Put32(head, 0x00010000);
  Put32(head, 0x12345678);  // checkSumAdjustment, to be cleared
  Put32(head, 0x5F0F3CF5);
  head.resize(50, '\0');
  Put16(head, spec.locaFormat);
  Put16(head, 0);
  t["head"] = head;
  std::string maxp;
  Put32(maxp, 0x00005000);
  Put16(maxp, count);
  t["maxp"] = maxp;
  for (const char* kind : {"h", "v"}) {
    if (*kind == 'v' && !spec.vertical) continue;
    std::string header(34, 'x');
    Put16(header, longMetrics);
    std::string metrics;
    for (uint16_t i = 0; i < longMetrics; ++i) {
      Put16(metrics, 100 + i);  // advance
      Put16(metrics, 10 + i);   // side bearing
    }
    for (uint16_t i = longMetrics; i < count; ++i) Put16(metrics, 10 + i);
    t[std::string(kind) + "hea"] = header;
    t[std::string(kind) + "mtx"] = metrics;
  }
  t["name"] = "names";
  t["cvt "] = "cvt!";
  t["post"] = "never copied";
  if (spec.fsType >= 0) {
    std::string os2(78, '\0');
    os2[8] = char(spec.fsType >> 8), os2[9] = char(spec.fsType);
    t["OS/2"] = os2;
  }
  return t;
}

std::string Sfnt(const std::map<std::string, std::string>& tables, uint32_t base = 0) {
  std::string dir, data;
  Put32(dir, 0x00010000);
  Put16(dir, uint16_t(tables.size()));
  Put16(dir, 0), Put16(dir, 0), Put16(dir, 0);
  const uint32_t start = base + 12 + 16 * uint32_t(tables.size());
  for (const auto& [tag, bytes] : tables) {
    dir += tag;
    Put32(dir, 0);
    Put32(dir, start + uint32_t(data.size()));
    Put32(dir, uint32_t(bytes.size()));
    data += bytes;
    while (data.size() % 4) data += '\0';
  }
  return dir + data;
}

// A parsed output: its directory, in file order, and each table's bytes.
struct Parsed {
  std::vector<std::string> order;
  std::map<std::string, std::string> tables;
  std::map<std::string, uint32_t> checksums;
};

Parsed Parse(std::span<const uint8_t> out) {
  Parsed p;
  const uint32_t count = Get16(out.data() + 4);
  for (uint32_t i = 0; i < count; ++i) {
    const uint8_t* e = out.data() + 12 + 16 * i;
    std::string tag(reinterpret_cast<const char*>(e), 4);
    p.order.push_back(tag);
    p.checksums[tag] = Get32(e + 4);
    p.tables[tag] = std::string(reinterpret_cast<const char*>(out.data()) + Get32(e + 8), Get32(e + 12));
  }
  return p;
}

// A subset over bytes in memory.
struct Subset {
  explicit Subset(std::string bytes, uint32_t face = 0)
      : file(std::move(bytes)),
        reader{reinterpret_cast<const uint8_t*>(file.data()), file.size()},
        subset(face, &CKMC_FontReader::Read, &reader) {}
  std::string file;
  CKMC_FontReader reader;
  CKMC_TrueTypeSubset subset;
};

uint32_t LittleSum(const std::string& bytes) {
  uint32_t sum = 0;
  for (size_t i = 0; i < bytes.size(); i += 4) {
    uint32_t word = 0;
    for (size_t k = 0; k < 4 && i + k < bytes.size(); ++k) word |= uint32_t(uint8_t(bytes[i + k])) << (8 * k);
    sum += word;
  }
  return sum;
}

TEST(TrueTypeSubset, WritesItsTablesInItsOwnOrderWithItsChecksums) {
  FontSpec spec;
  spec.glyphs = {Simple('n'), Simple('a', 14), "", Simple('b')};
  spec.vertical = true;
  Subset s(Sfnt(Tables(spec)));
  ASSERT_EQ(s.subset.status, 0);
  s.subset.SetMetricFlags(3);
  EXPECT_EQ(s.subset.MapOldGlyph(3), 1);
  EXPECT_EQ(s.subset.MapOldGlyph(2), 2);  // the empty glyph takes an index
  EXPECT_EQ(s.subset.MapOldGlyph(3), 1);
  EXPECT_EQ(s.subset.MapOldGlyph(0), 0);
  EXPECT_EQ(s.subset.MapOldGlyph(4), 0);  // beyond the font
  ASSERT_EQ(s.subset.BuildSubset(), 0);
  std::span<const uint8_t> out = s.subset.Output();

  // Offset table: 10 tables, searchRange 128, entrySelector 3, rangeShift 32.
  EXPECT_EQ(Get32(out.data()), 0x00010000u);
  EXPECT_EQ(Get16(out.data() + 4), 10u);
  EXPECT_EQ(Get16(out.data() + 6), 128u);
  EXPECT_EQ(Get16(out.data() + 8), 3u);
  EXPECT_EQ(Get16(out.data() + 10), 32u);
  Parsed p = Parse(out);
  EXPECT_EQ(p.order, (std::vector<std::string>{"glyf", "head", "hhea", "hmtx", "vhea", "vmtx", "loca", "maxp",
                                               "name", "cvt "}))
      << "fpgm and prep are absent from the source";
  EXPECT_EQ(p.tables["glyf"], Simple('n') + Simple('b'));
  EXPECT_EQ(p.tables["loca"], std::string("\0\0\0\0\0\0\0\x0c\0\0\0\x18\0\0\0\x18", 16));
  EXPECT_EQ(Get16(reinterpret_cast<const uint8_t*>(p.tables["maxp"].data()) + 4), 3u);
  EXPECT_EQ(Get16(reinterpret_cast<const uint8_t*>(p.tables["hhea"].data()) + 34), 3u);
  EXPECT_EQ(Get16(reinterpret_cast<const uint8_t*>(p.tables["vhea"].data()) + 34), 3u);
  // hmtx: .notdef, old glyph 3, old glyph 2.
  std::string hmtx;
  for (uint32_t old : {0, 3, 2}) Put16(hmtx, 100 + old), Put16(hmtx, 10 + old);
  EXPECT_EQ(p.tables["hmtx"], hmtx);
  EXPECT_EQ(p.tables["vmtx"], hmtx);

  // Each table's sum of little-endian words, head's taken with its
  // adjustment cleared.
  std::string head = p.tables["head"];
  head.replace(8, 4, std::string(4, '\0'));
  p.tables["head"] = head;
  for (const auto& [tag, bytes] : p.tables) EXPECT_EQ(p.checksums[tag], LittleSum(bytes)) << tag;
  // checkSumAdjustment: the constant less the little-endian sum of the
  // file with the adjustment cleared, stored big-endian.
  std::string whole(reinterpret_cast<const char*>(out.data()), out.size());
  EXPECT_EQ(whole.size() % 4, 0u);
  const size_t headAt = Get32(out.data() + 12 + 16 + 8);  // the second entry is head
  ASSERT_NE(headAt, std::string::npos);
  const uint32_t adjustment = Get32(out.data() + headAt + 8);
  whole.replace(headAt + 8, 4, std::string(4, '\0'));
  EXPECT_EQ(adjustment, 0xB1B0AFBAu - LittleSum(whole));

  // Metric flags 1 leave the vertical tables out.
  Subset h(Sfnt(Tables(spec)));
  h.subset.MapOldGlyph(1);
  ASSERT_EQ(h.subset.BuildSubset(), 0);
  Parsed hp = Parse(h.subset.Output());
  EXPECT_EQ(hp.tables.count("vhea") + hp.tables.count("vmtx"), 0u);
  EXPECT_EQ(hp.order.size(), 8u);
}

TEST(TrueTypeSubset, GlyphsBehindTheLongMetricsShareTheLastAdvance) {
  FontSpec spec;
  spec.glyphs = {Simple('n'), Simple('a'), Simple('b'), Simple('c')};
  spec.longMetrics = 2;
  Subset s(Sfnt(Tables(spec)));
  s.subset.MapOldGlyph(3);
  s.subset.MapOldGlyph(1);
  ASSERT_EQ(s.subset.BuildSubset(), 0);
  std::string hmtx;
  Put16(hmtx, 100), Put16(hmtx, 10);  // .notdef
  Put16(hmtx, 101), Put16(hmtx, 13);  // old 3: last long advance, its own bearing
  Put16(hmtx, 101), Put16(hmtx, 11);  // old 1
  EXPECT_EQ(Parse(s.subset.Output()).tables["hmtx"], hmtx);
}

TEST(TrueTypeSubset, ShortLocationsAreHalvedAndCompositesBringTheirComponents) {
  FontSpec spec;
  // Glyph 3 is built of 4 and 1; glyph 5 of itself and 3.
  spec.glyphs = {Simple('n'),       Simple('a'),     Simple('b'),
                 Composite({4, 1}), Simple('d', 10), Composite({5, 3})};
  spec.locaFormat = 0;
  Subset s(Sfnt(Tables(spec)));
  ASSERT_EQ(s.subset.MapOldGlyph(1), 1);
  ASSERT_EQ(s.subset.MapOldGlyph(5), 2);
  ASSERT_EQ(s.subset.BuildSubset(), 0);
  // 5 pulls in 3 (new 3), which pulls in 4 (new 4) and reuses 1; 5's
  // reference to itself ends nowhere.
  EXPECT_EQ(s.subset.GlyphCount(), 5);
  Parsed p = Parse(s.subset.Output());
  const std::string expected =
      Simple('n') + Simple('a') + Composite({2, 3}) + Composite({4, 1}) + Simple('d', 10);
  EXPECT_EQ(p.tables["glyf"], expected);
  std::string loca;
  for (uint32_t offset : {0u, 12u, 24u, 24u + 30u, 24u + 60u, 24u + 70u}) Put16(loca, offset / 2);
  EXPECT_EQ(p.tables["loca"], loca);
}

TEST(TrueTypeSubset, ReadsTheAskedFaceOfACollectionAndItsEmbeddingBits) {
  FontSpec first, second;
  first.glyphs = {Simple('n'), Simple('1')};
  second.glyphs = {Simple('n'), Simple('2'), Simple('3')};
  second.fsType = 0x0004;
  std::string header = "ttcf";
  Put32(header, 0x00010000);
  Put32(header, 2);
  const uint32_t base = 20;
  std::string a = Sfnt(Tables(first), base);
  std::string b = Sfnt(Tables(second), base + uint32_t(a.size()));
  Put32(header, base);
  Put32(header, base + uint32_t(a.size()));
  const std::string file = header + a + b;

  Subset s(file, 1);
  ASSERT_EQ(s.subset.status, 0);
  EXPECT_EQ(s.subset.GetEmbeddingBits(), 4);
  s.subset.MapOldGlyph(2);
  ASSERT_EQ(s.subset.BuildSubset(), 0);
  EXPECT_EQ(Parse(s.subset.Output()).tables["glyf"], Simple('n') + Simple('3'));
  EXPECT_EQ(Subset(file, 0).subset.GetEmbeddingBits(), 0) << "no OS/2 table";
  EXPECT_EQ(Subset(file, 2).subset.status, -1) << "no third face";
}

TEST(TrueTypeSubset, FilesThatLieFailWithoutHarm) {
  FontSpec spec;
  spec.glyphs = {Simple('n'), Simple('a'), Composite({1})};
  auto tables = Tables(spec);

  // Tables that are missing, too short, or past the end.
  auto without = tables;
  without.erase("glyf");
  EXPECT_EQ(Subset(Sfnt(without)).subset.status, -1);
  auto badMagic = tables;
  badMagic["head"][12] = 0;
  EXPECT_EQ(Subset(Sfnt(badMagic)).subset.status, -1);
  std::string cut = Sfnt(tables);
  cut.resize(cut.size() - 40);
  Subset truncated(cut);
  if (truncated.subset.status == 0) {
    truncated.subset.MapOldGlyph(2);
    EXPECT_EQ(truncated.subset.BuildSubset(), -1);
  }
  EXPECT_EQ(Subset("ttcf\0\1\0\0\xff\xff\xff\xff").subset.status, -1);
  EXPECT_EQ(Subset("").subset.status, -1);

  // Locations out of order, or past the glyph table.
  auto disorder = tables;
  std::string loca;
  for (uint32_t offset : {0u, 24u, 12u, 40u}) Put32(loca, offset);
  disorder["loca"] = loca;
  Subset d(Sfnt(disorder));
  ASSERT_EQ(d.subset.status, 0);
  d.subset.MapOldGlyph(1);
  EXPECT_EQ(d.subset.BuildSubset(), -1);
  auto huge = tables;
  loca.clear();
  for (uint32_t offset : {0u, 12u, 0x7FFFFFF0u, 0x7FFFFFFFu}) Put32(loca, offset);
  huge["loca"] = loca;
  Subset h(Sfnt(huge));
  h.subset.MapOldGlyph(2);
  EXPECT_EQ(h.subset.BuildSubset(), -1);

  // A composite whose components run past its bytes stops at its end.
  auto shortComposite = tables;
  std::string glyf = Simple('n') + Simple('a');
  std::string composite = Composite({1, 1});
  composite.resize(composite.size() - 8);
  shortComposite["glyf"] = glyf + composite;
  loca.clear();
  for (uint32_t offset : {0u, 12u, 24u, 24u + uint32_t(composite.size())}) Put32(loca, offset);
  shortComposite["loca"] = loca;
  Subset c(Sfnt(shortComposite));
  c.subset.MapOldGlyph(2);
  EXPECT_EQ(c.subset.BuildSubset(), 0);
  EXPECT_EQ(c.subset.GlyphCount(), 3);
}

TEST(TrueTypeSubset, ClosureEndsOnLoopsAndStrayComponents) {
  // 1 and 2 are built of each other; 3 names a glyph the font lacks.
  FontSpec spec;
  spec.glyphs = {Simple('n'), Composite({2}), Composite({1, 4}), Composite({70, 2})};
  Subset s(Sfnt(Tables(spec)));
  EXPECT_EQ(s.subset.MapOldGlyph(3), 1);
  ASSERT_EQ(s.subset.BuildSubset(), 0);
  EXPECT_EQ(s.subset.GlyphCount(), 4);
  EXPECT_EQ(Parse(s.subset.Output()).tables["glyf"],
            Simple('n') + Composite({0, 2}) + Composite({3, 0}) + Composite({2}));

  // Locations that go back and forth would copy the whole glyph table
  // once for each odd glyph.
  FontSpec many;
  for (int i = 0; i < 40; ++i) many.glyphs.push_back(Simple('a', 100));
  auto tables = Tables(many);
  std::string loca;
  for (int i = 0; i <= 40; ++i) Put32(loca, i % 2 ? 0 : 4000);
  loca.replace(0, 4, std::string(4, '\0'));
  tables["loca"] = loca;
  Subset o(Sfnt(tables));
  for (uint32_t g = 1; g < 40; g += 2) o.subset.MapOldGlyph(g);
  EXPECT_EQ(o.subset.BuildSubset(), -1);
}

TEST(TrueTypeSubset, RefusesFacesItCannotIndex) {
  FontSpec spec;
  spec.glyphs = {Simple('n'), Simple('a')};
  auto noGlyphs = Tables(spec);
  noGlyphs["maxp"][4] = noGlyphs["maxp"][5] = 0;
  EXPECT_EQ(Subset(Sfnt(noGlyphs)).subset.status, -1);
  auto longLoca = Tables(spec);
  longLoca["head"][51] = 2;
  Subset bad(Sfnt(longLoca));
  EXPECT_EQ(bad.subset.status, -1);
  EXPECT_EQ(bad.subset.MapOldGlyph(1), 0);
  EXPECT_EQ(bad.subset.BuildSubset(), -1);
  auto noLongMetrics = Tables(spec);
  noLongMetrics["hhea"][34] = noLongMetrics["hhea"][35] = 0;
  Subset h(Sfnt(noLongMetrics));
  ASSERT_EQ(h.subset.status, 0);
  h.subset.MapOldGlyph(1);
  EXPECT_EQ(h.subset.BuildSubset(), -1);
  h.subset.SetMetricFlags(0);
  EXPECT_EQ(h.subset.BuildSubset(), 0) << "without horizontal metrics hhea is not read";
}

// Installed fonts, read back by FreeType: every kept glyph has the outline
// and advance of its source glyph.
class TrueTypeSubsetOfInstalledFonts : public ::testing::TestWithParam<std::pair<const char*, int>> {};

// A glyph's points followed by its contour ends (as x, with y -1).
std::vector<FT_Vector> Points(FT_Face face, FT_UInt glyph, FT_Pos& advance) {
  EXPECT_EQ(FT_Load_Glyph(face, glyph, FT_LOAD_NO_SCALE | FT_LOAD_NO_HINTING), 0);
  advance = face->glyph->metrics.horiAdvance;
  const FT_Outline& o = face->glyph->outline;
  std::vector<FT_Vector> points(o.points, o.points + o.n_points);
  for (int i = 0; i < o.n_contours; ++i) points.push_back({o.contours[i], -1});
  return points;
}

TEST_P(TrueTypeSubsetOfInstalledFonts, KeepsTheOutlinesOfTheUsedGlyphs) {
  auto [path, faceIndex] = GetParam();
  if (!std::filesystem::exists(path)) GTEST_SKIP() << path << " is not installed";
  std::ifstream in(path, std::ios::binary);
  std::string file((std::istreambuf_iterator<char>(in)), {});
  Subset s(file, faceIndex);
  ASSERT_EQ(s.subset.status, 0);
  s.subset.SetMetricFlags(3);

  FT_Library library;
  ASSERT_EQ(FT_Init_FreeType(&library), 0);
  FT_Face source = nullptr;
  ASSERT_EQ(FT_New_Memory_Face(library, reinterpret_cast<const FT_Byte*>(file.data()), FT_Long(file.size()),
                               faceIndex, &source),
            0);
  std::map<FT_UInt, uint16_t> kept;
  for (char32_t c : std::u32string(U"Hamburgefonts \u00c5\u01fa\u00e9\u4e2d\u6587")) {
    FT_UInt g = FT_Get_Char_Index(source, c);
    if (g) kept[g] = s.subset.MapOldGlyph(g);
  }
  ASSERT_EQ(s.subset.BuildSubset(), 0);
  FT_Face subset = nullptr;
  std::span<const uint8_t> out = s.subset.Output();
  ASSERT_EQ(FT_New_Memory_Face(library, out.data(), FT_Long(out.size()), 0, &subset), 0);
  EXPECT_EQ(subset->num_glyphs, s.subset.GlyphCount());
  for (auto [old, now] : kept) {
    FT_Pos a = 0, b = 0;
    std::vector<FT_Vector> want = Points(source, old, a), got = Points(subset, now, b);
    ASSERT_EQ(want.size(), got.size()) << "glyph " << old;
    for (size_t i = 0; i < want.size(); ++i) {
      EXPECT_EQ(want[i].x, got[i].x);
      EXPECT_EQ(want[i].y, got[i].y);
    }
    EXPECT_EQ(a, b);
  }
  FT_Done_Face(subset);
  FT_Done_Face(source);
  FT_Done_FreeType(library);
}

INSTANTIATE_TEST_SUITE_P(
    Faces, TrueTypeSubsetOfInstalledFonts,
    ::testing::Values(std::pair{"/usr/share/fonts/truetype/liberation2/LiberationSans-Regular.ttf", 0},
                      std::pair{"/usr/share/fonts/truetype/wqy/wqy-microhei.ttc", 1}),
    [](const auto& info) { return info.param.second ? "SecondFaceOfACollection" : "OneFace"; });

}  // namespace
