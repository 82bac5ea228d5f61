// Reading the trees of a model.
//
// Nodes are views, as columns are: see schema.h for how long they are valid and for threads. A
// model keeps the trees of an ensemble packed: dtree::get_tree() unpacks one, and the nodes that it
// leads to share it, until the last of them is gone. No operation recurses, so trees may be as deep
// as memory allows.
#pragma once

#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "orvik/codes.h"
#include "orvik/export.h"
#include "orvik/schema.h"

namespace orvik {

namespace impls {
class decision_tree;
class table;
}  // namespace impls

/// What a node asks of the cases that go down one of its branches.
struct branch_test {
  enum relation : unsigned char {
    EQUAL,  ///< the value of `code`
    OTHER,  ///< any other known value
    UP_TO,  ///< the value of `code` or a smaller one
    ABOVE,  ///< a larger value than that of `code`
  };
  column_view tested;
  relation how;
  code_t code;  ///< of the value compared with

  std::string printed_value() const { return tested.printed(code); }
  std::string exact_value() const { return tested.exact(code); }
};

/// A node of a tree, and with it the tree below. It knows the weights of the cases it was grown on;
/// a case with an unknown value is spread over the branches of a test, in proportion to their known
/// weight.
class ORVIK_EXPORT tree_node {
 public:
  /// For the library's own use.
  tree_node(std::shared_ptr<const impls::decision_tree> tree, const impls::table& schema)
      : tree_(std::move(tree)), schema_(&schema) {}

  bool is_leaf() const { return n_children() == 0; }
  unsigned long n_children() const;
  /// Branch i leads there. Throws std::runtime_error for i >= n_children().
  tree_node child(unsigned long i) const;
  // Nodes, leaves and levels of the tree from here on. O(nodes).
  unsigned long size() const;
  unsigned long leaves() const;
  unsigned long depth() const;

  // Of the test; throw std::runtime_error in a leaf.

  /// Number of the attribute asked for, and its column.
  unsigned long attribute() const;
  column_view tested() const;
  /// Of a column that is cut branch 0 is UP_TO the cut and branch 1 ABOVE it. Where one value is
  /// asked for branch 0 is EQUAL to it and branch 1 OTHER; else branch i has the value of code i
  /// + 1. Throws std::runtime_error for a branch that there is not.
  branch_test test(unsigned long branch) const;

  // Of the way here; throw std::runtime_error at the root.

  /// Which branch of the father leads here, from 0, and what it asks.
  unsigned long branch() const;
  branch_test test_before() const;
  /// "humidity <= 75", with the printed value.
  std::string printed_test_before() const;

  /// Weight and number of the cases; of a pruned tree those that came here when it was grown or
  /// last pruned.
  double weight() const;
  unsigned long n_cases() const;
  /// Share of the father's known weight; 1 at the root.
  double fraction() const;
  /// Weights by class code, schema_view::n_class_codes() of them; there as long as a node of the
  /// tree.
  const double* class_weights() const;
  /// The class that a leaf here predicts: that of the greatest weight, the father's where no weight
  /// came, k_unknown at an empty root.
  code_t predicted() const;
  /// Its share of the weight; 1 without weight.
  double confidence() const;
  /// Errors as pruning estimates them; 0 in a tree that was not pruned.
  double stored_error() const;

  /// "N" or "N/errors", as the text form has it.
  std::string printed_counts() const;

 private:
  std::shared_ptr<const impls::decision_tree> tree_;  // with all of the tree that it is of
  const impls::table* schema_;
};

/// A node in a list of nodes.
struct placed_node {
  tree_node node;
  long father;          ///< its place in the list; -1 of the first
  unsigned long level;  ///< 0 of the first
};

constexpr unsigned long k_all_levels = std::numeric_limits<unsigned long>::max();

/// The nodes from `root` on that are at most `depth` levels below it: each before its children, and
/// with all below it before the next child of its father.
ORVIK_EXPORT std::vector<placed_node> nodes_of(const tree_node& root,
                                               unsigned long depth = k_all_levels);

}  // namespace orvik
