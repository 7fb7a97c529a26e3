#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <utility>

#include "xem/array.h"

namespace Xem::MaterialUtil {

/// Dense vector with a stride: either the owner of its elements (stride 1) or a view of somebody else's, such as a
/// row of a column-major matrix. Copies own their elements; assignment to a view is not offered. A few elements stand
/// in the vector itself, so that parameters, flags and the like take no memory of their own; moving it moves them.
template <class T>
class BasicVector {
 public:
  BasicVector() {}  // not by default, which would set few_ to zeros where a class is value-initialised
  explicit BasicVector(std::int64_t size) { Resize(size); }
  BasicVector(std::initializer_list<T> values) : BasicVector(std::span<const T>(values.begin(), values.size())) {}
  explicit BasicVector(std::span<const T> values) {
    ResizeToOverwrite(static_cast<std::int64_t>(values.size()));
    std::copy(values.begin(), values.end(), data_);
  }
  BasicVector(const BasicVector& other) {
    ResizeToOverwrite(other.size_);
    for (std::int32_t i = 0; i < size_; ++i) data_[i] = other[i];
  }
  BasicVector(BasicVector&& other) noexcept { Take(other); }
  BasicVector& operator=(BasicVector other) noexcept {
    Release();
    Take(other);
    return *this;
  }
  ~BasicVector() { Release(); }

  /// A view of `size` elements, `stride` apart. The elements must outlive it.
  static BasicVector View(T* data, std::int32_t size, std::int32_t stride) {
    BasicVector view;
    view.data_ = data;
    view.size_ = size;
    view.stride_ = stride;
    view.ownsStorage_ = false;
    return view;
  }

  /// Replaces the storage by `size` value-initialised elements; storage is reallocated only when the count changes.
  void Resize(std::int64_t size) {
    ResizeToOverwrite(size);
    std::fill(data_, data_ + size_, T());
  }
  /// The same with elements that mean nothing yet.
  void ResizeToOverwrite(std::int64_t size) {
    if (size < 0 || size > INT32_MAX) throw CInvalidArgException("a vector size is out of range");
    if (ownsStorage_ && size == size_) return;
    auto storage = size > kFew ? std::make_unique_for_overwrite<T[]>(static_cast<std::size_t>(size)) : nullptr;
    Release();
    if (size > 0) data_ = storage ? storage.release() : few_.data();
    size_ = static_cast<std::int32_t>(size);
    stride_ = 1;
    ownsStorage_ = true;
  }

  std::int32_t Size() const { return size_; }
  T& operator[](std::integral auto i) { return data_[static_cast<std::int64_t>(i) * stride_]; }
  const T& operator[](std::integral auto i) const { return data_[static_cast<std::int64_t>(i) * stride_]; }

  /// The elements as a contiguous range; only for vectors with stride 1.
  T* begin() { return data_; }
  T* end() { return data_ + size_; }
  const T* begin() const { return data_; }
  const T* end() const { return data_ + size_; }
  T* data() { return data_; }
  const T* data() const { return data_; }
  std::size_t size() const { return static_cast<std::size_t>(size_); }
  std::span<T> Span() { return {begin(), end()}; }
  std::span<const T> Span() const { return {begin(), end()}; }

 private:
  static constexpr std::int64_t kFew = 8;

  bool HoldsAFew() const { return data_ == few_.data(); }
  /// What `other` has, which is empty then; this owns nothing before.
  void Take(BasicVector& other) noexcept {
    size_ = std::exchange(other.size_, 0);
    stride_ = other.stride_;
    ownsStorage_ = std::exchange(other.ownsStorage_, true);
    if (other.HoldsAFew()) {
      data_ = few_.data();
      std::copy_n(other.data_, size_, data_);
    } else {
      data_ = other.data_;
    }
    other.data_ = nullptr;
  }
  void Release() noexcept {
    if (ownsStorage_ && !HoldsAFew()) std::unique_ptr<T[]>{data_}.reset();
    data_ = nullptr;
    size_ = 0;
  }

  T* data_ = nullptr;
  std::int32_t size_ = 0;
  std::int32_t stride_ = 1;
  bool ownsStorage_ = true;
  std::array<T, kFew> few_;  // the elements of an owner of a few; else without meaning
};

using Vector = BasicVector<double>;

/// One entry per model parameter: 0 = the parameter is fitted, anything else = it keeps the value it was given.
using FixedTermMask = BasicVector<std::int32_t>;

inline std::int32_t FreeCount(const FixedTermMask& mask) {
  return static_cast<std::int32_t>(std::count(mask.begin(), mask.end(), 0));
}

}  // namespace Xem::MaterialUtil
