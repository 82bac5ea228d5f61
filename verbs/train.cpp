// orvik train: a model of a file, and how good it is.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "figures.h"
#include "files.h"
#include "forms.h"
#include "input.h"
#include "judged_file.h"
#include "learning.h"
#include "new_rows.h"
#include "report.h"
#include "row_file.h"
#include "verbs.h"
#include "zel/util/cronos.h"
#include "zel/util/progress_display.h"
#include "zel/util/run_context.h"

namespace orvverbs {

namespace {

using orvik::dtree;
using orvik::table;
using zel::util::progress::unit;

constexpr unsigned long k_folds = 10;
constexpr unsigned long k_shown_nodes = 40;
constexpr char k_train_examples[] =
    "Examples:\n"
    "  orvik train people.csv --class buys -o people.orvik\n"
    "  orvik train people.csv --class buys --forest 100 --holdout 30 -o people.orvik \\\n"
    "              --report people.html\n"
    "  orvik train golf.names --prune none --text golf.txt\n\n"
    "FILE is a delimited file, a pair of .names and .data, or a table that orvcmd -db or -dbm "
    "saved.\n"
    "COLUMN is a name or a number from 1. See orvik-train(1).";

/// A form of the model that goes to a file of its own.
struct document {
  const char* option;
  const char* help;
  bool of_one_tree;  ///< has no room for an ensemble
  bool calibrated;   ///< has room for calibrated shares
  void (*write)(const dtree& model, std::ostream& out);
};

constexpr std::array<document, 8> k_documents = {
    {{"--pmml", "the model as PMML 4.4", false, false,
      [](const dtree& m, std::ostream& out) { m.toPMML(out); }},
     {"--model-json", "the model as JSON", false, true,
      [](const dtree& m, std::ostream& out) { m.toJSON(out); }},
     {"--cpp", "a C++17 source that predicts", false, true, orvik::view::write_cpp},
     {"--python", "a Python 3 module that predicts", false, true, orvik::view::write_python},
     {"--sql", "an SQL query that predicts", false, true,
      [](const dtree& m, std::ostream& out) { orvik::view::write_sql({m}, "cases", out); }},
     {"--dot", "a graph for Graphviz", false, true,
      [](const dtree& m, std::ostream& out) { m.toDOT(out); }},
     {"--text", "the tree as indented text", false, true,
      [](const dtree& m, std::ostream& out) { m.toTEXT(out); }},
     {"--svg", "a picture of the tree", true, true, [](const dtree& m, std::ostream& out) {
        orvik::view::write_svg({m}, orvik::k_all_levels, out);
      }}}};

constexpr std::size_t k_pmml = 0;  // in k_documents

/// What a run found out.
struct results {
  std::unique_ptr<dtree> model;
  judged_test training, out_of_bag, holdout;  // without a matrix: none made
  validation folds;
  unsigned long n_folds = 0;
  double out_of_bag_error = std::nan("");
  orvik::view::training_facts facts;
};

/// "1.24 s", "5.7 ms"
std::string seconds_text(double seconds) {
  std::array<char, 32> room;
  const bool short_one = seconds < 1;
  std::snprintf(room.data(), room.size(), short_one ? "%.3g ms" : "%.1f s",
                short_one ? 1000 * seconds : seconds);
  return room.data();
}

class train_verb : public verb {
 public:
  const char* name() const override { return "train"; }
  const char* summary() const override {
    return "a tree or a forest of a file, and how good it is";
  }

  void declare(options& all) override {
    all.positional("FILE", input_.file,
                   "the rows: a CSV file or its like, also gzip; - for standard input");
    all.group("What is written");
    all.file("-o,--output", output_, "the model, for orvik predict, test and view");
    all.file("--report", report_, "a report for a browser");
    for (std::size_t i = 0; i < k_documents.size(); ++i) {
      all.file(k_documents[i].option, documents_[i], k_documents[i].help);
    }
    all.flag("--json", json_, "the figures as JSON instead of text");
    all.flag("-q,--quiet", quiet_, "no summary of the tree and no notes");
    input_.declare_columns(all);
    input_.declare_layout(all);
    learning_.declare(all);
    all.group("What its probabilities are worth");
    all.choice("--calibrate", calibrate_, {"isotonic", "platt", "plain"},
               "shares that mean what they say; plain: as they are, for orvik predict --sets");
    all.file("--calibration-rows", calibration_rows_,
             "rows to calibrate on; else training rows that trees were not grown on");
    all.group("How it is tested");
    all.real("--holdout", holdout_, 0.001, 99.999, "percent of the rows that are kept for a test");
    all.number("--cv", folds_, 2, 1'000'000,
               "folds of the cross-validation (10, where nothing else tests)");
    all.flag("--no-cv", no_cv_, "no cross-validation");
    learning_.declare_run(all);
    all.examples(k_train_examples);
    said_ = &all;
  }

