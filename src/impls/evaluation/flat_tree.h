// A tree as one array, for predicting many cases.
//
// The nodes of the container lie all over the memory; here the children of a node stand side by
// side, 12 bytes each, so a descent is an index computation a level: first child + branch, without
// a jump that could be guessed wrong. Cases come as rows of 32-bit codes, one an attribute. A case
// whose value is unknown at a split stops there and goes on down every branch.
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

  /// Calls take(i, prediction, depth), what decision_tree::predict_class gives for a weight of 1,
  /// for cases 0 .. n - 1 of the block. Does not allocate once the thread's memory has grown.
  template <class Take>
  void predict(const case_block& cases, std::size_t n, const Take& take) const {
    predict_listed(
        cases, n, [](std::size_t i) { return i; }, take);
  }
  /// The same for some cases.
  template <class Take>
  void predict(const case_block& cases, std::span<const std::uint32_t> which,
               const Take& take) const {
    predict_listed(
        cases, which.size(), [&which](std::size_t i) { return which[i]; }, take);
  }

 private:
  /// Cases that descend side by side: while one waits for memory the others go on.
  static constexpr std::size_t k_lanes = 8;

  enum node_kind : std::uint32_t { CUT, VALUES, LEAF };
  struct flat_node {
    std::uint32_t first_child;  // LEAF: the node itself
    std::uint32_t kind : 2;
    std::uint32_t attribute : 30;
    std::uint32_t limit;  // CUT: threshold code; VALUES: number of children; LEAF: above codes
  };
  /// What a case finds at a leaf, or where its value is unknown.
  struct arrival {
    decision_tree::prediction found;
    double depth;
  };

  /// The node below for a code; the node itself at a leaf and for an unknown code.
  std::uint32_t below(std::uint32_t at, std::uint32_t code) const {
    const flat_node& node = nodes_[at];
    const std::uint32_t branch = node.kind == VALUES ? code - 1 : code > node.limit;
    return code == k_unknown ? at : node.first_child + branch;
  }

  template <class Case, class Take>
  void predict_listed(const case_block& cases, std::size_t n, const Case& case_at,
                      const Take& take) const {
    std::size_t i = 0;
    for (; i + k_lanes <= n; i += k_lanes) predict_some<k_lanes>(cases, i, case_at, take);
    for (; i < n; ++i) predict_some<1>(cases, i, case_at, take);
  }

  template <std::size_t Lanes, class Case, class Take>
  void predict_some(const case_block& cases, std::size_t first, const Case& case_at,
                    const Take& take) const {
    const std::uint32_t* codes[Lanes];
    std::uint32_t at[Lanes] = {};
    for (std::size_t l = 0; l < Lanes; ++l) codes[l] = cases.of_case(case_at(first + l)).data();
    bool on = nodes_[0].kind != LEAF;
    while (on) {
      std::uint32_t moved = 0;
      for (std::size_t l = 0; l < Lanes; ++l) {
        const std::uint32_t next = below(at[l], codes[l][nodes_[at[l]].attribute]);
        moved |= next ^ at[l];
        at[l] = next;
      }
      on = moved != 0;
    }
    for (std::size_t l = 0; l < Lanes; ++l) {
      if (nodes_[at[l]].kind == LEAF) {
        const arrival& end = arrivals_[at[l]];
        take(case_at(first + l), end.found, end.depth);
      } else {
        const arrival end = predict_unknown(at[l], codes[l]);
        take(case_at(first + l), end.found, end.depth);
      }
    }
  }

  arrival predict_unknown(std::uint32_t at, const std::uint32_t* codes) const;
  void add_leaf(const decision_node& leaf);
  void distribute(std::uint32_t leaf, double weight, std::vector<double>& distribution) const;

  /// The training weight of a node, and by class code where a leaf has several classes.
  struct mass {
    double weight;
    const double* classes;
  };

  std::size_t n_class_codes_;
  std::vector<flat_node> nodes_;
  std::vector<arrival> arrivals_;  // by node; of split nodes only the depth
  std::vector<mass> masses_;       // by node
};

/// Copies the codes of some rows of a table.
void gather_codes(const table& t, std::span<const case_list::value_type> cases,
                  std::vector<std::uint32_t>& codes);

}  // namespace orvik::impls
