// The Type 1 subsetter: hand-made programs in PFB, hex PFA and binary PFA
// form (both token pairs, accented glyphs, a missing .notdef), the three
// output forms with true section lengths, the installed URW faces read back
// by FreeType, programs that lie, and the private scratch file.
#include <ft2build.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include FT_FREETYPE_H

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "fonts/type1_subset.h"
#include "platform/win32.h"
#include "test_support.h"

namespace {

constexpr uint16_t kC1 = 52845, kC2 = 22719;

std::string Encrypt(const std::string& plain, uint16_t r) {
  std::string out;
  for (unsigned char p : plain) {
    const uint8_t c = uint8_t(p ^ (r >> 8));
    r = uint16_t((uint32_t(c) + r) * kC1 + kC2);
    out += char(c);
  }
  return out;
}
std::string Decrypt(const std::string& cipher, uint16_t r) {
  std::string out;
  for (unsigned char c : cipher) {
    out += char(c ^ (r >> 8));
    r = uint16_t((uint32_t(c) + r) * kC1 + kC2);
  }
  return out;
}
std::string Hex(const std::string& bytes, size_t lineLength = 64) {
  static const char* digits = "0123456789ABCDEF";
  std::string out;
  for (size_t i = 0; i < bytes.size(); ++i) {
    out += digits[uint8_t(bytes[i]) >> 4];
    out += digits[uint8_t(bytes[i]) & 15];
    if ((i + 1) % (lineLength / 2) == 0) out += '\n';
  }
  return out;
}
std::string Unhex(const std::string& text) {
  std::string digits, out;
  for (char digit : text)
    if (isxdigit(uint8_t(digit))) digits += digit;
  for (size_t i = 0; i + 1 < digits.size(); i += 2) out += char(std::stoi(digits.substr(i, 2), nullptr, 16));
  return out;
}

// A charstring in plain form: numbers in the charstring number encoding,
// then its operator bytes.
std::string CharString(std::vector<int> numbers, std::string ops) {
  std::string s = "abcd";  // the four leading bytes
  for (int n : numbers) {
    if (n >= -107 && n <= 107) {
      s += char(n + 139);
    } else if (n >= 108 && n <= 1131) {
      s += char((n - 108) / 256 + 247), s += char((n - 108) % 256);
    } else {
      s += char((-n - 108) / 256 + 251), s += char((-n - 108) % 256);
    }
  }
  return s + ops;
}

struct Program {
  std::string clear, privatePart, trailer;
};

// A font of five glyphs: A, acute, Aacute (seac of A and acute), B and,
// unless left out, .notdef third.
Program MakeProgram(bool dashTokens, bool withNotdef = true) {
  Program p;
  p.clear =
      "%!PS-AdobeFont-1.0: Tiny 001\n/FontName /Tiny def\n/Encoding StandardEncoding def\n"
      "/FontMatrix [0.001 0 0 0.001 0 0] readonly def\ncurrentdict end\ncurrentfile eexec\n";
  const std::string rd = dashTokens ? "-|" : "RD", nd = dashTokens ? "|-" : "ND";
  std::map<std::string, std::string> glyphs = {
      {"A", CharString({0, 600}, "\x0d\x0e")},  // hsbw endchar
      {"acute", CharString({0, 300}, "\x0d\x0e")},
      {"Aacute", CharString({0, 0, 100, 65, 194}, "\x0c\x06")},  // seac of A and acute
      {"B", CharString({0, 650}, "\x0d\x0e")},
      {".notdef", CharString({0, 250}, "\x0d\x0e")}};
  std::string plain =
      "wxyz\ndup /Private 8 dict dup begin\n/" + rd + " {string currentfile exch readstring pop} def\n";
  plain += std::string("/") + nd + " {def} def\n/lenIV 4 def\n2 index /CharStrings " +
           std::to_string(withNotdef ? 5 : 4) + " dict dup begin\n";
  for (const char* name : {"A", "acute", ".notdef", "Aacute", "B"}) {
    if (!withNotdef && std::string(name) == ".notdef") continue;
    const std::string bytes = Encrypt(glyphs[name], 4330);
    plain += "/" + std::string(name) + " " + std::to_string(bytes.size()) + " " + rd + " " + bytes + " " +
             nd + "\n";
  }
  plain +=
      "end\nend\nreadonly put\nnoaccess put\ndup /FontName get exch definefont pop\nmark currentfile "
      "closefile\n";
  p.privatePart = plain;
  for (int i = 0; i < 8; ++i) p.trailer += std::string(64, '0') + "\n";
  p.trailer += "cleartomark\n";
  return p;
}

std::string Segment(uint8_t type, const std::string& bytes) {
  std::string s = {char(0x80), char(type)};
  for (int i = 0; i < 4; ++i) s += char(bytes.size() >> (8 * i));
  return s + bytes;
}
std::string Pfb(const Program& p) {
  return Segment(1, p.clear) + Segment(2, Encrypt(p.privatePart, 55665)) + Segment(1, p.trailer) + "\x80\x03";
}
std::string HexPfa(const Program& p) {
  return p.clear + Hex(Encrypt(p.privatePart, 55665)) + "\n" + p.trailer;
}
std::string BinaryPfa(const Program& p) { return p.clear + Encrypt(p.privatePart, 55665) + "\n" + p.trailer; }

struct Subset {
  explicit Subset(std::string bytes)
      : file(std::move(bytes)),
        reader{reinterpret_cast<const uint8_t*>(file.data()), file.size()},
        subset(&CKMC_FontReader::Read, &CKMC_FontReader::Size, &reader) {}
  std::string file;
  CKMC_FontReader reader;
  CKMC_Type1Subset subset;
  std::string Out() const {
    auto o = subset.Output();
    return std::string(reinterpret_cast<const char*>(o.data()), o.size());
  }
};

// Gives each test its own private scratch folder, in the test's folder.
class Type1Subset : public snk::test::HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    runtime_ = Dir().string();
    runtimeEnv_ = std::make_unique<snk::test::ScopedEnv>("XDG_RUNTIME_DIR", runtime_.c_str());
  }
  void TearDown() override {
    runtimeEnv_.reset();
    HostTest::TearDown();
  }
  std::string runtime_;
  std::unique_ptr<snk::test::ScopedEnv> runtimeEnv_;
};

