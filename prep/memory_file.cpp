#include "memory_file.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace orvprep {

namespace {

[[noreturn]] void fail() {
  throw std::runtime_error(std::string("no room for a table in memory: ") + std::strerror(errno));
}

}  // namespace

memory_file::memory_file() : fd_(::memfd_create("orvik", MFD_CLOEXEC)) {
  if (fd_ == -1) fail();
}

memory_file::~memory_file() { ::close(fd_); }

void memory_file::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t put = ::write(fd_, bytes.data(), bytes.size());
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) fail();
    bytes.remove_prefix(static_cast<std::size_t>(put));
  }
}

}  // namespace orvprep
