// What the renderings say of a model, decided once: what a branch asks of a case, how a class, a
// value or a number is written, in which encoding texts are.
//
// A rendering walks the trees and lays out; it takes what it writes from here. Values are written
// in one of two ways: printed, as the loader's reports and the text form show them (numbers have
// six decimals), or exact, as the shortest text that reads back to the same value.
#pragma once

#include <string>
#include <vector>

#include "impls/tables/table.h"
#include "impls/trees/decision_tree.h"

namespace orvik::impls {

/// What a split node asks of a case that goes down one of its branches.
struct branch_test {
  enum relation {
    EQUAL,      ///< the value of `code`
    OTHER,      ///< any other known value
    UP_TO,      ///< the value of `code` or a smaller one
    ABOVE,      ///< a larger value than that of `code`
    UNKNOWN,    ///< no value: a further branch of a cut, which no tree grows
    UNHANDLED,  ///< the column is neither discrete nor continuous
  };
  const column* tested;
  relation how;
  code_t code;  ///< of the value compared with; 0 of an unhandled test

  std::string printed_value() const { return tested->values()->get_value(code); }
  std::string exact_value() const { return tested->values()->get_exact_value(code); }
};

/// The test of a split node's branch, counted from 0.
branch_test test_of_branch(const table& t, const decision_node& split, unsigned long branch);

/// The test of its father that leads to a node below the root.
inline branch_test test_before(const table& t, const decision_node& node) {
  return test_of_branch(t, *node.father(), node.position() - 1);
}

inline bool is_leaf(const decision_tree& tree) { return tree.get_no_childs() == 0; }

/// What the test asks, with the printed value: "humidity <= 75".
std::string printed_test(const branch_test& test);

/// The class that the node predicts, its father's where no weight came.
inline std::string printed_class(const table& t, const decision_node& node) {
  return t.class_column().values()->get_value(node.get_leaf_class());
}

/// "N" or "N/errors" of a leaf, as the text form has it between brackets.
std::string printed_counts(const decision_node& leaf);

/// Whether cases are told apart by a column: not by the class, weights or ignored columns.
inline bool is_input(const column& c) {
  return c.type() == column::DISCRETE || c.type() == column::CONTINUOUS;
}

/// Whether the values of a column are listed in a document: those of categories and of orders
/// that are not the numbers'.
inline bool lists_values(const column& c) {
  return c.type() == column::CLASS || c.type() == column::DISCRETE ||
         (c.type() == column::CONTINUOUS && !c.values()->is_numeric());
}

/// The type of a column's values as metadata files have it; ordered texts are "ostring", whatever
/// their values.
inline std::string type_name(const column& c) {
  return c.values()->is_ordered() ? "ostring" : c.values()->type();
}

/// The names of the columns, made different: a second column of one name has " #" and its number,
/// counted from 1, behind it.
std::vector<std::string> unique_names(const table& t);

/// What a document calls a model: a model that is named after a file has its name without folders.
inline std::string document_name(const std::string& model_name) {
  return model_name.substr(model_name.find_last_of('/') + 1);
}

enum class text_encoding { UTF_8, LATIN_1 };

/// UTF-8 if the names and the listed values of a table are, else ISO-8859-1, of which every byte
/// is a character: so every text can be given back byte for byte.
text_encoding encoding_of(const table& t, const std::string& model_name);

constexpr const char* name_of(text_encoding encoding) {
  return encoding == text_encoding::UTF_8 ? "UTF-8" : "ISO-8859-1";
}

}  // namespace orvik::impls
