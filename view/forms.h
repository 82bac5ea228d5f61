// The forms that a model is shown and used in, beside the report: rules, programs, pictures.
//
// Every form shows names, values and numbers as the library's renderings do. What people read has
// them printed; what a program reads has them exact.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "orvik/dtree.h"

namespace orvik::view {

/// Instead of the number of a tree: the model as a whole.
constexpr unsigned long k_whole_model = static_cast<unsigned long>(-1);
/// In place of a confidence where a leaf has no training cases.
constexpr char k_no_cases[] = "no cases: class of the node above";

/// A tree of a model, or all of it, and what says what is in it. `tree` counts from 0 and is in
/// range, or is k_whole_model.
struct chosen_tree {
  const orvik::dtree& model;
  unsigned long tree = k_whole_model;

  /// The tree of a model that has one, or the chosen one. Throws std::runtime_error where one of
  /// several is to be chosen.
  orvik::tree_node root() const;
  /// The trees that were chosen, in order.
  std::vector<orvik::tree_node> roots() const;
  orvik::schema_view schema() const { return model.get_schema(); }
};

/// Throws std::runtime_error for a form, by its name, that has no place for calibrated shares.
void require_plain_shares(const orvik::dtree& model, const char* form);

// Programs that predict, of models with one tree or many. What they hold and how exactly they
// agree with the library stands in docs/orvik::view.1.md.

/// One C++17 source without dependencies.
void write_cpp(const orvik::dtree& model, std::ostream& out);
/// One Python 3 module without dependencies.
void write_python(const orvik::dtree& model, std::ostream& out);
/// One SQL query that predicts the rows of the table named `relation`: by the chosen tree, or by
/// the votes of all.
void write_sql(const chosen_tree& chosen, const std::string& relation, std::ostream& out);

// What follows throws std::runtime_error where one of several trees is to be chosen, but for the
// summary, which is then of the first and says so.

/// An SVG picture; nodes deeper than `depth` are left out, and their fathers say so.
void write_svg(const chosen_tree& chosen, unsigned long depth, std::ostream& out);

/// How a summary is written for a terminal.
struct terminal {
  unsigned long width = 80;  // columns
  bool color = false;
  bool unicode = false;  // lines and bars of characters beyond ASCII
};
/// A line a node, no line wider than the terminal; nodes deeper than `depth` are left out.
void write_summary(const chosen_tree& chosen, unsigned long depth, const terminal& on,
                   std::ostream& out);

}  // namespace orvik::view
