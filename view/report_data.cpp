#include "report_data.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <sstream>

#include "code_costs.h"
#include "numbers.h"
#include "orvik/orvik.h"
#include "report_profile.h"
#include "report_rows.h"
#include "wording.h"
#include "zel/text/json.h"
#include "zel/util/string_util.h"

namespace orvik::view {

using orvik::code_t;
using orvik::placed_node;
using orvik::row_t;
using orvik::tree_node;

namespace {

constexpr std::size_t k_room_for_trees = 8'000'000;  // bytes
constexpr unsigned long k_rows_to_pick = 200;
constexpr std::size_t k_few_classes = 4, k_few_points = 50, k_many_points = 200;  // of curves

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
  data_writer(const orvik::dtree& model, orvik::table* rows)
      : model_(model),
        schema_(model.get_schema()),
        rows_(rows),
        words_(model),
        json_(buffer_),
        tested_(model.get_tested()),
        cuts_(schema_.n_columns()) {
    shown_.assign(schema_.n_columns(), false);
    shown_[schema_.class_column().index()] = true;
    for (const unsigned long a : tested_) shown_[schema_.attribute(a).index()] = true;
  }

  std::string write(const std::string& title, const training_facts& facts);

 private:
  void key(std::string_view name) { json_.key(name); }
  /// A text of the table; rows that are not the model's may be in another encoding than it.
  void text(const std::string& raw) { json_.text(as_utf8(words_.utf8(raw))); }
  /// Opens an array.
  void begin(std::string_view name) {
    key(name);
    json_.StartArray();
  }

  void write_head(const std::string& title);
  void write_training(const training_facts& facts);
  void write_sizes();
  void write_trees();
  void write_tree(const tree_node& root);
  void write_tests(const std::vector<placed_node>& nodes);
  void write_statistics(const std::vector<placed_node>& nodes);
  long cut_of(const tree_node& node);
  void write_columns();
  void write_column(unsigned long i);
  template <class Range, class Texts>
  void write_pairs(std::string_view name, const Range& all, const Texts& texts);
  void write_matrix(const char* title, const orvik::conf_matrix& matrix,
                    const orvik::judged_rows& rows);
  void write_metrics(const orvik::judged_rows& rows, const char* source);
  void write_profile(const column_profile& of);
  void write_profiles();
  void write_matrices();
  void write_importance();
  void write_out_of_bag();
  void write_rows();