TEST_F(Type1Subset, KeepsTheAskedGlyphsWithTheirAccentsInEveryFormOfTheSource) {
  for (bool dash : {false, true}) {
    const Program program = MakeProgram(dash);
    for (const std::string& file : {Pfb(program), HexPfa(program), BinaryPfa(program)}) {
      Subset s(file);
      ASSERT_EQ(s.subset.status, 0);
      // .notdef, third in the source, is swapped to index 0.
      ASSERT_EQ(s.subset.GlyphCount(), 5u);
      EXPECT_EQ(s.subset.GlyphName(0), ".notdef");
      EXPECT_EQ(s.subset.GlyphName(2), "A");
      EXPECT_EQ(s.subset.GlyphName(3), "Aacute");
      // Aacute brings A and acute in first.
      EXPECT_EQ(s.subset.MapCharString(3), 3u);
      EXPECT_EQ(s.subset.MapCharString(2), 1u);
      EXPECT_EQ(s.subset.MapCharString(1), 2u);
      EXPECT_EQ(s.subset.MapCharString(0), 0u);
      EXPECT_EQ(s.subset.MapCharString(9), 0u);
      ASSERT_EQ(s.subset.WriteFontProgram(), 0);
      const std::string out = s.Out();

      // The clear text with the rebuilt /Encoding.
      const std::string clear = out.substr(0, s.subset.length1);
      EXPECT_EQ(clear,
                "%!PS-AdobeFont-1.0: Tiny 001\n/FontName /Tiny def\n"
                "/Encoding 256 array\n0 1 255 {1 index exch /.notdef put} for\n"
                "dup 0 /.notdef put\ndup 1 /A put\ndup 2 /acute put\ndup 3 /Aacute put\nreadonly def\n"
                "/FontMatrix [0.001 0 0 0.001 0 0] readonly def\ncurrentdict end\ncurrentfile eexec\n");
      // The private part, hexadecimal, after its newline.
      const std::string cipher = out.substr(s.subset.length1, s.subset.length2);
      ASSERT_EQ(cipher[0], '\n');
      EXPECT_EQ(cipher.find_first_not_of("0123456789abcdef", 1), std::string::npos);
      const std::string plain = Decrypt(Unhex(cipher), 55665);
      const std::string rd = dash ? " -| " : " RD ";
      EXPECT_NE(plain.find("/CharStrings 4 dict dup begin\n/.notdef "), std::string::npos) << plain;
      const Program source = MakeProgram(dash);
      for (const char* name : {"A", "acute", "Aacute"}) {
        const size_t at = plain.find(std::string("/") + name + " ");
        ASSERT_NE(at, std::string::npos) << name;
        const size_t start = plain.find(rd, at) + 4;
        const size_t sourceAt = source.privatePart.find(std::string("/") + name + " ");
        const size_t sourceStart = source.privatePart.find(rd, sourceAt) + 4;
        const size_t length = std::stoul(plain.substr(at + std::strlen(name) + 2));
        EXPECT_EQ(plain.substr(start, length), source.privatePart.substr(sourceStart, length)) << name;
      }
      EXPECT_EQ(plain.find("/B "), std::string::npos);
      EXPECT_EQ(plain.substr(plain.size() - 10), "closefile\n");
      EXPECT_EQ(out.substr(s.subset.length1 + s.subset.length2), "\n" + program.trailer);
      EXPECT_EQ(s.subset.length1 + s.subset.length2 + s.subset.length3, out.size());
    }
  }
}

