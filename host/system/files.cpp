// Files and folders: CreateFileW, ReadFile, WriteFile, FlushFileBuffers,
// DeleteFileW, GetFileAttributesW and CreateDirectoryW over POSIX calls.
//
// Both '\' and '/' separate components. New files get mode 0644 and new
// folders 0755, less the umask (and whatever default ACL the folder has).
// The share mode has no POSIX counterpart and is ignored. Errors are the
// Windows numbers in GetLastError.
//
// A regular file opened with write access only and CREATE_ALWAYS or
// CREATE_NEW is written to a temporary file and put in place by
// CloseHandle (output_files.h). Opens that read as well (the settings file
// that a job reads back) or keep the old bytes (OPEN_ALWAYS) write in
// place. Every failed write is recorded against its path, and later opens
// of that path fail with its cause.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "host/system/file_object.h"
#include "host/system/wide_text.h"
#include "host/system/win_errors.h"
#include "platform/win32.h"

namespace snk::host {

FileObject::~FileObject() {
  if (pending) DiscardPendingOutput(*pending);
  if (fd >= 0) close(fd);
}

void FileObject::Failed(int error) {
  if (pending && !pending->error) pending->error = error;
  if (!path.empty()) RecordWriteFailure(path, error);
}

DWORD FileObject::Close() {
  int error = 0;
  if (pending) {
    error = CommitPendingOutput(fd, *pending);
    pending.reset();
  }
  if (fd >= 0 && close(fd) != 0 && !error && !path.empty()) error = errno;
  fd = -1;
  if (!error) return 0;
  Failed(error);
  return WinErrorFromErrno(error);
}

std::optional<std::string> PosixPath(std::u16string_view path) {
  if (path.empty()) return std::nullopt;
  std::optional<std::string> utf8 = ToUtf8(path);
  if (!utf8) return std::nullopt;
  for (char& c : *utf8) {
    if (c == '\\') c = '/';
  }
  return utf8;
}

DWORD WinErrorFromErrno(int error) {
  switch (error) {
    case ENOENT:
      return ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
      return kErrorPathNotFound;
    case EACCES:
    case EPERM:
    case EISDIR:
      return ERROR_ACCESS_DENIED;
    case EEXIST:
      return ERROR_FILE_EXISTS;
    case EBADF:
      return ERROR_INVALID_HANDLE;
    case ENOMEM:
      return ERROR_NOT_ENOUGH_MEMORY;
    case ENOSPC:
    case EDQUOT:
      return kErrorDiskFull;
    case EROFS:
      return kErrorWriteProtect;
    case EMFILE:
    case ENFILE:
      return kErrorTooManyOpenFiles;
    case ENAMETOOLONG:
      return kErrorFilenameTooLong;
    case EINVAL:
      return ERROR_INVALID_PARAMETER;
    default:
      return kErrorGenFailure;
  }
}

namespace {

// Windows tells a missing file (ERROR_FILE_NOT_FOUND) from a missing
// folder on the way to it (ERROR_PATH_NOT_FOUND).
DWORD ErrorFor(int error, const std::string& path) {
  if (error != ENOENT) return WinErrorFromErrno(error);
  size_t slash = path.rfind('/');
  if (slash == std::string::npos || slash == 0) return ERROR_FILE_NOT_FOUND;
  struct stat st;
  bool parentIsFolder = stat(path.substr(0, slash).c_str(), &st) == 0 && S_ISDIR(st.st_mode);
  return parentIsFolder ? ERROR_FILE_NOT_FOUND : kErrorPathNotFound;
}

int AccessFlags(DWORD access) {
  bool read = access & GENERIC_READ, write = access & GENERIC_WRITE;
  return (read && write ? O_RDWR : write ? O_WRONLY : O_RDONLY) | O_CLOEXEC;
}

// Opens with the Windows creation disposition; *existed tells whether an
// OPEN_ALWAYS or CREATE_ALWAYS found the file. Returns -1 with errno set.
int OpenWithDisposition(const std::string& path, int flags, DWORD creation, bool* existed) {
  *existed = false;
  switch (creation) {
    case CREATE_NEW:
      return open(path.c_str(), flags | O_CREAT | O_EXCL, 0644);
    case OPEN_EXISTING:
      return open(path.c_str(), flags);
    case CREATE_ALWAYS:
    case OPEN_ALWAYS:
      break;
    default:
      errno = EINVAL;
      return -1;
  }
  int existing = flags | (creation == CREATE_ALWAYS ? O_TRUNC : 0);
  // Create or open; retried while another process removes or creates it.
  for (int attempt = 0; attempt < 8; ++attempt) {
    int fd = open(path.c_str(), flags | O_CREAT | O_EXCL, 0644);
    if (fd >= 0 || errno != EEXIST) return fd;
    fd = open(path.c_str(), existing);
    if (fd >= 0) return *existed = true, fd;
    if (errno != ENOENT) return -1;
  }
  errno = EBUSY;
  return -1;
}

// Write access only, starting from an empty file: the file can be made
// aside and put in place when complete.
bool WrittenFromScratch(DWORD access, DWORD creation) {
  return (access & GENERIC_WRITE) && !(access & GENERIC_READ) &&
         (creation == CREATE_ALWAYS || creation == CREATE_NEW);
}

// Opens for CreateFileW: a pending output, or the file itself.
std::shared_ptr<FileObject> OpenFile(const std::string& path, DWORD access, DWORD creation, bool* existed) {
  PendingOutput pending;
  bool inPlace = !WrittenFromScratch(access, creation);
  int fd = -1;
  if (!inPlace) fd = OpenPendingOutput(path, creation == CREATE_ALWAYS, pending, existed, &inPlace);
  if (inPlace) fd = OpenWithDisposition(path, AccessFlags(access), creation, existed);
  if (fd < 0) return nullptr;
  auto object = std::make_shared<FileObject>(fd);
  if (access & GENERIC_WRITE) object->path = path;
  if (!inPlace) object->pending = std::move(pending);
  return object;
}

std::shared_ptr<FileObject> FindFile(HANDLE file) {
  auto object = FindHandleAs<FileObject>(file);
  if (!object) SetLastError(ERROR_INVALID_HANDLE);
  return object;
}

}  // namespace
}  // namespace snk::host

