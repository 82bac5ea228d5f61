// A tree as a model file has it, on its way to be packed. The nodes lie side by side in the order
// of the file, each before its children; there is no container of them, whose nodes would be taken
// from the memory and given back one by one. Leaves that no case came to are left out. Threads:
// many readers.
#pragma once

#include <cstddef>
#include <vector>

#include "impls/trees/node_record.h"
#include "zel/util/nocopy.h"

namespace orvik::impls {

class stored_tree : private zel::util::nocopy {
 public:
  class node;

  stored_tree() = default;
  /// Reads what decision_tree::bin_out() wrote in the place of what it has, whose memory it takes.
  /// Memory grows with what is read. Throws std::runtime_error for what does not fit together or
  /// the table.
  void read(zel::inpout::ibinstream& in, const table& t);

  const node& root() const;
  /// Number of nodes.
  std::size_t size() const;

 private:
  class reader;
  const node* at(std::size_t number) const;
  static constexpr std::size_t k_none = ~std::size_t{0};

  std::size_t n_codes_ = 0;
  std::vector<node> nodes_;
  std::vector<double> weights_;        // by node, then by class code
  std::vector<std::size_t> children_;  // of a node next to each other; k_none: left out
};

/// A node and what is below it: what packing asks a decision_tree and its decision_node for.
class stored_tree::node {
 public:
  unsigned int get_no_childs() const { return n_children_; }
  const node* get_child(unsigned int i) const;
  double errors_of_children() const;

  const node* get_node() const { return this; }
  const node* father() const;  // null at the root
  unsigned int position() const { return position_; }
  bool is_split() const { return record_.is_split; }
  const split_test& test() const { return record_.test; }
  double weight() const { return record_.weight; }
  double fraction() const { return record_.fraction; }
  unsigned long n_cases() const { return record_.n_cases; }
  class_t majority_class() const { return record_.majority; }
  double estimated_error() const { return record_.error; }
  double get_estimated_error_if_leaf() const { return weight() - class_weight(majority_class()); }
  const double* class_weights() const;
  double class_weight(code_t c) const { return class_weights()[c]; }
  bool is_empty_leaf(unsigned long n_codes) const;

 private:
  friend class stored_tree;

  node_record record_;
  const stored_tree* of_;
  std::size_t number_;
  std::size_t father_;        // k_none at the root
  std::size_t children_ = 0;  // of the tree's, where its own begin
  unsigned int n_children_ = 0;
  unsigned int position_;
};

inline const stored_tree::node& stored_tree::root() const { return nodes_[0]; }
inline std::size_t stored_tree::size() const { return nodes_.size(); }
inline const stored_tree::node* stored_tree::at(std::size_t number) const {
  return number == k_none ? nullptr : &nodes_[number];
}
inline const stored_tree::node* stored_tree::node::get_child(unsigned int i) const {
  return of_->at(of_->children_[children_ + i]);
}
inline const stored_tree::node* stored_tree::node::father() const { return of_->at(father_); }
inline const double* stored_tree::node::class_weights() const {
  return of_->weights_.data() + number_ * of_->n_codes_;
}

}  // namespace orvik::impls
