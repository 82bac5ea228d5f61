#include "program.h"

#include <memory>

#include "calibrate.h"
#include "driver.h"
#include "errors.h"
#include "experiments.h"
#include "ignored.h"
#include "log.h"
#include "orvik/orvik.h"
#include "outputs.h"
#include "progress.h"
#include "reasons.h"
#include "resume.h"
#include "saved_tree.h"
#include "steps.h"

namespace orvcmd {

namespace {

/// Writes all that the model gives, the form to go on from first. One form that cannot be written
/// costs no other; the first error is thrown at the end.
void finish(const options& opt, orvik::table* t, const training& result, const _cv_errors& errors,
            outputs& out) {
  const orvik::dtree* const model = result.model.get();
  independent_steps steps;
  zel::util::progress::stage("saving");
  steps.run([&] { save_tree(opt, *model, out.log()); });
  out.write_documents(*model, steps);
  steps.run([&] {
    test_save_tree(opt, t, result, errors,
                   {out.log(), out.text(), out.xml(), out.dot(), out.metrics()});
  });
  steps.end();
}

/// The run after its outputs are open; what it owns is gone before they are closed.
void train_and_save(options& opt, outputs& out) {
  std::unique_ptr<orvik::table> table;
  _cv_errors errors{};
  training result;
  if (!opt.tree_binary_input.empty()) {
    result.model = load_tree(opt, out.log());
    if (result.model) calibrate(opt, nullptr, nullptr, *result.model, out.log());
  } else {
    table = load_save_table(opt, out.log());
    if (only_makes_table(opt)) return out.end_log();
    const kept_tasks kept(opt, *table);
    result = opt.sdm2012  ? exp_sdm2012(table.get(), opt, out.log())
             : opt.as2018 ? exp_as2018(table.get(), opt, out.log())
                          : buildtree(opt, table.get(), errors, out.log(), out.trace());
  }
  if (result.model) finish(opt, table.get(), result, errors, out);
  out.end_log();
}

}  // namespace

void run_program(options& opt) {
  require_table_if_needed(opt);
  require_experiment(opt);
  require_rows_to_explain(opt);
  require_resumable(opt);
  outputs out(opt);
  const zel::util::progress::display progress(opt.log_stdout);
  orvik::set_n_workers(opt.n_workers);
  if (opt.seed) orvik::set_seed(*opt.seed);
  out.begin_log(orvik::get_copyright());
  for (const std::string& line : ignored_options(opt)) log_line(out.log(), line);
  try {
    train_and_save(opt, out);
  } catch (const early_end&) {  // not an error, so what was written must be whole
    out.end_log();
    out.close();
    throw;
  } catch (...) {
    out.close_after_error();
    throw;
  }
  out.close();
}

}  // namespace orvcmd
