#include "impls/trees/packed_tree.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "impls/trees/distribution.h"
#include "impls/trees/stored_tree.h"
#include "zel/inpout/iomem.h"

namespace orvik::impls {

namespace {

constexpr unsigned long k_room_for_measures = 64;
constexpr double k_whole_end = 0x1p53;  // from here on doubles skip whole numbers

bool same_bits(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

/// No weight, as one that was never added to.
bool is_nothing(double w) { return same_bits(w, 0.0); }

bool is_whole(double w) {
  return w >= 0 && w < k_whole_end &&
         same_bits(static_cast<double>(static_cast<unsigned long>(w)), w);
}

/// As growing computes it where every value is known.
double fraction_of(double weight, double of_father) {
  return of_father > 0 ? weight / of_father : 0.0;
}

/// The number of cases where each weighs 1.
unsigned long cases_of(double weight) {
  return is_whole(weight) ? static_cast<unsigned long>(weight) : 0;
}

}  // namespace

double packed_tree::node::read_double(const byte*& at) {
  double number = 0;
  std::memcpy(&number, at, sizeof number);
  at += sizeof number;
  return number;
}

double packed_tree::node::read_weight(const byte*& at) const {
  return (head_ & k_whole) != 0 ? static_cast<double>(read_number(at)) : read_double(at);
}

packed_tree::node::figures packed_tree::node::statistics() const {
  figures all;
  const byte* at = statistics_;
  if ((head_ & k_summed) != 0) {
    all.majority = static_cast<class_t>(read_number(at));
    all.weight = read_weight(at);
    all.rest = at;
    return all;
  }
  all.n_weights = read_number(at);
  all.weights = at;
  at = read_weights(all, [&](code_t code, double weight) {
    all.weight += weight;
    if (code != 0 && !(all.of_majority < weight)) return;
    all.of_majority = weight;
    all.majority = static_cast<class_t>(code);
  });
  if ((head_ & k_class_given) != 0) {
    all.majority = static_cast<class_t>(read_number(at));
    all.of_majority = 0;
    read_weights(all, [&](code_t code, double w) {
      if (code == all.majority) all.of_majority = w;
    });
  }
  if ((head_ & k_weight_given) != 0) all.weight = read_double(at);
  all.rest = at;
  return all;
}

unsigned long packed_tree::node::n_branches() const {
  if (is_leaf()) return 0;
  const byte* at = links_;
  return test_.parts_in_two() ? 2 : read_number(at);
}

class_t packed_tree::node::get_leaf_class() const {
  if (at_ != nullptr) {
    const figures here = statistics();
    if (here.weight > 0) return here.majority;
  }
  return father_ == nullptr ? class_t{0} : node(father_, nullptr, nullptr).statistics().majority;
}

double packed_tree::node::get_leaf_classfreq() const {
  if (at_ == nullptr) return 1.0;
  const figures here = statistics();
  return here.weight == 0 ? 1.0 : here.of_majority / here.weight;
}

void packed_tree::node::add_shares(double amount, std::span<double> by_code) const {
  if (at_ != nullptr) {
    const figures here = statistics();
    if (here.weight > 0) {
      read_weights(here, [&](code_t code, double weight) {
        by_code[code] += part_of(amount, weight, here.weight);
      });
      return;
    }
  }
  by_code[get_leaf_class()] += amount;
}

packed_tree::node packed_tree::node::nearest_known() const {
  return weight() > 0 || weighted_ == nullptr ? *this : node(weighted_, nullptr, nullptr);
}

void packed_tree::node::add_known_shares(double amount, std::span<double> by_code,
                                         prior_shares prior) const {
  const node from = nearest_known();
  const double weight = from.weight();
  if (prior.empty() || !(weight > 0)) return from.add_shares(amount, by_code);
  from.for_each_weight(by_code.size(), [&](code_t code, double of_class) {
    by_code[code] += part_of(amount, of_class, weight + 1);
  });
  add_prior(amount, weight, prior, by_code);
}

/// Writes all bytes backwards, the last subtree and the last figure of a node first, so that all
/// lengths are known where they are written; and turns them round at the end.
template <class Tree>
class packed_tree::packer {
 public:
  /// `by` makes the tree, if it is not const.
  packer(packed_tree& into, maker* by)
      : into_(into), by_(by), bytes_(into.bytes_), n_codes_(into.n_class_codes_) {}

