// SnkWriteScratchFile: the process's private scratch folder.
//
// The folder is "$XDG_RUNTIME_DIR/snk" when XDG_RUNTIME_DIR is an absolute
// path (a per-user folder the system clears at logout), otherwise
// "${TMPDIR:-/tmp}/snk-<uid>". It is made with mode 0700 and used only if
// it is a real folder (not a link) of this user that no one else may
// enter. A file is written to a fresh temporary name beside its target
// (O_EXCL, no links followed, mode 0600) and renamed over it, so that a
// reader never sees half a file and no one else can read it.
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "host/system/wide_text.h"
#include "platform/win32.h"

namespace snk::host {
namespace {

std::string ScratchFolder() {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime && runtime[0] == '/') return std::string(runtime) + "/snk";
  const char* temp = std::getenv("TMPDIR");
  std::string base = temp && temp[0] == '/' ? temp : "/tmp";
  return base + "/snk-" + std::to_string(getuid());
}

// Makes the folder if it is missing and checks that it is private.
bool PrivateFolder(const std::string& folder) {
  if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) return false;
  struct stat info;
  if (lstat(folder.c_str(), &info) != 0) return false;
  return S_ISDIR(info.st_mode) && info.st_uid == getuid() && (info.st_mode & 077) == 0;
}

bool PlainFileName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
         name.find('\\') == std::string::npos;
}

bool WriteAll(int fd, const char* bytes, size_t size) {
  while (size > 0) {
    ssize_t written = write(fd, bytes, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes += written;
    size -= size_t(written);
  }
  return true;
}

}  // namespace
}  // namespace snk::host

extern "C" BOOL SnkWriteScratchFile(LPCWSTR name, LPCVOID data, DWORD size) {
  using namespace snk::host;
  if (!name || (!data && size)) return FALSE;
  std::optional<std::string> file = ToUtf8(WideView(name));
  if (!file || !PlainFileName(*file)) return FALSE;
  const std::string folder = ScratchFolder();
  if (!PrivateFolder(folder)) return FALSE;
  const std::string target = folder + "/" + *file;
  std::string temporary = target + ".XXXXXX";
  int fd = mkostemp(temporary.data(), O_CLOEXEC);
  if (fd < 0) return FALSE;
  fchmod(fd, 0600);
  const bool written = WriteAll(fd, static_cast<const char*>(data), size);
  if (close(fd) != 0 || !written || rename(temporary.c_str(), target.c_str()) != 0) {
    unlink(temporary.c_str());
    return FALSE;
  }
  return TRUE;
}
