#include "report_data.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "impls/identity.h"
#include "impls/rendering/description.h"
#include "report_numbers.h"
#include "report_rows.h"
#include "wording.h"
#include "zel/adt/tree_walk.h"
#include "zel/text/decimal.h"
#include "zel/util/string_util.h"

namespace orvview {

using namespace orvik::impls;

namespace {

constexpr std::size_t k_room_for_trees = 8'000'000;  // bytes
constexpr unsigned long k_rows_to_pick = 200;
constexpr unsigned long k_most_matrix_classes = 120;

constexpr char k_no_draws_without_rows[] =
    "The out-of-bag error by number of trees needs the training rows and the seed: --names, "
    "--data and --seed.";
constexpr char k_no_draws_without_seed[] =
    "The out-of-bag error by number of trees is not known: with the seed of the training run "
    "(--seed) and all of its rows the draws of the trees can be found again.";
constexpr char k_permutation_out_of_bag[] = "Rise of the out-of-bag error with permuted values";
constexpr char k_permutation_on_rows[] = "Rise of the error on the given rows with permuted values";

class data_writer {
 public:
  data_writer(const dtree& model, const table* rows)
      : model_(model),
        schema_(*model.get_training_table()),
        rows_(rows),
        words_(model),
        json_(buffer_) {
    cuts_.resize(schema_.n_columns());
    tested_.resize(schema_.n_attributes());
    for (unsigned long i = 0; i < model_.n_trees(); ++i) model_.get_tree(i).set_used_atts(tested_);
    shown_.assign(schema_.n_columns(), false);
    shown_[schema_.class_index()] = true;
    for (const unsigned long a : tested_) shown_[schema_.column_index_of(a)] = true;
  }

  std::string write(const std::string& title);

 private:
  void key(std::string_view name) {
    json_.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
  }
  void utf8(const std::string& text);
  /// A text of the table; rows that are not the model's may be in another encoding than it.
  void text(const std::string& raw) { utf8(as_utf8(words_.utf8(raw))); }
  void number(double x);
  void plain(const std::string& digits) {
    json_.RawValue(digits.data(), digits.size(), rapidjson::kNumberType);
  }
  /// An array of what each(item) writes for every item of `all`.
  template <class Range, class Each>
  void array(std::string_view name, const Range& all, const Each& each) {
    key(name);
    json_.StartArray();
    for (const auto& item : all) each(item);
    json_.EndArray();
  }

  void write_head(const std::string& title);
  void write_sizes();
  void write_trees();
  void write_tree(const decision_tree& tree);
  void write_tests(const std::vector<const decision_tree*>& nodes);
  void write_statistics(const std::vector<const decision_tree*>& nodes);
  long cut_of(const decision_node& node);
  void write_columns();
  void write_column(unsigned long i);
  void write_matrix(const char* title, const conf_matrix& matrix);
  void write_matrices();
  void write_importance();
  void write_out_of_bag();
  void write_rows();

