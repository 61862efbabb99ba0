// The TrueType subsetter. All numbers of the file are big-endian; every
// offset and length taken from it is checked before it is used, and a
// read outside the file fails the parse or the build.
#include "fonts/truetype_subset.h"

#include <algorithm>
#include <new>

namespace {

constexpr uint32_t Tag(const char (&name)[5]) {
  return uint32_t(uint8_t(name[0])) << 24 | uint32_t(uint8_t(name[1])) << 16 |
         uint32_t(uint8_t(name[2])) << 8 | uint32_t(uint8_t(name[3]));
}

constexpr uint32_t kTtcf = Tag("ttcf");
constexpr uint32_t kHead = Tag("head");
constexpr uint32_t kGlyf = Tag("glyf");
constexpr uint32_t kLoca = Tag("loca");
constexpr uint32_t kMaxp = Tag("maxp");
constexpr uint32_t kHhea = Tag("hhea");
constexpr uint32_t kHmtx = Tag("hmtx");
constexpr uint32_t kVhea = Tag("vhea");
constexpr uint32_t kVmtx = Tag("vmtx");
constexpr uint32_t kOs2 = Tag("OS/2");

// The tables of the output, in the order of both the data and the
// directory: glyf leads, since the closure over composites fixes the glyph
// count that hmtx, loca and maxp are written with.
constexpr uint32_t kOrder[] = {kGlyf, kHead, kHhea,       kHmtx,       kVhea,       kVmtx,
                               kLoca, kMaxp, Tag("name"), Tag("cvt "), Tag("fpgm"), Tag("prep")};

constexpr uint32_t kHeadMagic = 0x5F0F3CF5;
constexpr uint32_t kChecksumBase = 0xB1B0AFBA;

// Composite glyph flags.
constexpr uint16_t kArgsAreWords = 0x0001;
constexpr uint16_t kHaveScale = 0x0008;
constexpr uint16_t kMoreComponents = 0x0020;
constexpr uint16_t kHaveXYScale = 0x0040;
constexpr uint16_t kHaveTwoByTwo = 0x0080;

uint16_t Get16(const uint8_t* p) { return uint16_t(p[0] << 8 | p[1]); }
uint32_t Get32(const uint8_t* p) {
  return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}

void Put16(std::vector<uint8_t>& out, uint16_t v) {
  out.push_back(uint8_t(v >> 8));
  out.push_back(uint8_t(v));
}
void Put32(std::vector<uint8_t>& out, uint32_t v) {
  Put16(out, uint16_t(v >> 16));
  Put16(out, uint16_t(v));
}
void Set16(std::vector<uint8_t>& out, size_t at, uint16_t v) {
  out[at] = uint8_t(v >> 8);
  out[at + 1] = uint8_t(v);
}
void Set32(std::vector<uint8_t>& out, size_t at, uint32_t v) {
  Set16(out, at, uint16_t(v >> 16));
  Set16(out, at + 2, uint16_t(v));
}

// The checksum these files carry: the 32-bit words of the range (its
// length rounded up to 4, the bytes behind it taken as they stand), each
// read in little-endian order.
uint32_t LittleEndianSum(const std::vector<uint8_t>& bytes, size_t from, size_t length) {
  uint32_t sum = 0;
  for (size_t at = from; at < from + length; at += 4) {
    uint32_t word = 0;
    for (size_t i = 0; i < 4; ++i) word |= uint32_t(at + i < bytes.size() ? bytes[at + i] : 0) << (8 * i);
    sum += word;
  }
  return sum;
}

}  // namespace

CKMC_TrueTypeSubset::CKMC_TrueTypeSubset(uint32_t faceIndex, CKMC_FontReadProc read, void* context)
    : read(read), context(context) {
  uint32_t start = 0, tag = 0;
  if (!ReadU32(0, tag)) return;
  if (tag == kTtcf) {
    uint32_t faces = 0;
    if (!ReadU32(8, faces) || faceIndex >= faces || !ReadU32(12 + 4 * uint64_t{faceIndex}, start)) return;
  }
  // A directory longer than the file fails before room is made for it.
  uint8_t last;
  if (!ReadU16(uint64_t{start} + 4, tableCount) || tableCount == 0 ||
      !Read(uint64_t{start} + 12 + 16 * uint64_t{tableCount} - 1, &last, 1))
    return;
  std::vector<uint8_t> directory(size_t{tableCount} * 16);
  if (!Read(uint64_t{start} + 12, directory.data(), directory.size())) return;
  tables.resize(tableCount);
  for (size_t i = 0; i < tableCount; ++i) {
    const uint8_t* entry = directory.data() + 16 * i;
    tables[i] = {Get32(entry), Get32(entry + 4), Get32(entry + 8), Get32(entry + 12)};
  }

  const Table* head = FindTable(kHead);
  const Table* maxp = FindTable(kMaxp);
  if (!head || !maxp || !FindTable(kGlyf) || head->length < 54 || maxp->length < 6) return;
  uint32_t magic = 0;
  if (!ReadU32(uint64_t{head->offset} + 12, magic) || magic != kHeadMagic) return;
  if (!ReadU16(uint64_t{head->offset} + 50, indexToLocFormat) || indexToLocFormat > 1) return;
  if (!ReadU16(uint64_t{maxp->offset} + 4, numGlyphs) || numGlyphs == 0) return;
  glyphs.assign(size_t{numGlyphs} + 1, Glyph{});
  newIndex.assign(numGlyphs, 0);
  status = 0;
}

