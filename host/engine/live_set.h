// The set of engine objects of one kind that are alive.
//
// Drivers get pointers to the public first member of host objects and hand
// them back; before such a pointer is followed to its host object it is
// looked up here, so that a stale or foreign pointer is refused rather than
// read past its end.
#pragma once

#include <mutex>
#include <unordered_set>

namespace snk::engine {

template <typename T>
class LiveSet {
 public:
  static void Add(const T* object) {
    std::lock_guard lock(Mutex());
    Set().insert(object);
  }
  static void Remove(const T* object) {
    std::lock_guard lock(Mutex());
    Set().erase(object);
  }
  static bool Contains(const void* object) {
    std::lock_guard lock(Mutex());
    return Set().count(static_cast<const T*>(object)) != 0;
  }

 private:
  static std::mutex& Mutex() {
    static std::mutex mutex;
    return mutex;
  }
  static std::unordered_set<const T*>& Set() {
    static std::unordered_set<const T*> set;
    return set;
  }
};

}  // namespace snk::engine