  const orvik::dtree& model_;
  orvik::schema_view schema_;
  orvik::table* rows_;  // may be null
  wording words_;
  zel::text::json_buffer buffer_;
  zel::text::json_writer<zel::text::json_buffer> json_;
  std::vector<unsigned long> tested_;         // attributes
  std::vector<std::map<code_t, long>> cuts_;  // by column: codes of thresholds and their places
  std::vector<bool> shown_;                   // by column: the class and what is tested
  std::unique_ptr<recoded_rows> recoded_;     // null without rows
  predicted_rows predictions_;
};

void data_writer::write_head(const std::string& title) {
  key("name");
  json_.text(as_utf8(title));
  key("kind");
  text(model_.is_ensemble() ? "Ensemble of classification trees" : "Classification tree");
  key("made_by");
  text(orvik::get_product());
  key("ensemble");
  json_.Bool(model_.is_ensemble());
  key("tree_count");
  json_.Uint64(model_.get_no_trees());
  key("averages");
  json_.Bool(model_.get_combination() == orvik::combination::shares);
  if (model_.decides_by_costs()) {
    begin("costs");  // by actual, then by predicted class
    for (const double cost : cost_table(model_)) json_.number(cost);
    json_.EndArray();
  }
  if (model_.is_calibrated()) {
    json_.array("maps", model_.get_share_maps(), [this](const orvik::share_map& map) {
      json_.object([&] {
        json_.array("x", map.x, [this](double x) { json_.number(x); });
        json_.array("y", map.y, [this](double y) { json_.number(y); });
        key("a");
        json_.number(map.a);
        key("b");
        json_.number(map.b);
      });
    });
  }
  if (const std::vector<double> prior = model_.get_prior(); !prior.empty()) {
    begin("prior");
    for (const double share : prior) json_.number(share);
    json_.EndArray();
  }
  begin("votes");
  for (unsigned long i = 0; i < model_.get_no_trees(); ++i) json_.number(model_.get_votes(i));
  json_.EndArray();
  key("cases");
  json_.Uint64(model_.get_tree(0).n_cases());
  key("class");
  json_.Uint64(schema_.class_column().index());
}

/// Nodes, leaves and depth of every tree.
void data_writer::write_sizes() {
  begin("sizes");
  for (unsigned long i = 0; i < model_.get_no_trees(); ++i) {
    const tree_node tree = model_.get_tree(i);
    json_.StartArray();
    json_.Uint64(tree.size());
    json_.Uint64(tree.leaves());
    json_.Uint64(tree.depth());
    json_.EndArray();
  }
  json_.EndArray();
}

void data_writer::write_trees() {
  begin("trees");
  const std::size_t before = buffer_.GetSize();
  for (unsigned long i = 0; i < model_.get_no_trees(); ++i) {
    if (i > 0 && buffer_.GetSize() - before > k_room_for_trees) break;
    write_tree(model_.get_tree(i));
  }
  json_.EndArray();
}

void data_writer::write_tree(const tree_node& root) {
  const std::vector<placed_node> nodes = nodes_of(root);
  json_.object([&] {
    json_.array("children", nodes,
                [&](const placed_node& n) { json_.Uint64(n.node.n_children()); });
    write_tests(nodes);
    write_statistics(nodes);
  });
}

void data_writer::write_tests(const std::vector<placed_node>& nodes) {
  std::vector<tree_node> inner;
  for (const placed_node& n : nodes) {
    if (!n.node.is_leaf()) inner.push_back(n.node);
  }
  json_.array("columns", inner, [&](const tree_node& n) { json_.Uint64(n.tested().index()); });
  json_.array("cuts", inner, [&](const tree_node& n) { json_.Int64(cut_of(n)); });
}

/// Place of a node's threshold among those of its column, which it enters; -1 of a branch for every
/// value; of a test of one value -1 less its code.
long data_writer::cut_of(const tree_node& node) {
  const orvik::branch_test test = node.test(0);
  if (node.test(1).how == orvik::branch_test::OTHER) return -1 - static_cast<long>(test.code);
  if (test.how != orvik::branch_test::UP_TO) return -1;
  std::map<code_t, long>& known = cuts_[test.tested.index()];
  return known.try_emplace(test.code, static_cast<long>(known.size())).first->second;
}

void data_writer::write_statistics(const std::vector<placed_node>& nodes) {
  const unsigned long n_codes = schema_.n_class_codes();
  std::vector<unsigned long> kinds;
  std::vector<std::pair<code_t, double>> shares;
  std::vector<std::pair<std::size_t, double>> odd_weights, odd_classes;
  bool cases_are_weights = true;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const tree_node& node = nodes[i].node;
    const double* const weights = node.class_weights();
    const std::size_t before = shares.size();
    double sum = 0, most = 0;
    code_t best = orvik::k_unknown;
    for (code_t c = 0; c < n_codes; ++c) {
      const double weight = weights[c];
      if (weight == 0 || !std::isfinite(weight)) continue;
      shares.emplace_back(c, weight);
      sum += weight;
      if (weight > most) best = c, most = weight;
    }
    kinds.push_back(shares.size() - before);
    if (sum != node.weight()) odd_weights.emplace_back(i, node.weight());
    if (best != node.predicted()) odd_classes.emplace_back(i, node.predicted());
    cases_are_weights = cases_are_weights && static_cast<double>(node.n_cases()) == node.weight();
  }
  const auto pair = [&](const std::pair<std::size_t, double>& odd) {
    json_.StartArray();
    json_.Uint64(odd.first);
    json_.number(odd.second);
    json_.EndArray();
  };
  json_.array("kinds", kinds, [&](unsigned long n) { json_.Uint64(n); });
  json_.array("classes", shares, [&](const auto& share) { json_.Uint64(share.first); });
  json_.array("weights", shares, [&](const auto& share) { json_.number(share.second); });
  json_.array("odd_weights", odd_weights, pair);
  json_.array("odd_classes", odd_classes, pair);
  json_.array("errors", nodes, [&](const placed_node& n) {
    const double error = n.node.stored_error();
    json_.digits(std::isfinite(error) ? trimmed_decimal(error) : "0");
  });
  if (cases_are_weights) return;
  json_.array("cases", nodes, [&](const placed_node& n) { json_.Uint64(n.node.n_cases()); });
}

