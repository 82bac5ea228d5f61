// Growing one tree on cases that may weigh anything.
//
// Every open node has its cases in memory of its own, 16 bytes each. A split in two moves them
// within it, the smaller branch to new memory; where a tested value is unknown, or there are many
// branches, each branch that goes on gets a list, in the order of the node's. No node is activated.
// Every sum is made in the order in which decision_node makes it, whose results these are to the
// last bit.
// Threads: nodes of which none is above another may be worked on side by side.
#pragma once

#include <string>
#include <vector>

#include "impls/growing/growing_node.h"
#include "impls/growing/growing_plan.h"
#include "impls/growing/told_branches.h"
#include "impls/trees/candidate.h"

namespace orvik::impls {

class weighed_growing {
 public:
  /// Whether codes and rows of the table fit in 32 bits.
  static bool possible(const growing_plan& plan, const case_list& cases);
  /// `plan` must outlive this. `draw`, which may be null, picks the attributes of a node.
  weighed_growing(const growing_plan& plan, zel::util::rand_gen* draw) : plan_(plan), draw_(draw) {}

  /// Takes cases and ranges of an active root.
  void take_root(growing_node& root) const;
  /// Splits a node or makes it a leaf. Appends the children that are not finished.
  void grow(growing_node&& node, std::vector<growing_node>& open) const;
  /// Gives a split node its children, those that are not finished its cases, and appends these.
  void make_children(growing_node& node, std::vector<growing_node>& open) const;

  // As counted_growing has them.
  void measure(growing_node& of, std::vector<candidate>& candidates) const;
  void tell_branches(const growing_node& of, std::string& to) const;
  void make_children(growing_node& node, const growing::told_branches& told,
                     std::vector<growing_node>& open) const;

 private:
  bool is_sorted_in_place(const growing_node& of, const candidate& c) const;
  template <class Codes, class BranchOf>
  void part(const growing_node& of, const Codes& codes, BranchOf branch_of, bool in_two) const;
  void add_children(growing_node& node, std::vector<growing_node>& open, bool in_two) const;

  const growing_plan& plan_;
  zel::util::rand_gen* draw_;
};

}  // namespace orvik::impls
