// Fixtures of the font catalogue tests: minimal TrueType files and
// collections built in memory (so widths and names are known exactly), glyph
// set blocks laid out as the engine lays them out, and a document writer
// whose objects are read back from its file.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/fonts/host_font.h"
#include "modules/plugin_modules.h"
#include "platform/win32.h"
#include "platform/winddi.h"
#include "services/core_module.h"
#include "test_support.h"
#include "writer/document_writer.h"

namespace snk::test {

// A face of a minimal sfnt: empty outlines, one cmap subtable (format 4)
// and the given name records.
struct TinyFace {
  uint16_t unitsPerEm = 1000;
  uint16_t cmapPlatform = 3;
  uint16_t cmapEncoding = 1;  // 0: a symbol font
  // Character code -> advance; glyph i + 1 is the i-th entry (glyph 0 is
  // .notdef with advance 0).
  std::vector<std::pair<uint16_t, uint16_t>> characters;
  struct Name {
    uint16_t platform, encoding, language, id;
    std::string bytes;
  };
  std::vector<Name> names;
  // With a value, an OS/2 table (version 0) with this fsType.
  std::optional<uint16_t> fsType;
};

namespace tiny {

inline void Put16(std::string& out, uint32_t v) {
  out += static_cast<char>((v >> 8) & 0xFF);
  out += static_cast<char>(v & 0xFF);
}
inline void Put32(std::string& out, uint32_t v) {
  Put16(out, v >> 16);
  Put16(out, v & 0xFFFF);
}

inline std::string Cmap(const TinyFace& face) {
  // One segment per character plus the closing 0xFFFF segment; glyph ids
  // through idDelta.
  std::vector<std::pair<uint16_t, uint16_t>> segments;  // (code, glyph)
  for (size_t i = 0; i < face.characters.size(); ++i)
    segments.push_back({face.characters[i].first, static_cast<uint16_t>(i + 1)});
  std::sort(segments.begin(), segments.end());
  segments.push_back({0xFFFF, 0});
  uint16_t segCount = static_cast<uint16_t>(segments.size());
  // searchRange = 2 * 2^floor(log2(segCount)), as the format asks.
  uint16_t power = 1, selector = 0;
  while (power * 2 <= segCount) {
    power = static_cast<uint16_t>(power * 2);
    ++selector;
  }
  const uint16_t searchRange = static_cast<uint16_t>(power * 2);
  std::string sub;
  Put16(sub, 4);
  Put16(sub, static_cast<uint16_t>(16 + 8 * segCount));
  Put16(sub, 0);
  Put16(sub, segCount * 2);
  Put16(sub, searchRange);
  Put16(sub, selector);
  Put16(sub, segCount * 2 - searchRange);
  for (auto& s : segments) Put16(sub, s.first);
  Put16(sub, 0);
  for (auto& s : segments) Put16(sub, s.first);
  for (auto& s : segments) Put16(sub, s.first == 0xFFFF ? 1 : static_cast<uint16_t>(s.second - s.first));
  for (size_t i = 0; i < segments.size(); ++i) Put16(sub, 0);
  std::string cmap;
  Put16(cmap, 0);
  Put16(cmap, 1);
  Put16(cmap, face.cmapPlatform);
  Put16(cmap, face.cmapEncoding);
  Put32(cmap, 12);
  return cmap + sub;
}

inline std::vector<std::pair<std::string, std::string>> Tables(const TinyFace& face) {
  const uint16_t glyphs = static_cast<uint16_t>(face.characters.size() + 1);
  std::string head;
  Put32(head, 0x00010000);
  Put32(head, 0x00010000);
  Put32(head, 0);
  Put32(head, 0x5F0F3CF5);
  Put16(head, 0);
  Put16(head, face.unitsPerEm);
  for (int i = 0; i < 4; ++i) Put32(head, 0);  // created, modified
  Put16(head, 0);
  Put16(head, static_cast<uint16_t>(-200));
  Put16(head, 1000);
  Put16(head, 800);
  Put16(head, 0);
  Put16(head, 8);
  Put16(head, 2);
  Put16(head, 0);  // short loca
  Put16(head, 0);
  std::string hhea;
  Put32(hhea, 0x00010000);
  Put16(hhea, 800);
  Put16(hhea, static_cast<uint16_t>(-200));
  Put16(hhea, 0);
  Put16(hhea, 1000);
  for (int i = 0; i < 3; ++i) Put16(hhea, 0);
  Put16(hhea, 1);
  for (int i = 0; i < 7; ++i) Put16(hhea, 0);  // caret run and offset, reserved, data format
  Put16(hhea, glyphs);
  std::string maxp;
  Put32(maxp, 0x00010000);
  Put16(maxp, glyphs);
  for (int i = 0; i < 13; ++i) Put16(maxp, i < 6 ? 1 : 0);
  std::string hmtx;
  Put16(hmtx, 0);
  Put16(hmtx, 0);
  for (auto& c : face.characters) {
    Put16(hmtx, c.second);
    Put16(hmtx, 0);
  }
  std::string loca;
  for (int i = 0; i <= glyphs; ++i) Put16(loca, 0);
  std::string glyf(4, '\0');
  std::string name;
  Put16(name, 0);
  Put16(name, static_cast<uint16_t>(face.names.size()));
  Put16(name, static_cast<uint16_t>(6 + 12 * face.names.size()));
  std::string strings;
  for (auto& n : face.names) {
    Put16(name, n.platform);
    Put16(name, n.encoding);
    Put16(name, n.language);
    Put16(name, n.id);
    Put16(name, static_cast<uint16_t>(n.bytes.size()));
    Put16(name, static_cast<uint16_t>(strings.size()));
    strings += n.bytes;
  }
  name += strings;
  // Sorted by tag.
  std::vector<std::pair<std::string, std::string>> tables = {
      {"cmap", Cmap(face)}, {"glyf", glyf}, {"head", head}, {"hhea", hhea},
      {"hmtx", hmtx},       {"loca", loca}, {"maxp", maxp}, {"name", name}};
  if (face.fsType) {
    std::string os2(78, '\0');
    os2[4] = 0x01, os2[5] = static_cast<char>(0x90);  // weight 400
    os2[7] = 5;                                       // normal width
    os2[8] = static_cast<char>(*face.fsType >> 8), os2[9] = static_cast<char>(*face.fsType & 0xFF);
    tables.insert(tables.begin(), {"OS/2", os2});
  }
  return tables;
}

// An sfnt of `tables` in the order given, placed at `base` in the file.
inline std::string Sfnt(const std::vector<std::pair<std::string, std::string>>& tables, uint32_t base = 0) {
  std::string dir, data;
  Put32(dir, 0x00010000);
  Put16(dir, static_cast<uint16_t>(tables.size()));
  Put16(dir, 128);
  Put16(dir, 3);
  Put16(dir, static_cast<uint16_t>(tables.size() * 16 - 128));
  uint32_t offset = base + 12 + 16 * static_cast<uint32_t>(tables.size());
  for (auto& [tag, bytes] : tables) {
    dir += tag;
    Put32(dir, 0);
    Put32(dir, offset + static_cast<uint32_t>(data.size()));
    Put32(dir, static_cast<uint32_t>(bytes.size()));
    data += bytes;
    while (data.size() % 4) data += '\0';
  }
  return dir + data;
}

// The table directory and tables of one face, placed at `base` in the file.
inline std::string Face(const TinyFace& face, uint32_t base) { return Sfnt(Tables(face), base); }

}  // namespace tiny

inline std::vector<uint8_t> BuildFont(const TinyFace& face) {
  std::string bytes = tiny::Face(face, 0);
  return std::vector<uint8_t>(bytes.begin(), bytes.end());
}

inline std::vector<uint8_t> BuildCollection(const std::vector<TinyFace>& faces) {
  std::string header;
  header += "ttcf";
  tiny::Put32(header, 0x00010000);
  tiny::Put32(header, static_cast<uint32_t>(faces.size()));
  uint32_t base = static_cast<uint32_t>(12 + 4 * faces.size());
  std::string body;
  for (const TinyFace& face : faces) {
    tiny::Put32(header, base + static_cast<uint32_t>(body.size()));
    body += tiny::Face(face, base + static_cast<uint32_t>(body.size()));
  }
  std::string bytes = header + body;
  return std::vector<uint8_t>(bytes.begin(), bytes.end());
}

// A full name record in UTF-16BE (Windows or Unicode platform).
inline TinyFace::Name WideName(uint16_t platform, uint16_t encoding, std::u16string_view text) {
  TinyFace::Name name{platform, encoding, platform == 3 ? uint16_t{0x409} : uint16_t{0}, 4, {}};
  for (char16_t c : text) tiny::Put16(name.bytes, c);
  return name;
}

// An FD_GLYPHSET block as the engine lays it out: the header, the runs, and
// the phg arrays behind them in the same block.
class GlyphSetBlock {
 public:
  struct Run {
    uint16_t low;
    std::vector<HGLYPH> glyphs;  // empty: a run of `count` handles equal to the values
    uint16_t count = 0;
  };
  explicit GlyphSetBlock(const std::vector<Run>& runs) {
    size_t header = offsetof(FD_GLYPHSET, awcrun) + runs.size() * sizeof(WCRUN);
    size_t size = header;
    for (const Run& run : runs) size += run.glyphs.size() * sizeof(HGLYPH);
    storage_.assign((size + 7) / 8 + 1, 0);
    auto* set = Set();
    set->cjThis = static_cast<ULONG>(size);
    set->cRuns = static_cast<ULONG>(runs.size());
    auto* bytes = reinterpret_cast<uint8_t*>(set);
    size_t at = header;
    for (size_t i = 0; i < runs.size(); ++i) {
      WCRUN& run = set->awcrun[i];
      run.wcLow = runs[i].low;
      run.cGlyphs = runs[i].glyphs.empty() ? runs[i].count : static_cast<USHORT>(runs[i].glyphs.size());
      run.phg = nullptr;
      if (!runs[i].glyphs.empty()) {
        run.phg = reinterpret_cast<HGLYPH*>(bytes + at);
        std::memcpy(bytes + at, runs[i].glyphs.data(), runs[i].glyphs.size() * sizeof(HGLYPH));
        at += runs[i].glyphs.size() * sizeof(HGLYPH);
      }
      set->cGlyphsSupported += run.cGlyphs;
    }
  }
  FD_GLYPHSET* Set() { return reinterpret_cast<FD_GLYPHSET*>(storage_.data()); }

