#include "zel/inpout/replacing_file.h"

#include <fcntl.h>
#include <limits.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <new>
#include <set>
#include <stdexcept>

namespace zel::inpout {

namespace {

namespace fs = std::filesystem;

constexpr char k_prefix[] = ".unfinished-";
constexpr int k_permissions = 0666;
constexpr int k_max_names = 1000;

[[noreturn]] void fail(int code) {
  if (code == ENOMEM) throw std::bad_alloc();
  throw std::runtime_error(std::strerror(code));
}

std::string folder_of(const std::string& path) {
  const fs::path folder = fs::path(path).parent_path();
  return folder.empty() ? "." : folder.string();
}

/// What an interrupt removes. Files are created, renamed and removed under its mutex, so that none
/// is there without being listed; the thread that ends the process never gives it back. Deliberate:
/// never destroyed, as that thread may be at work when the process ends by itself.
struct unfinished_files {
  std::mutex mutex;
  std::set<std::string> paths;
  unsigned long counter = 0;
};
unfinished_files& unfinished() {
  alignas(unfinished_files) static std::byte room[sizeof(unfinished_files)];  // needs no memory
  static auto* const all = new (room) unfinished_files;
  return *all;
}

/// Creates a file of a new name in the folder; its name does not hang on that of the target, which
/// may be as long as names can be.
std::string create_in(const std::string& folder) {
  auto& [mutex, paths, counter] = unfinished();
  const std::lock_guard lock(mutex);
  const std::string start = folder + "/" + k_prefix + std::to_string(::getpid()) + "-";
  for (int i = 0; i < k_max_names; ++i) {
    std::string name = start + std::to_string(counter++);
    const auto listed = paths.insert(name).first;  // first: without memory there is no file either
    const int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, k_permissions);
    if (fd != -1) {
      ::close(fd);
      return name;
    }
    const int error = errno;
    paths.erase(listed);
    errno = error;
    if (error != EEXIST) break;  // one that a killed process left
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
  if (committed_ || target_.empty()) return;
  const std::lock_guard lock(unfinished().mutex);
  ::unlink(path_.c_str());
  unfinished().paths.erase(path_);
}

void replacing_file::commit(bool durable) {
  committed_ = target_.empty();
  if (committed_) return;
  struct stat status;
  const bool replaces = ::stat(target_.c_str(), &status) == 0;
  // A file system without permissions of its own may refuse; the content matters more.
  if (replaces) static_cast<void>(!::chmod(path_.c_str(), status.st_mode & 07777));
  if (const int error = durable || replaces ? sync(path_, 0) : 0) fail(error);
  {
    const std::lock_guard lock(unfinished().mutex);
    if (std::rename(path_.c_str(), target_.c_str()) != 0) fail(errno);
    unfinished().paths.erase(path_);
  }
  committed_ = true;
  // The new name itself; folders that cannot be synchronised keep the older promise.
  if (durable) sync(folder_of(target_), O_DIRECTORY);
}

namespace {

sigset_t interrupts() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  struct sigaction hangup;
  const bool ignored =
      sigaction(SIGHUP, nullptr, &hangup) == 0 && hangup.sa_handler == SIG_IGN;  // by nohup
  if (!ignored) sigaddset(&set, SIGHUP);
  return set;
}

void* wait_for_interrupt(void*) {
  const sigset_t set = interrupts();
  int signal = 0;
  while (sigwait(&set, &signal) != 0) {
  }
  remove_unfinished();
  _exit(128 + signal);
}

}  // namespace

void remove_unfinished() {
  unfinished().mutex.lock();  // for ever
  for (const std::string& path : unfinished().paths) ::unlink(path.c_str());
}

// A thread that waits, rather than a handler: it may take the mutex. Whoever starts a process in
// the background has its SIGINT ignored; Deliberate: it ends all the same.
void end_on_interrupts() {
  const sigset_t set = interrupts();
  for (const int signal : {SIGINT, SIGTERM}) std::signal(signal, SIG_DFL);
  sigset_t before;
  if (pthread_sigmask(SIG_BLOCK, &set, &before) != 0) return;
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  pthread_attr_setstacksize(&attributes, std::max<std::size_t>(PTHREAD_STACK_MIN, 1UL << 16));
  pthread_t waiting;
  const bool waits = pthread_create(&waiting, &attributes, wait_for_interrupt, nullptr) == 0;
  pthread_attr_destroy(&attributes);
  if (!waits) pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

namespace {

int lost_pages_to = -1;
int lost_pages_status = 0;
const char* lost_pages_line = "";

/// What reads mapped pages holds no mutex of this file.
extern "C" void end_at_lost_page(int) {
  static std::atomic_flag ends;
  while (ends.test_and_set()) ::pause();  // another thread met one first
  static_cast<void>(!::write(lost_pages_to, lost_pages_line, std::strlen(lost_pages_line)));
  remove_unfinished();
  _exit(lost_pages_status);
}

}  // namespace

void end_on_lost_pages(int descriptor, const char* line, int status) {
  lost_pages_to = descriptor;
  lost_pages_line = line;
  lost_pages_status = status;
  std::signal(SIGBUS, end_at_lost_page);
}

}  // namespace zel::inpout
