#include "code_costs.h"

namespace orvik::view {

std::vector<double> cost_table(const orvik::dtree& model) {
  const unsigned long n = model.get_schema().n_class_codes();
  std::vector<double> costs(n * n, 0.0);
  for (orvik::code_t actual = 1; actual < n; ++actual) {
    for (orvik::code_t predicted = 1; predicted < n; ++predicted) {
      costs[actual * n + predicted] = actual == predicted ? 0 : 1;
    }
  }
  const auto given = model.get_costs();
  for (const orvik::class_cost& c : *given) costs[c.actual * n + c.predicted] = c.cost;
  return costs;
}

std::string reworded(std::string text,
                     const std::vector<std::pair<std::string, std::string>>& words) {
  for (const auto& [from, to] : words) text.replace(text.find(from), from.size(), to);
  return text;
}

}  // namespace orvik::view
