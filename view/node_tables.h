// A model as tables of small numbers, for programs that predict.
//
// A value becomes a code of its column first: 0 where it is unknown; of a column that cuts are made
// in, 1 + the number of the model's cuts below the value; of another the place of the value among
// those of training, from 1. A cut is then a comparison of codes, whatever the type of the column,
// and a discrete test an index.
#pragma once

#include <vector>

#include "forms.h"

namespace orvik::view {

/// A column that some tree tests.
struct tested_column {
  orvik::column_view column;
  std::vector<orvik::code_t> cuts;  // ascending codes of the column; none if discrete

  bool is_cut() const { return !cuts.empty(); }
  /// Whether it compares numbers, else texts.
  bool is_numeric() const { return column.is_numeric(); }
};

/// Part of a leaf's weight; where it has none, share of the nearest node above that has some. Of a
/// model whose leaves lean on prior shares such a leaf has weights of that node, behind the node's
/// own, which stands first.
struct class_share {
  orvik::code_t class_code;
  double weight;
};

/// Its children stand side by side.
struct table_node {
  static constexpr long k_leaf = -1;
  long column;  // in node_tables::columns, or k_leaf
  // Cut: codes up to it go to the first child; test of one value: its place, negative; leaf: the
  // class.
  long limit;
  unsigned long first;  // the first child; leaf: its first share
  unsigned long n;      // children or shares
  double weight;
};

/// All trees in one table, the nodes of a tree level by level.
struct node_tables {
  explicit node_tables(const chosen_tree& chosen);

  std::vector<tested_column> columns;  // ascending
  std::vector<unsigned long> roots;    // by tree
  std::vector<table_node> nodes;
  std::vector<class_share> shares;  // other than 0

 private:
  void find_columns(const orvik::schema_view& schema, const std::vector<orvik::tree_node>& trees);
  void add_tree(const orvik::tree_node& root);
  table_node entry_of(const orvik::tree_node& node, const orvik::tree_node& with_cases,
                      unsigned long next);
  void add_shares(const orvik::tree_node& leaf, const orvik::tree_node& with_cases);

  unsigned long n_class_codes_;
  bool leans_;
  std::vector<long> column_of_attribute_;
};

}  // namespace orvik::view
