// What a fuzz target demands of the code it drives.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace orvik::fuzz {

/// Ends the process, which libFuzzer reports with the input, unless `holds`.
inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

/// Whether an input is one of those that get the slow checks: all of the corpus, and while inputs
/// are looked for a few, chosen by their bytes so that a finding comes again.
inline bool gets_slow_checks([[maybe_unused]] std::string_view bytes) {
#ifdef ORVIK_FUZZ
  return std::hash<std::string_view>()(bytes) % 1024 == 0;
#else
  return true;
#endif
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
