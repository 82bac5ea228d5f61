// Makes the n-th call of one kind fail, once or from then on: preloaded into a program that is
// otherwise as users run it.
//
// FAULT=KIND:N[+] with the kinds memory, open, read, short_read, write, short_write, full, sync,
// rename, map and thread; "+": every later call fails too. Calls count from main() on, but for
// those while a library is loaded. The file FAULT_TOLD, if it is named, is made when the call
// failed.
//
// FAULT_CALLS=FILE: the number of calls of the kind, where the program ends by itself.
// FAULT_LOG=FILE: a line for each call that changes what is on a disk after a power cut.
#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
}

namespace {

char kind[16];
long fails_at = 0;
bool goes_on = false;
const char* told = nullptr;
std::atomic<bool> counting{false};
std::atomic<long> calls{0};

template <class F>
F* next(const char* name) {
  return reinterpret_cast<F*>(dlsym(RTLD_NEXT, name));
}

/// Looked up before any call fails: looking up frees the loader's last error, which the failing
/// call may be in the middle of.
int (*open_told)(const char*, int, ...) = nullptr;

void tell() {
  if (told == nullptr) return;
  const int fd = open_told(told, O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
  if (fd >= 0) close(fd);
}

/// What fails while a library is loaded is the C library's own: glibc writes through a pointer that
/// is none where dlopen() in a library's constructor has no memory for its error.
thread_local int loading = 0;

bool is_on(const char* what) {
  return counting.load(std::memory_order_relaxed) && loading == 0 && std::strcmp(kind, what) == 0;
}

/// Counts a call of this kind. @return whether it is to fail.
bool fails(const char* what) {
  if (!is_on(what)) return false;
  const long number = ++calls;
  if (number == fails_at) tell();
  return number == fails_at || (goes_on && number > fails_at);
}

int log_fd = -1;

template <class... Words>
void note(const char* format, Words... words) {
  if (log_fd == -1 || !counting.load(std::memory_order_relaxed)) return;
  char line[2 * PATH_MAX];
  const int n = std::snprintf(line, sizeof line, format, words...);
  static auto* const write_next = next<ssize_t(int, const void*, std::size_t)>("write");
  static_cast<void>(!write_next(log_fd, line, static_cast<std::size_t>(n)));
}

void open_log() {
  const char* const log = std::getenv("FAULT_LOG");
  if (log == nullptr) return;
  const int fd = open(log, O_CREAT | O_WRONLY | O_APPEND, 0600);
  log_fd = fcntl(fd, F_DUPFD_CLOEXEC, 100);  // out of the way of the program's own
  close(fd);
}

/// How many calls there were, for who has yet to choose.
[[gnu::destructor]] void tell_calls() {
  const char* const to = std::getenv("FAULT_CALLS");
  if (to == nullptr) return;
  counting = false;
  if (std::FILE* const file = std::fopen(to, "w")) {
    std::fprintf(file, "%ld", calls.load());
    std::fclose(file);
  }
}

void read_order() {
  open_log();
  const char* order = std::getenv("FAULT");
  const char* const colon = order == nullptr ? nullptr : std::strchr(order, ':');
  if (colon == nullptr || colon - order >= static_cast<long>(sizeof kind)) return;
  std::memcpy(kind, order, static_cast<std::size_t>(colon - order));
  char* end = nullptr;
  fails_at = std::strtol(colon + 1, &end, 10);
  goes_on = *end == '+';
  told = std::getenv("FAULT_TOLD");
  open_told = next<int(const char*, int, ...)>("open");
}

using main_function = int (*)(int, char**, char**);
main_function real_main;

int counted_main(int argc, char** argv, char** environment) {
  counting = true;
  return real_main(argc, argv, environment);
}

template <class T>
T failed(int error, T result) {
  errno = error;
  return result;
}

}  // namespace

extern "C" {

int __libc_start_main(main_function program, int argc, char** argv, void (*init)(), void (*fini)(),
                      void (*rtld_fini)(), void* stack_end) {
  read_order();
  real_main = program;
  using start = int(main_function, int, char**, void (*)(), void (*)(), void (*)(), void*);
  return next<start>("__libc_start_main")(counted_main, argc, argv, init, fini, rtld_fini,
                                          stack_end);
}

void* malloc(std::size_t n) {
  return fails("memory") ? failed<void*>(ENOMEM, nullptr) : __libc_malloc(n);
}
void* calloc(std::size_t n, std::size_t size) {
  return fails("memory") ? failed<void*>(ENOMEM, nullptr) : __libc_calloc(n, size);
}
void* realloc(void* old, std::size_t n) {
  return fails("memory") ? failed<void*>(ENOMEM, nullptr) : __libc_realloc(old, n);
}
void* aligned_alloc(std::size_t alignment, std::size_t n) {
  return fails("memory") ? failed<void*>(ENOMEM, nullptr) : __libc_memalign(alignment, n);
}
void* memalign(std::size_t alignment, std::size_t n) { return aligned_alloc(alignment, n); }
int posix_memalign(void** made, std::size_t alignment, std::size_t n) {
  *made = aligned_alloc(alignment, n);
  return *made == nullptr ? ENOMEM : 0;
}

int open(const char* path, int flags, ...) {
  std::va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  if (fails("open")) return failed(EMFILE, -1);
  static auto* const open_next = next<int(const char*, int, ...)>("open");
  const int fd = open_next(path, flags, mode);
  note("open %d %d %s\n", fd, (flags & O_ACCMODE) != O_RDONLY, path);
  return fd;
}
int open64(const char* path, int flags, ...) {
  std::va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  return open(path, flags, mode);
}
std::FILE* fopen64(const char* path, const char* mode) {
  if (fails("open")) return failed<std::FILE*>(EMFILE, nullptr);
  static auto* const fopen_next = next<std::FILE*(const char*, const char*)>("fopen64");
  std::FILE* const file = fopen_next(path, mode);
  if (file != nullptr)
    note("open %d %d %s\n", fileno(file), std::strpbrk(mode, "wa+") != nullptr, path);
  return file;
}
std::FILE* fopen(const char* path, const char* mode) { return fopen64(path, mode); }

ssize_t read(int fd, void* bytes, std::size_t n) {
  static auto* const read_next = next<ssize_t(int, void*, std::size_t)>("read");
  if (fails("read")) return failed<ssize_t>(EIO, -1);
  if (fails("eintr_read")) return failed<ssize_t>(EINTR, -1);
  return read_next(fd, bytes, n > 1 && fails("short_read") ? n / 2 : n);
}

/// Standard output and error are the drivers' way to learn of it: only files and pipes beyond fail.
ssize_t write(int fd, const void* bytes, std::size_t n) {
  static auto* const write_next = next<ssize_t(int, const void*, std::size_t)>("write");
  if (fd > 2) {
    if (fails("write")) return failed<ssize_t>(EIO, -1);
    if (fails("full")) return failed<ssize_t>(ENOSPC, -1);
    if (fails("eintr_write")) return failed<ssize_t>(EINTR, -1);
    if (n > 1 && fails("short_write")) n /= 2;
    note("write %d\n", fd);
  }
  return write_next(fd, bytes, n);
}
ssize_t writev(int fd, const iovec* parts, int n) {
  static auto* const writev_next = next<ssize_t(int, const iovec*, int)>("writev");
  if (fd > 2) {
    if (fails("write")) return failed<ssize_t>(EIO, -1);
    if (fails("full")) return failed<ssize_t>(ENOSPC, -1);
    if (fails("eintr_write")) return failed<ssize_t>(EINTR, -1);
    note("write %d\n", fd);
  }
  return writev_next(fd, parts, n);
}

int fsync(int fd) {
  static auto* const fsync_next = next<int(int)>("fsync");
  if (fails("sync")) return failed(EIO, -1);
  note("sync %d\n", fd);
  return fsync_next(fd);
}
int rename(const char* from, const char* to) {
  static auto* const rename_next = next<int(const char*, const char*)>("rename");
  if (fails("rename")) return failed(EACCES, -1);
  note("rename %s %s\n", from, to);
  return rename_next(from, to);
}
int unlink(const char* path) {
  static auto* const unlink_next = next<int(const char*)>("unlink");
  note("unlink %s\n", path);
  return unlink_next(path);
}
int ftruncate(int fd, off_t length) {
  static auto* const ftruncate_next = next<int(int, off_t)>("ftruncate");
  note("write %d\n", fd);
  return ftruncate_next(fd, length);
}
void* mmap(void* at, std::size_t n, int protection, int flags, int fd, off_t offset) {
  static auto* const mmap_next = next<void*(void*, std::size_t, int, int, int, off_t)>("mmap");
  return fails("map") ? failed(ENOMEM, MAP_FAILED)
                      : mmap_next(at, n, protection, flags, fd, offset);
}
void* mmap64(void* at, std::size_t n, int protection, int flags, int fd, off_t offset) {
  return mmap(at, n, protection, flags, fd, offset);
}
void* dlopen(const char* name, int flags) {
  static auto* const dlopen_next = next<void*(const char*, int)>("dlopen");
  ++loading;
  void* const library = dlopen_next(name, flags);
  --loading;
  return library;
}
int pthread_create(pthread_t* made, const pthread_attr_t* how, void* (*run)(void*), void* with) {
  using create = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
  static auto* const create_next = next<create>("pthread_create");
  return fails("thread") ? EAGAIN : create_next(made, how, run, with);
}

}  // extern "C"
