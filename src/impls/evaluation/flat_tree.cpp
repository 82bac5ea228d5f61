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

  place add_leaf(const subtree& at) {
    const Place& node = at.from;
    const std::uint32_t predicted = node->get_leaf_class();
    const auto first_share = static_cast<std::uint32_t>(into_.shares_.size());
    leaf made{predicted, at.depth, 1.0, 1.0, k_none, 0};
    if (const double weight = node->weight(); weight > 0) {
      made.confidence = node->get_leaf_classfreq();
      made.weight = weight;
      if (const std::uint32_t n = add_weights(node); n > 1) {
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

flat_tree::flat_tree(const table& t, const voter& asked) : n_class_codes_(t.n_class_codes()) {
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

flat_tree::place flat_tree::go_down(place from, const std::uint32_t* codes) const {
  while ((from & k_marks) == 0) from = below(from, codes);
  return from;
}

/// Two ways at a time: neither waits for the other.
void flat_tree::go_down_both(place& a, place& b, const std::uint32_t* codes) const {
  while (((a | b) & k_marks) == 0) {
    a = below(a, codes);
    b = below(b, codes);
  }
  a = go_down(a, codes);
  b = go_down(b, codes);
}

/// Puts the parts of one that stopped behind the n that are open, the first branch last, each where
/// it comes to next. Nothing adds nothing: branches that no part goes to are left out.
/// @return how many are open.
std::size_t flat_tree::open_branches(const std::uint32_t* codes, const part& stopped,
                                     std::vector<part>& open, std::size_t n) const {
  const split& here = splits_[stopped.at & ~k_marks];
  const branch* const branches = branches_.data() + here.first_branch;
  if (open.size() < n + here.n_branches) open.resize(2 * (n + here.n_branches));
  part* const to = open.data();
  const auto part_to = [&](std::uint32_t i) {
    return part_of(stopped.weight, branches[i].weight, here.weight);
  };
  if (here.n_branches == 2) {
    place first = branches[0].child, second = branches[1].child;
    go_down_both(first, second, codes);
    to[n] = {second, part_to(1)};
    n += to[n].weight != 0;
    to[n] = {first, part_to(0)};
    return n + (to[n].weight != 0);
  }
  for (std::uint32_t i = here.n_branches; i-- > 0;) {
    const double weight = part_to(i);
    if (weight != 0) to[n++] = {go_down(branches[i].child, codes), weight};
  }
  return n;
}

std::span<const flat_tree::part> flat_tree::parts_of(const std::uint32_t* codes,
                                                     const part& stopped) const {
  thread_local std::vector<part> open(1), ends;
  ends.clear();
  open[0] = stopped;
  for (std::size_t n = 1; n > 0;) {
    const part next = open[--n];
    if ((next.at & k_leaf) != 0) {
      ends.push_back(next);
    } else {
      n = open_branches(codes, next, open, n);
    }
  }
  return ends;
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
  if (reached.n_shares == 0 && reached.first_share != k_none) {
    add_parts(known_[reached.first_share], weight, sums);
  } else {
    distribute(reached, weight, sums);
  }
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
