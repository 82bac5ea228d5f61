// Connection over a gzip file.
#pragma once

#include <zlib.h>

#include <string>

#include "zel/inpout/ioconn.h"

namespace zel::inpout {

/// Compressed file, read or written in one direction. Reading goes through all members of the
/// file; a file that ends inside a member or is damaged makes read() return -1.
class iogz : public ioconn {
 public:
  iogz() = default;
  ~iogz() override;

  /// Closes. Compressed data still held by zlib are written here: see failed().
  void close() override;
  /// True once a read has met the end.
  bool eof() override;
  [[nodiscard]] bool is_open() const override { return handle_ != nullptr; }
  [[nodiscard]] int get_mode() const override { return mode_; }
  bool rewind() override;
  /// Throws a pointer to a new std::runtime_error for a count above 4294967295.
  long write(const void* bytes, long count) override;
  /// Delivers `count` bytes unless the data end or fail before. Throws a pointer to a new
  /// std::runtime_error for a count above 4294967295.
  long read(void* bytes, long count) override;
  /// Deliberate: true, although the end cannot be sought.
  [[nodiscard]] bool is_random() const override { return true; }
  /// Position in the uncompressed data, from the start or the position. Throws
  /// std::runtime_error for SEEK_END, hence size() always throws, and for an unknown `whence`.
  long lseek(long offset, int whence) override;
  long tell() override;

  /// Opens `name` after closing what was open: for appending, else writing, else reading, as the
  /// mode bits say. `level`: 0 to 9, or -1 for zlib's default; `strategy`: zlib's.
  virtual bool open(const std::string& name, int mode, int level, int strategy);

  /// For an input not yet read: false when it opened well but has no gzip header (an empty file
  /// too), so that zlib would pass its bytes on unchanged. True when its first bytes cannot be
  /// read: read() then tells why.
  bool is_compressed();

 private:
  std::string reason() const;

  int mode_ = 0;
  gzFile handle_ = nullptr;
  std::string path_;
};

}  // namespace zel::inpout
