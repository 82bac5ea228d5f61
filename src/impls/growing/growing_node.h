// A node on its way: what is to be split next.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "impls/growing/growing_plan.h"
#include "impls/splitting/flag_cells.h"
#include "impls/splitting/node_cases.h"
#include "impls/trees/candidate.h"
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
  std::uint64_t varying = ~std::uint64_t{0};  // flags but those known to be the same for all cases

  /// Of a child, from 0.
  std::size_t branch() const { return tree->get_node()->position() - 1; }
  /// That of branch i follows from the path alone, whoever grows it and when.
  unsigned long seed_of_branch(unsigned long i) const {
    return zel::util::spread(seed ^ zel::util::spread(i + 1));
  }
};

/// Makes a node of counted or weighed cases a leaf, which it stays without a test. @return whether
/// one is looked for: then `candidates` are the attributes that may be tested, in their order.
bool find_candidates(const growing_plan& plan, const growing_node& node,
                     std::vector<candidate>& candidates);

/// Gives what a father hands down to those of his children that are open: his ranges, but for that
/// of the tested attribute, range_of(branch), and what he knows of flags. The last takes over his
/// memory.
template <class RangeOf>
void hand_down(const growing_plan& plan, growing_node& father, std::span<growing_node> children,
               const RangeOf& range_of) {
  const unsigned long n = plan.attributes().size();
  for (growing_node& child : children) {
    std::unique_ptr<narrow_range[]>& ranges = child.piece.ranges;
    if (&child == &children.back()) {
      ranges = std::move(father.piece.ranges);
    } else {
      ranges = std::make_unique_for_overwrite<narrow_range[]>(n);
      std::copy_n(father.piece.ranges.get(), n, ranges.get());
    }
    ranges[father.tree->get_node()->attribute()] = range_of(child.branch());
    child.varying = father.varying;
  }
}

/// Knows at a node that draws its attributes which flags are the same for all cases: one pass over
/// the cases is less than measuring one of them. Such a flag parts nothing: one branch is empty,
/// which counts only where the least weight is none.
template <class Case>
class flag_watch {
 public:
  flag_watch(const growing_plan& plan, std::span<const Case> cases, growing_node& of)
      : plan_(plan), cases_(cases), varying_(of.varying) {}

  bool is_constant(const candidate& c) {
    const unsigned int flag = plan_.attributes()[c.attribute].flag;
    if (flag == growing_plan::k_no_flag || !(plan_.min_weight() > 0)) return false;
    if (!looked_ && (varying_ >> flag & 1U) != 0) {
      varying_ &= splitting::varying_flags(cases_, std::span(plan_.flags()));
      looked_ = true;
    }
    return (varying_ >> flag & 1U) == 0;
  }

 private:
  const growing_plan& plan_;
  std::span<const Case> cases_;
  std::uint64_t& varying_;
  bool looked_ = false;
};

/// Gives an active split node its children, each active with the cases of its branch, and appends
/// those that are not finished; releases the node's cases.
void make_active_children(const growing_plan& plan, const growing_node& of,
                          std::vector<growing_node>& open);

}  // namespace orvik::impls
