// Reads an enhanced metafile ([MS-EMF]) and checks its record chain.
//
// Contract. EMF bytes are untrusted. At open the whole record chain is
// walked once and checked:
//   - the file is at least 88 bytes and at most kMaxEmfFileBytes;
//   - the first record is EMR_HEADER with a size of at least 88 that lies
//     inside the file, and the signature at offset 40 is 0x464D4520;
//   - every record has a size of at least 8 that is a multiple of 4 and lies
//     inside the header's nBytes, which must not exceed the file size;
//   - the chain ends with EMR_EOF: the walk stops at the first EMR_EOF.
// Refused (an error, no file): any of the above failing. The error is one
// line naming the file, the record (1-based position in the chain, type name
// and offset) and the fault:
//   "x.emf: record 3 (EMR_POLYLINE at offset 2384): size 4294902055 is not
//    a multiple of 4"
// Accepted with a warning, in the same form: bytes after nBytes, records or
// bytes after the first EMR_EOF, nRecords disagreeing with the records found
// (real writers get it wrong), a description that does not lie inside the
// header record (it is ignored).
// After open, record sizes are trusted. Fields inside a record are not: the
// player's record table holds each record to its type's minimum size, its
// decoders read the fields through a ByteReader over EmfRecord::bytes, and
// a record that cannot be played is named with DescribeRecord.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/byte_reader.h"
#include "platform/win_types.h"

namespace snk::gdi {

// Larger files are refused rather than read into memory.
inline constexpr size_t kMaxEmfFileBytes = size_t{1} << 30;
// Smallest EMR_HEADER ([MS-EMF] 2.3.4.2): the Header object alone.
inline constexpr uint32_t kEmfHeaderMinSize = 88;
inline constexpr uint32_t kEmfSignature = 0x464D4520;  // " EMF"
// A frame narrower or lower than this (in 0.01 mm) is no page size.
inline constexpr int32_t kMinPageFrame = 100;

// The fields of EMR_HEADER ([MS-EMF] 2.2.9 Header and its extensions).
struct EmfHeader {
  uint32_t size = 0;  // of the EMR_HEADER record
  RECTL bounds{};     // device pixels, inclusive
  RECTL frame{};      // 0.01 mm, inclusive
  uint32_t version = 0;
  uint32_t bytes = 0;    // nBytes: the metafile's size
  uint32_t records = 0;  // nRecords as written (may disagree with the chain)
  uint16_t handles = 0;  // nHandles, including the reserved index 0
  uint32_t descriptionChars = 0;
  uint32_t descriptionOffset = 0;
  uint32_t paletteEntries = 0;
  SIZEL device{};       // reference device, pixels
  SIZEL millimeters{};  // reference device, millimetres
  // Extension 1, headers of 100 bytes or more.
  uint32_t pixelFormatSize = 0;
  uint32_t pixelFormatOffset = 0;
  uint32_t openGL = 0;
  // Extension 2, headers of 108 bytes or more.
  std::optional<SIZEL> micrometers;
  // The description, when it lies inside the header record; empty otherwise.
  std::u16string description;
};

// One record of an open file: a view into the file's bytes, valid while any
// copy of the EmfFile it came from lives.
struct EmfRecord {
  uint32_t type = 0;
  size_t index = 0;                  // 1-based position in the chain
  size_t offset = 0;                 // from the start of the file
  std::span<const std::byte> bytes;  // the whole record, type and size too
  std::string_view file;             // the file's name, for messages

  uint32_t size() const { return static_cast<uint32_t>(bytes.size()); }
  // The fields after type and size.
  std::span<const std::byte> payload() const { return bytes.subspan(8); }
  // A reader over the whole record, positioned after type and size.
  ByteReader Reader() const;
};

// "x.emf: record 3 (EMR_POLYLINE at offset 2384)": the start of every
// message about a record; callers append ": " and the fault.
std::string DescribeRecord(const EmfRecord& record);

struct PageSize {
  double width = 0;   // mm
  double height = 0;  // mm
};

class EmfFile {
 public:
  // Reads and checks the file at `path`. On failure returns nullopt and, if
  // `error` is given, a one-line message.
  static std::optional<EmfFile> Open(const std::string& path, std::string* error);
  // Checks `bytes` as the EMF called `name` (used in messages).
  static std::optional<EmfFile> Parse(std::string name, std::vector<std::byte> bytes, std::string* error);

  const std::string& name() const { return data_->name; }
  const EmfHeader& header() const { return data_->header; }
  const std::vector<std::string>& warnings() const { return data_->warnings; }
  // The bytes of the metafile: the first nBytes of the file.
  std::span<const std::byte> bytes() const;

  // Records from EMR_HEADER to the first EMR_EOF, both included.
  size_t recordCount() const { return data_->index.size(); }
  EmfRecord record(size_t i) const;  // 0-based; i < recordCount()

  class Iterator;
  Iterator begin() const;
  Iterator end() const;

  // The frame's extent in mm: (right - left) / 100 by (bottom - top) / 100.
  // May be zero or negative for odd files.
  PageSize FrameSizeMm() const;
  // The page size the frame gives, or nullopt when the frame is less than
  // 1 mm (kMinPageFrame) either way, so that the caller picks a paper size.
  //
  // The frame is stored inclusive-inclusive, but no unit is added: pages
  // spooled for a printer carry the paper's size exactly as right - left
  // (A4 is 0..21000 x 0..29700), and adding one would make every such page
  // 0.01 mm too large. Writers that store 0..20999 lose 0.01 mm, which is
  // below anything a page size can show.
  std::optional<PageSize> PageSizeMm() const;

 private:
  struct Entry {
    uint32_t type;
    uint32_t size;
    size_t offset;
  };
  struct Data {
    std::string name;
    std::vector<std::byte> bytes;
    size_t size = 0;  // nBytes: the part of `bytes` that is the metafile
    EmfHeader header;
    std::vector<Entry> index;
    std::vector<std::string> warnings;
  };
  class Checker;

  explicit EmfFile(std::shared_ptr<const Data> data) : data_(std::move(data)) {}

  std::shared_ptr<const Data> data_;
};

class EmfFile::Iterator {
 public:
  using value_type = EmfRecord;
  using difference_type = std::ptrdiff_t;

  Iterator() = default;
  Iterator(const EmfFile* file, size_t i) : file_(file), i_(i) {}
  EmfRecord operator*() const { return file_->record(i_); }
  Iterator& operator++() {
    ++i_;
    return *this;
  }
  Iterator operator++(int) {
    Iterator old = *this;
    ++i_;
    return old;
  }
  bool operator==(const Iterator& other) const { return i_ == other.i_; }

 private:
  const EmfFile* file_ = nullptr;
  size_t i_ = 0;
};

inline EmfFile::Iterator EmfFile::begin() const { return Iterator(this, 0); }
inline EmfFile::Iterator EmfFile::end() const { return Iterator(this, recordCount()); }

}  // namespace snk::gdi
