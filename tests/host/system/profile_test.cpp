// Profile files: the Windows profile rules over real UTF-16LE INI files.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "test_support.h"

namespace {

namespace fs = std::filesystem;

// UTF-16LE bytes of ASCII text (with the mark when asked).
std::string Utf16(std::string_view text, bool mark = true) {
  std::string bytes = mark ? std::string("\xFF\xFE", 2) : std::string();
  for (char c : text) bytes += c, bytes += '\0';
  return bytes;
}

class ProfileTest : public snk::test::HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    file_ = Path("settings.ini");
  }
  void Put(const std::string& bytes) { std::ofstream(Dir() / "settings.ini", std::ios::binary) << bytes; }
  std::string Bytes() const { return snk::test::ReadFile(Dir() / "settings.ini"); }
  std::u16string Get(const char16_t* section, const char16_t* key, const char16_t* def = u"",
                     DWORD size = 64) {
    std::u16string out(size, u'\x7777');
    count_ = GetPrivateProfileStringW(section, key, def, out.data(), size, file_.c_str());
    return out.substr(0, count_);
  }
  // The raw buffer of an enumeration: the count's characters and the two
  // after them (0x7777 marks a character that was not written).
  std::u16string List(const char16_t* section, DWORD size = 64) {
    std::u16string out(size, u'\x7777');
    count_ = GetPrivateProfileStringW(section, nullptr, u"", out.data(), size, file_.c_str());
    return out.substr(0, std::min<size_t>(count_ + 2, size));
  }
  BOOL Set(const char16_t* section, const char16_t* key, const char16_t* value) {
    return WritePrivateProfileStringW(section, key, value, file_.c_str());
  }
  std::u16string file_;
  DWORD count_ = 0;
};

TEST_F(ProfileTest, NewFileIsUtf16WithMarkAndCrLf) {
  ASSERT_TRUE(Set(u"Job", u"Title", u"Report"));
  EXPECT_EQ(Bytes(), Utf16("[Job]\r\nTitle=Report\r\n"));
  ASSERT_TRUE(Set(u"Other", u"A", u"1"));
  ASSERT_TRUE(Set(u"job", u"Pages", u"3"));     // joins the existing section, at its end
  ASSERT_TRUE(Set(u"JOB", u"TITLE", u"Memo"));  // replaces in place
  EXPECT_EQ(Bytes(), Utf16("[Job]\r\nTITLE=Memo\r\nPages=3\r\n[Other]\r\nA=1\r\n"));
  EXPECT_EQ(Get(u"jOb", u"title"), u"Memo");
  for (const auto& entry : fs::directory_iterator(Dir())) {  // no temporary file is left behind
    EXPECT_NE(entry.path().filename().string()[0], '.') << entry.path();
  }
}

TEST_F(ProfileTest, HeaderOfTheSettingsFileTakesNewSections) {
  // The settings file starts as the mark, "[StringTable]" and one zero unit.
  Put(Utf16("[StringTable]") + std::string(2, '\0'));
  ASSERT_TRUE(Set(u"WaterMark", u"Scale", u"[100]"));
  EXPECT_EQ(Bytes(), Utf16("[StringTable]") + std::string(2, '\0') +
                         Utf16("\r\n[WaterMark]\r\nScale=[100]\r\n", false));
  EXPECT_EQ(Get(u"WaterMark", u"Scale"), u"[100]");
  EXPECT_EQ(List(nullptr), std::u16string(u"StringTable\0WaterMark\0\0\x7777", 24));
}

TEST_F(ProfileTest, TrimmingQuotesAndDefaults) {
  Put(
      Utf16("; comment\r\n[S]\r\n  Spaced =  \t two  words \t\r\nQ1=\"quoted \"\r\nQ2='single'\r\n"
            "Q3=\"mixed'\r\nQ4=\"\r\nQ5=\"\"a\"\"\r\nEmpty=\r\nBare\r\n"));
  EXPECT_EQ(Get(u"s", u"SPACED"), u"two  words");
  EXPECT_EQ(Get(u"S", u"Q1"), u"quoted ");
  EXPECT_EQ(Get(u"S", u"Q2"), u"single");
  EXPECT_EQ(Get(u"S", u"Q3"), u"\"mixed'");
  EXPECT_EQ(Get(u"S", u"Q4"), u"\"");
  EXPECT_EQ(Get(u"S", u"Q5"), u"\"a\"");  // only one pair goes
  EXPECT_EQ(Get(u"S", u"Empty", u"dflt"), u"");
  EXPECT_EQ(Get(u"S", u"Bare", u"dflt"), u"");
  EXPECT_EQ(Get(u"S", u"Missing", u" dflt \t "), u" dflt");  // trailing blanks of the default go
  EXPECT_EQ(count_, 5u);
  EXPECT_EQ(Get(u"S", u"Missing", nullptr), u"");
  EXPECT_EQ(Get(u"Nope", u"Q1", u"d"), u"d");

  file_ = Path("absent.ini");
  EXPECT_EQ(Get(u"S", u"Q1", u"d"), u"d");
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(fs::exists(Dir() / "absent.ini"));
}

