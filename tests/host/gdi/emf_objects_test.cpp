// Decoders of region data and of brush and mask bitmaps: the mono colours,
// run lengths cut short and headers that lie. The depths and layouts are
// in dib_source_test.cpp.
#include "host/gdi/emf_objects.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace snk::gdi {
namespace {

using Bytes = std::vector<std::byte>;

void Put16(Bytes& b, uint32_t v) {
  b.push_back(std::byte(v & 0xFF));
  b.push_back(std::byte(v >> 8 & 0xFF));
}
void Put32(Bytes& b, uint32_t v) {
  Put16(b, v & 0xFFFF);
  Put16(b, v >> 16);
}
Bytes Raw(std::initializer_list<int> values) {
  Bytes b;
  for (int v : values) b.push_back(std::byte(v));
  return b;
}
Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// A BITMAPINFOHEADER of `size` bytes (40, or 108/124 for V4/V5 with masks).
Bytes InfoHeader(int32_t width, int32_t height, uint16_t bitCount, uint32_t compression = 0,
                 uint32_t clrUsed = 0, uint32_t size = 40, std::initializer_list<uint32_t> masks = {}) {
  Bytes b;
  Put32(b, size);
  Put32(b, uint32_t(width));
  Put32(b, uint32_t(height));
  Put16(b, 1);
  Put16(b, bitCount);
  Put32(b, compression);
  Put32(b, 0);
  Put32(b, 2835);
  Put32(b, 2835);
  Put32(b, clrUsed);
  Put32(b, 0);
  for (uint32_t m : masks) Put32(b, m);
  b.resize(std::max<size_t>(b.size(), size));
  return b;
}

// Colour table entries as RGBQUADs from COLORREFs.
Bytes Table(std::initializer_list<uint32_t> colors) {
  Bytes b;
  for (uint32_t c : colors) b = b + Raw({int(c >> 16 & 0xFF), int(c >> 8 & 0xFF), int(c & 0xFF), 0});
  return b;
}

constexpr uint32_t kRed = 0x0000FF, kGreen = 0x00FF00, kBlue = 0xFF0000, kWhite = 0xFFFFFF;

std::optional<DibPixels> Decode(const Bytes& info, const Bytes& bits, std::string* fault = nullptr,
                                uint32_t usage = DIB_RGB_COLORS, const uint32_t* mono = nullptr) {
  return DecodeDib(info, bits, usage, mono, fault);
}

TEST(EmfObjects, RegionDataUnitesWellFormedRectangles) {
  auto region = [](uint32_t size, uint32_t type, uint32_t count, std::initializer_list<RECTL> rects) {
    Bytes b;
    Put32(b, size);
    Put32(b, type);
    Put32(b, count);
    Put32(b, 999);  // nRgnSize and rcBound are not trusted
    for (int i = 0; i < 4; ++i) Put32(b, 7);
    for (const RECTL& r : rects)
      for (LONG v : {r.left, r.top, r.right, r.bottom}) Put32(b, uint32_t(v));
    return b;
  };
  std::string fault;
  auto good = ParseRegionData(region(32, 1, 4, {{20, 0, 30, 10}, {0, 0, 10, 10}, {5, 5, 5, 9}, {9, 9, 3, 3}}),
                              &fault);
  ASSERT_TRUE(good) << fault;
  const std::vector<RECTL> expected{{0, 0, 10, 10}, {20, 0, 30, 10}};
  EXPECT_EQ(*good, engine::Region::FromRects(expected));
  auto empty = ParseRegionData(region(32, 1, 0, {}), &fault);
  ASSERT_TRUE(empty);
  EXPECT_TRUE(empty->Empty());

  struct Bad {
    Bytes data;
    const char* words;
  };
  const Bad bad[] = {
      {region(32, 1, 3, {{0, 0, 1, 1}, {0, 0, 2, 2}}), "nCount 3"},
      {region(32, 1, 0x10000001, {{0, 0, 1, 1}}), "nCount 268435457"},
      {region(40, 1, 0, {}), "dwSize 40"},
      {region(32, 2, 0, {}), "iType 2"},
      {Raw({32, 0, 0, 0, 1, 0}), "header needs 32"},
  };
  for (const Bad& b : bad) {
    fault.clear();
    EXPECT_FALSE(ParseRegionData(b.data, &fault));
    EXPECT_NE(fault.find(b.words), std::string::npos) << fault;
    EXPECT_FALSE(ParseRegionData(b.data, nullptr));
  }
}

TEST(EmfObjects, MonoColoursReplaceTheTable) {
  const Bytes bits = Raw({0b01000000, 0, 0, 0});
  const Bytes info = InfoHeader(2, 1, 1) + Table({kRed, kBlue});
  const uint32_t mono[2] = {0x123456, 0x654321};
  auto m = Decode(info, bits, nullptr, DIB_RGB_COLORS, mono);
  ASSERT_TRUE(m);
  EXPECT_EQ(m->pixels, (std::vector<uint32_t>{0x123456, 0x654321}));
  // With mono colours the table may be missing altogether.
  EXPECT_TRUE(Decode(InfoHeader(2, 1, 1), bits, nullptr, DIB_RGB_COLORS, mono));
}

TEST(EmfObjects, RunLengthEscapes) {
  const Bytes table = Table({0, kRed, kGreen, kBlue});
  std::string fault;
  // RLE4: 1 2 1 2 1 cut at the row's end of four, end of line, a delta one
  // right, an absolute 3 2 1 in two bytes (no padding), end of bitmap.
  const Bytes rle4 = Raw({5, 0x12, 0, 0, 0, 2, 1, 0, 0, 3, 0x32, 0x10, 0, 1});
  auto d = Decode(InfoHeader(4, 2, 4, 2, 4) + table, rle4, &fault);
  ASSERT_TRUE(d) << fault;
  EXPECT_EQ(d->pixels, (std::vector<uint32_t>{0, kBlue, kGreen, kRed, kRed, kGreen, kRed, kGreen}));

  // Data that ends between runs leaves the rest at index 0.
  d = Decode(InfoHeader(2, 1, 8, 1, 4) + table, Raw({1, 2}), &fault);
  ASSERT_TRUE(d);
  EXPECT_EQ(d->pixels, (std::vector<uint32_t>{kGreen, 0}));

  // Runs past their buffer fail with the place named.
  const Bytes cut[] = {Raw({0, 9, 1, 2, 3}), Raw({0, 2, 1}), Raw({4}), Raw({0, 3, 1, 2, 3})};
  for (const Bytes& bits : cut) {
    fault.clear();
    EXPECT_FALSE(Decode(InfoHeader(8, 8, 8, 1, 4) + table, bits, &fault));
    EXPECT_NE(fault.find("RLE8 data"), std::string::npos) << fault;
  }
  fault.clear();
  EXPECT_FALSE(Decode(InfoHeader(8, 8, 4, 2, 4) + table, Raw({0, 5, 0x12, 0x34}), &fault));
  EXPECT_NE(fault.find("RLE4 data: 4 bytes end inside an absolute run"), std::string::npos) << fault;
}

TEST(EmfObjects, LyingHeadersAndShortData) {
  const Bytes table = Table({kRed, kGreen});
  struct Bad {
    const char* name;
    Bytes info;
    Bytes bits;
    const char* words;
  };
  const Bad bad[] = {
      {"short bits", InfoHeader(40, 30, 32), Bytes(1200), "bitmap bits: 1200 bytes, rows need 4800"},
      {"row padding counts", InfoHeader(3, 2, 24), Bytes(18), "rows need 24"},
      {"biSize past the info",
       [] {
         Bytes v5 = InfoHeader(1, 1, 24, 0, 0, 124);
         v5.resize(40);
         return v5;
       }(),
       Bytes(4), "biSize says 124"},
      {"unknown header size", Raw({20, 0, 0, 0}) + Bytes(16), Bytes(4), "biSize 20"},
      {"zero width", InfoHeader(0, 1, 24), Bytes(4), "biWidth 0"},
      {"zero height", InfoHeader(1, 0, 24), Bytes(4), "biHeight 0"},
      {"most negative height", InfoHeader(1, INT32_MIN, 24), Bytes(4), "biHeight -2147483648"},
      {"too many pixels", InfoHeader(0x10000, 0x10000, 1) + table, Bytes(4), "64 Mi pixels"},
      {"huge both ways", InfoHeader(0x7FFFFFFF, -0x7FFFFFFF, 32), Bytes(4), "64 Mi pixels"},
      {"odd depth", InfoHeader(1, 1, 3), Bytes(4), "biBitCount 3"},
      {"RLE8 on 4 bits", InfoHeader(1, 1, 4, 1) + table, Bytes(4), "biCompression 1"},
      {"top-down run lengths", InfoHeader(2, -1, 8, 1, 4) + table + table, Raw({0, 1}), "bottom-up"},
      {"bitfields on 24 bits", InfoHeader(1, 1, 24, 3) + Bytes(12), Bytes(4), "biCompression 3"},
      {"bitfield masks missing", InfoHeader(1, 1, 16, 3) + Bytes(4), Bytes(4), "masks"},
      {"table cut short", InfoHeader(1, 1, 8, 0, 3) + table, Bytes(4), "colour table: 3 entries"},
      {"full table missing", InfoHeader(1, 1, 1), Bytes(4), "colour table: 2 entries"},
  };
  for (const Bad& b : bad) {
    SCOPED_TRACE(b.name);
    std::string fault;
    EXPECT_FALSE(Decode(b.info, b.bits, &fault));
    EXPECT_FALSE(fault.empty());
    EXPECT_NE(fault.find(b.words), std::string::npos) << fault;
    EXPECT_FALSE(Decode(b.info, b.bits, nullptr));
  }
  std::string fault;
  EXPECT_FALSE(DecodeDib(InfoHeader(1, 1, 24), Bytes(4), 2, nullptr, &fault));
  EXPECT_NE(fault.find("usage 2"), std::string::npos);

  // A short palette is fine: indices past it are black. Extra bits are ignored.
  auto d = Decode(InfoHeader(3, 1, 8, 0, 2) + table, Raw({1, 0, 200, 0, 77, 77}), &fault);
  ASSERT_TRUE(d) << fault;
  EXPECT_EQ(d->pixels, (std::vector<uint32_t>{kGreen, kRed, 0}));
  // biClrUsed beyond 2^n is held to 2^n.
  EXPECT_TRUE(Decode(InfoHeader(1, 1, 1, 0, 1000) + table, Bytes(4), &fault)) << fault;
}

}  // namespace
}  // namespace snk::gdi
