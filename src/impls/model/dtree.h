// A trained model: its parameters, the schema of its training table, the attributes it may use,
// and one tree or an ensemble.
//
// The model never points at the caller's table or cases: it keeps a copy of the schema with the
// value sets, and a compact copy of the cases that each tree was grown on.
// Threads: many readers or one writer; building and pruning use workers of their own.
#pragma once

#include <functional>
#include <memory>
#include <ostream>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "impls/evaluation/batch_predictor.h"
#include "impls/evaluation/conf_matrix.h"
#include "impls/evaluation/row_coder.h"
#include "impls/model/attribute_search.h"
#include "impls/model/bootstrap.h"
#include "impls/model/ensemble.h"
#include "impls/model/parameters.h"
#include "impls/model/training_cases.h"
#include "impls/tables/table.h"
#include "impls/trees/decision_tree.h"
#include "orvik/enums.h"
#include "orvik/importance.h"
#include "orvik/metrics.h"
#include "orvik/probabilities.h"
#include "zel/adt/bitmap.h"
#include "zel/util/default_context.h"
#include "zel/util/nocopy.h"
#include "zel/util/rand_gen.h"

namespace orvik::impls {

class growing_plan;
class scaled_costs;

class dtree : private zel::util::nocopy {
 public:
  using _SplitType = model::split_type;
  using _PruningStrategy = model::pruning_strategy;
  using _FeatureSelection = model::feature_selection;

  explicit dtree(std::string name) : name_(std::move(name)) {}

  /// Everything from now on is done under this context, which must outlive the model or its use;
  /// at first the default one.
  void use(zel::util::run_context& run) { run_ = &run; }
  const zel::util::run_context& run() const { return *run_; }

  /// A copy of name, context, parameters and attribute selection; with `parameters_only` clear of
  /// everything else too.
  std::unique_ptr<dtree> clone(bool parameters_only) const;

  // Parameters. A value out of range leaves the parameter as it was.
  void set_split_type(_SplitType type);
  void set_pruning_strategy(_PruningStrategy strategy) { parameters_.pruning = strategy; }
  void set_min_obj(double m);
  void set_max_depth(unsigned long depth) { parameters_.max_depth = depth; }
  void set_conf_level(double level);
  /// `delta` counts only for the acceptable subset.
  void set_fs(_FeatureSelection method, double delta);
  /// Seconds after which a search for attributes ends with the best so far; 0: no limit.
  void set_fs_limit(double seconds);
  /// Throws std::runtime_error for a number of trees that does not fit the flags. Drops the
  /// trees there are.
  void set_forest(bool forest, bool bagging, unsigned long n);
  /// n trees, each on cases reweighted by the errors of those before it (Freund and Schapire 1996,
  /// with many classes Zhu et al. 2009). Throws std::runtime_error for none. Drops the trees.
  void set_boosting(unsigned long n);
  void set_growth(const growth& how) {
    if (how.attributes.is_valid()) parameters_.how = how;
  }
  void set_resampling(const resampling& draws) {
    if (draws.is_valid()) parameters_.draws = draws;
  }
  /// How the trees of the next builds answer.
  /// What the errors of the next builds cost, by the class codes of their table; null: all 1.
  void set_costs(std::shared_ptr<const cost_matrix> costs, cost_use use) {
    parameters_.decides.set_costs(std::move(costs), use);
  }
  /// Whether the shares of their leaves lean on those of the training cases.
  void set_smoothing(bool smooths) { parameters_.decides.set_smoothing(smooths); }
  void set_combination(combination how) {
    if (!parameters_.maps_shares()) parameters_.answer = how;
  }
  /// What build() and calibrate() learn beside the trees; forgets what was learned. Ensembles whose
  /// shares are mapped answer by them, from now on.
  void set_calibration(calibration how);
  /// What the cases of each class weigh, times their own weight, when the next builds grow on them;
  /// by class code, empty: 1.
  void set_class_weights(std::vector<double> by_code) {
    parameters_.class_weights = std::move(by_code);
  }
  /// Whether these are what makes the classes weigh the same.
  void set_balanced_classes(bool balanced) { parameters_.balanced_classes = balanced; }

  /// Every attribute of `t` but the ignored ones.
  static zel::adt::bitmap default_features(const table& t);

