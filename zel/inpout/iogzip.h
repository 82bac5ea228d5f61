// Connection that writes a gzip file, packed by several threads.
#pragma once

#include <memory>
#include <string>

#include "zel/inpout/ioconn.h"
#include "zel/inpout/iofile.h"

namespace zel::inpout {

/// A gzip file of one member, to be written from its start to its end. Its bytes are the same
/// for any number of workers. Holds some megabytes until they are packed together.
class iogzip : public ioconn {
 public:
  /// `workers`: threads that may pack.
  explicit iogzip(unsigned long workers) : workers_(workers) {}
  ~iogzip() override;

  /// Ends the member and closes.
  void close() override;
  [[nodiscard]] bool is_open() const override { return file_.is_open(); }
  [[nodiscard]] int get_mode() const override { return file_.get_mode(); }
  long write(const void* bytes, long count) override;
  /// Reads nothing.
  long read(void*, long) override { return -1; }
  /// Bytes written, before they are packed.
  long tell() override { return static_cast<long>(packed_ + held_); }

  /// Creates or truncates `name` after closing what was open; an error is in errno.
  bool open(const std::string& name);

 private:
  void pack(bool last) noexcept;
  void put(const void* bytes, std::size_t count);

  unsigned long workers_;
  iofile file_;
  std::unique_ptr<unsigned char[]> buffer_;
  std::size_t held_ = 0;      // bytes in the buffer
  unsigned long packed_ = 0;  // bytes before these
  unsigned long crc_ = 0;     // of the bytes before these
};

}  // namespace zel::inpout
