#include "errors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <new>
#include <stdexcept>
#include <system_error>

#include "zel/inpout/replacing_file.h"
#include "zel/text/message.h"

namespace orvcmd {

namespace {

constexpr char k_unknown_error[] = "unknown error";
constexpr char k_out_of_memory[] = "out of memory";
constexpr char k_lost_page[] = "a table in use was cut, or cannot be read any more\n";
constexpr char k_lost_output[] = "Cannot write to standard output\n";

/// @return whether all of it was written.
bool write_past_streams(std::string_view text) {
  const ssize_t put = write(STDOUT_FILENO, text.data(), text.size());
  return put == static_cast<ssize_t>(text.size());
}

/// Prints the text of `end` and flushes; @return the exit status. A stream may have failed for lack
/// of memory alone; where standard output fails, the standard error stream is the only place left
/// to say so.
int print(const early_end& end) {
  std::cout << end.text << std::flush;
  if (std::cout.good()) return end.status;
  if (end.status == 0 || !write_past_streams(end.text)) std::cerr << k_lost_output;
  return k_failure;
}

/// Of the error at hand, if there is one, whose text there may be no memory for.
early_end end_of_error() noexcept {
  try {
    return std::current_exception() != nullptr ? current_end() : failure(k_unknown_error);
  } catch (...) {
    return {k_failure, "out of memory\n"};
  }
}

/// Ends the process where no handler can: an error in a thread of the scheduler, as when the system
/// gives it no further thread. Other threads may be writing, so the line goes past the streams.
[[noreturn]] void end_at_terminate() {
  write_past_streams(end_of_error().text);
  zel::inpout::remove_unfinished();
  std::_Exit(k_failure);
}

}  // namespace

early_end current_end() {
  try {
    throw;
  } catch (const early_end& end) {
    return end;
  } catch (const std::bad_alloc&) {
    return failure(k_out_of_memory);
  } catch (const std::system_error& error) {
    return failure(error.code() == std::errc::not_enough_memory ? k_out_of_memory : error.what());
  } catch (const std::exception& error) {
    return failure(error.what());
  } catch (const std::runtime_error* error) {
    const std::unique_ptr<const std::runtime_error> owned(error);
    return failure(owned ? owned->what() : k_unknown_error);
  } catch (...) {
    return failure(k_unknown_error);
  }
}

early_end failure(std::string_view message) {
  return {k_failure, zel::text::one_line(message) + '\n'};
}

int exit_status_of(const std::function<void()>& body) {
  early_end end{0, ""};
  try {
    body();
  } catch (...) {
    end = end_of_error();
  }
  return print(end);
}

void end_process(const early_end& end) { std::exit(print(end)); }

void guard_process() {
  std::set_terminate(end_at_terminate);
  for (int descriptor = 0; descriptor < 3; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) continue;
    // The lowest free number is this one. Deliberate: the wrong direction, so that using it fails.
    static_cast<void>(open("/dev/null", descriptor == 0 ? O_WRONLY : O_RDONLY));
  }
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  zel::inpout::end_on_lost_pages(STDOUT_FILENO, k_lost_page, k_failure);
}

}  // namespace orvcmd
