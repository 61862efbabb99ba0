// Files, folders, handles and the module file name.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "host/system/host_control.h"
#include "platform/win32.h"

namespace {

namespace fs = std::filesystem;

class FilesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/snk-files-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
  }
  void TearDown() override { fs::remove_all(dir_); }

  // The folder with '\' separators, then `name`.
  std::u16string WinPath(std::u16string_view name) {
    std::u16string path;
    for (char c : dir_) path += c == '/' ? u'\\' : static_cast<char16_t>(c);
    return path + u"\\" + std::u16string(name);
  }
  std::string dir_;
};

TEST_F(FilesTest, DispositionsAndBackslashPaths) {
  std::u16string path = WinPath(u"out.pdf");
  HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  DWORD written = 0;
  ASSERT_TRUE(WriteFile(file, "%PDF-1.7\n", 9, &written, nullptr));
  EXPECT_EQ(written, 9u);
  EXPECT_TRUE(FlushFileBuffers(file));
  EXPECT_TRUE(CloseHandle(file));
  EXPECT_TRUE(fs::exists(dir_ + "/out.pdf"));
  struct stat st;
  ASSERT_EQ(stat((dir_ + "/out.pdf").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0644, st.st_mode & 0777);  // never more than 0644

  EXPECT_EQ(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_FILE_EXISTS);

  // OPEN_ALWAYS on an existing file keeps it and says so.
  file = CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_ALWAYS, 0, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  char text[32] = {};
  DWORD read = 0;
  ASSERT_TRUE(ReadFile(file, text, sizeof text, &read, nullptr));
  EXPECT_EQ(std::string(text, read), "%PDF-1.7\n");
  ASSERT_TRUE(ReadFile(file, text, sizeof text, &read, nullptr));
  EXPECT_EQ(read, 0u);                                       // end of file is success with nothing read
  EXPECT_FALSE(WriteFile(file, "x", 1, &written, nullptr));  // opened for reading
  CloseHandle(file);

  // CREATE_ALWAYS truncates.
  file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  CloseHandle(file);
  EXPECT_EQ(fs::file_size(dir_ + "/out.pdf"), 0u);

  std::u16string missing = WinPath(u"nothing.pdf");
  EXPECT_EQ(CreateFileW(missing.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
  std::u16string noFolder = WinPath(u"no\\such.pdf");
  EXPECT_EQ(CreateFileW(noFolder.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), 3u);  // ERROR_PATH_NOT_FOUND

  EXPECT_TRUE(DeleteFileW(path.c_str()));
  EXPECT_FALSE(DeleteFileW(path.c_str()));
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

TEST_F(FilesTest, FoldersAndAttributes) {
  std::u16string sub = WinPath(u"sub");
  EXPECT_TRUE(CreateDirectoryW(sub.c_str(), nullptr));
  EXPECT_FALSE(CreateDirectoryW(sub.c_str(), nullptr));
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  EXPECT_EQ(GetFileAttributesW(sub.c_str()), FILE_ATTRIBUTE_DIRECTORY);
  // A folder is not a file to open.
  EXPECT_EQ(CreateFileW(sub.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);

  std::u16string mixed = WinPath(u"sub/file.txt");
  HANDLE file = CreateFileW(mixed.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  CloseHandle(file);
  EXPECT_EQ(GetFileAttributesW(WinPath(u"sub\\file.txt").c_str()), FILE_ATTRIBUTE_NORMAL);
  EXPECT_EQ(GetFileAttributesW(WinPath(u"absent").c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(GetFileAttributesW(u""), INVALID_FILE_ATTRIBUTES);

  // A drive letter is an ordinary relative name.
  char cwd[4096];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  ASSERT_EQ(chdir(dir_.c_str()), 0);
  EXPECT_TRUE(CreateDirectoryW(u"C:", nullptr));
  file = CreateFileW(u"C:\\x", GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
  EXPECT_NE(file, INVALID_HANDLE_VALUE);
  CloseHandle(file);
  EXPECT_TRUE(fs::exists(dir_ + "/C:/x"));
  ASSERT_EQ(chdir(cwd), 0);
}

std::string Text(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void Put(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

// An output written from scratch takes its name only when closed after
// every write succeeded, with unnamed and with hidden named temporaries.
TEST_F(FilesTest, OutputsAppearWholeOrNotAtAll) {
  for (bool unnamed : {true, false}) {
    SCOPED_TRACE(unnamed ? "unnamed" : "named");
    snk::host::UseUnnamedTemporaries(unnamed);
    snk::host::ClearWriteFailures();
    const std::string out = dir_ + "/out.pdf", fresh = dir_ + "/new.pdf", big = dir_ + "/big.pdf";
    fs::remove(fresh);
    Put(out, "old");
    Put(big, "old");
    chmod(out.c_str(), 0600);
    auto open = [&](const std::string& name, DWORD creation) {
      std::u16string path = WinPath(std::u16string(name.begin(), name.end()));
      return CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, creation, 0, nullptr);
    };
    DWORD written = 0;
    // Replacing: the earlier file stays until the close, which keeps its mode.
    HANDLE file = open("out.pdf", CREATE_ALWAYS);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    ASSERT_TRUE(WriteFile(file, "new", 3, &written, nullptr));
    EXPECT_EQ(Text(out), "old");
    EXPECT_TRUE(CloseHandle(file));
    EXPECT_EQ(Text(out), "new");
    struct stat st;
    ASSERT_EQ(stat(out.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    // Creating new: a file that appeared meanwhile wins and the close fails.
    file = open("new.pdf", CREATE_NEW);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    Put(fresh, "other");
    WriteFile(file, "mine", 4, &written, nullptr);
    EXPECT_FALSE(CloseHandle(file));
    EXPECT_EQ(GetLastError(), ERROR_FILE_EXISTS);
    EXPECT_EQ(Text(fresh), "other");
    // A write beyond the file size limit fails: the earlier file stays, and
    // the path is refused from then on.
    file = open("big.pdf", CREATE_ALWAYS);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    struct rlimit old, small = {1024, RLIM_INFINITY};
    signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &old);
    small.rlim_max = old.rlim_max;
    setrlimit(RLIMIT_FSIZE, &small);
    std::string block(4096, 'x');
    EXPECT_FALSE(WriteFile(file, block.data(), 4096, &written, nullptr));
    setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_FALSE(CloseHandle(file));
    EXPECT_EQ(Text(big), "old");
    EXPECT_EQ(open("big.pdf", CREATE_ALWAYS), INVALID_HANDLE_VALUE);
    ASSERT_EQ(snk::host::WriteFailures().size(), 2u);  // new.pdf and big.pdf
    EXPECT_EQ(snk::host::WriteFailures()[0].cause, "File too large");
    for (const auto& entry : fs::directory_iterator(dir_))
      EXPECT_NE(entry.path().filename().string()[0], '.') << entry.path();  // no temporary left
  }
  snk::host::UseUnnamedTemporaries(true);
  snk::host::ClearWriteFailures();
}

// A device is written in place with every write checked; hidden leftovers
// of earlier runs go when their lock is free.
TEST_F(FilesTest, DevicesInPlaceAndLeftoversByLock) {
  snk::host::ClearWriteFailures();
  ASSERT_EQ(symlink("/dev/full", (dir_ + "/full.pdf").c_str()), 0);
  std::u16string full = WinPath(u"full.pdf");
  HANDLE file = CreateFileW(full.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  DWORD written = 0;
  EXPECT_FALSE(WriteFile(file, "x", 1, &written, nullptr));
  EXPECT_EQ(GetLastError(), 112u);  // ERROR_DISK_FULL
  CloseHandle(file);
  ASSERT_EQ(snk::host::WriteFailures().size(), 1u);
  EXPECT_EQ(snk::host::WriteFailures()[0].cause, "No space left on device");
  EXPECT_TRUE(fs::is_symlink(dir_ + "/full.pdf"));
  EXPECT_FALSE(CopyFileW(full.c_str(), WinPath(u"copy.pdf").c_str(), FALSE));
  snk::host::ClearWriteFailures();

  const std::string held = dir_ + "/.snk-00000000000000aa.tmp", free = dir_ + "/.snk-00000000000000bb.tmp";
  Put(held, "held");
  Put(free, "free");
  int lock = open(held.c_str(), O_RDONLY);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  snk::host::UseUnnamedTemporaries(false);
  file = CreateFileW(WinPath(u"next.pdf").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  snk::host::UseUnnamedTemporaries(true);
  EXPECT_TRUE(CloseHandle(file));
  close(lock);
  EXPECT_TRUE(fs::exists(held));
  EXPECT_FALSE(fs::exists(free));
}

TEST(Handles, UnknownHandlesFailWithoutTouchingMemory) {
  int local = 0;
  SetLastError(0);
  EXPECT_FALSE(CloseHandle(&local));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_FALSE(CloseHandle(nullptr));
  EXPECT_FALSE(CloseHandle(INVALID_HANDLE_VALUE));
  DWORD n = 0;
  EXPECT_FALSE(WriteFile(&local, "x", 1, &n, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  // A printer is not closed by CloseHandle, nor a file by ClosePrinter.
  HANDLE printer = snk::host::OpenHostPrinter(u"P");
  EXPECT_FALSE(CloseHandle(printer));
  EXPECT_TRUE(snk::host::ClosePrinter(printer));
  EXPECT_EQ(RegCloseKey(reinterpret_cast<HKEY>(&local)), ERROR_INVALID_HANDLE);
}

TEST(ModuleFileName, NamesTheLibraryWithBackslashesAndTruncatesLikeWindows) {
  auto address = reinterpret_cast<HMODULE>(reinterpret_cast<uintptr_t>(&GetModuleFileNameW));
  char16_t buffer[1024];
  DWORD length = GetModuleFileNameW(address, buffer, 1024);
  ASSERT_GT(length, 0u);
  std::u16string path(buffer, length);
  EXPECT_EQ(path[0], u'\\');
  EXPECT_EQ(path.find(u'/'), std::u16string::npos);
  EXPECT_NE(path.find(u"snk_host"), std::u16string::npos);
  // The path, turned back, names the file; the file calls take it as is.
  EXPECT_EQ(GetFileAttributesW(path.c_str()), FILE_ATTRIBUTE_NORMAL);

  char16_t small[5];
  EXPECT_EQ(GetModuleFileNameW(address, small, 5), 5u);
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(std::u16string(small), path.substr(0, 4));

  // A null module is the program.
  length = GetModuleFileNameW(nullptr, buffer, 1024);
  ASSERT_GT(length, 0u);
  EXPECT_EQ(buffer[0], u'\\');
}

}  // namespace
