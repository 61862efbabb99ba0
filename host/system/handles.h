// Private: the table of host objects that HANDLE, HKEY and printer handles
// point to.
//
// A handle is the address of a live object in this table. Every call checks
// the table before it touches the object, so a stale or made-up handle is
// refused with ERROR_INVALID_HANDLE instead of being dereferenced. Objects
// are shared so that a handle closed on one thread stays valid for a call
// already using it on another.
#pragma once

#include <memory>

#include "platform/win_types.h"

namespace snk::host {

class HostObject {
 public:
  virtual ~HostObject() = default;
};

// An object that CloseHandle closes (files, and later mappings and
// processes). Registry keys and printers have their own close calls.
class KernelObject : public HostObject {
 public:
  // Called by CloseHandle before the handle goes; a Windows error or 0.
  virtual DWORD Close() { return 0; }
};

// Adds an object; returns its handle.
void* RegisterHandle(std::shared_ptr<HostObject> object);

// The object behind `handle` if it is live and of type T, else null.
std::shared_ptr<HostObject> FindHandle(const void* handle);
template <typename T>
std::shared_ptr<T> FindHandleAs(const void* handle) {
  return std::dynamic_pointer_cast<T>(FindHandle(handle));
}

// Removes the handle if it is live and of type T (any type when T is
// HostObject); returns whether it was removed.
bool ReleaseHandle(const void* handle, bool (*accepts)(const HostObject&));
template <typename T>
bool ReleaseHandleAs(const void* handle) {
  return ReleaseHandle(handle, [](const HostObject& o) { return dynamic_cast<const T*>(&o) != nullptr; });
}

}  // namespace snk::host
