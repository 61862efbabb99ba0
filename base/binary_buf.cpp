#include "base/binary_buf.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

void CKM_BinaryBuf::Grow(size_t needed) {
  size_t capacity = m_data.size();
  size_t step = std::max<size_t>(capacity / 4, 128);
  if (capacity > SIZE_MAX - step) throw std::length_error("CKM_BinaryBuf");
  m_data.resize(std::max(capacity + step, needed));
}

void CKM_BinaryBuf::AppendBlock(const void* data, size_t length) {
  if (length == 0) return;
  if (length > SIZE_MAX - m_size) throw std::length_error("CKM_BinaryBuf");
  if (m_size + length > m_data.size()) Grow(m_size + length);
  std::memcpy(m_data.data() + m_size, data, length);
  m_size += length;
}
