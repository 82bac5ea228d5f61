// Connection over a gzip file.
//
// zlib is lenient where this system must not be: a file that ends inside a member gives a short
// count and only leaves a note (Z_BUF_ERROR), and a file without gzip header is passed through.
// Both are asked for here, so that neither is taken for a good input.
#include "zel/inpout/iogz.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "zel/util/errors.h"

namespace zel::inpout {

namespace {

constexpr char k_large_read[] = "iogz::read cannot handle large reads";
constexpr char k_large_write[] = "iogz::write cannot handle large writes";
constexpr char k_no_seek_end[] = "iogz::lseek LSEEK_END not supported";
constexpr char k_no_whence[] = "iogz::lseek position not supported";
constexpr char k_not_open[] = "not open";
constexpr char k_truncated[] = "truncated gzip data";
constexpr char k_damaged[] = "damaged gzip data: ";

constexpr long k_max_transfer = 4294967295;
constexpr long k_max_call = 1L << 30;         // zlib refuses what does not fit an int
constexpr unsigned k_zlib_buffer = 1U << 17;  // of compressed bytes; zlib's own 8 KiB cost time

std::string mode_text(int mode, int level) {
  std::string text = "rb";
  if (mode & mode_write) text[0] = 'w';
  if (mode & mode_append) text[0] = 'a';
  if (level != -1) text += static_cast<char>('0' + level);
  return text;
}

}  // namespace

iogz::~iogz() { iogz::close(); }

void iogz::close() {
  if (handle_ == nullptr) return;
  const bool writes = mode_ & (mode_write | mode_append);
  const std::string trouble = reason();  // gone with the handle
  const int code = gzclose(handle_);
  if (code != Z_OK && writes) set_failed(code == Z_ERRNO ? std::strerror(errno) : trouble);
  handle_ = nullptr;
  mode_ = 0;
}

bool iogz::eof() { return gzeof(handle_) != 0; }

bool iogz::rewind() { return gzrewind(handle_) == 0; }

long iogz::write(const void* bytes, long count) {
  if (count > k_max_transfer) util::throw_pointer(k_large_write);
  const auto* from = static_cast<const char*>(bytes);
  long done = 0;
  while (done < count) {
    const auto piece = static_cast<unsigned>(std::min(count - done, k_max_call));
    const int put = gzwrite(handle_, from + done, piece);
    done += std::max(put, 0);
    if (put < static_cast<int>(piece)) {
      set_failed(reason());
      break;
    }
  }
  return done;
}

long iogz::read(void* bytes, long count) {
  if (count > k_max_transfer) util::throw_pointer(k_large_read);
  auto* to = static_cast<char*>(bytes);
  long done = 0;
  while (done < count) {
    const auto piece = static_cast<unsigned>(std::min(count - done, k_max_call));
    const int got = gzread(handle_, to + done, piece);
    done += std::max(got, 0);
    if (got < static_cast<int>(piece)) break;
  }
  if (done > 0 || count < 1) return std::max(done, 0L);
  // Nothing came: the end, unless zlib kept an error, which it does until it is asked.
  int code = Z_ERRNO;
  if (handle_ != nullptr) gzerror(handle_, &code);
  if (code == Z_OK || code == Z_STREAM_END) return 0;
  set_error(reason());
  return -1;
}

long iogz::lseek(long offset, int whence) {
  if (whence == SEEK_END) throw std::runtime_error(k_no_seek_end);
  if (whence != SEEK_SET && whence != SEEK_CUR) throw std::runtime_error(k_no_whence);
  return gzseek(handle_, offset, whence);
}

long iogz::tell() { return gztell(handle_); }

bool iogz::open(const std::string& name, int mode, int level, int strategy) {
  close();
  forget_failures();
  handle_ = gzopen(name.c_str(), mode_text(mode, level).c_str());
  if (handle_ == nullptr) return false;
  path_ = name;
  mode_ = mode;
  gzbuffer(handle_, k_zlib_buffer);
  gzsetparams(handle_, level, strategy);  // refused, without harm, for a reading handle
  return true;
}

bool iogz::is_compressed() {
  if (gzdirect(handle_) == 0) return true;
  int code = Z_OK;
  if (handle_ != nullptr) gzerror(handle_, &code);
  return code != Z_OK;
}

/// zlib's account of its last error, without the path that it puts in front.
std::string iogz::reason() const {
  if (handle_ == nullptr) return k_not_open;
  int code = Z_OK;
  std::string text = gzerror(handle_, &code);
  if (text.starts_with(path_ + ": ")) text.erase(0, path_.size() + 2);
  if (code == Z_BUF_ERROR) return k_truncated;
  return code == Z_DATA_ERROR ? k_damaged + text : text;
}

}  // namespace zel::inpout
