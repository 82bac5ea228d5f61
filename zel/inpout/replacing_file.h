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
  /// Brings the closed file to the disk and then under its name. Throws std::runtime_error with
  /// the system's reason when it cannot.
  void commit();

 private:
  std::string target_;  // the name without links; empty: written directly
  std::string path_;
  bool committed_ = false;
};

}  // namespace zel::inpout
