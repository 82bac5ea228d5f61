#include "impls/evaluation/flat_tree.h"

#include <algorithm>
#include <cmath>

namespace orvik::impls {

bool flat_tree::fits(const table& t) {
  for (unsigned long a = 0; a < t.n_attributes(); ++a) {
    if (t.column_of(a).codes().bits > 32) return false;
  }
  return t.n_attributes() < (1UL << 30);
}

/// Level by level: the children of a node follow each other.
flat_tree::flat_tree(const table& t, const decision_tree& tree) : table_(t) {
  trees_.push_back(&tree);
  for (std::size_t at = 0; at < trees_.size(); ++at) {
    const decision_tree& subtree = *trees_[at];
    const decision_node& node = *subtree.get_node();
    if (subtree.get_no_childs() == 0) {
      nodes_.push_back({0, LEAF, 0, node.get_leaf_class()});
      confidences_.push_back(node.weight() > 0 ? node.get_leaf_classfreq() : 1.0);
      continue;
    }
    const bool cut = t.column_of(node.attribute()).type() == column::CONTINUOUS;
    nodes_.push_back({static_cast<std::uint32_t>(trees_.size()), cut ? CUT : VALUES,
                      node.attribute() & ((1U << 30) - 1),
                      cut ? static_cast<std::uint32_t>(node.threshold()) : 0});
    confidences_.push_back(0);
    for (unsigned int i = 0; i < subtree.get_no_childs(); ++i)
      trees_.push_back(subtree.get_child(i));
  }
}

double flat_tree::predict_unknown(std::uint32_t at, std::span<const std::uint32_t> codes,
                                  decision_tree::prediction& result, double weight,
                                  unsigned long depth) const {
  const std::vector<code_t> wide(codes.begin(), codes.end());
  return trees_[at]->predict_class(table_, wide, result, weight, depth);
}

void gather_codes(const table& t, std::span<const case_list::value_type> cases,
                  std::vector<std::uint32_t>& codes) {
  const std::size_t n = t.n_attributes();
  codes.assign(cases.size() * n, 0);
  for (std::size_t a = 0; a < n; ++a) {
    const code_view view = t.column_of(a).codes();
    if (view.bits == 0) continue;
    visit_codes(view, [&](const auto& column_codes) {
      std::uint32_t* to = codes.data() + a;
      for (const auto& [row, weight] : cases) {
        *to = static_cast<std::uint32_t>(column_codes[row]);
        to += n;
      }
    });
  }
}

}  // namespace orvik::impls
