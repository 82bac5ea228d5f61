#include "impls/evaluation/class_cells.h"

#include <algorithm>

namespace orvik::impls {

double class_cells::at(unsigned long row, unsigned long column) const {
  const std::uint64_t at = row * n_ + column;
  if (is_dense()) return dense_[at];
  const auto found = sparse_.find(at);
  return found == sparse_.end() ? 0.0 : found->second;
}

std::vector<class_cells::cell> class_cells::occupied() const {
  std::vector<cell> cells;
  const auto take = [&](std::uint64_t at, double weight) {
    if (weight != 0) cells.push_back({at / n_, at % n_, weight});
  };
  for (std::uint64_t at = 0; at < dense_.size(); ++at) take(at, dense_[at]);
  for (const auto& [at, weight] : sparse_) take(at, weight);
  if (!is_dense()) {
    std::ranges::sort(cells, {}, [this](const cell& c) { return c.row * n_ + c.column; });
  }
  return cells;
}

}  // namespace orvik::impls
