// Growing one tree by all processes of a team, each of which measures some of the columns.
//
// All processes hold the cases of the open nodes, in the same order. In a round the nodes of a
// level are split: every process measures its own columns and tells the others what their tests are
// worth; each finds the best of all for itself; whose column is tested tells the branch of every
// case (told_branches.h), and all part their cases alike. A test is measured by one process, over
// the cases in the order that one process alone would give them: the tree is the same to the last
// bit. What is below a node of few cases is grown whole by the process that asks first, and told as
// a packed tree.
//
// A round tells at most 25 bytes a node and attribute, and a bit a case and test in two, two bits
// where values are unknown. What it tells and does hangs neither on the number of processes nor on
// their speed.
// Rules that draw are not for it: whether one more attribute is drawn hangs on the measures of
// those before.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "impls/growing/node_growing.h"

namespace orvik::impls {

class shared_growing {
 public:
  /// Whether the plan's run wants it, and it pays for these cases.
  static bool possible(const growing_plan& plan, const case_list& cases);
  /// `plan` must outlive this; all processes have the same.
  explicit shared_growing(const growing_plan& plan);
  /// Takes the root of a tree, which is of counted or weighed cases.
  node_growing& growing() { return growing_; }
  /// Grows all below it. Called by all processes.
  void grow(growing_node&& root);

 private:
  /// A node of a round, and the tests that it may have.
  struct splitting_node {
    growing_node node;
    std::vector<candidate> candidates;
  };
  using node_list = std::vector<splitting_node>;

  void add(growing_node&& node);
  void grow_round();
  node_list next_nodes();
  std::string measure(node_list& nodes) const;
  void take_measures(node_list& nodes, const std::vector<std::string>& told) const;
  std::string find_branches(node_list& nodes) const;
  void make_children(node_list& nodes, const std::vector<std::string>& told);
  void grow_small();
  void grow_gathered();
  void hand_out();
  std::string grow_whole(std::span<growing_node> roots);

  unsigned long owner_of(unsigned int attribute) const {
    return plan_.attributes()[attribute].owner;
  }
  std::vector<std::string> exchange(std::string mine);

  const growing_plan& plan_;
  zel::util::run_context& run_;
  node_growing growing_;
  unsigned long few_ = 0;           // cases of a node that is grown whole: fewer
  unsigned long most_at_once_ = 0;  // cases of a round, but for one node
  std::vector<growing_node> open_, small_;
  unsigned long n_waiting_ = 0;  // weighed cases of `small_`
  unsigned long n_told_ = 0;     // bytes in this round
};

}  // namespace orvik::impls
