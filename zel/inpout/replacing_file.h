// A file that appears under its name only when it is whole.
#pragma once

#include <string>

#include "zel/util/nocopy.h"

namespace zel::inpout {

/// While it lives, what is written to path() lies beside the file; commit() puts it in the place
/// of the file in one step. Without that the file, or its absence, is as before. A name that
/// leads to something other than a regular file (a pipe, a device) is written directly.
class replacing_file : private zel::util::nocopy {
 public:
  /// Creates the file beside `name`, or beside the file that the link `name` leads to, whose
  /// permissions it will take. Throws std::runtime_error with the system's reason when it cannot.
  explicit replacing_file(const std::string& name);
  /// Removes what was not committed.
  ~replacing_file();

  const std::string& path() const { return path_; }
  /// Puts the closed file under its name; `durable` ones, and those that replace one, when they are
  /// on the disk: no power cut loses both. Throws std::runtime_error with the system's reason when
  /// it cannot.
  void commit(bool durable = true);

 private:
  std::string target_;  // the name without links; empty: written directly
  std::string path_;
  bool committed_ = false;
};

/// Removes the files that are not committed, for a process that ends at once: no other is created
/// or committed from then on.
void remove_unfinished();

/// From now on SIGINT, SIGTERM and, unless it is ignored, SIGHUP remove the files that are not
/// committed and end the process with the status 128 + signal. To be called before there are other
/// threads; where the system has no thread for it, signals end the process as they do without it.
void end_on_interrupts();

/// From now on a page of a mapped file that is not there any more, as of a file that was cut, ends
/// the process with `line`, which must stay, to `descriptor` and `status`; files that are not
/// committed are removed.
void end_on_lost_pages(int descriptor, const char* line, int status);

}  // namespace zel::inpout
