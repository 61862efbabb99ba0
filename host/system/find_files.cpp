// Folder listing: FindFirstFileW, FindNextFileW and FindClose.
//
// The pattern is a path whose last component may hold the wildcards '*'
// (any run of characters) and '?' (one character); "*.*" matches every
// name, dotted or not. Names match without regard to ASCII case, as they
// would on a Windows volume. Without wildcards the pattern names one file
// or folder. "." and ".." are listed when a wildcard pattern matches them,
// as Windows lists them for "*".
//
// The whole listing is taken at FindFirstFileW and sorted by name (byte
// order of the UTF-8 names), so the order is the same on every run and
// every file system. Names longer than MAX_PATH-1 UTF-16 units are left
// out, since the record cannot hold them; entries that vanish while the
// folder is read are skipped. Search handles live in the host's handle
// table: FindNextFileW and FindClose refuse anything else with
// ERROR_INVALID_HANDLE.
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <vector>

#include "host/system/file_object.h"
#include "host/system/wide_text.h"
#include "host/system/win_errors.h"
#include "platform/win32.h"

namespace snk::host {
namespace {

constexpr DWORD kErrorNoMoreFiles = 18;  // ERROR_NO_MORE_FILES
constexpr DWORD kAttributeReadOnly = 0x1;

class FindObject : public HostObject {
 public:
  std::mutex mutex;
  std::vector<WIN32_FIND_DATAW> entries;
  size_t next = 0;
};

char16_t Fold(char16_t c) { return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 0x20) : c; }

// Wildcard match with backtracking to the last '*' (linear in practice).
bool Matches(std::u16string_view pattern, std::u16string_view name) {
  if (pattern == u"*.*") return true;
  size_t p = 0, n = 0, starP = std::u16string_view::npos, starN = 0;
  while (n < name.size()) {
    if (p < pattern.size() && pattern[p] == u'*') {
      starP = p++;
      starN = n;
    } else if (p < pattern.size() && (pattern[p] == u'?' || Fold(pattern[p]) == Fold(name[n]))) {
      ++p, ++n;
    } else if (starP != std::u16string_view::npos) {
      p = starP + 1;
      n = ++starN;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == u'*') ++p;
  return p == pattern.size();
}

FILETIME ToFileTime(const struct timespec& t) {
  // 100-nanosecond units since 1601-01-01.
  constexpr int64_t kEpochDifference = 11644473600;
  int64_t seconds = std::max<int64_t>(t.tv_sec + kEpochDifference, 0);
  uint64_t ticks = static_cast<uint64_t>(seconds) * 10000000u + static_cast<uint64_t>(t.tv_nsec / 100);
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

// The record of one entry; false if it cannot be listed.
bool MakeEntry(const std::string& path, std::u16string_view name, WIN32_FIND_DATAW& data) {
  struct stat st;
  if (stat(path.c_str(), &st) != 0 && lstat(path.c_str(), &st) != 0) return false;
  if (name.size() >= MAX_PATH) return false;
  data = WIN32_FIND_DATAW{};
  if (S_ISDIR(st.st_mode)) {
    data.dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY;
  } else {
    data.dwFileAttributes = (st.st_mode & S_IWUSR) ? FILE_ATTRIBUTE_NORMAL : kAttributeReadOnly;
    auto size = static_cast<uint64_t>(std::max<off_t>(st.st_size, 0));
    data.nFileSizeHigh = static_cast<DWORD>(size >> 32);
    data.nFileSizeLow = static_cast<DWORD>(size);
  }
  if (S_ISDIR(st.st_mode) && !(st.st_mode & S_IWUSR)) data.dwFileAttributes |= kAttributeReadOnly;
  data.ftCreationTime = ToFileTime(st.st_mtim);  // POSIX stat has no birth time
  data.ftLastAccessTime = ToFileTime(st.st_atim);
  data.ftLastWriteTime = ToFileTime(st.st_mtim);
  std::copy(name.begin(), name.end(), data.cFileName);
  return true;
}

// Every entry of `folder` that matches, sorted; false with the error if
// the folder cannot be read.
bool ListFolder(const std::string& folder, std::u16string_view pattern, std::vector<WIN32_FIND_DATAW>& out,
                DWORD& error) {
  DIR* dir = opendir(folder.c_str());
  if (!dir) {
    error = errno == ENOENT || errno == ENOTDIR ? kErrorPathNotFound : WinErrorFromErrno(errno);
    return false;
  }
  std::vector<std::string> names;
  while (struct dirent* entry = readdir(dir)) {
    std::string name = entry->d_name;
    if (Matches(pattern, ToUtf16(name))) names.push_back(std::move(name));
  }
  closedir(dir);
  std::sort(names.begin(), names.end());
  for (const std::string& name : names) {
    WIN32_FIND_DATAW data;
    if (MakeEntry(folder + "/" + name, ToUtf16(name), data)) out.push_back(data);
  }
  return true;
}

// The entries a pattern finds, or the error that FindFirstFileW reports.
DWORD Search(const std::string& path, std::vector<WIN32_FIND_DATAW>& entries) {
  size_t slash = path.rfind('/');
  std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
  std::u16string name = ToUtf16(slash == std::string::npos ? path : path.substr(slash + 1));
  if (name.empty()) return ERROR_FILE_NOT_FOUND;
  if (name.find_first_of(u"*?") != std::u16string::npos) {
    DWORD error = ERROR_SUCCESS;
    if (!ListFolder(folder, name, entries, error)) return error;
  } else {
    WIN32_FIND_DATAW data;
    if (MakeEntry(path, name, data)) entries.push_back(data);
    struct stat st;
    if (entries.empty() && stat(folder.c_str(), &st) != 0) return kErrorPathNotFound;
  }
  return entries.empty() ? ERROR_FILE_NOT_FOUND : ERROR_SUCCESS;
}

}  // namespace
}  // namespace snk::host

extern "C" HANDLE FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* data) {
  using namespace snk::host;
  if (!data) return SetLastError(ERROR_INVALID_PARAMETER), INVALID_HANDLE_VALUE;
  auto path = PosixPath(WideView(pattern));
  if (!path)
    return SetLastError(pattern && *pattern ? kErrorInvalidName : ERROR_FILE_NOT_FOUND), INVALID_HANDLE_VALUE;
  auto find = std::make_shared<FindObject>();
  DWORD error = Search(*path, find->entries);
  if (error != ERROR_SUCCESS) return SetLastError(error), INVALID_HANDLE_VALUE;
  *data = find->entries[0];
  find->next = 1;
  SetLastError(ERROR_SUCCESS);
  return RegisterHandle(find);
}

extern "C" BOOL FindNextFileW(HANDLE handle, WIN32_FIND_DATAW* data) {
  using namespace snk::host;
  auto find = FindHandleAs<FindObject>(handle);
  if (!find) return SetLastError(ERROR_INVALID_HANDLE), FALSE;
  if (!data) return SetLastError(ERROR_INVALID_PARAMETER), FALSE;
  std::lock_guard lock(find->mutex);
  if (find->next >= find->entries.size()) return SetLastError(kErrorNoMoreFiles), FALSE;
  *data = find->entries[find->next++];
  return TRUE;
}

extern "C" BOOL FindClose(HANDLE handle) {
  if (snk::host::ReleaseHandleAs<snk::host::FindObject>(handle)) return TRUE;
  SetLastError(ERROR_INVALID_HANDLE);
  return FALSE;
}