void data_writer::write_columns() {
  begin("columns");
  for (unsigned long i = 0; i < schema_.n_columns(); ++i) write_column(i);
  json_.EndArray();
}

/// Values are needed of the class and of what can be asked for.
void data_writer::write_column(unsigned long i) {
  const orvik::column_view c = schema_.column(i);
  const auto exact = [&](code_t code) { text(c.exact(code)); };
  json_.StartObject();
  key("name");
  json_.text(words_.column_name(i));
  key("type");
  text(c.type());
  key("role");
  text(c.role_name());
  key("unknown");
  text(c.unknown_text());
  if (shown_[i] && c.lists_values()) {
    begin("values");
    for (code_t code = 1; code <= c.n_values(); ++code) exact(code);
    json_.EndArray();
  } else if (shown_[i] && c.is_input() && c.n_values() > 0) {
    json_.array("range", std::array{code_t{1}, c.n_values()}, exact);
  }
  std::vector<code_t> by_place(cuts_[i].size());
  for (const auto& [code, place] : cuts_[i]) by_place[static_cast<std::size_t>(place)] = code;
  json_.array("cuts", by_place, exact);
  if (c.is_ordered()) json_.array("cut_places", by_place, [&](code_t code) { json_.Uint64(code); });
  json_.EndObject();
}

/// Labels and texts, as pairs.
template <class Range, class Texts>
void data_writer::write_pairs(std::string_view name, const Range& all, const Texts& texts) {
  json_.array(name, all, [&](const auto& pair) {
    json_.StartArray();
    json_.text(pair.first);
    json_.text(as_utf8(texts(pair.second)));
    json_.EndArray();
  });
}

/// Settings that the model knows, and what else the caller does.
void data_writer::write_training(const training_facts& facts) {
  training_facts all = model_.get_settings();
  all.emplace_back("Name", words_.model_name());
  all.emplace_back("Encoding of the texts", words_.encoding());
  all.insert(all.end(), facts.begin(), facts.end());
  write_pairs("training", all, [](const std::string& own) { return own; });
}

using figure_list = std::vector<std::pair<const char*, double>>;

/// Distances of classes mean something where the classes are in an order.
void add_ordinal_errors(const orvik::conf_matrix& m, figure_list& figures) {
  figures.emplace_back("Mean absolute error of the class codes (MAE)", m.err_mae());
  figures.emplace_back("Mean squared error of the class codes (MSE)", m.err_mse());
  figures.emplace_back("Root of the mean squared error (RMSE)", std::sqrt(m.err_mse()));
  figures.emplace_back("Correlation (R)", m.err_r());
  figures.emplace_back("Agreement of the orders (RINT)", m.err_rint());
  figures.emplace_back("Goodman and Kruskal's gamma (G)", m.err_gamma());
}

