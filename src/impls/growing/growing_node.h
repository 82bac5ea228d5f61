// A node on its way: what is to be split next.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "impls/growing/growing_plan.h"
#include "impls/splitting/node_cases.h"
#include "impls/trees/decision_tree.h"
#include "zel/util/quick_gen.h"

namespace orvik::impls {

/// Half-open range of known codes of a column whose codes fit in 32 bits.
using narrow_range = std::pair<std::uint32_t, std::uint32_t>;

/// Where the counted cases of a node lie, and its ranges by attribute.
struct counted_piece {
  std::size_t begin = 0, end = 0;
  std::unique_ptr<narrow_range[]> ranges;  // null: the node is active instead, or finished
};

/// The weighed cases of a node, the first of its memory.
struct weighed_list {
  std::unique_ptr<splitting::weighed_case[]> memory;  // null: there are no such cases
  std::size_t size = 0, capacity = 0;

  weighed_list() = default;
  explicit weighed_list(std::size_t n)
      : memory(std::make_unique_for_overwrite<splitting::weighed_case[]>(n)),
        size(n),
        capacity(n) {}
  std::span<splitting::weighed_case> cases() const { return {memory.get(), size}; }
};

/// A node to be split, with the levels left below it.
struct growing_node {
  decision_tree* tree;
  unsigned long depth;
  counted_piece piece;
  unsigned long seed = 0;  // of its draws
  weighed_list weighed = {};

  /// That of branch i follows from the path alone, whoever grows it and when.
  unsigned long seed_of_branch(unsigned long i) const {
    return zel::util::spread(seed ^ zel::util::spread(i + 1));
  }
};

/// Gives an active split node its children, each active with the cases of its branch, and appends
/// those that are not finished; releases the node's cases.
void make_active_children(const growing_plan& plan, const growing_node& of,
                          std::vector<growing_node>& open);

}  // namespace orvik::impls
