// The data block of the report: a model as JSON, for the script of the page.
//
// Nodes of a tree go by field, one array each, a father before its children and the first child
// first: so the arrays `children` give the shape. Members of a tree:
//   children  number of children, by node
//   columns   place of the column tested, by inner node
//   cuts      place of the threshold among the cuts of that column, -1 without; by inner node
//   kinds     number of classes with weight, by node; `classes` and `weights` have that many
//             entries for the node
//   errors    stored error with one decimal, by node
//   cases     numbers of cases, by node; left out where they are the weights
//   odd_weights, odd_classes   [node, value] where weight or class do not follow from the classes
#pragma once

#include <string>

#include "orvik/dtree.h"
#include "report.h"

namespace orvik::view {

/// The block, in UTF-8; it holds no "<", so that it can stand in any element. `rows` may be null.
/// Trees are left out once some millions of bytes are reached, the first one never.
std::string report_data(const orvik::dtree& model, const std::string& title, orvik::table* rows,
                        const training_facts& facts);

/// A text in UTF-8: as it is, or each byte taken for the character of that number.
std::string as_utf8(const std::string& text);

}  // namespace orvik::view
