// Splits nodes of one tree, each in the way that its cases allow.
// Threads: nodes of which none is above another may be worked on side by side.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "impls/growing/counted_growing.h"
#include "impls/growing/growing_node.h"
#include "impls/growing/growing_plan.h"
#include "impls/growing/weighed_growing.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

class node_growing {
 public:
  /// `plan` must outlive this. `draw`, which may be null, picks the attributes of a node.
  node_growing(const growing_plan& plan, zel::util::rand_gen* draw)
      : plan_(plan), draw_(draw), weighed_(plan, draw), counted_(plan, draw, weighed_) {}

  /// Takes a tree that is an active root.
  growing_node start(decision_tree& root, unsigned long max_depth, unsigned long seed);
  zel::util::run_context& run() const { return plan_.run(); }

  /// Splits an open node or makes it a leaf; appends its open children. Throws where the run is
  /// cancelled.
  void grow(growing_node&& node, std::vector<growing_node>& open);
  /// Grows all below an open node; without draws: what was touched last goes first.
  void grow_by_branches(growing_node&& root);

  // The steps of grow() for counted and weighed cases where others know some of the columns.
  void measure(growing_node& of, std::vector<candidate>& candidates) const;
  void tell_branches(const growing_node& of, std::string& to) const;
  /// What the front of `told`, which is taken off, tells of a node.
  growing::told_branches read_branches(const growing_node& of, std::string_view& told) const;
  void make_children(growing_node& node, const growing::told_branches& told,
                     std::vector<growing_node>& open);
  /// Cases of a node, an entry each.
  static std::size_t n_entries(const growing_node& of) {
    return of.weighed.memory ? of.weighed.size : of.piece.end - of.piece.begin;
  }
  /// Calls visit(span) with the counted or weighed cases of a node.
  template <class Visit>
  void visit_cases(const growing_node& of, const Visit& visit) const {
    using splitting::weighed_case;
    of.weighed.memory ? visit(std::span<const weighed_case>(of.weighed.cases()))
                      : visit(counted_.cases_of(of.piece));
  }
  /// Takes a node of another one's; its cases are rows 0, 1, ... of this one's plan.
  growing_node adopt(growing_node&& node, const node_growing& from);

 private:
  const growing_plan& plan_;
  zel::util::rand_gen* draw_;
  weighed_growing weighed_;
  counted_growing counted_;
};

}  // namespace orvik::impls
