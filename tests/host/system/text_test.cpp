// Code pages, UUIDs, the user name and the version switch.
#include <gtest/gtest.h>
#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstring>
#include <optional>
#include <string>

#include "platform/win32.h"
#include "test_support.h"

namespace {

using snk::test::ScopedEnv;

std::string ToBytes(UINT cp, std::u16string_view text, BOOL* usedDefault = nullptr,
                    const char* defaultChar = nullptr) {
  int n = WideCharToMultiByte(cp, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, defaultChar,
                              usedDefault);
  std::string out(static_cast<size_t>(n), '\0');
  WideCharToMultiByte(cp, 0, text.data(), static_cast<int>(text.size()), out.data(), n, defaultChar,
                      usedDefault);
  return out;
}

std::u16string ToWide(UINT cp, std::string_view bytes) {
  int n = MultiByteToWideChar(cp, 0, bytes.data(), static_cast<int>(bytes.size()), nullptr, 0);
  std::u16string out(static_cast<size_t>(n), u'\0');
  MultiByteToWideChar(cp, 0, bytes.data(), static_cast<int>(bytes.size()), out.data(), n);
  return out;
}

TEST(CodePages, RoundTripsThroughTheWindowsCodePages) {
  struct Case {
    UINT cp;
    std::u16string text;
    std::string bytes;
  };
  const Case cases[] = {
      {1252, u"\u20ac caf\u00e9", "\x80 caf\xe9"},
      {1250, u"\u0141\u00f3d\u017a", "\xa3\xf3\x64\x9f"},
      {1251, u"\u041c\u0438\u0440", "\xcc\xe8\xf0"},
      {932, u"\u65e5\u672c", "\x93\xfa\x96\x7b"},
      {936, u"\u4e2d\u6587", "\xd6\xd0\xce\xc4"},
      {949, u"\ud55c", "\xc7\xd1"},
      {950, u"\u4e2d", "\xa4\xa4"},
      {874, u"\u0e01", "\xa1"},
      {CP_UTF8, u"\u00e9\U0001F600", "\xc3\xa9\xf0\x9f\x98\x80"},
  };
  for (const Case& c : cases) {
    BOOL usedDefault = TRUE;
    BOOL* flag = c.cp == CP_UTF8 ? nullptr : &usedDefault;
    EXPECT_EQ(ToBytes(c.cp, c.text, flag), c.bytes) << c.cp;
    if (flag) {
      EXPECT_FALSE(usedDefault) << c.cp;
    }
    EXPECT_EQ(ToWide(c.cp, c.bytes), c.text) << c.cp;
  }
}

TEST(CodePages, UnmappableCharactersBecomeTheDefaultChar) {
  BOOL usedDefault = FALSE;
  EXPECT_EQ(ToBytes(1252, u"a\u4e2db\U0001F600c", &usedDefault), "a?b?c");
  EXPECT_TRUE(usedDefault);
  EXPECT_EQ(ToBytes(1252, u"\u4e2d", &usedDefault, "*"), "*");
  // An unpaired surrogate: '?' in a code page, U+FFFD in UTF-8.
  std::u16string lone = u"x";
  lone += char16_t{0xD800};
  EXPECT_EQ(ToBytes(1252, lone, &usedDefault), "x?");
  EXPECT_EQ(ToBytes(CP_UTF8, lone), "x\xEF\xBF\xBD");
  // UTF-8 takes no default character.
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"a", 1, nullptr, 0, nullptr, &usedDefault), 0);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  // Bytes that do not decode.
  EXPECT_EQ(ToWide(CP_UTF8, "a\xff"), u"a\uFFFD");
  EXPECT_EQ(ToWide(1252, "\x81"), u"\u0081");
  char16_t wide[4];
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0x8, "a\xff", 2, wide, 4), 0);
  EXPECT_EQ(GetLastError(), 1113u);
}

TEST(CodePages, LengthsAndBufferSizesFollowWindows) {
  // -1: zero-terminated, and the count includes the terminator.
  EXPECT_EQ(WideCharToMultiByte(1252, 0, u"abc", -1, nullptr, 0, nullptr, nullptr), 4);
  char bytes[8] = {'x', 'x', 'x', 'x', 'x'};
  EXPECT_EQ(WideCharToMultiByte(1252, 0, u"abc", -1, bytes, 8, nullptr, nullptr), 4);
  EXPECT_STREQ(bytes, "abc");
  EXPECT_EQ(WideCharToMultiByte(1252, 0, u"abc", -1, bytes, 3, nullptr, nullptr), 0);
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(MultiByteToWideChar(932, 0, "\x93\xfa", -1, nullptr, 0), 2);
  char16_t wide[2];
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abc", 3, wide, 2), 0);
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(WideCharToMultiByte(1252, 0, u"a", 0, bytes, 8, nullptr, nullptr), 0);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(WideCharToMultiByte(437, 0, u"a", 1, bytes, 8, nullptr, nullptr), 0);
}

