// The TrueType subsetter. All numbers of the file are big-endian and are
// decoded by the byte reader from bytes read through the callback; every
// offset and length taken from the file is checked before it is used, and
// a read outside the file fails the parse or the build.
#include "fonts/truetype_subset.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <span>

#include "base/byte_reader.h"

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
// directory, which is not sorted by tag.
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

void Put16(std::vector<uint8_t>& out, uint16_t value) {
  out.push_back(uint8_t(value >> 8));
  out.push_back(uint8_t(value));
}
void Put32(std::vector<uint8_t>& out, uint32_t value) {
  Put16(out, uint16_t(value >> 16));
  Put16(out, uint16_t(value));
}
void Set16(std::vector<uint8_t>& out, size_t at, uint16_t value) {
  out[at] = uint8_t(value >> 8);
  out[at + 1] = uint8_t(value);
}
void Set32(std::vector<uint8_t>& out, size_t at, uint32_t value) {
  Set16(out, at, uint16_t(value >> 16));
  Set16(out, at + 2, uint16_t(value));
}

snk::ByteReader ReaderOver(const std::vector<uint8_t>& bytes) {
  return snk::ByteReader(std::as_bytes(std::span<const uint8_t>(bytes)));
}

// The big-endian numbers at the start of `bytes`, read in order.
bool FirstNumbers(const std::vector<uint8_t>& bytes, uint32_t& value) {
  return ReaderOver(bytes).ReadU32BE(value);
}
bool FirstNumbers(const std::vector<uint8_t>& bytes, uint16_t& value) {
  return ReaderOver(bytes).ReadU16BE(value);
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
  if (!ReadDirectory(faceIndex) || !ReadHeaders()) return;
  oldIndex.assign(1, 0);
  newIndex.assign(numGlyphs, 0);
  status = 0;
}

bool CKMC_TrueTypeSubset::AppendSource(uint64_t offset, size_t length, std::vector<uint8_t>& bytes) const {
  // The last byte is read first, so that a length the file cannot hold
  // fails before any room is made for it.
  uint8_t last;
  if (length != 0 && read(context, offset + length - 1, &last, 1) != 0) return false;
  const size_t at = bytes.size();
  bytes.resize(at + length);
  return read(context, offset, bytes.data() + at, length) == 0;
}

bool CKMC_TrueTypeSubset::ReadSource(uint64_t offset, size_t length, std::vector<uint8_t>& bytes) const {
  bytes.clear();
  return AppendSource(offset, length, bytes);
}

bool CKMC_TrueTypeSubset::ReadTableStart(const Table* table, size_t length,
                                         std::vector<uint8_t>& bytes) const {
  return table && table->length >= length && ReadSource(table->offset, length, bytes);
}

bool CKMC_TrueTypeSubset::ReadDirectory(uint32_t faceIndex) {
  std::vector<uint8_t> bytes;
  uint32_t start = 0, tag = 0;
  if (!ReadSource(0, 4, bytes) || !FirstNumbers(bytes, tag)) return false;
  if (tag == kTtcf) {
    uint32_t faces = 0;
    if (!ReadSource(8, 4, bytes) || !FirstNumbers(bytes, faces) || faceIndex >= faces) return false;
    if (!ReadSource(12 + 4 * uint64_t{faceIndex}, 4, bytes) || !FirstNumbers(bytes, start)) return false;
  }
  uint16_t tableCount = 0;
  if (!ReadSource(uint64_t{start} + 4, 2, bytes) || !FirstNumbers(bytes, tableCount) || tableCount == 0)
    return false;
  if (!ReadSource(uint64_t{start} + 12, 16 * size_t{tableCount}, bytes)) return false;
  snk::ByteReader directory = ReaderOver(bytes);
  tables.resize(tableCount);
  for (Table& table : tables) {
    directory.ReadU32BE(table.tag);
    directory.ReadU32BE(table.checksum);
    directory.ReadU32BE(table.offset);
    directory.ReadU32BE(table.length);
  }
  return !directory.failed();
}

bool CKMC_TrueTypeSubset::ReadHeaders() {
  const Table* head = FindTable(kHead);
  const Table* maxp = FindTable(kMaxp);
  if (!head || !maxp || !FindTable(kGlyf) || head->length < 54 || maxp->length < 6) return false;
  // head: the magic number at 12, indexToLocFormat at 50; maxp: numGlyphs
  // at 4.
  std::vector<uint8_t> bytes;
  uint32_t magic = 0;
  if (!ReadSource(head->offset, 52, bytes)) return false;
  snk::ByteReader header = ReaderOver(bytes);
  if (!header.Seek(12) || !header.ReadU32BE(magic) || magic != kHeadMagic) return false;
  if (!header.Seek(50) || !header.ReadU16BE(indexToLocFormat) || indexToLocFormat > 1) return false;
  if (!ReadSource(uint64_t{maxp->offset} + 4, 2, bytes) || !FirstNumbers(bytes, numGlyphs)) return false;
  return numGlyphs != 0;
}

