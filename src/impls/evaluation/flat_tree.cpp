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
  builder(flat_tree& into, bool known) : into_(into), known_(known) {}

  void build(const Place& root) {
    open_.push_back({root, {k_none, k_none}, 0});
    for (std::size_t i = 0; i < open_.size(); ++i) {
      const subtree next = open_[i];
      const place at = next.from.is_leaf() ? add_leaf(next) : add_split(next);
      if (i == 0) into_.root_ = at;
      for (const std::uint32_t slot : next.slots) {
        if (slot != k_none) lead(slot, at);
      }
      if (i > 0) into_.branches_.push_back({at, next.from->weight()});
    }
  }

 private:
  static constexpr std::uint32_t k_none = UINT32_MAX;
  struct subtree {
    Place from;
    std::array<std::uint32_t, 2> slots;  // which ways of tests lead here: 2 * test + way
    std::uint32_t depth;
  };
  /// Branches next to each other: one with cases, or some without.
  struct run {
    unsigned int end;    // one past its last branch
    std::uint32_t open;  // where its subtree waits; k_none without cases
  };

  place add_leaf(const subtree& at) {
    const Place& node = at.from;
    const std::uint32_t predicted = node->get_leaf_class();
    const auto first_share = static_cast<std::uint32_t>(into_.shares_.size());
    leaf made{predicted, at.depth, 1.0, 1.0, first_share, 0};
    if (const double weight = node->weight(); weight > 0) {
      made.confidence = node->get_leaf_classfreq();
      made.weight = weight;
      node.for_each_weight(into_.n_class_codes_, [this](code_t c, double w) {
        into_.shares_.push_back({static_cast<std::uint32_t>(c), w});
      });
      made.n_shares = static_cast<std::uint32_t>(into_.shares_.size()) - first_share;
      if (made.n_shares == 1 && into_.prior_.empty()) {
        into_.shares_.pop_back();
        made.n_shares = 0;
      }
    } else if (known_) {
      set_known_shares(node, made);
    }
    into_.leaves_.push_back(made);
    return static_cast<place>(into_.leaves_.size() - 1) | k_leaf;
  }

  /// Those of the nearest node, from here up, to which some cases came.
  void set_known_shares(const Place& node, leaf& made) {
    const double weight = node.for_each_known_weight(into_.n_class_codes_, [&](code_t c, double w) {
      into_.shares_.push_back({static_cast<std::uint32_t>(c), w});
      ++made.n_shares;
    });
    if (weight > 0) made.weight = weight;
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
    into_.splits_[test] = {at.from->weight(), static_cast<std::uint32_t>(first - 1),
                           static_cast<std::uint32_t>(open_.size() - first)};
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
      open_.push_back({child, {k_none, k_none}, depth});
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
    leaf made{father.from->get_leaf_class(),
              father.depth + 1,
              1.0,
              1.0,
              static_cast<std::uint32_t>(into_.shares_.size()),
              0};
    if (known_) set_known_shares(father.from, made);
    into_.leaves_.push_back(made);
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
  const bool known_;
  std::vector<subtree> open_;
  // Of the split at work:
  std::vector<run> runs_;
  std::vector<double> weight_before_;  // by run, and in all
  place empty_ = k_none;               // its leaf without cases, if there is one by now
};

flat_tree::flat_tree(const table& t, const voter& asked, const leaf_rule& rule)
    : n_class_codes_(t.n_class_codes()), prior_(rule.prior.begin(), rule.prior.end()) {
  if (const auto* tree = std::get_if<const decision_tree*>(&asked.tree)) {
    builder<tree_place>(*this, rule.known).build(tree_place(**tree));
  } else {
    builder<packed_tree::node>(*this, rule.known)
        .build(std::get<const packed_tree*>(asked.tree)->root());
  }
}

void flat_tree::add_limits(std::vector<std::vector<code_t>>& by_attribute) const {
  for (const test& t : tests_) by_attribute[t.attribute].push_back(t.limit);
}

/// Takes what stands at tests to its ends one step in turn; those on their way close up. Every
/// place on the way is told, the last one last.
template <class Traveller, class SetEnd>
void flat_tree::step_down(const case_block& cases, std::span<Traveller> on_way,
                          const SetEnd& set_end) const {
  const std::uint32_t* const codes = cases.codes.data();
  const std::size_t width = cases.n_attributes;
  const test* const tests = tests_.data();
  for (std::size_t left = on_way.size(); left > 0;) {
    std::size_t still = 0;
    for (std::size_t k = 0; k < left; ++k) {
      Traveller c = on_way[k];
      const test& t = tests[c.at];
      const std::uint32_t code = codes[c.number * width + t.attribute];
      const place next = t.below[code > t.limit];
      c.at = code == k_unknown ? c.at | k_stopped : next;
      set_end(c);
      on_way[still] = c;
      still += (c.at & k_marks) == 0;
    }
    left = still;
  }
}

/// Memory of the thread for `n` cases on their way, all at the root; their numbers are to be set.
std::vector<flat_tree::traveller>& flat_tree::at_root(std::size_t n) const {
  thread_local std::vector<traveller> on_way;
  on_way.assign(n, {0, root_});
  return on_way;
}

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
  step_down(cases, on_way, [to](const traveller& c) { to[c.number] = c.at; });
  return ends;
}

