// Folder listing, file copies, known folders and the shell's "open".
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "host/system/host_control.h"
#include "test_support.h"

namespace {

namespace fs = std::filesystem;
using snk::test::ScopedEnv;

class FoldersTest : public snk::test::HostTest {
 protected:
  void Write(const std::string& name, const std::string& bytes) {
    std::ofstream(Dir() / name, std::ios::binary) << bytes;
  }
  // Every name FindFirstFileW/FindNextFileW give for `pattern`.
  std::vector<std::u16string> Names(const std::u16string& pattern) {
    std::vector<std::u16string> names;
    WIN32_FIND_DATAW data{};
    HANDLE find = FindFirstFileW(pattern.c_str(), &data);
    if (find == INVALID_HANDLE_VALUE) return names;
    do names.emplace_back(data.cFileName);
    while (FindNextFileW(find, &data));
    EXPECT_EQ(GetLastError(), 18u);  // ERROR_NO_MORE_FILES
    EXPECT_TRUE(FindClose(find));
    return names;
  }
};

TEST_F(FoldersTest, ListingIsSortedAndFilled) {
  Write("b.txt", "hello");
  Write("a.ini", "");
  Write("C.INI", "x");
  fs::create_directory(Dir() / "sub");
  std::u16string folder = Path("");  // ends with '/'
  using V = std::vector<std::u16string>;
  EXPECT_EQ(Names(folder + u"*"), (V{u".", u"..", u"C.INI", u"a.ini", u"b.txt", u"sub"}));
  EXPECT_EQ(Names(folder + u"*.ini"), (V{u"C.INI", u"a.ini"}));  // without regard to case
  EXPECT_EQ(Names(folder + u"?.TXT"), (V{u"b.txt"}));
  EXPECT_EQ(Names(folder + u"*.*"), Names(folder + u"*"));

  WIN32_FIND_DATAW data{};
  std::u16string exact = Path("b.txt");
  for (char16_t& c : exact) c = c == u'/' ? u'\\' : c;
  HANDLE find = FindFirstFileW(exact.c_str(), &data);
  ASSERT_NE(find, INVALID_HANDLE_VALUE);
  EXPECT_EQ(std::u16string(data.cFileName), u"b.txt");
  EXPECT_EQ(data.nFileSizeLow, 5u);
  EXPECT_EQ(data.dwFileAttributes, FILE_ATTRIBUTE_NORMAL);
  EXPECT_GT(data.ftLastWriteTime.dwHighDateTime, 0x01D00000u);  // after 2015
  EXPECT_FALSE(FindNextFileW(find, &data));
  EXPECT_TRUE(FindClose(find));
  EXPECT_FALSE(FindClose(find));  // closed twice
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_FALSE(FindNextFileW(find, &data));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);

