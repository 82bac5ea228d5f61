// A decision tree: nodes in the n-ary tree container, and what grows, prunes, measures, applies
// and writes them. Members are defined where their topic lives: growing here, prediction in
// evaluation/, pruning in pruning/, text in rendering/.
//
// No operation recurses over the tree: it may be as deep as memory allows.
// A tree that is to be packed may lack the leaves that no case came to: their slots are null. What
// does with such trees says so.
// Threads: many readers; growing and pruning own their tree and use workers of their own.
#pragma once

#include <limits>
#include <memory>
#include <ostream>
#include <unordered_map>
#include <utility>
#include <vector>

#include "impls/tables/table.h"
#include "impls/trees/decision_node.h"
#include "orvik/enums.h"
#include "zel/adt/basic_tree.h"
#include "zel/adt/bitmap.h"
#include "zel/util/default_context.h"

namespace orvik::impls {

class conf_matrix;
class growing_plan;

/// Depth budget of a tree without limit.
constexpr unsigned long k_no_depth_limit = std::numeric_limits<unsigned long>::max();

class decision_tree : public zel::adt::basic_tree<decision_node, decision_tree, unsigned int> {
 public:
  /// Predicted class code, and how sure the tree is of it: the share of the class at the leaf,
  /// or its weight in the distribution of a case with unknown values.
  using prediction = std::pair<code_t, double>;

  // ---- growing

  /// Grows the tree anew over `cases`, which must stay until it is grown and may be reordered.
  /// `max_depth` counts split levels; `usable` holds the attributes that may be tested. With
  /// `draw` every node measures a random few of them: the trees of a random forest (Breiman
  /// 2001).
  void build(const table& t, case_list* cases, model::split_type type, double min_weight,
             unsigned long max_depth, const zel::adt::bitmap* usable, zel::util::rand_gen* draw);
  /// The same under a plan, which several trees on one table may share.
  /// `seed` is that of the root's draws where the plan's rules draw; those below follow from it.
  void build(const growing_plan& plan, case_list* cases, unsigned long max_depth,
             zel::util::rand_gen* draw, unsigned long seed = 0);
  /// Grows below the root node there is, on the workers or on this thread.
  void build_from_root(const table& t, model::split_type type, double min_weight,
                       unsigned long max_depth, const zel::adt::bitmap* usable,
                       zel::util::rand_gen* draw);
  /// Level by level on this thread.
  void build_seq(const table& t, model::split_type type, double min_weight, unsigned long max_depth,
                 const zel::adt::bitmap* usable, zel::util::rand_gen* draw);
  /// Below an activated node, a task a subtree while its nodes are large. The tree is the same.
  void build_par(const table& t, model::split_type type, double min_weight, unsigned long max_depth,
                 const zel::adt::bitmap* usable);
  /// A deep copy with the root node under `father`; the caller deletes it.
  [[nodiscard]] decision_tree* clone(const table& t, decision_node* father) const;

  /// Makes leaves of the branches of the root node that lack one.
  void add_empty_leaves(unsigned long n_codes);
  /// Sum of the errors stored in the children. Leaves that no case came to may be missing.
  double errors_of_children() const;

  /// Child of the largest fraction of its father's known weight, the first of equals.
  /// Throws std::runtime_error where there are no children.
  unsigned long get_largest_child() const;
  /// Sets the attribute of every test.
  void set_used_atts(zel::adt::bitmap& used) const;

  // ---- evaluation

  /// Classifies a case given by its code of every attribute. @return depth reached x weight.
  double predict_class(const table& t, const std::vector<code_t>& codes, prediction& result,
                       double weight, unsigned long depth) const;
  /// Adds `weight`, spread over class codes, to `distribution`. @return depth x weight.
  double predict_distribution(const table& t, const std::vector<code_t>& codes,
                              std::vector<double>& distribution, double weight,
                              unsigned long depth) const;
  /// Spreads `amount` of a case, given by its codes, over the classes.
  void add_shares(const std::vector<code_t>& codes, double amount, std::span<double> by_code) const;
  /// The same with what is likely where no training case came: the shares of the nearest node above
  /// that has cases, instead of all for its class.
  void add_probabilities(const std::vector<code_t>& codes, double weight, std::span<double> shares,
                         prior_shares prior = {}) const;
  /// Classifies a row, of a weight of 1, of the table that the tree was grown on, or of one with
  /// its codes; sets in `asked` the attributes whose values were looked at.
  double predict_row_asking(const table& t, row_t row, prediction& result,
                            zel::adt::bitmap& asked) const;
  /// The same as if the row had the given code of `attribute`.
  double predict_changed_row(const table& t, row_t row, unsigned int attribute, code_t code,
                             prediction& result) const;
  /// Adds every case, its weight times `weight`, at (class, predicted class).
  /// @return the sum of depth x weight over the cases. Uses the workers.
  double predict_cm(const table& t, const case_list& cases, double weight, conf_matrix& matrix,
                    zel::util::run_context& run = zel::util::default_context()) const;
  /// The share of the cases that it gets wrong; at a price the mean price of the cases.
  double err_misc(const table& t, const case_list& cases,
                  zel::util::run_context& run = zel::util::default_context(),
                  const pricing& price = {}) const;

