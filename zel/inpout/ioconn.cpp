// What every connection inherits, and the two factories for files.
#include "zel/inpout/ioconn.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>

#include "zel/inpout/ioahead.h"
#include "zel/inpout/iobuf.h"
#include "zel/inpout/iofile.h"
#include "zel/inpout/iogunzip.h"
#include "zel/util/run_context.h"

namespace zel::inpout {

namespace {

constexpr char k_no_seek[] = "lseek not available";
constexpr char k_file[] = "File: ";
constexpr char k_not_found[] = " not found or inaccessible";
constexpr char k_not_gzip[] = " is not in gzip format";
constexpr char k_cannot_create[] = "Cannot open/create ";

constexpr unsigned long k_file_buffer = 4000000;
constexpr long k_copy_chunk = 64000;
constexpr int k_gzip_input_mode = 3;
constexpr int k_plain_input_mode = 19;
constexpr int k_output_mode = mode_write | mode_create | mode_truncate;
constexpr int k_permissions = 0644;

bool names_gzip(std::string_view name) { return name.size() > 2 && name.ends_with(".gz"); }

std::unique_ptr<ioconn> open_gzip(const std::string& name, unsigned long workers) {
  auto file = std::make_unique<iogunzip>();
  if (!file->open(name, k_gzip_input_mode)) throw std::runtime_error(k_file + name + k_not_found);
  if (!file->is_compressed()) throw std::runtime_error(k_file + name + k_not_gzip);
  if (workers < 2) return file;
  return std::make_unique<ioahead>(std::move(file));
}

std::unique_ptr<ioconn> open_plain(const std::string& name) {
  auto file = std::make_unique<iofile>();
  if (!file->open(name, k_plain_input_mode, k_permissions)) {
    throw std::runtime_error(k_file + name + k_not_found);
  }
  return file;
}

std::unique_ptr<iobuf> buffered(std::unique_ptr<ioconn> inner, const std::string& name) {
  auto buffer = std::make_unique<iobuf>();
  inner->set_name(name);
  buffer->open(inner.get(), true, k_file_buffer);
  static_cast<void>(inner.release());  // the buffer owns it from here
  return buffer;
}

}  // namespace

ioconn::~ioconn() = default;

bool ioconn::eof() { return size() == tell(); }

bool ioconn::rewind() { return lseek(0, SEEK_SET) == 0; }

long ioconn::writeln(const char* text) {
  const long written = write(text, static_cast<long>(std::strlen(text)));
  return written + write("\n", 1);
}

long ioconn::copy(ioconn& source) {
  const auto chunk = std::make_unique<std::array<char, k_copy_chunk>>();
  long total = 0;
  for (;;) {
    const long got = source.read(chunk->data(), k_copy_chunk);
    if (got < 1) return total;
    const long put = write(chunk->data(), got);
    total += std::max(put, 0L);
    if (put < got) return total;  // the rest of the chunk is lost: going on would leave a hole
  }
}

long ioconn::copy(ioconn& source, long count) {
  if (count < 1) return 0;
  const auto chunk = std::make_unique<std::array<char, k_copy_chunk>>();
  long remaining = count;
  while (remaining > 0) {
    const long got = source.read(chunk->data(), std::min(remaining, k_copy_chunk));
    if (got < 1) break;
    const long put = write(chunk->data(), got);
    remaining -= std::max(put, 0L);
    if (put < got) break;
  }
  return count - remaining;
}

bool ioconn::is_random() const { return false; }

long ioconn::lseek(long, int) { throw std::runtime_error(k_no_seek); }

long ioconn::tell() { return lseek(0, SEEK_CUR); }

long ioconn::size() {
  const long position = tell();
  const long end = lseek(0, SEEK_END);
  lseek(position, SEEK_SET);
  return end;
}

ioconn* ioconn::get_default_input(const std::string& name) {
  return get_default_input(name, util::default_context().n_workers);
}

ioconn* ioconn::get_default_input(const std::string& name, unsigned long workers) {
  return buffered(names_gzip(name) ? open_gzip(name, workers) : open_plain(name), name).release();
}

void ioconn::check_default_input(const std::string& name) {
  names_gzip(name) ? open_gzip(name, 1) : open_plain(name);
}

ioconn* ioconn::get_default_output(const std::string& name) {
  auto file = std::make_unique<iofile>();
  file->open(name, k_output_mode, k_permissions);
  if (!file->is_open()) throw std::runtime_error(k_cannot_create + name);
  auto output = buffered(std::move(file), name);
  if (!output->is_open()) throw std::runtime_error(k_cannot_create + name);
  return output.release();
}

void ioconn::forget_failures() {
  failed_ = false;
  error_.clear();
}

void ioconn::set_failed(const std::string& reason) {
  failed_ = true;
  error_ = reason;
}

}  // namespace zel::inpout