  const dtree& model_;
  const table& schema_;
  const table* rows_;
  wording words_;
  rapidjson::StringBuffer buffer_;
  rapidjson::Writer<rapidjson::StringBuffer> json_;
  zel::adt::bitmap tested_;                   // attributes
  std::vector<bool> shown_;                   // by column: the class and what is tested
  std::vector<std::map<code_t, long>> cuts_;  // by column: codes of thresholds and their places
  std::unique_ptr<recoded_rows> recoded_;     // null without rows
  std::vector<decision_tree::prediction> predictions_;
};

void data_writer::utf8(const std::string& text) {
  json_.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

/// JSON has no numbers beyond the finite ones.
void data_writer::number(double x) {
  std::isfinite(x) ? plain(zel::text::shortest_decimal(x)) : static_cast<void>(json_.Null());
}

void data_writer::write_head(const std::string& title) {
  key("name");
  utf8(as_utf8(title));
  key("kind");
  text(model_.is_ensemble() ? "Ensemble of classification trees" : "Classification tree");
  key("made_by");
  text(std::string(k_library_name) + ' ' + k_version);
  key("ensemble");
  json_.Bool(model_.is_ensemble());
  key("tree_count");
  json_.Uint64(model_.n_trees());
  key("cases");
  json_.Uint64(model_.get_tree(0).get_node()->n_cases());
  key("class");
  json_.Uint64(schema_.class_index());
}

/// Nodes, leaves and depth of every tree.
void data_writer::write_sizes() {
  key("sizes");
  json_.StartArray();
  for (unsigned long i = 0; i < model_.n_trees(); ++i) {
    const decision_tree& tree = model_.get_tree(i);
    json_.StartArray();
    json_.Uint64(tree.size());
    json_.Uint64(tree.leaves());
    json_.Uint64(tree.depth());
    json_.EndArray();
  }
  json_.EndArray();
}

void data_writer::write_trees() {
  key("trees");
  json_.StartArray();
  const std::size_t before = buffer_.GetSize();
  for (unsigned long i = 0; i < model_.n_trees(); ++i) {
    if (i > 0 && buffer_.GetSize() - before > k_room_for_trees) break;
    write_tree(model_.get_tree(i));
  }
  json_.EndArray();
}

void data_writer::write_tree(const decision_tree& tree) {
  std::vector<const decision_tree*> nodes;
  zel::adt::walk(
      tree,
      [&](const decision_tree& each, unsigned long) {
        nodes.push_back(&each);
        return true;
      },
      [](const decision_tree&, unsigned long) {});
  json_.StartObject();
  array("children", nodes, [&](const decision_tree* n) { json_.Uint(n->get_no_childs()); });
  write_tests(nodes);
  write_statistics(nodes);
  json_.EndObject();
}

void data_writer::write_tests(const std::vector<const decision_tree*>& nodes) {
  std::vector<const decision_node*> inner;
  for (const decision_tree* n : nodes) {
    if (!is_leaf(*n)) inner.push_back(n->get_node());
  }
  array("columns", inner,
        [&](const decision_node* n) { json_.Uint64(schema_.column_index_of(n->attribute())); });
  array("cuts", inner, [&](const decision_node* n) { json_.Int64(cut_of(*n)); });
}

/// Place of a node's threshold among those of its column, which it enters; -1 without.
long data_writer::cut_of(const decision_node& node) {
  const branch_test test = test_of_branch(schema_, node, 0);
  if (test.how != branch_test::UP_TO) return -1;
  std::map<code_t, long>& known = cuts_[schema_.column_index_of(node.attribute())];
  return known.try_emplace(test.code, static_cast<long>(known.size())).first->second;
}

void data_writer::write_statistics(const std::vector<const decision_tree*>& nodes) {
  const unsigned long n_codes = schema_.n_class_codes();
  std::vector<unsigned long> kinds;
  std::vector<std::pair<code_t, double>> shares;
  std::vector<std::pair<std::size_t, double>> odd_weights, odd_classes;
  bool cases_are_weights = true;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const decision_node& node = *nodes[i]->get_node();
    const std::size_t before = shares.size();
    double sum = 0, most = 0;
    code_t best = k_unknown;
    for (code_t c = 0; c < n_codes; ++c) {
      const double weight = node.class_weight(c);
      if (weight == 0 || !std::isfinite(weight)) continue;
      shares.emplace_back(c, weight);
      sum += weight;
      if (weight > most) best = c, most = weight;
    }
    kinds.push_back(shares.size() - before);
    if (sum != node.weight()) odd_weights.emplace_back(i, node.weight());
    if (best != node.get_leaf_class()) odd_classes.emplace_back(i, node.get_leaf_class());
    cases_are_weights = cases_are_weights && static_cast<double>(node.n_cases()) == node.weight();
  }
  const auto pair = [&](const std::pair<std::size_t, double>& odd) {
    json_.StartArray();
    json_.Uint64(odd.first);
    number(odd.second);
    json_.EndArray();
  };
  array("kinds", kinds, [&](unsigned long n) { json_.Uint64(n); });
  array("classes", shares, [&](const auto& share) { json_.Uint64(share.first); });
  array("weights", shares, [&](const auto& share) { number(share.second); });
  array("odd_weights", odd_weights, pair);
  array("odd_classes", odd_classes, pair);
  array("errors", nodes, [&](const decision_tree* n) {
    const double error = n->get_node()->estimated_error();
    plain(std::isfinite(error) ? one_decimal(error) : "0");
  });
  if (cases_are_weights) return;
  array("cases", nodes, [&](const decision_tree* n) { json_.Uint64(n->get_node()->n_cases()); });
}

void data_writer::write_columns() {
  key("columns");
  json_.StartArray();
  for (unsigned long i = 0; i < schema_.n_columns(); ++i) write_column(i);
  json_.EndArray();
}

/// Values are needed of the class and of what can be asked for.
void data_writer::write_column(unsigned long i) {
  const column& c = schema_.get_column(i);
  const o_set& values = *c.values();
  json_.StartObject();
  key("name");
  utf8(words_.column_name(i));
  key("type");
  text(values.is_ordered() ? "ostring" : values.type());
  key("role");
  text(c.get_type());
  key("unknown");
  text(values.null_value());
  if (shown_[i] && lists_values(c)) {
    key("values");
    json_.StartArray();
    for (code_t code = 1; code <= values.size_of_known(); ++code)
      text(values.get_exact_value(code));
    json_.EndArray();
  } else if (shown_[i] && is_input(c) && values.size_of_known() > 0) {
    key("range");
    json_.StartArray();
    text(values.get_exact_value(1));
    text(values.get_exact_value(values.size_of_known()));
    json_.EndArray();
  }
  std::vector<code_t> by_place(cuts_[i].size());
  for (const auto& [code, place] : cuts_[i]) by_place[static_cast<std::size_t>(place)] = code;
  array("cuts", by_place, [&](code_t code) { text(values.get_exact_value(code)); });
  if (values.is_ordered()) array("cut_places", by_place, [&](code_t code) { json_.Uint64(code); });
  json_.EndObject();
}

void data_writer::write_matrix(const char* title, const conf_matrix& m) {
  const auto percentage = [](double share) { return six_digits(100 * share) + " %"; };
  const double mse = m.err_mse();
  const std::pair<const char*, std::string> figures[] = {
      {"Misclassification", percentage(m.err_misc())},
      {"Misclassification, always the most frequent class", percentage(m.err_misc_majority())},
      {"Weight of the cases", six_digits(m.cases())},
      {"Mean absolute error of the class codes (MAE)", six_digits(m.err_mae())},
      {"Mean squared error of the class codes (MSE)", six_digits(mse)},
      {"Root of the mean squared error (RMSE)", six_digits(std::sqrt(mse))},
      {"Correlation (R)", six_digits(m.err_r())},
      {"Agreement of the orders (RINT)", six_digits(m.err_rint())},
      {"Goodman and Kruskal's gamma (G)", six_digits(m.err_gamma())},
  };
  json_.StartObject();
  key("title");
  text(title);
  array("figures", figures, [&](const auto& figure) {
    json_.StartArray();
    text(figure.first);
    text(figure.second);
    json_.EndArray();
  });
  key("cells");
  json_.StartArray();
  for (code_t i = 0; m.size() <= k_most_matrix_classes && i < m.size(); ++i) {
    json_.StartArray();
    for (code_t j = 0; j < m.size(); ++j) number(m.get_element(i, j));
    json_.EndArray();
  }
  json_.EndArray();
  json_.EndObject();
}

void data_writer::write_matrices() {
  key("matrices");
  json_.StartArray();
  if (const conf_matrix* training = model_.get_training_cm()) write_matrix("Training", *training);
  if (recoded_) write_matrix("Given rows", *test_on_rows(model_, *recoded_, predictions_));
  json_.EndArray();
}

void data_writer::write_importance() {
  const bool draws = rows_ != nullptr && model_.has_draws();
  const auto all = model_.importance(draws ? *rows_ : schema_);
  std::vector<double> on_rows;
  if (recoded_ && !draws) on_rows = permutation_on_rows(model_, *recoded_, tested_);
  key("permutation_title");
  text(draws ? k_permutation_out_of_bag : k_permutation_on_rows);
  array("importance", all, [&](const orvik::attribute_importance& each) {
    json_.StartObject();
    key("column");
    json_.Uint64(schema_.column_index_of(each.attribute));
    key("tested");
    json_.Bool(tested_[each.attribute]);
    key("gain");
    number(each.gain);
    key("permutation");
    number(draws ? each.permutation : on_rows.empty() ? 0 : on_rows[each.attribute]);
    json_.EndObject();
  });
}

void data_writer::write_out_of_bag() {
  const bool draws = rows_ != nullptr && model_.has_draws();
  array("oob", draws ? model_.oob_errors(*rows_) : std::vector<double>(),
        [&](double error) { number(error); });
  key("oob_note");
  text(!model_.is_ensemble() || draws ? ""
       : rows_ == nullptr             ? k_no_draws_without_rows
                                      : k_no_draws_without_seed);
}

/// The rows that a case can be picked from: texts by column, empty where nothing asks for one.
void data_writer::write_rows() {
  if (!recoded_) return;
  const unsigned long n = std::min(k_rows_to_pick, rows_->n_rows());
  std::vector<row_t> some(n);
  for (row_t row = 0; row < n; ++row) some[row] = row;
  key("rows");
  json_.StartObject();
  array("rows", some, [&](row_t row) {
    json_.StartArray();
    for (unsigned long i = 0; i < rows_->n_columns(); ++i) {
      const column& c = rows_->get_column(i);
      text(shown_[i] && is_input(c) ? c.values()->get_exact_value(c.get_row_index(row)) : "");
    }
    json_.EndArray();
  });
  array("actual", some, [&](row_t row) { json_.Uint64(recoded_->class_of(row)); });
  array("predicted", some, [&](row_t row) { json_.Uint64(predictions_[row].first); });
  array("confidence", some, [&](row_t row) { number(predictions_[row].second); });
  json_.EndObject();
}

std::string data_writer::write(const std::string& title) {
  if (rows_ != nullptr) {
    recoded_ = std::make_unique<recoded_rows>(model_, *rows_);
    predictions_ = predict_rows(model_, *recoded_, rows_->n_rows());
  }
  json_.StartObject();
  write_head(title);
  write_sizes();
  write_trees();
  write_columns();
  write_matrices();
  write_importance();
  write_out_of_bag();
  write_rows();
  json_.EndObject();
  return {buffer_.GetString(), buffer_.GetSize()};
}

}  // namespace

std::string as_utf8(const std::string& text) {
  using namespace zel::util::string_util;
  return is_utf8(text) ? text : utf8_of_latin1(text);
}

std::string report_data(const dtree& model, const std::string& title, const table* rows) {
  const std::string json = data_writer(model, rows).write(title);
  std::string safe;
  safe.reserve(json.size());
  for (const char c : json) {
    if (c == '<') {
      safe += "\\u003c";
    } else {
      safe += c;
    }
  }
  return safe;
}

}  // namespace orvview