  // ---- pruning

  /// Squared normal deviate of the confidence level `cf`, in (0, 1].
  static double CFCoefficient(double cf);
  /// What error-based pruning adds to e errors among n cases.
  static double add_errs(double cf, double coeff, double n, double e);
  /// Collapses, bottom-up, split nodes whose subtree makes no fewer training errors than a leaf
  /// there and whose leaf error is at most `bound`. Stores errors in all nodes; returns them.
  /// Every figure of errors is at its price.
  double preprune(double bound, const pricing& price = {});
  // Each strategy has an operation that prunes a subtree, with `graft` also by raising its
  // largest child, with `all` whichever child is best; and an estimate: the errors of a child,
  // put in the place of its active father, on the father's cases; infinity will do for more than
  // `limit`. An estimate changes nothing.
  // Raising needs a root that holds its cases; all nodes are inactive afterwards.

  /// Error-based pruning (Quinlan 1993). @return the estimated errors, also stored in the nodes.
  double prune_dt(const table& t, double cf, double coeff,
                  zel::util::run_context& run = zel::util::default_context(),
                  const pricing& price = {});
  double prune_ebp(const table& t, double cf, double coeff, bool graft, bool all,
                   zel::util::run_context& run = zel::util::default_context(),
                   const pricing& price = {});
  double prune_ebp_est(const table& t, double cf, double coeff, double limit,
                       const pricing& price = {}) const;
  /// Pessimistic pruning (Quinlan 1987). Stored errors must be training errors, and `leaves`
  /// those of set_nleaves().
  void prune_pep(const table& t, std::unordered_map<const decision_tree*, unsigned long>& leaves,
                 bool graft, bool all, zel::util::run_context& run = zel::util::default_context());
  double prune_pep_est(const table& t, double limit) const;
  /// Notes the number of leaves of every subtree that is not a leaf. @return the root's.
  unsigned long set_nleaves(std::unordered_map<const decision_tree*, unsigned long>& leaves) const;
  /// Reduced-error pruning (Quinlan 1987) on the pruning cases. @return the errors on them.
  double prune_rep(const table& t, const case_list& cases, bool graft, bool all,
                   zel::util::run_context& run = zel::util::default_context(),
                   const pricing& price = {});
  double prune_rep_est(const table& t, const case_list& cases, double limit,
                       const pricing& price = {}) const;
  /// Minimum-error pruning (Cestnik and Bratko 1991) with the m of the fewest errors on the
  /// pruning cases. Uses the workers.
  void prune_mep(const table& t, const case_list& cases, bool graft, bool all,
                 zel::util::run_context& run = zel::util::default_context(),
                 const pricing& price = {});
  /// The same with one m. `prior` has the class distribution that estimates lean on.
  double prune_mep(const table& t, const decision_node& prior, double m, bool graft, bool all,
                   zel::util::run_context& run = zel::util::default_context(),
                   const pricing& price = {});
  double prune_mep_est(const table& t, const decision_node& prior, double m, double limit,
                       const pricing& price = {}) const;

  /// Stores the error-based estimates of leaves and their sums above. @return the root's.
  double set_estimated_error_ebp(double cf, double coeff, const pricing& price = {});
  /// Stores leaf errors at leaves and their sums above. @return the root's.
  double set_estimated_error_from_leaf_error(const pricing& price = {});

  // ---- rendering

  void toTEXT(const table& t, std::ostream& out, unsigned long depth) const;
  /// Writes DOT statements; the root is node `id`. @return the highest number used or
  /// left out below it; a sibling has the next one.
  unsigned long toDOT(const table& t, std::ostream& out, unsigned long id) const;
  /// Writes a PMML 2.0 Node element.
  void toXML(const table& t, std::ostream& out) const;

  // ---- binary form

  /// Writes the nodes, each before its children. Leaves that no case came to may be missing: they
  /// are written all the same.
  void bin_out(zel::inpout::obinstream& out, const table* t) const;
  /// Reads what bin_out() wrote into an empty tree, its root node under `father`, which is null
  /// or has a test. Throws std::runtime_error for what does not fit together or the table.
  void bin_in(zel::inpout::ibinstream& in, const table* t, decision_node* father);

  /// Makes a leaf of the whole subtree.
  void collapse();

 private:
  void grow_seq(const growing_plan& plan, unsigned long max_depth, zel::util::rand_gen* draw,
                unsigned long seed);
  void grow_par(const growing_plan& plan, unsigned long max_depth, unsigned long seed);
};

}  // namespace orvik::impls