  void pack(Tree& root) {
    std::vector<step> path;
    enter(path, root);
    while (!path.empty()) {
      step& top = path.back();
      if (top.next > 0) {
        Tree* const child = top.tree->get_child(--top.next);
        const bool kept = child != nullptr && !child->get_node()->is_empty_leaf(n_codes_);
        if (kept) enter(path, *child);  // `top` is gone from here
        continue;
      }
      const step done = top;
      path.pop_back();
      leave(done, path.size());
    }
    std::ranges::reverse(bytes_);
    bytes_.shrink_to_fit();
  }

 private:
  using node = packed_tree::node;
  using node_of_tree = std::remove_cvref_t<decltype(*std::declval<Tree&>().get_node())>;
  static constexpr bool k_is_made = !std::is_const_v<Tree>;
  struct step {
    Tree* tree;
    unsigned int next;  // children before it are still to be packed
    std::size_t begin;  // bytes when it was met
    std::size_t first_subtree;
  };
  /// A finished subtree, those of higher branches before it.
  struct subtree {
    unsigned int branch;
    std::size_t length;
  };

  void enter(std::vector<step>& path, Tree& tree) {
    if constexpr (k_is_made) by_->enter(tree);
    path.push_back({&tree, tree.get_no_childs(), bytes_.size(), subtrees_.size()});
  }

  void leave(const step& done, unsigned long level) {
    Tree& tree = *done.tree;
    if constexpr (k_is_made) by_->leave(tree);
    const auto& n = *tree.get_node();
    const unsigned int n_branches = tree.get_no_childs();
    assert(n.is_split() == (n_branches > 0));
    const auto first = subtrees_.begin() + static_cast<std::ptrdiff_t>(done.first_subtree);
    const std::span<const subtree> below(first, subtrees_.end());
    measure(n_branches, below.size(), level);
    if (n.is_split()) {
      write_links(n.test(), n_branches, below);
      const std::size_t before = bytes_.size();
      const unsigned int head = write_statistics(tree, below.size());
      write(bytes_.size() - before);
      write_split(n, head);
    } else {
      write_head(write_statistics(tree, 0));
    }
    subtrees_.resize(done.first_subtree);
    if (level > 0) subtrees_.push_back({n.position() - 1, bytes_.size() - done.begin});
    if constexpr (k_is_made) tree.delete_childs();  // only now: a split sums up its children
  }

  void measure(unsigned long n_branches, std::size_t n_subtrees, unsigned long level) {
    const unsigned long n_empty = n_branches - n_subtrees;
    const bool is_leaf = n_branches == 0;
    into_.size_ += 1 + n_empty;
    into_.leaves_ += is_leaf + n_empty;
    into_.epl_ += (is_leaf ? level : 0) + n_empty * (level + 1);
    into_.depth_ = std::max(into_.depth_, level + 1 + (n_empty > 0));
  }

  void write_split(const node_of_tree& n, unsigned int head) {
    head |= node::k_split | node::k_kind * static_cast<unsigned int>(n.test().how);
    if (!(n.weight() > 0)) head |= node::k_no_weight;
    if (n.test().parts_in_two()) write(n.test().code);
    write(n.test().attribute);
    write_head(head);
  }

  void write_head(unsigned int head) {
    const bool more = head > 0xFF;
    if (more) bytes_.push_back(static_cast<byte>(head >> 8));
    bytes_.push_back(static_cast<byte>(head | (more ? node::k_more : 0U)));
  }

  void write(unsigned long number) {
    if (number < 0x80) return bytes_.push_back(static_cast<byte>(number));
    unsigned int shift = 7;
    while (shift < 63 && number >> (shift + 7) != 0) shift += 7;
    bytes_.push_back(static_cast<byte>(number >> shift));
    while (shift > 0) {
      shift -= 7;
      bytes_.push_back(static_cast<byte>((number >> shift) | 0x80U));
    }
  }

  void write_double(double number) {
    std::array<byte, sizeof number> raw{};
    std::memcpy(raw.data(), &number, sizeof number);
    bytes_.insert(bytes_.end(), raw.rbegin(), raw.rend());
  }

  void write_weight(double weight, bool whole) {
    whole ? write(static_cast<unsigned long>(weight)) : write_double(weight);
  }

  /// @return the head that goes with them.
  unsigned int write_statistics(const Tree& tree, std::size_t n_subtrees) {
    const node_of_tree& n = *tree.get_node();
    unsigned int head = write_error(tree);
    const double share =
        n.father() == nullptr ? 1.0 : fraction_of(n.weight(), n.father()->weight());
    if (!same_bits(share, n.fraction())) {
      head |= node::k_fraction_given;
      write_double(n.fraction());
    }
    if (n.n_cases() != cases_of(n.weight())) {
      head |= node::k_n_given;
      write(n.n_cases());
    }
    if (!is_summed(tree, n_subtrees)) return head | write_weights(n);
    const bool whole = is_whole(n.weight());
    write_weight(n.weight(), whole);
    write(n.majority_class());
    return head | node::k_summed | (whole ? node::k_whole : 0U);
  }

