#include "zel/inpout/file_mapping.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <new>
#include <stdexcept>

#include "zel/inpout/binstream.h"
#include "zel/inpout/iofile.h"

namespace zel::inpout {

namespace {

constexpr char k_not_regular[] = "not a regular file";

}  // namespace

file_mapping::file_mapping(const std::string& name) {
  iofile file;
  if (!file.open(name, mode_read, 0)) throw std::runtime_error(system_reason(errno));
  if (!file.is_random()) throw std::runtime_error(k_not_regular);
  const long size = file.size();
  if (size == 0) return;
  void* const at = file.mem_map(0, size);  // stays when the descriptor goes
  if (at == MAP_FAILED && errno == ENOMEM) throw std::bad_alloc();
  if (at == MAP_FAILED) throw std::runtime_error(system_reason(errno));
  at_ = at;
  size_ = static_cast<std::size_t>(size);
}

file_mapping::~file_mapping() {
  if (at_ != nullptr) ::munmap(at_, size_);
}

void file_mapping::release(std::string_view bytes) {
  const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
  const auto begin = reinterpret_cast<std::uintptr_t>(bytes.data()) / page * page;
  const auto end = reinterpret_cast<std::uintptr_t>(bytes.data() + bytes.size());
  if (!bytes.empty()) ::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_DONTNEED);
}

bool file_mapping::begins_with(const std::string& name, std::string_view start) {
  if (iofile::is_pipe(name.c_str())) return false;  // before it is opened: that might wait
  iofile file;
  if (!file.open(name, mode_read, 0) || !file.is_random()) return false;
  // A read may give less than was asked for.
  for (std::string found(start.size(), '\0'); !start.empty();) {
    const long got = file.read(found.data(), static_cast<long>(start.size()));
    if (got <= 0 || !start.starts_with(std::string_view(found.data(), got))) return false;
    start.remove_prefix(static_cast<std::size_t>(got));
  }
  return true;
}

}  // namespace zel::inpout