  /// Searches, by the method of set_fs(), the attributes that the next builds use (without one:
  /// all) and drops the trees. Trees are grown on `growing` (null: all rows) and judged on
  /// `searching` (null: 30 % of these, which are not grown on, by class). Throws std::runtime_error
  /// without a table or cases.
  void feature_selection(const table* t, const case_list* growing, const case_list* searching);
  /// Grows the model on `cases`, with attributes searched on them where set_fs() asks for it, and
  /// prunes it with its strategy; one that prunes on separate cases gets 30 % of them, drawn from
  /// each class, and the trees are grown on the others. Keeps the confusion matrix of the cases
  /// that it was grown on, unless told otherwise. Throws std::runtime_error without a table or
  /// without cases, and for cases that are not of it.
  void build(const table* t, const case_list* cases);
  /// Prunes every tree. `t` has the values of the table it was grown on, and its rows where the
  /// strategy needs these. `prune_cases` (null: the training cases) serve the strategies that prune
  /// on separate cases. The training confusion matrix is made anew, or dropped where its cases are
  /// not known or build() was told to make none.
  /// Throws std::runtime_error without a table, for another one, without trees, and where the
  /// strategy needs training cases that the model does not have.
  void prune(const table* t, const case_list* prune_cases);
  /// Learns what set_calibration() asked for, in place of what was learned before: on the cases
  /// that the model was grown on, each by trees that did not draw it, or else by those of a model
  /// that is grown on nine tenths of the cases without it. Throws std::runtime_error where nothing
  /// was asked for, for more than k_most_judged_classes and where no case has a known class.
  void calibrate(const table& t, const case_list& cases);
  /// The same on other rows, as test() and judge() give them.
  void calibrate(const judged_rows& rows);
  /// The least share, before calibration, with which a class is in a set, by class code. Throws
  /// std::runtime_error for a model that learned nothing of it.
  std::vector<double> set_limits(const set_request& asked) const;
  /// Whether build() and prune() make the training confusion matrix; they do by default. Whoever
  /// sets it, or needs none, saves the time.
  void set_keep_training_cm(bool keep) { parameters_.keep_training_cm = keep; }

  /// Classifies a case given by its code of every attribute: by the tree, or by one vote a tree
  /// where there are several, the lowest code of equals; the confidence is then the share of the
  /// votes.
  /// @return the depth reached (of an ensemble the sum over the trees) x weight.
  double predict(const table& t, const std::vector<code_t>& codes,
                 decision_tree::prediction& result, double weight) const {
    return trees_.predict(t, codes, result, weight);
  }
  /// Its trees made ready for many cases of a table with the values of the training table. They
  /// may go afterwards; the context must stay.
  batch_predictor make_predictor(const table& t) const;
  /// Rows are shared out among processes where many trees predict them; else each predicts all.
  std::unique_ptr<const zel::util::working_alone> alone_unless_many_trees() const;
  /// Predicts the cases of a table with the values of the training table and compares with their
  /// classes; `average_depth` may be null. Throws std::runtime_error for another table.
  std::unique_ptr<conf_matrix> test(const table& t, const case_list& cases,
                                    double* average_depth) const;
  /// What the model says of each of the cases, in their order; their table as in test().
  judged_rows judge(const table& t, const case_list& cases) const;
  /// Predicts rows of text, with every column of the training table, and compares with their
  /// classes; `missing` is the unknown value. With `unseen` values that training did not have,
  /// the class's among them, count as unknown; it receives how many. Memory does not grow with
  /// the text, unless `judged`, which may be null, receives what is said of each row. Throws
  /// std::runtime_error for the earliest bad row, "Reading test data: (row N): " and the reason,
  /// and where there are no rows.
  std::unique_ptr<conf_matrix> test(zel::inpout::stream* in, const std::string& missing,
                                    unseen_values* unseen, judged_rows* judged = nullptr) const;
  /// Writes for every row of text, with or without class and weight, in order, a line of the
  /// predicted class, the confidence, with `probabilities` the share of every known class, and the
  /// set of classes where `sets` are wanted, between them `separator`. `rows` receives the number
  /// of rows read well; `unseen` and errors as in test(), a row's after the lines of those before
  /// it, and also one where `out` fails.
  /// @return the seconds it took.
  double score(zel::inpout::stream* in, std::ostream& out, unsigned long& rows, char separator,
               bool probabilities, unseen_values* unseen, const set_request& sets = {}) const;
  /// The codes of a row of texts, an attribute a text; a class behind them is not looked at.
  /// Throws std::runtime_error for a value that training did not have, except between numbers.
  void string2index(const std::vector<std::string>& values, std::vector<code_t>& codes) const;
  /// Classifies such a row as predict() does; `shares`, which may be null, as below.
  double predict(const std::vector<std::string>& values, double weight,
                 decision_tree::prediction& result, std::vector<double>* shares) const;
  /// The shares of the classes, by code: of the leaf, or of the leaves that a case with unknown
  /// values reaches; the mean over the trees of an ensemble.
  /// `plain`, which may be null, receives them as they were before calibration.
  void predict_distribution(const std::vector<code_t>& codes, std::vector<double>& shares,
                            std::vector<double>* plain = nullptr) const;
  /// The class values by code, the unknown value first; none before the first build.
  std::vector<std::string> class_names() const;
  /// Keeps the confusion matrix of `cases`.
  void set_training_cm(const table* t, const case_list* cases);
  /// Error of the trees of an ensemble on the cases they were not grown on: every training case
  /// is put to the vote of the trees that did not draw it. `t` holds the rows of the build.
  /// @return misclassified weight / weight of the cases with a vote; not-a-number for a single
  /// tree and without such cases.
  double oob_error(const table& t) const;
  /// The same of the first tree, the first two trees and so on; none where no draws are known.
  std::vector<double> oob_errors(const table& t) const;
  /// What those trees say of the cases, in their order, without those that have none; no rows for
  /// a single tree. The shares of the classes are what predict_distribution() gives of those trees.
  judged_rows oob_rows(const table& t) const;
  /// Finds the draws of an ensemble that was read: under the run seed of its build, and numbered
  /// from the start, they follow from the rows, if all rows of `t` were grown on.
  /// @return false, changing nothing, where the trees were grown on others.
  bool recall_draws(const table& t);
  /// Whether it is known which cases each tree drew.
  bool has_draws() const;
  /// What the trees owe to each usable attribute, by descending gain, then by attribute.
  /// `t` holds the rows of the build, or with `permute` clear only the schema: the permutation is
  /// not-a-number then.
  std::vector<attribute_importance> importance(const table& t, bool permute = true) const;

