// Feature selection and forests, compared by cross-validation.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "experiments.h"
#include "side_sets.h"
#include "zel/util/seed.h"

namespace orvcmd {

namespace {

using orvik::dtree;
using orvik::table;

constexpr char k_header[] =
    "fold\tminobj\tas\tbrute\tdim\tratio"
    "\tsize\tleaves\tdepth\tattributes\ttime\terror\tebpgerr"
    "\trf_size\trf_leaves\trf_depth\trf_attributes\trf_time\trf_error\trf_ebpgerr"
    "\trffs_size\trffs_leaves\trffs_depth\trffs_attributes\trffs_time\trffs_error\trffs_ebpgerr"
    "\trfsize\trfleaves\trfdepth\trfattributes\trftime\trferror\trfebpgerr"
    "\tbestselected\tbestcount\tntreebuilt\tntreedistinct\trftottime\tbesterr\ttoperr\tdetails...";
constexpr char k_delta_range[] = "<delta> must >= 0";
constexpr char k_infinite_delta[] = "in -as2018, every delta of <a> must be finite";

constexpr long k_fold_factor = 10;               // Deliberate: whatever the number of folds
constexpr unsigned long k_most_exhaustive = 20;  // attributes

/// What all lines of a fold and a minimum weight have in common.
struct round_of {
  table* t;
  const options& opt;
  double min_weight;
  fold_parts parts;
  side_sets sets;  // of the training part
  std::ostream& lines;