void data_writer::write_matrix(const char* title, const orvik::conf_matrix& m,
                               const orvik::judged_rows& rows) {
  const orvik::column_view classes = schema_.class_column();
  figure_list figures = {
      {"Misclassification, in per cent", 100 * m.err_misc()},
      {"The same of always the most frequent class", 100 * m.err_misc_majority()},
      {"Weight of the cases", m.cases()}};
  if (const auto costs = model_.get_costs()) {
    figures.emplace_back("What the errors cost", m.get_cost(*costs));
    figures.emplace_back("The same a case", m.get_cost(*costs) / m.cases());
  }
  if (classes.is_ordered() || classes.is_numeric()) add_ordinal_errors(m, figures);
  json_.StartObject();
  key("title");
  text(title);
  write_pairs("figures", figures,
              [](double x) { return std::isnan(x) ? std::string("\u2013") : six_digits(x); });
  write_metrics(rows, title);
  begin("cells");
  for (code_t i = 0; m.size() <= k_most_matrix_classes && i < m.size(); ++i) {
    json_.StartArray();
    for (code_t j = 0; j < m.size(); ++j) json_.number(m.get_element(i, j));
    json_.EndArray();
  }
  json_.EndArray();
  json_.EndObject();
}

/// Every so many of the points, and the last one, with as many digits as a screen shows.
void thin(std::vector<orvik::curve_point>& points, std::size_t most) {
  const auto rounded = [](double x) { return std::round(x * 1e5) / 1e5; };
  std::vector<orvik::curve_point> kept;
  const std::size_t n = std::min(points.size(), most);
  for (std::size_t i = 0; i < n; ++i) {
    const orvik::curve_point& p = points[n == 1 ? 0 : i * (points.size() - 1) / (n - 1)];
    kept.push_back({rounded(p.x), rounded(p.y), n == 1 ? p.threshold : rounded(p.threshold)});
  }
  points = std::move(kept);
}

/// The library's document. Of few classes the curves keep their points, for a threshold to be moved
/// along them.
void data_writer::write_metrics(const orvik::judged_rows& rows, const char* source) {
  if (rows.classes.empty() || rows.classes.size() > k_most_matrix_classes) return;
  orvik::metrics all = metrics_of(rows, source);
  all.matrix.clear();
  // Sums of rows do not tell how many there were.
  if (rows.shares.empty()) all.accuracy_from = all.accuracy_to = std::nan("");
  for (orvik::class_metrics& each : all.classes) {
    const std::size_t most = rows.classes.size() > k_few_classes ? k_few_points : k_many_points;
    thin(each.roc, most);
    thin(each.precision_recall, most);
  }
  std::ostringstream document;
  orvik::write_metrics_json({all}, document);
  key("metrics");
  const std::string json = document.str();
  json_.RawValue(json.data(), json.size(), rapidjson::kObjectType);
}

void data_writer::write_matrices() {
  begin("matrices");
  const std::unique_ptr<orvik::conf_matrix> training(model_.get_training_cm());
  const bool few = schema_.n_class_codes() <= k_most_matrix_classes;
  if (training) {
    write_matrix("Training rows", *training,
                 few ? rows_of(model_.class_values(), *training) : orvik::judged_rows());
  }
  if (few && rows_ != nullptr && model_.has_draws()) {
    const orvik::judged_rows out_of_bag = model_.get_oob_rows(rows_);
    if (out_of_bag.size() > 0) {
      write_matrix("Out-of-bag rows", *test_on_rows(out_of_bag), out_of_bag);
    }
  }
  if (recoded_) {
    write_matrix("Rows given", *test_on_rows(predictions_.judged), predictions_.judged);
  }
  json_.EndArray();
}

/// The members of a profile, within an object.
void data_writer::write_profile(const column_profile& of) {
  const auto weight = [&](double x) { json_.number(std::round(x * 1000) / 1000); };
  key("column");
  json_.Uint64(of.column);
  key("distinct");
  json_.Uint64(of.n_distinct);
  key("unknown");
  json_.number(of.unknown);
  if (of.is_range) {
    json_.array("range", std::array{of.from, of.to}, [&](double x) { json_.number(x); });
  }
  json_.array("labels", of.labels, [&](const std::string& label) { text(label); });
  json_.array("bins", of.bins, [&](const std::vector<double>& bin) {
    json_.StartArray();
    for (const double x : bin) weight(x);
    json_.EndArray();
  });
  key("others");
  weight(of.others);
}

