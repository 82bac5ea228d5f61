// Connection over a file descriptor.
#include "zel/inpout/iofile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace zel::inpout {

namespace {

constexpr char k_no_size[] = "iofile::size(): cannot access file size.";

int open_flags(int mode) {
  int flags = O_RDONLY;
  if (mode & mode_write) flags = mode & mode_read ? O_RDWR : O_WRONLY;
  if (mode & mode_append) flags |= O_APPEND;
  if (mode & mode_create) flags |= O_CREAT;
  if (mode & mode_truncate) flags |= O_TRUNC;
  return flags | O_CLOEXEC;
}

/// Repeats a system call while signals interrupt it.
template <typename Call>
auto uninterrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

}  // namespace

iofile::~iofile() { iofile::close(); }

void iofile::close() {
  if (fd_ == -1) return;
  // Some file systems report a failed write only here. Never repeated: the descriptor is gone.
  if (::close(fd_) != 0 && errno != EINTR && (mode_ & mode_write)) set_failed(std::strerror(errno));
  fd_ = -1;
  mode_ = 0;
}

long iofile::write(const void* bytes, long count) {
  if (count < 1) return 0;
  const long put =
      uninterrupted([&] { return ::write(fd_, bytes, static_cast<std::size_t>(count)); });
  if (put < 0) set_failed(std::strerror(errno));
  return put;
}

long iofile::copy(ioconn& source) {
  if (source.is_random()) resize(source.size() - source.tell() + tell());
  return ioconn::copy(source);
}

long iofile::read(void* bytes, long count) {
  if (count < 1) return 0;
  const long got =
      uninterrupted([&] { return ::read(fd_, bytes, static_cast<std::size_t>(count)); });
  if (got < 0) set_error(std::strerror(errno));
  return got;
}

bool iofile::is_random() const {
  struct stat status;
  return ::fstat(fd_, &status) == 0 && S_ISREG(status.st_mode);
}

long iofile::lseek(long offset, int whence) {
  if (whence != SEEK_SET && whence != SEEK_CUR && whence != SEEK_END) return -1;
  return ::lseek(fd_, offset, whence);
}

long iofile::size() {
  struct stat status;
  if (::fstat(fd_, &status) != 0) throw std::runtime_error(k_no_size);
  return status.st_size;
}

bool iofile::open(const std::string& name, int mode, int perms) {
  close();
  forget_failures();
  fd_ = uninterrupted(
      [&] { return ::open(name.c_str(), open_flags(mode), static_cast<mode_t>(perms)); });
  if (fd_ == -1) return false;
  mode_ = mode;
  return true;
}

bool iofile::open_mmap(const std::string& name, int mode, int perms) {
  open(name, mode, perms);
  return true;
}

bool iofile::open(int fd) {
  close();
  forget_failures();
  fd_ = std::max(fd, -1);
  struct stat status;
  if (::fstat(fd_, &status) == 0) {
    mode_ =
        (status.st_mode & S_IRUSR ? mode_read : 0) | (status.st_mode & S_IWUSR ? mode_write : 0);
  }
  return fd >= 0;
}

long iofile::resize(long length) {
  if (fd_ == -1 || length < 0) return 0;
  if (!(mode_ & mode_write)) return -1;
  const long position = tell();
  const long old_length = size();
  if (position < 0) return 0;
  if (length == old_length) return 1;
  if (length < old_length) return ::ftruncate(fd_, length) == 0;
  return lseek(length - 1, SEEK_SET) == length - 1 && write("", 1) == 1 &&
         lseek(std::min(position, length), SEEK_SET) >= 0;
}

void* iofile::mem_map(long offset, long length) {
  const int protection =
      (mode_ & mode_read ? PROT_READ : 0) | (mode_ & mode_write ? PROT_WRITE : 0);
  return ::mmap(nullptr, static_cast<std::size_t>(length), protection, MAP_SHARED, fd_, offset);
}

bool iofile::mem_unmap(void* address, long length) {
  return address == nullptr || ::munmap(address, static_cast<std::size_t>(length)) == 0;
}

bool iofile::mem_sync(void* address, long length) {
  return address == nullptr || ::msync(address, static_cast<std::size_t>(length), MS_SYNC) == 0;
}

bool iofile::is_pipe(const char* path) {
  struct stat status;
  return ::stat(path, &status) == 0 && S_ISFIFO(status.st_mode);
}

unsigned long iofile::allocation_granularity() {
  static const auto size = static_cast<unsigned long>(std::max(::sysconf(_SC_PAGESIZE), 0L));
  return size;
}

}  // namespace zel::inpout
