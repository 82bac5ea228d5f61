// The rules of a tree: one a leaf, the tests on the way to it put together.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "forms.h"

namespace orvview {

/// What a rule asks of one column: a range of values or one value. A code is of the column's value
/// set.
struct condition {
  const orvik::impls::column* tested;
  std::optional<orvik::impls::code_t> above;   ///< exclusive
  std::optional<orvik::impls::code_t> up_to;   ///< inclusive
  std::optional<orvik::impls::code_t> equals;  ///< then neither of the others
};

struct rule {
  std::vector<condition> conditions;        ///< by first test on the way from the root
  const orvik::impls::decision_node* leaf;  ///< of the model
  double support() const { return leaf->weight(); }
  double confidence() const { return support() > 0 ? leaf->get_leaf_classfreq() : 1.0; }
};

/// The rules in the order of the leaves. They point into the model.
std::vector<rule> rules_of(const chosen_tree& chosen);

/// How a condition reads, with printed values: "humidity <= 75".
std::string printed(const condition& c);

void write_rules_text(const chosen_tree& chosen, std::ostream& out);
/// RFC 4180 with a header.
void write_rules_csv(const chosen_tree& chosen, std::ostream& out);
void write_rules_json(const chosen_tree& chosen, std::ostream& out);

}  // namespace orvview
