#include "zel/inpout/file_mapping.h"

#include <sys/mman.h>

#include <cerrno>
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

bool file_mapping::begins_with(const std::string& name, std::string_view start) {
  if (iofile::is_pipe(name.c_str())) return false;  // before it is opened: that might wait
  iofile file;
  if (!file.open(name, mode_read, 0) || !file.is_random()) return false;
  std::string found(start.size(), '\0');
  const long got = file.read(found.data(), static_cast<long>(found.size()));
  return got == static_cast<long>(start.size()) && found == start;
}

}  // namespace zel::inpout
