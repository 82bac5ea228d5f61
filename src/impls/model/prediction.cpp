// What a model predicts, and how its predictions compare with what is known.
#include <stdexcept>

#include "impls/evaluation/batch_predictor.h"
#include "impls/evaluation/tally.h"
#include "impls/model/dtree.h"
#include "zel/util/cronos.h"
#include "zel/util/number_util.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

namespace {

constexpr char k_no_table[] = "no table provided to build the tree";
constexpr char k_no_eval_subset[] = "set_training_cm with no eval_subset";

/// One vote a tree. `predict(tree, result)` gives a tree's prediction and its weighted depth.
template <class Trees, class Predict>
double vote(const Trees& trees, unsigned long n_codes, decision_tree::prediction& result,
            const Predict& predict) {
  std::vector<unsigned long> votes(n_codes);
  double depths = 0;
  for (const auto& tree : trees) {
    depths += predict(*tree, result);
    ++votes[result.first];
  }
  const unsigned long best = zel::util::number_util::argmax(votes);
  result = {best, static_cast<double>(votes[best]) / static_cast<double>(trees.size())};
  return depths;
}

}  // namespace

double dtree::predict(const table& t, const std::vector<code_t>& codes,
                      decision_tree::prediction& result, double weight) const {
  const auto by_tree = [&](const decision_tree& tree, decision_tree::prediction& r) {
    return tree.predict_class(t, codes, r, weight, 0);
  };
  return votes() ? vote(trees_, t.n_class_codes(), result, by_tree) : by_tree(*trees_[0], result);
}

double dtree::predict_row(const table& t, row_t row, decision_tree::prediction& result,
                          double weight) const {
  const auto by_tree = [&](const decision_tree& tree, decision_tree::prediction& r) {
    return tree.predict_row(t, row, r, weight);
  };
  return votes() ? vote(trees_, t.n_class_codes(), result, by_tree) : by_tree(*trees_[0], result);
}

batch_predictor dtree::make_predictor(const table& t) const {
  std::vector<const decision_tree*> trees;
  for (const auto& tree : trees_) trees.push_back(tree.get());
  return run_->with_workers([&] { return batch_predictor(t, trees, votes(), *run_); });
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
    *average_depth = depths / matrix->cases() / static_cast<double>(trees_.size());
  }
  return matrix;
}

void dtree::set_training_cm(const table* t, const case_list* cases) {
  if (cases == nullptr) throw std::runtime_error(k_no_eval_subset);
  if (t == nullptr) throw std::runtime_error(k_no_table);
  training_cm_ = test(*t, *cases, nullptr);
}

}  // namespace orvik::impls
