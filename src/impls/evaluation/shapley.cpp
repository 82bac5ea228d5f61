#include "impls/evaluation/shapley.h"

#include <algorithm>
#include <cmath>

#include "impls/trees/packed_tree.h"
#include "impls/trees/tree_place.h"

namespace orvik::impls {

namespace {

constexpr std::uint32_t k_to_the_last = UINT32_MAX;

/// Points for ways of so many attributes. From some hundred on fewer than half as many are exact
/// to the last digits: no factor changes faster than the whole product, whose bump is as wide as
/// 1 / sqrt(n).
std::size_t points_for(std::size_t n_attributes) {
  constexpr double k_a_bump = 6;
  const auto enough =
      static_cast<std::size_t>(k_a_bump * std::sqrt(static_cast<double>(n_attributes)));
  return std::max<std::size_t>(1, std::min((n_attributes + 1) / 2, enough));
}

/// The codes from `first` on, as many as `span` more; behind the last one comes 0.
struct code_span {
  std::uint32_t first, span;
};

/// Of the branches from `begin` to before `end`.
code_span codes_between(const split_test& test, std::size_t begin, std::size_t end) {
  const auto code = static_cast<std::uint32_t>(test.code);
  const auto n = static_cast<std::uint32_t>(end - begin);
  if (!test.parts_in_two()) return {static_cast<std::uint32_t>(begin + 1), n - 1};
  if (n > 1) return {0, k_to_the_last};
  if (begin == 0) return test.is_cut() ? code_span{0, code} : code_span{code, 0};
  const std::uint32_t others = test.is_cut() ? code + 1 : 1;  // codes that are not taken
  return {code + 1, k_to_the_last - others};
}

}  // namespace

/// First all nodes, level by level, then the steps, the subtrees of a node by size.
template <class Place>
class shapley_tree::builder {
 public:
  builder(shapley_tree& into, std::size_t n_attributes, empty_leaves how, prior_shares prior)
      : into_(into),
        how_(how),
        prior_(prior),
        n_times_(n_attributes),
        shares_(into.n_class_codes_) {}

  void build(const Place& root) {
    nodes_.push_back({root, 0, {0, 0}, 1.0});
    for (std::size_t i = 0; i < nodes_.size(); ++i) {
      if (!nodes_[i].from.is_leaf()) open_children(static_cast<std::uint32_t>(i));
    }
    for (std::size_t i = nodes_.size(); --i > 0;) nodes_[nodes_[i].father].size += nodes_[i].size;
    into_.steps_.reserve(nodes_.size() - 1);
    open_.push_back({0, 0, 0, true});
    while (!open_.empty()) take_next();
    into_.points_ = std::make_unique<const quadrature>(points_for(most_on_way_));
  }

 private:
  struct node {
    Place from;
    std::uint32_t father;
    code_span codes;
    double fraction;
    std::uint32_t first_child = 0, n_children = 0;
    std::uint32_t size = 1;  // of the subtree
  };
  struct waiting {
    std::uint32_t number, depth, room;
    bool is_last;
  };

  void open_children(std::uint32_t number) {
    const Place at = nodes_[number].from;
    const auto first_child = static_cast<std::uint32_t>(nodes_.size());
    const double total = at->weight();
    std::size_t next = 0;
    at.for_each_child([&](std::size_t branch, const Place& child) {
      const double weight = child->weight();
      if (total > 0 && child.is_leaf() && weight == 0) return;
      if (branch > next) add_gap(number, next, branch);
      next = branch + 1;
      add_child(number, child, branch, branch + 1, total > 0 ? weight / total : 0.0);
    });
    if (next < at.n_branches()) add_gap(number, next, at.n_branches());
    nodes_[number].first_child = first_child;
    nodes_[number].n_children = static_cast<std::uint32_t>(nodes_.size()) - first_child;
  }

  /// Branches without cases next to each other lead to leaves that say the same: to one.
  void add_gap(std::uint32_t father, std::size_t begin, std::size_t end) {
    add_child(father, nodes_[father].from.child(begin), begin, end, 0.0);
  }

  void add_child(std::uint32_t father, const Place& child, std::size_t begin, std::size_t end,
                 double fraction) {
    const code_span codes = codes_between(nodes_[father].from.test(), begin, end);
    nodes_.push_back({child, father, codes, fraction});
  }

  void take_next() {
    const waiting at = open_.back();
    open_.pop_back();
    if (at.number > 0) add_step(at);
    const node& from = nodes_[at.number];
    if (from.n_children == 0) return;
    const std::uint32_t end = from.first_child + from.n_children;
    std::uint32_t largest = from.first_child;
    for (std::uint32_t i = largest; i < end; ++i) {
      if (nodes_[i].size > nodes_[largest].size) largest = i;
    }
    const std::uint32_t depth = at.number > 0 ? at.depth + 1 : 0;
    open_.push_back({largest, depth, at.room, true});
    for (std::uint32_t i = end; i-- > from.first_child;) {
      if (i != largest) open_.push_back({i, depth, at.room + 1, false});
    }
  }

