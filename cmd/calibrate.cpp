#include "calibrate.h"

#include "errors.h"
#include "log.h"
#include "zel/util/cronos.h"
#include "zel/util/progress_display.h"

namespace orvcmd {

namespace {

/// What the model says of the rows of the file.
orvik::judged_rows rows_of_file(const options& opt, const orvik::dtree& model,
                                orvik::dtree::unseen_values* unseen) {
  orvik::judged_rows rows;
  const std::unique_ptr<orvik::conf_matrix> matrix(
      model.test(opt.calibration_rows, opt.separator, orvik::k_unknown_text, unseen, rows));
  return rows;
}

void learn(const options& opt, orvik::table* t, orvik::table::subset* cases, orvik::dtree& model,
           std::ostream* log) {
  model.set_calibration(opt.calibration);
  zel::util::progress::stage("calibrating");
  zel::util::cronos watch;
  watch.start();
  if (!opt.calibration_rows.empty()) {
    log_line(log, "Calibrating on rows of a file");
    orvik::dtree::unseen_values unseen;
    const orvik::judged_rows rows = rows_of_file(opt, model, opt.unseen ? &unseen : nullptr);
    model.calibrate(rows);
    log_line(log, " + rows: ", rows.size());
  } else {
    log_line(log, "Calibrating on training cases, each by trees that were not grown on it");
    model.calibrate(t, cases);
  }
  watch.stop();
  log_line(log, " + time: ", watch.get_elapsed(), " secs");
}

/// Before anything is written: a saved model may have nothing to make sets of.
void require_sets(const options& opt, const orvik::dtree& model) {
  try {
    static_cast<void>(model.get_set_limits(opt.sets));
  } catch (const std::runtime_error& failure) {
    const std::string& file = opt.tree_binary_input;
    throw std::runtime_error((file.empty() ? file : file + ": ") + failure.what());
  }
}

}  // namespace

void settle_calibration(options& opt) {
  const bool saved = !opt.tree_binary_input.empty(), rows = !opt.calibration_rows.empty();
  if (opt.sets.by_class && !opt.sets.wanted()) throw failure("-byclass needs -sets");
  if (rows && !opt.is_given("-calibrate") && !opt.sets.wanted()) {
    throw failure("-calrows needs -calibrate or -sets");
  }
  if (saved && !rows && opt.is_given("-calibrate")) {
    throw failure("-calibrate with -bt needs -calrows: there are no training cases");
  }
  if (opt.calibration > orvik::calibration::plain) {
    for (const std::string_view form : {"-pmml", "-x", "-xstd"}) {
      if (opt.is_given(form))
        throw failure(std::string(form) + " has no place for calibrated shares");
    }
  }
  const bool keeps_shares = opt.sets.wanted() && !opt.is_given("-calibrate") && (!saved || rows);
  if (keeps_shares) opt.calibration = orvik::calibration::plain;
}

void calibrate(const options& opt, orvik::table* t, orvik::table::subset* cases,
               orvik::dtree& model, std::ostream* log) {
  if (opt.calibration != orvik::calibration::none) learn(opt, t, cases, model, log);
  if (opt.sets.wanted()) require_sets(opt, model);
}

}  // namespace orvcmd
