// The profile API over real files: GetPrivateProfileStringW,
// WritePrivateProfileStringW, GetPrivateProfileStructW and
// WritePrivateProfileStructW.
//
// Contract:
// - The file is read again at each call (no cache), whole, and decoded as
//   profile_file.cpp describes; a file larger than kMaxFileBytes or one
//   that cannot be read counts as missing for reads, and writes to it fail.
// - Reads never fail on the file's content: a missing file, section or key
//   gives the default (ERROR_FILE_NOT_FOUND in GetLastError when the file
//   itself is missing).
// - Values are returned trimmed of blanks and tabs, and without one pair of
//   surrounding double or single quotes. The default is used as given,
//   less its trailing blanks. A value cut to fit the buffer is
//   size-1 characters long and the result is size-1; the lists of section
//   or key names (section or key null) are cut at size-2 characters, and
//   always end with two zeros.
// - Writes change the lines they must and replace the file in one step: the
//   new text goes to a temporary file in the same folder, which is flushed
//   and renamed over the old one (keeping its permission bits), so a crash
//   leaves the old file or the new one. A new file is UTF-16LE with the mark
//   FF FE; an existing one keeps its encoding. Two processes writing the
//   same file at the same moment: the last rename wins.
// - Struct values are upper-case hexadecimal, two digits a byte, followed by
//   a checksum byte (the sum of the bytes modulo 256). A read refuses a
//   value of the wrong length (ERROR_BAD_LENGTH), with a character that is
//   not a hexadecimal digit or with a wrong checksum (ERROR_INVALID_DATA),
//   and leaves the caller's buffer untouched.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "host/system/file_object.h"
#include "host/system/profile_file.h"
#include "host/system/wide_text.h"
#include "host/system/win_errors.h"
#include "platform/win32.h"

namespace snk::host {
namespace {

constexpr size_t kMaxFileBytes = size_t{64} << 20;
constexpr UINT kMaxStructBytes = UINT{16} << 20;
constexpr DWORD kErrorInvalidData = 13;  // ERROR_INVALID_DATA
constexpr DWORD kErrorBadLength = 24;    // ERROR_BAD_LENGTH
constexpr DWORD kErrorFileTooLarge = 223;

struct Loaded {
  DWORD error = ERROR_SUCCESS;  // ERROR_FILE_NOT_FOUND when the file is absent
  ProfileText text;
  mode_t mode = 0;
};

bool ReadAll(int fd, size_t size, std::vector<std::byte>& bytes) {
  bytes.resize(size);
  size_t done = 0;
  while (done < size) {
    ssize_t n = read(fd, bytes.data() + done, size - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) break;  // the file shrank while we read it
    done += static_cast<size_t>(n);
  }
  bytes.resize(done);
  return true;
}

Loaded Load(const std::string& path) {
  Loaded loaded;
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    loaded.error = errno == ENOENT || errno == ENOTDIR ? ERROR_FILE_NOT_FOUND : WinErrorFromErrno(errno);
    return loaded;
  }
  struct stat st;
  std::vector<std::byte> bytes;
  if (fstat(fd, &st) != 0) {
    loaded.error = WinErrorFromErrno(errno);
  } else if (S_ISDIR(st.st_mode)) {
    loaded.error = ERROR_ACCESS_DENIED;
  } else if (static_cast<uintmax_t>(st.st_size) > kMaxFileBytes) {
    loaded.error = kErrorFileTooLarge;
  } else if (!ReadAll(fd, static_cast<size_t>(st.st_size), bytes)) {
    loaded.error = WinErrorFromErrno(errno);
  } else {
    loaded.text = ProfileText::Decode(bytes);
    loaded.mode = st.st_mode & 07777;
  }
  close(fd);
  return loaded;
}

// Permission bits for a new file: 0644 less the process's umask, read
// without changing it.
mode_t NewFileMode() {
  mode_t mask = 022;
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("Umask:", 0) == 0) {
      mask = static_cast<mode_t>(std::strtoul(line.c_str() + 6, nullptr, 8));
      break;
    }
  }
  return 0644 & ~mask;
}

bool WriteAll(int fd, const std::vector<std::byte>& bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      if (n == 0) errno = ENOSPC;
      return false;
    }
    done += static_cast<size_t>(n);
  }
  return true;
}

