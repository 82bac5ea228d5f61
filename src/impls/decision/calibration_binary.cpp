// What is learned on rows that the trees were not grown on, to and from binary streams.
//
// Maps: how they were fitted (a byte), their number, of each its knots as two arrays, then a and b.
// Shares that rows gave their own class: the number of class codes, of each the shares and the
// weights as two arrays. An array is its length and its numbers.
#include <algorithm>
#include <cmath>

#include "impls/decision/calibration.h"
#include "impls/decision/conformal.h"

namespace orvik::impls {

namespace {

constexpr char k_bad_map[] = "a map of shares that is none";
constexpr char k_bad_seen[] = "shares to make sets of that are none";

using zel::inpout::ibinstream;
using zel::inpout::obinstream;
using zel::inpout::require;

void write_numbers(obinstream& out, const std::vector<double>& all) {
  out << static_cast<unsigned long>(all.size());
  out.write_array(std::span<const double>(all));
}

std::vector<double> read_numbers(ibinstream& in) {
  unsigned long n = 0;
  in >> n;
  return in.read_array<double>(n);
}

bool are_shares(const std::vector<double>& all) {
  return std::ranges::all_of(all, [](double x) { return x >= 0 && x <= 1; });
}

/// Knots that share_map() can go by.
bool is_map(const share_map& map) {
  return map.x.size() == map.y.size() && are_shares(map.y) && std::isfinite(map.a) &&
         std::isfinite(map.b) &&
         std::ranges::all_of(map.x, [](double x) { return std::isfinite(x); }) &&
         std::ranges::adjacent_find(map.x, std::ranges::greater_equal()) == map.x.end() &&
         std::ranges::is_sorted(map.y);
}

share_map read_map(ibinstream& in) {
  share_map map;
  map.x = read_numbers(in);
  map.y = read_numbers(in);
  in >> map.a >> map.b;
  require(is_map(map), k_bad_map);
  return map;
}

std::vector<own_shares::step> read_steps(ibinstream& in) {
  const std::vector<double> shares = read_numbers(in), weights = read_numbers(in);
  const auto is_weight = [](double w) { return w > 0 && std::isfinite(w); };
  require(shares.size() == weights.size() && std::ranges::all_of(weights, is_weight), k_bad_seen);
  require(std::ranges::all_of(shares, [](double s) { return std::isfinite(s); }), k_bad_seen);
  std::vector<own_shares::step> steps;
  for (std::size_t i = 0; i < shares.size(); ++i) steps.push_back({shares[i], weights[i]});
  return steps;
}

}  // namespace

bool calibrator::fits(std::size_t n_class_codes) const {
  return maps_.empty() || maps_.size() == (n_class_codes == 3 ? 1 : n_class_codes - 1);
}

void calibrator::bin_out(obinstream& out) const {
  out << static_cast<unsigned char>(how_) << static_cast<unsigned long>(maps_.size());
  for (const share_map& map : maps_) {
    write_numbers(out, map.x);
    write_numbers(out, map.y);
    out << map.a << map.b;
  }
}

calibrator calibrator::bin_in(ibinstream& in) {
  unsigned char how = 0;
  unsigned long n = 0;
  in >> how >> n;
  require(how > 0 && how <= static_cast<unsigned char>(calibration::platt), k_bad_map);
  std::vector<share_map> maps;
  for (unsigned long i = 0; i < n; ++i) maps.push_back(read_map(in));  // grows with what is read
  return {static_cast<calibration>(how), std::move(maps)};
}

void own_shares::bin_out(obinstream& out) const {
  out << static_cast<unsigned long>(by_class_.size());
  for (const std::vector<step>& steps : by_class_) {
    std::vector<double> shares, weights;
    for (const step& each : steps) {
      shares.push_back(each.share);
      weights.push_back(each.weight);
    }
    write_numbers(out, shares);
    write_numbers(out, weights);
  }
}

own_shares own_shares::bin_in(ibinstream& in) {
  unsigned long n = 0;
  in >> n;
  std::vector<std::vector<step>> by_class;
  for (unsigned long i = 0; i < n; ++i) by_class.push_back(read_steps(in));
  return own_shares(std::move(by_class));
}

}  // namespace orvik::impls
