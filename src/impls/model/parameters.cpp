#include "impls/model/parameters.h"

#include "orvik/strategies.h"
#include "zel/text/decimal.h"

namespace orvik::impls {

namespace {

constexpr const char* k_splits[model::N_SPLIT_TYPES] = {
    "information gain", "gain ratio", "gain ratio among tests of at least average gain"};

std::string model_kind(const parameters& p) {
  if (p.kind == ensemble_kind::single) return "one tree";
  const bool draws = p.draws_in_order() || p.how.attributes.draws();
  const char* const trees = p.kind == ensemble_kind::boosting ? " boosted trees"
                            : draws                           ? " trees of a random forest"
                                                              : " bagged trees";
  return std::to_string(p.n_trees) + trees;
}

std::string pruning_of(const parameters& p) {
  const model::strategy_row& row = model::row_of(p.pruning);
  if (p.pruning == model::NO_PRUNING) return "none";
  if (row.name == nullptr) return "pre-pruning only";
  if (!row.prunes_by_confidence) return row.name;
  return std::string(row.name) + ", confidence level " + zel::text::shortest_decimal(p.conf_level);
}

}  // namespace

std::vector<std::pair<std::string, std::string>> described(const parameters& p) {
  const bool limited = p.max_depth != k_no_depth_limit;
  std::vector<std::pair<std::string, std::string>> all = {
      {"Model", model_kind(p)},
      {"Splits chosen by", p.split < model::N_SPLIT_TYPES ? k_splits[p.split] : "?"},
      {"Least weight of two branches", zel::text::shortest_decimal(p.min_obj)},
      {"Greatest depth", limited ? std::to_string(p.max_depth) : "no limit"},
      {"Pruning", pruning_of(p)}};
  if (p.decides.costs() != nullptr) all.emplace_back("Class", "that of the least expected cost");
  if (p.decides.smooths()) all.emplace_back("Shares of leaves", "lean on those of all cases");
  return all;
}

}  // namespace orvik::impls
