// The rows that a model is grown on: what is said of them on the command line, and how they come.
#pragma once

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "command_line.h"
#include "conversion.h"
#include "orvik/table.h"
#include "reading.h"

namespace orvverbs {

/// A character, "tab" or "auto", which is 0.
char separator_of(const std::string& option, const std::string& word);

/// As it is, or between quotes where a shell would not take it for one word.
std::string shell_word(const std::string& text);

/// What is said of a delimited file and of its columns.
struct input_options {
  void declare_layout(options& all);
  void declare_columns(options& all);
  /// Throws usage_error for words that cannot be understood.
  orvprep::settings settings() const;
  /// The file and what is said of it, as words for a shell.
  std::string words() const;

  std::string file;
  std::string separator = "auto", header = "auto", decimal = "auto", thousands = "auto";
  std::string encoding = "auto", comment, bins;
  std::vector<std::string> unknown, also_unknown, ordered;
  orvprep::column_wishes columns;

 private:
  std::function<bool()> unknown_given_;
};

/// A table, and how files like the one it came from are read.
struct training_input {
  std::unique_ptr<orvik::table> table;
  reading how;
};

/// Loads the file in whatever form; tells on `told` what of its columns is worth knowing. Case
/// weights are rescaled. Throws std::runtime_error, naming the file, and usage_error for options
/// that its form does not have.
training_input load_training(const input_options& from, std::ostream& told);
/// Tells what a cross-validation does to rows that stand for many cases each.
void tell_of_folds(const training_input& in, std::ostream& told);

}  // namespace orvverbs
