// The rules of a tree: one a leaf, the tests on the way to it put together.
#pragma once

#include <optional>
#include <vector>

#include "forms.h"

namespace orvik::view {

/// What a rule asks of one column: a range of values or one value. A code is of the column's value
/// set.
struct condition {
  unsigned long column;                      // of the table
  std::optional<orvik::code_t> above = {};   // exclusive
  std::optional<orvik::code_t> up_to = {};   // inclusive
  std::optional<orvik::code_t> equals = {};  // then none of the others
  std::vector<orvik::code_t> others = {};    // values that it is not; then neither of the first two
};

struct rule {
  orvik::tree_node leaf;              // of the model
  std::vector<condition> conditions;  // by first test on the way from the root

  double support() const { return leaf.weight(); }
  bool has_cases() const { return support() > 0; }
  /// Of a rule that has cases.
  double confidence() const { return leaf.confidence(); }
};

/// The rules in the order of the leaves, those without cases last. The model must outlive them.
std::vector<rule> rules_of(const chosen_tree& chosen);

void write_rules_text(const chosen_tree& chosen, std::ostream& out);
/// RFC 4180 with a header.
void write_rules_csv(const chosen_tree& chosen, std::ostream& out);
void write_rules_json(const chosen_tree& chosen, std::ostream& out);

}  // namespace orvik::view
