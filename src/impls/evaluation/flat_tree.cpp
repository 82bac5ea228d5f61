#include "impls/evaluation/flat_tree.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdint>
#include <stdexcept>

#include "impls/trees/distribution.h"
#include "impls/trees/packed_tree.h"
#include "impls/trees/tree_place.h"

namespace orvik::impls {

namespace {

constexpr char k_wide_codes[] = "too many distinct values in column ";
constexpr char k_to_predict[] = " to predict with";
constexpr char k_many_attributes[] = "too many attributes to predict with";

constexpr unsigned long k_max_attributes = 1UL << 30;

}  // namespace

void flat_tree::require_narrow(const table& t) {
  for (unsigned long a = 0; a < t.n_attributes(); ++a) {
    if (t.column_of(a).codes().bits <= 32) continue;
    throw std::runtime_error(k_wide_codes + t.column_of(a).name() + k_to_predict);
  }
  if (t.n_attributes() >= k_max_attributes) throw std::runtime_error(k_many_attributes);
}

/// Level by level, so that the upper tests, which all cases take, lie together; and the nodes of a
/// random forest's trees were made in that order. Every subtree but the root makes a branch. Leaves
/// that no case came to are one and the same for all branches of a split: they take no more than it
/// takes to tell these from the others.
template <class Place>
class flat_tree::builder {
 public:
  explicit builder(flat_tree& into) : into_(into) {}

  void build(const Place& root) {
    open_.push_back({root, {k_none, k_none}, 0, k_none, k_none});
    for (std::size_t i = 0; i < open_.size(); ++i) {
      const subtree next = open_[i];
      at_ = static_cast<std::uint32_t>(i);
      const place at = next.from.is_leaf() ? add_leaf(next) : add_split(next);
      if (i == 0) into_.root_ = at;
      for (const std::uint32_t slot : next.slots) {
        if (slot != k_none) lead(slot, at);
      }
      if (i > 0) into_.branches_.push_back({at, next.from->weight()});
    }
    keep_pairs();
  }

 private:
  struct subtree {
    Place from;
    std::array<std::uint32_t, 2> slots;  // which ways of tests lead here: 2 * test + way
    std::uint32_t depth;
    std::uint32_t father;  // in open_
    std::uint32_t known;   // its class weights in known_, once they were asked for
  };
  /// Branches next to each other: one with cases, or some without.
  struct run {
    unsigned int end;    // one past its last branch
    std::uint32_t open;  // where its subtree waits; k_none without cases
  };

  /// Two branches go to their split; others stay where they are, closed up.
  void keep_pairs() const {
    std::vector<branch> others;
    for (split& s : into_.splits_) {
      const auto [first, n] = s.child;
      const branch* const from = into_.branches_.data() + first;
      if (n == 2) {
        s = {s.weight, {from[0].weight, from[1].weight}, {from[0].child, from[1].child}};
      } else {
        s.child[0] = static_cast<place>(others.size());
        others.insert(others.end(), from, from + n);
      }
    }
    into_.branches_ = std::move(others);
  }

  place add_leaf(const subtree& at) {
    const Place& node = at.from;
    const std::uint32_t predicted = node->get_leaf_class();
    const auto first_share = static_cast<std::uint32_t>(into_.shares_.size());
    leaf made{predicted, at.depth, 1.0, 1.0, k_none, 0};
    if (const double weight = node->weight(); weight > 0) {
      made.confidence = node->get_leaf_classfreq();
      made.weight = weight;
      const bool of_one = into_.prior_.empty();  // else its share leans on the prior as others do
      if (const std::uint32_t n = add_weights(node); n > (of_one ? 1U : 0U)) {
        made.first_share = first_share;
        made.n_shares = n;
      } else {
        into_.shares_.resize(first_share);
      }
    } else {
      made.first_share = known_above(at.father);
    }
    into_.leaves_.push_back(made);
    return static_cast<place>(into_.leaves_.size() - 1) | k_leaf;
  }