// Writes `bytes` to a temporary file beside `path` and renames it over
// `path`. Returns ERROR_SUCCESS or the Windows error.
DWORD ReplaceFile(std::string path, const std::vector<std::byte>& bytes, mode_t mode) {
  if (char* real = realpath(path.c_str(), nullptr)) {  // write through a link
    path = real;
    free(real);
  }
  size_t slash = path.rfind('/');
  std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  std::string temp = folder + "/." + name + ".XXXXXX";
  int fd = mkostemp(temp.data(), O_CLOEXEC);
  if (fd < 0) return errno == ENOENT ? kErrorPathNotFound : WinErrorFromErrno(errno);
  bool ok = fchmod(fd, mode) == 0 && WriteAll(fd, bytes) && fsync(fd) == 0;
  int error = errno;
  ok = close(fd) == 0 && ok;
  if (ok && rename(temp.c_str(), path.c_str()) != 0) ok = false, error = errno;
  if (!ok) {
    unlink(temp.c_str());
    return WinErrorFromErrno(error);
  }
  int dir = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir >= 0) {  // the rename itself reaches the disk
    fsync(dir);
    close(dir);
  }
  return ERROR_SUCCESS;
}

enum class Edit { kSet, kDeleteKey, kDeleteSection };

// Loads the file, applies one edit and writes it back; the Win32 result.
BOOL EditProfile(LPCWSTR file, Edit edit, std::u16string_view section, std::u16string_view key,
                 std::u16string_view value) {
  auto path = PosixPath(WideView(file));
  if (!path) return SetLastError(file && *file ? kErrorInvalidName : ERROR_INVALID_PARAMETER), FALSE;
  Loaded loaded = Load(*path);
  bool absent = loaded.error == ERROR_FILE_NOT_FOUND;
  if (loaded.error != ERROR_SUCCESS && !absent) return SetLastError(loaded.error), FALSE;
  bool changed = true;
  if (edit == Edit::kSet) {
    loaded.text.Set(section, key, value);
  } else {
    changed =
        edit == Edit::kDeleteKey ? loaded.text.DeleteKey(section, key) : loaded.text.DeleteSection(section);
  }
  if (!changed) return SetLastError(ERROR_SUCCESS), TRUE;  // nothing to remove: the file stays as it is
  DWORD error = ReplaceFile(*path, loaded.text.Encode(), absent ? NewFileMode() : loaded.mode);
  SetLastError(error);
  return error == ERROR_SUCCESS;
}

// Reads the file for a lookup; a file that cannot be read has no values.
ProfileText LoadForReading(LPCWSTR file) {
  auto path = PosixPath(WideView(file));
  if (!path) return SetLastError(ERROR_FILE_NOT_FOUND), ProfileText();
  Loaded loaded = Load(*path);
  SetLastError(loaded.error);
  return loaded.error == ERROR_SUCCESS ? std::move(loaded.text) : ProfileText();
}

std::u16string_view Unquote(std::u16string_view value) {
  if (value.size() >= 2 && (value.front() == u'"' || value.front() == u'\'') &&
      value.back() == value.front()) {
    return value.substr(1, value.size() - 2);
  }
  return value;
}

DWORD CopyValue(std::u16string_view text, LPWSTR out, DWORD size) {
  size_t n = std::min<size_t>(text.size(), size - 1);
  std::copy_n(text.data(), n, out);
  out[n] = u'\0';
  return static_cast<DWORD>(n);
}

// Names separated by zeros and ended by a second zero.
DWORD CopyList(const std::vector<std::u16string>& names, LPWSTR out, DWORD size) {
  std::u16string list;
  for (const std::u16string& name : names) list.append(name).push_back(u'\0');
  if (size < 2) return out[0] = u'\0', 0;
  if (list.empty()) return out[0] = out[1] = u'\0', 0;
  if (list.size() + 1 <= size) {
    std::copy(list.begin(), list.end(), out);
    out[list.size()] = u'\0';
    return static_cast<DWORD>(list.size());
  }
  std::copy_n(list.data(), size - 2, out);
  out[size - 2] = out[size - 1] = u'\0';
  return size - 2;
}

