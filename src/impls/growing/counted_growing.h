// Growing one tree on cases of weight 1.
//
// The cases of all nodes lie in one array, those of a node side by side: a split puts its cases
// in order of their branches, each branch in the order it had. A node whose tested value is
// unknown for some case has children with fractions of cases: these are weighed.
// Threads: nodes of which none is above another may be worked on side by side.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "impls/growing/growing_node.h"
#include "impls/growing/growing_plan.h"
#include "impls/growing/told_branches.h"
#include "impls/growing/weighed_growing.h"
#include "impls/splitting/counted_cases.h"

namespace orvik::impls {

class counted_growing {
 public:
  static bool possible(const growing_plan& plan, const case_list& cases) {
    return plan.may_count() && countable(cases);
  }
  /// `plan` must outlive this, and so must `weighed`, which gives a node children that have
  /// fractions of cases. `draw`, which may be null, picks the attributes of a node.
  counted_growing(const growing_plan& plan, zel::util::rand_gen* draw,
                  const weighed_growing& weighed)
      : plan_(plan), draw_(draw), weighed_(weighed) {}

  /// Takes cases and ranges of an active root.
  counted_piece take_root(decision_node& root);
  /// Splits a node or makes it a leaf. Appends the children that are not finished.
  void grow(growing_node&& node, std::vector<growing_node>& open);

  /// Takes cases of another one, as rows 0, 1, ..., and makes `piece` theirs. It has none yet.
  void adopt(counted_piece& piece, std::span<const counted_case> cases);
  std::span<const counted_case> cases_of(const counted_piece& piece) const {
    return {cases_.data() + piece.begin, piece.end - piece.begin};
  }

  // The steps of grow() where others know some of the columns.

  /// Fills in what the candidates' tests are worth; where the rules draw, leaves some out.
  void measure(growing_node& of, std::vector<candidate>& candidates) const;
  /// Appends what told_branches reads of a node with a test.
  void tell_branches(const growing_node& of, std::string& to) const;
  /// Gives a node with a test its children by what was told; appends those that are not finished.
  void make_children(growing_node& node, const growing::told_branches& told,
                     std::vector<growing_node>& open);

 private:
  void sort_in_place(const counted_piece& piece, const std::vector<candidate>& candidates);
  bool meets_unknown(const counted_piece& piece, unsigned int attribute) const;
  void make_children(growing_node& node, std::vector<growing_node>& open);
  void add_children(growing_node& node, std::vector<growing_node>& open);
  std::span<counted_case> cases_of(const growing_node& node) {
    return {cases_.data() + node.piece.begin, node.piece.end - node.piece.begin};
  }
  void weigh(growing_node& node) const;
  void make_weighed_children(growing_node& node, std::vector<growing_node>& open);

  const growing_plan& plan_;
  zel::util::rand_gen* draw_;
  const weighed_growing& weighed_;
  std::vector<counted_case> cases_;
};

}  // namespace orvik::impls