  void run() override {
    learning_.begin();
    if (calibrate_.empty() && !calibration_rows_.empty()) {
      throw usage_error("--calibration-rows is for --calibrate");
    }
    if (no_cv_ && folds_ > 0) throw usage_error("--cv and --no-cv: one of them");
    check_outputs();
    std::ostringstream nowhere;
    const training_input in = load_training(input_, quiet_ ? nowhere : std::cerr);
    if (!quiet_ && folds_of(*in.table) > 0) tell_of_folds(in, std::cerr);
    if (learning_.owns_unknown()) in.table->own_unknowns();
    const results found = grow(in);
    save(in, found);
    json_ ? write_json(found) : write_text(found);
    flush_standard_output();
    if (!quiet_) tell_written();
    if (!quiet_ && !json_) tell_next(found);
  }

 private:
  void check_outputs() const {
    std::vector<std::string> outputs(documents_.begin(), documents_.end());
    outputs.push_back(output_);
    outputs.push_back(report_);
    const auto [names, data] = pair_of(input_.file);
    check_files(
        {input_.file, names, data, calibration_rows_, learning_.costs, learning_.class_weights},
        outputs);
    check_calibrated_outputs();
    const bool only_largest = !learning_.decides_by_costs() && !learning_.laplace;
    if (!only_largest && !documents_[k_pmml].empty()) {
      throw usage_error("--pmml does not say what errors cost, nor what --laplace does");
    }
    for (std::size_t i = 0; i < k_documents.size(); ++i) {
      if (documents_[i].empty() || !k_documents[i].of_one_tree || learning_.n_trees() == 1)
        continue;
      throw usage_error(std::string(k_documents[i].option) +
                        " is of one tree: save the model and choose one by orvik view --tree N");
    }
  }

  void check_calibrated_outputs() const {
    if (calibrate_.empty() || how() == orvik::calibration::plain) return;
    std::string refused;
    for (std::size_t i = 0; i < documents_.size(); ++i) {
      if (!documents_[i].empty() && !k_documents[i].calibrated) refused = k_documents[i].option;
    }
    if (!refused.empty()) throw usage_error(refused + " has no place for calibrated shares");
  }

  results grow(const training_input& in) const {
    table& t = *in.table;
    results found;
    std::unique_ptr<table::subset> all(t.get_wsubset_all());
    split_cases parts;
    if (holdout_ > 0) parts = split(t, *all, 1 - holdout_ / 100);
    table::subset* const cases = parts.first ? parts.first.get() : all.get();
    found.model = learning_.make(base_name(output_.empty() ? input_.file : output_), t);
    const unsigned long n_trees = learning_.n_trees();
    begin(n_trees > 1 ? unit::trees : unit::nodes, n_trees > 1 ? n_trees : 0);
    if (!calibrate_.empty() && calibration_rows_.empty()) found.model->set_calibration(how());
    found.model->build(&t, cases);
    keep_reading(in.how, *found.model);
    if (!calibration_rows_.empty()) calibrate_on_file(in, *cases, *found.model);
    tell_growing(t, *cases, found);
    test(t, *cases, parts.rest.get(), found);
    return found;
  }

  orvik::calibration how() const { return *orvik::calibration_of(calibrate_); }

  void calibrate_on_file(const training_input& in, table::subset& cases, dtree& model) const {
    model.set_calibration(how());
    std::ostringstream nowhere;
    new_rows rows(model, in.how, calibration_rows_, /*separator=*/0, quiet_ ? nowhere : std::cerr);
    judged_file found = judge_file(model, rows, calibration_rows_);
    tell_rows(calibration_rows_, found.unclassed, " of unknown class left out");
    if (found.other > 0) {
      throw std::runtime_error(calibration_rows_ + ": rows of a class that training did not have");
    }
    model.calibrate(found.rows);
    model.set_training_cm(in.table.get(), &cases);
  }

