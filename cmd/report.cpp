// What a run says of its model: reports on training and held-out cases, and the model's forms.
#include <cmath>
#include <iomanip>
#include <iostream>

#include "cross_validation.h"
#include "driver.h"
#include "log.h"
#include "outputs.h"
#include "reasons.h"
#include "score.h"
#include "steps.h"

namespace orvcmd {

namespace {

using orvik::conf_matrix;
using orvik::dtree;
using orvik::table;

struct ordinal_errors {
  double mae, mse, rmse, r, rint, gamma;
};

void report_ordinal(const ordinal_errors& e, std::ostream& out) {
  out << "ORDINAL ERROR:\n"
      << "MAE: " << e.mae << "\nMSE: " << e.mse << "\nRMSE: " << e.rmse << "\nR: " << e.r
      << "\nRINT: " << e.rint << "\nG: " << e.gamma << '\n';
}

void report_ordinal(const conf_matrix& cm, std::ostream& out) {
  const double mse = cm.err_mse();
  report_ordinal({cm.err_mae(), mse, std::sqrt(mse), cm.err_r(), cm.err_rint(), cm.err_gamma()},
                 out);
}

void report_cross_validation(const options& opt, const _cv_errors& e, std::ostream& out) {
  const auto n = static_cast<double>(opt.cv_folds * opt.cv_repetitions);
  const auto [mean, deviation] = figure_of(e.misc, e.misc2, n);
  out << "MISCLASSIFICATION on " << opt.cv_folds << " folds and " << opt.cv_repetitions
      << " repetitions: " << percent_truncated(mean) << " +- " << percent_truncated(deviation)
      << "%.\n";
  if (!opt.costs_file.empty()) {
    const auto [cost, cost_deviation] = figure_of(e.cost, e.cost2, n);
    out << "COST on " << opt.cv_folds << " folds and " << opt.cv_repetitions
        << " repetitions: " << cost << " +- " << cost_deviation << " a case.\n";
  }
  if (opt.ordinal_errors == 0) return;
  report_ordinal({e.mae / n, e.mse / n, e.rmse / n, e.r / n, e.rint / n, e.gamma / n}, out);
}

/// What errors cost; null where nothing was said of it.
using known_costs = std::unique_ptr<std::vector<orvik::class_cost>>;

/// "MISCLASSIFICATION on ROWS: E% of N cases. ", what they cost, and the matrix.
void report_errors(const char* rows, const conf_matrix& cm, const known_costs& costs,
                   const options& opt, std::ostream& out) {
  out << "MISCLASSIFICATION " << rows << ": " << 100 * cm.err_misc() << "% of " << cm.cases()
      << " cases. \n";
  if (costs) {
    const double cost = cm.get_cost(*costs);
    out << "COST " << rows << ": " << cost << ", " << cost / cm.cases() << " a case. \n";
  }
  cm.toTEXT(out, 0);
  if (opt.ordinal_errors != 0) report_ordinal(cm, out);
}

void report_training(const conf_matrix& cm, const known_costs& costs, const options& opt,
                     std::ostream& out) {
  out << "MAJORITY CLASS value: " << cm.get_majority_class_value() << " (" << cm.size() - 1
      << " classes)\n"
      << "MAJORITY MISCLASSIFICATION on training: " << 100 * cm.err_misc_majority() << "% of "
      << cm.cases() << " cases. \n";
  report_errors("on training", cm, costs, opt, out);
}

/// A line an attribute; the permutations only of a model that has them. They count errors, and say
/// so where these have costs.
void report_importance(const std::vector<orvik::attribute_importance>& all, bool with_costs,
                       std::ostream& out) {
  const bool permuted = !all.empty() && !std::isnan(all[0].permutation);
  const auto flags = out.flags();
  const auto precision = out.precision();
  out << "ATTRIBUTE IMPORTANCE" << (with_costs ? " (of errors, whatever they cost)" : "")
      << "\nattribute\tgain" << (permuted ? "\tpermutation\n" : "\n") << std::fixed
      << std::setprecision(6);
  for (const orvik::attribute_importance& each : all) {
    out << each.name << '\t' << each.gain;
    if (permuted) out << '\t' << each.permutation;
    out << '\n';
  }
  out.flags(flags);
  out.precision(precision);
}

std::unique_ptr<conf_matrix> matrix_of(const orvik::judged_rows& rows) {
  auto matrix = std::make_unique<conf_matrix>(rows.classes);
  for (unsigned long i = 0; i < rows.size(); ++i) {
    matrix->add_case(rows.actual[i], rows.predicted[i], rows.weights[i]);
  }
  return matrix;
}

/// On the stream of the log, which is in the middle of a line, a report begins with a new one.
void begin_report(const std::ostream* log, std::ostream* out) {
  if (out == log) *out << '\n';
}

/// Half a document is none: where write() throws, its file fails, so that an older one stays.
template <class Write>
void write_whole(std::ostream& out, const Write& write) {
  try {
    write();
  } catch (...) {
    if (&out != &std::cout) out.setstate(std::ios::failbit);
    throw;
  }
}

/// One run's reports, a step each; those of a stream that is null are not to be made.
class reporting {
 public:
  reporting(const options& opt, table* t, const dtree& model, const report_streams& to)
      : opt_(opt), t_(t), model_(model), to_(to) {}

  void draw_graph() const {
    begin_report(to_.log, to_.dot);
    write_whole(*to_.dot, [this] { model_.toDOT(*to_.dot); });
  }
  void report_model(const training& result, const _cv_errors& errors);
  void test_holdout(table::subset* holdout);
  void test_file();
  void write_tree() const {
    write_whole(*to_.text, [this] { model_.toTEXT(*to_.text); });
  }
  void write_figures() const {
    to_.metrics.write([this](std::ostream& out) { write_metrics_json(figures_, out); });
  }
  /// With the matrix of the last test.
  void write_xml() const {
    if (to_.xml != to_.text) begin_report(to_.log, to_.xml);
    write_whole(*to_.xml, [this] { model_.toXML(*to_.xml, last_test_.get()); });
  }

