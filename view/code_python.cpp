// Models as Python: the tables of the C++ source, held in texts that are split when the module is
// loaded, as Python is slow and greedy with long lists in its sources.
#include "code_costs.h"
#include "code_python_text.h"
#include "forms.h"
#include "node_tables.h"
#include "wording.h"
#include "zel/text/decimal.h"

namespace orvik::view {

namespace {

constexpr std::size_t k_line = 100;

/// Words in lines of a moderate length between triple quotes.
class word_block {
 public:
  explicit word_block(std::ostream& out) : out_(out) { out_ << "\"\"\"\n"; }
  void add(const std::string& word) {
    if (used_ + word.size() >= k_line) {
      out_ << '\n';
      used_ = 0;
    }
    out_ << (used_ == 0 ? "" : " ") << word;
    used_ += word.size() + 1;
  }
  void end() { out_ << "\n\"\"\""; }

 private:
  std::ostream& out_;
  std::size_t used_ = 0;
};

/// The function of the module that reads values of a column.
const char* reader_of(const orvik::column_view& c) {
  const std::string type = c.type();
  if (!c.is_numeric()) return "str";
  if (type == "float") return "_single";
  if (type == "long double") return "_extended";
  return type == "double" ? "float" : "_integer";
}

class python_writer {
 public:
  python_writer(const orvik::dtree& model, std::ostream& out)
      : model_(model),
        schema_(model.get_schema()),
        words_(model),
        tables_(chosen_tree{model}),
        out_(out) {}

  void write();

 private:
  template <class Items, class Word>
  void write_words(const char* name, const char* read, const Items& items, const Word& word);
  void write_names();
  void write_columns();
  void write_column(const tested_column& tested);
  void write_values(const tested_column& tested);
  void write_cuts(const tested_column& tested);
  void write_nodes();
  void write_maps();
  void write_costs();
  void write_descent();
  void write_shares(const char* head);
  void write_answers();

