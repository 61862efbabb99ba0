// Output files put in place only when complete (see output_files.h), the
// record of failed writes, and the removal of temporary files on a signal.
#include "host/system/output_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>

#include "host/system/host_control.h"

namespace snk::host {
namespace {

std::atomic<bool> g_unnamed{true};

// Named temporary files that are open, for a signal handler to remove:
// a slot is 0 free, 1 being filled, 2 holding a path.
constexpr int kSlots = 32;
struct Slot {
  std::atomic<int> state{0};
  char path[PATH_MAX];
};
Slot g_slots[kSlots];

int TakeSlot(const std::string& path) {
  if (path.size() >= PATH_MAX) return -1;
  for (int i = 0; i < kSlots; ++i) {
    int expected = 0;
    if (!g_slots[i].state.compare_exchange_strong(expected, 1)) continue;
    std::memcpy(g_slots[i].path, path.c_str(), path.size() + 1);
    g_slots[i].state.store(2);
    return i;
  }
  return -1;
}

void FreeSlot(int& slot) {
  if (slot >= 0) g_slots[slot].state.store(0);
  slot = -1;
}

struct FailureTable {
  std::mutex mutex;
  std::map<std::string, int> errors;
};
FailureTable& Failures() {
  static FailureTable* table = new FailureTable;  // used during exit
  return *table;
}

std::string FolderOf(const std::string& path) {
  size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

constexpr char kHiddenPrefix[] = ".snk-";
constexpr char kHiddenSuffix[] = ".tmp";

std::string HiddenName(const std::string& folder) {
  uint64_t bits = 0;
  if (getrandom(&bits, sizeof bits, GRND_NONBLOCK) != sizeof bits) {
    struct timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    bits = uint64_t(now.tv_nsec) * 0x9E3779B97F4A7C15u ^ uint64_t(getpid()) << 20;
  }
  char hex[17];
  std::snprintf(hex, sizeof hex, "%016llx", static_cast<unsigned long long>(bits));
  return folder + "/" + kHiddenPrefix + hex + kHiddenSuffix;
}

// Removes the hidden temporary files of runs that ended without removing
// them: those of this user whose lock nobody holds.
void RemoveLeftovers(const std::string& folder) {
  DIR* dir = opendir(folder.c_str());
  if (!dir) return;
  const int at = dirfd(dir);
  while (struct dirent* entry = readdir(dir)) {
    std::string_view name(entry->d_name);
    if (!name.starts_with(kHiddenPrefix) || !name.ends_with(kHiddenSuffix)) continue;
    int fd = openat(at, entry->d_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) continue;
    struct stat st;
    if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_uid == getuid() &&
        flock(fd, LOCK_EX | LOCK_NB) == 0)
      unlinkat(at, entry->d_name, 0);
    close(fd);
  }
  closedir(dir);
}

// An unnamed file in `folder`, or a hidden named one.
int OpenTemporary(const std::string& folder, PendingOutput& pending) {
  if (g_unnamed && access("/proc/self/fd", X_OK) == 0) {
    int fd = open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0644);
    if (fd >= 0 || (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL)) return fd;
  }
  for (int attempt = 0; attempt < 16; ++attempt) {
    std::string name = HiddenName(folder);
    int fd = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd >= 0) {
      pending.temporary = name;
      pending.slot = TakeSlot(name);
      return fd;
    }
    if (errno != EEXIST) return -1;
  }
  errno = EEXIST;
  return -1;
}

