// GetModuleFileNameW: the file of the loaded module that holds an address.
//
// The path is absolute and uses '\' as its separator, so that code written
// for Windows paths (cut at the last '\') finds the module's folder; the
// file calls accept '\' back. A null module means the program itself.
#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "host/system/wide_text.h"
#include "host/system/win_errors.h"
#include "platform/win32.h"

namespace snk::host {
namespace {

std::string ProgramPath() {
  char buffer[PATH_MAX];
  ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer);
  return n > 0 ? std::string(buffer, static_cast<size_t>(n)) : std::string();
}

// The module's file as an absolute POSIX path, or empty.
std::string ModulePath(const void* address) {
  if (!address) return ProgramPath();
  Dl_info info{};
  if (!dladdr(address, &info) || !info.dli_fname || !*info.dli_fname) {
    // The main program may come without a name.
    return info.dli_fbase ? ProgramPath() : std::string();
  }
  if (info.dli_fname[0] == '/') return info.dli_fname;
  // A relative name (a program started by a relative path, or a library
  // loaded by one) is resolved; failing that it is the program.
  char resolved[PATH_MAX];
  if (realpath(info.dli_fname, resolved)) return resolved;
  return ProgramPath();
}

}  // namespace
}  // namespace snk::host

extern "C" DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size) {
  std::string path = snk::host::ModulePath(module);
  if (path.empty()) {
    SetLastError(snk::host::kErrorModNotFound);
    return 0;
  }
  std::u16string wide = snk::host::ToUtf16(path);
  for (char16_t& c : wide) {
    if (c == u'/') c = u'\\';
  }
  if (!buffer || size == 0) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  // As on Windows: a long name is cut to size - 1 characters, terminated,
  // and the call returns size with ERROR_INSUFFICIENT_BUFFER.
  if (wide.size() >= size) {
    std::memcpy(buffer, wide.data(), (size - 1) * sizeof(char16_t));
    buffer[size - 1] = u'\0';
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return size;
  }
  std::memcpy(buffer, wide.data(), wide.size() * sizeof(char16_t));
  buffer[wide.size()] = u'\0';
  SetLastError(ERROR_SUCCESS);
  return static_cast<DWORD>(wide.size());
}
