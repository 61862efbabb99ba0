// The TrueType subsetter: the file it writes (directory order, checksums,
// rebuilt metrics and locations), the closure over composite glyphs, the
// faces of a collection, and files that lie about themselves. A real face's
// subset is read back by FreeType in the embedded font tests.
#include "fonts/truetype_subset.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "font_fixtures.h"

namespace {

using snk::test::tiny::Put16;
using snk::test::tiny::Put32;

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
  return snk::test::tiny::Sfnt({tables.begin(), tables.end()}, base);
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

// Faces the subsetter refuses at parse: tables that are missing, too
// short, past the end, or that it cannot index by.
TEST(TrueTypeSubset, RefusesFacesThatLieOrCannotBeIndexed) {
  FontSpec spec;
  spec.glyphs = {Simple('n'), Simple('a'), Composite({1})};
  using Tables_ = std::map<std::string, std::string>;
  const std::vector<std::pair<const char*, void (*)(Tables_&)>> cases = {
      {"no glyf", [](Tables_& t) { t.erase("glyf"); }},
      {"bad magic", [](Tables_& t) { t["head"][12] = 0; }},
      {"short head", [](Tables_& t) { t["head"].resize(53); }},
      {"short maxp", [](Tables_& t) { t["maxp"].resize(5); }},
      {"no glyphs", [](Tables_& t) { t["maxp"][4] = t["maxp"][5] = 0; }},
      {"loca format 2", [](Tables_& t) { t["head"][51] = 2; }},
  };
  for (const auto& [name, change] : cases) {
    Tables_ tables = Tables(spec);
    change(tables);
    Subset s(Sfnt(tables));
    EXPECT_EQ(s.subset.status, -1) << name;
    EXPECT_EQ(s.subset.MapOldGlyph(1), 0) << name;
    EXPECT_EQ(s.subset.BuildSubset(), -1) << name;
  }
  EXPECT_EQ(Subset("ttcf\0\1\0\0\xff\xff\xff\xff").subset.status, -1);
  EXPECT_EQ(Subset("").subset.status, -1);
}

// Faces that parse but lie where the build reads fail it without harm.
TEST(TrueTypeSubset, BuildsThatReadLiesFailWithoutHarm) {
  FontSpec spec;
  spec.glyphs = {Simple('n'), Simple('a'), Composite({1})};
  auto tables = Tables(spec);
  std::string cut = Sfnt(tables);
  cut.resize(cut.size() - 40);
  Subset truncated(cut);
  if (truncated.subset.status == 0) {
    truncated.subset.MapOldGlyph(2);
    EXPECT_EQ(truncated.subset.BuildSubset(), -1);
  }

  // Locations out of order, past the glyph table (into the next one, or the
  // file's end), and location or metric tables shorter than the glyphs.
  auto locations = [](std::vector<uint32_t> offsets) {
    std::string loca;
    for (uint32_t offset : offsets) Put32(loca, offset);
    return loca;
  };
  const struct {
    const char* name;
    std::string table, bytes;
    uint32_t kept;
  } cases[] = {
      {"disorder", "loca", locations({0, 24, 12, 40}), 1},
      {"into head", "loca", locations({0, 0, 40, 48}), 2},
      {"short loca", "loca", locations({0, 12, 24}), 1},
      {"huge", "loca", locations({0, 12, 0x7FFFFFF0u, 0x7FFFFFFFu}), 2},
      {"short hmtx", "hmtx", std::string(4, '\0'), 2},
  };
  for (const auto& lie : cases) {
    auto changed = tables;
    changed[lie.table] = lie.bytes;
    Subset subset(Sfnt(changed));
    ASSERT_EQ(subset.subset.status, 0) << lie.name;
    subset.subset.MapOldGlyph(lie.kept);
    EXPECT_EQ(subset.subset.BuildSubset(), -1) << lie.name;
  }

  // A composite whose components run past its bytes stops at its end.
  auto shortComposite = tables;
  std::string glyf = Simple('n') + Simple('a');
  std::string composite = Composite({1, 1});
  composite.resize(composite.size() - 8);
  shortComposite["glyf"] = glyf + composite;
  shortComposite["loca"] = locations({0, 12, 24, 24 + uint32_t(composite.size())});
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

TEST(TrueTypeSubset, HorizontalMetricsWithoutLongMetricsFailOnlyWhenKept) {
  FontSpec spec;
  spec.glyphs = {Simple('n'), Simple('a')};
  auto noLongMetrics = Tables(spec);
  noLongMetrics["hhea"][34] = noLongMetrics["hhea"][35] = 0;
  Subset h(Sfnt(noLongMetrics));
  ASSERT_EQ(h.subset.status, 0);
  h.subset.MapOldGlyph(1);
  EXPECT_EQ(h.subset.BuildSubset(), -1);
  EXPECT_TRUE(h.subset.Output().empty());
  h.subset.SetMetricFlags(0);
  EXPECT_EQ(h.subset.BuildSubset(), 0) << "without horizontal metrics hhea is not read";
}

}  // namespace
