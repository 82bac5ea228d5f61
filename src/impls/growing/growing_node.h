// A node on its way: what is to be split next.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "impls/growing/growing_plan.h"
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

/// A node to be split, with the levels left below it.
struct growing_node {
  decision_tree* tree;
  unsigned long depth;
  counted_piece piece;
  unsigned long seed = 0;  // of its draws

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
