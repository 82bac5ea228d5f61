// Runs a fuzz target once on every file named: the corpus as a test, with any compiler.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int count, char** names) {
  for (int i = 1; i < count; ++i) {
    std::ifstream in(names[i], std::ios::binary);
    if (!in) {
      std::fprintf(stderr, "%s: cannot be read\n", names[i]);
      return 1;
    }
    const std::string bytes(std::istreambuf_iterator<char>(in), {});
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  return count > 1 ? 0 : 1;  // no files: nothing was tested
}
