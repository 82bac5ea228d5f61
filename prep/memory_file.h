// A file in memory, without a name among files: gone with the process, whatever ends it.
#pragma once

#include <string>
#include <string_view>

#include "zel/util/nocopy.h"

namespace orvprep {

class memory_file : private zel::util::nocopy {
 public:
  /// Throws std::runtime_error where there is no memory for it, as write() does.
  memory_file();
  ~memory_file();

  void write(std::string_view bytes);
  /// Where what was written so far is read from its start.
  std::string path() const { return "/proc/self/fd/" + std::to_string(fd_); }

 private:
  int fd_;
};

}  // namespace orvprep