  std::unique_ptr<dtree> make_model(bool as_forest) const;
  /// Searches the attributes of `model`.
  void search(dtree& model, dtree::_FeatureSelection method, double delta) const;
};

std::unique_ptr<dtree> round_of::make_model(bool as_forest) const {
  std::unique_ptr<dtree> model = orvcmd::make_model(opt, *t);
  model->set_min_obj(min_weight);
  model->set_pruning_strategy(orvik::model::NO_PRUNING);
  if (as_forest) make_ensemble(opt, *model);
  return model;
}

void round_of::search(dtree& model, dtree::_FeatureSelection method, double delta) const {
  model.set_fs(method, delta);
  model.set_fs_limit(opt.fs_limit);
  model.set_pruning_strategy(static_cast<dtree::_PruningStrategy>(opt.pruning));
  model.feature_selection(t, sets.both() ? sets.grow.get() : parts.train.get(),
                          sets.both() ? sets.held.get() : nullptr);
  // The builds to come keep what was found.
  model.set_fs(orvik::model::NO_SELECTION, 0);
  model.set_pruning_strategy(orvik::model::NO_PRUNING);
}

/// The seven columns of one model; all 0 where there is none.
struct measurement {
  unsigned long size = 0, leaves = 0, depth = 0;
  std::string attributes = "0";
  double time = 0, error = 0, pruned_error = 0;
};

std::ostream& operator<<(std::ostream& out, const measurement& m) {
  return out << '\t' << m.size << '\t' << m.leaves << '\t' << m.depth << '\t' << m.attributes
             << '\t' << m.time << '\t' << m.error << '\t' << m.pruned_error;
}

double error_of(const round_of& r, const dtree& model) {
  const std::unique_ptr<orvik::conf_matrix> cm(model.test(r.t, r.parts.test.get(), nullptr));
  return cm->err_misc();
}

/// Builds the model on the training part with the attributes it holds.
measurement measure(const round_of& r, dtree& model) {
  model.build(r.t, r.parts.train.get());
  measurement m{model.size(),
                model.leaves(),
                model.depth(),
                model.attributes(r.t),
                model.get_elapsed(),
                error_of(r, model),
                0};
  model.set_pruning_strategy(orvik::model::EBPG);
  model.prune(r.t, nullptr);
  m.pruned_error = error_of(r, model);
  return m;
}

/// A forest, where the run has one, with the attributes that `selected` (null: all) holds.
measurement measure_forest(const round_of& r, const dtree* selected) {
  if (!r.opt.forest && !r.opt.bagging) return {};
  std::unique_ptr<dtree> model(selected == nullptr ? r.make_model(true).release()
                                                   : selected->clone(/*parameters_only=*/true));
  model->set_pruning_strategy(orvik::model::NO_PRUNING);
  make_ensemble(r.opt, *model);
  return measure(r, *model);
}

/// What does not hang on the delta.
struct exhaustive {
  bool made = false;
  orvik::feature_search search;
  std::string selected = "0";
  unsigned long count = 0;
  measurement model;
};

exhaustive search_exhaustively(const round_of& r, unsigned long dim) {
  exhaustive found;
  if (dim > k_most_exhaustive) return found;
  const bool forest = r.opt.forest || r.opt.bagging;
  const std::unique_ptr<dtree> model = r.make_model(forest);
  r.search(*model, orvik::model::EXHAUSTIVE, 0);
  found.made = true;
  found.search = model->get_search();
  found.selected = model->attributes(r.t);
  found.count = model->nfeatures();
  found.model = measure(r, *model);
  return found;
}

void write_search(std::ostream& out, const char* name, const orvik::feature_search& s) {
  out << name << (s.ended ? " proven" : " stopped") << " grown " << s.trees_grown << " avoided "
      << s.trees_avoided << " visits " << s.case_visits << " covered " << s.subsets_covered;
}

void run_delta(const round_of& r, long number, double delta, unsigned long dim,
               const measurement& forest, const exhaustive& best) {
  const std::unique_ptr<dtree> model = r.make_model(/*as_forest=*/false);
  r.search(*model, orvik::model::ACCEPTABLE_SUBSET, delta);
  const orvik::feature_search search = model->get_search();
  const double search_time = model->get_elapsed();
  const unsigned long count = model->nfeatures();
  const measurement forest_on_selected = measure_forest(r, model.get());
  measurement tree = measure(r, *model);
  tree.time += search_time;
  std::ostream& out = r.lines;
  out << number << '\t' << r.min_weight << '\t' << delta << '\t' << best.made << '\t' << dim << '\t'
      << (dim == 0 ? 0.0 : static_cast<double>(count) / static_cast<double>(dim)) << tree << forest
      << forest_on_selected << best.model << '\t' << best.selected << '\t' << best.count << '\t'
      << best.search.trees_grown << '\t' << best.search.trees_distinct << '\t'
      << forest.time + forest_on_selected.time << '\t' << best.search.error << '\t'
      << best.search.start_error << '\t';
  write_search(out, "as", search);
  if (best.made) write_search(out, "; brute", best.search);
  out << '\n' << std::flush;
}

/// Reads as far as each piece is a number, as options are read.
std::vector<double> deltas_of(const options& opt) {
  std::vector<double> deltas;
  for (const char* at = opt.as2018_arg; at != nullptr;) {
    deltas.push_back(std::strtod(at, nullptr));
    at = std::strchr(at, ':');
    if (at != nullptr) ++at;
  }
  return deltas;
}

std::vector<double> least_weights(const options& opt) {
  std::vector<double> weights;
  for (double m = opt.as2018_x; m <= opt.as2018_y; m *= 2) weights.push_back(m);
  return weights;
}

/// A split of the cases, and a forest each by itself, for the search of all and for each delta.
zel::util::seed_source::places draws_of_round(const options& opt, unsigned long dim,
                                              unsigned long n_deltas) {
  using zel::util::draw;
  zel::util::seed_source::places drawn{};
  drawn[static_cast<std::size_t>(draw::stratify)] = 1;
  const unsigned long forests = 1 + (dim <= k_most_exhaustive ? 1 : 0) + n_deltas;
  drawn[static_cast<std::size_t>(draw::bootstrap)] = opt.forest || opt.bagging ? forests : 0;
  return drawn;
}

void run_round(const round_of& r, long number, unsigned long dim,
               const std::vector<double>& deltas) {
  const measurement forest = measure_forest(r, nullptr);
  const exhaustive best = search_exhaustively(r, dim);
  for (const double delta : deltas) run_delta(r, number, delta, dim, forest, best);
}

}  // namespace

void require_deltas(const options& opt) {
  for (const double delta : deltas_of(opt)) {
    if (!(delta == -1 || delta >= 0)) throw std::runtime_error(k_delta_range);
    if (!std::isfinite(delta)) throw std::runtime_error(k_infinite_delta);
  }
}

training exp_as2018(table* t, options& opt, std::ostream* log) {
  require_experiment(opt);
  opt.reserved_limit = 0;
  const std::unique_ptr<table::subset> all = stratified_folds(t, opt);
  const std::string usable = dtree(t->get_name()).attributes(t);
  const unsigned long dim = items_of(usable);
  if (log != nullptr) *log << '\n' << k_header << '\n';
  const std::vector<double> weights = least_weights(opt), deltas = deltas_of(opt);
  const auto k = static_cast<unsigned long>(opt.cv_folds);
  write_in_turn(
      log, k * weights.size(), draws_of_round(opt, dim, deltas.size()),
      [&](unsigned long i, std::ostream& lines) {
        const unsigned long f = i / weights.size();
        fold_parts parts = take_fold(*all, k, f);
        side_sets sets = split_classes(t, *parts.train, k_growing_share, /*random=*/true);
        run_round({t, opt, weights[i % weights.size()], std::move(parts), std::move(sets), lines},
                  opt.exp_id * k_fold_factor + static_cast<long>(f), dim, deltas);
      });
  return {};
}

}  // namespace orvcmd
