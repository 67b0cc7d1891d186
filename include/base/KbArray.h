// KbArray<T>: a growable, contiguous array that owns its elements.
//
// Invariant: m_size <= m_capacity; the first m_size slots of m_data hold
// live elements and the rest is raw storage. m_data is null exactly when
// m_capacity is 0 (a default-constructed or released array).
//
// The container is header-only, like the standard containers, because it is
// instantiated for the library's own element types (exact numbers, points,
// vectors) as well as the caller's.
#pragma once

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "base/KbArrayRecord.h"
#include "base/KbStreamBinary.h"

template <class T>
class KOBASE_API KbArray {
 public:
  KbArray() = default;
  explicit KbArray(unsigned int size) { Resize(size); }
  KbArray(std::initializer_list<T> values) {
    Reserve(static_cast<unsigned int>(values.size()));
    for (const T& v : values) PushBack(v);
  }
  KbArray(const KbArray& other) { CopyFrom(other); }
  KbArray(KbArray&& other) noexcept
      : m_data(std::exchange(other.m_data, nullptr)),
        m_size(std::exchange(other.m_size, 0)),
        m_capacity(std::exchange(other.m_capacity, 0)) {}
  KbArray& operator=(const KbArray& other) {
    if (this != &other) {
      KbArray copy(other);
      Swap(copy);
    }
    return *this;
  }
  KbArray& operator=(KbArray&& other) noexcept {
    KbArray moved(std::move(other));
    Swap(moved);
    return *this;
  }
  ~KbArray() { Release(); }

  unsigned int GetSize() const { return m_size; }
  unsigned int GetCapacity() const { return m_capacity; }
  bool IsEmpty() const { return m_size == 0; }

  T* GetData() { return m_data; }
  const T* GetData() const { return m_data; }
  T& operator[](unsigned int i) { return m_data[i]; }
  const T& operator[](unsigned int i) const { return m_data[i]; }

  T* begin() { return m_data; }
  T* end() { return m_data + m_size; }
  const T* begin() const { return m_data; }
  const T* end() const { return m_data + m_size; }

  // Keeps the first min(size, GetSize()) elements; new elements are
  // value-initialised (zero for arithmetic types). Capacity grows to exactly
  // `size` when it has to grow; it never shrinks here.
  void Resize(unsigned int size) {
    if (size > m_capacity) Reallocate(size);
    if (size > m_size) {
      std::uninitialized_value_construct(m_data + m_size, m_data + size);
    } else {
      std::destroy(m_data + size, m_data + m_size);
    }
    m_size = size;
  }

  void Reserve(unsigned int capacity) {
    if (capacity > m_capacity) Reallocate(capacity);
  }

  // Appends one element; capacity doubles when full. `value` may be an
  // element of this array: when the storage has to grow, the copy is made
  // into the new storage before the old one is freed.
  void PushBack(const T& value) {
    if (m_size < m_capacity) {
      ::new (static_cast<void*>(m_data + m_size)) T(value);
    } else {
      T copy(value);
      Reallocate(m_capacity == 0 ? 4 : 2 * m_capacity);
      ::new (static_cast<void*>(m_data + m_size)) T(std::move(copy));
    }
    ++m_size;
  }

  // Size 0, storage kept.
  void Clear() { Resize(0); }

  // Size 0 and capacity 0: the storage is freed and GetData() is null.
  void Release() {
    std::destroy(m_data, m_data + m_size);
    ::operator delete(m_data, std::align_val_t(alignof(T)));
    m_data = nullptr;
    m_size = 0;
    m_capacity = 0;
  }

  void Swap(KbArray& other) noexcept {
    std::swap(m_data, other.m_data);
    std::swap(m_size, other.m_size);
    std::swap(m_capacity, other.m_capacity);
  }

  // The array record: marker, version, count, element size, raw elements.
  void Serialize(KbStreamWriteBinary& stream) const requires std::is_trivially_copyable_v<T> {
    KbWriteArrayHeader(stream, m_size, sizeof(T));
    if (m_size != 0) stream.WriteBuffer(m_data, std::size_t(m_size) * sizeof(T));
  }

  // Reads an array record (with or without the marker of the current
  // layout). The header is checked and the stream's remaining length
  // verified before the array changes, so a bad record leaves it as it was.
  void Serialize(KbStreamReadBinary& stream) requires std::is_trivially_copyable_v<T> {
    const KbArrayHeader header = KbReadArrayHeader(stream);
    KbRequireElementSize(header, sizeof(T));
    stream.EnsureAvailable(header.count, sizeof(T));
    Resize(header.count);
    if (header.count != 0) stream.ReadBuffer(m_data, std::size_t(header.count) * sizeof(T));
  }

  bool operator==(const KbArray& other) const {
    return m_size == other.m_size && std::equal(begin(), end(), other.begin());
  }

 private:
  void Reallocate(unsigned int capacity) {
    T* fresh = static_cast<T*>(
        ::operator new(std::size_t(capacity) * sizeof(T), std::align_val_t(alignof(T))));
    std::uninitialized_move(m_data, m_data + m_size, fresh);
    std::destroy(m_data, m_data + m_size);
    ::operator delete(m_data, std::align_val_t(alignof(T)));
    m_data = fresh;
    m_capacity = capacity;
  }

  void CopyFrom(const KbArray& other) {
    if (other.m_size == 0) return;
    Reallocate(other.m_size);
    std::uninitialized_copy(other.begin(), other.end(), m_data);
    m_size = other.m_size;
  }

  T* m_data = nullptr;
  unsigned int m_size = 0;
  unsigned int m_capacity = 0;
};
