#include "bins.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <stdexcept>

#include "zel/text/decimal.h"

namespace orvprep {

namespace {

constexpr char k_bad_bins[] =
    ": --bins takes a number from 2 to 1000, or cuts in ascending order, as 10,20,50";

constexpr unsigned long k_most_bins = 1000;

constexpr double k_least_plain = 1e-4, k_most_plain = 1e15;

/// Without an exponent where that is readable.
std::string text_of(double cut) {
  const double size = std::abs(cut);
  if (cut != 0 && (size < k_least_plain || size >= k_most_plain)) {
    return zel::text::shortest_decimal(cut);
  }
  std::array<char, 32> room;
  const auto end =
      std::to_chars(room.data(), room.data() + room.size(), cut, std::chars_format::fixed);
  return {room.data(), end.ptr};
}

std::vector<double> cuts_of(std::string_view words) {
  std::vector<double> cuts;
  while (!words.empty()) {
    const std::size_t end = std::min(words.find(','), words.size());
    const auto cut = zel::text::parse_decimal<double>(words.substr(0, end));
    if (!cut || (!cuts.empty() && *cut <= cuts.back())) return {};
    cuts.push_back(*cut);
    words.remove_prefix(std::min(end + 1, words.size()));
  }
  return cuts.size() < k_most_bins ? cuts : std::vector<double>();
}

}  // namespace

bins_wish bins_of(std::string_view words) {
  bins_wish wish;
  if (words.find(',') != words.npos) {
    wish.cuts = cuts_of(words);
  } else if (const auto n = zel::text::parse_whole(words); n && *n >= 2 && *n <= k_most_bins) {
    wish.n = *n;
  }
  if (!wish.any()) throw std::runtime_error(std::string(words) + k_bad_bins);
  return wish;
}

std::size_t bins::bin_of(double value) const {
  return static_cast<std::size_t>(std::ranges::lower_bound(cuts, value) - cuts.begin());
}

std::string bins::name(std::size_t bin) const {
  if (bin == 0) return "<=" + text_of(cuts[0]);
  if (bin == cuts.size()) return ">" + text_of(cuts.back());
  return text_of(cuts[bin - 1]) + (cuts[0] < 0 ? ".." : "-") + text_of(cuts[bin]);
}

std::vector<std::string> bins::names() const {
  std::vector<std::string> all;
  for (std::size_t i = 0; i <= cuts.size(); ++i) all.push_back(name(i));
  return all;
}

std::vector<counted_number> numbers_of(const column_profile& p) {
  std::vector<counted_number> numbers;
  for (const counted_text& t : p.texts()) {
    numbers.push_back({number_of(number_text(t.text, p.reading().format)).value, t.count});
  }
  std::ranges::sort(numbers, {}, &counted_number::value);
  // Texts of one value, as "1" and "1.0".
  std::size_t kept = 0;
  for (std::size_t i = 1; i < numbers.size(); ++i) {
    if (numbers[i].value == numbers[kept].value) {
      numbers[kept].count += numbers[i].count;
    } else {
      numbers[++kept] = numbers[i];
    }
  }
  if (!numbers.empty()) numbers.resize(kept + 1);
  return numbers;
}

bins equal_bins(const std::vector<counted_number>& numbers, unsigned long n) {
  std::vector<double> upto;  // cells up to each value but the last
  upto.reserve(numbers.size());
  double total = 0;
  for (const counted_number& v : numbers) upto.push_back(total += static_cast<double>(v.count));
  if (!upto.empty()) upto.pop_back();
  bins made;
  for (unsigned long k = 1; k < n && !upto.empty(); ++k) {
    const double wanted = total * static_cast<double>(k) / static_cast<double>(n);
    auto at = std::ranges::lower_bound(upto, wanted);
    // The nearer one; the lower of equals.
    if (at == upto.end() || (at != upto.begin() && wanted - at[-1] <= at[0] - wanted)) --at;
    const double cut = numbers[static_cast<std::size_t>(at - upto.begin())].value;
    if (made.cuts.empty() || cut > made.cuts.back()) made.cuts.push_back(cut);
  }
  return made;
}

}  // namespace orvprep
