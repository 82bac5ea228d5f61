// Trees of a model as arrays, and the ways of cases through them.
#pragma once

#include <pybind11/numpy.h>

#include <cstdint>
#include <vector>

#include "orvik/dtree.h"

namespace orvpython {

namespace py = pybind11;

/// The nodes of a tree, each before its children, as arrays by node: see Tree in orvik/_tree.py.
py::dict tree_arrays(const orvik::dtree& model, unsigned long tree);

/// A tree to send cases down.
class tree_walker {
 public:
  explicit tree_walker(const orvik::tree_node& root);

  unsigned long size() const { return nodes_.size(); }
  /// The leaf of a case given by its codes; where its value is unknown it goes down the branch of
  /// the most training weight, the first of equals.
  std::int64_t leaf_of(const std::uint32_t* codes) const;
  /// Appends the nodes that a case comes to, ascending; without a value it comes to all children
  /// that have weight.
  void path_of(const std::uint32_t* codes, std::vector<std::int64_t>& nodes) const;

 private:
  struct node {
    unsigned long attribute = 0;
    orvik::branch_test::relation how = orvik::branch_test::EQUAL;
    std::uint32_t code = 0;
    double weight = 0;
    std::vector<std::int64_t> children;
  };
  std::int64_t next(const node& at, std::uint32_t code) const;

  std::vector<node> nodes_;
};

}  // namespace orvpython