// Moves the named temporary file to the target.
int PlaceNamed(const PendingOutput& p) {
  if (p.replace) return rename(p.temporary.c_str(), p.target.c_str()) == 0 ? 0 : errno;
  if (renameat2(AT_FDCWD, p.temporary.c_str(), AT_FDCWD, p.target.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  if (link(p.temporary.c_str(), p.target.c_str()) != 0) return errno;  // fails if the target exists
  unlink(p.temporary.c_str());
  return 0;
}

// Gives the unnamed file its name: the target itself for a new file; for a
// replacement a hidden name first, which is then renamed over the target.
int PlaceUnnamed(int fd, PendingOutput& p) {
  const std::string proc = "/proc/self/fd/" + std::to_string(fd);
  if (!p.replace)
    return linkat(AT_FDCWD, proc.c_str(), AT_FDCWD, p.target.c_str(), AT_SYMLINK_FOLLOW) == 0 ? 0 : errno;
  for (int attempt = 0; attempt < 16; ++attempt) {
    std::string name = HiddenName(FolderOf(p.target));
    if (linkat(AT_FDCWD, proc.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0) {
      p.temporary = name;
      return PlaceNamed(p);
    }
    if (errno != EEXIST) return errno;
  }
  return EEXIST;
}

void SyncFolder(const std::string& folder) {
  int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  fsync(fd);
  close(fd);
}

}  // namespace

int OpenPendingOutput(const std::string& path, bool replace, PendingOutput& pending, bool* existed,
                      bool* inPlace) {
  *existed = *inPlace = false;
  std::string target = path;
  struct stat st;
  if (lstat(path.c_str(), &st) == 0) {
    *existed = true;
    if (!replace) return errno = EEXIST, -1;
    if (S_ISLNK(st.st_mode) && stat(path.c_str(), &st) != 0) {  // a dangling link is replaced
      if (errno != ENOENT) return -1;
      st.st_mode = S_IFREG | 0644;
    }
    if (S_ISDIR(st.st_mode)) return errno = EISDIR, -1;
    if (!S_ISREG(st.st_mode)) return *inPlace = true, -1;
    if (char* real = realpath(path.c_str(), nullptr)) target = real, std::free(real);
  } else if (errno != ENOENT) {
    return -1;
  }
  const std::string folder = FolderOf(target);
  RemoveLeftovers(folder);
  int fd = OpenTemporary(folder, pending);
  if (fd < 0) {
    *inPlace = *existed && (errno == EACCES || errno == EPERM);  // a folder that takes no new files
    return -1;
  }
  flock(fd, LOCK_EX);
  if (*existed) {
    fchmod(fd, st.st_mode & 07777);
    [[maybe_unused]] int ignored = fchown(fd, st.st_uid, st.st_gid);
  }
  pending.target = target;
  pending.replace = replace;
  return fd;
}

int CommitPendingOutput(int fd, PendingOutput& p) {
  int error = 0;
  if (p.error) error = p.error;
  if (!error && fsync(fd) != 0) error = errno;
  if (!error) error = p.temporary.empty() ? PlaceUnnamed(fd, p) : PlaceNamed(p);
  if (error) {
    DiscardPendingOutput(p);
    return error;
  }
  p.temporary.clear();
  FreeSlot(p.slot);
  SyncFolder(FolderOf(p.target));
  return 0;
}

void DiscardPendingOutput(PendingOutput& p) {
  if (!p.temporary.empty()) unlink(p.temporary.c_str());
  p.temporary.clear();
  FreeSlot(p.slot);
}

void RecordWriteFailure(const std::string& path, int error) {
  FailureTable& t = Failures();
  std::lock_guard lock(t.mutex);
  t.errors.emplace(path, error);  // the first cause stays
}

std::optional<int> WriteFailureOf(const std::string& path) {
  FailureTable& t = Failures();
  std::lock_guard lock(t.mutex);
  auto it = t.errors.find(path);
  if (it == t.errors.end()) return std::nullopt;
  return it->second;
}

std::vector<WriteFailure> WriteFailures() {
  FailureTable& t = Failures();
  std::lock_guard lock(t.mutex);
  std::vector<WriteFailure> list;
  for (const auto& [path, error] : t.errors) list.push_back({path, std::strerror(error)});
  return list;
}

void ClearWriteFailures() {
  FailureTable& t = Failures();
  std::lock_guard lock(t.mutex);
  t.errors.clear();
}

void DiscardOpenOutputs() {
  for (Slot& slot : g_slots)
    if (slot.state.load() == 2) unlink(slot.path);
}

void UseUnnamedTemporaries(bool use) { g_unnamed = use; }

}  // namespace snk::host
