// Connection that reads a file, unpacking it if it is compressed.
//
// Two sources implement it: by the library ISA-L, which unpacks several times as fast as zlib, and
// by zlib for machines that ISA-L is not made for. The build takes one.
#pragma once

#include <memory>
#include <string>

#include "zel/inpout/ioconn.h"

namespace zel::inpout {

/// A gzip file, all members of it; what follows them without being a member is left alone, as
/// gzip does. A file that ends inside a member or is damaged makes read() return -1, behind the
/// bytes before the damage. A file that does not begin as gzip data do is read as it is.
class iogunzip : public ioconn {
 public:
  /// `buffer`: bytes of the file to read at a time, at least 2.
  explicit iogunzip(unsigned buffer = 1U << 17);
  ~iogunzip() override;

  void close() override;
  /// True once a read has met the end.
  bool eof() override;
  [[nodiscard]] bool is_open() const override;
  [[nodiscard]] int get_mode() const override { return is_open() ? mode_ : 0; }
  bool rewind() override;
  /// Writes nothing.
  long write(const void*, long) override { return 0; }
  /// Delivers `count` bytes unless the data end or fail before.
  long read(void* bytes, long count) override;
  /// True: to anywhere but the end.
  [[nodiscard]] bool is_random() const override { return true; }
  /// Position in the unpacked data, from the start or the position; what lies between is
  /// unpacked. Throws std::runtime_error for SEEK_END, hence size() always throws, and for another
  /// whence.
  long lseek(long offset, int whence) override;
  long tell() override;

  /// Opens `name` for reading after closing what was open. `mode`: what get_mode() gives.
  bool open(const std::string& name, int mode = mode_read);
  /// Of an input not yet read: whether it begins as gzip data do. True when its first bytes
  /// cannot be read: read() then tells why.
  bool is_compressed();

 private:
  struct engine;
  int mode_ = 0;
  std::unique_ptr<engine> engine_;
};

}  // namespace zel::inpout
