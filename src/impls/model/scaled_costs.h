// Costs as the pruning of a tree goes by them: in units of what an error costs in the mean at its
// root, so that what pruning takes for little is little in any currency.
#pragma once

#include <optional>
#include <vector>

#include "impls/decision/pricing.h"
#include "impls/trees/decision_tree.h"

namespace orvik::impls {

class scaled_costs {
 public:
  /// Errors are counted.
  scaled_costs() = default;
  scaled_costs(const cost_matrix& costs, const decision_node& root);

  /// This must outlive it.
  pricing price() const { return costs_ ? pricing(*costs_, prior_) : pricing(); }
  /// Brings the errors stored in a pruned tree back to the currency.
  void restore(decision_tree& pruned) const;

 private:
  std::optional<cost_matrix> costs_;
  std::vector<double> prior_;  // class weights of the root
  double unit_ = 1;
};

}  // namespace orvik::impls
