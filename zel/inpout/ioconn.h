// Connection: the one road of every byte read or written.
//
// Files, gzip files, memory and pipes differ only in the class behind this interface. Readers of
// text share one connection between threads, so each connection carries the mutex that they hold
// while they read, and the counter that numbers the blocks they take.
#pragma once

#include <mutex>
#include <string>
#include <utility>

#include "zel/util/nocopy.h"

namespace zel::inpout {

/// Mode bits of a connection, as returned by get_mode(). Other bits are stored and mean nothing.
enum mode_bits : int {
  mode_read = 2,
  mode_write = 4,
  mode_append = 8,
  mode_create = 32,
  mode_truncate = 64,
};

/// A sequence of bytes with a position, to read from or write to.
/// Counts and positions are in bytes. A read gives 0 at the end of the input and -1 when it
/// failed; a read may deliver less than was asked without being at the end.
/// Threads: one at a time; those that share a connection hold mutex() around every call.
class ioconn : public zel::util::nocopy {
  std::mutex mutex_;

 public:
  ioconn() = default;
  virtual ~ioconn();

  /// Closes; a closed connection may be closed again. Writes that fail here show in failed().
  virtual void close() = 0;
  /// True when the position is the end. Errors as size() and tell().
  virtual bool eof();
  [[nodiscard]] virtual bool is_open() const = 0;
  /// The mode bits; 0 when closed.
  [[nodiscard]] virtual int get_mode() const = 0;
  /// Goes back to the start; false when that fails.
  virtual bool rewind();
  /// @return the bytes written, less than `count` on failure (see failed() and error()).
  virtual long write(const void* bytes, long count) = 0;
  /// Writes a text and a line feed; returns the sum of what both writes gave.
  virtual long writeln(const char* text);
  /// Writes all that `source` still holds; returns the bytes written. Stops at a failure of
  /// either side: see source.error() and failed().
  virtual long copy(ioconn& source);
  /// The same for at most `count` bytes; 0 for a count below 1.
  virtual long copy(ioconn& source, long count);
  /// @return the bytes read, 0 at the end of the input, -1 on failure (see error()).
  virtual long read(void* bytes, long count) = 0;
  /// True when the connection can seek. False here.
  [[nodiscard]] virtual bool is_random() const;
  /// Moves to `offset` from the start, the position or the end (SEEK_SET, SEEK_CUR, SEEK_END);
  /// returns the new position, -1 on failure. Throws std::runtime_error here: "lseek not
  /// available".
  virtual long lseek(long offset, int whence);
  /// The position; -1 when there is none.
  virtual long tell();
  /// The bytes from start to end, found by seeking there and back.
  virtual long size();

  /// Held by whoever shares the connection with other threads, from the first byte of a block of
  /// lines to its last.
  std::mutex& mutex() { return mutex_; }
  /// Number of the next block taken from this connection: 0, 1, 2 ... Call with mutex() held.
  unsigned long take_block_number() { return blocks_++; }

  /// The name for messages; empty for what has none. Kept through open() and close().
  [[nodiscard]] const std::string& name() const { return name_; }
  void set_name(std::string name) { name_ = std::move(name); }
  /// Why the last failing read, write or close failed; empty when none has since open().
  [[nodiscard]] const std::string& error() const { return error_; }
  /// True from the first write, flush or close that lost bytes until the next open().
  [[nodiscard]] bool failed() const { return failed_; }

  /// Opens `name` for buffered reading: through gzip when it ends in ".gz" and has more than two
  /// characters (mode 3), else as it is (mode 19). Throws std::runtime_error when it cannot be
  /// opened, and when a ".gz" file holds no gzip data. A directory opens; its first read fails.
  /// Gzip data are unpacked ahead of the reader on another thread, where `workers`, by
  /// default those of the default context, are more than one.
  /// @return a new connection; the caller deletes it.
  [[nodiscard]] static ioconn* get_default_input(const std::string& name);
  [[nodiscard]] static ioconn* get_default_input(const std::string& name, unsigned long workers);
  /// Throws as get_default_input() would, without a buffer to read into.
  static void check_default_input(const std::string& name);
  /// Creates or truncates `name` for buffered writing, never compressed (mode 100). Throws
  /// std::runtime_error when it cannot.
  /// @return a new connection; the caller deletes it, after close() and failed() if it cares.
  [[nodiscard]] static ioconn* get_default_output(const std::string& name);

 protected:
  void forget_failures();
  void set_error(const std::string& reason) { error_ = reason; }
  /// Records that bytes to be written were lost.
  void set_failed(const std::string& reason);

 private:
  unsigned long blocks_ = 0;
  bool failed_ = false;
  std::string name_;
  std::string error_;
};

}  // namespace zel::inpout
