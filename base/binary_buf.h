// CKM_BinaryBuf: a growable byte buffer, the memory stream of the writer.
//
// When it must grow it grows by the greater of a quarter of its capacity and
// 128 bytes (or to the size asked for, if that is more), which keeps page
// content streams of any size at a bounded overhead.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

class CKM_BinaryBuf {
 public:
  size_t GetSize() const { return m_size; }
  size_t GetCapacity() const { return m_data.size(); }
  const uint8_t* GetBuffer() const { return m_data.data(); }
  std::string_view view() const {
    return {reinterpret_cast<const char*>(m_data.data()), m_size};
  }

  void AppendBlock(const void* data, size_t length);
  void AppendString(std::string_view text) { AppendBlock(text.data(), text.size()); }
  void AppendByte(uint8_t byte) { AppendBlock(&byte, 1); }
  void Clear() { m_size = 0; }
  // Releases the storage too.
  void Reset() {
    m_data = {};
    m_size = 0;
  }

 private:
  void Grow(size_t needed);

  std::vector<uint8_t> m_data;  // capacity is m_data.size()
  size_t m_size = 0;
};