  /// @return the number of classes of some weight.
  std::uint32_t add_weights(const Place& node) {
    const std::size_t before = into_.shares_.size();
    node.for_each_weight(into_.n_class_codes_, [this](code_t c, double w) {
      into_.shares_.push_back({static_cast<std::uint32_t>(c), w});
    });
    return static_cast<std::uint32_t>(into_.shares_.size() - before);
  }

  /// The class weights of subtree i, or of the nearest above it that has some; k_none without one.
  std::uint32_t known_above(std::uint32_t i) {
    while (i != k_none && !(open_[i].from->weight() > 0)) i = open_[i].father;
    if (i == k_none) return k_none;
    if (open_[i].known == k_none) {
      const auto first = static_cast<std::uint32_t>(into_.shares_.size());
      const std::uint32_t n = add_weights(open_[i].from);
      open_[i].known = static_cast<std::uint32_t>(into_.known_.size());
      into_.known_.push_back({open_[i].from->weight(), first, n});
    }
    return open_[i].known;
  }

  place add_split(const subtree& at) {
    const split_test asked = at.from.test();
    const std::size_t test = into_.tests_.size();
    const std::size_t first = open_.size();
    open_children(at);
    empty_ = k_none;
    if (asked.is_cut()) {
      add_test(asked.attribute, static_cast<std::uint32_t>(asked.code));
      for (unsigned int i = 0; i < 2; ++i) go_on(at, run_of(i), slot(test, i));
    } else if (asked.is_one_value()) {
      add_one_value(at);
    } else {
      add_search(at, 0, runs_.size());
    }
    into_.splits_.resize(into_.tests_.size());
    into_.splits_[test] = {
        at.from->weight(),
        {k_many, 0},
        {static_cast<place>(first - 1), static_cast<place>(open_.size() - first)}};
    return static_cast<place>(test);
  }

  void open_children(const subtree& at) {
    const bool some_came = at.from->weight() > 0;
    const std::uint32_t depth = at.depth + 1;
    runs_.clear();
    weight_before_.assign(1, 0.0);
    unsigned int next = 0;
    at.from.for_each_child([&](std::size_t branch, const Place& child) {
      const double weight = child->weight();
      if (some_came && child.is_leaf() && weight == 0) return;
      if (branch > next) add_run(static_cast<unsigned int>(branch), k_none, 0.0);
      next = static_cast<unsigned int>(branch) + 1;
      add_run(next, static_cast<std::uint32_t>(open_.size()), weight);
      open_.push_back({child, {k_none, k_none}, depth, at_, k_none});
    });
    const auto n = static_cast<unsigned int>(at.from.n_branches());
    if (next < n) add_run(n, k_none, 0.0);
  }

  void add_run(unsigned int end, std::uint32_t open, double weight) {
    runs_.push_back({end, open});
    weight_before_.push_back(weight_before_.back() + weight);
  }

  const run& run_of(unsigned int branch) const {
    return *std::ranges::find_if(runs_, [branch](const run& r) { return branch < r.end; });
  }

  /// Codes above the value, then those below it, go to the other branch. No code is below the
  /// first.
  void add_one_value(const subtree& at) {
    const split_test asked = at.from.test();
    const auto value = static_cast<std::uint32_t>(asked.code);
    const std::size_t above = add_test(asked.attribute, value);
    std::uint32_t of_value = slot(above, 0);
    if (value > 1) {
      const std::size_t next = add_test(asked.attribute, value - 1);
      lead(of_value, static_cast<place>(next));
      of_value = slot(next, 1);
      go_on(at, run_of(1), slot(next, 0));
    }
    go_on(at, run_of(0), of_value);
    go_on(at, run_of(1), slot(above, 1));
  }

