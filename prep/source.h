// The text of an input file, which can be read more than once.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "encoding.h"
#include "zel/inpout/ioconn.h"

namespace orvprep {

/// Thrown by a first reading that finds the encoding to be another one: to be begun again.
class other_encoding : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A file, plain or gzip whatever its name, or a pipe ("-" for standard input), which is copied to
/// a temporary file that vanishes with the process. Its text comes in UTF-8, without a byte order
/// mark: UTF-16 is known by its mark; bytes that are no UTF-8 are taken as CP1252, unless other
/// bytes of the file are. Lines that are passed over come as empty ones.
/// Errors are std::runtime_error with the file's name.
class source {
 public:
  explicit source(const std::string& name, encoding wanted = encoding::find_out);
  ~source();

  const std::string& name() const { return name_; }
  /// As it is known by now.
  encoding encoded() const { return encoding_; }
  /// The line of the first byte that is no ASCII, of a text in CP1252 that was read to its end; 0
  /// where there is none.
  unsigned long first_odd_line() const { return first_odd_line_; }

  /// Passes over the first lines, and over those that begin with `comment` outside of quotes (0:
  /// none), from the next rewind() on.
  void pass_over(unsigned long first_lines, char comment);
  void rewind();
  /// The next text, valid until the next call; none at the end. Throws other_encoding.
  std::string_view read();

 private:
  void spool();
  void open();
  void find_mark(std::string_view& bytes);
  std::string_view decoded(std::string_view bytes);
  void check(std::string_view bytes);
  void count_to_odd(std::string_view bytes);
  std::string_view without_first_lines(std::string_view text);
  std::string_view without_comments(std::string_view text);
  [[noreturn]] void fail(const std::string& reason) const;

  std::string name_;
  std::string path_;  // what is opened: the file, or the copy of a pipe
  int copy_ = -1;     // descriptor of the copy
  std::unique_ptr<zel::inpout::ioconn> conn_;
  std::vector<char> buffer_;
  std::string text_;      // what was decoded
  std::string filtered_;  // what is left of it
  bool at_start_ = true;

  encoding encoding_;
  bool checked_;  // given by the user, or read to its end
  utf8_check utf8_;
  utf16_decoder utf16_;
  unsigned long first_odd_line_ = 0, lines_ = 1;

  unsigned long first_lines_ = 0, lines_left_ = 0;
  char comment_ = 0;
  bool at_line_ = true, in_comment_ = false, in_quotes_ = false;
};

}  // namespace orvprep
