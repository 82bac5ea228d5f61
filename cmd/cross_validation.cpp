#include "cross_validation.h"

#include <cmath>
#include <limits>

#include "log.h"
#include "side_sets.h"
#include "zel/util/run_context.h"
#include "zel/util/team.h"

namespace orvcmd {

namespace {

using orvik::conf_matrix;
using orvik::dtree;
using orvik::table;
using subset_ptr = std::unique_ptr<table::subset>;

constexpr char k_no_model[] = "what was kept of a fold is no model";

void add(double value, double& sum, double& sum2) {
  sum += value;
  sum2 += value * value;
}

void add_fold(const options& opt, const dtree& model, const conf_matrix& cm, _cv_errors& errors) {
  if (const auto costs = model.get_costs()) {
    add(cm.get_cost(*costs) / cm.cases(), errors.cost, errors.cost2);
  }
  add(static_cast<double>(model.size()), errors.size, errors.size2);
  add(static_cast<double>(model.depth()), errors.depth, errors.depth2);
  add(static_cast<double>(model.nfeatures()), errors.features, errors.features2);
  add(model.get_elapsed(), errors.time, errors.time2);
  add(cm.err_misc(), errors.misc, errors.misc2);
  if (opt.ordinal_errors == 0) return;
  const double mse = cm.err_mse();
  errors.mae += cm.err_mae();
  errors.mse += mse;
  errors.rmse += std::sqrt(mse);
  errors.r += cm.err_r();
  errors.rint += cm.err_rint();
  errors.gamma += cm.err_gamma();
}

/// Makes of shares whether the class is in the set of the row.
void put_in_sets(orvik::judged_rows& rows, const std::vector<double>& limits) {
  if (!rows.plain.empty()) rows.shares.swap(rows.plain);
  rows.plain.clear();
  for (std::size_t i = 0; i < rows.shares.size(); ++i) {
    rows.shares[i] = rows.shares[i] >= limits[i % limits.size()] ? 1 : 0;
  }
}

std::unique_ptr<conf_matrix> test_fold(const options& opt, const dtree& model, table* t,
                                       table::subset& fold, training& result) {
  if (!opt.judges_tests()) return std::unique_ptr<conf_matrix>(model.test(t, &fold, nullptr));
  orvik::judged_rows rows;
  std::unique_ptr<conf_matrix> matrix(model.test(t, &fold, rows));
  if (opt.judges()) append(result.judged_in_folds, rows);
  if (opt.sets.wanted()) {
    put_in_sets(rows, model.get_set_limits(opt.sets));
    append(result.sets_in_folds, rows);
  }
  return matrix;
}

/// Whether the folds are tasks for processes: ensembles share out their trees instead.
bool are_tasks(const options& opt) {
  return zel::util::is_shared_out(zel::util::default_context(), /*with_store=*/true) &&
         !opt.is_ensemble();
}

/// Seeds that the model of a fold takes of the sequences: the split of a search, and that of cases
/// for pruning, once more for each fold of a calibration.
zel::util::seed_source::places draws_of_fold(const options& opt, const dtree& model) {
  using zel::util::draw;
  constexpr unsigned long k_calibration_folds = 10;
  const bool calibrates = model.get_calibration() != orvik::calibration::none;
  const unsigned long splits = (opt.strategy().separate_cases ? 1 : 0) +
                               (opt.feature_selection != orvik::model::NO_SELECTION ? 1 : 0);
  zel::util::seed_source::places drawn{};
  drawn[static_cast<std::size_t>(draw::stratify)] =
      splits * (calibrates ? 1 + k_calibration_folds : 1);
  drawn[static_cast<std::size_t>(draw::calibration)] = calibrates ? 1 : 0;
  return drawn;
}

std::unique_ptr<dtree> from_bytes(std::string_view bytes) {
  std::unique_ptr<dtree> model(dtree::from_bytes(std::string(bytes)));
  if (!model) throw std::runtime_error(k_no_model);
  return model;
}

/// Calls finish(i, fold, model) for the model of each fold of `all`, in their order.
template <class Finish>
void grow_on_folds(const options& opt, table* t, table::subset& all, const dtree& parameters,
                   unsigned long k, const Finish& finish) {
  std::unique_ptr<dtree> model(parameters.clone(/*parameters_only=*/true));
  const auto grow = [&](unsigned long i) {
    model->build(t, take_fold(all, k, i).train.get());
    return model->to_bytes();
  };
  const auto take = [&](unsigned long i, std::string_view bytes) {
    finish(*take_fold(all, k, i).test, *from_bytes(bytes));
  };
  if (are_tasks(opt)) {
    return zel::util::share_out_in_turn(zel::util::default_context(), k,
                                        draws_of_fold(opt, parameters), grow, take,
                                        [](std::string_view bytes) { from_bytes(bytes); });
  }
  for (unsigned long i = 0; i < k; ++i) {
    const fold_parts parts = take_fold(all, k, i);
    model->build(t, parts.train.get());
    finish(*parts.test, *model);
  }
}

void log_figure(std::ostream* log, const char* title, double sum, double sum2, double n,
                const char* unit = "") {
  const auto [mean, deviation] = figure_of(sum, sum2, n);
  log_line(log, title, truncated(mean), " +- ", truncated(deviation), unit);
}

void log_figures(std::ostream* log, const _cv_errors& e, double n, bool with_costs) {
  const auto [mean, deviation] = figure_of(e.misc, e.misc2, n);
  log_line(log, " + err: ", percent_truncated(mean), "% +- ", percent_truncated(deviation), "%");
  if (with_costs) {
    const auto [cost, cost_deviation] = figure_of(e.cost, e.cost2, n);
    log_line(log, " + cost: ", cost, " +- ", cost_deviation, " a case");
  }
  log_figure(log, " + sz: ", e.size, e.size2, n);
  log_figure(log, " + depth: ", e.depth, e.depth2, n);
  log_figure(log, " + nf: ", e.features, e.features2, n);
  log_figure(log, " + time: ", e.time, e.time2, n, " secs");
}

}  // namespace

fold_figure figure_of(double sum, double sum2, double n) {
  if (n == 1) return {sum, std::numeric_limits<double>::quiet_NaN()};
  double variance = (sum2 - sum * sum / n) / (n - 1);
  if (variance < 0) variance = 0;  // equal values, rounded
  return {sum / n, std::sqrt(variance)};
}

double percent_truncated(double value) { return std::trunc(value * 10000) / 100; }
double truncated(double value) { return std::trunc(value * 100) / 100; }

void cross_validate(const options& opt, table* t, const dtree& model, _cv_errors& errors,
                    training& result, std::ostream* log) {
  const auto k = static_cast<unsigned long>(opt.cv_folds);
  const auto repetitions = static_cast<unsigned long>(opt.cv_repetitions);
  require_rows_for_folds(*t, opt);
  log_line(log, "Cross-validating ");
  errors = _cv_errors{};
  using zel::util::progress::unit;
  zel::util::default_context().progress().begin(unit::folds, k * repetitions);
  const subset_ptr all(t->get_wsubset_all());
  for (unsigned long repetition = 0; repetition < repetitions; ++repetition) {
    all->stratify_cross(k, t, true);
    std::unique_ptr<dtree> copy(model.clone(/*parameters_only=*/true));
    // What sets need is of no use without them, and may take ten trainings more.
    if (copy->get_calibration() == orvik::calibration::plain && !opt.sets.wanted()) {
      copy->set_calibration(orvik::calibration::none);
    }
    grow_on_folds(opt, t, *all, *copy, k, [&](table::subset& fold, const dtree& grown) {
      const std::unique_ptr<conf_matrix> cm = test_fold(opt, grown, t, fold, result);
      add_fold(opt, grown, *cm, errors);
      zel::util::default_context().count(unit::folds);
      if (log != nullptr) *log << '.' << std::flush;
    });
  }
  result.judged_in_folds.times = static_cast<double>(repetitions);
  log_figures(log, errors, static_cast<double>(k * repetitions), !opt.costs_file.empty());
}

}  // namespace orvcmd
