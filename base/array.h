// CKM_Array: a growable array of fixed-size elements.
//
// std::vector has the behaviour the system needs (contiguous elements,
// amortised growth, value semantics), so this wraps it with the system's
// operation names.
#pragma once

#include <cstddef>
#include <vector>

template <typename T>
class CKM_Array {
 public:
  size_t GetSize() const { return m_items.size(); }
  bool IsEmpty() const { return m_items.empty(); }
  void Add(const T& item) { m_items.push_back(item); }
  void Add(T&& item) { m_items.push_back(std::move(item)); }
  // Grows with default elements (zero for numbers) or shrinks.
  void SetSize(size_t size) { m_items.resize(size); }
  void RemoveAll() { m_items.clear(); }
  void RemoveAt(size_t index) { m_items.erase(m_items.begin() + index); }

  T& operator[](size_t i) { return m_items[i]; }
  const T& operator[](size_t i) const { return m_items[i]; }
  T* GetData() { return m_items.data(); }
  const T* GetData() const { return m_items.data(); }

  auto begin() { return m_items.begin(); }
  auto end() { return m_items.end(); }
  auto begin() const { return m_items.begin(); }
  auto end() const { return m_items.end(); }

 private:
  std::vector<T> m_items;
};