  /// Tests that find the runs from `begin` to before `end`; the code of a branch is one more.
  void add_search(const subtree& at, std::size_t begin, std::size_t end) {
    const std::size_t middle = middle_of(begin, end);
    const std::size_t test = add_test(at.from.test().attribute, runs_[middle - 1].end);
    add_half(at, slot(test, 0), begin, middle);
    if (middle < end) add_half(at, slot(test, 1), middle, end);
  }

  /// Where to part runs: about half of their cases on either side, so that frequent values take few
  /// tests.
  std::size_t middle_of(std::size_t begin, std::size_t end) const {
    if (end - begin < 3) return begin + 1;
    const double half = (weight_before_[begin] + weight_before_[end]) / 2;
    if (half == weight_before_[begin]) return begin + (end - begin) / 2;  // none came
    const auto from = weight_before_.begin();
    const auto low = static_cast<std::ptrdiff_t>(begin + 1);
    const auto above =
        std::lower_bound(from + low, from + static_cast<std::ptrdiff_t>(end - 1), half);
    const bool lower = above - from > low && half - above[-1] < above[0] - half;
    return static_cast<std::size_t>(above - from) - lower;
  }

  void add_half(const subtree& at, std::uint32_t from, std::size_t begin, std::size_t end) {
    if (end - begin == 1) return go_on(at, runs_[begin], from);
    lead(from, static_cast<place>(into_.tests_.size()));
    add_search(at, begin, end);
  }

  /// A way of a test leads to a run; to its subtree as soon as that has a place.
  void go_on(const subtree& at, const run& to, std::uint32_t from) {
    if (to.open == k_none) return lead(from, empty_leaf(at));
    auto& slots = open_[to.open].slots;
    slots[slots[0] != k_none] = from;
  }

  void lead(std::uint32_t from, place to) { into_.tests_[from / 2].below[from % 2] = to; }

  place empty_leaf(const subtree& father) {
    if (empty_ != k_none) return empty_;
    into_.leaves_.push_back(
        {father.from->get_leaf_class(), father.depth + 1, 1.0, 1.0, known_above(at_), 0});
    return empty_ = static_cast<place>(into_.leaves_.size() - 1) | k_leaf;
  }

  std::size_t add_test(unsigned int attribute, std::uint32_t limit) {
    into_.tests_.push_back({{0, 0}, limit, attribute});
    return into_.tests_.size() - 1;
  }

  static std::uint32_t slot(std::size_t test, std::uint32_t way) {
    return static_cast<std::uint32_t>(2 * test + way);
  }

