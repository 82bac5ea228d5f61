#include "impls/model/training_cases.h"

#include <algorithm>

namespace orvik::impls {

training_cases::training_cases(const case_list& cases) {
  const bool narrow =
      std::all_of(cases.begin(), cases.end(), [](const auto& c) { return c.first <= UINT32_MAX; });
  const bool unit =
      std::all_of(cases.begin(), cases.end(), [](const auto& c) { return c.second == 1.0; });
  narrow ? narrow_rows_.reserve(cases.size()) : wide_rows_.reserve(cases.size());
  if (!unit) weights_.reserve(cases.size());
  for (const auto& [row, weight] : cases) {
    narrow ? narrow_rows_.push_back(static_cast<std::uint32_t>(row)) : wide_rows_.push_back(row);
    if (!unit) weights_.push_back(weight);
  }
}

case_list training_cases::expand() const {
  case_list cases;
  cases.reserve(size());
  for (unsigned long i = 0; i < size(); ++i) cases.push_back((*this)[i]);
  return cases;
}

}  // namespace orvik::impls
