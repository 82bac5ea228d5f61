// Buffering layer over any other connection: all file traffic goes through it.
#pragma once

#include <memory>

#include "zel/inpout/ioconn.h"

namespace zel::inpout {

/// Buffers another connection, which it may own.
/// Invariant: the buffer holds either bytes read ahead (pos_ to end_ unread) or, when pending_,
/// bytes still to be written (0 to end_). Changing direction writes the pending bytes, or moves
/// the inner connection back to the first unread byte where it can seek.
class iobuf : public ioconn {
 public:
  iobuf() = default;
  /// Closes as close() does; never throws, an exception of the inner connection ends the process.
  ~iobuf() override;

  /// Writes pending bytes, closes the inner connection and deletes it if owned. Bytes lost on the
  /// way, by the inner connection too, show in failed().
  void close() override;
  bool eof() override;
  [[nodiscard]] bool is_open() const override;
  [[nodiscard]] int get_mode() const override;
  bool rewind() override;
  /// @return `count`, or what a direct write gave, or -1 when earlier bytes could not be written.
  long write(const void* bytes, long count) override;
  /// Delivers what the buffer holds and then what one read of the inner connection gives, so a
  /// short count is not the end. -1 when that read failed and nothing was delivered.
  long read(void* bytes, long count) override;
  [[nodiscard]] bool is_random() const override;
  long lseek(long offset, int whence) override;
  /// Position as the caller sees it: without what was read ahead, with what is pending.
  long tell() override;
  long size() override;

  /// Wraps `conn` with a buffer of `capacity` bytes, at least 1000, after closing what was wrapped;
  /// takes its name. `owns`: close() deletes it, else it must outlive this. The connection stays
  /// the caller's if this throws. @return false, changing nothing, for a null `conn`.
  virtual bool open(ioconn* conn, bool owns, unsigned long capacity);

  /// Hands pending bytes to the inner connection; false when it did not take all of them, which
  /// are then lost (see failed()).
  bool flush();
  /// Bytes of the buffer; 0 when closed.
  [[nodiscard]] long capacity() const { return capacity_; }

 private:
  bool write_through(const char* bytes, long count);
  long read_inner(char* bytes, long count);
  void drop_unread();
  void release();

  ioconn* conn_ = nullptr;
  bool owns_ = false;  // close() deletes conn_
  bool pending_ = false;
  std::unique_ptr<char[]> buffer_;
  long capacity_ = 0;
  long end_ = 0;
  long pos_ = 0;
};

}  // namespace zel::inpout