  void add_step(const waiting& at) {
    const node& to = nodes_[at.number];
    const std::uint32_t attribute = nodes_[to.father].from.test().attribute;
    note_way(attribute, at.depth);
    const auto number = static_cast<std::uint32_t>(into_.steps_.size());
    step made{attribute, to.codes.first, to.codes.span, at.depth, number + to.size,
              at.room,   at.is_last,     to.fraction,   0,        0};
    if (to.n_children == 0) add_shares(to.from, made);
    into_.steps_.push_back(made);
    into_.deepest_ = std::max<std::size_t>(into_.deepest_, at.depth + 1);
    into_.n_rooms_ = std::max<std::size_t>(into_.n_rooms_, at.room + 1);
  }

  /// Counts the attributes on the way.
  void note_way(std::uint32_t attribute, std::uint32_t depth) {
    for (; way_.size() > depth; way_.pop_back()) n_on_way_ -= --n_times_[way_.back()] == 0;
    way_.push_back(attribute);
    n_on_way_ += n_times_[attribute]++ == 0;
    most_on_way_ = std::max(most_on_way_, n_on_way_);
  }

  void add_shares(const Place& leaf, step& to) {
    std::ranges::fill(shares_, 0.0);
    how_ == empty_leaves::as_class ? leaf->add_shares(1.0, shares_)
                                   : leaf->add_known_shares(1.0, shares_, prior_);
    to.first_share = static_cast<std::uint32_t>(into_.shares_.size());
    for (std::uint32_t c = 0; c < shares_.size(); ++c) {
      if (shares_[c] != 0) into_.shares_.push_back({c, shares_[c]});
    }
    to.n_shares = static_cast<std::uint32_t>(into_.shares_.size()) - to.first_share;
  }