TEST_F(Type1Subset, WritesPfbSegmentsAndPlainTextOnRequest) {
  Subset s(Pfb(MakeProgram(false)));
  ASSERT_EQ(s.subset.status, 0);
  s.subset.MapCharString(4);  // B
  s.subset.SetOutputForm(0);
  ASSERT_EQ(s.subset.WriteFontProgram(), 0);
  const std::string pfb = s.Out();
  ASSERT_EQ(pfb.substr(0, 2), "\x80\x01");
  auto length = [&](size_t at) {
    return uint32_t(uint8_t(pfb[at + 2])) | uint32_t(uint8_t(pfb[at + 3])) << 8 |
           uint32_t(uint8_t(pfb[at + 4])) << 16 | uint32_t(uint8_t(pfb[at + 5])) << 24;
  };
  // The heads count in the section lengths.
  EXPECT_EQ(length(0) + 6, s.subset.length1);
  EXPECT_EQ(pfb.substr(s.subset.length1, 2), "\x80\x02");
  EXPECT_EQ(length(s.subset.length1) + 6, s.subset.length2);
  const size_t third = s.subset.length1 + s.subset.length2;
  EXPECT_EQ(pfb.substr(third, 2), "\x80\x01");
  EXPECT_EQ(pfb.substr(pfb.size() - 2), "\x80\x03");
  EXPECT_EQ(third + s.subset.length3 + 2, pfb.size());
  const std::string plain = Decrypt(pfb.substr(s.subset.length1 + 6, s.subset.length2 - 6), 55665);
  EXPECT_NE(plain.find("/CharStrings 2 dict"), std::string::npos);

  s.subset.SetOutputForm(2);
  ASSERT_EQ(s.subset.WriteFontProgram(), 0);
  const std::string open = s.Out();
  EXPECT_NE(open.find("/CharStrings 2 dict dup begin\n/.notdef "), std::string::npos)
      << "the private part stays readable";
}

TEST_F(Type1Subset, AFontWithoutNotdefGetsOne) {
  Subset s(HexPfa(MakeProgram(false, false)));
  ASSERT_EQ(s.subset.status, 0);
  ASSERT_EQ(s.subset.GlyphCount(), 5u);
  EXPECT_EQ(s.subset.GlyphName(0), ".notdef");
  EXPECT_EQ(s.subset.GlyphName(4), "A") << "the first glyph took the made one's place";
  s.subset.MapCharString(4);
  ASSERT_EQ(s.subset.WriteFontProgram(), 0);
  const std::string plain = Decrypt(Unhex(s.Out().substr(s.subset.length1, s.subset.length2)), 55665);
  EXPECT_NE(plain.find("/.notdef 5 RD " + std::string("\x00\x78\x38\x42\x00", 5) + "ND\n"),
            std::string::npos);
}