 private:
  std::vector<uint64_t> storage_;
};

// An IFIMETRICS block: the structure, then the names and the charset list
// it points at. Set `metrics` and the parts, then call Build.
class IfiBlock {
 public:
  IfiBlock() {
    metrics.fwdUnitsPerEm = 1000;
    metrics.usWinWeight = 400;
  }
  const IFIMETRICS& Build() {
    std::string tail;
    auto text = [&](std::u16string_view value) {
      PTRDIFF at = static_cast<PTRDIFF>(sizeof(IFIMETRICS) + tail.size());
      for (char16_t c : value) tail.append(reinterpret_cast<const char*>(&c), 2);
      tail.append(2, '\0');
      return at;
    };
    IFIMETRICS head = metrics;
    head.dpwszFamilyName = text(family);
    head.dpwszFaceName = text(face);
    head.dpwszUniqueName = text(unique);
    head.dpwszStyleName = text(u"Regular");
    head.dpCharSets = static_cast<PTRDIFF>(sizeof(IFIMETRICS) + tail.size());
    tail.append(charsets);
    head.cjThis = static_cast<ULONG>(sizeof(IFIMETRICS) + tail.size());
    storage_.assign(head.cjThis / 8 + 1, 0);
    std::memcpy(storage_.data(), &head, sizeof head);
    std::memcpy(reinterpret_cast<char*>(storage_.data()) + sizeof head, tail.data(), tail.size());
    return *reinterpret_cast<const IFIMETRICS*>(storage_.data());
  }

