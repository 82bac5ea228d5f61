// Runs a fuzz target without libFuzzer, with any compiler: once on every file named, as a test, or
// on what comes of changing them for a while. Usage: fuzz_TARGET FILE...
//        fuzz_TARGET --change SECONDS SEED FILE...
// The input under work is kept in the file "under-work": after a crash it is the one that failed.
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void run(const std::string& bytes) {
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

std::vector<std::string> read_files(int count, char** names) {
  std::vector<std::string> inputs;
  for (int i = 0; i < count; ++i) {
    std::ifstream in(names[i], std::ios::binary);
    if (!in) {
      std::fprintf(stderr, "%s: cannot be read\n", names[i]);
      std::exit(1);
    }
    inputs.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  return inputs;
}

/// Changes inputs by chance: bits, bytes, numbers, pieces taken out, doubled or from another input.
class changes {
 public:
  changes(const std::vector<std::string>& inputs, unsigned long seed)
      : inputs_(inputs), draw_(seed) {}

  std::string next() {
    std::string bytes = any();
    for (std::size_t n = 1 + below(6); n > 0; --n) change(bytes);
    return bytes;
  }

 private:
  std::size_t below(std::size_t n) { return draw_() % n; }
  const std::string& any() { return inputs_[below(inputs_.size())]; }

  void change(std::string& bytes) {
    constexpr const char* k_texts[] = {"?",     ",",     "\n",         "0",       "-1",
                                       "1e308", "65535", "4294967296", "\xff\xff"};
    const std::size_t at = below(bytes.size() + 1),
                      length = below(std::min<std::size_t>(bytes.size() - at + 1, 40));
    switch (below(6)) {
      case 0:
        return void(bytes.erase(at, length));
      case 1:
        return void(bytes.insert(at, bytes.substr(at, length)));
      case 2:
        return void(bytes.insert(at, k_texts[below(std::size(k_texts))]));
      case 3: {
        const std::string& other = any();
        const std::size_t from = below(other.size() + 1);
        return void(bytes.insert(at, other.substr(from, below(60))));
      }
      case 4:
        return void(bytes.insert(at, 1, static_cast<char>(below(256))));
      default:
        if (at < bytes.size())
          bytes[at] = static_cast<char>(below(2) ? below(256) : bytes[at] ^ 1 << below(8));
    }
  }

  const std::vector<std::string>& inputs_;
  std::mt19937_64 draw_;
};

int change_for(double seconds, unsigned long seed, const std::vector<std::string>& inputs) {
  using clock = std::chrono::steady_clock;
  const auto kept = std::filesystem::absolute("under-work");  // targets may go to another folder
  const auto end = clock::now() + std::chrono::duration<double>(seconds);
  changes next(inputs, seed);
  unsigned long n = 0;
  for (; clock::now() < end; ++n) {
    const std::string bytes = next.next();
    std::ofstream(kept, std::ios::binary) << bytes;
    run(bytes);
  }
  std::printf("%lu inputs\n", n);
  return 0;
}

}  // namespace

int main(int count, char** words) {
  const bool changing = count > 4 && std::strcmp(words[1], "--change") == 0;
  const int first = changing ? 4 : 1;
  const auto inputs = read_files(count - first, words + first);
  if (changing) return change_for(std::atof(words[2]), std::strtoul(words[3], nullptr, 10), inputs);
  for (const std::string& bytes : inputs) run(bytes);
  return inputs.empty() ? 1 : 0;  // no files: nothing was tested
}