  flat_tree& into_;
  std::vector<subtree> open_;
  std::uint32_t at_ = 0;  // the subtree at work
  // Of the split at work:
  std::vector<run> runs_;
  std::vector<double> weight_before_;  // by run, and in all
  place empty_ = k_none;               // its leaf without cases, if there is one by now
};

flat_tree::flat_tree(const table& t, const voter& asked, const leaf_rule& rule)
    : n_class_codes_(t.n_class_codes()),
      known_only_(rule.known),
      prior_(rule.prior.begin(), rule.prior.end()) {
  if (const auto* tree = std::get_if<const decision_tree*>(&asked.tree)) {
    builder<tree_place>(*this).build(tree_place(**tree));
  } else {
    builder<packed_tree::node>(*this).build(std::get<const packed_tree*>(asked.tree)->root());
  }
}

void flat_tree::add_limits(std::vector<std::vector<code_t>>& by_attribute) const {
  for (const test& t : tests_) by_attribute[t.attribute].push_back(t.limit);
}

std::vector<flat_tree::traveller>& flat_tree::at_root(std::size_t n) const {
  thread_local std::vector<traveller> on_way;
  on_way.assign(n, {0, root_});
  return on_way;
}

/// One step in turn; the cases on their way close up. Every place on the way is noted, the last one
/// last.
std::span<const flat_tree::place> flat_tree::descend(const case_block& cases,
                                                     std::span<traveller> on_way,
                                                     std::size_t n) const {
  thread_local std::vector<place> ends;
  ends.resize(n);
  if ((root_ & k_leaf) != 0) {
    for (const traveller& c : on_way) ends[c.number] = root_;
    return ends;
  }
  place* const to = ends.data();
  const std::uint32_t* const codes = cases.codes.data();
  const std::size_t width = cases.n_attributes;
  for (std::size_t left = on_way.size(); left > 0;) {
    std::size_t still = 0;
    for (std::size_t k = 0; k < left; ++k) {
      traveller c = on_way[k];
      c.at = below(c.at, codes + c.number * width);
      to[c.number] = c.at;
      on_way[still] = c;
      still += (c.at & k_marks) == 0;
    }
    left = still;
  }
  return ends;
}

flat_tree::case_numbers all_cases(std::size_t n) {
  thread_local std::vector<std::uint32_t> numbers;
  while (numbers.size() < n) numbers.push_back(static_cast<std::uint32_t>(numbers.size()));
  return {numbers.data(), n};
}

std::vector<flat_tree::part>& flat_tree::no_stops() {
  thread_local std::vector<part> stops;
  stops.clear();
  return stops;
}

/// Calls give(child, weight) for the branches that some of a part goes to. Nothing adds nothing.
template <class Give>
void flat_tree::for_each_branch(const part& stopped, const Give& give) const {
  const split& here = splits_[stopped.at & ~k_marks];
  const auto part_with = [&](place child, double weight) {
    const double some = part_of(stopped.weight, weight, here.weight);
    if (some != 0) give(child, some);
  };
  if (here.has_two()) {
    part_with(here.child[0], here.below[0]);
    part_with(here.child[1], here.below[1]);
    return;
  }
  const auto [first, n] = here.child;
  for (const branch& b : std::span(branches_).subspan(first, n)) part_with(b.child, b.weight);
}

/// Puts the branches of those that stopped in their place. `on_way` receives which of all those
/// opened are at a test.
void flat_tree::open_all(const std::vector<part>& all, std::vector<part>& opened,
                         std::vector<std::uint32_t>& on_way) const {
  opened.clear();
  on_way.clear();
  for (const part& p : all) {
    if ((p.at & k_stopped) == 0) {
      opened.push_back(p);
      continue;
    }
    for_each_branch(p, [&](place child, double weight) {
      if ((child & k_marks) == 0) on_way.push_back(static_cast<std::uint32_t>(opened.size()));
      opened.push_back({child, p.number, weight});
    });
  }
}

/// Takes parts to where they end. @return how many of them stopped.
std::size_t flat_tree::step_down(const case_block& cases, std::vector<part>& all,
                                 std::vector<std::uint32_t>& on_way) const {
  const std::uint32_t* const codes = cases.codes.data();
  std::size_t stopped = 0;
  for (std::size_t left = on_way.size(); left > 0;) {
    std::size_t still = 0;
    for (std::size_t k = 0; k < left; ++k) {
      const std::uint32_t i = on_way[k];
      part& p = all[i];
      p.at = below(p.at, codes + p.number * cases.n_attributes);
      stopped += (p.at & k_marks) == k_stopped;
      on_way[still] = i;
      still += (p.at & k_marks) == 0;
    }
    left = still;
  }
  return stopped;
}

/// A few times all that stopped are opened together; where that is not the end of them, one by one.
const std::vector<flat_tree::part>& flat_tree::spread(const case_block& cases,
                                                      std::span<const part> stopped) const {
  constexpr std::size_t k_most_rounds = 16, k_most_parts = 1U << 12;
  thread_local std::vector<part> all, other;
  thread_local std::vector<std::uint32_t> on_way;
  all.assign(stopped.begin(), stopped.end());
  std::size_t left = all.size();
  for (std::size_t i = 0; left > 0 && i < k_most_rounds && all.size() < k_most_parts; ++i) {
    open_all(all, other, on_way);
    all.swap(other);
    left = step_down(cases, all, on_way);
  }
  if (left > 0) {
    other.clear();
    for (const part& p : all) {
      (p.at & k_stopped) == 0 ? other.push_back(p)
                              : finish(cases.of_case(p.number).data(), p, other);
    }
    all.swap(other);
  }
  all.push_back({0, UINT32_MAX, 0});
  return all;
}

/// Depth first to all leaves.
void flat_tree::finish(const std::uint32_t* codes, const part& stopped,
                       std::vector<part>& ends) const {
  thread_local std::vector<part> open;
  open.assign(1, stopped);
  while (!open.empty()) {
    part p = open.back();
    open.pop_back();
    while ((p.at & k_marks) == 0) p.at = below(p.at, codes);
    if ((p.at & k_leaf) != 0) {
      ends.push_back(p);
      continue;
    }
    const auto first = static_cast<std::ptrdiff_t>(open.size());
    for_each_branch(p, [&](place child, double weight) {
      open.push_back({child, p.number, weight});
    });
    std::reverse(open.begin() + first, open.end());  // the first comes first
  }
}

std::span<double> flat_tree::no_shares() const {
  thread_local std::vector<double> shares;
  shares.assign(n_class_codes_, 0.0);
  return shares;
}

/// Adds the shares of a leaf. Classes without a share would add nothing.
void flat_tree::distribute(const leaf& reached, double weight, std::span<double> sums) const {
  if (reached.n_shares == 0) {
    // As the class's share of all: weight x w / w is not always the weight to the last bit.
    sums[reached.predicted] += part_of(weight, reached.weight, reached.weight);
  } else {
    add_parts({reached.weight, reached.first_share, reached.n_shares}, weight, sums);
  }
}

void flat_tree::add_parts(const known_shares& from, double weight, std::span<double> sums) const {
  for (const share& s : std::span(shares_).subspan(from.first_share, from.n_shares)) {
    sums[s.class_code] += part_of(weight, s.weight, from.weight);
  }
}

void flat_tree::distribute_known(const leaf& reached, double weight, std::span<double> sums) const {
  const bool is_empty = reached.n_shares == 0 && reached.first_share != k_none;
  if (!is_empty && (prior_.empty() || reached.n_shares == 0)) {
    return distribute(reached, weight, sums);
  }
  const known_shares from =
      is_empty ? known_[reached.first_share]
               : known_shares{reached.weight, reached.first_share, reached.n_shares};
  prior_.empty() ? add_parts(from, weight, sums) : add_leaning(from, weight, sums);
}

void flat_tree::add_leaning(const known_shares& from, double weight, std::span<double> sums) const {
  for (const share& s : std::span(shares_).subspan(from.first_share, from.n_shares)) {
    sums[s.class_code] += part_of(weight, s.weight, from.weight + 1);
  }
  add_prior(weight, from.weight, prior_, sums);
}

double flat_tree::add_up(std::span<const part> parts, std::span<double> sums) const {
  double depths = 0;
  for (const part& p : parts) {
    const leaf& reached = leaf_at(p.at);
    distribute(reached, p.weight, sums);
    depths += reached.depth * p.weight;
  }
  return depths;
}

void gather_codes(const table& t, std::span<const case_list::value_type> cases,
                  std::vector<std::uint32_t>& codes) {
  const std::size_t n = t.n_attributes();
  codes.assign(cases.size() * n, 0);
  for (std::size_t a = 0; a < n; ++a) {
    const code_view view = t.column_of(a).codes();
    if (view.bits == 0) continue;
    visit_codes(view, [&](const auto& column_codes) {
      std::uint32_t* to = codes.data() + a;
      for (const auto& [row, weight] : cases) {
        *to = static_cast<std::uint32_t>(column_codes[row]);
        to += n;
      }
    });
  }
}

}  // namespace orvik::impls