TEST_F(ProfileTest, SmallBuffersCutTheText) {
  ASSERT_TRUE(Set(u"S", u"K", u"abcdef"));
  ASSERT_TRUE(Set(u"S", u"Longer", u"x"));
  ASSERT_TRUE(Set(u"T", u"K", u"y"));
  EXPECT_EQ(Get(u"S", u"K", u"", 4), u"abc");
  EXPECT_EQ(count_, 3u);
  std::u16string out(2, u'\x7777');
  EXPECT_EQ(GetPrivateProfileStringW(u"S", u"K", u"", out.data(), 1, file_.c_str()), 0u);
  EXPECT_EQ(out[0], u'\0');
  EXPECT_EQ(out[1], u'\x7777');  // nothing past the buffer
  EXPECT_EQ(Get(u"S", u"K", u"", 7), u"abcdef");

  EXPECT_EQ(List(nullptr), std::u16string(u"S\0T\0\0\x7777", 6));
  EXPECT_EQ(count_, 4u);
  EXPECT_EQ(List(u"s"), std::u16string(u"K\0Longer\0\0\x7777", 11));
  EXPECT_EQ(List(u"s", 6), std::u16string(u"K\0Lo\0\0", 6));
  EXPECT_EQ(count_, 4u);  // size-2
  EXPECT_EQ(List(u"Missing"), std::u16string(u"\0\0", 2));
  EXPECT_EQ(count_, 0u);
}

TEST_F(ProfileTest, DeletingKeysAndSections) {
  Put(Utf16("[A]\r\nk=1\r\nK=2\r\nj=3\r\n\r\n[B]\r\nx=1\r\n[a]\r\nk=9\r\n"));
  ASSERT_TRUE(Set(u"a", u"K", nullptr));  // both spellings in the first [A]
  EXPECT_EQ(Bytes(), Utf16("[A]\r\nj=3\r\n\r\n[B]\r\nx=1\r\n[a]\r\nk=9\r\n"));
  ASSERT_TRUE(Set(u"A", u"new", u"v"));  // before the blank line that ends [A]
  EXPECT_EQ(Bytes(), Utf16("[A]\r\nj=3\r\nnew=v\r\n\r\n[B]\r\nx=1\r\n[a]\r\nk=9\r\n"));
  ASSERT_TRUE(Set(u"A", nullptr, nullptr));  // every occurrence of the section
  EXPECT_EQ(Bytes(), Utf16("[B]\r\nx=1\r\n"));
  ASSERT_TRUE(Set(u"B", u"none", nullptr));
  EXPECT_EQ(Bytes(), Utf16("[B]\r\nx=1\r\n"));

  file_ = Path("absent.ini");
  EXPECT_TRUE(Set(u"B", u"x", nullptr));
  EXPECT_TRUE(Set(u"B", nullptr, nullptr));
  EXPECT_FALSE(fs::exists(Dir() / "absent.ini"));
  EXPECT_FALSE(Set(nullptr, u"x", u"1"));
  file_ = Path("no/folder/x.ini");
  EXPECT_FALSE(Set(u"S", u"K", u"V"));
  EXPECT_EQ(GetLastError(), 3u);  // ERROR_PATH_NOT_FOUND
}

TEST_F(ProfileTest, StructHexWithChecksum) {
  const BYTE data[] = {0x01, 0xAB, 0xFF};
  ASSERT_TRUE(WritePrivateProfileStructW(u"S", u"Blob", data, 3, file_.c_str()));
  EXPECT_EQ(Get(u"S", u"Blob"), u"01ABFFAB");  // 0x1AB modulo 256
  BYTE out[3] = {};
  ASSERT_TRUE(GetPrivateProfileStructW(u"s", u"BLOB", out, 3, file_.c_str()));
  EXPECT_EQ(std::memcmp(out, data, 3), 0);

  BYTE untouched[4] = {7, 7, 7, 7};
  EXPECT_FALSE(GetPrivateProfileStructW(u"S", u"Blob", untouched, 4, file_.c_str()));
  EXPECT_FALSE(GetPrivateProfileStructW(u"S", u"Blob", untouched, 2, file_.c_str()));
  EXPECT_EQ(GetLastError(), 24u);  // ERROR_BAD_LENGTH
  ASSERT_TRUE(Set(u"S", u"Blob", u"01ABFFAC"));
  EXPECT_FALSE(GetPrivateProfileStructW(u"S", u"Blob", untouched, 3, file_.c_str()));
  EXPECT_EQ(GetLastError(), 13u);  // ERROR_INVALID_DATA
  ASSERT_TRUE(Set(u"S", u"Blob", u"01ABFXAB"));
  EXPECT_FALSE(GetPrivateProfileStructW(u"S", u"Blob", untouched, 3, file_.c_str()));
  EXPECT_FALSE(GetPrivateProfileStructW(u"S", u"Missing", untouched, 3, file_.c_str()));
  EXPECT_EQ(untouched[0], 7);
  ASSERT_TRUE(Set(u"S", u"Blob", u"  01abffab  "));  // trimmed, either case of digit
  EXPECT_TRUE(GetPrivateProfileStructW(u"S", u"Blob", out, 3, file_.c_str()));

  ASSERT_TRUE(WritePrivateProfileStructW(u"S", u"Zero", data, 0, file_.c_str()));
  EXPECT_EQ(Get(u"S", u"Zero"), u"00");
  EXPECT_TRUE(GetPrivateProfileStructW(u"S", u"Zero", out, 0, file_.c_str()));
  ASSERT_TRUE(WritePrivateProfileStructW(u"S", u"Zero", nullptr, 0, file_.c_str()));
  EXPECT_EQ(Get(u"S", u"Zero", u"gone"), u"gone");
}

