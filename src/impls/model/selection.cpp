// Choosing the attributes that a model may use, before it is grown.
#include <cmath>
#include <stdexcept>

#include "impls/model/dtree.h"
#include "impls/selection/search.h"
#include "impls/tables/folds.h"
#include "impls/tables/same_codes.h"
#include "impls/trees/distribution.h"
#include "zel/util/cronos.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

namespace {

constexpr char k_nothing_to_select_on[] = "no table provided to select features";
constexpr char k_no_cases[] = "no cases provided to select features";
constexpr char k_too_few[] = " + too few cases to search: all attributes";

}  // namespace

void dtree::feature_selection(const table* t, const case_list* growing,
                              const case_list* searching) {
  if (t == nullptr) throw std::runtime_error(k_nothing_to_select_on);
  std::unique_ptr<case_list> all;
  if (growing == nullptr) growing = (all = std::unique_ptr<case_list>(t->get_all())).get();
  if (growing->empty()) throw std::runtime_error(k_no_cases);
  require_cases_of(*t, *growing);
  if (searching != nullptr) require_cases_of(*t, *searching);
  zel::util::cronos watch;
  watch.start();
  weigh_classes(*t, *growing);
  case_parts split;
  if (searching == nullptr) {
    split = split_by_class(*t, *growing, run_->seeds());
    growing = split.first.get();
    searching = split.rest.get();
  }
  drop_trees();
  attributes_ = std::make_shared<zel::adt::bitmap>(default_features(*t));
  search_.made_by = model::NO_SELECTION;  // until it has come to its end
  search_.by_build = false;
  search_.done = {};
  search_.log.clear();
  if (searching == nullptr || searching->empty()) {
    search_.log = k_too_few;
  } else if (search_.method != model::NO_SELECTION) {
    search_attributes(*t, *growing, *searching);
  }
  search_.made_by = search_.method;
  watch.stop();
  elapsed_ = watch.get_elapsed();
}

/// Search trees are single trees without draws, whatever the model grows.
void dtree::search_attributes(const table& t, const case_list& growing,
                              const case_list& searching) {
  case_list grown_on, searched_on;
  if (!class_weights_.empty()) {
    weigh(t, grown_on = growing);
    weigh(t, searched_on = searching);
  }
  const cost_matrix* const costs = parameters_.decides.costs();
  std::vector<double> prior(t.n_class_codes());
  sum_by_class(t.class_column(), class_weights_.empty() ? growing : grown_on, prior);
  const double unit = costs == nullptr ? 1 : costs->mean_of_errors(costs->cheapest(prior), prior);
  const selection::setting s{t,
                             class_weights_.empty() ? growing : grown_on,
                             class_weights_.empty() ? searching : searched_on,
                             parameters_.split,
                             parameters_.min_obj,
                             parameters_.max_depth,
                             parameters_.pruning != model::NO_PRUNING,
                             *attributes_,
                             *run_,
                             costs == nullptr ? pricing() : pricing(*costs, prior),
                             unit > 0 && std::isfinite(unit) ? unit : 1.0};
  selection::found_attributes found = run_->with_workers([&] {
    return selection::find_attributes(s, search_.method, search_.delta, search_.seconds);
  });
  attributes_ = std::make_shared<zel::adt::bitmap>(std::move(found.set));
  search_.done = found.done;
  search_.log = std::move(found.log);
}

}  // namespace orvik::impls
