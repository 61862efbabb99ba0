// CKM_Map: a hash table with chained buckets from a number or a pointer to
// a pointer.
//
// The table size is fixed when the first entry goes in (17 buckets unless
// set before). The bucket of a key is (key >> 4) % size: pointers are
// aligned, so their low four bits say nothing. Iteration walks the buckets
// in order and each chain from its newest entry, so the order of a walk is
// a pure function of the keys and the order of insertion.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <vector>

template <typename Key>
class CKM_Map {
 public:
  explicit CKM_Map(size_t tableSize = 17) : m_tableSize(tableSize ? tableSize : 1) {}
  CKM_Map(const CKM_Map&) = delete;
  CKM_Map& operator=(const CKM_Map&) = delete;

  // Sets the bucket count; allowed only while the map is empty.
  bool InitHashTable(size_t tableSize) {
    if (m_count != 0 || tableSize == 0) return false;
    m_tableSize = tableSize;
    m_buckets.clear();
    return true;
  }

  size_t GetCount() const { return m_count; }
  bool IsEmpty() const { return m_count == 0; }

  bool Lookup(Key key, void*& value) const {
    if (m_buckets.empty()) return false;
    for (const Node* n = m_buckets[Bucket(key)].get(); n; n = n->next.get()) {
      if (n->key == key) {
        value = n->value;
        return true;
      }
    }
    return false;
  }

  void SetAt(Key key, void* value) {
    if (m_buckets.empty()) m_buckets.resize(m_tableSize);
    auto& head = m_buckets[Bucket(key)];
    for (Node* n = head.get(); n; n = n->next.get()) {
      if (n->key == key) {
        n->value = value;
        return;
      }
    }
    head = std::make_unique<Node>(Node{key, value, std::move(head)});
    ++m_count;
  }

  bool RemoveKey(Key key) {
    if (m_buckets.empty()) return false;
    for (auto* link = &m_buckets[Bucket(key)]; *link; link = &(*link)->next) {
      if ((*link)->key == key) {
        *link = std::move((*link)->next);
        --m_count;
        return true;
      }
    }
    return false;
  }

  void RemoveAll() {
    m_buckets.clear();
    m_count = 0;
  }

  // Calls f(key, value) for every entry in walk order.
  template <typename F>
  void ForEach(F&& f) const {
    for (const auto& head : m_buckets)
      for (const Node* n = head.get(); n; n = n->next.get()) f(n->key, n->value);
  }

 private:
  struct Node {
    Key key;
    void* value;
    std::unique_ptr<Node> next;
  };

  size_t Bucket(Key key) const {
    uintptr_t bits;
    if constexpr (std::is_pointer_v<Key>)
      bits = reinterpret_cast<uintptr_t>(key);
    else
      bits = static_cast<uintptr_t>(key);
    return (bits >> 4) % m_tableSize;
  }

  size_t m_tableSize;
  size_t m_count = 0;
  std::vector<std::unique_ptr<Node>> m_buckets;
};

using CKM_MapPtrToPtr = CKM_Map<void*>;
using CKM_MapNumberToPtr = CKM_Map<uint32_t>;
