// Private: random bytes from the kernel's generator.
#pragma once

#include <cstddef>

namespace snk::host {

// Fills `buffer`; false when the kernel cannot give the bytes.
bool RandomBytes(void* buffer, size_t size);

}  // namespace snk::host
