// What the columns of a table hold, and how the classes are spread over their values.
#pragma once

#include <string>
#include <vector>

#include "orvik/table.h"
#include "report_rows.h"

namespace orvik::view {

/// A column: numbers in intervals of equal width, other values one by one, the most frequent ones.
struct column_profile {
  unsigned long column;
  unsigned long n_distinct;         // known values
  double unknown;                   // share of the weight
  bool is_range;                    // intervals
  double from = 0, to = 0;          // of all intervals; the outer ones hold what is beyond too
  std::vector<std::string> labels;  // exact values of the bins, if they are no intervals
  std::vector<std::vector<double>> bins;  // weights by class code 1 ..; or of all classes, one
  double others = 0;                      // weight of the values without a bin
};

/// Of the columns that are not ignored, the class among them, the first few hundred of many. Where
/// they would be too many numbers the bins are not told apart by classes. `recoded` are the same
/// rows in the codes of a model of so many classes.
std::vector<column_profile> profile_of(const orvik::table& rows, const recoded_rows& recoded,
                                       unsigned long n_classes);

/// What the rows that come to a node have in the column that it tests.
struct node_profile {
  unsigned long node;  // its place in nodes_of() the root
  column_profile tested;
};
/// Of inner nodes, those of the greatest weights, to which rows come with known values.
std::vector<node_profile> profiles_of_nodes(const orvik::tree_node& root, const orvik::table& rows,
                                            const recoded_rows& recoded, unsigned long n_classes);

}  // namespace orvik::view