TEST_F(Type1Subset, ProgramsThatLieAreRefused) {
  const Program p = MakeProgram(false);
  const std::string good = Pfb(p);
  EXPECT_EQ(Subset(good).subset.status, 0);

  // Segments past the end (the clear text, the cipher) or of no known kind.
  const size_t second = 6 + p.clear.size();
  for (size_t at : {size_t{5}, second + 5, second + 1}) {
    std::string changed = good;
    changed[at] = 0x7F;
    EXPECT_EQ(Subset(changed).subset.status, -1) << at;
  }

  auto variant = [&](const std::string& from, const std::string& to) {
    Program q = p;
    const size_t at = q.privatePart.find(from);
    EXPECT_NE(at, std::string::npos);
    q.privatePart.replace(at, from.size(), to);
    return Subset(Pfb(q)).subset.status;
  };
  EXPECT_EQ(variant("/A 9 RD", "/A 90000 RD"), -1) << "a charstring past the text";
  EXPECT_EQ(variant("closefile", "closefilx"), -1);
  EXPECT_EQ(variant("/CharStrings 5", "/CharStrings 0"), -1);
  EXPECT_EQ(variant("/CharStrings", "/CharStringz"), -1);
  Program noMark = p;
  noMark.trailer = std::string(512, '0');
  EXPECT_EQ(Subset(Pfb(noMark)).subset.status, -1);
  EXPECT_EQ(Subset(HexPfa(noMark)).subset.status, -1);
  EXPECT_EQ(Subset("%!PS-AdobeFont-1.0 and nothing else").subset.status, -1);
  EXPECT_EQ(Subset("not a font at all, not at all").subset.status, -1);
}

TEST_F(Type1Subset, AHexPartMayFollowBlankLines) {
  const Program p = MakeProgram(false);
  Subset s(p.clear + "\r\n\n" + Hex(Encrypt(p.privatePart, 55665)) + "\n" + p.trailer);
  ASSERT_EQ(s.subset.status, 0);
  EXPECT_EQ(s.subset.MapCharString(3), 3u) << "Aacute after A and acute";
}

// A comment line full of tokens and a charstring full of seac are each read
// once: searched again per hit or per accent they would take minutes.
TEST_F(Type1Subset, ManyTokensOnALineAndManyAccentsStayCheap) {
  Program p = MakeProgram(false);
  const size_t firstLine = p.clear.find('\n');
  std::string comment;
  for (int i = 0; i < 100000; ++i) comment += " eexec";
  p.clear.insert(firstLine, comment);
  const std::string seac = CharString({0, 0, 100, 65, 194}, "\x0c\x06");
  std::string accents = seac;
  // Accents of C and D, which the font lacks.
  for (int i = 0; i < 200000; ++i) accents += CharString({0, 0, 100, 67, 68}, "\x0c\x06").substr(4);
  const std::string oldBytes = Encrypt(seac, 4330), newBytes = Encrypt(accents, 4330);
  const size_t at = p.privatePart.find("/Aacute ");
  p.privatePart.replace(at, std::strlen("/Aacute 12 RD ") + oldBytes.size(),
                        "/Aacute " + std::to_string(newBytes.size()) + " RD " + newBytes);
  std::string filler;
  for (int i = 0; i < 20000; ++i)
    filler += "/g" + std::to_string(i) + " " + std::to_string(oldBytes.size()) + " RD " + oldBytes + " ND\n";
  p.privatePart.replace(p.privatePart.find("end\nend"), 0, filler);
  p.privatePart.replace(p.privatePart.find("/CharStrings 5"), 14, "/CharStrings 20005");

  Subset s(BinaryPfa(p));
  ASSERT_EQ(s.subset.status, 0);
  ASSERT_EQ(s.subset.GlyphCount(), 20005u);
  EXPECT_EQ(s.subset.MapCharString(3), 3u);
  ASSERT_EQ(s.subset.WriteFontProgram(), 0);
  EXPECT_EQ(s.Out().substr(0, firstLine + 6), p.clear.substr(0, firstLine + 6));
}

