#include <gtest/gtest.h>

#include "test_support.h"
#include "writer/output_object.h"

namespace {

std::string Serialise(CKMC_Object& object) {
  CKM_BinaryBuf out;
  WriteObjectBody(out, &object);
  return std::string(out.view());
}

TEST(OutputObject, ScalarFormsEndInABlank) {
  CKMC_Literal literal("/Page");
  CKMC_Number number(0.498);
  CKMC_Reference reference(12);
  EXPECT_EQ(Serialise(literal), "/Page ");
  EXPECT_EQ(Serialise(number), "0.498 ");
  EXPECT_EQ(Serialise(reference), "12 0 R ");
  CKMC_Array empty;
  EXPECT_EQ(Serialise(empty), "[ ] ");
  CKMC_Array array;
  array.Add(std::make_unique<CKMC_Number>(1));
  array.Add(std::make_unique<CKMC_Reference>(3));
  EXPECT_EQ(Serialise(array), "[ 1 3 0 R ] ");
}

TEST(OutputObject, DictionariesAreSortedByteWise) {
  CKMC_Dictionary empty;
  EXPECT_EQ(Serialise(empty), "<<\n>>\n");
  CKMC_Dictionary page;
  page.SetLiteral("/Type", "/Page");
  page.SetNumber("/PageIndex", 3);
  page.SetReference("/Parent", 1);
  page.SetLiteral("/MediaBox", "[0 0 612 792]");
  page.SetReference("/Contents", 5);
  page.SetLiteral("/Resources", "<<>>");
  page.SetNumber("/Count", 1);
  page.SetNumber("/Count", 2);  // a second set replaces the first
  EXPECT_EQ(Serialise(page),
            "<<\n/Contents 5 0 R \n/Count 2 \n/MediaBox [0 0 612 792] \n/PageIndex 3 \n"
            "/Parent 1 0 R \n/Resources <<>> \n/Type /Page \n>>\n");
}

TEST(OutputObject, TextIsUtf16BigEndianWithEachHalfEscaped) {
  CKMC_Text text(CKM_WideString(u"A\u0128\u000D(\u5C5C"));
  EXPECT_EQ(Serialise(text), std::string("(\xFE\xFF\0A\x01\\(\0\\015\0\\(\\\\\\\\) ", 22));
  CKMC_Text empty(CKM_WideString{});
  EXPECT_EQ(Serialise(empty), "(\xFE\xFF) ");
  CKMC_Text lf(CKM_WideString(u"\u0A29"));
  EXPECT_EQ(Serialise(lf), "(\xFE\xFF\\012\\)) ");
}

TEST(OutputObject, StreamLengthIsAlwaysTheDataLength) {
  CKMC_Stream stream;
  stream.dict.SetNumber("/Length", 999);
  stream.dict.SetLiteral("/Filter", "/FlateDecode");
  stream.data = CKM_ByteString("abc");
  EXPECT_EQ(Serialise(stream),
            "<<\n/Filter /FlateDecode \n/Length 3 \n>>\nstream\nabc\nendstream\n");
}

TEST(OutputObject, UnknownTypesWriteNothing) {
  struct Odd : CKMC_Object {
    Odd() : CKMC_Object(7) {}
  } odd;
  EXPECT_EQ(Serialise(odd), "");
}

TEST(Formatters, EscapeNameAndLiteralString) {
  CKM_ByteString name("Arial Bold#1");
  EXPECT_EQ(EscapeName(name).view(), "Arial#20Bold#231");
  EXPECT_TRUE(name.IsEmpty());
  CKM_ByteString odd(std::string("a(b)/\x7F\x80\x1F"));
  EXPECT_EQ(EscapeName(odd).view(), "a(b)/#7F#80#1F");
  EXPECT_EQ(MakeLiteralString(CKM_WideString(u"Chapter 1")).view(), "(Chapter 1)");
  EXPECT_EQ(MakeLiteralString(CKM_WideString(u"caf\u00E9")).view(), "(caf\xE9)");
  std::u16string longName(300, u'x');
  EXPECT_EQ(MakeLiteralString(CKM_WideString(longName)).GetLength(), 255u + 2u);
}

TEST(Formatters, CompressToStringRoundTripsEvenIncompressibleData) {
  std::string random(100000, '\0');
  uint32_t x = 1;
  for (char& c : random) c = static_cast<char>((x = x * 1664525 + 1013904223) >> 24);
  for (const std::string& input : {std::string(), std::string("/CS1 cs /CS1 CS "), random}) {
    CKM_ByteString packed = CompressToString(input.data(), input.size());
    EXPECT_EQ(snk::test::Inflate(packed.view()), input);
  }
}

}  // namespace
