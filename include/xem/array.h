#ifndef XEM_ARRAY_H
#define XEM_ARRAY_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <stdexcept>
#include <type_traits>
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
/// Every index is checked; a bad one, and a negative size or count, throw CInvalidArgException. New elements are
/// value-initialised (0 for numbers), kept elements survive a resize, and size 0 holds no storage. Arrays are passed by
/// reference and moved, so that a function can return one; they are not copied by accident. Elements and arrays that
/// are passed in may belong to the array itself. When memory cannot be had std::bad_alloc leaves the array as it was.
/// The second template argument only completes the type's name.
template <class T, class ARG = const T&>
class CArray : public CObject {
 public:
  CArray() = default;
  CArray(const CArray&) = delete;
  CArray& operator=(const CArray&) = delete;
  /// What was moved from is empty, and may be used again.
  CArray(CArray&& other) noexcept : CObject(), growBy_(other.growBy_) { Exchange(other); }
  CArray& operator=(CArray&& other) noexcept {
    CArray taken(std::move(other));
    growBy_ = taken.growBy_;
    Exchange(taken);
    return *this;
  }

  std::int64_t GetSize() const { return size_; }
  std::int64_t GetCount() const { return size_; }
  /// Index of the last element; -1 for an empty array.
  std::int64_t GetUpperBound() const { return size_ - 1; }
  bool IsEmpty() const { return size_ == 0; }

  /// Makes the array `size` elements long. `growBy` >= 0 sets the least number of elements by which the storage grows
  /// when elements are added or inserted.
  void SetSize(std::int64_t size, std::int64_t growBy = -1) {
    if (size < 0) throw CInvalidArgException("an array size is negative");
    if (growBy >= 0) growBy_ = growBy < kLargest ? growBy : kLargest;
    if (size == 0) {
      data_.reset();
      size_ = capacity_ = 0;
      return;
    }
    if (size > capacity_) {
      Reallocate(size);
    } else {
      for (std::int64_t i = size_; i < size; ++i) data_[Place(i)] = T();
    }
    size_ = size;
  }
  void RemoveAll() { SetSize(0); }
  /// Gives back storage that holds no elements.
  void FreeExtra() {
    if (size_ == 0) RemoveAll();
    if (size_ < capacity_) Reallocate(size_);
  }

  T& operator[](std::int64_t index) { return data_[Checked(index)]; }
  const T& operator[](std::int64_t index) const { return data_[Checked(index)]; }
  T& ElementAt(std::int64_t index) { return data_[Checked(index)]; }
  const T& ElementAt(std::int64_t index) const { return data_[Checked(index)]; }
  const T& GetAt(std::int64_t index) const { return data_[Checked(index)]; }
  void SetAt(std::int64_t index, const T& element) { data_[Checked(index)] = element; }
  /// Sets an element; beyond the end the array grows up to it.
  void SetAtGrow(std::int64_t index, const T& element) {
    if (index < size_) {
      SetAt(index, element);
    } else {
      InsertAt(index, element);
    }
  }

  /// Appends a copy of `element` and returns its index.
  std::int64_t Add(const T& element) {
    Insert(size_, std::addressof(element), 0, 1);
    return size_ - 1;
  }
  /// Appends copies of the other array's elements and returns the index of the first new one.
  std::int64_t Append(const CArray& other) {
    const std::int64_t first = size_;
    InsertAt(first, other);
    return first;
  }
  /// Inserts `count` copies of `element` before the one at `index`; beyond the end the array grows up to there.
  void InsertAt(std::int64_t index, const T& element, std::int64_t count = 1) {
    Insert(index, std::addressof(element), 0, count);
  }
  /// Inserts copies of the other array's elements.
  void InsertAt(std::int64_t index, const CArray& other) { Insert(index, other.GetData(), 1, other.size_); }
  /// The same by address; null throws CInvalidArgException. A template, because a literal 0 is an element.
  template <class Array, class = typename std::enable_if<std::is_convertible<Array*, const CArray*>::value>::type>
  void InsertAt(std::int64_t index, Array* other) {
    if (other == nullptr) throw CInvalidArgException("no array to insert");
    InsertAt(index, *other);
  }
  /// The elements after those that are removed move up.
  void RemoveAt(std::int64_t index, std::int64_t count = 1) {
    if (index < 0 || count < 0 || index > size_ || count > size_ - index) {
      throw CInvalidArgException("elements to remove are outside the array");
    }
    if (count == size_) return RemoveAll();
    std::move(begin() + index + count, end(), begin() + index);
    size_ -= count;
  }
  /// Makes the elements copies of the other array's.
  void Copy(const CArray& other) {
    if (this == &other) return;
    CArray copy;
    copy.Append(other);
    Exchange(copy);
  }

