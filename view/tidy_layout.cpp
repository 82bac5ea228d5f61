#include "tidy_layout.h"

#include <algorithm>
#include <cassert>
#include <limits>

namespace orvik::view {

namespace {

constexpr long k_none = -1;

/// The names are those of the paper: prelim is a place relative to the father's other children, mod
/// what all below a node are still to be moved by; threads lead on along the outline of a subtree.
class layout {
 public:
  explicit layout(const std::vector<layout_node>& nodes);
  std::vector<double> places();

 private:
  struct state {
    long first = k_none, last = k_none;  // children
    long left = k_none;                  // the sibling before
    long number = 0;                     // among the siblings
    long thread = k_none, ancestor = k_none;
    long default_ancestor = k_none;  // of the children, while they are placed
    double prelim = 0, mod = 0, shift = 0, change = 0;
  };

  state& at(long i) { return states_[static_cast<std::size_t>(i)]; }
  const layout_node& node(long i) const { return nodes_[static_cast<std::size_t>(i)]; }
  long next_left(long i) { return at(i).first == k_none ? at(i).thread : at(i).first; }
  long next_right(long i) { return at(i).last == k_none ? at(i).thread : at(i).last; }
  double distance(long a, long b) const { return (node(a).width + node(b).width) / 2; }

  void place(long i);
  void execute_shifts(long i);
  void apportion(long i);
  void make_room(long left_inner, long i, double shift);
  void link_children();

  const std::vector<layout_node>& nodes_;
  std::vector<state> states_;
};

layout::layout(const std::vector<layout_node>& nodes) : nodes_(nodes), states_(nodes.size()) {
  link_children();
}

void layout::link_children() {
  for (long i = 0; i < static_cast<long>(nodes_.size()); ++i) {
    at(i).ancestor = i;
    const long father = node(i).father;
    assert(father < i && (father != k_none || i == 0));
    if (father == k_none) continue;
    at(i).left = at(father).last;
    at(i).number = at(i).left == k_none ? 0 : at(at(i).left).number + 1;
    if (at(father).first == k_none) at(father).first = at(father).default_ancestor = i;
    at(father).last = i;
  }
}

/// After all nodes below and the siblings on the left.
void layout::place(long i) {
  double middle = 0;
  if (at(i).first != k_none) {
    execute_shifts(i);
    middle = (at(at(i).first).prelim + at(at(i).last).prelim) / 2;
  }
  if (at(i).left == k_none) {
    at(i).prelim = middle;
    return;
  }
  at(i).prelim = at(at(i).left).prelim + distance(at(i).left, i);
  at(i).mod = at(i).prelim - middle;
  apportion(i);
}

/// Children between two that were moved apart share the room.
void layout::execute_shifts(long i) {
  double shift = 0;
  double change = 0;
  for (long child = at(i).last; child != k_none; child = at(child).left) {
    at(child).prelim += shift;
    at(child).mod += shift;
    change += at(child).change;
    shift += at(child).shift + change;
  }
}

/// Moves the subtree `i` right by `shift`, away from the one that holds `left_inner`.
void layout::make_room(long left_inner, long i, double shift) {
  const long father = node(i).father;
  const long greatest = at(left_inner).ancestor;
  const long from = node(greatest).father == father ? greatest : at(father).default_ancestor;
  assert(at(i).number > at(from).number);
  const double each = shift / static_cast<double>(at(i).number - at(from).number);
  at(i).change -= each;
  at(i).shift += shift;
  at(from).change += each;
  at(i).prelim += shift;
  at(i).mod += shift;
}

/// Follows the outlines of the subtree `i` and of those on its left, until one of them ends.
void layout::apportion(long i) {
  long inner_right = i, outer_right = i, inner_left = at(i).left;
  long outer_left = at(node(i).father).first;
  double sum_ir = at(i).mod, sum_or = at(i).mod;
  double sum_il = at(inner_left).mod, sum_ol = at(outer_left).mod;
  while (next_right(inner_left) != k_none && next_left(inner_right) != k_none) {
    inner_left = next_right(inner_left);
    inner_right = next_left(inner_right);
    outer_left = next_left(outer_left);
    outer_right = next_right(outer_right);
    at(outer_right).ancestor = i;
    const double overlap = at(inner_left).prelim + sum_il - at(inner_right).prelim - sum_ir +
                           distance(inner_left, inner_right);
    if (overlap > 0) {
      make_room(inner_left, i, overlap);
      sum_ir += overlap;
      sum_or += overlap;
    }
    sum_il += at(inner_left).mod;
    sum_ir += at(inner_right).mod;
    sum_ol += at(outer_left).mod;
    sum_or += at(outer_right).mod;
  }
  if (next_right(inner_left) != k_none && next_right(outer_right) == k_none) {
    at(outer_right).thread = next_right(inner_left);
    at(outer_right).mod += sum_il - sum_or;
  }
  if (next_left(inner_right) != k_none && next_left(outer_left) == k_none) {
    at(outer_left).thread = next_left(inner_right);
    at(outer_left).mod += sum_ir - sum_ol;
    at(node(i).father).default_ancestor = i;
  }
}

std::vector<double> layout::places() {
  const long n = static_cast<long>(nodes_.size());
  // A node is ready when the next one in the list is not below it: then it and, up the tree, all
  // whose last child is ready are placed.
  for (long i = 0; i < n; ++i) {
    if (at(i).first != k_none) continue;
    for (long ready = i;; ready = node(ready).father) {
      place(ready);
      const long father = node(ready).father;
      if (father == k_none || at(father).last != ready) break;
    }
  }
  std::vector<double> middles(nodes_.size());
  std::vector<double> moved(nodes_.size());  // by the mods above and of the node itself
  double left = std::numeric_limits<double>::max();
  for (long i = 0; i < n; ++i) {
    const auto place = static_cast<std::size_t>(i);
    const double above =
        node(i).father == k_none ? 0 : moved[static_cast<std::size_t>(node(i).father)];
    middles[place] = at(i).prelim + above;
    moved[place] = above + at(i).mod;
    left = std::min(left, middles[place] - node(i).width / 2);
  }
  for (double& middle : middles) middle -= left;
  return middles;
}

}  // namespace

std::vector<double> tidy_layout(const std::vector<layout_node>& nodes) {
  return layout(nodes).places();
}

}  // namespace orvik::view