  void test(table& t, table::subset& cases, table::subset* holdout, results& found) const {
    zel::util::cronos watch;
    watch.start();
    zel::util::progress::stage("testing");
    const dtree& m = *found.model;
    found.training = training_test(m, t, cases);
    if (holdout != nullptr && holdout->size() > 0) {
      found.holdout = tested(m, t, *holdout, "hold-out rows");
    }
    if (has_out_of_bag()) test_out_of_bag(t, cases.size(), found);
    found.n_folds = folds_of(t);
    if (found.n_folds > 0) {
      begin(unit::folds, found.n_folds);
      found.folds = cross_validate(t, m, *draw_folds(t, found.n_folds), found.n_folds);
    }
    watch.stop();
    if (found.n_folds == 0 && !found.holdout.matrix && !has_out_of_bag()) return;
    found.facts.emplace_back("Testing took", seconds_text(watch.get_elapsed()));
  }

  /// Figures of the rows that it was grown on flatter: they are for programs that ask.
  judged_test training_test(const dtree& m, table& t, table::subset& cases) const {
    if (json_) return tested(m, t, cases, "training rows");
    judged_test test{m.class_values(), nullptr, {}, "training rows", m.get_costs()};
    test.matrix.reset(m.get_training_cm());
    return test;
  }

  static void test_out_of_bag(table& t, unsigned long n_rows, results& found) {
    const dtree& m = *found.model;
    if (keeps_rows(n_rows, t.get_schema().n_class_codes())) {
      found.out_of_bag = test_of(m.get_oob_rows(&t), "out-of-bag rows");
      found.out_of_bag.costs = m.get_costs();
      found.out_of_bag_error = found.out_of_bag.matrix->err_misc();
    } else {
      found.out_of_bag_error = m.get_oob_error(&t);
    }
  }

  /// What the report says of the run.
  void tell_growing(const table& t, const table::subset& cases, results& found) const {
    found.facts = {{"File", input_.file},
                   {"Rows given",
                    std::to_string(t.get_no_rows()) + ", grown on " + std::to_string(cases.size())},
                   {"Seed", std::to_string(learning_.seed)},
                   {"Growing took", seconds_text(found.model->get_elapsed())}};
  }

  /// By default a tree is cross-validated where nothing else tests it.
  unsigned long folds_of(const table& t) const {
    if (folds_ > 0) return folds_;
    const bool other_test = holdout_ > 0 || has_out_of_bag();
    return no_cv_ || other_test || t.get_no_rows() < 2 ? 0 : std::min(k_folds, t.get_no_rows());
  }

  bool has_out_of_bag() const { return learning_.kind() != nullptr && !learning_.kind()->boosts; }

  static void begin(unit of, unsigned long total) {
    zel::util::default_context().progress().begin(of, total);
  }

  void save(const training_input& in, const results& found) const {
    zel::util::progress::stage("saving");
    if (!output_.empty()) found.model->toBinary(output_);
    for (std::size_t i = 0; i < k_documents.size(); ++i) {
      if (documents_[i].empty()) continue;
      write_file(documents_[i],
                 [&](std::ostream& out) { k_documents[i].write(*found.model, out); });
    }
    if (report_.empty()) return;
    zel::util::progress::stage("writing the report");
    write_file(report_, [&](std::ostream& out) {
      orvik::view::write_html_report(*found.model, found.model->get_name(), in.table.get(), out,
                                     found.facts);
    });
  }

  void write_text(const results& found) const {
    const dtree& m = *found.model;
    std::cout << learning_.describe() << ": " << m.size() << " nodes, " << m.leaves()
              << " leaves, depth " << m.depth() << ", " << m.nfeatures()
              << " attributes tested, seed " << learning_.seed << '\n';
    std::cout << "error: " << percent(found.training.matrix->err_misc())
              << " of the training rows (majority class: "
              << percent(found.training.matrix->err_misc_majority()) << ")\n";
    write_cost(found.training, std::cout);
    if (!std::isnan(found.out_of_bag_error)) {
      std::cout << "error: " << percent(found.out_of_bag_error)
                << " out of bag (each row by the trees that did not draw it)\n";
      if (found.out_of_bag.matrix) write_figures(found.out_of_bag, std::cout);
    }
    if (found.folds.test.matrix) {
      std::cout << "error: " << percent(found.folds.error.mean()) << " +- "
                << percent(found.folds.error.deviation()) << " in " << found.n_folds
                << "-fold cross-validation\n";
      write_figures(found.folds.test, std::cout);
    }
    if (found.holdout.matrix) {
      write_error(found.holdout, std::cout);
      write_figures(found.holdout, std::cout);
    }
    if (!quiet_) write_summary(m);
  }