  const orvik::dtree& model_;
  orvik::schema_view schema_;
  wording words_;
  node_tables tables_;
  std::ostream& out_;
};

template <class Items, class Word>
void python_writer::write_words(const char* name, const char* read, const Items& items,
                                const Word& word) {
  out_ << name << " = _words(";
  word_block block(out_);
  for (const auto& item : items) block.add(word(item));
  block.end();
  out_ << ", " << read << ")\n";
}

void python_writer::write_names() {
  const auto column = [this](unsigned long i) { return python_literal(words_.column_name(i)); };
  out_ << "ENCODING = " << python_literal(words_.encoding())
       << "  # of the data\nUNKNOWN = " << python_literal(words_.class_name(orvik::k_unknown))
       << "\nCLASSES = [  # by code\n";
  for (orvik::code_t c = 0; c < schema_.n_class_codes(); ++c) {
    out_ << "    " << python_literal(words_.class_name(c)) << ",\n";
  }
  out_ << "]\nCOLUMNS = [  # of the data\n";
  for (unsigned long i = 0; i < schema_.n_columns(); ++i) out_ << "    " << column(i) << ",\n";
  out_ << "]\nCLASS = " << column(schema_.class_column().index())
       << "\nWEIGHTS = " << (schema_.has_weights() ? column(schema_.weights_index()) : "None")
       << "\nVOTES = " << (model_.votes() ? "True" : "False") << "\nAVERAGES = "
       << (model_.get_combination() == orvik::combination::shares ? "True" : "False") << "\n";
}

void python_writer::write_values(const tested_column& tested) {
  const orvik::column_view c = tested.column;
  if (tested.is_cut() && tested.is_numeric()) {
    out_ << "None";
    return;
  }
  out_ << "_places([\n";
  for (orvik::code_t code = 1; code <= c.n_values(); ++code) {
    const std::string text = python_literal(words_.utf8(c.exact(code)));
    out_ << "        " << (tested.is_numeric() ? reader_of(c) + ('(' + text + ')') : text) << ",\n";
  }
  out_ << "    ])";
}

void python_writer::write_cuts(const tested_column& tested) {
  if (!tested.is_cut()) {
    out_ << "None";
    return;
  }
  out_ << "_words(";
  word_block block(out_);
  for (const orvik::code_t code : tested.cuts) {
    block.add(tested.is_numeric() ? tested.column.exact(code) : std::to_string(code));
  }
  block.end();
  out_ << ", " << (tested.is_numeric() ? reader_of(tested.column) : "int") << ')';
}

void python_writer::write_column(const tested_column& tested) {
  out_ << "    (" << python_literal(words_.column_name(tested.column.index())) << ", "
       << reader_of(tested.column) << ", ";
  write_values(tested);
  out_ << ", ";
  write_cuts(tested);
  out_ << "),\n";
}

void python_writer::write_columns() {
  out_ << "\n# What the trees test: name, reader of values, places of values, ascending cuts.\n"
          "_TESTED = [\n";
  for (const tested_column& c : tables_.columns) write_column(c);
  out_ << "]\n";
}

void python_writer::write_nodes() {
  const auto& nodes = tables_.nodes;
  const auto number = [](auto n) { return std::to_string(n); };
  const auto decimal = [](double x) { return zel::text::shortest_decimal(x); };
  out_ << "\n# Nodes, tree after tree. The children of a node stand side by side from _FIRST on;"
          " codes up to\n# _LIMIT go to the first child of a cut; a negative one is the one value"
          " that does. Of a leaf (column -1)\n# these are its first share and class.\n";
  write_words("_ROOTS", "int", tables_.roots, number);
  std::vector<double> votes;
  for (unsigned long i = 0; i < model_.get_no_trees(); ++i) votes.push_back(model_.get_votes(i));
  write_words("_VOTES", "float", votes, decimal);
  write_words("_COLUMN", "int", nodes, [&](const table_node& n) { return number(n.column); });
  write_words("_LIMIT", "int", nodes, [&](const table_node& n) { return number(n.limit); });
  write_words("_FIRST", "int", nodes, [&](const table_node& n) { return number(n.first); });
  write_words("_N", "int", nodes, [&](const table_node& n) { return number(n.n); });
  write_words("_WEIGHT", "float", nodes, [&](const table_node& n) { return decimal(n.weight); });
  write_words("_SHARE_CLASS", "int", tables_.shares,
              [&](const class_share& s) { return number(s.class_code); });
  write_words("_SHARE_WEIGHT", "float", tables_.shares,
              [&](const class_share& s) { return decimal(s.weight); });
}

/// Knots, or none; a and b. Of two known classes one, of the second; of more one for each.
void python_writer::write_maps() {
  const auto decimal = [](double x) { return zel::text::shortest_decimal(x); };
  const auto write_numbers = [&](const std::vector<double>& all) {
    out_ << "_words(";
    word_block block(out_);
    for (const double x : all) block.add(decimal(x));
    block.end();
    out_ << ", float), ";
  };
  out_ << "_MAPS = [\n";
  for (const orvik::share_map& map : model_.get_share_maps()) {
    out_ << "    (";
    write_numbers(map.x);
    write_numbers(map.y);
    out_ << decimal(map.a) << ", " << decimal(map.b) << "),\n";
  }
  out_ << "]\n\n";
}

/// Costs are by actual, then by predicted class code.
void python_writer::write_costs() {
  const auto decimal = [](double x) { return zel::text::shortest_decimal(x); };
  if (leans(model_)) write_words("_PRIOR", "float", model_.get_prior(), decimal);
  if (model_.decides_by_costs()) write_words("_COSTS", "float", cost_table(model_), decimal);
}

void python_writer::write_descent() {
  out_ << k_python_descent << (leans(model_) ? k_python_leaning_spread : k_python_spread)
       << k_python_ask;
  if (model_.decides_by_costs()) {
    out_ << k_python_costs;
  } else if (leans(model_) && !model_.is_calibrated()) {
    out_ << k_python_ask_by_shares;
  }
}

void python_writer::write_shares(const char* head) {
  out_ << head
       << (leans(model_) ? reworded(k_python_shares, {{"VOTES and AVERAGES", "False"}})
                         : std::string(k_python_shares));
}

void python_writer::write_answers() {
  const bool by_costs = model_.decides_by_costs();
  if (model_.is_calibrated()) {
    write_shares("def _plain_shares");
    write_maps();
    out_ << (by_costs
                 ? reworded(k_python_calibration, {{"_first_largest(found)", "_cheapest(found)"}})
                 : std::string(k_python_calibration))
         << k_python_predict;
    return;
  }
  std::string classify = k_python_classify;
  if (leans(model_)) {
    classify = reworded(classify, {{"_ask(_ROOTS[0]", "_ask_by_shares(_ROOTS[0]"},
                                   {"votes, True, amount", "votes, False, amount"}});
  }
  if (by_costs) {
    classify =
        reworded(classify, {{leans(model_) ? "_ask_by_shares(_R" : "_ask(_R", "_ask_by_costs(_R"},
                            {"_first_largest(votes)", "_cheapest(votes)"}});
  }
  out_ << classify << k_python_predict;
  write_shares("def shares");
}

void python_writer::write() {
  out_ << "#!/usr/bin/env python3\n# The class "
       << python_literal(words_.column_name(schema_.class_column().index())) << " by the model "
       << python_literal(words_.model_name()) << ": written by orvik view.\n"
       << k_python_head;
  write_names();
  write_columns();
  write_nodes();
  write_costs();
  write_descent();
  write_answers();
  out_ << k_python_main;
}

}  // namespace

void write_python(const orvik::dtree& model, std::ostream& out) {
  python_writer(model, out).write();
}

}  // namespace orvik::view
