/// How the program ends: every failure is one line on standard output and status 255, whatever was
/// thrown and wherever. main() runs its whole work inside exit_status_of().
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace orvcmd {

/// Exit status of every failure.
inline constexpr int k_failure = 255;

/// Thrown to end the process on purpose, with neither crash nor further work. `text` goes to
/// standard output as it stands: it brings its own newline, and may be empty. Not an exception
/// class, so that no handler of std::exception on the way swallows it.
struct early_end {
  int status;
  std::string text;
};

/// @return the end with status 255 and `message` made one line, newline included.
early_end failure(std::string_view message);

/// The end that stands for the exception being handled; deletes one thrown as a pointer.
early_end current_end();

/// Runs `body` and turns whatever it throws into what the user sees: the text of an early_end, or
/// the message of an error as one line. Knows errors thrown by value and, as pointers to
/// std::runtime_error on the heap, those that it must delete.
/// @return the exit status: 0 if `body` returned, 255 for an error or a failing standard output.
int exit_status_of(const std::function<void()>& body);

/// Prints the text of `end` and ends the process; the one call of std::exit in the program.
[[noreturn]] void end_process(const early_end& end);

/// Prepares the process for descriptors closed by the caller, closed pipes and file size limits,
/// and for errors in threads that are not its own, which end it as other errors do.
/// Closed standard descriptors are filled so that no file opened later takes their number (its
/// content would receive the log); writing to a filled one fails. Writing past a closed pipe or
/// a size limit becomes a write error instead of a signal that kills the process, and a mapped file
/// that is cut a failure.
void guard_process();

}  // namespace orvcmd
