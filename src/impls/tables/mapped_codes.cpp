#include "impls/tables/mapped_codes.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include "zel/util/byte_sum.h"

namespace orvik::impls {

namespace {

constexpr char k_damaged_codes[] = "damaged codes in ";
constexpr char k_no_value_of_code[] = "a code without a value in ";

struct code_limits {
  std::uint64_t lowest = ~0UL, highest = 0;
};

template <class Code>
void widen(code_limits& limits, const Code* codes, std::size_t n) {
  Code lowest = codes[0], highest = codes[0];
  for (std::size_t i = 1; i < n; ++i) {  // a form that compilers make vectors of
    lowest = codes[i] < lowest ? codes[i] : lowest;
    highest = codes[i] > highest ? codes[i] : highest;
  }
  limits.lowest = std::min<std::uint64_t>(limits.lowest, lowest);
  limits.highest = std::max<std::uint64_t>(limits.highest, highest);
}

/// Of bits, code 1 counts as met: a word of them is not taken apart.
void widen(code_limits& limits, const bit_codes&, std::string_view words) {
  const bool any = std::ranges::any_of(words, [](char byte) { return byte != 0; });
  limits.lowest = 1;
  limits.highest = std::max<std::uint64_t>(limits.highest, any ? 2 : 1);
}

template <class Code>
void widen(code_limits& limits, const Code*, std::string_view bytes) {
  widen(limits, reinterpret_cast<const Code*>(bytes.data()), bytes.size() / sizeof(Code));
}

}  // namespace

/// A piece at a time, so that sum and limits read it from the cache.
void mapped_codes::check() const {
  constexpr std::size_t k_piece = 1UL << 15;
  const std::lock_guard lock(lock_);
  if (checked_.load(std::memory_order_relaxed)) return;
  zel::util::byte_sum sum;
  code_limits met;
  visit_codes(view_, [&](const auto& codes) {
    for (std::size_t at = 0; at < bytes().size(); at += k_piece) {
      const std::string_view piece = bytes().substr(at, k_piece);
      sum.add(piece);
      widen(met, codes, piece);
    }
  });
  if (sum.value() != promised_.sum) throw std::runtime_error(k_damaged_codes + promised_.column);
  const bool fit = rows_ == 0 ||
                   (met.highest <= promised_.highest && (met.lowest != 0 || promised_.has_unknown));
  if (!fit) throw std::runtime_error(k_no_value_of_code + promised_.column);
  checked_.store(true, std::memory_order_release);
}

void mapped_codes::release_pages() const { zel::inpout::file_mapping::release(bytes()); }

}  // namespace orvik::impls
