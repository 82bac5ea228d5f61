// orvik compare: prunings and ensembles side by side, on the folds of one cross-validation.
#include <array>
#include <cmath>
#include <cstdio>
#include <iostream>

#include "figures.h"
#include "files.h"
#include "input.h"
#include "learning.h"
#include "row_file.h"
#include "verbs.h"
#include "zel/util/run_context.h"

namespace orvverbs {

namespace {

using orvik::dtree;
using orvik::table;
using subset_ptr = std::unique_ptr<table::subset>;

constexpr char k_examples[] =
    "Examples:\n"
    "  orvik compare people.csv --class buys\n"
    "  orvik compare people.csv --class buys --cv 5 --trees 100 --json\n\n"
    "See orvik-compare(1).";

/// A way to grow a model, and what came of it on every fold.
struct contender {
  explicit contender(std::string its_name) : name(std::move(its_name)) {}
  std::string name;
  mean_of error, size, seconds;
};

class compare_verb : public verb {
 public:
  const char* name() const override { return "compare"; }
  const char* summary() const override { return "prunings and ensembles, by cross-validation"; }

  void declare(options& all) override {
    all.positional("FILE", input_.file, "the rows, as of orvik train");
    all.group("What is compared");
    all.number("--cv", folds_, 2, 1'000'000, "folds of the cross-validation (10)");
    all.number("--trees", n_trees_, 1, 1'000'000, "trees of the ensembles (25)");
    all.real("--min", learning_.min_weight, 1e-300, 1e300,
             "least weight of two branches of a split (2, of forests 1)");
    all.group("What is written");
    all.flag("--json", json_, "the table as JSON");
    all.file("-o,--output", output_, "where to; else standard output");
    input_.declare_columns(all);
    input_.declare_layout(all);
    learning_.declare_run(all);
    all.examples(k_examples);
  }

  void run() override {
    learning_.begin();
    const auto [names, data] = pair_of(input_.file);
    check_files({input_.file, names, data}, {output_});
    const training_input in = load_training(input_, std::cerr);
    const std::vector<contender> all = measure(*in.table);
    write_file(output_, [&](std::ostream& out) { json_ ? write_json(all, out) : write(all, out); });
  }

 private:
  std::vector<contender> measure(table& t) const {
    std::vector<contender> all;
    all.emplace_back("majority class");
    for (const pruning_name& p : pruning_names()) {
      const bool none = p.strategy == orvik::model::NO_PRUNING;
      all.emplace_back("tree, " + std::string(none ? "not pruned" : p.name));
    }
    for (const ensemble_kind& k : k_ensembles) {
      all.emplace_back(std::string(k.name) + ", " + std::to_string(n_trees_) + " trees");
    }
    zel::util::run_context& run = zel::util::default_context();
    run.progress().begin(zel::util::progress::unit::folds, folds_);
    const subset_ptr cases = draw_folds(t, folds_);
    for (unsigned long i = 0; i < folds_; ++i) {
      const unsigned long begin = cases->fold_begin(folds_, i);
      const unsigned long length = cases->fold_end(folds_, i) - begin;
      const subset_ptr test(cases->select(begin, length, false)),
          grow(cases->select(begin, length, true));
      measure_fold(t, *grow, *test, all);
      run.count(zel::util::progress::unit::folds);
    }
    return all;
  }

  static void add(contender& to, const dtree& model, table& t, table::subset& test,
                  double seconds) {
    const std::unique_ptr<orvik::conf_matrix> cm(model.test(&t, &test, nullptr));
    to.error.add(cm->err_misc());
    to.size.add(static_cast<double>(model.size()));
    to.seconds.add(seconds);
  }

