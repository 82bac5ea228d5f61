#include "driver.h"

#include <cmath>

#include "errors.h"

namespace orvcmd {

namespace {

using orvik::conf_matrix;
using orvik::dtree;
using orvik::table;
using subset_ptr = std::unique_ptr<table::subset>;

constexpr char k_no_metadata[] = "No metadata provided.\n";
constexpr char k_no_data[] = "No training data provided.\n";
constexpr char k_unknown_value[] = "?";

/// Writes the log messages, each on a new line; nothing without a log.
template <class... Parts>
void log_line(std::ostream* log, const Parts&... parts) {
  if (log == nullptr) return;
  *log << '\n';
  (*log << ... << parts) << std::flush;
}

/// Deliberate: above 10,000 rows a second the figure in thousands stands before "M rows/s".
void log_load_rate(std::ostream* log, unsigned long rows, double seconds) {
  const double thousands = std::floor(static_cast<double>(rows) / seconds / 10) / 100;
  const double millions = std::floor(thousands / 10) / 100;
  log_line(log, " + time: ", seconds, " secs (", thousands,
           millions == 0 ? " K rows/s)" : " M rows/s)");
}

unsigned long share_of(unsigned long rows, double fraction) {
  return static_cast<unsigned long>(static_cast<double>(rows) * fraction);
}

struct parts {
  subset_ptr train, holdout;
};

parts split_stratified(table* t, double fraction, bool random) {
  const subset_ptr all(t->get_wsubset_all());
  const unsigned long n = all->stratify_frac(fraction, t, random);
  return {subset_ptr(all->select(0, n, false)), subset_ptr(all->select(0, n, true))};
}

/// The first hold-out option that is set, in a fixed order, decides.
parts split_holdout(const options& opt, table* t) {
  if (opt.holdout_stratified_random > 0) {
    return split_stratified(t, opt.holdout_stratified_random, true);
  }
  if (opt.holdout_stratified_deterministic > 0) {
    return split_stratified(t, opt.holdout_stratified_deterministic, false);
  }
  parts split;
  const unsigned long rows = t->get_no_rows();
  if (opt.holdout_random > 0) {
    split.train.reset(t->get_wsubset_random(share_of(rows, opt.holdout_random)));
  } else if (opt.holdout_first > 0) {
    split.train.reset(t->get_wsubset_first_n(share_of(rows, opt.holdout_first)));
  } else {
    split.train.reset(t->get_wsubset_all());
    return split;
  }
  split.holdout.reset(t->get_wsubset_difference(split.train.get()));
  return split;
}

std::unique_ptr<dtree> make_model(const options& opt, const table& t) {
  auto model = std::make_unique<dtree>(t.get_name());
  model->set_conf_level(opt.confidence_level);
  model->set_min_obj(opt.min_weighted_objects);
  if (opt.max_depth >= 0) model->set_max_depth(static_cast<unsigned long>(opt.max_depth));
  model->set_split_type(static_cast<dtree::_SplitType>(opt.split_type));
  return model;
}

void log_measures(std::ostream* log, const dtree& model) {
  log_line(log, " + size: ", model.size(), " depth: ", model.depth(), " nf: ", model.nfeatures(),
           " time: ", model.get_elapsed(), " secs");
}

void grow(const options& opt, table* t, table::subset* cases, dtree& model, std::ostream* log) {
  log_line(log, "Building ", opt.n_trees, " tree(s) on ", cases->size(), " cases");
  const bool preprune = opt.pruning != static_cast<int>(orvik::model::NO_PRUNING);
  model.set_pruning_strategy(preprune ? orvik::model::PRE_PRUNING_ONLY : orvik::model::NO_PRUNING);
  model.build(t, cases);
  log_line(log, " + tree(s) built");
  log_measures(log, model);
}

void prune(const options& opt, table* t, dtree& model, std::ostream* log) {
  model.set_pruning_strategy(static_cast<dtree::_PruningStrategy>(opt.pruning));
  if (opt.pruning < static_cast<int>(orvik::model::EBP)) return;
  log_line(log, "Pruning tree using training set");
  model.prune(t, nullptr);
  log_line(log, " + tree pruned");
  log_measures(log, model);
}

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

std::unique_ptr<table> load_save_table(const options& opt, std::ostream* log) {
  if (opt.metadata_file.empty()) throw early_end{0, k_no_metadata};
  log_line(log, "Reading text data");
  auto t = std::make_unique<table>(opt.metadata_file);
  t->load_meta_data(opt.metadata_file, opt.separator, k_unknown_value);
  if (opt.data_file.empty()) throw early_end{0, k_no_data};
  const bool in_order = opt.holdout_first > 0 || opt.holdout_stratified_deterministic > 0;
  t->load_data(opt.data_file, opt.separator, in_order ? 1 : opt.n_workers, log);
  log_line(log, " + cols: ", t->get_no_columns(), " rows: ", t->get_no_rows());
  log_load_rate(log, t->get_no_rows(), t->get_elapsed());
  if (opt.rescale) t->rescale_weights();
  return t;
}

training buildtree(const options& opt, table* t, _cv_errors&, std::ostream* log, std::ostream*) {
  parts split = split_holdout(opt, t);
  std::unique_ptr<dtree> model = make_model(opt, *t);
  grow(opt, t, split.train.get(), *model, log);
  prune(opt, t, *model, log);
  model->set_training_cm(t, split.train.get());
  return {std::move(model), std::move(split.holdout)};
}

void test_save_tree(const options& opt, table* t, dtree* model, table::subset* holdout,
                    _cv_errors&, std::ostream* log, std::ostream* text, std::ostream*,
                    std::ostream*) {
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