const CKMC_TrueTypeSubset::Table* CKMC_TrueTypeSubset::FindTable(uint32_t tag) const {
  for (const Table& table : tables)
    if (table.tag == tag) return &table;
  return nullptr;
}

bool CKMC_TrueTypeSubset::Read(uint64_t offset, void* buffer, size_t length) const {
  return read(context, offset, buffer, length) == 0;
}

bool CKMC_TrueTypeSubset::ReadU16(uint64_t offset, uint16_t& value) const {
  uint8_t bytes[2];
  if (!Read(offset, bytes, 2)) return false;
  value = Get16(bytes);
  return true;
}

bool CKMC_TrueTypeSubset::ReadU32(uint64_t offset, uint32_t& value) const {
  uint8_t bytes[4];
  if (!Read(offset, bytes, 4)) return false;
  value = Get32(bytes);
  return true;
}

uint16_t CKMC_TrueTypeSubset::GetEmbeddingBits() {
  const Table* os2 = FindTable(kOs2);
  uint16_t fsType = 0;
  if (!os2 || os2->length < 10 || !ReadU16(uint64_t{os2->offset} + 8, fsType)) return 0;
  return fsType;
}

uint16_t CKMC_TrueTypeSubset::MapOldGlyph(uint32_t oldGlyph) {
  if (status != 0 || oldGlyph == 0 || oldGlyph >= numGlyphs) return 0;
  if (newIndex[oldGlyph] == 0) {
    // At most numGlyphs - 1 glyphs besides .notdef: the index stays below
    // numGlyphs, and `glyphs` has room for the end entry behind it.
    glyphs[nextGlyph].oldIndex = oldGlyph;
    newIndex[oldGlyph] = nextGlyph++;
  }
  return newIndex[oldGlyph];
}

bool CKMC_TrueTypeSubset::CopySource(uint64_t offset, uint32_t length) {
  // The last byte is read first, so that a length the file cannot hold
  // fails before any room is made for it.
  uint8_t last;
  if (length != 0 && !Read(offset + length - 1, &last, 1)) return false;
  const size_t at = output.size();
  output.resize(at + length);
  return Read(offset, output.data() + at, length);
}

int CKMC_TrueTypeSubset::CopyTable(uint32_t tag) {
  const Table* table = FindTable(tag);
  if (!table) return -2;
  return CopySource(table->offset, table->length) ? 0 : -1;
}

// Sets the 16-bit count at byte `at` of the table just copied to `count`.
int CKMC_TrueTypeSubset::PatchCount(uint32_t tag, size_t at, uint16_t count, int copied) {
  if (copied != 0) return copied;
  const Table* table = FindTable(tag);
  if (table->length < at + 2) return -1;
  Set16(output, output.size() - table->length + at, count);
  return 0;
}

int CKMC_TrueTypeSubset::WriteGlyf() {
  const Table* glyf = FindTable(kGlyf);
  const Table* locaTable = FindTable(kLoca);
  if (!locaTable) return -1;
  const size_t entrySize = indexToLocFormat == 0 ? 2 : 4;
  const size_t entries = size_t{numGlyphs} + 1;
  if (locaTable->length / entrySize < entries) return -1;
  std::vector<uint8_t> raw(entries * entrySize);
  if (!Read(locaTable->offset, raw.data(), raw.size())) return -1;
  auto loca = [&](uint32_t index) -> uint64_t {
    const uint8_t* p = raw.data() + size_t{index} * entrySize;
    return entrySize == 2 ? uint64_t{Get16(p)} * 2 : Get32(p);
  };

  const size_t tableStart = output.size();
  // The walk takes in the components of composites as it meets them, so
  // `nextGlyph` grows while it runs; each glyph is visited once.
  for (uint32_t i = 0; i < nextGlyph; ++i) {
    const uint32_t written = uint32_t(output.size() - tableStart);
    glyphs[i].newOffset = written;
    const uint32_t old = glyphs[i].oldIndex;
    const uint64_t start = loca(old), end = loca(old + 1);
    if (end < start || end > glyf->length) return -1;
    const uint32_t length = uint32_t(end - start);
    // Glyphs in ascending locations never hold more than the source table
    // together; more means locations that overlap, which could otherwise
    // copy the same bytes once per glyph.
    if (uint64_t{written} + length > glyf->length) return -1;
    if (length == 0) continue;  // an empty glyph, such as the space
    const size_t at = output.size();
    if (!CopySource(uint64_t{glyf->offset} + start, length)) return -1;
    if (length < 10 || static_cast<int16_t>(Get16(&output[at])) >= 0) continue;
    // A composite: renumber each component, taking it into the subset.
    size_t component = 10;
    for (;;) {
      if (component + 4 > length) break;
      const uint16_t flags = Get16(&output[at + component]);
      const uint16_t glyph = Get16(&output[at + component + 2]);
      Set16(output, at + component + 2, MapOldGlyph(glyph));
      if (!(flags & kMoreComponents)) break;
      component += (flags & kArgsAreWords) ? 8 : 6;
      if (flags & kHaveScale)
        component += 2;
      else if (flags & kHaveXYScale)
        component += 4;
      else if (flags & kHaveTwoByTwo)
        component += 8;
    }
  }
  glyphs[nextGlyph].newOffset = uint32_t(output.size() - tableStart);
  return 0;
}

