#ifndef XEM_ARRAY_H
#define XEM_ARRAY_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

#include "xem/export.h"

/// Thrown, by value, for an index outside an array, for a negative size, and by the exported functions for
/// arguments that would make them read or write memory that they do not own. Catch it by this type or as
/// std::invalid_argument; its type information is shared by the host and the library.
class XEM_EXPORT CInvalidArgException : public std::invalid_argument {
 public:
  explicit CInvalidArgException(const char* what = "an argument is out of its range") : std::invalid_argument(what) {}
};

/// Root of the collection classes.
class CObject {
 public:
  virtual ~CObject() = default;

 protected:
  CObject() = default;
  CObject(const CObject&) = default;
  CObject& operator=(const CObject&) = default;
};

/// Growing array with checked access, as the exported functions take it.
///
/// Every index is checked; a bad one, and a negative size, throw CInvalidArgException. New elements are
/// value-initialised (0 for numbers), kept elements survive a resize, and size 0 holds no storage. Arrays are
/// passed by reference and are not copyable. The second template argument only completes the type's name.
template <class T, class ARG = const T&>
class CArray : public CObject {
 public:
  CArray() = default;
  CArray(const CArray&) = delete;
  CArray& operator=(const CArray&) = delete;

  std::int64_t GetSize() const { return size_; }
  std::int64_t GetCount() const { return size_; }
  bool IsEmpty() const { return size_ == 0; }

  /// Makes the array `size` elements long. `growBy` >= 0 sets the least number of elements that Add reserves
  /// at a time. Throws std::bad_alloc, leaving the array as it was, when the memory cannot be had.
  void SetSize(std::int64_t size, std::int64_t growBy = -1) {
    if (size < 0) throw CInvalidArgException("an array size is negative");
    if (growBy >= 0) growBy_ = growBy < kLargest ? growBy : kLargest;
    if (size == 0) {
      data_.reset();
      size_ = capacity_ = 0;
      return;
    }
    if (size > capacity_) {
      Reserve(size);
    } else {
      for (std::int64_t i = size_; i < size; ++i) data_[static_cast<std::size_t>(i)] = T();
    }
    size_ = size;
  }
  void RemoveAll() { SetSize(0); }

  T& operator[](std::int64_t index) { return data_[Checked(index)]; }
  const T& operator[](std::int64_t index) const { return data_[Checked(index)]; }
  T& ElementAt(std::int64_t index) { return data_[Checked(index)]; }
  const T& ElementAt(std::int64_t index) const { return data_[Checked(index)]; }
  const T& GetAt(std::int64_t index) const { return data_[Checked(index)]; }
  void SetAt(std::int64_t index, const T& element) { data_[Checked(index)] = element; }

  /// Appends a copy of `element` and returns its index.
  std::int64_t Add(const T& element) {
    T copy(element);  // `element` may live in this array
    if (size_ == capacity_) {
      const std::int64_t half = capacity_ / 2;
      const std::int64_t step = growBy_ > half ? growBy_ : half;
      Reserve(size_ + (step > 4 ? step : 4));
    }
    data_[static_cast<std::size_t>(size_)] = std::move(copy);
    return size_++;
  }

  /// First element, or null when the array is empty.
  T* GetData() { return data_.get(); }
  const T* GetData() const { return data_.get(); }

 private:
  /// One tebibyte: more than any machine has, and far from what a 64-bit sum can hold.
  static constexpr std::int64_t kLargest = (std::int64_t{1} << 40) / static_cast<std::int64_t>(sizeof(T));

  std::size_t Checked(std::int64_t index) const {
    if (index < 0 || index >= size_) throw CInvalidArgException("an array index is out of range");
    return static_cast<std::size_t>(index);
  }

  void Reserve(std::int64_t capacity) {
    if (capacity > kLargest) throw std::bad_alloc();
    auto grown = std::make_unique<T[]>(static_cast<std::size_t>(capacity));
    for (std::int64_t i = 0; i < size_; ++i) {
      grown[static_cast<std::size_t>(i)] = std::move(data_[static_cast<std::size_t>(i)]);
    }
    data_ = std::move(grown);
    capacity_ = capacity;
  }

  std::unique_ptr<T[]> data_;
  std::int64_t size_ = 0;
  std::int64_t capacity_ = 0;
  std::int64_t growBy_ = 0;
};

#endif
