// Pipes, FIFOs, child processes and memory figures of the host.
#include "zel/inpout/sys.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <stdexcept>

#include "zel/inpout/iofile.h"

namespace zel::inpout::sys {

namespace {

constexpr char k_no_fork[] = "sys::popen cannot fork process";

constexpr int k_no_command = 127;  // the shell's status for it

/// The descriptor, moved off the standard ones, which a child replaces one after the other.
int off_standard(int fd) {
  if (fd > STDERR_FILENO) return fd;
  const int moved = ::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  ::close(fd);
  return moved;
}

/// Makes a pipe that no program started elsewhere inherits.
bool make_pipe(int (&fds)[2]) {
  if (::pipe2(fds, O_CLOEXEC) != 0) return false;
  for (int& fd : fds) fd = off_standard(fd);
  if (fds[0] != -1 && fds[1] != -1) return true;
  for (const int fd : fds) {
    if (fd != -1) ::close(fd);
  }
  return false;
}

std::unique_ptr<ioconn> adopt(int fd) {
  if (fd == -1) return nullptr;
  auto end = std::make_unique<iofile>();
  end->open(fd);
  return end;
}

/// In the child: nothing but system calls, because other threads may have held any lock.
[[noreturn]] void run_command(const char* cmd, const char* const* argv, int input, int output) {
  if (input != -1) ::dup2(input, STDIN_FILENO);
  if (output != -1) ::dup2(output, STDOUT_FILENO);
  ::execvp(cmd, const_cast<char* const*>(argv));
  ::_exit(k_no_command);
}

/// Runs the command as a grandchild, so that no zombie waits for this process; false when a
/// process could not be made.
bool start(const char* cmd, const char* const* argv, int input, int output) {
  const pid_t child = ::fork();
  if (child == -1) return false;
  if (child == 0) {
    const pid_t grandchild = ::fork();
    if (grandchild == 0) run_command(cmd, argv, input, output);
    ::_exit(grandchild == -1);
  }
  int status = 0;
  while (::waitpid(child, &status, 0) == -1 && errno == EINTR) {
  }
  return status == 0;
}

long scaled(unsigned long units, unsigned long more, unsigned unit) {
  return static_cast<long>((units + more) * unit);
}

}  // namespace

bool pipe(ioconn** ends) {
  int fds[2];
  if (!make_pipe(fds)) return false;
  auto reading = adopt(fds[0]);
  auto writing = adopt(fds[1]);
  ends[0] = reading.release();  // both to the caller
  ends[1] = writing.release();
  return true;
}

bool mkfifo(const char* path, int mode) { return ::mkfifo(path, static_cast<mode_t>(mode)) == 0; }

bool popen(ioconn** ends, const char* cmd, const char* const* argv, int flags) {
  int output[2] = {-1, -1};
  int input[2] = {-1, -1};
  if ((flags & popen_output) && !make_pipe(output)) return false;
  auto from_child = adopt(output[0]);
  const auto child_output = adopt(output[1]);
  if ((flags & popen_input) && !make_pipe(input)) return false;
  const auto child_input = adopt(input[0]);
  auto to_child = adopt(input[1]);
  if (!start(cmd, argv, input[0], output[1])) throw std::runtime_error(k_no_fork);
  ends[0] = from_child.release();  // both to the caller
  ends[1] = to_child.release();
  return true;
}

long process_current_mem() {
  struct rusage usage;
  if (::getrusage(RUSAGE_SELF, &usage) != 0) return -1;
  return usage.ru_ixrss + usage.ru_idrss + usage.ru_isrss;
}

long process_peak_mem() { return -1; }

long phys_total_ram() {
  struct sysinfo host;
  if (::sysinfo(&host) != 0) return -1;
  return scaled(host.totalram, host.totalhigh, host.mem_unit);
}

long phys_available_ram() {
  struct sysinfo host;
  if (::sysinfo(&host) != 0) return -1;
  return scaled(host.freeram, host.freehigh, host.mem_unit);
}

long process_free_ram() {
  const long total = phys_total_ram();
  const long current = process_current_mem();
  return total == -1 || current == -1 ? -1 : total - current;
}

}  // namespace zel::inpout::sys
