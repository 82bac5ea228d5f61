// A grown tree as a string of bytes, for the members of an ensemble: 4 to 12 bytes a node, where a
// node of the container takes some 250. It holds all that a model file says of the tree, to the
// last bit.
//
// Each node stands before its subtrees, and these in the order of their branches:
//   head        a byte, or two where a second one is announced: what the node is and what is kept
//   a split     attribute, the code of a cut or a single value, length of the statistics
//   statistics  class weights, the codes and weights above zero; what else does not follow (below)
//   a split     links: which branches have subtrees, and how long these are; then the subtrees
// Numbers are 7 bits a byte, the lowest first; weights that are whole ones too, others are doubles.
//
// What follows from other numbers is not kept where it gives the same bits:
// - the class weights of a split from those of its children (weight and class are kept: prediction
//   asks for them without the children);
// - weight, class and, of whole weights, the number of cases, from the class weights;
// - the fraction from the weights of node and father; the error from the weights, or the errors of
//   the children;
// - a leaf that no case came to, from nothing: it takes no bytes, and is made when a tree is
//   unpacked. Beside such a leaf the class weights of the father are always kept: what is likely at
//   the leaf is read off them.
// Threads: many readers.
#pragma once

#include <array>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "impls/trees/decision_tree.h"
#include "zel/adt/bitmap.h"
#include "zel/inpout/binstream.h"

namespace orvik::impls {

class stored_tree;

class packed_tree {
 public:
  class node;

  /// What makes a tree while it is packed.
  class maker;

  /// `tree` is complete, or lacks branches without cases; none of its nodes is active.
  packed_tree(const table& t, const decision_tree& tree);
  /// The same of a tree that is made meanwhile: what is packed is destroyed, so that of the tree
  /// there is at any time no more than a path and what branches off it.
  packed_tree(const table& t, decision_tree& tree, maker& by);

  /// The same of one that a file has.
  packed_tree(const table& t, const stored_tree& tree);

  /// For this process or one that trusts it.
  std::string to_bytes() const;
  /// What to_bytes() gave, of a tree on a table of these classes. It is not checked.
  static packed_tree of_bytes(const table& t, std::string_view bytes);

  /// What was packed, with the leaves that no case came to or without them.
  std::unique_ptr<decision_tree> unpack(bool complete) const;
  /// The tree must stay where it is.
  node root() const;

  // As of the complete tree.
  unsigned long size() const { return size_; }
  unsigned long leaves() const { return leaves_; }
  unsigned long depth() const { return depth_; }
  unsigned long epl() const { return epl_; }
  void set_used_atts(zel::adt::bitmap& used) const;
  std::size_t bytes() const { return bytes_.size(); }

  // As decision_tree has them, with the same bits.
  double predict_class(const table& t, const std::vector<code_t>& codes,
                       decision_tree::prediction& result, double weight, unsigned long depth) const;
  void add_shares(const std::vector<code_t>& codes, double amount, std::span<double> by_code) const;
  void add_probabilities(const std::vector<code_t>& codes, double weight, std::span<double> shares,
                         prior_shares prior = {}) const;

 private:
  using byte = unsigned char;
  template <class Tree>
  class packer;
  class unpacker;

  packed_tree(const table& t, zel::inpout::ibinstream& in);

  std::vector<byte> bytes_;
  unsigned long n_class_codes_;
  unsigned long size_ = 0, leaves_ = 0, depth_ = 0, epl_ = 0;
};

class packed_tree::maker {
 public:
  virtual ~maker() = default;
  /// Gives a tree its children. Fathers are entered before their children, these from the last
  /// branch to the first, and what is below one of them before the next.
  virtual void enter(decision_tree& tree) = 0;
  /// The tree is about to be packed, those below it are.
  virtual void leave(decision_tree& tree) = 0;
};

/// A place in a packed tree: a node, or a leaf that no case came to.
class packed_tree::node {
 public:
  bool is_leaf() const { return (head_ & k_split) == 0; }
  /// Of a split.
  const split_test& test() const { return test_; }
  unsigned long n_branches() const;
  node child(std::size_t branch) const;
  /// Calls f(branch, child) for the branches with bytes, in order.
  template <class F>
  void for_each_child(const F& f) const;

  const node* operator->() const { return this; }
  double weight() const { return at_ == nullptr ? 0.0 : statistics().weight; }
  /// As decision_node has them.
  class_t get_leaf_class() const;
  double get_leaf_classfreq() const;
  void add_shares(double amount, std::span<double> by_code) const;
  void add_known_shares(double amount, std::span<double> by_code, prior_shares prior = {}) const;
  /// Calls f(code, weight) for the classes of some weight; of a leaf.
  template <class F>
  void for_each_weight(unsigned long, const F& f) const {
    if (at_ == nullptr) return;
    read_weights(statistics(), [&](code_t code, double weight) {
      if (weight != 0) f(code, weight);
    });
  }

