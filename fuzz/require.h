// What a fuzz target demands of the code it drives.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace orvik::fuzz {

/// Ends the process, which libFuzzer reports with the input, unless `holds`.
inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

/// The text of the std::runtime_error that `call` throws; empty when it throws none.
template <class F>
std::string error_of(F call) {
  try {
    call();
  } catch (const std::runtime_error& error) {
    const std::string text = error.what();
    require(!text.empty(), "an error has a text");
    return text;
  }
  return {};
}

}  // namespace orvik::fuzz
