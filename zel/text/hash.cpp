#include "zel/text/hash.h"

#include <random>

namespace zel::text {

const hash_secret& process_secret() {
  static const hash_secret value = [] {
    std::random_device device;
    const auto odd_word = [&device] {
      return (static_cast<std::uint64_t>(device()) << 32) | device() | 1;
    };
    return hash_secret{odd_word(), odd_word()};
  }();
  return value;
}

}  // namespace zel::text
