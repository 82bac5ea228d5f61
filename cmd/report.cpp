// What a run says of its model: reports on training and held-out cases, and the model's forms.
#include <cmath>

#include "driver.h"
#include "log.h"

namespace orvcmd {

namespace {

using orvik::conf_matrix;
using orvik::dtree;
using orvik::table;

void report_ordinal_errors(const conf_matrix& cm, std::ostream& out) {
  const double mse = cm.err_mse();
  out << "ORDINAL ERROR:\n"
      << "MAE: " << cm.err_mae() << "\nMSE: " << mse << "\nRMSE: " << std::sqrt(mse)
      << "\nR: " << cm.err_r() << "\nRINT: " << cm.err_rint() << "\nG: " << cm.err_gamma() << '\n';
}

/// "TITLE: E% of N cases. " and the matrix.
void report_errors(const char* title, const conf_matrix& cm, const options& opt,
                   std::ostream& out) {
  out << title << 100 * cm.err_misc() << "% of " << cm.cases() << " cases. \n";
  cm.toTEXT(out, 0);
  if (opt.ordinal_errors != 0) report_ordinal_errors(cm, out);
}

void report_training(const conf_matrix& cm, const options& opt, std::ostream& out) {
  out << orvik::get_copyright() << '\n'
      << "MAJORITY CLASS value: " << cm.get_majority_class_value() << " (" << cm.size() - 1
      << " classes)\n"
      << "MAJORITY MISCLASSIFICATION on training: " << 100 * cm.err_misc_majority() << "% of "
      << cm.cases() << " cases. \n";
  report_errors("MISCLASSIFICATION on training: ", cm, opt, out);
}

}  // namespace

void test_save_tree(const options& opt, table* t, dtree* model, table::subset* holdout, _cv_errors&,
                    std::ostream* log, std::ostream* text, std::ostream*, std::ostream*) {
  if (text != nullptr) {
    if (text == log) *text << '\n';  // the log is in the middle of a line
    const std::unique_ptr<conf_matrix> cm(model->get_training_cm());
    report_training(*cm, opt, *text);
  }
  if (holdout != nullptr) {
    log_line(log, "Testing holdout on ", holdout->size(), " cases");
    const std::unique_ptr<conf_matrix> cm(model->test(t, holdout, nullptr));
    if (text != nullptr) {
      report_errors("MISCLASSIFICATION on holdout test: ", *cm, opt, *text);
    }
    log_line(log, " + time: ", cm->get_elapsed(), " secs");
  }
  if (text != nullptr) model->toTEXT(*text);
}

}  // namespace orvcmd
