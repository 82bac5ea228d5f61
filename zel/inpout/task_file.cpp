#include "zel/inpout/task_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "zel/inpout/binstream.h"

namespace zel::inpout {

namespace {

constexpr char k_title[] = "orvtasks";
constexpr std::uint32_t k_layout = 1;

constexpr char k_no_file[] = "it is no regular file";
constexpr char k_in_use[] = "another run is using it";
constexpr char k_not_tasks[] = "it does not hold finished tasks";
constexpr char k_other_layout[] = "it was written by another version";
constexpr char k_damaged[] = "it is damaged";
constexpr char k_other_options[] = "its tasks are of a run with other options";
constexpr char k_other_data[] = "its tasks are of another table";

static_assert(std::endian::native == std::endian::little, "numbers are written as they lie");

struct title {
  std::array<char, 8> name;
  std::uint32_t layout, reserved;
  run_mark run;
};
struct heading {
  std::uint64_t loop, n, task, length;
};

using checksum = std::uint32_t;

[[noreturn]] void refuse(const std::string& name, const std::string& reason) {
  throw std::runtime_error("File " + name + ": " + reason);
}

template <class T>
std::string_view bytes_of(const T& value) {
  return {reinterpret_cast<const char*>(&value), sizeof value};
}

checksum sum_of(std::string_view bytes, checksum before = 0) {
  return static_cast<checksum>(
      crc32_z(before, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

std::string with_sum(std::string bytes) {
  const checksum sum = sum_of(bytes);
  return bytes.append(bytes_of(sum));
}

std::string begin_of(const run_mark& run) {
  title all{{}, k_layout, 0, run};
  std::copy_n(k_title, all.name.size(), all.name.begin());
  return with_sum(std::string(bytes_of(all)));
}

/// As many bytes as there are, up to `n`.
std::string read_at(const std::string& name, int file, unsigned long at, unsigned long n) {
  std::string bytes(n, '\0');
  unsigned long got = 0;
  while (got < n) {
    const ssize_t some = pread(file, bytes.data() + got, n - got, static_cast<off_t>(at + got));
    if (some < 0 && errno == EINTR) continue;
    if (some < 0) refuse(name, system_reason(errno));
    if (some == 0) break;
    got += static_cast<unsigned long>(some);
  }
  bytes.resize(got);
  return bytes;
}

/// One call: no other write comes between.
void append(const std::string& name, int file, const std::string& bytes) {
  const ssize_t put = write(file, bytes.data(), bytes.size());
  if (put < 0) refuse(name, system_reason(errno));
  if (static_cast<std::size_t>(put) != bytes.size()) refuse(name, system_reason(ENOSPC));
}

unsigned long size_of(const std::string& name, int file) {
  struct stat status;
  if (fstat(file, &status) != 0) refuse(name, system_reason(errno));
  if (!S_ISREG(status.st_mode)) refuse(name, k_no_file);
  return static_cast<unsigned long>(status.st_size);
}

/// Whose bytes these are, by what they differ in.
[[noreturn]] void refuse_begin(const std::string& name, const std::string& found,
                               const run_mark& run) {
  title other;
  if (found.size() < sizeof other + sizeof(checksum)) refuse(name, k_not_tasks);
  std::memcpy(&other, found.data(), sizeof other);
  if (std::memcmp(other.name.data(), k_title, other.name.size()) != 0) refuse(name, k_not_tasks);
  if (with_sum(found.substr(0, sizeof other)) != found) refuse(name, k_damaged);
  if (other.layout != k_layout || other.run.program != run.program) refuse(name, k_other_layout);
  refuse(name, other.run.options != run.options ? k_other_options : k_other_data);
}

}  // namespace

task_file::task_file(const std::string& own, const std::vector<std::string>& others,
                     const run_mark& run)
    : name_(own) {
  try {
    const int file = open_file(own, O_RDWR | O_CREAT | O_APPEND);
    if (flock(file, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) refuse(own, k_in_use);
    begin(own, file, run);
    const unsigned long end = index(own, file);
    if (end < size_of(own, file) && ftruncate(file, static_cast<off_t>(end)) != 0) {
      refuse(own, system_reason(errno));
    }
    for (const std::string& name : others) {
      const int other = open_file(name, O_RDONLY);
      if (size_of(name, other) == 0) continue;
      begin(name, other, run);
      index(name, other);
    }
  } catch (...) {
    for (const int file : files_) close(file);
    throw;
  }
}

task_file::~task_file() {
  for (const int file : files_) close(file);
}

int task_file::open_file(const std::string& name, int flags) {
  const int file = open(name.c_str(), flags | O_CLOEXEC | O_NONBLOCK, 0666);
  if (file < 0) refuse(name, system_reason(errno));
  files_.push_back(file);
  size_of(name, file);
  return file;
}

/// Reads the beginning, or writes it into a file whose first writer came no further.
void task_file::begin(const std::string& name, int file, const run_mark& run) const {
  const std::string wanted = begin_of(run), found = read_at(name, file, 0, wanted.size());
  if (found == wanted) return;
  if (!wanted.starts_with(found) || file != files_.front()) refuse_begin(name, found, run);
  if (ftruncate(file, 0) != 0) refuse(name, system_reason(errno));
  append(name, file, wanted);
}

/// @return where the last whole record ends.
unsigned long task_file::index(const std::string& name, int file) {
  const unsigned long size = size_of(name, file);
  unsigned long at = begin_of({}).size();
  while (true) {
    const std::string head = read_at(name, file, at, sizeof(heading));
    if (head.size() < sizeof(heading)) return at;
    heading of;
    std::memcpy(&of, head.data(), sizeof of);
    const unsigned long first = at + sizeof of;
    if (of.length > size - first || size - first - of.length < sizeof(checksum)) return at;
    const std::string rest = read_at(name, file, first, of.length + sizeof(checksum));
    const checksum sum = sum_of(std::string_view(rest).substr(0, of.length), sum_of(head));
    if (!rest.ends_with(bytes_of(sum)) || of.task >= of.n) refuse(name, k_damaged);
    pieces_[{of.loop, of.task}] = {file, of.n, first, of.length};
    at = first + rest.size();
  }
}

unsigned long task_file::begin_loop(unsigned long n) {
  const std::lock_guard lock(mutex_);
  loops_.push_back(n);
  return loops_.size() - 1;
}

std::optional<std::string> task_file::find(unsigned long loop, unsigned long task) const {
  const std::lock_guard lock(mutex_);
  const auto found = pieces_.find({loop, task});
  if (found == pieces_.end()) return std::nullopt;
  const piece& p = found->second;
  if (p.n != loops_.at(loop)) refuse(name_, k_damaged);
  std::string bytes = read_at(name_, p.file, p.at, p.length);
  if (bytes.size() != p.length) refuse(name_, k_damaged);
  return bytes;
}

void task_file::keep(unsigned long loop, unsigned long task, std::string_view result) {
  const std::lock_guard lock(mutex_);
  const heading of{loop, loops_.at(loop), task, result.size()};
  append(name_, files_.front(), with_sum(std::string(bytes_of(of)).append(result)));
}

}  // namespace zel::inpout
