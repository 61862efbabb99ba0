// A bounds-checked reader over untrusted bytes.
//
// Every read checks the remaining length first (`remaining() < n`, which
// cannot overflow), so a reader can never step outside its span. A failed
// read leaves the position where it was and returns false; callers check
// whole records once with `Has(n)` and then read the fields inside, or
// read a run of fields and ask `failed()` once at the end.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

namespace snk {

class ByteReader {
 public:
  explicit ByteReader(std::span<const std::byte> bytes) : bytes_(bytes) {}

  size_t position() const { return pos_; }
  size_t size() const { return bytes_.size(); }
  size_t remaining() const { return bytes_.size() - pos_; }
  bool Has(size_t n) const { return remaining() >= n; }
  // Whether any read, skip or seek so far was refused.
  bool failed() const { return failed_; }

  bool Seek(size_t offset) {
    if (offset > bytes_.size()) return Refuse();
    pos_ = offset;
    return true;
  }
  bool Skip(size_t n) {
    if (remaining() < n) return Refuse();
    pos_ += n;
    return true;
  }

  bool ReadU8(uint8_t& out) { return ReadLE(out); }
  bool ReadU16(uint16_t& out) { return ReadLE(out); }
  bool ReadU32(uint32_t& out) { return ReadLE(out); }
  bool ReadI16(int16_t& out) { return ReadLE(out); }
  bool ReadI32(int32_t& out) { return ReadLE(out); }
  // An IEEE single in little-endian byte order.
  bool ReadF32(float& out) {
    uint32_t bits = 0;
    if (!ReadLE(bits)) return false;
    out = std::bit_cast<float>(bits);
    return true;
  }
  bool ReadU16BE(uint16_t& out) { return ReadBE(out); }
  bool ReadU32BE(uint32_t& out) { return ReadBE(out); }

  // The next n bytes as a sub-span, or an empty span with false.
  bool ReadSpan(size_t n, std::span<const std::byte>& out) {
    if (remaining() < n) return Refuse();
    out = bytes_.subspan(pos_, n);
    pos_ += n;
    return true;
  }

 private:
  bool Refuse() {
    failed_ = true;
    return false;
  }
  template <typename T>
  bool ReadLE(T& out) {
    if (remaining() < sizeof(T)) return Refuse();
    std::make_unsigned_t<T> value = 0;
    for (size_t i = 0; i < sizeof(T); ++i)
      value |= static_cast<std::make_unsigned_t<T>>(static_cast<uint64_t>(bytes_[pos_ + i]) << (8 * i));
    out = static_cast<T>(value);
    pos_ += sizeof(T);
    return true;
  }
  template <typename T>
  bool ReadBE(T& out) {
    if (remaining() < sizeof(T)) return Refuse();
    std::make_unsigned_t<T> value = 0;
    for (size_t i = 0; i < sizeof(T); ++i)
      value = static_cast<std::make_unsigned_t<T>>((static_cast<uint64_t>(value) << 8) |
                                                   static_cast<uint64_t>(bytes_[pos_ + i]));
    out = static_cast<T>(value);
    pos_ += sizeof(T);
    return true;
  }

  std::span<const std::byte> bytes_;
  size_t pos_ = 0;
  bool failed_ = false;
};

}  // namespace snk
