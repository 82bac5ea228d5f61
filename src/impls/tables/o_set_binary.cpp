// Value sets to and from binary streams: the values in the order of their codes.
#include <cmath>
#include <stdexcept>

#include "impls/tables/o_set_typed.h"
#include "zel/inpout/binstream.h"

namespace orvik::impls {

namespace {

constexpr char k_write_unfrozen[] = "oset::bin_out on a unfrozen object";
constexpr char k_out_of_order[] = "values out of order";
constexpr char k_not_declared[] = "other values than the type declares";

/// Whether each value may follow the one before it. Numbers may repeat, as rescaling can make them
/// equal; they are finite, as texts are.
template <class T>
bool ascend(const std::vector<T>& values) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    if constexpr (std::is_floating_point_v<T>) {
      if (!std::isfinite(values[i])) return false;
    }
    if (i == 0) continue;
    const bool repeats = !std::is_same_v<T, std::string> && values[i - 1] == values[i];
    if (!repeats && !(values[i - 1] < values[i])) return false;
  }
  return true;
}

template <class T>
std::vector<T> read_values(zel::inpout::ibinstream& in, unsigned long n) {
  if constexpr (!std::is_same_v<T, std::string>) {
    return in.read_array<T>(n);
  } else {
    std::vector<std::string> values;  // grows with what is read
    for (unsigned long i = 0; i < n; ++i) in >> values.emplace_back();
    return values;
  }
}

}  // namespace

void o_set::bin_out(zel::inpout::obinstream&) const {}

void o_set::bin_in(zel::inpout::ibinstream&) {}

template <class T>
void o_set_typed<T>::bin_out(zel::inpout::obinstream& out) const {
  require_frozen(k_write_unfrozen);
  out << true << static_cast<unsigned long>(values_.size());
  if constexpr (k_numeric) {
    out.write_array(std::span<const T>(values_));
  } else {
    for (const T& value : values_) out << value;
  }
}

template <class T>
void o_set_typed<T>::bin_in(zel::inpout::ibinstream& in) {
  unsigned long n = 0;
  if (in.read_presence()) in >> n;
  adopt(read_values<T>(in, n));
}

/// Freezes the set over these values.
template <class T>
void o_set_typed<T>::adopt(std::vector<T> values) {
  if (ordered_) {
    if (values != values_) throw std::runtime_error(k_not_declared);
  } else {
    if (!ascend(values)) throw std::runtime_error(k_out_of_order);
    values_ = std::move(values);
  }
  codes_.clear();
  frozen_ = true;
}

#define ORVIK_BINARY_SET(T)                                              \
  template void o_set_typed<T>::bin_out(zel::inpout::obinstream&) const; \
  template void o_set_typed<T>::bin_in(zel::inpout::ibinstream&)

ORVIK_BINARY_SET(int);
ORVIK_BINARY_SET(unsigned int);
ORVIK_BINARY_SET(float);
ORVIK_BINARY_SET(double);
ORVIK_BINARY_SET(long double);
ORVIK_BINARY_SET(std::string);

#undef ORVIK_BINARY_SET

}  // namespace orvik::impls