int CKMC_TrueTypeSubset::WriteMetrics(uint32_t headTag, uint32_t metricsTag) {
  const Table* header = FindTable(headTag);
  const Table* metrics = FindTable(metricsTag);
  if (!metrics) return -2;
  uint16_t longMetrics = 0;
  if (!header || header->length < 36 || !ReadU16(uint64_t{header->offset} + 34, longMetrics) ||
      longMetrics == 0)
    return -1;
  for (uint32_t i = 0; i < nextGlyph; ++i) {
    const uint32_t old = glyphs[i].oldIndex;
    const uint64_t base = metrics->offset;
    // Glyphs behind the long metrics share the last advance and keep their
    // own side bearing.
    const uint64_t advanceAt = base + 4 * uint64_t{std::min<uint32_t>(old, longMetrics - 1u)};
    const uint64_t bearingAt = old < longMetrics
                                   ? base + 4 * uint64_t{old} + 2
                                   : base + 4 * uint64_t{longMetrics} + 2 * uint64_t{old - longMetrics};
    const uint64_t end = old < longMetrics ? 4 * uint64_t{old} + 4
                                           : 4 * uint64_t{longMetrics} + 2 * uint64_t{old - longMetrics} + 2;
    if (end > metrics->length) return -1;
    uint16_t advance = 0, bearing = 0;
    if (!ReadU16(advanceAt, advance) || !ReadU16(bearingAt, bearing)) return -1;
    Put16(output, advance);
    Put16(output, bearing);
  }
  return 0;
}

int CKMC_TrueTypeSubset::WriteLoca() {
  for (uint32_t i = 0; i <= nextGlyph; ++i) {
    // A short table halves the offsets; an odd one loses its last bit.
    if (indexToLocFormat == 0)
      Put16(output, uint16_t(glyphs[i].newOffset / 2));
    else
      Put32(output, glyphs[i].newOffset);
  }
  return 0;
}

int CKMC_TrueTypeSubset::BuildSubset() {
  if (status != 0) return -1;
  try {
    auto wanted = [&](uint32_t tag) {
      if ((tag == kHhea || tag == kHmtx) && !(metricFlags & 1)) return false;
      if ((tag == kVhea || tag == kVmtx) && !(metricFlags & 2)) return false;
      return FindTable(tag) != nullptr;
    };
    uint16_t count = 0;
    for (uint32_t tag : kOrder) count += wanted(tag);
    uint16_t power = 1, selector = 0;
    while (power * 2 <= count) {
      power *= 2;
      ++selector;
    }
    output.clear();
    Put32(output, 0x00010000);
    Put16(output, count);
    Put16(output, uint16_t(16 * power));
    Put16(output, selector);
    Put16(output, uint16_t(16 * count - 16 * power));
    output.resize(12 + 16 * size_t{count});

    size_t entry = 12;
    for (uint32_t tag : kOrder) {
      if (!wanted(tag)) continue;
      const size_t start = output.size();
      int rc;
      switch (tag) {
        case kGlyf:
          rc = WriteGlyf();
          break;
        case kHead:
          rc = CopyTable(tag);
          if (rc == 0 && FindTable(tag)->length >= 12) {
            checkSumOffset = start + 8;
            Set32(output, checkSumOffset, 0);
          }
          break;
        case kHhea:
        case kVhea:
          rc = PatchCount(tag, 34, nextGlyph, CopyTable(tag));
          break;
        case kHmtx:
          rc = WriteMetrics(kHhea, kHmtx);
          break;
        case kVmtx:
          rc = WriteMetrics(kVhea, kVmtx);
          break;
        case kLoca:
          rc = WriteLoca();
          break;
        case kMaxp:
          rc = PatchCount(tag, 4, nextGlyph, CopyTable(tag));
          break;
        default:
          rc = CopyTable(tag);
          break;
      }
      if (rc == -2) continue;
      if (rc != 0) return -1;
      const size_t length = output.size() - start;
      output.resize(start + (length + 3) / 4 * 4, 0);
      Set32(output, entry, tag);
      Set32(output, entry + 4, LittleEndianSum(output, start, length));
      Set32(output, entry + 8, uint32_t(start));
      Set32(output, entry + 12, uint32_t(length));
      entry += 16;
    }
    if (checkSumOffset != 0)
      Set32(output, checkSumOffset, kChecksumBase - LittleEndianSum(output, 0, output.size()));
    return 0;
  } catch (const std::bad_alloc&) {
    output.clear();
    return -1;
  }
}