using snk::host::PosixPath;
using snk::host::WideView;

extern "C" HANDLE CreateFileW(LPCWSTR name, DWORD access, DWORD, void*, DWORD creation, DWORD, HANDLE) {
  using namespace snk::host;
  auto path = PosixPath(WideView(name));
  if (!path) {
    SetLastError(name && *name ? kErrorInvalidName : kErrorPathNotFound);
    return INVALID_HANDLE_VALUE;
  }
  if (auto failure = WriteFailureOf(*path)) {  // its earlier file stays untouched
    SetLastError(WinErrorFromErrno(*failure));
    return INVALID_HANDLE_VALUE;
  }
  bool existed = false;
  auto object = OpenFile(*path, access, creation, &existed);
  if (!object) {
    SetLastError(ErrorFor(errno, *path));
    return INVALID_HANDLE_VALUE;
  }
  struct stat st;
  if (fstat(object->fd, &st) == 0 && S_ISDIR(st.st_mode)) {  // folders are not files
    SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
  }
  SetLastError(existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
  return RegisterHandle(std::move(object));
}

extern "C" BOOL WriteFile(HANDLE file, LPCVOID data, DWORD size, DWORD* written, void*) {
  if (written) *written = 0;
  auto f = snk::host::FindFile(file);
  if (!f) return FALSE;
  if (!data && size) return SetLastError(ERROR_INVALID_PARAMETER), FALSE;
  auto bytes = static_cast<const char*>(data);
  DWORD done = 0;
  while (done < size) {
    ssize_t n = write(f->fd, bytes + done, size - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      const int error = n < 0 ? errno : ENOSPC;
      f->Failed(error);
      SetLastError(snk::host::WinErrorFromErrno(error));
      if (written) *written = done;
      return FALSE;
    }
    done += static_cast<DWORD>(n);
  }
  if (written) *written = done;
  return TRUE;
}

extern "C" BOOL ReadFile(HANDLE file, LPVOID data, DWORD size, DWORD* read, void*) {
  if (read) *read = 0;
  auto f = snk::host::FindFile(file);
  if (!f) return FALSE;
  if (!data && size) return SetLastError(ERROR_INVALID_PARAMETER), FALSE;
  auto bytes = static_cast<char*>(data);
  DWORD done = 0;
  while (done < size) {  // short only at the end of the file
    ssize_t n = ::read(f->fd, bytes + done, size - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      SetLastError(snk::host::WinErrorFromErrno(errno));
      if (read) *read = done;
      return FALSE;
    }
    if (n == 0) break;
    done += static_cast<DWORD>(n);
  }
  if (read) *read = done;
  return TRUE;
}

extern "C" BOOL FlushFileBuffers(HANDLE file) {
  auto f = snk::host::FindFile(file);
  if (!f) return FALSE;
  if (fsync(f->fd) != 0) {
    const int error = errno;
    if (error != EINVAL) f->Failed(error);  // EINVAL: a pipe or device that keeps no data
    SetLastError(snk::host::WinErrorFromErrno(error));
    return FALSE;
  }
  return TRUE;
}

extern "C" BOOL DeleteFileW(LPCWSTR name) {
  auto path = PosixPath(WideView(name));
  if (!path) return SetLastError(snk::host::kErrorPathNotFound), FALSE;
  if (unlink(path->c_str()) != 0) {
    SetLastError(snk::host::ErrorFor(errno, *path));
    return FALSE;
  }
  return TRUE;
}

extern "C" DWORD GetFileAttributesW(LPCWSTR name) {
  auto path = PosixPath(WideView(name));
  if (!path) return SetLastError(snk::host::kErrorPathNotFound), INVALID_FILE_ATTRIBUTES;
  struct stat st;
  if (stat(path->c_str(), &st) != 0) {
    SetLastError(snk::host::ErrorFor(errno, *path));
    return INVALID_FILE_ATTRIBUTES;
  }
  return S_ISDIR(st.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
}

extern "C" BOOL CreateDirectoryW(LPCWSTR name, void*) {
  auto path = PosixPath(WideView(name));
  if (!path) return SetLastError(snk::host::kErrorPathNotFound), FALSE;
  if (mkdir(path->c_str(), 0755) != 0) {
    int error = errno;
    SetLastError(error == EEXIST ? ERROR_ALREADY_EXISTS : snk::host::ErrorFor(error, *path));
    return FALSE;
  }
  return TRUE;
}