  void write_summary(const dtree& m) const {
    if (m.get_no_trees() > 1) return;
    std::cout << '\n';
    if (m.size() == 1) {
      std::cout << "The tree is one leaf: nothing separates the classes better than chance. Try\n"
                   "--prune none or --min 1, or look whether the class is the one you mean.\n";
      return;
    }
    const orvik::view::chosen_tree chosen{m};
    const std::vector<orvik::placed_node> nodes = nodes_of(chosen.root());
    unsigned long depth = 1;
    const auto shown = [&nodes](unsigned long levels) {
      return static_cast<unsigned long>(std::ranges::count_if(
          nodes, [levels](const orvik::placed_node& n) { return n.level <= levels; }));
    };
    while (depth < m.depth() && shown(depth + 1) <= k_shown_nodes) ++depth;
    const bool whole = shown(depth) == nodes.size();
    orvik::view::write_summary(chosen, whole ? orvik::k_all_levels : depth,
                               terminal_of(/*to_stdout=*/true, "auto"), std::cout);
  }

  void write_json(const results& found) const {
    zel::text::json_sink sink(std::cout);
    json_out json(sink);
    const auto member = [&json](const char* key, const auto& write) {
      json.key(key);
      json.object(write);
    };
    json.object([&] {
      member("model", [&] { write_model(*found.model, json); });
      member("training", [&] { write_figures(found.training, found.training.from, json); });
      if (!std::isnan(found.out_of_bag_error)) {
        member("out_of_bag", [&] { write_out_of_bag(found, json); });
      }
      if (found.folds.test.matrix) {
        member("cross_validation", [&] { write_folds(found, json); });
      }
      if (found.holdout.matrix) {
        member("holdout", [&] { write_figures(found.holdout, found.holdout.from, json); });
      }
    });
    std::cout << '\n';
  }

  void write_model(const dtree& m, json_out& json) const {
    const auto whole = [&json](const char* key, unsigned long value) {
      json.key(key);
      json.Uint64(value);
    };
    json.key("kind");
    json.text(learning_.describe());
    whole("trees", m.get_no_trees());
    whole("nodes", m.size());
    whole("leaves", m.leaves());
    whole("depth", m.depth());
    whole("attributes_tested", m.nfeatures());
    whole("seed", learning_.seed);
  }

  static void write_out_of_bag(const results& found, json_out& json) {
    if (found.out_of_bag.matrix)
      return write_figures(found.out_of_bag, found.out_of_bag.from, json);
    json.key("error");
    json.number(found.out_of_bag_error);
  }

  static void write_folds(const results& found, json_out& json) {
    json.key("folds");
    json.Uint64(found.n_folds);
    json.key("mean_error");
    json.number(found.folds.error.mean());
    json.key("deviation");
    json.number(found.folds.error.deviation());
    write_figures(found.folds.test, found.folds.test.from, json);
  }

  void tell_written() const {
    std::vector<std::string> written(documents_.begin(), documents_.end());
    written.insert(written.begin(), {output_, report_});
    for (const std::string& file : written) {
      if (!file.empty() && !is_standard(file)) std::cerr << "written: " << with_size(file) << '\n';
    }
  }

  void tell_next(const results& found) const {
    const std::string file = input_.words();
    std::cerr << "\nnext:\n";
    if (output_.empty()) {
      std::cerr << "  orvik train";
      for (const std::string& word : said_->words()) std::cerr << ' ' << shell_word(word);
      std::cerr << " -o " << shell_word(base_name(input_.file) + ".orvik")
                << "    # keeps the model\n";
    } else {
      const std::string model = shell_word(output_);
      std::cerr << "  orvik predict " << model << " NEW.csv -o scores.csv\n  orvik view " << model
                << "    # " << base_name(output_) << ".html, for a browser\n";
    }
    if (found.model->get_no_trees() == 1) {
      std::cerr << "  orvik compare " << file << "    # other prunings, and forests\n";
    }
  }

  const options* said_ = nullptr;  // lives until the run is over
  input_options input_;
  learning learning_;
  std::string output_, report_, calibrate_, calibration_rows_;
  std::array<std::string, k_documents.size()> documents_;
  bool json_ = false, quiet_ = false, no_cv_ = false;
  double holdout_ = 0;
  unsigned long folds_ = 0;
};

}  // namespace

std::unique_ptr<verb> new_train() { return std::make_unique<train_verb>(); }

}  // namespace orvverbs
