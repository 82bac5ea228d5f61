// An array that grows at its end without a copy of its own beside it.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <span>
#include <type_traits>
#include <utility>

namespace orvik::impls {

/// Like a vector, but a large one grows in place or by moving pages, and pages beyond size() take
/// no memory: the peak of a load is what it holds.
template <class T>
class growing_array {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  growing_array() = default;
  growing_array(growing_array&& other) noexcept
      : data_(std::move(other.data_)),
        size_(std::exchange(other.size_, 0)),
        capacity_(std::exchange(other.capacity_, 0)) {}
  growing_array& operator=(growing_array&& other) noexcept {
    data_ = std::move(other.data_);
    size_ = std::exchange(other.size_, 0);
    capacity_ = std::exchange(other.capacity_, 0);
    return *this;
  }

  std::size_t size() const { return size_; }
  T* data() { return data_.get(); }
  const T* data() const { return data_.get(); }
  T& operator[](std::size_t i) {
    assert(i < size_);
    return data_.get()[i];
  }
  const T& operator[](std::size_t i) const {
    assert(i < size_);
    return data_.get()[i];
  }
  const T* begin() const { return data(); }
  const T* end() const { return data() + size_; }

  /// Adds n elements without a value. @return the first of them.
  T* extend(std::size_t n) {
    if (n > capacity_ - size_) reserve(std::max(2 * capacity_, size_ + n));
    size_ += n;
    return data() + size_ - n;
  }

  /// Keeps the first n elements.
  void truncate(std::size_t n) {
    assert(n <= size_);
    size_ = n;
  }

  void append(std::span<const T> values) {
    std::copy(values.begin(), values.end(), extend(values.size()));
  }

  void release() {
    data_.reset();
    size_ = capacity_ = 0;
  }

 private:
  struct freer {
    void operator()(void* memory) const { std::free(memory); }
  };

  void reserve(std::size_t n) {
    void* const larger = std::realloc(data_.get(), n * sizeof(T));
    if (larger == nullptr) throw std::bad_alloc();
    static_cast<void>(data_.release());  // realloc has it
    data_.reset(static_cast<T*>(larger));
    capacity_ = n;
  }

  std::unique_ptr<T, freer> data_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace orvik::impls
