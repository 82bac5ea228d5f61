// What verbs write, and where.
#pragma once

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "forms.h"
#include "zel/inpout/replacing_file.h"

namespace orvverbs {

/// "-" is standard output.
inline bool is_standard(const std::string& file) { return file == "-"; }

/// Throws std::runtime_error where one of the outputs cannot be written, is one of the inputs, or
/// two are one, under whatever names. Empty names are none. Changes nothing.
void check_files(const std::vector<std::string>& inputs, const std::vector<std::string>& outputs);

/// The reader of standard output has seen enough, as head does: no error.
struct closed_pipe {};

/// Throws std::runtime_error, naming standard output, if what was written there is lost, and
/// closed_pipe where nobody reads it.
void flush_standard_output();

/// "cannot write to FILE: REASON"
struct cannot_write : std::runtime_error {
  cannot_write(const std::string& file, const std::string& reason)
      : std::runtime_error("cannot write to " + file + ": " + reason) {}
};

/// Writes a file by write(stream); it appears under its name when it is whole. Throws
/// std::runtime_error, naming it, or another file that write() could not write.
template <class Write>
void write_file(const std::string& file, const Write& write) {
  if (is_standard(file)) {
    write(std::cout);
    return flush_standard_output();
  }
  try {
    zel::inpout::replacing_file target(file);
    std::ofstream out(target.path(), std::ios::binary | std::ios::trunc);
    if (out) out.exceptions(std::ios::badbit);  // else it swallows that memory ran out
    write(out);
    out.close();
    if (!out) throw std::runtime_error(std::strerror(errno));
    target.commit();
  } catch (const cannot_write&) {
    throw;
  } catch (const std::ios::failure&) {
    throw cannot_write(file, std::strerror(errno));
  } catch (const std::runtime_error& failure) {
    throw cannot_write(file, failure.what());
  }
}

/// "people.orvik (12.3 KB)"
std::string with_size(const std::string& file);

/// The terminal behind standard output; `color` is "auto", "always" or "never".
orvik::view::terminal terminal_of(bool to_stdout, const std::string& color);

}  // namespace orvverbs
