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
  std::vector<const decision_tree*> trees{&tree};  // by node
  arrivals_.push_back({});
  for (std::size_t at = 0; at < trees.size(); ++at) {
    const decision_tree& subtree = *trees[at];
    const decision_node& node = *subtree.get_node();
    const unsigned int n = subtree.get_no_childs();
    if (n == 0) {
      add_leaf(node);
      continue;
    }
    const bool cut = t.column_of(node.attribute()).type() == column::CONTINUOUS;
    nodes_.push_back({static_cast<std::uint32_t>(trees.size()), cut ? CUT : VALUES,
                      node.attribute() & ((1U << 30) - 1),
                      cut ? static_cast<std::uint32_t>(node.threshold()) : n});
    masses_.push_back({node.weight(), nullptr});
    const double depth_below = arrivals_[at].depth + 1;
    for (unsigned int i = 0; i < n; ++i) {
      trees.push_back(subtree.get_child(i));
      arrivals_.push_back({{}, depth_below});
    }
  }
}

void flat_tree::add_leaf(const decision_node& leaf) {
  const class_t predicted = leaf.get_leaf_class();
  const bool some = leaf.weight() > 0;
  bool mixed = false;
  for (code_t c = 0; c < n_class_codes_; ++c) {
    mixed = mixed || (c != predicted && leaf.class_weight(c) != 0);
  }
  arrivals_[nodes_.size()].found = {predicted, some ? leaf.get_leaf_classfreq() : 1.0};
  masses_.push_back({leaf.weight(), some && mixed ? leaf.class_weights() : nullptr});
  nodes_.push_back({static_cast<std::uint32_t>(nodes_.size()), LEAF, 0, UINT32_MAX});
}

/// Adds the shares of a leaf; the whole weight goes to its class where no training case came.
void flat_tree::distribute(std::uint32_t leaf, double weight,
                           std::vector<double>& distribution) const {
  const auto& [leaf_weight, classes] = masses_[leaf];
  if (classes == nullptr) {
    distribution[arrivals_[leaf].found.first] +=
        leaf_weight > 0 ? weight * leaf_weight / leaf_weight : weight;
    return;
  }
  for (code_t c = 0; c < distribution.size(); ++c) {
    distribution[c] += weight * classes[c] / leaf_weight;
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
      distribute(p.at, p.weight, distribution);
      depths += arrivals_[p.at].depth * p.weight;
      continue;
    }
    const flat_node& node = nodes_[p.at];
    for (std::uint32_t i = node.kind == CUT ? 2 : node.limit; i-- > 0;) {  // the first comes first
      const std::uint32_t child = node.first_child + i;
      const double part = p.weight * masses_[child].weight / masses_[p.at].weight;
      if (part != 0) open.push_back({child, part});  // nothing adds nothing
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
