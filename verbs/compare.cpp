// orvik compare: prunings and ensembles side by side, on the folds of one cross-validation.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <iostream>

#include "report_rows.h"
#include "trial.h"
#include "verbs.h"
#include "zel/util/run_context.h"

namespace orvverbs {

namespace {

using orvik::dtree;
using orvik::table;
using subset_ptr = std::unique_ptr<table::subset>;

constexpr char k_compare_examples[] =
    "Examples:\n"
    "  orvik compare people.csv --class buys\n"
    "  orvik compare people.csv --class buys --cv 5 --trees 100 --json\n\n"
    "See orvik-compare(1).";

/// A way to grow a model, and what came of it on every fold.
struct contender {
  std::string name;
  std::string shown;  // where there is little room
  mean_of error{}, size{}, seconds{};
  double cost = 0;                               // of all rows, where errors have costs
  std::unique_ptr<orvik::conf_matrix> matrix{};  // of all folds
  double weight = 0, log_loss = 0, brier = 0;    // sums over the rows
  orvik::metrics of_matrix{};
};

/// The rows of a matrix as a model says of them that knows the shares of the classes in another
/// and nothing else.
orvik::judged_rows by_majority(const orvik::conf_matrix& test, const orvik::conf_matrix& grown,
                               const std::vector<std::string>& classes) {
  orvik::judged_rows rows;
  rows.classes = classes;
  std::vector<double> shares(classes.size());
  for (orvik::code_t c = 0; c < classes.size(); ++c) {
    for (orvik::code_t p = 0; p < classes.size(); ++p) shares[c] += grown.get_element(c, p);
  }
  const auto most = static_cast<orvik::code_t>(std::ranges::max_element(shares) - shares.begin());
  for (double& share : shares) share /= grown.cases();
  for (orvik::code_t c = 0; c < classes.size(); ++c) {
    double weight = 0;
    for (orvik::code_t p = 0; p < classes.size(); ++p) weight += test.get_element(c, p);
    if (weight == 0) continue;
    rows.actual.push_back(c);
    rows.predicted.push_back(most);
    rows.weights.push_back(weight);
    rows.shares.insert(rows.shares.end(), shares.begin(), shares.end());
  }
  return rows;
}

class compare_verb : public trial {
 public:
  const char* name() const override { return "compare"; }
  const char* summary() const override { return "prunings and ensembles, by cross-validation"; }

  void declare(options& all) override {
    declare_file(all);
    all.group("What is compared");
    all.number("--cv", folds_, 2, 1'000'000, "folds of the cross-validation (10)");
    all.number("--trees", n_trees_, 1, 1'000'000, "trees of the ensembles (25)");
    all.real("--min", learning_.min_weight, 1e-300, 1e300,
             "least weight of two branches of a split (2, of forests 1)");
    learning_.declare_costs(all);
    declare_output(all, "the table as JSON");
    declare_rest(all);
    all.examples(k_compare_examples);
  }

 private:
  void try_out(const training_input& in) override {
    tell_of_folds(in, std::cerr);
    all_ = measure(*in.table);
  }

  /// Pessimistic pruning counts errors, whatever they cost.
  bool takes_part(const pruning_name& p) const {
    return !learning_.decides_by_costs() ||
           orvik::model::row_of(p.strategy).family != orvik::model::PEP;
  }

  std::vector<contender> measure(table& t) const {
    std::vector<contender> all;
    all.push_back({"majority class", "majority class"});
    for (const pruning_name& p : pruning_names()) {
      if (!takes_part(p)) continue;
      const std::string how = p.name;
      const bool none = p.strategy == orvik::model::NO_PRUNING;
      all.push_back({"tree, " + (none ? "not pruned" : how), "tree, " + (none ? "unpruned" : how)});
    }
    for (const ensemble_kind& k : k_ensembles) {
      all.push_back({std::string(k.name) + ", " + std::to_string(n_trees_) + " trees", k.name});
    }
    zel::util::run_context& run = zel::util::default_context();
    run.progress().begin(zel::util::progress::unit::folds, 2 * folds_);
    const subset_ptr cases = draw_folds(t, folds_);
    for (const bool accurate : {false, true}) {
      if (accurate) t.own_unknowns();  // they are grown so
      for (unsigned long i = 0; i < folds_; ++i) {
        const unsigned long begin = cases->fold_begin(folds_, i);
        const unsigned long length = cases->fold_end(folds_, i) - begin;
        const subset_ptr test(cases->select(begin, length, false)),
            grow(cases->select(begin, length, true));
        if (!accurate) measure_trees(t, *grow, *test, all);
        measure_ensembles(t, *grow, *test, accurate, all);
        run.count(zel::util::progress::unit::folds);
      }
    }
    std::vector<std::string> classes(1, orvik::k_unknown_text);
    const orvik::column_view of_class = t.get_schema().class_column();
    for (orvik::code_t c = 1; c <= of_class.n_values(); ++c) classes.push_back(of_class.exact(c));
    for (contender& c : all) {
      c.of_matrix = metrics_of(orvik::view::rows_of(classes, *c.matrix), c.name);
    }
    return all;
  }

