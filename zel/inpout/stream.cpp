// Text input by lines.
//
// A block is what one or more reads left in the buffer up to a line end: reads fill the free part
// of the buffer until one of them brings a line feed, and the line that the last read cut in two
// is completed byte by byte, because the next bytes of the connection belong to whichever stream
// takes the mutex next. Lines are found in the block afterwards, without the mutex.
#include "zel/inpout/stream.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

namespace zel::inpout {

namespace {

constexpr char k_no_memory[] = "stream: out of big memory";
constexpr unsigned long k_max_capacity = 9223372036854775807UL;
constexpr unsigned long k_slack_step = 1000;

std::string cannot_read(const ioconn& conn) {
  return "File: " + conn.name() + " cannot be read: " + conn.error();
}

}  // namespace

stream::stream(ioconn* conn, char separator, bool owns) : stream(conn, separator, owns, limits()) {}

stream::stream(ioconn* conn, char separator, bool owns, limits sizes)
    : conn_(conn),
      owns_(owns),
      separator_(separator),
      sizes_(sizes),
      capacity_(std::max(sizes.capacity, 1UL)),
      max_line_(std::max(sizes.max_line, 1UL)) {
  assert(conn != nullptr);
  double_capacity();
}

stream::~stream() {
  if (!owns_) return;
  conn_->close();
  delete conn_;
}

bool stream::read_line() {
  if (remaining_ == 0 && !next_block()) {
    line_ = "";
    line_length_ = 0;
    return false;
  }
  char* const start = data_;
  const auto* const feed = static_cast<char*>(std::memchr(start, '\n', remaining_));
  unsigned long length = feed ? static_cast<unsigned long>(feed - start) : remaining_;
  const unsigned long taken = length + (feed ? 1 : 0);
  data_ += taken;
  remaining_ -= taken;

  if (length > 0 && start[length - 1] == '\r') --length;
  start[length] = '\0';
  line_ = start;
  line_length_ = length;
  tokens_.tokenizing(start, separator_, true);
  return true;
}

bool stream::next_block() {
  data_ = nullptr;
  remaining_ = 0;
  if (ended_) return false;
  const std::lock_guard lock(conn_->mutex());
  unsigned long held = 0;
  try {
    held = fill();
    if (held > 0) make_room(held);
  } catch (...) {
    block_number_ = conn_->take_block_number();
    throw;
  }
  if (held == 0) return false;
  assert(held < capacity_ + slack_);
  buffer_[held] = '\0';
  block_number_ = conn_->take_block_number();
  bytes_read_ += held;
  data_ = buffer_.get();
  remaining_ = held;
  return true;
}

/// Reads whole lines to the front of the buffer; returns their bytes, 0 at the end of the input.
unsigned long stream::fill() {
  if (!buffer_) reallocate(0);
  unsigned long held = 0;
  for (;;) {
    const unsigned long room = std::min(capacity_, max_line_) - held;
    const unsigned long got = read_some(held, room);
    if (got == 0) return held;
    const char* const fresh = buffer_.get() + held;
    const auto* const feed = static_cast<const char*>(memrchr(fresh, '\n', got));
    held += got;
    if (feed) return complete_line(held, static_cast<unsigned long>(feed + 1 - buffer_.get()));
    if (held == max_line_) throw std::runtime_error(k_no_memory);
    if (held == capacity_) {
      double_capacity();
      reallocate(held);
    }
  }
}

/// Reads on to the end of the last line, which starts at `line_start`; returns the bytes held.
unsigned long stream::complete_line(unsigned long held, unsigned long line_start) {
  if (held == line_start) return held;  // the read ended with a line
  for (;;) {
    if (held - line_start == max_line_) throw std::runtime_error(k_no_memory);
    make_room(held);
    if (read_some(held, 1) == 0) return held;
    if (buffer_[held++] == '\n') return held;
  }
}

/// Reads up to `count` bytes behind the first `held`; 0 at the end of the input.
unsigned long stream::read_some(unsigned long held, unsigned long count) {
  const long got = conn_->read(buffer_.get() + held, static_cast<long>(count));
  if (got < 0) throw std::runtime_error(cannot_read(*conn_));
  ended_ = got == 0;
  assert(static_cast<unsigned long>(got) <= count);
  return static_cast<unsigned long>(got);
}

/// Makes sure that one more byte fits behind the first `held`.
void stream::make_room(unsigned long held) {
  if (held < capacity_ + slack_) return;
  slack_ += k_slack_step;
  double_capacity();
  reallocate(held);
}

void stream::double_capacity() {
  if (capacity_ > k_max_capacity / 2) throw std::runtime_error(k_no_memory);
  capacity_ *= 2;
}

/// Gives the buffer its present size, keeping the first `held` bytes.
void stream::reallocate(unsigned long held) {
  try {
    auto larger = std::make_unique_for_overwrite<char[]>(capacity_ + slack_ + k_padding);
    std::memset(larger.get() + capacity_ + slack_, 0, k_padding);
    if (held > 0) std::memcpy(larger.get(), buffer_.get(), held);
    buffer_ = std::move(larger);
  } catch (const std::bad_alloc&) {
    throw std::runtime_error(k_no_memory);
  }
}

}  // namespace zel::inpout
