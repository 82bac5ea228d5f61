// A model as tables of small numbers, for programs that predict.
//
// A value becomes a code of its column first: 0 where it is unknown; of a column that cuts are made
// in, 1 + the number of the model's cuts below the value; of another the place of the value among
// those of training, from 1. A cut is then a comparison of codes, whatever the type of the column,
// and a discrete test an index.
#pragma once

#include <vector>

#include "impls/model/dtree.h"

namespace orvview {

/// A column that some tree tests.
struct tested_column {
  const orvik::impls::column* values_of;
  unsigned long index;                     // in the table
  std::vector<orvik::impls::code_t> cuts;  // ascending codes of the value set; none if discrete

  bool is_cut() const { return !cuts.empty(); }
  /// Whether it compares numbers, else texts.
  bool is_numeric() const { return values_of->values()->is_numeric(); }
  /// Branches of a test.
  unsigned long branches() const;
};

/// Part of a leaf's weight.
struct class_share {
  orvik::impls::code_t class_code;
  double weight;
};

/// Its children stand side by side.
struct table_node {
  static constexpr long k_leaf = -1;
  long column;          // in node_tables::columns, or k_leaf
  unsigned long limit;  // cut: codes up to it go to the first child; leaf: the class
  unsigned long first;  // the first child; leaf: its first share
  unsigned long n;      // children or shares
  double weight;
  const orvik::impls::decision_tree* source;
};

/// All trees in one table, the nodes of a tree level by level.
struct node_tables {
  explicit node_tables(const orvik::impls::dtree& model);
  node_tables(const orvik::impls::table& schema,
              const std::vector<const orvik::impls::decision_tree*>& trees);

  std::vector<tested_column> columns;  // ascending
  std::vector<unsigned long> roots;    // by tree
  std::vector<table_node> nodes;
  std::vector<class_share> shares;  // other than 0

 private:
  void find_columns(const orvik::impls::table& schema,
                    const std::vector<const orvik::impls::decision_tree*>& trees);
  void add_tree(const orvik::impls::decision_tree& tree);
  table_node node_of(const orvik::impls::decision_tree& tree, unsigned long next);
  void add_shares(const orvik::impls::decision_node& leaf);

  unsigned long n_class_codes_;
  std::vector<long> column_of_attribute_;
};

}  // namespace orvview