  unsigned int write_error(const Tree& tree) {
    const node_of_tree& n = *tree.get_node();
    if (same_bits(n.estimated_error(), n.get_estimated_error_if_leaf())) return 0;
    if (n.is_split() && same_bits(n.estimated_error(), tree.errors_of_children())) {
      return node::k_error_sum;
    }
    write_double(n.estimated_error());
    return node::k_error_given;
  }

  /// Whether the class weights are the sums of the children's, each of which has some weight.
  bool is_summed(const Tree& tree, std::size_t n_subtrees) {
    const unsigned int n = tree.get_no_childs();
    if (n == 0 || n_subtrees < n) return false;
    sums_.assign(n_codes_, 0.0);
    for (unsigned int i = 0; i < n; ++i) {
      const node_of_tree& child = *tree.get_child(i)->get_node();
      if (!(child.weight() > 0)) return false;
      for (unsigned long c = 0; c < n_codes_; ++c) sums_[c] += child.class_weight(c);
    }
    return std::equal(sums_.begin(), sums_.end(), tree.get_node()->class_weights(), same_bits);
  }

  unsigned int write_weights(const node_of_tree& n) {
    const double* const weights = n.class_weights();
    kept_.clear();
    bool whole = true;
    for (code_t c = 0; c < n_codes_; ++c) {
      if (is_nothing(weights[c])) continue;
      kept_.push_back(c);
      whole = whole && is_whole(weights[c]);
    }
    unsigned int head = whole ? node::k_whole : 0U;
    if (!same_bits(n.weight(), sum_of_kept(weights))) {
      head |= node::k_weight_given;
      write_double(n.weight());
    }
    if (n.majority_class() != decision_on(weights)) {
      head |= node::k_class_given;
      write(n.majority_class());
    }
    for (std::size_t i = kept_.size(); i-- > 0;) {
      write_weight(weights[kept_[i]], whole);
      write(i > 0 ? kept_[i] - kept_[i - 1] : kept_[i]);
    }
    write(kept_.size());
    return head;
  }

  /// The sum of all: nothing adds nothing.
  double sum_of_kept(const double* weights) const {
    double sum = 0;
    for (const code_t c : kept_) sum += weights[c];
    return sum;
  }
  /// Few of many classes are kept; of these one has the largest weight unless none is above 0.
  code_t decision_on(const double* weights) const {
    if (!kept_.empty()) {
      const auto weight_of = [weights](code_t c) { return weights[c]; };
      const code_t largest = *std::ranges::max_element(kept_, {}, weight_of);
      if (weights[largest] > 0) return largest;
    }
    return distribution(std::span(weights, n_codes_)).decide();
  }

  void write_links(const split_test& test, unsigned int n_branches,
                   std::span<const subtree> below) {
    if (test.parts_in_two()) {
      const bool first = !below.empty() && below.back().branch == 0;
      const bool second = !below.empty() && below.front().branch == 1;
      return write(2 * (first ? below.back().length : 0) + second);
    }
    const std::size_t before = bytes_.size();
    for (std::size_t i = 0; i < below.size(); ++i) {
      const bool lowest = i + 1 == below.size();
      write(below[i].length);
      write(below[i].branch - (lowest ? 0 : below[i + 1].branch + 1));
    }
    write(bytes_.size() - before);
    write(below.size());
    write(n_branches);
  }