const CKMC_TrueTypeSubset::Table* CKMC_TrueTypeSubset::FindTable(uint32_t tag) const {
  for (const Table& table : tables)
    if (table.tag == tag) return &table;
  return nullptr;
}

uint16_t CKMC_TrueTypeSubset::GetEmbeddingBits() {
  const Table* os2 = FindTable(kOs2);
  std::vector<uint8_t> bytes;
  uint16_t fsType = 0;
  if (!os2 || os2->length < 10 || !ReadSource(uint64_t{os2->offset} + 8, 2, bytes) ||
      !FirstNumbers(bytes, fsType))
    return 0;
  return fsType;
}

uint16_t CKMC_TrueTypeSubset::MapOldGlyph(uint32_t oldGlyph) {
  if (status != 0 || oldGlyph == 0 || oldGlyph >= numGlyphs) return 0;
  if (newIndex[oldGlyph] == 0) {
    // At most numGlyphs - 1 glyphs besides .notdef: the index stays below
    // numGlyphs.
    newIndex[oldGlyph] = static_cast<uint16_t>(oldIndex.size());
    oldIndex.push_back(oldGlyph);
  }
  return newIndex[oldGlyph];
}

// ------------------------------------------------------------ the plan

bool CKMC_TrueTypeSubset::PlanGlyphs(GlyphPlan& plan) {
  const Table* glyf = FindTable(kGlyf);
  const Table* loca = FindTable(kLoca);
  if (!loca) return false;
  const size_t entrySize = indexToLocFormat == 0 ? 2 : 4;
  const size_t entries = size_t{numGlyphs} + 1;
  std::vector<uint8_t> bytes;
  if (loca->length / entrySize < entries || !ReadSource(loca->offset, entries * entrySize, bytes))
    return false;
  snk::ByteReader locations = ReaderOver(bytes);
  auto location = [&](uint32_t index) -> uint64_t {
    // Inside the entries read: the index is at most numGlyphs.
    locations.Seek(size_t{index} * entrySize);
    uint16_t half = 0;
    uint32_t full = 0;
    if (entrySize == 2) return locations.ReadU16BE(half) ? uint64_t{half} * 2 : 0;
    return locations.ReadU32BE(full) ? full : 0;
  };

  plan.glyphs.clear();
  uint32_t written = 0;
  // The walk takes in the components of composites as it meets them, so
  // `oldIndex` grows while it runs; each glyph is visited once.
  for (size_t next = 0; next < oldIndex.size(); ++next) {
    const uint32_t old = oldIndex[next];
    const uint64_t start = location(old), end = location(old + 1);
    if (end < start || end > glyf->length) return false;
    PlannedGlyph glyph;
    glyph.sourceOffset = uint32_t(start);
    glyph.length = uint32_t(end - start);
    glyph.newOffset = written;
    // Glyphs in ascending locations never hold more than the source table
    // together; more means locations that overlap, which could otherwise
    // copy the same bytes once per glyph.
    if (uint64_t{written} + glyph.length > glyf->length) return false;
    // A glyph shorter than its header is copied as it stands.
    if (glyph.length >= 10 && !PlanComponents(uint64_t{glyf->offset} + start, glyph)) return false;
    written += glyph.length;
    plan.glyphs.push_back(std::move(glyph));
  }
  plan.glyfLength = written;
  return true;
}

bool CKMC_TrueTypeSubset::PlanComponents(uint64_t at, PlannedGlyph& glyph) {
  // A negative contour count marks a composite; only then is the rest read.
  std::vector<uint8_t> bytes;
  uint16_t contours = 0;
  if (!ReadSource(at, 2, bytes) || !FirstNumbers(bytes, contours)) return false;
  if (static_cast<int16_t>(contours) >= 0) return true;
  if (!ReadSource(at, glyph.length, bytes)) return false;
  snk::ByteReader reader = ReaderOver(bytes);
  // A composite: from byte 10 on, each component's flags and glyph index,
  // then its arguments and transform, whose size the flags tell.
  size_t component = 10;
  uint16_t flags = 0, index = 0;
  while (reader.Seek(component) && reader.ReadU16BE(flags) && reader.ReadU16BE(index)) {
    glyph.components.push_back(Component{uint32_t(component + 2), MapOldGlyph(index)});
    if (!(flags & kMoreComponents)) break;
    component += (flags & kArgsAreWords) ? 8 : 6;
    if (flags & kHaveScale)
      component += 2;
    else if (flags & kHaveXYScale)
      component += 4;
    else if (flags & kHaveTwoByTwo)
      component += 8;
  }
  return true;
}

// ------------------------------------------------------------ the tables

int CKMC_TrueTypeSubset::CopyTable(uint32_t tag) {
  const Table* table = FindTable(tag);
  if (!table) return -2;
  return AppendSource(table->offset, table->length, output) ? 0 : -1;
}