  find = FindFirstFileW(Path("sub").c_str(), &data);
  EXPECT_EQ(data.dwFileAttributes, FILE_ATTRIBUTE_DIRECTORY);
  FindClose(find);
  EXPECT_EQ(FindFirstFileW((folder + u"*.pdf").c_str(), &data), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(FindFirstFileW(Path("nothing.txt").c_str(), &data), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(FindFirstFileW(Path("no/*").c_str(), &data), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), 3u);  // ERROR_PATH_NOT_FOUND
  // A made-up handle, and a file handle, are refused, not dereferenced.
  EXPECT_FALSE(FindNextFileW(reinterpret_cast<HANDLE>(uintptr_t{0x1234}), &data));
  HANDLE file = CreateFileW(Path("b.txt").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_FALSE(FindClose(file));
  EXPECT_TRUE(CloseHandle(file));
}

TEST_F(FoldersTest, CopyFileKeepsBytesModeAndTime) {
  std::string content("binary\0\xFF\r\n", 10);
  Write("src.bin", content);
  fs::permissions(Dir() / "src.bin", fs::perms::owner_read);
  fs::last_write_time(Dir() / "src.bin", fs::file_time_type::clock::now() - std::chrono::hours(48));
  ASSERT_TRUE(CopyFileW(Path("src.bin").c_str(), Path("dst.bin").c_str(), TRUE));
  EXPECT_EQ(snk::test::ReadFile(Dir() / "dst.bin"), content);
  EXPECT_EQ(fs::status(Dir() / "dst.bin").permissions(), fs::perms::owner_read);
  EXPECT_EQ(fs::last_write_time(Dir() / "dst.bin"), fs::last_write_time(Dir() / "src.bin"));

  Write("other.bin", "other");
  EXPECT_FALSE(CopyFileW(Path("other.bin").c_str(), Path("dst.bin").c_str(), TRUE));
  EXPECT_EQ(GetLastError(), ERROR_FILE_EXISTS);
  fs::permissions(Dir() / "dst.bin", fs::perms::owner_read | fs::perms::owner_write);
  ASSERT_TRUE(CopyFileW(Path("other.bin").c_str(), Path("dst.bin").c_str(), FALSE));
  EXPECT_EQ(snk::test::ReadFile(Dir() / "dst.bin"), "other");

  EXPECT_FALSE(CopyFileW(Path("other.bin").c_str(), Path("other.bin").c_str(), FALSE));
  EXPECT_EQ(snk::test::ReadFile(Dir() / "other.bin"), "other");  // not emptied
  EXPECT_FALSE(CopyFileW(Path("missing").c_str(), Path("x").c_str(), FALSE));
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(CopyFileW(Path("other.bin").c_str(), Path("no/x").c_str(), FALSE));
  EXPECT_EQ(GetLastError(), 3u);
  fs::create_directory(Dir() / "sub");
  EXPECT_FALSE(CopyFileW(Path("sub").c_str(), Path("y").c_str(), FALSE));
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
}

TEST_F(FoldersTest, SpecialFoldersAreXdgPlaces) {
  char16_t path[MAX_PATH] = {};
  std::string config = (Dir() / "config" / "deep").string();
  ScopedEnv xdg("XDG_CONFIG_HOME", (config + "//").c_str());
  EXPECT_FALSE(SHGetSpecialFolderPathW(nullptr, path, CSIDL_APPDATA, FALSE));  // missing, not made
  ASSERT_TRUE(SHGetSpecialFolderPathW(nullptr, path, CSIDL_APPDATA, TRUE));
  EXPECT_EQ(std::u16string(path), Path("config/deep"));
  struct stat st;
  ASSERT_EQ(stat(config.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0700u);
  EXPECT_TRUE(SHGetSpecialFolderPathW(nullptr, path, CSIDL_APPDATA, FALSE));

  ScopedEnv home("HOME", Dir().c_str());
  ScopedEnv relative("XDG_CONFIG_HOME", "relative/ignored");
  ScopedEnv data("XDG_DATA_HOME", nullptr);
  ASSERT_TRUE(SHGetSpecialFolderPathW(nullptr, path, CSIDL_APPDATA | 0x8000, FALSE));  // CSIDL_FLAG_CREATE
  EXPECT_EQ(std::u16string(path), Path(".config"));
  ASSERT_TRUE(SHGetSpecialFolderPathW(nullptr, path, CSIDL_LOCAL_APPDATA, TRUE));
  EXPECT_EQ(std::u16string(path), Path(".local/share"));
  EXPECT_FALSE(SHGetSpecialFolderPathW(nullptr, path, 5, TRUE));  // not a folder we know

  std::string longName = Dir().string() + "/" + std::string(150, 'x') + "/" + std::string(150, 'y');
  ScopedEnv tooLong("XDG_DATA_HOME", longName.c_str());
  fs::create_directories(longName);
  EXPECT_FALSE(SHGetSpecialFolderPathW(nullptr, path, CSIDL_LOCAL_APPDATA, FALSE));
}

TEST_F(FoldersTest, OpenNeedsADesktop) {
  std::vector<std::string> opened;
  bool succeed = true;
  snk::host::SetShellExecuteHook([&](std::u16string_view verb, std::string_view target) {
    EXPECT_EQ(verb, u"open");
    opened.emplace_back(target);
    return succeed;
  });
  Write("out.pdf", "%PDF");
  std::u16string file = Path("out.pdf");
  auto code = [](HINSTANCE result) { return reinterpret_cast<uintptr_t>(result); };
  {
    ScopedEnv x("DISPLAY", nullptr), w("WAYLAND_DISPLAY", nullptr);
    EXPECT_EQ(code(ShellExecuteW(nullptr, u"open", file.c_str(), nullptr, nullptr, SW_SHOWNORMAL)), 31u);
    EXPECT_TRUE(opened.empty());
  }
  {
    ScopedEnv x("DISPLAY", nullptr), w("WAYLAND_DISPLAY", "wayland-0");
    EXPECT_GT(code(ShellExecuteW(nullptr, u"open", file.c_str(), nullptr, nullptr, SW_SHOWNORMAL)), 32u);
    EXPECT_GT(code(ShellExecuteW(nullptr, u"open", u"out.pdf", nullptr, Path("").c_str(), 1)), 32u);
    EXPECT_GT(code(ShellExecuteW(nullptr, nullptr, u"https://example.org/a b", nullptr, nullptr, 1)), 32u);
    EXPECT_EQ(code(ShellExecuteW(nullptr, u"print", file.c_str(), nullptr, nullptr, 1)), 31u);
    EXPECT_EQ(code(ShellExecuteW(nullptr, u"open", Path("gone.pdf").c_str(), nullptr, nullptr, 1)), 2u);
    succeed = false;
    EXPECT_LE(code(ShellExecuteW(nullptr, u"open", file.c_str(), nullptr, nullptr, 1)), 32u);
  }
  std::string path = (Dir() / "out.pdf").string();
  EXPECT_EQ(opened, (std::vector<std::string>{path, path, "https://example.org/a b", path}));
  snk::host::SetShellExecuteHook({});
}

}  // namespace