  /// First element, or null when the array is empty.
  T* GetData() { return data_.get(); }
  const T* GetData() const { return data_.get(); }
  T* begin() { return data_.get(); }
  const T* begin() const { return data_.get(); }
  T* end() { return data_.get() + size_; }
  const T* end() const { return data_.get() + size_; }

 private:
  using Storage = std::unique_ptr<T[]>;

  /// One tebibyte: more than any machine has, and far from what a 64-bit sum can hold.
  static constexpr std::int64_t kLargest = (std::int64_t{1} << 40) / static_cast<std::int64_t>(sizeof(T));

  static std::size_t Place(std::int64_t index) { return static_cast<std::size_t>(index); }
  std::size_t Checked(std::int64_t index) const {
    if (index < 0 || index >= size_) throw CInvalidArgException("an array index is out of range");
    return Place(index);
  }

  static Storage Allocate(std::int64_t capacity) {
    if (capacity > kLargest) throw std::bad_alloc();
    return Storage(new T[Place(capacity)]());  // std::make_unique would ask hosts for C++14
  }
  void Reallocate(std::int64_t capacity) {
    Storage storage = Allocate(capacity);
    std::move(begin(), end(), storage.get());
    data_ = std::move(storage);
    capacity_ = capacity;
  }
  /// At least `size`, and enough for the next additions.
  std::int64_t GrownCapacity(std::int64_t size) const {
    const std::int64_t half = capacity_ / 2;
    const std::int64_t step = growBy_ > half ? growBy_ : half;
    const std::int64_t grown = capacity_ + (step > 4 ? step : 4);
    return size > grown ? size : grown;
  }

  /// Inserts `count` elements: first[0], first[step], first[2 step], ... What may throw comes before any change.
  void Insert(std::int64_t index, const T* first, std::int64_t step, std::int64_t count) {
    if (index < 0 || count < 0) throw CInvalidArgException("an index or a count to insert is negative");
    if (count == 0) return;
    if (index > kLargest || count > kLargest) throw std::bad_alloc();
    const std::int64_t behind = index < size_ ? size_ - index : 0;  // elements that move
    const std::int64_t size = (index > size_ ? index : size_) + count;
    if (size > capacity_) {
      const std::int64_t capacity = GrownCapacity(size);
      Storage storage = Allocate(capacity);
      for (std::int64_t i = 0; i < count; ++i) storage[Place(index + i)] = first[i * step];
      std::move(begin(), end() - behind, storage.get());
      std::move(end() - behind, end(), storage.get() + index + count);
      data_ = std::move(storage);
      capacity_ = capacity;
    } else {
      for (std::int64_t i = size_; i < index; ++i) data_[Place(i)] = T();
      T* added = data_.get() + (size - count);
      for (std::int64_t i = 0; i < count; ++i) added[i] = first[i * step];
      std::rotate(added - behind, added, added + count);
    }
    size_ = size;
  }

  void Exchange(CArray& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
  }

  Storage data_;
  std::int64_t size_ = 0;
  std::int64_t capacity_ = 0;
  std::int64_t growBy_ = 0;
};

#endif
