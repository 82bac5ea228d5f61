// Text input by lines: a block of whole lines at a time from a connection, split in place.
//
// Several streams, each used by one thread, may read one connection. Every refill takes a block of
// whole lines under the connection's mutex, so no line is ever split between two streams, and
// blocks carry consecutive numbers, so merging by block number restores the order of the file.
#pragma once

#include <memory>
#include <string_view>

#include "zel/inpout/ioconn.h"
#include "zel/inpout/tokenizer.h"
#include "zel/util/nocopy.h"

namespace zel::inpout {

/// Reads lines from a connection into one growing buffer and hands out pointers into it.
/// A line ends with a line feed, or a carriage return and a line feed, or the end of the input.
/// Threads: one per stream; streams of one connection may be used at the same time.
class stream : public zel::util::nocopy {
 public:
  /// Lines of this many bytes or more are refused, so that an endless one cannot take all memory.
  static constexpr unsigned long k_max_line = 1UL << 30;
  /// Bytes that may be read behind a block, so that readers need not stop at its last byte.
  static constexpr unsigned long k_padding = 16;
  struct limits {
    unsigned long capacity = 1048576;  // doubled before the first allocation; at least 1
    unsigned long max_line = k_max_line;
  };

  /// Reads from `conn`, not null. `owns`: the destructor closes and deletes it, else it must
  /// outlive this. Throws std::runtime_error for a capacity that cannot be doubled; the connection
  /// then stays the caller's.
  stream(ioconn* conn, char separator, bool owns);
  stream(ioconn* conn, char separator, bool owns, limits sizes);
  virtual ~stream();

  /// Takes the next line and resets the tokenizer onto it; false, every time, at the end.
  /// Errors as next_block().
  bool read_line();
  /// The current line without its end, NUL-terminated; valid until the next read_line() or
  /// next_block(). Its tokens are cut into it.
  [[nodiscard]] const char* line() const { return line_; }
  /// Bytes of the current line; more than strlen(line()), before tokens are taken, when the file
  /// has a NUL byte in it.
  [[nodiscard]] unsigned long line_length() const { return line_length_; }
  zel::util::tokenizer& tokens() { return tokens_; }

  /// Replaces the block, dropping unread lines, by the next of the input; false, every time, at
  /// the end. Locks the connection's mutex while it reads. Throws std::runtime_error when a read
  /// fails ("File: NAME cannot be read: REASON") or a line is too long. The failure takes a block
  /// number: blocks with greater ones may begin in the middle of a line.
  bool next_block();
  /// The lines of the block that read_line() has not taken yet, line ends included; only the last
  /// line of the input may lack one. Lies in the stream's buffer, followed by a NUL and k_padding
  /// bytes more that may be read; valid until the next read_line() or next_block().
  [[nodiscard]] std::string_view block() const { return {data_, remaining_}; }
  /// Position of the block among all blocks of the connection, from 0 in order of the input.
  [[nodiscard]] unsigned long block_number() const { return block_number_; }
  /// Bytes of all blocks of this stream so far.
  [[nodiscard]] unsigned long bytes_read() const { return bytes_read_; }

  [[nodiscard]] ioconn* connection() const { return conn_; }
  [[nodiscard]] char separator() const { return separator_; }
  /// As the stream was made with: for further streams of the same connection.
  [[nodiscard]] const limits& sizes() const { return sizes_; }

 private:
  unsigned long read_some(unsigned long held, unsigned long count);
  unsigned long fill();
  unsigned long complete_line(unsigned long held, unsigned long line_start);
  void double_capacity();
  void reallocate(unsigned long held);
  void make_room(unsigned long held);

  ioconn* conn_;
  bool owns_;  // the destructor deletes conn_
  char separator_;
  limits sizes_;
  unsigned long capacity_;
  unsigned long max_line_;
  unsigned long slack_ = 0;  // room past capacity_, where the last line of a block is completed
  std::unique_ptr<char[]>
      buffer_;            // capacity_ + slack_ bytes and padding; null before the first block
  char* data_ = nullptr;  // first unread byte
  unsigned long remaining_ = 0;  // unread bytes from data_
  const char* line_ = "";
  unsigned long line_length_ = 0;
  unsigned long block_number_ = 0;
  unsigned long bytes_read_ = 0;
  bool ended_ = false;
  zel::util::tokenizer tokens_;
};

}  // namespace zel::inpout