 private:
  friend class packed_tree;

  enum head : unsigned int {
    k_more = 1,  // another byte of the head
    k_split = 1U << 1,
    k_whole = 1U << 2,        // the weights kept are whole numbers
    k_summed = 1U << 3,       // class weights are the sums of the children's
    k_error_sum = 1U << 4,    // the error is that of the children
    k_error_given = 1U << 5,  // the error is kept; without either it is that of a leaf here
    k_kind = 1U << 6,         // times the kind of the test
    k_n_given = 1U << 8,      // kept are: the number of cases,
    k_fraction_given = 1U << 9,
    k_class_given = 1U << 10,
    k_weight_given = 1U << 11,
    k_no_weight = 1U << 12,  // no case came to the split
  };

  /// What is kept of a node, and what follows from that alone.
  struct figures {
    double weight = 0;
    class_t majority = 0;
    double of_majority = 0;         // its weight, unless sums are to be made
    unsigned long n_weights = 0;    // kept at
    const byte* weights = nullptr;  // code and weight in turn
    const byte* rest = nullptr;     // number of cases, fraction, error
  };

  node(const byte* at, const byte* father, const byte* weighted);
  node nearest_known() const;
  figures statistics() const;
  template <class F>
  const byte* read_weights(const figures& of, const F& f) const;
  double read_weight(const byte*& at) const;
  static unsigned long read_number(const byte*& at);
  static double read_double(const byte*& at);
  const byte* weighted_from_here() const { return (head_ & k_no_weight) != 0 ? weighted_ : at_; }
  template <class F>
  bool for_each_link(const F& f) const;

  const byte* at_;        // null: no case came here
  const byte* father_;    // null at the root
  const byte* weighted_;  // the nearest node above to which cases came; null without one
  unsigned int head_ = 0;
  split_test test_;
  const byte* statistics_ = nullptr;
  const byte* links_ = nullptr;
};

inline unsigned long packed_tree::node::read_number(const byte*& at) {
  unsigned long number = *at & 0x7FU;
  for (unsigned int shift = 7; (*at++ & 0x80U) != 0; shift += 7) {
    number |= (*at & 0x7FUL) << shift;
  }
  return number;
}

inline packed_tree::node::node(const byte* at, const byte* father, const byte* weighted)
    : at_(at), father_(father), weighted_(weighted) {
  if (at == nullptr) return;
  head_ = *at++;
  if ((head_ & k_more) != 0) head_ |= static_cast<unsigned int>(*at++) << 8;
  if (is_leaf()) {
    statistics_ = at;
    return;
  }
  test_.attribute = static_cast<unsigned int>(read_number(at));
  test_.how = static_cast<split_test::kind>(head_ / k_kind % 4);
  if (test_.how != split_test::EVERY_VALUE) test_.code = read_number(at);
  const unsigned long length = read_number(at);
  statistics_ = at;
  links_ = at + length;
}

inline packed_tree::node packed_tree::root() const { return {bytes_.data(), nullptr, nullptr}; }

/// Calls f(branch, where its subtree is) for branches with one until it returns false.
template <class F>
bool packed_tree::node::for_each_link(const F& f) const {
  const byte* at = links_;
  if (test_.parts_in_two()) {
    // Twice the length of the first subtree, plus one where there is a second.
    const unsigned long link = read_number(at);
    if (link > 1 && !f(std::size_t{0}, at)) return false;
    return (link & 1U) == 0 || f(std::size_t{1}, at + link / 2);
  }
  // The numbers of branches and of subtrees, the length of what follows; of each subtree how many
  // branches are skipped before it, and its length.
  read_number(at);
  unsigned long left = read_number(at);
  const unsigned long length = read_number(at);
  const byte* subtree = at + length;
  for (std::size_t branch = 0; left > 0; --left, ++branch) {
    branch += read_number(at);
    const unsigned long size = read_number(at);
    if (!f(branch, subtree)) return false;
    subtree += size;
  }
  return true;
}

template <class F>
void packed_tree::node::for_each_child(const F& f) const {
  for_each_link([&](std::size_t branch, const byte* at) {
    f(branch, node(at, at_, weighted_from_here()));
    return true;
  });
}

inline packed_tree::node packed_tree::node::child(std::size_t branch) const {
  const byte* found = nullptr;
  for_each_link([&](std::size_t b, const byte* at) {
    if (b == branch) found = at;
    return b < branch;
  });
  return {found, at_, weighted_from_here()};
}

/// @return where the weights end.
template <class F>
const packed_tree::byte* packed_tree::node::read_weights(const figures& of, const F& f) const {
  const byte* at = of.weights;
  code_t code = 0;
  for (unsigned long i = 0; i < of.n_weights; ++i) {
    code += read_number(at);
    f(code, read_weight(at));
  }
  return at;
}

}  // namespace orvik::impls
