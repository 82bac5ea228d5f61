// Where cases without a value for a test go on to.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "impls/evaluation/flat_tree.h"
#include "impls/trees/distribution.h"

namespace orvik::impls {

/// Calls give(child, weight) for the branches that some of a part goes to. Nothing adds nothing.
template <class Give>
void flat_tree::parting::for_each_branch(place stopped, double weight, const Give& give) const {
  const split& here = tree_.splits_[stopped & ~k_marks];
  const auto part_with = [&](place child, double of_child) {
    const double some = part_of(weight, of_child, here.weight);
    if (some != 0) give(child, some);
  };
  if (here.has_two()) {
    part_with(here.child[0], here.below[0]);
    part_with(here.child[1], here.below[1]);
    return;
  }
  const auto [first, n] = here.child;
  for (const branch& b : std::span(tree_.branches_).subspan(first, n)) part_with(b.child, b.weight);
}

/// Makes the ends of the first n that stopped, or of fewer. @return of how many.
std::size_t flat_tree::parting::open_some(const group& cases, std::span<const part> stopped,
                                          std::size_t n) {
  for (; n > 1; n /= 2) {
    if (open_in_rounds(cases, stopped.first(n))) return n;
  }
  if (!open_in_rounds(cases, stopped.first(1))) walk(cases, stopped[0]);
  return 1;
}

/// @return false where there are too many parts.
bool flat_tree::parting::open_in_rounds(const group& cases, std::span<const part> stopped) {
  pieces_.clear();
  stopped_.clear();
  for (const part& p : stopped) {
    stopped_.push_back(static_cast<std::uint32_t>(pieces_.size()));
    pieces_.push_back({p.weight, p.at, p.slot, 0, 0, 0});
  }
  while (!stopped_.empty()) {
    if (pieces_.size() > k_most_parts) return false;
    open_all();
    step_down(cases);
  }
  order_ends(stopped.size());
  return true;
}

/// Appends what goes down the branches from all that stopped.
void flat_tree::parting::open_all() {
  on_way_.clear();
  for (const std::uint32_t i : stopped_) {
    const piece whole = pieces_[i];
    for_each_branch(whole.at, whole.weight, [&](place child, double weight) {
      if ((child & k_marks) == 0) on_way_.push_back(static_cast<std::uint32_t>(pieces_.size()));
      pieces_.push_back({weight, child, whole.slot, i, 0, 0});
    });
  }
}

/// Takes pieces to where they end, and notes those that stop.
void flat_tree::parting::step_down(const group& cases) {
  stopped_.resize(on_way_.size());
  std::size_t n_stopped = 0;
  for (std::size_t left = on_way_.size(); left > 0;) {
    std::size_t still = 0;
    for (std::size_t k = 0; k < left; ++k) {
      const std::uint32_t i = on_way_[k];
      piece& p = pieces_[i];
      p.at = tree_.below<false>(p.at, cases.codes[p.slot]);
      stopped_[n_stopped] = i;
      n_stopped += (p.at & k_marks) == k_stopped;
      on_way_[still] = i;
      still += (p.at & k_marks) == 0;
    }
    left = still;
  }
  stopped_.resize(n_stopped);
}

/// Pieces were made after those that they were opened from, branch by branch.
void flat_tree::parting::order_ends(std::size_t n_cases) {
  const auto is_end = [](const piece& p) { return (p.at & k_leaf) != 0; };
  for (std::size_t i = pieces_.size(); i-- > n_cases;) {
    piece& p = pieces_[i];
    p.n_ends += is_end(p);
    pieces_[p.from].n_ends += p.n_ends;
  }
  std::uint32_t n_ends = 0;
  for (piece& p : std::span(pieces_).first(n_cases)) {
    p.before = n_ends;
    n_ends += p.n_ends;
  }
  ends_.resize(n_ends + 1);  // the last one takes what is no end
  for (piece& p : std::span(pieces_).subspan(n_cases)) {
    std::uint32_t& before = pieces_[p.from].before;
    p.before = before;
    before += p.n_ends;
    ends_[is_end(p) ? p.before : n_ends] = {p.at, p.slot, p.weight};
  }
  ends_.pop_back();
}

/// One case depth first.
void flat_tree::parting::walk(const group& cases, const part& stopped) {
  std::vector<part> open{stopped};
  ends_.clear();
  while (!open.empty()) {
    part p = open.back();
    open.pop_back();
    while ((p.at & k_marks) == 0) p.at = tree_.below<false>(p.at, cases.codes[p.slot]);
    if ((p.at & k_leaf) != 0) {
      ends_.push_back(p);
      continue;
    }
    const auto first = static_cast<std::ptrdiff_t>(open.size());
    for_each_branch(p.at, p.weight, [&](place child, double weight) {
      open.push_back({child, p.slot, weight});
    });
    std::reverse(open.begin() + first, open.end());  // the first comes first
  }
}

}  // namespace orvik::impls
