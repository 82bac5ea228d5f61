// How models are grown: options that several verbs have.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "command_line.h"
#include "figures.h"
#include "orvik/orvik.h"

namespace orvverbs {

/// A kind of ensemble: a row more is an option more.
struct ensemble_kind {
  const char* option;
  const char* help;
  const char* name;
  bool boosts;
  bool accurate;        ///< grown as did best over many tables, where nothing else is said
  double least_weight;  ///< of a branch, where nothing else is said
};
inline constexpr std::array<ensemble_kind, 3> k_ensembles = {
    {{"--forest", "a random forest of so many trees", "random forest", false, true, 1},
     {"--boost", "so many boosted trees", "boosted trees", true, true, 2},
     {"--bag", "so many bagged trees", "bagged trees", false, false, 2}}};

/// A pruning strategy by its name on the command line.
struct pruning_name {
  const char* name;
  orvik::model::pruning_strategy strategy;
};
const std::vector<pruning_name>& pruning_names();

struct learning {
  void declare(options& all);
  /// What errors cost and classes weigh.
  void declare_costs(options& all);
  /// Workers and seed of the run; of verbs that draw nothing the workers alone.
  void declare_run(options& all);
  void declare_threads(options& all);
  /// Sets workers and seed. Throws usage_error for options that do not fit together.
  void begin() const;

  /// Null for a single tree.
  const ensemble_kind* kind() const;
  unsigned long n_trees() const;
  orvik::model::pruning_strategy strategy() const;
  orvik::growth growth() const;
  orvik::resampling draws() const;
  /// Whether unknown cells of discrete attributes are a value of their own.
  bool owns_unknown() const { return own_unknown || (kind() != nullptr && kind()->accurate); }
  /// "a tree pruned by ebp", "a random forest of 100 trees"
  std::string describe() const;
  /// Whether the class of the least expected cost is predicted.
  bool decides_by_costs() const { return !costs.empty() && !cost_weights; }
  /// A model of these parameters, to be grown on the table.
  std::unique_ptr<orvik::dtree> make(const std::string& name, const orvik::table& t) const;

  std::array<unsigned long, k_ensembles.size()> trees{};  // by kind; 0: not asked for
  std::string prune;                                      // empty: ebp, for an ensemble none
  double min_weight = 0, confidence = 0.25;               // 0: that of the kind
  std::string attributes;                                 // empty: those of the kind
  double sample = 0;                                      // percent; 0: that of the kind
  bool random_cuts = false, vote = false, balance = false;
  bool own_unknown = false;
  std::string costs, class_weights;  // files
  bool cost_weights = false, balanced = false, laplace = false;
  unsigned long depth = 0;  // 0: no limit
  unsigned long seed = 1, threads = 0;
};

/// The cases of a stratified split: the share is drawn from each class as `first`.
struct split_cases {
  std::unique_ptr<orvik::table::subset> first, rest;
};
split_cases split(orvik::table& t, orvik::table::subset& cases, double share);

/// Of repeated measurements.
struct mean_of {
  void add(double x) { sum += x, squares += x * x, ++n; }
  double mean() const;
  /// Of the measurements; not-a-number for fewer than two.
  double deviation() const;

  double sum = 0, squares = 0;
  unsigned long n = 0;
};

/// Tests the model; keeps what it says of the rows unless they are too many.
judged_test tested(const orvik::dtree& model, orvik::table& t, orvik::table::subset& cases,
                   const std::string& from);

/// What a cross-validation found.
struct validation {
  judged_test test;  // of all folds; without a matrix: none made
  mean_of error;     // by fold
};

/// Folds with the classes in even shares, drawn. Throws std::runtime_error for more folds than
/// rows.
std::unique_ptr<orvik::table::subset> draw_folds(orvik::table& t, unsigned long folds);
/// Grows a copy of the model, its parameters, on all folds but one, and tests it on that one.
validation cross_validate(orvik::table& t, const orvik::dtree& model,
                          const orvik::table::subset& cases, unsigned long folds);

}  // namespace orvverbs
