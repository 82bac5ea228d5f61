#include "zel/inpout/replacing_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace zel::inpout {

namespace {

namespace fs = std::filesystem;

constexpr char k_prefix[] = ".unfinished-";
constexpr int k_permissions = 0644;
constexpr int k_max_names = 1000;

[[noreturn]] void fail(int code) { throw std::runtime_error(std::strerror(code)); }

std::string folder_of(const std::string& path) {
  const fs::path folder = fs::path(path).parent_path();
  return folder.empty() ? "." : folder.string();
}

/// Creates a file of a new name in the folder; its name does not hang on that of the target, which
/// may be as long as names can be.
std::string create_in(const std::string& folder) {
  static std::atomic<unsigned long> counter = 0;
  const std::string start = folder + "/" + k_prefix + std::to_string(::getpid()) + "-";
  for (int i = 0; i < k_max_names; ++i) {
    const std::string name = start + std::to_string(counter++);
    const int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, k_permissions);
    if (fd != -1) {
      ::close(fd);
      return name;
    }
    if (errno != EEXIST) break;  // one that a killed process left
  }
  fail(errno);
}

/// @return 0, or the error.
int sync(const std::string& path, int flags) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | flags);
  if (fd == -1) return errno;
  const int error = ::fsync(fd) == 0 ? 0 : errno;
  ::close(fd);
  return error;
}

}  // namespace

replacing_file::replacing_file(const std::string& name) : path_(name) {
  struct stat status;
  const bool exists = ::stat(name.c_str(), &status) == 0;
  if (exists && !S_ISREG(status.st_mode)) return;
  std::error_code error;
  target_ = exists ? fs::canonical(name, error).string() : name;
  if (error) fail(error.value());
  path_ = create_in(folder_of(target_));
}

replacing_file::~replacing_file() {
  if (!committed_ && !target_.empty()) ::unlink(path_.c_str());
}

void replacing_file::commit() {
  committed_ = target_.empty();
  if (committed_) return;
  if (const int error = sync(path_, 0)) fail(error);
  struct stat status;
  // A file system without permissions of its own may refuse; the content matters more.
  if (::stat(target_.c_str(), &status) == 0) {
    static_cast<void>(!::chmod(path_.c_str(), status.st_mode & 07777));
  }
  if (std::rename(path_.c_str(), target_.c_str()) != 0) fail(errno);
  committed_ = true;
  // The new name itself; folders that cannot be synchronised keep the older promise.
  sync(folder_of(target_), O_DIRECTORY);
}

}  // namespace zel::inpout
