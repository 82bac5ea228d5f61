#include "impls/values/number_limits.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include "impls/values/cell_reader.h"
#include "zel/text/text_word.h"

namespace orvik::impls {

namespace {

bool is_of_digits(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

constexpr std::size_t k_at_once = 256;

/// Some numbers, and all bits where they are known; unknown ones are 0.
template <class T>
struct numbers_of {
  void take(const cell_array& cells, unsigned long first, unsigned long n) {
    visit_cells(cells, [&](const auto& reader) {
      for (unsigned long i = 0; i < n; ++i) {
        const auto value = reader[first + i];
        const bool is_known = !is_nan(value) && !is_marked_unknown(cells, first + i);
        if (is_known && is_infinite(value)) fail_infinite(first + i);
        numbers[i] = is_known ? number_not_below<T>(value) : T{0};
        known[i] = is_known ? ~0U : 0U;
      }
    });
  }

  std::array<T, k_at_once> numbers{};
  std::array<std::uint32_t, k_at_once> known{};
};

}  // namespace

template <class T>
limits_of<T>::limits_of(std::span<const code_t> codes, std::vector<T> values,
                        std::string_view unknown, parser parse)
    : values_(std::move(values)), unknown_(unknown), parse_(parse) {
  for (const code_t code : codes) codes_.push_back(static_cast<std::uint32_t>(code));
  codes_.push_back(codes_.empty() ? 1 : codes_.back() + 1);
  tabulate();
}

/// Integers whose limits lie close get their codes from a table.
template <class T>
void limits_of<T>::tabulate() {
  if constexpr (std::is_integral_v<T>) {
    constexpr std::int64_t k_most_places = 1L << 16, k_places_per_limit = 64;
    if (values_.empty()) return;
    const std::int64_t low = values_.front(), high = values_.back();
    const auto n_limits = static_cast<std::int64_t>(values_.size());
    if (high - low >= std::min(k_most_places, n_limits * k_places_per_limit)) return;
    std::vector<std::uint32_t> table;
    for (std::size_t i = 0; i < values_.size(); ++i) {
      table.resize(static_cast<std::size_t>(values_[i] - low) + 1, codes_[i]);
    }
    table.push_back(codes_.back());
    table_ = std::move(table);
  }
}

/// Without a table by halves, without a jump that could be guessed wrong.
template <class T>
std::uint32_t limits_of<T>::place_of(T number) const {
  if constexpr (std::is_integral_v<T>) {
    if (!table_.empty()) {
      const std::int64_t above = std::int64_t{number} - values_.front();
      const auto last = static_cast<std::int64_t>(table_.size()) - 1;
      return table_[static_cast<std::size_t>(std::clamp<std::int64_t>(above, 0, last))];
    }
  }
  const T* first = values_.data();
  for (std::size_t n = values_.size(); n > 0;) {
    const std::size_t half = (n + 1) / 2;
    first += first[half - 1] < number ? half : 0;
    n -= half;
  }
  return codes_[static_cast<std::size_t>(first - values_.data())];
}

template <class T>
bool limits_of<T>::place(const cell_batch& cells, std::string_view missing, std::uint32_t* codes,
                         std::size_t stride) const {
  const bool digits_are_numbers = !is_of_digits(missing) && !is_of_digits(unknown_);
  for (std::size_t row = 0; row < cells.rows; ++row, codes += stride) {
    if constexpr (std::is_integral_v<T>) {
      const cell& c = cells.at(row);
      std::uint32_t number;
      if (digits_are_numbers && c.length <= zel::text::k_word_text &&
          zel::text::number_of_digits(zel::text::word_at(cells.text + c.begin, c.length), c.length,
                                      number)) {
        *codes = place_of(static_cast<T>(number));
        continue;
      }
    }
    const std::string_view text = cells[row];
    if (text == missing || text == unknown_) {
      *codes = k_unknown;
      continue;
    }
    try {
      *codes = place_of(parse_(text));
    } catch (const std::runtime_error&) {
      return false;
    }
  }
  return true;
}

/// Some at a time: read in loops of their own by type, and placed in one without jumps.
template <class T>
void limits_of<T>::place_cells(const cell_array& cells, unsigned long first, unsigned long n,
                               std::uint32_t* codes, std::size_t stride) const {
  numbers_of<T> read;
  for (unsigned long some = 0; n > 0; n -= some, first += some) {
    some = std::min<unsigned long>(n, k_at_once);
    read.take(cells, first, some);
    for (unsigned long i = 0; i < some; ++i, codes += stride) {
      *codes = place_of(read.numbers[i]) & read.known[i];
    }
  }
}

template class limits_of<int>;
template class limits_of<unsigned int>;
template class limits_of<float>;
template class limits_of<double>;
template class limits_of<long double>;

}  // namespace orvik::impls