 private:
  void report_test(const char* rows, const conf_matrix& cm) const;
  void report_figures(const orvik::judged_rows& rows, const char* source);
  void report_out_of_bag(const orvik::judged_rows& rows);
  void report_sets(const orvik::judged_rows& rows);
  void report_sets_in_folds(const orvik::judged_rows& rows);

  const options& opt_;
  table* t_;
  const dtree& model_;
  const report_streams& to_;
  std::unique_ptr<conf_matrix> last_test_;
  std::vector<orvik::metrics> figures_;
};

/// Keeps the figures of rows, and writes them where the report is to have them.
void reporting::report_figures(const orvik::judged_rows& rows, const char* source) {
  if (rows.size() == 0 || !opt_.judges()) return;
  figures_.push_back(metrics_of(rows, source));
  if (to_.text != nullptr && opt_.metrics) write_metrics_text(figures_.back(), *to_.text);
}

void reporting::report_model(const training& result, const _cv_errors& errors) {
  if (to_.text != nullptr) {
    begin_report(to_.log, to_.text);
    *to_.text << orvik::get_copyright() << '\n';
    const std::unique_ptr<conf_matrix> cm(model_.get_training_cm());
    if (cm) report_training(*cm, model_.get_costs(), opt_, *to_.text);
  }
  report_figures(result.judged, "training rows");
  report_out_of_bag(result.judged_out_of_bag);
  if (to_.text != nullptr && opt_.cv_folds > 0) {
    report_cross_validation(opt_, errors, *to_.text);
    if (opt_.metrics) matrix_of(result.judged_in_folds)->toTEXT(*to_.text, 0);
  }
  report_figures(result.judged_in_folds, "cross-validation");
  report_sets_in_folds(result.sets_in_folds);
  if (to_.text != nullptr && opt_.importance) {
    report_importance(model_.get_importance(t_), model_.get_costs() != nullptr, *to_.text);
  }
}

void reporting::report_out_of_bag(const orvik::judged_rows& rows) {
  if (rows.size() == 0) return;
  if (to_.text != nullptr && opt_.metrics) {
    report_errors("out of bag", *matrix_of(rows), model_.get_costs(), opt_, *to_.text);
  }
  report_figures(rows, "out-of-bag rows");
}

/// Of rows that the model was not calibrated on: what sets promise for other rows.
void reporting::report_sets(const orvik::judged_rows& rows) {
  if (to_.text == nullptr || !opt_.sets.wanted()) return;
  const std::vector<double> limits = model_.get_set_limits(opt_.sets);
  write_set_figures(set_figures_of(rows, limits), opt_.sets, *to_.text);
}

void reporting::report_sets_in_folds(const orvik::judged_rows& rows) {
  if (to_.text == nullptr || rows.size() == 0) return;
  const std::vector<double> in_set(rows.classes.size(), 1.0);
  std::vector<orvik::set_figures> found = set_figures_of(rows, in_set);
  for (orvik::set_figures& each : found) each.weight /= opt_.cv_repetitions;
  *to_.text << "CROSS VALIDATION: ";
  write_set_figures(found, opt_.sets, *to_.text);
}

void reporting::report_test(const char* rows, const conf_matrix& cm) const {
  if (to_.text == nullptr) return;
  begin_report(to_.log, to_.text);
  report_errors(rows, cm, model_.get_costs(), opt_, *to_.text);
}

void reporting::test_holdout(table::subset* holdout) {
  log_line(to_.log, "Testing holdout on ", holdout->size(), " cases");
  orvik::judged_rows rows;
  last_test_.reset(opt_.judges_tests() ? model_.test(t_, holdout, rows)
                                       : model_.test(t_, holdout, nullptr));
  report_test("on holdout test", *last_test_);
  report_figures(rows, "hold-out");
  report_sets(rows);
  log_line(to_.log, " + time: ", last_test_->get_elapsed(), " secs");
}

void reporting::test_file() {
  log_line(to_.log, "Testing data");
  file_test test = test_on_file(opt_, model_);
  report_test("on test file", *test.matrix);
  report_figures(test.judged, "test file");
  report_sets(test.judged);
  log_file_test(to_.log, test);
  last_test_ = std::move(test.matrix);
}

}  // namespace

void save_tree(const options& opt, const dtree& model, std::ostream* log) {
  if (opt.tree_binary_output.empty()) return;
  save_or_report(opt.tree_binary_output, [&] { model.toBinary(opt.tree_binary_output); });
  log_line(log, "Tree saved");
}

void test_save_tree(const options& opt, table* t, const training& result, const _cv_errors& errors,
                    const report_streams& to) {
  reporting report(opt, t, *result.model, to);
  independent_steps steps;
  if (to.dot != nullptr) steps.run([&] { report.draw_graph(); });
  steps.run([&] { report.report_model(result, errors); });
  if (result.holdout) steps.run([&] { report.test_holdout(result.holdout.get()); });
  if (!opt.test_file.empty()) steps.run([&] { report.test_file(); });
  if (to.text != nullptr) steps.run([&] { report.write_tree(); });
  if (to.xml != nullptr) steps.run([&] { report.write_xml(); });
  steps.run([&] { report.write_figures(); });
  if (!opt.score_data_file.empty()) steps.run([&] { score_file(opt, *result.model, to.log); });
  if (!opt.reasons_file.empty()) steps.run([&] { explain_file(opt, *result.model, to.log); });
  steps.end();
}

}  // namespace orvcmd
