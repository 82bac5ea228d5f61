// Integers of a narrow range are marked in a bitmap, where a value's rank is the number of bits up
// to its own. Few values that come again and again are found in a dictionary. Other numbers are
// mapped to 32-bit keys without changing their order and sorted by key, digit by digit; the few
// values that share a key are sorted by comparison.
#include "impls/values/value_ranks.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <cmath>
#include <limits>
#include <optional>
#include <span>
#include <stdexcept>
#include <type_traits>

#include "impls/values/value_codes.h"

namespace orvik::impls {

namespace {

constexpr char k_too_many_ranks[] = "too many distinct values in a column";

/// A range of this many integers an element takes less memory marked than sorted.
constexpr std::uint64_t k_marked_range = 16;

/// A dictionary of this many values fits in a processor's second cache.
constexpr std::size_t k_few_values = 2048;

constexpr unsigned k_digit_bits = 11;
constexpr std::size_t k_digits = std::size_t{1} << k_digit_bits;

/// An element on its way to its place.
struct keyed {
  std::uint32_t key;
  std::uint32_t element;
};

template <class T>
struct bounds {
  T least = std::numeric_limits<T>::max();
  T most = std::numeric_limits<T>::lowest();
};

template <class T>
bounds<T> bounds_of(const std::vector<growing_array<T>>& parts) {
  bounds<T> b;
  for (const auto& part : parts) {
    for (const T value : part) {
      b.least = std::min(b.least, value);
      b.most = std::max(b.most, value);
    }
  }
  return b;
}

/// Distance of integers, which may be beyond T.
template <class T>
std::uint32_t above(T least, T value) {
  return static_cast<std::uint32_t>(value) - static_cast<std::uint32_t>(least);
}

/// Bits set; the instruction for it is not on every processor that this runs on.
unsigned count_bits(std::uint64_t word) {
  word -= (word >> 1) & 0x5555555555555555;
  word = (word & 0x3333333333333333) + ((word >> 2) & 0x3333333333333333);
  word = (word + (word >> 4)) & 0x0f0f0f0f0f0f0f0f;
  return static_cast<unsigned>((word * 0x0101010101010101) >> 56);
}

template <class T>
ranked_values<T> rank_by_marks(std::vector<growing_array<T>> parts, std::size_t n, bounds<T> b) {
  const std::size_t words = above(b.least, b.most) / 64 + 1;
  std::vector<std::uint64_t> marks(words);
  for (const auto& part : parts) {
    for (const T value : part) {
      const std::uint32_t at = above(b.least, value);
      marks[at / 64] |= std::uint64_t{1} << (at % 64);
    }
  }
  ranked_values<T> ranked;
  std::vector<std::uint32_t> before(words);  // values in the words before
  std::uint32_t distinct = 0;
  for (std::size_t w = 0; w < words; ++w) {
    before[w] = distinct;
    distinct += count_bits(marks[w]);
  }
  ranked.values.reserve(distinct);
  for (std::size_t w = 0; w < words; ++w) {
    for (std::uint64_t left = marks[w]; left != 0; left &= left - 1) {
      const auto at = static_cast<std::uint32_t>(64 * w + std::countr_zero(left));
      ranked.values.push_back(static_cast<T>(static_cast<std::uint32_t>(b.least) + at));
    }
  }
  ranked.ranks.reserve(n);
  for (auto& part : parts) {
    for (const T value : part) {
      const std::uint32_t at = above(b.least, value);
      const std::uint64_t up_to = marks[at / 64] << (63 - at % 64);
      ranked.ranks.push_back(before[at / 64] + count_bits(up_to));
    }
    part.release();
  }
  assert(ranked.values.size() == distinct && ranked.ranks.size() == n);
  return ranked;
}

/// Codes of the elements in order of their first appearance; false where there are many values.
template <class T>
bool find_codes(const std::vector<growing_array<T>>& parts, value_codes<T>& known,
                std::vector<std::uint32_t>& codes) {
  for (const auto& part : parts) {
    for (const T value : part) {
      codes.push_back(known.insert(value));
      if (known.values().size() > k_few_values) return false;
    }
  }
  return true;
}

/// Nothing where there are many values: these are met early as a rule, so that little is lost.
template <class T>
std::optional<ranked_values<T>> rank_by_dictionary(const std::vector<growing_array<T>>& parts,
                                                   std::size_t n) {
  value_codes<T> known;
  ranked_values<T> ranked;
  ranked.ranks.reserve(n);
  if (!find_codes(parts, known, ranked.ranks)) return std::nullopt;
  ranked.values = known.values();
  std::ranges::sort(ranked.values);
  std::vector<std::uint32_t> rank_of{0};  // by code
  for (const T value : known.values()) {
    const auto at = std::ranges::lower_bound(ranked.values, value);
    rank_of.push_back(static_cast<std::uint32_t>(at - ranked.values.begin()) + 1);
  }
  for (std::uint32_t& rank : ranked.ranks) rank = rank_of[rank];
  return ranked;
}

/// Keys of values from b.least to b.most: ascending with them, though equal for close ones.
template <class T>
class key_map {
 public:
  explicit key_map(bounds<T> b) : least_(b.least) {
    if constexpr (std::is_floating_point_v<T>) {
      // Half of the keys, so that rounding cannot reach beyond them; one key for a distance that
      // is not finite or whose reciprocal is not.
      scale_ = static_cast<T>(2147483648.0) / (b.most - b.least);
      if (!std::isfinite(scale_) || !std::isfinite(b.most - b.least)) scale_ = 0;
    }
  }

