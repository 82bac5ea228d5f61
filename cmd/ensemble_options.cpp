#include "ensemble_options.h"

#include <algorithm>
#include <initializer_list>

#include "errors.h"

namespace orvcmd {

namespace {

constexpr std::string_view k_growth[] = {"-mtry", "-free", "-binary", "-extra"};
constexpr std::string_view k_draws[] = {"-bag", "-noreplace", "-balance"};

template <class Names>
std::string_view first_given(const options& opt, const Names& names) {
  for (const std::string_view name : names) {
    if (opt.is_given(name)) return name;
  }
  return {};
}

void refuse(std::string_view option, std::string_view why) {
  if (!option.empty()) throw failure(std::string(option).append(why));
}

bool chooses_pruning(const options& opt) {
  return std::ranges::any_of(opt.given, [](std::string_view name) {
    return name == "-np" || name == "-npp" || name.starts_with("-ebp") ||
           name.starts_with("-pep") || name.starts_with("-rep") || name.starts_with("-mep");
  });
}

void require_sense(const options& opt) {
  if (opt.is_given("-bo")) {
    refuse(first_given(opt, std::initializer_list<std::string_view>{"-ba", "-fo", "-rf"}),
           " and -bo are different ensembles");
    refuse(first_given(opt, k_draws), ": boosted trees are grown on all cases");
  }
  if (!opt.forest && !opt.bagging) {
    refuse(first_given(opt, k_draws), " needs an ensemble: -ba, -fo or -rf");
  }
  if (!opt.is_ensemble() && opt.is_given("-soft")) {
    throw failure("-soft needs an ensemble: -ba, -fo, -rf or -bo");
  }
  if (!opt.draws.replace && opt.draws.share > 1) {
    throw failure("-bag must be at most 100 with -noreplace");
  }
  if (opt.feature_selection != static_cast<int>(orvik::model::NO_SELECTION)) {
    refuse(first_given(opt, k_growth), ": a search for attributes grows trees without it");
    refuse(opt.is_given("-rf") ? "-rf" : "", ": a search for attributes grows other trees");
  }
}

/// What did best, as far as nothing else is said.
void set_found_best(options& opt) {
  const orvik::growth told = opt.growth;
  opt.growth = orvik::k_accurate_growth;
  opt.growth.random_cuts = told.random_cuts;
  if (opt.is_given("-mtry")) opt.growth.attributes = told.attributes;
  opt.own_unknowns = true;
  opt.answer = orvik::combination::shares;
  if (!chooses_pruning(opt)) opt.pruning = orvik::model::NO_PRUNING;
  if (first_given(opt, k_draws).empty()) opt.draws = orvik::k_accurate_draws;
}

}  // namespace

void settle_ensemble(options& opt) {
  require_sense(opt);
  const bool grown_as_told = !first_given(opt, k_growth).empty() || opt.is_given("-soft");
  const bool boosts_best = opt.is_given("-bo") && !grown_as_told;
  if (opt.is_given("-rf") || boosts_best) set_found_best(opt);
  // Of boosted trees those with leaves of single cases learn nothing from each other.
  if (opt.growth.free && !boosts_best && !opt.is_given("-m")) opt.min_weighted_objects = 1;
}

}  // namespace orvcmd
