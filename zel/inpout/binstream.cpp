#include "zel/inpout/binstream.h"

#include <zlib.h>

#include <array>
#include <cerrno>
#include <limits>
#include <stdexcept>

#include "zel/inpout/ioahead.h"
#include "zel/inpout/iofile.h"
#include "zel/inpout/iogunzip.h"

namespace zel::inpout {

namespace {

constexpr char k_no_reason[] = "Error description not available";
constexpr char k_truncated[] = "truncated after byte ";
constexpr char k_not_a_flag[] = "no flag at byte ";
constexpr char k_more[] = "more data than expected after byte ";
constexpr char k_long_text[] = "a text too long before byte ";
constexpr char k_long_double[] = "long double values need the format of x86-64";

constexpr unsigned long k_buffer = ioahead::k_piece;  // what is read ahead comes in pieces of it
constexpr unsigned long k_transfer = 1UL << 30;       // more than a connection takes at once

/// Bytes of a long double that have a meaning, and in a file.
constexpr std::size_t k_extended = 10;
constexpr std::size_t k_stored_extended = 16;

void require_extended() {
  constexpr bool is_extended = std::numeric_limits<long double>::digits == 64 &&
                               sizeof(long double) == k_stored_extended &&
                               std::endian::native == std::endian::little;
  if (!is_extended) throw std::runtime_error(k_long_double);
}

std::unique_ptr<ioconn> open_compressed(const std::string& name, unsigned long workers) {
  auto conn = std::make_unique<iogunzip>();
  if (!conn->open(name)) return nullptr;
  if (workers < 2) return conn;
  return std::make_unique<ioahead>(std::move(conn));
}

std::unique_ptr<ioconn> open_plain(const std::string& name) {
  constexpr int k_permissions = 0644;
  auto file = std::make_unique<iofile>();
  if (!file->open(name, mode_read, k_permissions)) return nullptr;
  return file;
}

void close_and_delete(ioconn* conn) {
  conn->close();
  delete conn;
}

}  // namespace

std::string system_reason(int code) {
  return code == 0 ? std::string(k_no_reason) : std::string(std::strerror(code));
}

obinstream::~obinstream() {
  if (owns_) close_and_delete(conn_);
}

obinstream& obinstream::operator<<(const char* text) {
  if (text == nullptr) return *this << false;
  return *this << std::string(text);
}

obinstream& obinstream::operator<<(const std::string& text) {
  *this << true << static_cast<unsigned long>(text.size());
  write(text.data(), text.size());
  return *this;
}

obinstream& obinstream::operator<<(const adt::bitmap& bits) {
  *this << bits.size();
  write_array(std::span<const unsigned long>(bits.words(), bits.n_words()));
  return *this;
}

void obinstream::write_item(long double item) {
  require_extended();
  std::array<unsigned char, k_stored_extended> bytes{};
  std::memcpy(bytes.data(), &item, k_extended);  // what lies behind is not the value's
  write(bytes.data(), bytes.size());
}

void obinstream::write(const void* bytes, unsigned long count) {
  const auto* from = static_cast<const char*>(bytes);
  while (count > 0) {
    const unsigned long piece = std::min(count, k_transfer);
    if (conn_->write(from, static_cast<long>(piece)) != static_cast<long>(piece)) return;
    from += piece;
    count -= piece;
  }
}

void obinstream::close() {
  conn_->close();
  if (!conn_->failed()) return;
  throw std::runtime_error(conn_->error().empty() ? k_no_reason : conn_->error());
}

ibinstream::ibinstream(const std::string& file_name, bool compressed, unsigned long workers)
    : owns_(true), room_(k_buffer) {
  errno = 0;
  std::unique_ptr<ioconn> conn =
      compressed ? open_compressed(file_name, workers) : open_plain(file_name);
  if (!conn) throw std::runtime_error("File: " + file_name + ": " + system_reason(errno));
  conn_ = conn.release();
}

ibinstream::~ibinstream() {
  if (owns_) close_and_delete(conn_);
}

ibinstream& ibinstream::operator>>(bool& value) {
  unsigned char byte = 0;
  *this >> byte;
  if (byte > 1) throw std::runtime_error(k_not_a_flag + std::to_string(position_));
  value = byte == 1;
  return *this;
}

ibinstream& ibinstream::operator>>(long double& value) {
  require_extended();
  std::array<unsigned char, k_stored_extended> bytes;
  read(bytes.data(), bytes.size());
  value = 0;
  std::memcpy(&value, bytes.data(), k_extended);
  return *this;
}

ibinstream& ibinstream::operator>>(std::string& text) {
  text = read_text();
  text.resize(std::min(text.find('\0'), text.size()));
  return *this;
}

std::string ibinstream::read_text(unsigned long most) {
  std::string text;
  if (!read_presence()) return text;
  unsigned long length = 0;
  *this >> length;
  if (length > most) throw std::runtime_error(k_long_text + std::to_string(position_));
  while (text.size() < length) {  // grows with what is read
    const std::size_t at = text.size();
    text.resize(at + std::min<std::size_t>(length - at, std::max(at, k_first_items)));
    read(text.data() + at, text.size() - at);
  }
  return text;
}

ibinstream& ibinstream::operator>>(adt::bitmap& bits) {
  unsigned long n = 0;
  *this >> n;
  const auto words = read_array<unsigned long>(n / 64 + (n % 64 != 0));
  bits.assign(words.data(), n);
  return *this;
}

bool ibinstream::read_presence() {
  bool present = false;
  *this >> present;
  return present;
}

void ibinstream::skip(unsigned long count) {
  std::array<char, 4096> unwanted;
  while (count > 0) {
    const unsigned long piece = std::min<unsigned long>(count, unwanted.size());
    read(unwanted.data(), piece);
    count -= piece;
  }
}

bool ibinstream::at_end() { return held() == 0 && !refill(); }

void ibinstream::require_end() {
  if (!at_end()) throw std::runtime_error(k_more + std::to_string(position_));
}

/// More than is held: large pieces, and all of a connection, without a copy.
void ibinstream::read_on(void* bytes, unsigned long count) {
  auto* to = static_cast<char*>(bytes);
  while (count > 0) {
    unsigned long some = std::min(count, held());
    if (some > 0) {
      std::memcpy(to, next_, some);
      next_ += some;
    } else if (count < room_) {
      if (!refill()) throw std::runtime_error(k_truncated + std::to_string(position_));
      continue;
    } else {
      some = static_cast<unsigned long>(read_some(to, count));
      if (some == 0) throw std::runtime_error(k_truncated + std::to_string(position_));
    }
    to += some;
    count -= some;
    position_ += some;
  }
}

/// Of an empty buffer. @return false at the end.
bool ibinstream::refill() {
  if (!buffer_) buffer_ = std::make_unique_for_overwrite<char[]>(room_);
  const long got = read_some(buffer_.get(), room_);
  next_ = buffer_.get();
  end_ = next_ + got;
  return got > 0;
}

/// @return 0 at the end.
long ibinstream::read_some(void* bytes, unsigned long count) {
  const long got = conn_->read(bytes, static_cast<long>(std::min(count, k_transfer)));
  if (got < 0) throw std::runtime_error(conn_->error().empty() ? k_no_reason : conn_->error());
  return got;
}

}  // namespace zel::inpout