TEST(CodePages, AnsiCodePageFromTheEnvironment) {
  {
    ScopedEnv acp("SNK_ACP", nullptr);
    EXPECT_EQ(GetACP(), 1252u);
  }
  ScopedEnv acp("SNK_ACP", "932");
  EXPECT_EQ(GetACP(), 932u);
  EXPECT_EQ(ToBytes(CP_ACP, u"\u65e5"), "\x93\xfa");
  ScopedEnv bad("SNK_ACP", "437");
  EXPECT_EQ(GetACP(), 1252u);
}

std::string UuidText(const UUID& uuid) {
  BYTE* text = nullptr;
  EXPECT_EQ(UuidToStringA(&uuid, &text), RPC_S_OK);
  std::string s(reinterpret_cast<char*>(text));
  EXPECT_EQ(RpcStringFreeA(&text), RPC_S_OK);
  EXPECT_EQ(text, nullptr);
  return s;
}

TEST(Uuid, RandomVersion4AndTheTestSwitches) {
  UUID a{}, b{};
  ASSERT_EQ(UuidCreate(&a), RPC_S_OK);
  ASSERT_EQ(UuidCreate(&b), RPC_S_OK);
  std::string text = UuidText(a);
  ASSERT_EQ(text.size(), 36u);
  EXPECT_NE(text, UuidText(b));
  for (size_t i : {8, 13, 18, 23}) EXPECT_EQ(text[i], '-');
  EXPECT_EQ(text[14], '4');
  EXPECT_NE(std::string("89ab").find(text[19]), std::string::npos);
  EXPECT_EQ(text.find_first_not_of("0123456789abcdef-"), std::string::npos);

  {
    ScopedEnv fixed("SNK_UUID_FIXED", "0123ABCD-4567-89ab-cdef-0011223344ff");
    ASSERT_EQ(UuidCreate(&a), RPC_S_OK);
    EXPECT_EQ(a.Data1, 0x0123ABCDu);
    EXPECT_EQ(a.Data4[7], 0xFF);
    EXPECT_EQ(UuidText(a), "0123abcd-4567-89ab-cdef-0011223344ff");
  }
  {
    ScopedEnv fixed("SNK_UUID_FIXED", "not-a-uuid");
    EXPECT_NE(UuidCreate(&a), RPC_S_OK);
  }
  ScopedEnv noAddress("SNK_UUID_NO_ADDRESS", "1");
  EXPECT_EQ(UuidCreate(&a), static_cast<int32_t>(RPC_S_UUID_NO_ADDRESS));
}

TEST(System, UserNameAndVersion) {
  DWORD size = 0;
  EXPECT_FALSE(GetUserNameW(nullptr, &size));
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  ASSERT_GT(size, 1u);
  std::u16string name(size, u'\0');
  DWORD exact = size;
  ASSERT_TRUE(GetUserNameW(name.data(), &exact));
  EXPECT_EQ(exact, size);  // includes the terminator
  if (passwd* pw = getpwuid(geteuid())) {
    std::u16string expected(pw->pw_name, pw->pw_name + strlen(pw->pw_name));
    EXPECT_EQ(name.substr(0, size - 1), expected);
  }

  OSVERSIONINFOW info{};
  info.dwOSVersionInfoSize = sizeof info;
  {
    ScopedEnv version("SNK_OS_VERSION", nullptr);
    ASSERT_TRUE(GetVersionExW(&info));
    EXPECT_EQ(info.dwMajorVersion, 6u);
    EXPECT_EQ(info.dwMinorVersion, 0u);
  }
  for (const char* text : {"6.1", "601"}) {
    ScopedEnv version("SNK_OS_VERSION", text);
    ASSERT_TRUE(GetVersionExW(&info));
    EXPECT_EQ(info.dwMajorVersion, 6u);
    EXPECT_EQ(info.dwMinorVersion, 1u);
  }
  info.dwOSVersionInfoSize = 4;
  EXPECT_FALSE(GetVersionExW(&info));
}

}  // namespace
