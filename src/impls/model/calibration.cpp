// Calibration: rows that the trees were not grown on, and what is learned from what the model says
// of them.
//
// Ensembles that draw their cases have such rows: those that a tree did not draw. Other models are
// grown again, on all folds but one, for the rows of that one; what is learned so serves the model
// that was grown on all (as with cross_val_predict).
#include "impls/decision/calibration.h"

#include <algorithm>
#include <stdexcept>

#include "impls/decision/conformal.h"
#include "impls/model/dtree.h"
#include "impls/tables/folds.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

namespace {

constexpr unsigned long k_calibration_folds = 10;

constexpr char k_other_rows[] = "the rows to calibrate on are of other classes than the model";
constexpr char k_no_rows_to_calibrate[] = "there are no rows of known class to calibrate on";
constexpr char k_classes_to_calibrate[] = "shares of more than 1000 classes are not calibrated";
constexpr char k_nothing_asked[] = "the model was not told how to calibrate";
constexpr char k_no_own_shares[] =
    "the model cannot give sets: it was trained without -calibrate, -sets or --calibrate";
constexpr char k_set_percent[] = "sets need a percentage between 0 and 100";

bool has_known(const judged_rows& rows) {
  for (unsigned long i = 0; i < rows.size(); ++i) {
    if (rows.actual[i] != k_unknown && rows.weights[i] > 0) return true;
  }
  return false;
}

}  // namespace

void dtree::require_plain_shares(const char* form) const {
  if (!trees_.decides().calibrates()) return;
  throw std::runtime_error(std::string(form) + " has no place for calibrated shares");
}

void dtree::set_calibration(calibration how) {
  parameters_.calibrated = how;
  decide_by(calibrator(), own_shares());
  if (!parameters_.maps_shares()) return;
  parameters_.answer = combination::shares;  // the ones that are mapped
  trees_.set_answer(combination::shares);
}

/// Takes the place of what was learned before.
void dtree::decide_by(calibrator maps, own_shares seen) {
  decision how = trees_.decides();
  how.set_calibration(std::move(maps), std::move(seen));
  trees_.set_decision(std::move(how));
}

void dtree::calibrate(const judged_rows& rows) {
  require_trees();
  const calibration how = parameters_.calibrated;
  const std::vector<double>& shares = rows.plain.empty() ? rows.shares : rows.plain;
  if (how == calibration::none) throw std::runtime_error(k_nothing_asked);
  if (rows.size() > 0 && rows.classes != class_names()) throw std::runtime_error(k_other_rows);
  if (table_->n_class_codes() > k_most_judged_classes)
    throw std::runtime_error(k_classes_to_calibrate);
  if (!has_known(rows)) throw std::runtime_error(k_no_rows_to_calibrate);
  const std::size_t k = rows.classes.size();
  decide_by(calibrator::fit(how, rows.actual, rows.weights, shares, k),
            own_shares::of(rows.actual, rows.weights, shares, k));
}

void dtree::calibrate(const table& t, const case_list& cases) {
  require_values_of(t);
  if (parameters_.calibrated == calibration::none) throw std::runtime_error(k_nothing_asked);
  if (t.n_class_codes() > k_most_judged_classes) throw std::runtime_error(k_classes_to_calibrate);
  decide_by(calibrator(), own_shares());
  judged_rows rows;
  if (has_draws()) rows = oob_rows(t);
  if (rows.size() == 0) rows = rows_of_folds(t, cases);  // every tree may have drawn all cases
  calibrate(rows);
}

/// Each case by trees grown on the other folds. The draws for them are not those of the model's
/// training: what it is calibrated on leaves its later draws as they are.
judged_rows dtree::rows_of_folds(const table& t, const case_list& cases) const {
  const unsigned long n = cases.size(), k = std::min(n, k_calibration_folds);
  judged_rows all;
  if (k < 2) return all;
  zel::util::seed_source seeds;
  seeds.set(run_->seeds().next(zel::util::draw::calibration));
  case_list folded(cases);
  stratify_cross(folded, k, t, /*random=*/true, seeds);
  const std::unique_ptr<dtree> model = clone(/*parameters_only=*/true);
  model->set_calibration(calibration::none);
  model->set_keep_training_cm(false);
  for (unsigned long i = 0; i < k; ++i) {
    const unsigned long begin = fold_begin(n, k, i), length = fold_end(n, k, i) - begin;
    const std::unique_ptr<case_list> held(folded.select(begin, length, /*complement=*/false));
    const std::unique_ptr<case_list> grown(folded.select(begin, length, /*complement=*/true));
    model->build(&t, grown.get());
    append(all, model->judge(t, *held));
  }
  return all;
}

std::vector<double> dtree::set_limits(const set_request& asked) const {
  require_trees();
  if (!asked.is_valid()) throw std::runtime_error(k_set_percent);
  const own_shares& seen = trees_.decides().seen();
  if (seen.empty()) throw std::runtime_error(k_no_own_shares);
  return seen.limits(asked);
}

}  // namespace orvik::impls
