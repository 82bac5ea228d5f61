// How the arrays of a flat tree are laid out.
#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>
#include <variant>

#include "impls/evaluation/flat_tree.h"
#include "impls/trees/distribution.h"
#include "impls/trees/packed_tree.h"
#include "impls/trees/tree_place.h"

namespace orvik::impls {

/// The upper tests, which all cases take, level by level, so that they lie together; below them
/// depth first, so that what a case comes to is mostly in the lines of the cache that it has. Every
/// subtree but the root makes a branch. Leaves that no case came to are one and the same for all
/// branches of a split: they take no more than it takes to tell these from the others.
template <class Place>
class flat_tree::builder {
 public:
  explicit builder(flat_tree& into) : into_(into) {}

  void build(const Place& root) {
    open(root, root->weight(), 0, k_none);
    std::uint32_t next = 0;
    while (next < open_.size() && next < k_upper) add(next++);
    for (const std::size_t end = open_.size(); next < end; ++next) add_depth_first(next);
    for (const subtree& s : std::span(open_).subspan(1)) {
      into_.branches_.push_back({s.made, s.weight});
    }
    keep_pairs();
  }

 private:
  static constexpr std::uint32_t k_upper = 255;

  struct subtree {
    Place from;
    double weight;
    std::array<std::uint32_t, 2> slots;  // which ways of tests lead here: 2 * test + way
    std::uint32_t depth;
    std::uint32_t father;  // in open_
    std::uint32_t known;   // its class weights in known_, once they were asked for
    place made;
  };
  /// Branches next to each other: one with cases, or some without.
  struct run {
    unsigned int end;    // one past its last branch
    std::uint32_t open;  // where its subtree waits; k_none without cases
  };

  void open(const Place& from, double weight, std::uint32_t depth, std::uint32_t father) {
    open_.push_back({from, weight, {k_none, k_none}, depth, father, k_none, 0});
  }

  /// Gives subtree i its place, and opens what is below it.
  void add(std::uint32_t i) {
    const subtree next = open_[i];
    at_ = i;
    const place made = next.from.is_leaf() ? add_leaf(next) : add_split(next);
    open_[i].made = made;
    if (i == 0) into_.root_ = made;
    for (const std::uint32_t slot : next.slots) {
      if (slot != k_none) lead(slot, made);
    }
  }

  void add_depth_first(std::uint32_t top) {
    std::vector<std::uint32_t> waiting{top};
    while (!waiting.empty()) {
      const std::uint32_t i = waiting.back();
      waiting.pop_back();
      const auto first = static_cast<std::uint32_t>(open_.size());
      add(i);
      for (auto child = static_cast<std::uint32_t>(open_.size()); child-- > first;) {
        waiting.push_back(child);
      }
    }
  }

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
    const double weight = at.weight;
    if (!(weight > 0)) return add_empty_leaf(predicted, at.depth, known_above(at.father));
    const auto first = static_cast<std::uint32_t>(into_.shares_.size());
    const std::uint32_t n = add_weights(node);
    const bool of_one = into_.prior_.empty();  // else its share leans on the prior as others do
    std::uint32_t known = k_none;
    if (n > (of_one ? 1U : 0U)) {
      known = static_cast<std::uint32_t>(into_.known_.size());
      into_.known_.push_back({weight, first, n});
    } else {
      into_.shares_.resize(first);
    }
    return append({node->get_leaf_classfreq(), weight, at.depth, predicted, known});
  }

  place add_empty_leaf(std::uint32_t predicted, std::uint32_t depth, std::uint32_t known) {
    return append({1.0, 1.0, depth, predicted, known == k_none ? k_none : known | k_above});
  }

  place append(const leaf& made) {
    const bool plain = part_of(into_.votes_, made.weight, made.weight) == into_.votes_;
    into_.answers_.push_back(made.predicted | (plain && made.known == k_none ? 0 : k_several));
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
    while (i != k_none && !(open_[i].weight > 0)) i = open_[i].father;
    if (i == k_none) return k_none;
    if (open_[i].known == k_none) {
      const auto first = static_cast<std::uint32_t>(into_.shares_.size());
      const std::uint32_t n = add_weights(open_[i].from);
      open_[i].known = static_cast<std::uint32_t>(into_.known_.size());
      into_.known_.push_back({open_[i].weight, first, n});
    }
    return open_[i].known;
  }

  place add_split(const subtree& at) {
    const split_test asked = at.from.test();
    const std::size_t test = into_.tests_.size();
    const std::size_t first = open_.size();
    open_children(at);
    empty_ = k_none;
    if (asked.parts_in_two()) {
      const auto code = static_cast<std::uint32_t>(asked.code);
      asked.is_cut() ? add_test(asked.attribute, 0, code) : add_test(asked.attribute, code, 0);
      for (unsigned int i = 0; i < 2; ++i) go_on(at, run_of(i), slot(test, i));
    } else {
      add_search(at, 0, runs_.size());
    }
    into_.splits_.resize(into_.tests_.size());
    into_.splits_[test] = {
        at.weight,
        {k_many, 0},
        {static_cast<place>(first - 1), static_cast<place>(open_.size() - first)}};
    return static_cast<place>(test);
  }

  void open_children(const subtree& at) {
    const bool some_came = at.weight > 0;
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
      open(child, weight, depth, at_);
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

  /// Tests that find the runs from `begin` to before `end`; the code of a branch is one more.
  void add_search(const subtree& at, std::size_t begin, std::size_t end) {
    const std::size_t middle = middle_of(begin, end);
    const std::size_t test = add_test(at.from.test().attribute, 0, runs_[middle - 1].end);
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
    return empty_ =
               add_empty_leaf(father.from->get_leaf_class(), father.depth + 1, known_above(at_));
  }

  std::size_t add_test(std::uint32_t attribute, std::uint32_t first, std::uint32_t span) {
    into_.tests_.push_back({{0, 0}, attribute, first, span});
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
      votes_(asked.votes),
      known_only_(rule.known),
      prior_(rule.prior.begin(), rule.prior.end()) {
  if (const auto* tree = std::get_if<const decision_tree*>(&asked.tree)) {
    builder<tree_place>(*this).build(tree_place(**tree));
  } else {
    builder<packed_tree::node>(*this).build(std::get<const packed_tree*>(asked.tree)->root());
  }
}

}  // namespace orvik::impls
