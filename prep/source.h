// The bytes of an input file, which can be read more than once.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zel/inpout/ioconn.h"

namespace orvprep {

/// A file, plain or gzip whatever its name, or a pipe ("-" for standard input), which is copied to
/// a temporary file that vanishes with the process. A byte order mark of UTF-8 is left out.
/// Errors are std::runtime_error with the file's name.
class source {
 public:
  explicit source(const std::string& name);
  ~source();

  const std::string& name() const { return name_; }
  void rewind();
  /// The next bytes, valid until the next call; none at the end.
  std::string_view read();

 private:
  void spool();
  void open();
  [[noreturn]] void fail(const std::string& reason) const;

  std::string name_;
  std::string path_;  // what is opened: the file, or the copy of a pipe
  int copy_ = -1;     // descriptor of the copy
  std::unique_ptr<zel::inpout::ioconn> conn_;
  std::vector<char> buffer_;
  bool at_start_ = true;
};

}  // namespace orvprep
