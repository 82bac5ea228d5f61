// Connection over a memory buffer.
#include "zel/inpout/iomem.h"

#include <algorithm>
#include <cassert>
#include <cstdio>
#include <cstring>
#include <limits>
#include <stdexcept>

namespace zel::inpout {

namespace {

constexpr char k_full[] = "iomem buffer size exceeded";
constexpr char k_no_memory[] = "Out of memory";

// Positions are returned as long: no buffer passes this.
constexpr unsigned long k_max_capacity = std::numeric_limits<long>::max();

}  // namespace

iomem::~iomem() { iomem::close(); }

void iomem::close() {
  owned_.reset();
  buffer_ = nullptr;
  capacity_ = used_ = pos_ = 0;
}

long iomem::write(const void* bytes, long count) {
  if (count < 1) return 0;
  const auto length = static_cast<unsigned long>(count);
  if (length > capacity_ - pos_) grow_for_write(length);
  std::memcpy(buffer_ + pos_, bytes, length);
  pos_ += length;
  used_ = std::max(used_, pos_);
  assert(used_ <= capacity_);
  return count;
}

long iomem::read(void* bytes, long count) {
  if (count < 1) return 0;
  assert(pos_ <= used_);
  const unsigned long length = std::min(static_cast<unsigned long>(count), used_ - pos_);
  if (length == 0) return 0;
  std::memcpy(bytes, buffer_ + pos_, length);
  pos_ += length;
  return static_cast<long>(length);
}

long iomem::lseek(long offset, int whence) {
  unsigned long target = static_cast<unsigned long>(offset);
  switch (whence) {
    case SEEK_SET:
      break;
    case SEEK_CUR:
      target += pos_;
      break;
    case SEEK_END:
      target += used_;
      break;
    default:
      return -1;
  }
  if (target > used_) {
    if (owned_) {
      extend(target);
    } else {
      target = used_;
    }
  }
  pos_ = target;
  return static_cast<long>(pos_);
}

bool iomem::open(void* buffer, unsigned long capacity, unsigned long used) {
  close();
  forget_failures();
  buffer_ = static_cast<char*>(buffer);
  capacity_ = buffer == nullptr ? 0 : capacity;
  used_ = std::min(used, capacity_);
  return is_open();
}

bool iomem::open(unsigned long capacity) {
  close();
  forget_failures();
  reallocate(capacity);
  return true;
}

/// Makes the own buffer hold `capacity` bytes, keeping its content.
void iomem::reallocate(unsigned long capacity) {
  if (capacity > k_max_capacity) throw std::runtime_error(k_no_memory);
  void* const moved = std::realloc(owned_.get(), std::max(capacity, 1UL));
  if (moved == nullptr) throw std::runtime_error(k_no_memory);
  static_cast<void>(owned_.release());  // realloc has freed or moved it
  owned_.reset(static_cast<char*>(moved));
  buffer_ = owned_.get();
  capacity_ = capacity;
}

/// Makes room for `count` bytes at the position; the capacity at least doubles.
void iomem::grow_for_write(unsigned long count) {
  if (!owned_) throw std::runtime_error(k_full);
  // No overflow: position, capacity and count are at most the largest long.
  reallocate(capacity_ + std::max(capacity_, pos_ + count - capacity_));
}

/// Moves the end of the data to `target`, past its present end; zeros lie between.
void iomem::extend(unsigned long target) {
  if (target > capacity_) {
    const unsigned long roomy = target + capacity_ / 2;
    const bool overflows = target > k_max_capacity || roomy > k_max_capacity;
    reallocate(overflows ? target : roomy);
  }
  std::memset(buffer_ + used_, 0, target - used_);
  used_ = target;
}

}  // namespace zel::inpout
