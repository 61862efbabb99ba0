// Threads for the system's short-lived helpers (message boxes, the save
// dialog): a thread object behind a kernel handle, waited for by joining.
#include <memory>
#include <thread>

#include "host/system/handles.h"
#include "platform/win32.h"

namespace {

class ThreadObject : public snk::host::KernelObject {
 public:
  // A thread that was never waited for goes on alone; the system always
  // waits, so this happens only when a caller forgets.
  ~ThreadObject() override {
    if (thread.joinable()) thread.detach();
  }
  std::thread thread;
};

}  // namespace

extern "C" HANDLE CreateThread(void*, SIZE_T, LPTHREAD_START_ROUTINE start, LPVOID parameter, DWORD,
                               DWORD* threadId) {
  if (!start) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  auto object = std::make_shared<ThreadObject>();
  try {
    object->thread = std::thread([start, parameter] { start(parameter); });
  } catch (const std::system_error&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  if (threadId) *threadId = 0;
  return snk::host::RegisterHandle(std::move(object));
}

extern "C" DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds) {
  auto thread = snk::host::FindHandleAs<ThreadObject>(object);
  if (!thread || milliseconds != INFINITE) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return WAIT_FAILED;
  }
  if (thread->thread.joinable()) thread->thread.join();
  return WAIT_OBJECT_0;
}
