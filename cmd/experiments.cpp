#include "experiments.h"

#include <cmath>
#include <sstream>
#include <stdexcept>

#include "side_sets.h"
#include "zel/util/run_context.h"

namespace orvcmd {

namespace {

using orvik::conf_matrix;
using orvik::dtree;
using orvik::table;
using subset_ptr = std::unique_ptr<table::subset>;

constexpr char k_header[] = "ds\tfold\ttype\tsize\tleaves\tdepth\tadepth\ttime\terror\tite";
constexpr char k_needs_folds[] = " needs -cv with at least one fold";
constexpr char k_needs_weights[] = "Option -as2018 needs <x> and <y> above 0";

/// One fold: what models are made from and where they are written.
struct fold {
  table* t;
  const options& opt;
  long number;
  subset_ptr test, train;
  std::ostream& lines;
};

std::unique_ptr<dtree> grow(const fold& f, table::subset* cases, bool limited) {
  auto model = std::make_unique<dtree>(f.t->get_name());
  model->set_keep_training_cm(false);
  model->set_conf_level(f.opt.confidence_level);
  model->set_min_obj(f.opt.min_weighted_objects);
  model->set_pruning_strategy(orvik::model::NO_PRUNING);
  if (limited && f.opt.max_depth >= 0) {
    model->set_max_depth(static_cast<unsigned long>(f.opt.max_depth));
  }
  model->build(f.t, cases);
  return model;
}

/// Tests the model on the fold and writes its line.
void measure(const fold& f, const dtree& model, std::string_view label) {
  double average_depth = 0;
  const std::unique_ptr<conf_matrix> cm(model.test(f.t, f.test.get(), &average_depth));
  f.lines << f.t->get_name() << '\t' << f.number << '\t' << label << '\t' << model.size() << '\t'
          << model.leaves() << '\t' << model.depth() << '\t' << average_depth << '\t'
          << model.get_elapsed() << '\t' << cm->err_misc() << '\t' << 0 << '\t' << model.epl()
          << '\n'
          << std::flush;
}

/// Prunes copies of `base` with the strategies that prune on a side set, or with the others.
void measure_pruned(const fold& f, const dtree& base, table::subset* held, bool on_side_set) {
  for (unsigned int s = 0; s < orvik::model::N_PRUNING_STRATEGIES; ++s) {
    const orvik::model::strategy_row& row = orvik::model::k_strategies[s];
    if (row.name == nullptr || row.separate_cases != on_side_set) continue;
    const std::unique_ptr<dtree> copy(base.clone(/*parameters_only=*/false));
    copy->set_pruning_strategy(static_cast<dtree::_PruningStrategy>(s));
    copy->prune(f.t, held);
    measure(f, *copy, row.name);
  }
}

void run_fold(const fold& f) {
  {
    const std::unique_ptr<dtree> base = grow(f, f.train.get(), /*limited=*/false);
    measure(f, *base, "unp");
    measure_pruned(f, *base, nullptr, /*on_side_set=*/false);
  }
  const side_sets sets = split_classes(f.t, *f.train, k_growing_share, /*random=*/true);
  const std::unique_ptr<dtree> base =
      grow(f, sets.both() ? sets.grow.get() : f.train.get(), /*limited=*/true);
  measure_pruned(f, *base, sets.both() ? sets.held.get() : nullptr, /*on_side_set=*/true);
}

}  // namespace

void write_in_turn(std::ostream* log, unsigned long n, const zel::util::seed_source::places& drawn,
                   const std::function<void(unsigned long, std::ostream&)>& write) {
  zel::util::run_context& run = zel::util::default_context();
  if (!zel::util::is_shared_out(run, /*with_store=*/true)) {
    std::ostream nowhere(nullptr);
    for (unsigned long i = 0; i < n; ++i) write(i, log != nullptr ? *log : nowhere);
    return;
  }
  const auto lines_of = [&](unsigned long i) {
    std::ostringstream lines;
    if (log != nullptr) lines.copyfmt(*log);
    write(i, lines);
    return lines.str();
  };
  const auto take = [log](unsigned long, std::string_view lines) {
    if (log != nullptr) *log << lines << std::flush;
  };
  zel::util::share_out_in_turn(run, n, drawn, lines_of, take, [](std::string_view) {});
}

void require_experiment(const options& opt) {
  if (!opt.sdm2012 && !opt.as2018) return;
  const std::string option = opt.sdm2012 ? "-sdm2012" : "-as2018";
  if (opt.cv_folds < 1) throw std::runtime_error("Option " + option + k_needs_folds);
  if (opt.sdm2012) return;
  for (const double bound : {opt.as2018_x, opt.as2018_y}) {
    if (!(std::isfinite(bound) && bound > 0)) throw std::runtime_error(k_needs_weights);
  }
  require_deltas(opt);
}

training exp_sdm2012(table* t, const options& opt, std::ostream* log) {
  require_experiment(opt);
  const auto k = static_cast<unsigned long>(opt.cv_folds);
  const subset_ptr all = stratified_folds(t, opt);
  if (log != nullptr) *log << '\n' << k_header << '\n';
  zel::util::seed_source::places drawn{};
  drawn[static_cast<std::size_t>(zel::util::draw::stratify)] = 1;
  write_in_turn(log, k, drawn, [&](unsigned long i, std::ostream& lines) {
    fold_parts parts = take_fold(*all, k, i);
    run_fold({t, opt, opt.exp_id * opt.cv_folds + static_cast<long>(i), std::move(parts.test),
              std::move(parts.train), lines});
  });
  return {};
}

}  // namespace orvcmd
