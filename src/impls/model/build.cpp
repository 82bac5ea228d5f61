// Training a model, and comparing its predictions with what is known.
#include <stdexcept>

#include "impls/model/dtree.h"
#include "zel/util/cronos.h"
#include "zel/util/parallel.h"

namespace orvik::impls {

namespace {

constexpr char k_no_table[] = "no table provided to build the tree";
constexpr char k_no_training[] = "no training provided to build the tree";
constexpr char k_no_ensembles[] = "ensembles are not available in this version";
constexpr char k_no_eval_subset[] = "set_training_cm with no eval_subset";

}  // namespace

void dtree::build(const table* t, const case_list* cases) {
  if (t == nullptr) throw std::runtime_error(k_no_table);
  if (cases == nullptr || cases->empty()) throw std::runtime_error(k_no_training);
  if (ensemble_) throw std::runtime_error(k_no_ensembles);
  zel::util::cronos watch;
  watch.start();
  trees_.clear();
  cases_.clear();
  training_cm_.reset();
  table_ = t->clone(/*schema_only=*/true);
  if (!attributes_ || attributes_->size() != t->n_attributes()) {
    attributes_ = std::make_unique<zel::adt::bitmap>(default_features(*t));
  }
  zel::util::parallel::with_workers([&] { grow(*t, *cases); });
  prune(t, nullptr);
  watch.stop();
  elapsed_ = watch.get_elapsed();
}

/// Growing reorders short case lists: the tree works on a list of its own.
void dtree::grow(const table& t, const case_list& cases) {
  case_list own = cases;
  cases_.emplace_back(own);
  trees_.push_back(std::make_unique<decision_tree>());
  trees_.back()->build(t, &own, split_type_, min_obj_, max_depth_, attributes_.get(),
                       /*forest=*/false);
}

std::unique_ptr<conf_matrix> dtree::test(const table& t, const case_list& cases,
                                         double* average_depth) const {
  require_trees();
  zel::util::cronos watch;
  watch.start();
  auto matrix = std::make_unique<conf_matrix>(&t);
  const double depths = zel::util::parallel::with_workers(
      [&] { return trees_[0]->predict_cm(t, cases, 1.0, *matrix); });
  watch.stop();
  matrix->set_elapsed(watch.get_elapsed());
  if (average_depth != nullptr) *average_depth = depths / matrix->cases();
  return matrix;
}

void dtree::set_training_cm(const table* t, const case_list* cases) {
  if (cases == nullptr) throw std::runtime_error(k_no_eval_subset);
  if (t == nullptr) throw std::runtime_error(k_no_table);
  training_cm_ = test(*t, *cases, nullptr);
}

}  // namespace orvik::impls
