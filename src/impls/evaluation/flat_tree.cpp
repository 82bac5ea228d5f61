#include "impls/evaluation/flat_tree.h"

#include <algorithm>
#include <cstdint>

#include "zel/util/number_util.h"

namespace orvik::impls {

bool flat_tree::fits(const table& t) {
  for (unsigned long a = 0; a < t.n_attributes(); ++a) {
    if (t.column_of(a).codes().bits > 32) return false;
  }
  return t.n_attributes() < (1UL << 30);
}

/// Level by level: the children of a node follow each other.
flat_tree::flat_tree(const table& t, const decision_tree& tree)
    : n_class_codes_(t.n_class_codes()) {
  trees_.push_back(&tree);
  arrivals_.push_back({});
  for (std::size_t at = 0; at < trees_.size(); ++at) {
    const decision_tree& subtree = *trees_[at];
    const decision_node& node = *subtree.get_node();
    const unsigned int n = subtree.get_no_childs();
    if (n == 0) {
      nodes_.push_back({static_cast<std::uint32_t>(at), LEAF, 0, UINT32_MAX});
      arrivals_[at].found = {node.get_leaf_class(),
                             node.weight() > 0 ? node.get_leaf_classfreq() : 1.0};
      continue;
    }
    const bool cut = t.column_of(node.attribute()).type() == column::CONTINUOUS;
    nodes_.push_back({static_cast<std::uint32_t>(trees_.size()), cut ? CUT : VALUES,
                      node.attribute() & ((1U << 30) - 1),
                      cut ? static_cast<std::uint32_t>(node.threshold()) : 0});
    const double depth_below = arrivals_[at].depth + 1;
    for (unsigned int i = 0; i < n; ++i) {
      trees_.push_back(subtree.get_child(i));
      arrivals_.push_back({{}, depth_below});
    }
  }
}

/// Adds the shares of a leaf; the whole weight goes to its class where no training case came.
void flat_tree::add_leaf(std::uint32_t leaf, double weight,
                         std::vector<double>& distribution) const {
  const decision_node& node = *trees_[leaf]->get_node();
  if (node.weight() > 0) {
    for (code_t c = 0; c < distribution.size(); ++c) {
      distribution[c] += weight * node.class_weight(c) / node.weight();
    }
  } else {
    distribution[node.get_leaf_class()] += weight;
  }
}

/// From a split node whose test the case has no value for. The steps and their order are those of
/// decision_tree::predict_class.
flat_tree::arrival flat_tree::predict_unknown(std::uint32_t at, const std::uint32_t* codes) const {
  struct portion {
    std::uint32_t at;
    double weight;
  };
  thread_local std::vector<portion> open;
  thread_local std::vector<double> distribution;
  distribution.assign(n_class_codes_, 0.0);
  open.assign(1, {at, 1.0});
  double depths = 0;
  while (!open.empty()) {
    portion p = open.back();
    open.pop_back();
    for (std::uint32_t next; (next = below(p.at, codes[nodes_[p.at].attribute])) != p.at;) {
      p.at = next;
    }
    if (nodes_[p.at].kind == LEAF) {
      add_leaf(p.at, p.weight, distribution);
      depths += arrivals_[p.at].depth * p.weight;
      continue;
    }
    const double weight = trees_[p.at]->get_node()->weight();
    const std::uint32_t first_child = nodes_[p.at].first_child;
    for (std::uint32_t i = trees_[p.at]->get_no_childs(); i-- > 0;) {  // the first is taken first
      const double part = p.weight * trees_[first_child + i]->get_node()->weight() / weight;
      if (part != 0) open.push_back({first_child + i, part});  // nothing adds nothing
    }
  }
  const unsigned long best = zel::util::number_util::argmax(distribution);
  return {{best, distribution[best]}, depths};
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
