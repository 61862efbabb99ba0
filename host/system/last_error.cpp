// GetLastError and SetLastError: one error value per thread, as on Windows.
#include "platform/win32.h"

namespace {
thread_local DWORD lastError = ERROR_SUCCESS;
}

extern "C" DWORD GetLastError() { return lastError; }

extern "C" void SetLastError(DWORD error) { lastError = error; }
