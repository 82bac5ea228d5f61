// Pieces go around a ring: the thread fills the next one as soon as the caller has emptied it. A
// piece without bytes is the last one, and stays the caller's for good.
#include "zel/inpout/ioahead.h"

#include <algorithm>
#include <cassert>
#include <cstdio>
#include <cstring>
#include <exception>
#include <system_error>

namespace zel::inpout {

ioahead::ioahead(std::unique_ptr<ioconn> inner) : inner_(std::move(inner)) {
  assert(inner_ != nullptr);
}

ioahead::~ioahead() { halt(); }

void ioahead::close() {
  halt();
  inner_->close();
  if (inner_->failed()) set_failed(inner_->error());
}

bool ioahead::eof() {
  if (!thread_.joinable()) return inner_->eof();
  return current_ != nullptr && current_->size == 0;
}

bool ioahead::rewind() {
  halt();
  return inner_->rewind();
}

long ioahead::write(const void* bytes, long count) {
  rest();
  const long written = inner_->write(bytes, count);
  if (inner_->failed()) set_failed(inner_->error());
  return written;
}

long ioahead::read(void* bytes, long count) {
  if (count < 1) return 0;
  if (!thread_.joinable()) {
    std::string failure;
    const long got = read_inner(static_cast<char*>(bytes), std::min(count, k_piece), failure);
    if (got < 0) set_error(failure);
    if (got == k_piece) start();
    return got;
  }
  if (current_ == nullptr) {
    std::unique_lock guard(lock_);
    changed_.wait(guard, [this] { return filled_ > emptied_; });
    current_ = &pieces_[emptied_ % pieces_.size()];
  }
  if (current_->size < 1) {
    if (current_->size < 0) set_error(failure_);  // the thread has ended
    return current_->size;
  }
  const long n = std::min(count, current_->size - current_->taken);
  std::memcpy(bytes, current_->bytes.get() + current_->taken, static_cast<std::size_t>(n));
  current_->taken += n;
  position_ += n;
  if (current_->taken == current_->size) {
    current_ = nullptr;
    const std::lock_guard guard(lock_);
    ++emptied_;
    changed_.notify_one();
  }
  return n;
}

long ioahead::lseek(long offset, int whence) {
  rest();
  return inner_->lseek(offset, whence);
}

long ioahead::tell() { return thread_.joinable() ? position_ : inner_->tell(); }

void ioahead::start() {
  if (std::thread::hardware_concurrency() < 2) return;
  position_ = inner_->tell();
  filled_ = emptied_ = 0;
  stop_ = false;
  for (piece& p : pieces_) {
    if (!p.bytes) p.bytes = std::make_unique_for_overwrite<char[]>(k_piece);
  }
  try {
    thread_ = std::thread([this] { read_ahead(); });
  } catch (const std::system_error&) {
    // No more threads here: every read goes to the inner connection.
  }
}

void ioahead::read_ahead() {
  for (unsigned long i = 0;; ++i) {
    piece& next = pieces_[i % pieces_.size()];
    {
      std::unique_lock guard(lock_);
      changed_.wait(guard, [this, i] { return stop_ || i < emptied_ + pieces_.size(); });
      if (stop_) return;
    }
    std::string failure;
    const long got = read_inner(next.bytes.get(), k_piece, failure);
    const std::lock_guard guard(lock_);
    next.size = got;
    next.taken = 0;
    failure_ = std::move(failure);
    ++filled_;
    changed_.notify_one();
    if (got < 1) return;
  }
}

/// A read of the inner connection, on either thread: nothing is thrown.
long ioahead::read_inner(char* bytes, long count, std::string& error) {
  try {
    const long got = inner_->read(bytes, count);
    if (got < 0) error = inner_->error();
    return got;
  } catch (const std::exception& failure) {
    error = failure.what();
    return -1;
  }
}

/// Ends the thread and drops what it has read.
void ioahead::halt() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard guard(lock_);
    stop_ = true;
    changed_.notify_one();
  }
  thread_.join();
  thread_ = std::thread();
  current_ = nullptr;
}

/// Ends the thread with the inner connection where the caller is.
void ioahead::rest() {
  if (!thread_.joinable()) return;
  halt();
  inner_->lseek(position_, SEEK_SET);
}

}  // namespace zel::inpout
