// The shell's "open" verb: ShellExecuteW hands a document or a URL to the
// desktop's viewer through `xdg-open`.
//
// Only where a desktop exists (DISPLAY or WAYLAND_DISPLAY set) and
// xdg-open is on PATH is it started: detached in a session of its own,
// without a shell, with its standard streams on /dev/null; a thread reaps
// it when it ends, so the caller never waits. Everywhere else, and for any
// other verb, nothing starts and the result is SE_ERR_NOASSOC (31), which
// Windows answers when no program handles the request. A document that
// does not exist gives SE_ERR_FNF (2). Success is a value above 32, as
// on Windows.
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "host/system/file_object.h"
#include "host/system/host_control.h"
#include "host/system/wide_text.h"
#include "platform/win32.h"

extern char** environ;

namespace snk::host {
namespace {

constexpr uintptr_t kStarted = 42;        // any value above 32 means success
constexpr uintptr_t kFileNotFound = 2;    // SE_ERR_FNF
constexpr uintptr_t kNoAssociation = 31;  // SE_ERR_NOASSOC

struct HookSlot {
  std::mutex mutex;
  ShellExecuteHook hook;
};

HookSlot& Slot() {
  static HookSlot* slot = new HookSlot;  // never destroyed: used during exit
  return *slot;
}

HINSTANCE Result(uintptr_t code) { return reinterpret_cast<HINSTANCE>(code); }

bool HasDesktop() {
  for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY"}) {
    const char* value = std::getenv(name);
    if (value && *value) return true;
  }
  return false;
}

// "scheme:..." with a scheme of two or more characters, so "C:\x" stays a
// path.
bool IsUrl(std::u16string_view text) {
  size_t colon = text.find(u':');
  if (colon == std::u16string_view::npos || colon < 2) return false;
  for (size_t i = 0; i < colon; ++i) {
    char16_t c = text[i];
    bool letter = (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
    bool other = (c >= u'0' && c <= u'9') || c == u'+' || c == u'-' || c == u'.';
    if (!letter && !(i > 0 && other)) return false;
  }
  return true;
}

// What xdg-open gets: the URL, or the path of an existing document
// (relative ones taken from `directory` when given); nullopt if missing.
std::optional<std::string> Target(std::u16string_view file, std::u16string_view directory) {
  if (IsUrl(file)) return ToUtf8Lossy(file);
  auto path = PosixPath(file);
  if (!path) return std::nullopt;
  if ((*path)[0] != '/' && !directory.empty()) {
    auto folder = PosixPath(directory);
    if (!folder) return std::nullopt;
    path = *folder + (folder->back() == '/' ? "" : "/") + *path;
  }
  struct stat st;
  if (stat(path->c_str(), &st) != 0) return std::nullopt;
  if ((*path)[0] == '-') path = "./" + *path;  // never read as an option
  return path;
}

std::optional<std::string> FindOnPath(const std::string& program) {
  const char* list = std::getenv("PATH");
  std::string paths = list ? list : "";
  for (size_t start = 0; start <= paths.size();) {
    size_t end = paths.find(':', start);
    if (end == std::string::npos) end = paths.size();
    std::string folder = paths.substr(start, end - start);
    std::string candidate = folder + "/" + program;
    // An empty entry would mean the current folder: not searched.
    if (!folder.empty() && access(candidate.c_str(), X_OK) == 0) return candidate;
    start = end + 1;
  }
  return std::nullopt;
}

bool Spawn(const std::string& program, const std::string& target) {
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&actions);
  posix_spawnattr_init(&attributes);
  for (int fd = 0; fd <= 2; ++fd) {
    posix_spawn_file_actions_addopen(&actions, fd, "/dev/null", fd == 0 ? O_RDONLY : O_WRONLY, 0);
  }
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
  std::string name = "xdg-open";
  char* argv[] = {name.data(), const_cast<char*>(target.c_str()), nullptr};
  pid_t pid = 0;
  int rc = posix_spawn(&pid, program.c_str(), &actions, &attributes, argv, environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  if (rc != 0) return false;
  std::thread([pid] {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
  }).detach();
  return true;
}

}  // namespace

void SetShellExecuteHook(ShellExecuteHook hook) {
  HookSlot& slot = Slot();
  std::lock_guard lock(slot.mutex);
  slot.hook = std::move(hook);
}

}  // namespace snk::host

extern "C" HINSTANCE ShellExecuteW(HWND, LPCWSTR verb, LPCWSTR file, LPCWSTR, LPCWSTR directory, INT) {
  using namespace snk::host;
  std::u16string_view action = verb ? WideView(verb) : std::u16string_view(u"open");
  if (FoldAscii(action) != u"open") return Result(kNoAssociation);
  std::optional<std::string> target;
  if (file && *file) target = Target(WideView(file), WideView(directory));
  if (!target) return SetLastError(ERROR_FILE_NOT_FOUND), Result(kFileNotFound);
  if (!HasDesktop()) return Result(kNoAssociation);
  ShellExecuteHook hook;
  {
    std::lock_guard lock(Slot().mutex);
    hook = Slot().hook;
  }
  if (hook) return Result(hook(action, *target) ? kStarted : kNoAssociation);
  auto program = FindOnPath("xdg-open");
  if (!program || !Spawn(*program, *target)) return Result(kNoAssociation);
  return Result(kStarted);
}