std::vector<flat_tree::stop>& flat_tree::no_stops() {
  thread_local std::vector<stop> stops;
  stops.clear();
  return stops;
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
    return;
  }
  if (!prior_.empty()) return distribute_leaning(reached, weight, sums);
  for (const share& s : std::span(shares_).subspan(reached.first_share, reached.n_shares)) {
    sums[s.class_code] += part_of(weight, s.weight, reached.weight);
  }
}

void flat_tree::distribute_leaning(const leaf& reached, double weight,
                                   std::span<double> sums) const {
  for (const share& s : std::span(shares_).subspan(reached.first_share, reached.n_shares)) {
    sums[s.class_code] += part_of(weight, s.weight, reached.weight + 1);
  }
  add_prior(weight, reached.weight, prior_, sums);
}

void flat_tree::add_leaf(place at, double weight, std::span<double> sums, double& depths) const {
  const leaf& reached = leaves_[at & ~k_marks];
  distribute(reached, weight, sums);
  depths += reached.depth * weight;
}

/// Appends the branches of portion k that some of it goes to; those that lead to a test set out.
void flat_tree::open_branches(parting& all, std::size_t k) const {
  const portion from = all.portions[k];
  const split& stopped = splits_[from.at & ~k_marks];
  all.reserve(stopped.n_branches);
  const branch* const branches = branches_.data() + stopped.first_branch;
  std::size_t n = all.n;
  for (std::uint32_t i = 0; i < stopped.n_branches; ++i) {
    const double part = part_of(from.weight, branches[i].weight, stopped.weight);
    const place child = branches[i].child;
    all.portions[n] = {child, 0, 0, from.number, part};
    all.on_way[all.n_on_way] = {from.number, child, static_cast<std::uint32_t>(n)};
    const bool some = part != 0;  // nothing adds nothing
    n += some;
    all.n_on_way += some && (child & k_marks) == 0;
  }
  all.portions[k].first = static_cast<std::uint32_t>(all.n);
  all.portions[k].n = static_cast<std::uint32_t>(n - all.n);
  all.n = n;
}

/// The parts of cases, those opened at the same time going down together. Where a tree makes too
/// many of them, the rest stay where they stopped.
const flat_tree::parting& flat_tree::spread(const case_block& cases, std::span<const stop> stops,
                                            double amount) const {
  constexpr std::size_t k_most = 1U << 14;
  thread_local parting all;
  all.n = 0;
  all.reserve(stops.size());
  for (const stop& s : stops) all.portions[all.n++] = {s.at, 0, 0, s.number, amount};
  for (std::size_t from = 0; from < all.n;) {
    const std::size_t end = all.n;
    all.n_on_way = 0;
    for (std::size_t k = from; k < end && all.n < k_most; ++k) {
      if ((all.portions[k].at & k_stopped) != 0) open_branches(all, k);
    }
    portion* const to = all.portions.data();
    step_down(cases, std::span(all.on_way).first(all.n_on_way),
              [to](const part_on_way& c) { to[c.part].at = c.at; });
    for (std::size_t k = end; k < all.n; ++k) {
      __builtin_prefetch(leaves_.data() + (to[k].at & ~k_marks));
    }
    from = end;
  }
  return all;
}

double flat_tree::add_up(const parting& all, std::size_t k, const std::uint32_t* codes,
                         std::span<double> sums) const {
  struct range {
    std::size_t next, end;
  };
  thread_local std::vector<range> open;
  open.assign(1, {k, k + 1});
  double depths = 0;
  while (!open.empty()) {
    const portion& p = all.portions[open.back().next++];
    if (open.back().next == open.back().end) open.pop_back();
    if ((p.at & k_leaf) != 0) {
      add_leaf(p.at, p.weight, sums, depths);
    } else if (p.n > 0) {
      open.push_back({p.first, p.first + p.n});
    } else {
      add_branches(p, codes, sums, depths);
    }
  }
  return depths;
}

/// Branch by branch, to the leaves of each before the next.
void flat_tree::add_branches(const portion& of, const std::uint32_t* codes, std::span<double> sums,
                             double& depths) const {
  struct part {
    place at;
    double weight;
  };
  thread_local std::vector<part> open;
  open.assign(1, {of.at & ~k_marks, of.weight});
  while (!open.empty()) {
    part p = open.back();
    open.pop_back();
    while ((p.at & k_marks) == 0) p.at = below(p.at, codes[tests_[p.at].attribute]);
    if ((p.at & k_leaf) != 0) {
      add_leaf(p.at, p.weight, sums, depths);
      continue;
    }
    const split& stopped = splits_[p.at & ~k_marks];
    const branch* const first = branches_.data() + stopped.first_branch;
    for (std::uint32_t i = stopped.n_branches; i-- > 0;) {  // the first comes first
      const double weight = part_of(p.weight, first[i].weight, stopped.weight);
      if (weight != 0) open.push_back({first[i].child, weight});
    }
  }
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
