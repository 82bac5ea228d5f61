// A file in memory as it lies on the disk.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "zel/util/nocopy.h"

namespace zel::inpout {

/// The bytes of a whole regular file, to be read only. Pages come from the disk when they are first
/// read and may go again; processes that map the same file share them.
/// A file that is cut while it is mapped ends the process with SIGBUS when a lost page is read; one
/// that is replaced by a rename stays as it was mapped.
class file_mapping : private util::nocopy {
 public:
  /// Throws std::runtime_error with the system's reason when the file cannot be opened or mapped,
  /// and for what is no regular file.
  explicit file_mapping(const std::string& name);
  ~file_mapping();

  std::string_view bytes() const { return {static_cast<const char*>(at_), size_}; }

  /// Lets go of the pages of some of the bytes; they come again when they are read again.
  static void release(std::string_view bytes);

  /// Whether `name` is a regular file that begins with `start`; false where it cannot be read.
  static bool begins_with(const std::string& name, std::string_view start);

 private:
  void* at_ = nullptr;  // null for a file without bytes
  std::size_t size_ = 0;
};

}  // namespace zel::inpout