// Sets the 16-bit count at byte `at` of the table just copied to `count`.
int CKMC_TrueTypeSubset::PatchCount(uint32_t tag, size_t at, uint16_t count, int copied) {
  if (copied != 0) return copied;
  const Table* table = FindTable(tag);
  if (table->length < at + 2) return -1;
  Set16(output, output.size() - table->length + at, count);
  return 0;
}

int CKMC_TrueTypeSubset::WriteGlyf(const GlyphPlan& plan) {
  const Table* glyf = FindTable(kGlyf);
  for (const PlannedGlyph& glyph : plan.glyphs) {
    if (glyph.length == 0) continue;  // an empty glyph, such as the space
    const size_t at = output.size();
    if (!AppendSource(uint64_t{glyf->offset} + glyph.sourceOffset, glyph.length, output)) return -1;
    for (const Component& component : glyph.components) Set16(output, at + component.at, component.newIndex);
  }
  return 0;
}

int CKMC_TrueTypeSubset::WriteMetrics(uint32_t headTag, uint32_t metricsTag) {
  const Table* metrics = FindTable(metricsTag);
  if (!metrics) return -2;
  // numberOfHMetrics (or its vertical twin) at byte 34 of the header.
  std::vector<uint8_t> bytes;
  uint16_t longMetrics = 0;
  if (!ReadTableStart(FindTable(headTag), 36, bytes)) return -1;
  snk::ByteReader header = ReaderOver(bytes);
  if (!header.Seek(34) || !header.ReadU16BE(longMetrics) || longMetrics == 0) return -1;
  // Each kept glyph's advance and side bearing; glyphs behind the long
  // metrics share the last advance and keep their own side bearing.
  struct Place {
    uint64_t advanceAt, bearingAt;
  };
  std::vector<Place> places;
  uint64_t needed = 0;
  for (uint32_t old : oldIndex) {
    const uint64_t advanceAt = 4 * uint64_t{std::min<uint32_t>(old, longMetrics - 1u)};
    const uint64_t bearingAt = old < longMetrics
                                   ? 4 * uint64_t{old} + 2
                                   : 4 * uint64_t{longMetrics} + 2 * uint64_t{old - longMetrics};
    if (bearingAt + 2 > metrics->length) return -1;
    places.push_back(Place{advanceAt, bearingAt});
    needed = std::max(needed, bearingAt + 2);
  }
  if (!ReadSource(metrics->offset, size_t(needed), bytes)) return -1;
  snk::ByteReader reader = ReaderOver(bytes);
  for (const Place& place : places) {
    uint16_t advance = 0, bearing = 0;
    reader.Seek(size_t(place.advanceAt));
    reader.ReadU16BE(advance);
    reader.Seek(size_t(place.bearingAt));
    reader.ReadU16BE(bearing);
    Put16(output, advance);
    Put16(output, bearing);
  }
  return reader.failed() ? -1 : 0;
}

int CKMC_TrueTypeSubset::WriteLoca(const GlyphPlan& plan) {
  // A short table halves the offsets; an odd one loses its last bit.
  auto put = [&](uint32_t offset) {
    if (indexToLocFormat == 0)
      Put16(output, uint16_t(offset / 2));
    else
      Put32(output, offset);
  };
  for (const PlannedGlyph& glyph : plan.glyphs) put(glyph.newOffset);
  put(plan.glyfLength);
  return 0;
}

int CKMC_TrueTypeSubset::WriteTable(uint32_t tag, const GlyphPlan& plan, size_t& checkSumOffset) {
  const uint16_t count = GlyphCount();
  const size_t start = output.size();
  switch (tag) {
    case kGlyf:
      return WriteGlyf(plan);
    case kHead: {
      const int copied = CopyTable(tag);
      if (copied == 0 && FindTable(tag)->length >= 12) {
        checkSumOffset = start + 8;
        Set32(output, checkSumOffset, 0);
      }
      return copied;
    }
    case kHhea:
    case kVhea:
      return PatchCount(tag, 34, count, CopyTable(tag));
    case kHmtx:
      return WriteMetrics(kHhea, kHmtx);
    case kVmtx:
      return WriteMetrics(kVhea, kVmtx);
    case kLoca:
      return WriteLoca(plan);
    case kMaxp:
      return PatchCount(tag, 4, count, CopyTable(tag));
    default:
      return CopyTable(tag);
  }
}

int CKMC_TrueTypeSubset::BuildSubset() {
  if (status != 0) return -1;
  output.clear();
  try {
    GlyphPlan plan;
    if (!PlanGlyphs(plan)) return -1;
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
    Put32(output, 0x00010000);
    Put16(output, count);
    Put16(output, uint16_t(16 * power));
    Put16(output, selector);
    Put16(output, uint16_t(16 * count - 16 * power));
    output.resize(12 + 16 * size_t{count});

    size_t entry = 12, checkSumOffset = 0;
    for (uint32_t tag : kOrder) {
      if (!wanted(tag)) continue;
      const size_t start = output.size();
      const int written = WriteTable(tag, plan, checkSumOffset);
      if (written == -2) continue;
      if (written != 0) {
        output.clear();
        return -1;
      }
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
