// Known folders and whole-file copies: SHGetSpecialFolderPathW, CopyFileW.
//
// Known folders are the XDG base directories: CSIDL_APPDATA is
// $XDG_CONFIG_HOME (~/.config when unset or not absolute) and
// CSIDL_LOCAL_APPDATA is $XDG_DATA_HOME (~/.local/share). The path comes
// back as it is on Linux, with '/' separators and no trailing separator;
// callers append '\' and every file call accepts both. Without `create`
// a missing folder fails as on Windows; with it, the missing folders of
// the path are made with mode 0700, as the XDG rules ask.
//
// CopyFileW copies the bytes to a temporary file beside the target and
// renames it into place (so a reader never sees half a copy), keeping the
// source's permission bits and modification time as Windows keeps the
// attributes and the last-write time. Neither a file whose writing failed
// nor the file that such a write was to replace takes part in a copy.
#include <fcntl.h>
#include <pwd.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "host/system/file_object.h"
#include "host/system/wide_text.h"
#include "host/system/win_errors.h"
#include "platform/win32.h"

namespace snk::host {
namespace {

constexpr int kCsidlFlagCreate = 0x8000;      // CSIDL_FLAG_CREATE
constexpr DWORD kErrorSharingViolation = 32;  // ERROR_SHARING_VIOLATION

std::string HomeFolder() {
  const char* home = std::getenv("HOME");
  if (home && *home == '/') return home;
  if (struct passwd* entry = getpwuid(getuid()); entry && entry->pw_dir) return entry->pw_dir;
  return "/";
}

// An XDG base directory: the variable if it holds an absolute path, else
// the default below the home folder.
std::string XdgFolder(const char* variable, const char* fallback) {
  const char* value = std::getenv(variable);
  std::string path = value && *value == '/' ? std::string(value) : HomeFolder() + "/" + fallback;
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

// Makes every missing folder of `path` with mode 0700.
bool MakeFolders(const std::string& path) {
  for (size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
    std::string part = path.substr(0, slash);
    if (mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) return false;
    if (slash == std::string::npos) break;
  }
  struct stat st;
  return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool CopyBytes(int from, int to) {
  char buffer[1 << 16];
  for (;;) {
    ssize_t n = read(from, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) return true;
    for (ssize_t done = 0; done < n;) {
      ssize_t w = write(to, buffer + done, static_cast<size_t>(n - done));
      if (w < 0 && errno == EINTR) continue;
      if (w <= 0) return errno = w == 0 ? ENOSPC : errno, false;
      done += w;
    }
  }
}

// Opens the source for copying; -1 with the Windows error.
int OpenSource(const std::string& path, struct stat& st, DWORD& error) {
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    error = errno == ENOENT    ? ERROR_FILE_NOT_FOUND
            : errno == ENOTDIR ? kErrorPathNotFound
                               : WinErrorFromErrno(errno);
    return -1;
  }
  if (fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
    error = ERROR_ACCESS_DENIED;
    close(fd);
    return -1;
  }
  return fd;
}

// Whether the target may be written: ERROR_SUCCESS, or why not.
DWORD CheckTarget(const std::string& path, const struct stat& source, bool failIfExists) {
  struct stat st;
  if (stat(path.c_str(), &st) != 0) return ERROR_SUCCESS;
  if (failIfExists) return ERROR_FILE_EXISTS;
  if (S_ISDIR(st.st_mode) || access(path.c_str(), W_OK) != 0) return ERROR_ACCESS_DENIED;
  if (st.st_dev == source.st_dev && st.st_ino == source.st_ino) return kErrorSharingViolation;
  return ERROR_SUCCESS;
}

DWORD CopyInto(int source, const struct stat& st, const std::string& target, bool failIfExists) {
  size_t slash = target.rfind('/');
  std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : target.substr(0, slash);
  std::string temp = folder + "/.copy.XXXXXX";
  int fd = mkostemp(temp.data(), O_CLOEXEC);
  if (fd < 0) return errno == ENOENT ? kErrorPathNotFound : WinErrorFromErrno(errno);
  struct timespec times[2] = {st.st_atim, st.st_mtim};
  bool ok = CopyBytes(source, fd) && fchmod(fd, st.st_mode & 07777) == 0 && futimens(fd, times) == 0;
  int error = errno;
  ok = close(fd) == 0 && ok;
  if (ok) {
    // With failIfExists the rename must not replace a file made meanwhile.
    int rc = failIfExists ? renameat2(AT_FDCWD, temp.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE)
                          : rename(temp.c_str(), target.c_str());
    if (rc != 0) ok = false, error = errno;
  }
  if (ok) return ERROR_SUCCESS;
  unlink(temp.c_str());
  return error == EEXIST ? ERROR_FILE_EXISTS : WinErrorFromErrno(error);
}

}  // namespace
}  // namespace snk::host

extern "C" BOOL SHGetSpecialFolderPathW(HWND, LPWSTR path, int folder, BOOL create) {
  using namespace snk::host;
  if (!path) return SetLastError(ERROR_INVALID_PARAMETER), FALSE;
  create = create || (folder & kCsidlFlagCreate);
  folder &= ~kCsidlFlagCreate;
  std::string place;
  if (folder == CSIDL_APPDATA) {
    place = XdgFolder("XDG_CONFIG_HOME", ".config");
  } else if (folder == CSIDL_LOCAL_APPDATA) {
    place = XdgFolder("XDG_DATA_HOME", ".local/share");
  } else {
    return SetLastError(ERROR_INVALID_PARAMETER), FALSE;
  }
  struct stat st;
  bool present = stat(place.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
  if (!present && !(create && MakeFolders(place))) return SetLastError(kErrorPathNotFound), FALSE;
  std::u16string wide = ToUtf16(place);
  if (!CopyWithTerminator(wide, path, MAX_PATH)) return SetLastError(kErrorFilenameTooLong), FALSE;
  return TRUE;
}

extern "C" BOOL CopyFileW(LPCWSTR from, LPCWSTR to, BOOL failIfExists) {
  using namespace snk::host;
  auto source = PosixPath(WideView(from)), target = PosixPath(WideView(to));
  if (!source || !target) return SetLastError(kErrorPathNotFound), FALSE;
  // A file whose writing failed is neither copied nor copied over.
  if (auto failure = WriteFailureOf(*source) ? WriteFailureOf(*source) : WriteFailureOf(*target))
    return SetLastError(WinErrorFromErrno(*failure)), FALSE;
  struct stat st;
  DWORD error = ERROR_SUCCESS;
  int fd = OpenSource(*source, st, error);
  if (fd < 0) return SetLastError(error), FALSE;
  error = CheckTarget(*target, st, failIfExists);
  if (error == ERROR_SUCCESS) error = CopyInto(fd, st, *target, failIfExists);
  close(fd);
  SetLastError(error);
  return error == ERROR_SUCCESS;
}
