// The host's handle table (see handles.h).
#include "host/system/handles.h"

#include <mutex>
#include <unordered_map>

#include "platform/win32.h"

namespace snk::host {
namespace {

struct Table {
  std::mutex mutex;
  std::unordered_map<const void*, std::shared_ptr<HostObject>> objects;
};

Table& TheTable() {
  static Table* table = new Table;  // never destroyed: used during exit
  return *table;
}

}  // namespace

void* RegisterHandle(std::shared_ptr<HostObject> object) {
  void* handle = object.get();
  Table& t = TheTable();
  std::lock_guard lock(t.mutex);
  t.objects.emplace(handle, std::move(object));
  return handle;
}

std::shared_ptr<HostObject> FindHandle(const void* handle) {
  Table& t = TheTable();
  std::lock_guard lock(t.mutex);
  auto it = t.objects.find(handle);
  return it == t.objects.end() ? nullptr : it->second;
}

bool ReleaseHandle(const void* handle, bool (*accepts)(const HostObject&)) {
  std::shared_ptr<HostObject> released;  // destroyed outside the lock
  Table& t = TheTable();
  std::lock_guard lock(t.mutex);
  auto it = t.objects.find(handle);
  if (it == t.objects.end() || !accepts(*it->second)) return false;
  released = std::move(it->second);
  t.objects.erase(it);
  return true;
}

}  // namespace snk::host

extern "C" BOOL CloseHandle(HANDLE handle) {
  using namespace snk::host;
  auto object = FindHandleAs<KernelObject>(handle);
  if (!object || !ReleaseHandleAs<KernelObject>(handle)) return SetLastError(ERROR_INVALID_HANDLE), FALSE;
  // Only the call that released the handle closes the object.
  if (DWORD error = object->Close()) return SetLastError(error), FALSE;
  return TRUE;
}