  const std::string& name() const { return name_; }
  const parameters& settings() const { return parameters_; }
  const ensemble& trees() const { return trees_; }
  /// How the trees there are decide.
  const decision& decides() const { return trees_.decides(); }
  unsigned long n_trees() const { return trees_.n_trees(); }
  /// Valid as ensemble::tree() says.
  std::shared_ptr<const decision_tree> get_tree(unsigned long i) const { return trees_.tree(i); }
  bool is_ensemble() const { return !trees_.is_single(); }
  bool votes() const { return trees_.is_put_to_vote(); }
  /// The cases that tree i was grown on: for an ensemble its draws, with repetitions. `t` is the
  /// table of the build.
  case_list cases_of_tree(const table& t, unsigned long i) const {
    return cases_drawn(t, trees_.seed(i));
  }
  /// Null before the first build, and before the first set_training_cm.
  const table* get_training_table() const { return table_.get(); }
  const conf_matrix* get_training_cm() const { return training_cm_.get(); }

  /// Number of attributes that a tree tests; without trees, of those that a search found.
  unsigned long nfeatures() const;
  /// The usable attributes as their numbers, separated by ",".
  std::string get_attributes(const table& t) const;
  /// What the last search for attributes did; as text a line each, empty before any.
  const feature_search& get_search() const { return search_.done; }
  const std::string& get_as_logs() const { return search_.log; }
  /// Seconds of the last build(), prune() or feature_selection().
  double get_elapsed() const { return elapsed_; }

  // Renderings. Each throws std::runtime_error before the first build.

  void toTEXT(std::ostream& out, unsigned long depth) const;
  void toDOT(std::ostream& out) const;
  /// PMML 2.0 with the training confusion matrix, if there is one, and `test`, which may be null.
  void toXML(std::ostream& out, const conf_matrix* test) const;
  /// PMML 4.4. Throws std::runtime_error for a text that XML cannot hold.
  void toPMML(std::ostream& out) const;
  /// All that predicting needs, as one JSON document.
  void toJSON(std::ostream& out) const;

  /// Bytes of its user that are saved with the model.
  void set_appendix(std::string bytes) { appendix_ = std::move(bytes); }
  const std::string& appendix() const { return appendix_; }