TEST_F(ProfileTest, FilesWithoutMarkKeepTheirEncoding) {
  Put("[S]\nName=Gr\xC3\xBC\xC3\x9F"
      "e\n");  // UTF-8, LF only
  EXPECT_EQ(Get(u"S", u"Name"), u"Grüße");
  ASSERT_TRUE(Set(u"S", u"Euro", u"€"));
  EXPECT_EQ(Bytes(),
            "[S]\r\nName=Gr\xC3\xBC\xC3\x9F"
            "e\r\nEuro=\xE2\x82\xAC\r\n");

  Put("[S]\rName=Caf\xE9\r");  // not UTF-8: the ANSI code page (1252), CR only
  EXPECT_EQ(Get(u"S", u"Name"), u"Café");
  ASSERT_TRUE(Set(u"S", u"Euro", u"€"));
  EXPECT_EQ(Bytes(), "[S]\r\nName=Caf\xE9\r\nEuro=\x80\r\n");

  Put("\xEF\xBB\xBF[S]\r\nK=v\r\n");  // UTF-8 with its mark
  EXPECT_EQ(Get(u"S", u"K"), u"v");
  ASSERT_TRUE(Set(u"S", u"K", u"w"));
  EXPECT_EQ(Bytes(), "\xEF\xBB\xBF[S]\r\nK=w\r\n");
}

TEST_F(ProfileTest, DamagedFilesReadWhatTheyCan) {
  // Odd byte count, unpaired surrogate, NUL inside a line, no final line end.
  std::string bytes = Utf16("[S]\r\nA=x") + std::string("\x00\xD8", 2) + Utf16("y\r\nB=1", false) +
                      std::string("\0\0", 2) + Utf16("junk\r\n[T]\r\nC=2", false) + "\x41";
  Put(bytes);
  EXPECT_EQ(Get(u"S", u"A"), std::u16string(u"x\xD800y"));
  EXPECT_EQ(Get(u"S", u"B"), u"1");  // the rest of the line after the NUL is not read
  EXPECT_EQ(Get(u"T", u"C"), u"2");
  ASSERT_TRUE(Set(u"T", u"D", u"3"));
  EXPECT_EQ(Get(u"S", u"A"), std::u16string(u"x\xD800y"));  // survives the rewrite
  EXPECT_EQ(Get(u"T", u"D"), u"3");

  Put(std::string("\xFF\xFE", 2));
  EXPECT_EQ(List(nullptr), std::u16string(u"\0\0", 2));
  Put(std::string("\xFF", 1));
  EXPECT_EQ(Get(u"S", u"A", u"d"), u"d");

  std::string huge =
      "[S]\r\nK=" + std::string(1 << 20, 'v') + "\r\n[" + std::string(1000, '[') + "\r\n=x\r\n";
  Put(huge);
  EXPECT_EQ(Get(u"S", u"K", u"", 8), u"vvvvvvv");
  EXPECT_EQ(List(nullptr, 8).size(), 8u);

  fs::create_directory(Dir() / "folder.ini");
  file_ = Path("folder.ini");
  EXPECT_EQ(Get(u"S", u"K", u"d"), u"d");
  EXPECT_FALSE(Set(u"S", u"K", u"v"));
}

TEST_F(ProfileTest, RewriteKeepsModeAndAcceptsBackslashes) {
  Put(Utf16("[S]\r\nK=1\r\n"));
  fs::permissions(Dir() / "settings.ini", fs::perms::owner_read | fs::perms::owner_write);
  std::u16string windowsPath = file_;
  for (char16_t& c : windowsPath) c = c == u'/' ? u'\\' : c;
  ASSERT_TRUE(WritePrivateProfileStringW(u"S", u"K", u"2", windowsPath.c_str()));
  EXPECT_EQ(Get(u"S", u"K"), u"2");
  struct stat st;
  ASSERT_EQ(stat((Dir() / "settings.ini").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
}

}  // namespace