/// Of the columns, and of what the nodes of the first tree test.
void data_writer::write_profiles() {
  if (!recoded_) return;
  const unsigned long n_classes = schema_.n_class_codes() - 1;
  json_.array("profile", profile_of(*rows_, *recoded_, n_classes),
              [&](const column_profile& each) { json_.object([&] { write_profile(each); }); });
  json_.array("node_profiles", profiles_of_nodes(model_.get_tree(0), *rows_, *recoded_, n_classes),
              [&](const node_profile& each) {
                json_.object([&] {
                  key("node");
                  json_.Uint64(each.node);
                  write_profile(each.tested);
                });
              });
}

void data_writer::write_importance() {
  const bool draws = rows_ != nullptr && model_.has_draws();
  const auto all = draws ? model_.get_importance(rows_) : model_.get_importance();
  std::vector<double> on_rows;
  if (recoded_ && !draws) on_rows = permutation_on_rows(model_, *recoded_, tested_);
  key("permutation_title");
  text(draws ? k_permutation_out_of_bag : k_permutation_on_rows);
  json_.array("importance", all, [&](const orvik::attribute_importance& each) {
    json_.StartObject();
    key("column");
    json_.Uint64(schema_.attribute(each.attribute).index());
    key("tested");
    json_.Bool(std::ranges::binary_search(tested_, each.attribute));
    key("gain");
    json_.number(each.gain);
    key("permutation");
    json_.number(draws ? each.permutation : on_rows.empty() ? 0 : on_rows[each.attribute]);
    json_.EndObject();
  });
}

void data_writer::write_out_of_bag() {
  const bool draws = rows_ != nullptr && model_.has_draws();
  json_.array("oob", draws ? model_.get_oob_errors(rows_) : std::vector<double>(),
              [&](double error) { json_.number(error); });
  key("oob_note");
  text(!model_.is_ensemble() || model_.is_boosted() || draws ? ""
       : rows_ == nullptr                                    ? k_no_draws_without_rows
                                                             : k_no_draws_without_seed);
}

/// The rows that a case can be picked from: texts by column, empty where nothing asks for one.
void data_writer::write_rows() {
  if (!recoded_) return;
  const unsigned long n = std::min(k_rows_to_pick, recoded_->size());
  const orvik::schema_view given = rows_->get_schema();
  std::vector<row_t> some(n);
  for (row_t row = 0; row < n; ++row) some[row] = row;
  key("rows");
  json_.StartObject();
  json_.array("rows", some, [&](row_t row) {
    json_.StartArray();
    for (unsigned long i = 0; i < given.n_columns(); ++i) {
      const orvik::column_view c = given.column(i);
      text(shown_[i] && c.is_input() ? c.exact(c.code_in(row)) : "");
    }
    json_.EndArray();
  });
  json_.array("actual", some, [&](row_t row) { json_.Uint64(recoded_->class_of(row)); });
  json_.array("predicted", some,
              [&](row_t row) { json_.Uint64(predictions_.judged.predicted[row]); });
  json_.array("confidence", some, [&](row_t row) { json_.number(predictions_.confidences[row]); });
  json_.EndObject();
}

std::string data_writer::write(const std::string& title, const training_facts& facts) {
  if (rows_ != nullptr) {
    recoded_ = std::make_unique<recoded_rows>(model_, *rows_);
    predictions_ = predict_rows(model_, *recoded_);
  }
  json_.StartObject();
  write_head(title);
  write_training(facts);
  write_sizes();
  write_trees();
  write_columns();
  write_matrices();
  write_importance();
  write_out_of_bag();
  write_rows();
  write_profiles();
  json_.EndObject();
  return {buffer_.GetString(), buffer_.GetSize()};
}

}  // namespace

std::string as_utf8(const std::string& text) {
  using namespace zel::util::string_util;
  return is_utf8(text) ? text : utf8_of_latin1(text);
}

std::string report_data(const orvik::dtree& model, const std::string& title, orvik::table* rows,
                        const training_facts& facts) {
  const std::string json = data_writer(model, rows).write(title, facts);
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

}  // namespace orvik::view
