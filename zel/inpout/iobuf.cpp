// Buffering layer over any other connection.
#include "zel/inpout/iobuf.h"

#include <algorithm>
#include <cassert>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>

namespace zel::inpout {

namespace {

constexpr char k_not_open[] = "not open";
constexpr char k_short_write[] = "the write fell short";
constexpr unsigned long k_min_capacity = 1000;
constexpr unsigned long k_max_capacity = std::numeric_limits<long>::max();

}  // namespace

iobuf::~iobuf() { iobuf::close(); }

void iobuf::close() {
  if (conn_ == nullptr) return;
  flush();
  conn_->close();
  if (conn_->failed()) set_failed(conn_->error());
  release();
}

bool iobuf::eof() { return conn_ == nullptr || (end_ == pos_ && conn_->eof()); }

bool iobuf::is_open() const { return conn_ != nullptr && conn_->is_open(); }

int iobuf::get_mode() const { return conn_ == nullptr ? 0 : conn_->get_mode(); }

bool iobuf::rewind() {
  if (conn_ == nullptr) return false;
  if (!flush() || !conn_->rewind()) return false;
  end_ = pos_ = 0;
  return true;
}

long iobuf::write(const void* bytes, long count) {
  if (count < 1) return 0;
  if (conn_ == nullptr) {
    set_failed(k_not_open);
    return -1;
  }
  if (!pending_) drop_unread();
  if (count > capacity_ - end_ && !flush()) return -1;
  const auto* from = static_cast<const char*>(bytes);
  if (count > capacity_) return write_through(from, count) ? count : -1;
  std::memcpy(buffer_.get() + end_, from, static_cast<std::size_t>(count));
  end_ += count;
  assert(pos_ == 0 && end_ <= capacity_);
  pending_ = true;
  return count;
}

long iobuf::read(void* bytes, long count) {
  if (count < 1) return 0;
  if (conn_ == nullptr) {
    set_error(k_not_open);
    return -1;
  }
  if (pending_ && !flush()) return -1;
  auto* to = static_cast<char*>(bytes);
  const long held = std::min(count, end_ - pos_);
  std::memcpy(to, buffer_.get() + pos_, static_cast<std::size_t>(held));
  pos_ += held;
  const long rest = count - held;
  if (rest == 0) return held;

  end_ = pos_ = 0;
  long got;
  if (rest > capacity_) {
    got = read_inner(to + held, rest);
  } else {
    got = read_inner(buffer_.get(), capacity_);
    end_ = std::max(got, 0L);
    pos_ = std::min(rest, end_);
    std::memcpy(to + held, buffer_.get(), static_cast<std::size_t>(pos_));
    if (got > 0) got = pos_;
  }
  assert(pos_ <= end_ && end_ <= capacity_);
  if (got < 0) return held > 0 ? held : -1;  // the failure comes back with the next read
  return held + got;
}

bool iobuf::is_random() const { return conn_ != nullptr && conn_->is_random(); }

long iobuf::lseek(long offset, int whence) {
  if (conn_ == nullptr) return -1;
  // The inner position is ahead of the caller's by what was read ahead.
  const long ahead = whence == SEEK_CUR && !pending_ ? end_ - pos_ : 0;
  if (offset < std::numeric_limits<long>::min() + ahead) return -1;
  if (!flush()) return -1;
  const long position = conn_->lseek(offset - ahead, whence);
  if (position >= 0) end_ = pos_ = 0;  // a refused seek leaves all in its place
  return position;
}

long iobuf::tell() {
  if (conn_ == nullptr) return -1;
  const long inner = conn_->tell();
  return pending_ ? inner + end_ : inner + pos_ - end_;
}

long iobuf::size() {
  if (conn_ == nullptr) return -1;
  const long inner = conn_->size();
  const bool may_be_longer = pending_ || !(conn_->get_mode() & mode_read);
  return may_be_longer ? std::max(inner, tell()) : inner;
}

bool iobuf::open(ioconn* conn, bool owns, unsigned long capacity) {
  if (conn == nullptr) return false;
  const unsigned long bytes = std::clamp(capacity, k_min_capacity, k_max_capacity);
  auto buffer = std::make_unique_for_overwrite<char[]>(bytes);
  std::string name = conn->name();
  close();
  forget_failures();
  conn_ = conn;
  owns_ = owns;
  buffer_ = std::move(buffer);
  capacity_ = static_cast<long>(bytes);
  set_name(std::move(name));
  return true;
}

bool iobuf::flush() {
  if (!pending_) return true;
  const long count = end_;
  pending_ = false;
  end_ = 0;
  return write_through(buffer_.get(), count);
}

/// Writes all of `bytes` to the inner connection, in as many calls as it takes.
bool iobuf::write_through(const char* bytes, long count) {
  for (long done = 0; done < count;) {
    const long put = conn_->write(bytes + done, count - done);
    if (put < 1) {
      set_failed(conn_->error().empty() ? k_short_write : conn_->error());
      return false;
    }
    done += put;
  }
  return true;
}

long iobuf::read_inner(char* bytes, long count) {
  const long got = conn_->read(bytes, count);
  if (got < 0) set_error(conn_->error());
  return got;
}

/// Before the first write after reads: what was read ahead has not happened yet for the caller.
void iobuf::drop_unread() {
  const long unread = end_ - pos_;
  end_ = pos_ = 0;
  if (unread > 0 && conn_->is_random()) conn_->lseek(-unread, SEEK_CUR);
}

void iobuf::release() {
  if (owns_) delete conn_;
  conn_ = nullptr;
  owns_ = false;
  pending_ = false;
  buffer_.reset();
  capacity_ = end_ = pos_ = 0;
}

}  // namespace zel::inpout