  void measure_fold(table& t, table::subset& grow, table::subset& test,
                    std::vector<contender>& all) const {
    contender* next = all.data() + 1;
    const split_cases parts = split(t, grow, orvik::model::k_growing_share);
    const auto grown = [&](orvik::model::pruning_strategy strategy, table::subset& cases) {
      auto model = learning_.make("compared");
      model->set_keep_training_cm(false);
      model->set_pruning_strategy(strategy);
      model->build(&t, &cases);
      return model;
    };
    // Strategies of one kind of pruning cases prune copies of one tree.
    const auto whole = grown(orvik::model::PRE_PRUNING_ONLY, grow);
    const bool both = parts.first->size() > 0 && parts.rest->size() > 0;
    const auto part = both ? grown(orvik::model::PRE_PRUNING_ONLY, *parts.first) : nullptr;
    for (const pruning_name& p : pruning_names()) {
      if (p.strategy == orvik::model::NO_PRUNING) {
        const auto model = grown(p.strategy, grow);
        add(*next++, *model, t, test, model->get_elapsed());
        continue;
      }
      const bool apart = orvik::model::row_of(p.strategy).separate_cases && part != nullptr;
      const dtree& from = apart ? *part : *whole;
      const std::unique_ptr<dtree> model(from.clone(/*parameters_only=*/false));
      double seconds = from.get_elapsed();
      if (p.strategy != orvik::model::PRE_PRUNING_ONLY) {
        model->set_pruning_strategy(p.strategy);
        model->prune(&t, apart ? parts.rest.get() : nullptr);
        seconds += model->get_elapsed();
      }
      add(*next++, *model, t, test, seconds);
    }
    for (std::size_t k = 0; k < k_ensembles.size(); ++k) {
      learning of_kind = learning_;
      of_kind.trees[k] = n_trees_;
      const auto model = of_kind.make("compared");
      model->set_keep_training_cm(false);
      model->build(&t, &grow);
      add(*next++, *model, t, test, model->get_elapsed());
    }
    const std::unique_ptr<orvik::conf_matrix> of_test(whole->test(&t, &test, nullptr));
    const std::unique_ptr<orvik::conf_matrix> of_grow(whole->test(&t, &grow, nullptr));
    all[0].error.add(of_test->err_misc_majority(of_grow.get()));
    all[0].size.add(1);
    all[0].seconds.add(0);
  }

  void write(const std::vector<contender>& all, std::ostream& out) const {
    const auto text = [](double value, const char* format) {
      std::array<char, 32> room;
      std::snprintf(room.data(), room.size(), format, value);
      return std::string(room.data());
    };
    std::vector<std::vector<std::string>> rows{{"model", "error", "+-", "nodes", "seconds"}};
    for (const contender& c : all) {
      rows.push_back({c.name, percent(c.error.mean()), percent(c.error.deviation()),
                      text(c.size.mean(), "%.1f"), text(c.seconds.mean(), "%.3f")});
    }
    out << folds_ << "-fold cross-validation, seed " << learning_.seed
        << "; errors with their deviation over the folds\n";
    write_columns(rows, out);
  }

  void write_json(const std::vector<contender>& all, std::ostream& out) const {
    zel::text::json_sink sink(out);
    json_out json(sink);
    const auto number = [&json](const char* key, double value) {
      json.key(key);
      json.number(value);
    };
    json.object([&] {
      number("folds", static_cast<double>(folds_));
      number("seed", static_cast<double>(learning_.seed));
      json.array("models", all, [&](const contender& c) {
        json.object([&] {
          json.key("model");
          json.text(c.name);
          number("error", c.error.mean());
          number("deviation", c.error.deviation());
          number("nodes", c.size.mean());
          number("seconds", c.seconds.mean());
        });
      });
    });
    out << '\n';
  }

  input_options input_;
  learning learning_;
  std::string output_ = "-";
  unsigned long folds_ = 10, n_trees_ = 25;
  bool json_ = false;
};

}  // namespace

std::unique_ptr<verb> new_compare() { return std::make_unique<compare_verb>(); }

}  // namespace orvverbs