  static void add(contender& to, const dtree& model, table& t, table::subset& test,
                  double seconds) {
    judged_test fold = tested(model, t, test, to.name);
    to.size.add(static_cast<double>(model.size()));
    to.seconds.add(seconds);
    const double error = fold.matrix->err_misc();
    add(to, error, std::move(fold));
  }

  static void add(contender& to, double error, judged_test fold) {
    to.error.add(error);
    if (fold.costs) to.cost += fold.matrix->get_cost(*fold.costs);
    if (fold.rows.size() > 0) {
      const orvik::metrics figures = metrics_of(fold.rows, to.name);
      to.weight += figures.weight;
      to.log_loss += figures.weight * figures.log_loss;
      to.brier += figures.weight * figures.brier;
    }
    if (to.matrix) {
      orvverbs::add(*to.matrix, *fold.matrix);
    } else {
      to.matrix = std::move(fold.matrix);
    }
  }

  void measure_trees(table& t, table::subset& grow, table::subset& test,
                     std::vector<contender>& all) const {
    contender* next = all.data() + 1;
    const split_cases parts = split(t, grow, orvik::model::k_growing_share);
    const auto grown = [&](orvik::model::pruning_strategy strategy, table::subset& cases) {
      auto model = learning_.make("compared", t);
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
      if (!takes_part(p)) continue;
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
    const std::unique_ptr<orvik::conf_matrix> of_test(whole->test(&t, &test, nullptr));
    const std::unique_ptr<orvik::conf_matrix> of_grow(whole->test(&t, &grow, nullptr));
    const orvik::judged_rows by_shares = by_majority(*of_test, *of_grow, whole->class_values());
    judged_test by_most = test_of(by_shares, all[0].name);
    by_most.costs = whole->get_costs();
    add(all[0], of_test->err_misc_majority(of_grow.get()), std::move(by_most));
    all[0].size.add(1);
    all[0].seconds.add(0);
  }

  /// The last of all.
  void measure_ensembles(table& t, table::subset& grow, table::subset& test, bool accurate,
                         std::vector<contender>& all) const {
    contender* next = all.data() + all.size() - k_ensembles.size();
    for (std::size_t k = 0; k < k_ensembles.size(); ++k, ++next) {
      if (k_ensembles[k].accurate != accurate) continue;
      learning of_kind = learning_;
      of_kind.trees[k] = n_trees_;
      const auto model = of_kind.make("compared", t);
      model->set_keep_training_cm(false);
      model->build(&t, &grow);
      add(*next, *model, t, test, model->get_elapsed());
    }
  }

  void write(std::ostream& out) const override {
    const bool with_costs = !learning_.costs.empty();
    std::vector<std::vector<std::string>> rows{
        {"model", "error", "+-", "balanced", "F1", "log-loss", "Brier", "nodes", "s"}};
    if (with_costs) rows[0].insert(rows[0].begin() + 3, "cost");
    for (const contender& c : all_) {
      rows.push_back({c.shown, percent(c.error.mean()), figure("%.2f", 100 * c.error.deviation()),
                      figure("%.3f", c.of_matrix.balanced_accuracy),
                      figure("%.3f", c.of_matrix.mean.f1), figure("%.4f", c.log_loss / c.weight),
                      figure("%.3f", c.brier / c.weight), figure("%.0f", c.size.mean()),
                      figure(c.seconds.mean() < 10 ? "%.2f" : "%.0f", c.seconds.mean())});
      if (with_costs) {
        rows.back().insert(rows.back().begin() + 3, figure("%.3f", c.cost / c.matrix->cases()));
      }
    }
    out << folds_ << "-fold cross-validation, seed " << learning_.seed << "; ensembles of "
        << n_trees_ << (n_trees_ == 1 ? " tree" : " trees")
        << "; errors with their\ndeviation over the folds, balanced accuracy, mean F1 of the "
           "classes\n";
    write_columns(rows, out);
  }

  static std::string figure(const char* format, double value) {
    if (std::isnan(value)) return "-";
    std::array<char, 32> room;
    std::snprintf(room.data(), room.size(), format, value);
    return room.data();
  }

  void write(json_out& json) const override {
    const auto number = [&json](const char* key, double value) {
      json.key(key);
      json.number(value);
    };
    number("folds", static_cast<double>(folds_));
    number("seed", static_cast<double>(learning_.seed));
    json.array("models", all_, [&](const contender& c) {
      json.object([&] {
        json.key("model");
        json.text(c.name);
        number("error", c.error.mean());
        number("deviation", c.error.deviation());
        if (!learning_.costs.empty()) number("mean_cost", c.cost / c.matrix->cases());
        number("balanced_accuracy", c.of_matrix.balanced_accuracy);
        number("f1", c.of_matrix.mean.f1);
        number("log_loss", c.log_loss / c.weight);
        number("brier", c.brier / c.weight);
        number("nodes", c.size.mean());
        number("seconds", c.seconds.mean());
      });
    });
  }

  std::vector<contender> all_;
  unsigned long folds_ = 10, n_trees_ = 25;
};

}  // namespace

std::unique_ptr<verb> new_compare() { return std::make_unique<compare_verb>(); }

}  // namespace orvverbs
