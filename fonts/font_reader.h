// The read callbacks through which the subsetters see a font file: the
// document font hands them a reader over its private copy of the file, so
// a subsetter never holds a pointer into the file and every read is
// checked against the file's size in one place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// Reads `length` bytes at `offset` into `buffer`; 0 on success, -1 when
// any of them lies outside the file.
using CKMC_FontReadProc = int (*)(void* context, uint64_t offset, void* buffer, size_t length);
// The size of the file in bytes.
using CKMC_FontSizeProc = uint64_t (*)(void* context);

// A reader over bytes in memory; the context of the two procedures below.
struct CKMC_FontReader {
  const uint8_t* data = nullptr;
  size_t size = 0;

  static int Read(void* context, uint64_t offset, void* buffer, size_t length) {
    const auto* reader = static_cast<const CKMC_FontReader*>(context);
    if (offset > reader->size || length > reader->size - offset) return -1;
    if (length) std::memcpy(buffer, reader->data + offset, length);
    return 0;
  }
  static uint64_t Size(void* context) { return static_cast<const CKMC_FontReader*>(context)->size; }
};