  std::uint32_t operator()(T value) const {
    if constexpr (std::is_floating_point_v<T>) {
      if (scale_ == 0) return 0;  // a distance that is not finite has no product
      return static_cast<std::uint32_t>(static_cast<std::uint64_t>((value - least_) * scale_));
    } else {
      return above(least_, value);
    }
  }

 private:
  T least_;
  T scale_ = 0;
};

/// Sorts by key, keeping the order of equal ones; `spare` is of the same size.
void sort_by_key(std::vector<keyed>& items, std::vector<keyed>& spare, std::uint32_t largest) {
  const auto bits = static_cast<unsigned>(std::bit_width(largest));
  for (unsigned shift = 0; shift < bits; shift += k_digit_bits) {
    std::array<std::uint32_t, k_digits> place{};
    for (const keyed& k : items) ++place[(k.key >> shift) % k_digits];
    std::uint32_t sum = 0;
    for (std::uint32_t& p : place) {
      const std::uint32_t count = p;
      p = sum;
      sum += count;
    }
    for (const keyed& k : items) spare[place[(k.key >> shift) % k_digits]++] = k;
    items.swap(spare);
  }
}

/// Finds values by the number of their element.
template <class T>
class element_values {
 public:
  explicit element_values(const std::vector<growing_array<T>>& parts) : parts_(parts) {
    std::size_t first = 0;
    for (const auto& part : parts) {
      first_.push_back(first);
      first += part.size();
    }
  }
  T operator[](std::size_t element) const {
    std::size_t part = first_.size() - 1;  // there are few
    while (first_[part] > element) --part;
    return parts_[part][element - first_[part]];
  }

 private:
  const std::vector<growing_array<T>>& parts_;
  std::vector<std::size_t> first_;  // element of each part
};

/// Sorts each run of equal keys by value. @return the number of different values.
template <class T>
std::size_t sort_runs(std::vector<keyed>& items, const element_values<T>& values) {
  std::size_t distinct = 0;
  for (std::size_t first = 0, last; first < items.size(); first = last) {
    for (last = first + 1; last < items.size() && items[last].key == items[first].key;) ++last;
    ++distinct;
    if (std::is_integral_v<T> || last - first < 2) continue;
    const std::span run(items.data() + first, last - first);
    const auto value_of = [&](keyed k) { return values[k.element]; };
    if (!std::ranges::is_sorted(run, {}, value_of)) std::ranges::sort(run, {}, value_of);
    for (std::size_t i = first + 1; i < last; ++i) {
      distinct += values[items[i].element] != values[items[i - 1].element];
    }
  }
  return distinct;
}

template <class T>
std::vector<keyed> keys_of(const std::vector<growing_array<T>>& parts, std::size_t n,
                           const key_map<T>& key_of) {
  std::vector<keyed> items;
  items.reserve(n);
  for (const auto& part : parts) {
    for (const T value : part) {
      items.push_back({key_of(value), static_cast<std::uint32_t>(items.size())});
    }
  }
  return items;
}

template <class T>
ranked_values<T> rank_by_keys(std::vector<growing_array<T>> parts, std::size_t n, bounds<T> b) {
  const element_values<T> values(parts);
  const key_map<T> key_of(b);
  std::vector<keyed> items = keys_of(parts, n, key_of);
  {
    std::vector<keyed> spare(n);
    sort_by_key(items, spare, key_of(b.most));
  }
  ranked_values<T> ranked;
  ranked.values.reserve(sort_runs(items, values));
  ranked.ranks.resize(n);
  for (const keyed& k : items) {
    const T value = values[k.element];
    if (ranked.values.empty() || ranked.values.back() != value) ranked.values.push_back(value);
    ranked.ranks[k.element] = static_cast<std::uint32_t>(ranked.values.size());
  }
  assert(std::ranges::is_sorted(ranked.values));
  return ranked;
}

}  // namespace

template <class T>
ranked_values<T> rank_values(std::vector<growing_array<T>> parts) {
  std::size_t n = 0;
  for (const auto& part : parts) n += part.size();
  if (n == 0) return {};
  if (n >= std::numeric_limits<std::uint32_t>::max()) throw std::runtime_error(k_too_many_ranks);
  const bounds<T> b = bounds_of(parts);
  if constexpr (std::is_integral_v<T>) {
    if (above(b.least, b.most) / k_marked_range < n) {
      return rank_by_marks(std::move(parts), n, b);
    }
  }
  if (auto few = rank_by_dictionary(parts, n)) return std::move(*few);
  return rank_by_keys(std::move(parts), n, b);
}

template ranked_values<int> rank_values(std::vector<growing_array<int>>);
template ranked_values<unsigned> rank_values(std::vector<growing_array<unsigned>>);
template ranked_values<float> rank_values(std::vector<growing_array<float>>);
template ranked_values<double> rank_values(std::vector<growing_array<double>>);
template ranked_values<long double> rank_values(std::vector<growing_array<long double>>);

}  // namespace orvik::impls
