// Runs of orvcmd in which an allocation fails, or all from one on: each ends with a status of the
// program, gives back what it had, and leaves nothing half-written.
// Input: which allocation, as two bytes; a byte that is odd where those after it fail too; the
// words of the command line, as in orvcmd_words.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "orvcmd_run.h"

using namespace orvik::fuzz;

namespace {

std::atomic<long> until_short = -1;  // allocations; less than nothing: there is enough
bool stays_short = false;

bool is_short() {
  if (until_short.load() < 0) return false;
  const long before = until_short.fetch_sub(1);
  if (before != 0) return false;
  if (stays_short) until_short = 0;
  return true;
}

}  // namespace

void* operator new(std::size_t n) {
  if (is_short()) throw std::bad_alloc();
  if (void* memory = std::malloc(n)) return memory;
  throw std::bad_alloc();
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return std::malloc(n); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4) return 0;
  const auto words = words_of({reinterpret_cast<const char*>(data + 3), size - 3}, orvcmd_words());
  if (!is_harmless(words)) return 0;
  golf_files().restore();
  int status = 0;
  {
    const caught_output caught;
    stays_short = data[2] % 2 != 0;
    status = status_of(words, [data] { until_short = data[0] + 256L * data[1]; });
    until_short = -1;
  }
  require(status == 0 || status == orvcmd::k_failure, "a status of the program");
  require(!golf_files().has_unfinished(), "nothing is left half-written");
  return 0;
}
