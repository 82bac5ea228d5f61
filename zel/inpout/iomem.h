// Connection over a memory buffer.
#pragma once

#include <cstdlib>
#include <memory>
#include <string_view>

#include "zel/inpout/ioconn.h"

namespace zel::inpout {

/// Bytes in memory: the caller's buffer of fixed capacity, or one of its own that grows.
/// Invariant: position <= used <= capacity.
class iomem : public ioconn {
 public:
  iomem() = default;
  ~iomem() override;

  /// Frees a buffer of its own.
  void close() override;
  bool eof() override { return pos_ == used_; }
  [[nodiscard]] bool is_open() const override { return buffer_ != nullptr; }
  /// Always 6: read and write.
  [[nodiscard]] int get_mode() const override { return mode_read | mode_write; }
  /// Throws std::runtime_error, changing nothing, when the caller's buffer has no room or memory
  /// is out. 0 for a count below 1.
  long write(const void* bytes, long count) override;
  long read(void* bytes, long count) override;
  using ioconn::is_random;
  /// Moves the position; the offset is unsigned, so going before the start is going far past the
  /// end. Past the end a buffer of its own is extended with zeros, the caller's stops at the end.
  /// Throws std::runtime_error when memory is out. @return the position; -1 for an unknown whence.
  long lseek(long offset, int whence) override;
  long tell() override { return static_cast<long>(pos_); }
  long size() override { return static_cast<long>(used_); }

  /// Deliberate: true only for callers that see this class; the base's constant one says false.
  virtual bool is_random() { return true; }
  /// Adopts `capacity` bytes at `buffer`, which must outlive the use, the first `used` being data.
  virtual bool open(void* buffer, unsigned long capacity, unsigned long used);
  /// Allocates an empty buffer that grows. Throws std::runtime_error when memory is out.
  virtual bool open(unsigned long capacity);

  /// The data from start to end; valid until the next write, lseek, open or close.
  [[nodiscard]] std::string_view bytes() const { return {buffer_, used_}; }

 private:
  struct freer {
    void operator()(char* block) const { std::free(block); }
  };

  void reallocate(unsigned long capacity);
  void grow_for_write(unsigned long count);
  void extend(unsigned long target);

  char* buffer_ = nullptr;
  unsigned long capacity_ = 0;
  unsigned long used_ = 0;
  unsigned long pos_ = 0;
  std::unique_ptr<char, freer> owned_;  // holds buffer_ when it was allocated here
};

}  // namespace zel::inpout
