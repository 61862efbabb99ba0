// Random numbers: the kernel's generator for identifiers, and the C
// runtime's seeded sequence for names the system makes up.
#include "host/system/random.h"

#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "platform/win32.h"

namespace snk::host {

bool RandomBytes(void* buffer, size_t size) {
  auto* p = static_cast<char*>(buffer);
  while (size > 0) {
    ssize_t n = getrandom(p, size, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    p += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

namespace {

// The sequence of the Windows C runtime's rand: a linear congruential
// generator whose bits 16 to 30 are the number.
thread_local uint32_t g_state = 1;

// A value of this process's own, drawn once: two processes seeded with the
// same clock second still draw different numbers.
uint32_t ProcessSalt() {
  static const uint32_t salt = [] {
    uint32_t value = 0;
    if (!RandomBytes(&value, sizeof value)) value = static_cast<uint32_t>(getpid()) * 2654435761u;
    return value;
  }();
  return salt;
}

}  // namespace
}  // namespace snk::host

extern "C" void SnkSeedRandom(UINT seed) { snk::host::g_state = seed ^ snk::host::ProcessSalt(); }

extern "C" INT SnkRandom() {
  snk::host::g_state = snk::host::g_state * 214013u + 2531011u;
  return static_cast<INT>((snk::host::g_state >> 16) & 0x7FFF);
}
