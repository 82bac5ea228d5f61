// What a model predicts, and how its predictions compare with what is known.
#include <stdexcept>

#include "impls/evaluation/batch_predictor.h"
#include "impls/evaluation/tally.h"
#include "impls/model/dtree.h"
#include "zel/util/cronos.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

namespace {

constexpr char k_no_eval_subset[] = "set_training_cm with no eval_subset";

}  // namespace

batch_predictor dtree::make_predictor(const table& t) const {
  using answer = batch_predictor::answer;
  const answer how = !votes()                                ? answer::of_one
                     : trees_.answer() == combination::votes ? answer::votes
                                                             : answer::shares;
  return run_->with_workers(
      [&] { return batch_predictor(t, trees_.voters(), how, *run_, trees_.decides()); });
}

std::unique_ptr<const zel::util::working_alone> dtree::alone_unless_many_trees() const {
  if (trees_.n_trees() >= k_many_trees) return nullptr;
  return std::make_unique<const zel::util::working_alone>(*run_);
}

std::unique_ptr<conf_matrix> dtree::test(const table& t, const case_list& cases,
                                         double* average_depth) const {
  require_values_of(t);
  zel::util::cronos watch;
  watch.start();
  auto matrix = std::make_unique<conf_matrix>(&t);
  const batch_predictor predictor = make_predictor(t);
  const double depths =
      run_->with_workers([&] { return tally(t, cases, 1.0, *matrix, predictor); });
  watch.stop();
  matrix->set_elapsed(watch.get_elapsed());
  if (average_depth != nullptr) {
    *average_depth = depths / matrix->cases() / static_cast<double>(trees_.n_trees());
  }
  return matrix;
}

void dtree::set_training_cm(const table* t, const case_list* cases) {
  if (cases == nullptr) throw std::runtime_error(k_no_eval_subset);
  if (t == nullptr) throw std::runtime_error(k_no_table_to_build);
  training_cm_ = test(*t, *cases, nullptr);
}

}  // namespace orvik::impls