std::u16string HexStruct(const BYTE* data, UINT size) {
  static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
  std::u16string text;
  text.reserve((size_t{size} + 1) * 2);
  unsigned sum = 0;
  auto put = [&](unsigned b) {
    text += kDigits[b >> 4];
    text += kDigits[b & 15];
  };
  for (UINT i = 0; i < size; ++i) {
    put(data[i]);
    sum += data[i];
  }
  put(sum & 0xFF);
  return text;
}

int HexDigit(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  if (c >= u'a' && c <= u'f') return c - u'a' + 10;
  return -1;
}

// The bytes of a struct value of `size` bytes, or the error that refuses it.
DWORD ParseStruct(std::u16string_view text, UINT size, std::vector<BYTE>& bytes) {
  if (text.size() != (uint64_t{size} + 1) * 2) return kErrorBadLength;
  bytes.resize(size_t{size} + 1);
  unsigned sum = 0;
  for (size_t i = 0; i < bytes.size(); ++i) {
    int hi = HexDigit(text[2 * i]), lo = HexDigit(text[2 * i + 1]);
    if (hi < 0 || lo < 0) return kErrorInvalidData;
    bytes[i] = static_cast<BYTE>(hi << 4 | lo);
    if (i < size) sum += bytes[i];
  }
  return (sum & 0xFF) == bytes[size] ? ERROR_SUCCESS : kErrorInvalidData;
}

}  // namespace
}  // namespace snk::host

using snk::host::WideView;

extern "C" DWORD GetPrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR defaultValue, LPWSTR out,
                                          DWORD size, LPCWSTR file) {
  using namespace snk::host;
  if (!out || size == 0) return SetLastError(ERROR_INVALID_PARAMETER), 0;
  ProfileText text = LoadForReading(file);
  if (!section) return CopyList(text.SectionNames(), out, size);
  if (!key) return CopyList(text.KeyNames(WideView(section)), out, size);
  if (auto value = text.Find(WideView(section), WideView(key))) return CopyValue(Unquote(*value), out, size);
  std::u16string_view fallback = WideView(defaultValue);
  while (!fallback.empty() && (fallback.back() == u' ' || fallback.back() == u'\t'))
    fallback.remove_suffix(1);
  return CopyValue(fallback, out, size);
}

extern "C" BOOL WritePrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR value, LPCWSTR file) {
  using namespace snk::host;
  if (!section) {
    // All null asks to flush a cache; there is none, the file is always current.
    if (!key && !value && file && *file) return SetLastError(ERROR_SUCCESS), TRUE;
    return SetLastError(ERROR_INVALID_PARAMETER), FALSE;
  }
  if (!key) return EditProfile(file, Edit::kDeleteSection, WideView(section), {}, {});
  if (!value) return EditProfile(file, Edit::kDeleteKey, WideView(section), WideView(key), {});
  return EditProfile(file, Edit::kSet, WideView(section), WideView(key), WideView(value));
}

extern "C" BOOL GetPrivateProfileStructW(LPCWSTR section, LPCWSTR key, LPVOID data, UINT size, LPCWSTR file) {
  using namespace snk::host;
  if (!section || !key || (!data && size)) return SetLastError(ERROR_INVALID_PARAMETER), FALSE;
  ProfileText text = LoadForReading(file);
  if (GetLastError() != ERROR_SUCCESS) return FALSE;
  std::optional<std::u16string> value = text.Find(WideView(section), WideView(key));
  std::vector<BYTE> bytes;
  DWORD error = ParseStruct(value ? Unquote(*value) : std::u16string_view(), size, bytes);
  if (error != ERROR_SUCCESS) return SetLastError(error), FALSE;
  if (size) std::memcpy(data, bytes.data(), size);
  return TRUE;
}

extern "C" BOOL WritePrivateProfileStructW(LPCWSTR section, LPCWSTR key, LPCVOID data, UINT size,
                                           LPCWSTR file) {
  using namespace snk::host;
  if (!section || !key) return SetLastError(ERROR_INVALID_PARAMETER), FALSE;
  if (!data) return EditProfile(file, Edit::kDeleteKey, WideView(section), WideView(key), {});
  if (size > kMaxStructBytes) return SetLastError(ERROR_INVALID_PARAMETER), FALSE;
  std::u16string hex = HexStruct(static_cast<const BYTE*>(data), size);
  return EditProfile(file, Edit::kSet, WideView(section), WideView(key), hex);
}
