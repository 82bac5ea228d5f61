// A tree as one array, for predicting many cases.
//
// The nodes of the container lie all over the memory; here the children of a node stand side by
// side, 12 bytes each, so a descent is an index computation a level: first child + branch. Cases
// come as rows of 32-bit codes, one an attribute. A case whose value is unknown at a split leaves
// the array there and goes on in the tree itself.
// Threads: many readers.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "impls/trees/decision_tree.h"

namespace orvik::impls {

/// The codes of some cases: case i, attribute a at codes[i * n_attributes + a].
struct case_block {
  std::span<const std::uint32_t> codes;
  std::size_t n_attributes;
  std::span<const std::uint32_t> of_case(std::size_t i) const {
    return codes.subspan(i * n_attributes, n_attributes);
  }
  std::size_t size() const { return n_attributes == 0 ? 0 : codes.size() / n_attributes; }
};

class flat_tree {
 public:
  /// Whether all codes of the table fit in 32 bits.
  static bool fits(const table& t);

  /// `tree` must outlive this and stay as it is.
  flat_tree(const table& t, const decision_tree& tree);

  /// What decision_tree::predict_class gives for the case. @return depth x weight.
  double predict(std::span<const std::uint32_t> codes, decision_tree::prediction& result,
                 double weight) const {
    std::uint32_t at = 0;
    unsigned long depth = 0;
    while (nodes_[at].kind != LEAF) {
      const flat_node& node = nodes_[at];
      const std::uint32_t code = codes[node.attribute];
      if (code == k_unknown) return predict_unknown(at, codes, result, weight, depth);
      at = node.first_child + (node.kind == CUT ? code > node.limit : code - 1);
      ++depth;
    }
    result = {nodes_[at].limit, confidences_[at]};
    return static_cast<double>(depth) * weight;
  }

 private:
  enum node_kind : std::uint32_t { LEAF, CUT, VALUES };
  struct flat_node {
    std::uint32_t first_child;
    std::uint32_t kind : 2;
    std::uint32_t attribute : 30;
    std::uint32_t limit;  // CUT: the threshold code; LEAF: the class code
  };

  double predict_unknown(std::uint32_t at, std::span<const std::uint32_t> codes,
                         decision_tree::prediction& result, double weight,
                         unsigned long depth) const;

  const table& table_;
  std::vector<flat_node> nodes_;
  std::vector<double> confidences_;          // by node; leaves only
  std::vector<const decision_tree*> trees_;  // by node
};

/// Copies the codes of some rows of a table.
void gather_codes(const table& t, std::span<const case_list::value_type> cases,
                  std::vector<std::uint32_t>& codes);

}  // namespace orvik::impls