TEST_F(Type1Subset, TheDecryptedTextGoesToAPrivateScratchFile) {
  const Program p = MakeProgram(true);
  Subset s(Pfb(p));
  ASSERT_EQ(s.subset.status, 0);
  const std::filesystem::path folder = std::filesystem::path(runtime_) / "snk";
  const std::string dumped = snk::test::ReadFile(folder / "clear_text.txt");
  EXPECT_EQ(dumped.substr(0, p.privatePart.size()), p.privatePart);
  struct stat info;
  ASSERT_EQ(stat(folder.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);
  ASSERT_EQ(stat((folder / "clear_text.txt").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);

  // A folder others may enter, or a link in its place, is not used; nor is
  // a name with a path in it.
  EXPECT_FALSE(SnkWriteScratchFile(u"../x", "x", 1));
  EXPECT_FALSE(SnkWriteScratchFile(u"a/b", "x", 1));
  chmod(folder.c_str(), 0770);
  EXPECT_FALSE(SnkWriteScratchFile(u"x.txt", "x", 1));
  std::filesystem::remove_all(folder);
  std::filesystem::create_directory_symlink("/tmp", folder);
  EXPECT_FALSE(SnkWriteScratchFile(u"x.txt", "x", 1));
  std::filesystem::remove(folder);
  EXPECT_TRUE(SnkWriteScratchFile(u"x.txt", "x", 1));
}

// The installed URW faces: glyph indices as FreeType numbers them, and a
// subset FreeType reads with the same outlines.
class Type1SubsetOfInstalledFonts : public Type1Subset, public ::testing::WithParamInterface<const char*> {};

TEST_P(Type1SubsetOfInstalledFonts, NumbersGlyphsAsFreeTypeAndKeepsTheirOutlines) {
  const char* path = GetParam();
  if (!std::filesystem::exists(path)) GTEST_SKIP() << path << " is not installed";
  const std::string file = snk::test::ReadFile(path);
  Subset s(file);
  ASSERT_EQ(s.subset.status, 0);
  FT_Library library;
  ASSERT_EQ(FT_Init_FreeType(&library), 0);
  FT_Face source = nullptr;
  ASSERT_EQ(FT_New_Memory_Face(library, reinterpret_cast<const FT_Byte*>(file.data()), FT_Long(file.size()),
                               0, &source),
            0);
  ASSERT_EQ(FT_Long(s.subset.GlyphCount()), source->num_glyphs);
  char name[64];
  for (FT_Long i = 0; i < source->num_glyphs; ++i) {
    ASSERT_EQ(FT_Get_Glyph_Name(source, FT_UInt(i), name, sizeof name), 0);
    ASSERT_EQ(s.subset.GlyphName(uint32_t(i)), name) << i;
  }
  std::map<FT_UInt, uint32_t> kept;
  for (char32_t c : std::u32string(U"Quixotic \u00c5\u00e9")) {
    const FT_UInt g = FT_Get_Char_Index(source, c);
    if (g) kept[g] = s.subset.MapCharString(g);
  }
  ASSERT_EQ(s.subset.WriteFontProgram(), 0);
  FT_Face subset = nullptr;
  auto out = s.subset.Output();
  ASSERT_EQ(FT_New_Memory_Face(library, out.data(), FT_Long(out.size()), 0, &subset), 0);
  for (auto [old, now] : kept) {
    ASSERT_EQ(FT_Get_Glyph_Name(subset, now, name, sizeof name), 0);
    EXPECT_EQ(s.subset.GlyphName(old), name);
    ASSERT_EQ(FT_Load_Glyph(source, old, FT_LOAD_NO_SCALE | FT_LOAD_NO_HINTING), 0);
    const FT_Outline a = source->glyph->outline;
    std::vector<FT_Vector> want(a.points, a.points + a.n_points);
    ASSERT_EQ(FT_Load_Glyph(subset, now, FT_LOAD_NO_SCALE | FT_LOAD_NO_HINTING), 0);
    const FT_Outline b = subset->glyph->outline;
    ASSERT_EQ(b.n_points, a.n_points) << name;
    for (int i = 0; i < b.n_points; ++i)
      EXPECT_TRUE(b.points[i].x == want[i].x && b.points[i].y == want[i].y);
  }
  FT_Done_Face(subset);
  FT_Done_Face(source);
  FT_Done_FreeType(library);
}

INSTANTIATE_TEST_SUITE_P(Faces, Type1SubsetOfInstalledFonts,
                         ::testing::Values("/usr/share/fonts/X11/Type1/NimbusSans-Regular.pfb",
                                           "/usr/share/fonts/type1/urw-base35/NimbusRoman-Italic.t1"),
                         [](const auto& info) {
                           return std::string(info.param).ends_with(".pfb") ? "Pfb" : "Pfa";
                         });

}  // namespace