  IFIMETRICS metrics{};
  std::u16string family = u"Tiny Sans";
  std::u16string face = u"Tiny Sans";
  std::u16string unique = u"Tiny Sans Regular";
  std::string charsets = std::string("\x00\x01", 2);

 private:
  std::vector<uint64_t> storage_;
};

// A document writer whose objects go to a file in the test's folder.
class WriterTest : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    while (writer_.ObjectCount() < 4) writer_.NewObjectNumber();
    writer_.AttachFile(CreateFileW(Path("objects").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                   FILE_ATTRIBUTE_NORMAL, nullptr));
  }
  void TearDown() override {
    writer_.CloseFile();
    HostTest::TearDown();
  }
  // Everything written so far.
  std::string Objects() {
    writer_.CloseFile();
    return ReadFile(Dir() / "objects");
  }

  CKMC_DocumentWriter writer_;
};

// A writer test with the core module started, which realizes fonts through
// the host and keeps them for the test's length.
class FontCatalogueTest : public WriterTest {
 protected:
  void SetUp() override {
    WriterTest::SetUp();
    CKMC_CoreModule::Shutdown();
    ASSERT_NE(CKMC_CoreModule::Startup(nullptr, &RegisterPluginModules), nullptr);
  }
  void TearDown() override {
    CKMC_CoreModule::Shutdown();
    WriterTest::TearDown();
  }

  // An installed face, or null with a test failure.
  snk::fonts::HostFont* RealizeFace(std::u16string face, int32_t weight = 400) {
    snk::fonts::FontRequest request;
    request.faceName = std::move(face);
    request.height = -100;
    request.weight = weight;
    std::string error;
    hostFonts_.push_back(snk::fonts::HostFont::Realize(request, &error));
    EXPECT_NE(hostFonts_.back(), nullptr) << error;
    return hostFonts_.back().get();
  }
  // A face made of `file`'s bytes, asked for as `family`.
  snk::fonts::HostFont* RealizeBytes(std::u16string family, std::vector<uint8_t> file) {
    snk::fonts::FontRequest request;
    request.faceName = std::move(family);
    request.height = -100;
    std::string error;
    hostFonts_.push_back(snk::fonts::HostFont::RealizeFromBytes(request, std::move(file), 0, "tiny", &error));
    EXPECT_NE(hostFonts_.back(), nullptr) << error;
    return hostFonts_.back().get();
  }

  std::vector<std::unique_ptr<snk::fonts::HostFont>> hostFonts_;
};

}  // namespace snk::test