  packed_tree& into_;
  maker* by_;
  std::vector<byte>& bytes_;
  unsigned long n_codes_;
  std::vector<subtree> subtrees_;  // finished ones below the nodes of the path
  std::vector<double> sums_;
  std::vector<code_t> kept_;  // codes of the weights that are kept
};

packed_tree::packed_tree(const table& t, const decision_tree& tree)
    : n_class_codes_(t.n_class_codes()) {
  packer<const decision_tree>(*this, nullptr).pack(tree);
}

packed_tree::packed_tree(const table& t, decision_tree& tree, maker& by)
    : n_class_codes_(t.n_class_codes()) {
  packer<decision_tree>(*this, &by).pack(tree);
}

packed_tree::packed_tree(const table& t, const stored_tree& tree)
    : n_class_codes_(t.n_class_codes()) {
  packer<const stored_tree::node>(*this, nullptr).pack(tree.root());
}

std::string packed_tree::to_bytes() const {
  zel::inpout::iomem memory;
  memory.open(bytes() + k_room_for_measures);
  zel::inpout::obinstream out(&memory, /*owns=*/false);
  out << size_ << leaves_ << depth_ << epl_ << bytes_.size();
  out.write_array(std::span<const byte>(bytes_));
  return std::string(memory.bytes());
}

packed_tree packed_tree::of_bytes(const table& t, std::string_view bytes) {
  zel::inpout::iomem memory;
  memory.open(const_cast<char*>(bytes.data()), bytes.size(), bytes.size());  // which is only read
  zel::inpout::ibinstream in(&memory, /*owns=*/false);
  return {t, in};
}

packed_tree::packed_tree(const table& t, zel::inpout::ibinstream& in)
    : n_class_codes_(t.n_class_codes()) {
  unsigned long n_bytes = 0;
  in >> size_ >> leaves_ >> depth_ >> epl_ >> n_bytes;
  bytes_ = in.read_array<byte>(n_bytes);
}

/// Makes the nodes from the root down, and then, upwards, what is summed up.
class packed_tree::unpacker {
 public:
  unpacker(unsigned long n_codes, bool complete) : n_codes_(n_codes), complete_(complete) {}

  std::unique_ptr<decision_tree> unpack(const node& root) {
    auto whole = std::make_unique<decision_tree>();
    whole->set_node(new decision_node(nullptr));
    made_.push_back({whole.get(), root, 0.0});
    for (std::size_t i = 0; i < made_.size(); ++i) make_children(i);
    for (std::size_t i = made_.size(); i-- > 0;) fill(made_[i]);
    return whole;
  }

 private:
  struct made {
    decision_tree* tree;
    node from;
    double of_father;  // its weight
  };

  void make_children(std::size_t i) {
    const node from = made_[i].from;  // `made_` grows
    decision_tree& tree = *made_[i].tree;
    if (from.is_leaf()) return;
    tree.get_node()->set_test(from.test());
    tree.resize(static_cast<unsigned int>(from.n_branches()));
    const double weight = from.weight();
    from.for_each_child([&](std::size_t branch, const node& child) {
      auto* below = new decision_tree;  // owned by `tree` from the next line on
      tree.set_child(static_cast<unsigned int>(branch), below);
      below->set_node(new decision_node(tree.get_node(), static_cast<unsigned int>(branch) + 1));
      made_.push_back({below, child, weight});
    });
  }

  /// The children have their statistics.
  void fill(const made& done) const {
    const node& from = done.from;
    decision_tree& tree = *done.tree;
    const node::figures kept = from.statistics();
    decision_node::statistics all{std::make_unique<double[]>(n_codes_),
                                  kept.weight,
                                  1.0,
                                  0.0,
                                  cases_of(kept.weight),
                                  kept.majority};
    from.read_weights(kept, [&](code_t c, double w) { all.by_code[c] = w; });
    if ((from.head_ & node::k_summed) != 0) sum_up(tree, all.by_code.get());
    const byte* at = kept.rest;
    if ((from.head_ & node::k_n_given) != 0) all.n_cases = node::read_number(at);
    if ((from.head_ & node::k_fraction_given) != 0) {
      all.fraction = node::read_double(at);
    } else if (from.father_ != nullptr) {
      all.fraction = fraction_of(kept.weight, done.of_father);
    }
    all.error = kept.weight - all.by_code[kept.majority];
    if ((from.head_ & node::k_error_sum) != 0) all.error = tree.errors_of_children();
    if ((from.head_ & node::k_error_given) != 0) all.error = node::read_double(at);
    tree.get_node()->set_statistics(std::move(all));
    if (complete_) tree.add_empty_leaves(n_codes_);
  }

  void sum_up(const decision_tree& tree, double* by_code) const {
    for (unsigned int i = 0; i < tree.get_no_childs(); ++i) {
      const decision_node& child = *tree.get_child(i)->get_node();
      for (unsigned long c = 0; c < n_codes_; ++c) by_code[c] += child.class_weight(c);
    }
  }

  unsigned long n_codes_;
  bool complete_;
  std::vector<made> made_;  // fathers before children
};

std::unique_ptr<decision_tree> packed_tree::unpack(bool complete) const {
  return unpacker(n_class_codes_, complete).unpack(root());
}

void packed_tree::set_used_atts(zel::adt::bitmap& used) const {
  std::vector<node> open{root()};
  while (!open.empty()) {
    const node at = open.back();
    open.pop_back();
    if (at.is_leaf()) continue;
    used.set(at.test().attribute);
    at.for_each_child([&](std::size_t, const node& child) { open.push_back(child); });
  }
}

}  // namespace orvik::impls
