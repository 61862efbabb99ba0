// The user's name and the operating system's version.
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "host/system/wide_text.h"
#include "platform/win32.h"

namespace snk::host {
namespace {

// The login name of the effective user; its number when it has no entry
// in the user database (as in some containers).
std::string LoginName() {
  uid_t uid = geteuid();
  std::vector<char> buffer(1024);
  passwd pw{};
  passwd* found = nullptr;
  int rc;
  while ((rc = getpwuid_r(uid, &pw, buffer.data(), buffer.size(), &found)) == ERANGE &&
         buffer.size() < (1u << 20)) {
    buffer.resize(buffer.size() * 2);
  }
  if (rc == 0 && found && found->pw_name && *found->pw_name) return found->pw_name;
  return std::to_string(uid);
}

struct Version {
  DWORD major, minor, build;
};

// SNK_OS_VERSION as "6.1" or "601"; Windows Vista (6.0) otherwise.
Version ReportedVersion() {
  Version v{6, 0, 6002};
  const char* text = std::getenv("SNK_OS_VERSION");
  if (!text || !*text) return v;
  char* end = nullptr;
  unsigned long first = std::strtoul(text, &end, 10);
  if (*end == '.') {
    unsigned long second = std::strtoul(end + 1, &end, 10);
    if (*end == '\0' && first < 100 && second < 100) v = {DWORD(first), DWORD(second), 0};
  } else if (*end == '\0' && first >= 100 && first < 10000) {
    v = {DWORD(first / 100), DWORD(first % 100), 0};
  }
  // The last service-pack build of the versions the driver distinguishes.
  static constexpr DWORD kBuilds[] = {6002, 7601, 9200, 9600};
  if (v.major == 6 && v.minor < 4) v.build = kBuilds[v.minor];
  return v;
}

}  // namespace
}  // namespace snk::host

extern "C" BOOL GetUserNameW(LPWSTR buffer, DWORD* size) {
  if (!size) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  std::u16string name = snk::host::ToUtf16(snk::host::LoginName());
  auto needed = static_cast<DWORD>(name.size() + 1);
  if (!snk::host::CopyWithTerminator(name, buffer, *size)) {
    *size = needed;
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return FALSE;
  }
  *size = needed;
  return TRUE;
}

extern "C" BOOL GetVersionExW(OSVERSIONINFOW* info) {
  if (!info || info->dwOSVersionInfoSize < sizeof(OSVERSIONINFOW)) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return FALSE;
  }
  snk::host::Version v = snk::host::ReportedVersion();
  info->dwMajorVersion = v.major;
  info->dwMinorVersion = v.minor;
  info->dwBuildNumber = v.build;
  info->dwPlatformId = 2;  // VER_PLATFORM_WIN32_NT
  std::memset(info->szCSDVersion, 0, sizeof info->szCSDVersion);
  return TRUE;
}