  shapley_tree& into_;
  empty_leaves how_;
  prior_shares prior_;
  std::vector<node> nodes_;
  std::vector<waiting> open_;
  std::vector<std::uint32_t> way_;      // the attributes tested, by depth
  std::vector<std::uint32_t> n_times_;  // by attribute: on the way
  std::size_t n_on_way_ = 0, most_on_way_ = 0;
  std::vector<double> shares_;
};

shapley_tree::shapley_tree(const table& t, const voter& asked, empty_leaves how, prior_shares prior)
    : n_class_codes_(t.n_class_codes()) {
  const unsigned long n = t.n_attributes();
  if (const auto* tree = std::get_if<const decision_tree*>(&asked.tree)) {
    builder<tree_place>(*this, n, how, prior).build(tree_place(**tree));
  } else {
    const packed_tree& packed = *std::get<const packed_tree*>(asked.tree);
    builder<packed_tree::node>(*this, n, how, prior).build(packed.root());
  }
}

void shapley_tree::add_tested(std::vector<bool>& tested) const {
  for (const step& s : steps_) tested[s.attribute] = true;
}

/// Of other tests too, which does no harm.
void shapley_tree::add_limits(std::vector<std::vector<code_t>>& by_attribute) const {
  for (const step& s : steps_) {
    if (s.first > 0) by_attribute[s.attribute].push_back(s.first - 1);
  }
}

void shapley_tree::add_parts(std::span<const lane_codes> codes, double amount,
                             std::span<const std::uint32_t> place_of, workspace& work,
                             std::span<lanes> parts) const {
  work.start(*this);
  for (std::uint32_t i = 0; i < steps_.size();) {
    const step& s = steps_[i];
    work.go_up_to(s.depth);
    if (!work.go_down(s, codes[s.attribute])) {
      i = s.next;
      continue;
    }
    if (s.next == ++i) {
      work.end(s, std::span(shares_).subspan(s.first_share, s.n_shares), amount, n_class_codes_,
               place_of, parts);
    }
  }
  work.go_up_to(0);
}

void shapley_tree::workspace::start(const shapley_tree& tree) {
  points_ = tree.points_.get();
  const std::size_t n = points_->size();
  if (levels_.size() < tree.deepest_) levels_.resize(tree.deepest_);
  if (way_.size() < tree.deepest_) way_.resize(tree.deepest_);
  if (inverse_.size() < tree.deepest_ * n) inverse_.resize(tree.deepest_ * n);
  if (products_.size() < tree.n_rooms_ * n) products_.resize(tree.n_rooms_ * n);
  if (weighted_.size() < n) weighted_.resize(n);
  for (std::size_t q = 0; q < n; ++q) products_[q].fill(1.0);
}

void shapley_tree::workspace::go_up_to(std::uint32_t depth) {
  while (depth_ > depth) {
    const level& left = levels_[--depth_];
    latest_[left.attribute] = left.before;
    if (left.before == k_none) {
      --n_on_way_;
    } else {
      way_[left.place] = left.before;
    }
  }
}

bool shapley_tree::workspace::go_down(const step& s, const lane_codes& codes) {
  const std::uint32_t before = latest_[s.attribute];
  const bool is_first = before == k_none;
  level& to = levels_[depth_];
  to.rest = is_first ? s.fraction : levels_[before].rest * s.fraction;
  lanes stayed;  // 1 for cases that agreed so far
  bool any = to.rest != 0;
  for (std::size_t i = 0; i < k_lanes; ++i) {
    const bool known = codes[i] != k_unknown;
    stayed[i] = is_first ? (known ? 1.0 : 0.0) : levels_[before].agrees[i];
    const bool takes = known && codes[i] - s.first <= s.span;
    to.agrees[i] = takes ? stayed[i] : 0.0;
    to.differs[i] = known ? 1.0 - to.agrees[i] : 0.0;
    any |= to.agrees[i] != 0;
  }
  if (!any) return false;
  to.attribute = s.attribute;
  to.before = before;
  to.place = is_first ? static_cast<std::uint32_t>(n_on_way_++) : levels_[before].place;
  way_[to.place] = latest_[s.attribute] = static_cast<std::uint32_t>(depth_++);
  multiply(s, to, stayed);
  return true;
}

/// The products at the child, from those at the node: the factor of the attribute changes from
/// that of its level before, which is 1 where it is tested for the first time. Of cases that did
/// not agree before, or whose value is unknown, it does so by the branch's share at every point.
void shapley_tree::workspace::multiply(const step& s, const level& to, const lanes& stayed) {
  const std::size_t n = points_->size();
  const double* const before = to.before == k_none ? nullptr : &inverse_[to.before * n];
  double* const inverse = &inverse_[(depth_ - 1) * n];
  lanes* const into = &products_[s.room * n];
  const lanes* const from = s.is_last ? into : into - n;
  lanes left, others;
  for (std::size_t i = 0; i < k_lanes; ++i) {
    left[i] = stayed[i] - to.agrees[i];
    others[i] = (1.0 - stayed[i]) * s.fraction;
  }
  for (std::size_t q = 0; q < n; ++q) {
    const double absent = points_->to_one[q] * to.rest;
    const double present = points_->at[q] + absent;
    inverse[q] = 1 / present;
    const double change = before == nullptr ? 1.0 : before[q];
    const double agree = present * change, differ = absent * change;
    for (std::size_t i = 0; i < k_lanes; ++i) {
      into[q][i] = from[q][i] * (to.agrees[i] * agree + left[i] * differ + others[i]);
    }
  }
}

void shapley_tree::workspace::end(const step& s, std::span<const share> shares, double amount,
                                  std::size_t n_class_codes,
                                  std::span<const std::uint32_t> place_of, std::span<lanes> parts) {
  sum_points(s);
  for (std::size_t k = 0; k < n_on_way_; ++k) {
    const level& of = levels_[way_[k]];
    add_attribute(of, &inverse_[way_[k] * points_->size()], shares, amount,
                  &parts[place_of[of.attribute] * n_class_codes]);
  }
}

void shapley_tree::workspace::sum_points(const step& s) {
  const std::size_t n = points_->size();
  const lanes* const products = &products_[s.room * n];
  lanes sum{};
  for (std::size_t q = 0; q < n; ++q) {
    for (std::size_t i = 0; i < k_lanes; ++i) {
      weighted_[q][i] = products[q][i] * points_->weights[q];
      sum[i] += weighted_[q][i] * points_->inverse_to_one[q];
    }
  }
  of_others_ = sum;
}

void shapley_tree::workspace::add_attribute(const level& of, const double* inverse,
                                            std::span<const share> shares, double amount,
                                            lanes* to) const {
  lanes sum{};
  for (std::size_t q = 0; q < points_->size(); ++q) {
    for (std::size_t i = 0; i < k_lanes; ++i) sum[i] += weighted_[q][i] * inverse[q];
  }
  const double gained = (1 - of.rest) * amount;
  for (std::size_t i = 0; i < k_lanes; ++i) {
    sum[i] = of.agrees[i] * gained * sum[i] - of.differs[i] * amount * of_others_[i];
  }
  for (const share& each : shares) {
    lanes& part = to[each.class_code];
    for (std::size_t i = 0; i < k_lanes; ++i) part[i] += sum[i] * each.value;
  }
}

}  // namespace orvik::impls
