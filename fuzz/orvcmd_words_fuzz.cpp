// Command lines of orvcmd: any words are refused with one line and status 255, or do what they say
// on small files, to the end or to one line that says why not. Input: the words, one a line; see
// words_of().
#include <cstddef>
#include <cstdint>

#include "orvcmd_run.h"

using namespace orvik::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto words = words_of({reinterpret_cast<const char*>(data), size}, orvcmd_words());
  if (!is_harmless(words)) return 0;
  golf_files().restore();
  run_orvcmd(words, golf_files());
  return 0;
}