  /// Writes the model without the cases it was grown on: what is read again cannot be pruned with
  /// a strategy that needs them, and knows no out-of-bag error.
  void bin_out(zel::inpout::obinstream& out) const;
  /// Reads what bin_out() wrote into a new model. Throws std::runtime_error for what does not fit
  /// together; the model is of no use then.
  void bin_in(zel::inpout::ibinstream& in);

 private:
  static constexpr char k_no_table_to_build[] = "no table provided to build the tree";

  void check_read() const;
  void require_trees() const;
  /// Throws std::runtime_error for a form, by its name, that has no place for the maps of shares.
  void require_plain_shares(const char* form) const;
  /// Throws std::runtime_error without trees, and for a table of other values than that of the
  /// build has.
  void require_values_of(const table& t) const;
  void search_attributes(const table& t, const case_list& growing, const case_list& searching);
  void drop_trees();
  ensemble no_trees() const {
    return ensemble(parameters_.kind, parameters_.answer, parameters_.decides);
  }
  /// Does work on the trees; what fails half way leaves none, rather than half grown or pruned
  /// ones.
  template <class Work>
  void all_or_no_trees(const Work& work) {
    try {
      work();
    } catch (...) {
      drop_trees();
      training_cm_.reset();
      throw;
    }
  }
  void require_decision_for(const table& t) const;
  void weigh_classes(const table& t, const case_list& cases);
  void weigh(const table& t, case_list& cases) const;
  void prepare_decision(const table& t);
  void decide_by(calibrator maps, own_shares seen);
  judged_rows rows_of_folds(const table& t, const case_list& cases) const;
  scaled_costs costs_of(const decision_tree& tree) const;
  /// Gives the nodes of a model that answers as one tree the classes of a decision: forms show
  /// them.
  void set_classes(const decision& how);
  void settle_classes();
  void grow_trees(const table& t, const case_list* prune_cases);
  std::unique_ptr<decision_tree> grow_tree(const growing_plan& plan, case_list cases,
                                           unsigned long seed) const;
  void grow_side_by_side(const growing_plan& plan, const case_list* prune_cases);
  bool is_packed_as_it_grows() const;
  void boost(const growing_plan& plan, const case_list* prune_cases);
  zel::util::rand_gen attribute_draws(unsigned long seed) const;
  case_draws draws_on(const table& t) const { return {parameters_.draws, t, cases_}; }
  case_list cases_drawn(const table& t, unsigned long seed) const;
  void sort_as_grown(const table& t, const decision_tree& tree, unsigned long seed,
                     case_list& cases) const;
  void prune_tree(const table& t, decision_tree& tree, unsigned long seed,
                  const std::function<case_list()>& grown_on, const case_list* prune_cases);
  /// The same, and for a table without the rows of the build.
  void require_training_rows(const table& t) const;
  void choose_attributes(const table& t, const case_list& cases);
  void grow_and_prune(const table& t, const case_list& cases);
  void prune_trees(const table& t, const case_list* prune_cases);
  void tell_of_pruning() const;
  void renew_training_cm(const table& t);

  // What clone() copies, beside the trees.
  template <class Self>
  static auto settings_of(Self& self) {
    return std::tie(self.run_, self.name_, self.parameters_, self.search_, self.attributes_);
  }
  template <class Self>
  static auto results_of(Self& self) {
    return std::tie(self.table_, self.training_cm_, self.cases_, self.class_weights_, self.elapsed_,
                    self.appendix_);
  }

  zel::util::run_context* run_ = &zel::util::default_context();
  std::string name_;
  parameters parameters_;
  attribute_search search_;
  // Shared between copies of the model: none changes them.
  std::shared_ptr<const zel::adt::bitmap> attributes_;  // usable ones
  std::shared_ptr<const table> table_;                  // the schema of the training table
  std::shared_ptr<const conf_matrix> training_cm_;
  ensemble trees_;
  training_cases cases_;               // what the trees were grown on, or drawn from
  std::vector<double> class_weights_;  // of the build, by class code; empty: 1
  double elapsed_ = 0;
  std::string appendix_;
};

zel::inpout::obinstream& operator<<(zel::inpout::obinstream& out, const dtree& model);
zel::inpout::ibinstream& operator>>(zel::inpout::ibinstream& in, dtree& model);

}  // namespace orvik::impls
