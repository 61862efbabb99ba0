#include <gtest/gtest.h>

#include <cstdio>
#include <random>

#include "base/binary_buf.h"
#include "base/byte_reader.h"
#include "base/byte_string.h"
#include "base/map.h"
#include "base/number_format.h"

namespace {

TEST(NumberFormat, FixedThreeDecimalsWithZerosCut) {
  EXPECT_EQ(snk::FormatNumber(0), "0");
  EXPECT_EQ(snk::FormatNumber(100), "100");
  EXPECT_EQ(snk::FormatNumber(1.5), "1.5");
  EXPECT_EQ(snk::FormatNumber(612.0), "612");
  EXPECT_EQ(snk::FormatNumber(0.498), "0.498");
  EXPECT_EQ(snk::FormatNumber(0.0004), "0");
  EXPECT_EQ(snk::FormatNumber(-0.0001), "-0");
  EXPECT_EQ(snk::FormatNumber(-2.25), "-2.25");
  EXPECT_EQ(snk::FormatNumber(9007199254740992.0), "9007199254740992");
}

TEST(NumberFormat, AgreesWithPrintfOnRandomValues) {
  std::mt19937_64 rng(12345);
  std::uniform_real_distribution<double> dist(-1e7, 1e7);
  char buf[512];
  for (int i = 0; i < 20000; ++i) {
    double v = dist(rng) / (1 << (i % 20));
    std::snprintf(buf, sizeof buf, "%g", v);
    ASSERT_EQ(snk::FormatG(v), buf) << v;
    std::snprintf(buf, sizeof buf, "%.3f", v);
    std::string fixed = buf;
    fixed.erase(fixed.find_last_not_of('0') + 1);
    if (fixed.back() == '.') fixed.pop_back();
    ASSERT_EQ(snk::FormatNumber(v), fixed) << v;
  }
}

TEST(NumberFormat, GeneralAndOffsetForms) {
  EXPECT_EQ(snk::FormatG(2480 * 0.24), "595.2");
  EXPECT_EQ(snk::FormatG(3507 * 0.24), "841.68");
  EXPECT_EQ(snk::FormatG(1e7), "1e+07");
  EXPECT_EQ(snk::FormatOffset(15), "0000000015");
  EXPECT_EQ(snk::FormatOffset(-1), "-000000001");
}

TEST(ByteReader, NeverReadsPastItsSpan) {
  const std::byte data[] = {std::byte{1}, std::byte{2}, std::byte{3}, std::byte{4}, std::byte{5}};
  snk::ByteReader r(data);
  uint32_t v = 0;
  ASSERT_TRUE(r.ReadU32(v));
  EXPECT_EQ(v, 0x04030201u);
  EXPECT_FALSE(r.failed());
  EXPECT_FALSE(r.ReadU32(v));
  EXPECT_EQ(r.position(), 4u);  // a failed read does not move
  EXPECT_TRUE(r.failed());      // and is remembered
  uint16_t w = 0;
  EXPECT_FALSE(r.ReadU16(w));
  EXPECT_TRUE(r.Seek(0));
  EXPECT_TRUE(r.ReadU16BE(w));
  EXPECT_EQ(w, 0x0102);
  EXPECT_TRUE(r.failed());  // after later reads that worked too
  float f = 0;
  EXPECT_FALSE(r.ReadF32(f));  // two bytes of the five left
  EXPECT_FALSE(r.Skip(SIZE_MAX));
  EXPECT_FALSE(r.Seek(6));
}

TEST(BinaryBuf, GrowsByAQuarterOrAtLeast128Bytes) {
  CKM_BinaryBuf buf;
  buf.AppendByte('x');
  EXPECT_EQ(buf.GetCapacity(), 128u);
  buf.AppendString(std::string(127, 'y'));
  EXPECT_EQ(buf.GetCapacity(), 128u);
  buf.AppendByte('z');
  EXPECT_EQ(buf.GetCapacity(), 256u);
  buf.AppendString(std::string(1000, 'a'));  // more than a step: exactly what is needed
  EXPECT_EQ(buf.GetCapacity(), 1129u);
  buf.AppendByte('b');
  EXPECT_EQ(buf.GetCapacity(), 1129u + 282u);
  EXPECT_EQ(buf.GetSize(), 1130u);
  EXPECT_EQ(buf.view().substr(0, 2), "xy");
}

TEST(Map, BucketsByKeyShiftedRightFour) {
  CKM_MapNumberToPtr map(4);
  int a, b, c;
  map.SetAt(0x10, &a);  // bucket 1
  map.SetAt(0x00, &b);  // bucket 0
  map.SetAt(0x50, &c);  // bucket 1, newest first in its chain
  map.SetAt(0x10, &c);  // replaces
  std::vector<uint32_t> order;
  map.ForEach([&](uint32_t key, void*) { order.push_back(key); });
  EXPECT_EQ(order, (std::vector<uint32_t>{0x00, 0x50, 0x10}));
  void* v = nullptr;
  ASSERT_TRUE(map.Lookup(0x10, v));
  EXPECT_EQ(v, &c);
  EXPECT_TRUE(map.RemoveKey(0x50));
  EXPECT_FALSE(map.Lookup(0x50, v));
  EXPECT_EQ(map.GetCount(), 2u);
  EXPECT_FALSE(map.InitHashTable(8));
}

TEST(WideString, Utf8RoundTripAndBuffers) {
  auto s = CKM_WideString::FromUTF8("A\xC3\xA9\xF0\x9F\x98\x80");
  EXPECT_EQ(s.str(), std::u16string(u"A\u00E9\U0001F600"));
  EXPECT_EQ(s.ToUTF8(), "A\xC3\xA9\xF0\x9F\x98\x80");
  EXPECT_EQ(CKM_WideString::FromUTF8("\xC0\xAF").str(), std::u16string(u"\uFFFD\uFFFD"));
  char16_t fixed[3] = {u'a', u'b', u'c'};  // no terminator
  EXPECT_EQ(CKM_WideString::FromBuffer(fixed, 3).str(), u"abc");
  char16_t out[3];
  CKM_WideString(u"abcdef").CopyTo(out, 3);
  EXPECT_EQ(std::u16string(out), u"ab");
}

}  // namespace
