// A classification tree, or an ensemble of them: training, pruning, testing, reading, text.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "orvik/codes.h"
#include "orvik/conf_matrix.h"
#include "orvik/costs.h"
#include "orvik/enums.h"
#include "orvik/export.h"
#include "orvik/feature_search.h"
#include "orvik/growth.h"
#include "orvik/importance.h"
#include "orvik/metrics.h"
#include "orvik/probabilities.h"
#include "orvik/schema.h"
#include "orvik/table.h"
#include "orvik/tree_node.h"

namespace orvik {

namespace impls {
class dtree;
}
class run_context;

/// Threads: members that are const may be called from several threads at a time while no other is.
class ORVIK_EXPORT dtree {
 public:
  using _SplitType = model::split_type;
  using _PruningStrategy = model::pruning_strategy;
  using _FeatureSelection = model::feature_selection;

  explicit dtree(const std::string& name);
  /// Takes an implementation, for the library's own use.
  explicit dtree(std::unique_ptr<impls::dtree> impl);
  ~dtree();
  dtree(const dtree&) = delete;
  dtree& operator=(const dtree&) = delete;
  /// A copy of the model, or only of its name, its parameters and the attributes it may use. Either
  /// uses the same context.
  [[nodiscard]] dtree* clone(bool parameters_only) const;

  /// Does everything under this context from now on, whichever the tables use; at first under the
  /// default one.
  void use(run_context& run);

  // Parameters; a value out of range is ignored.
  void set_pruning_strategy(_PruningStrategy strategy);
  void set_split_type(_SplitType type);
  /// `delta` counts only for the acceptable subset.
  void set_fs(_FeatureSelection method, double delta);
  /// Seconds after which a search for attributes ends with the best it has; 0, the default: none.
  void set_fs_limit(double seconds);
  /// n trees: of a random forest, else bagged ones, else a single one. Drops the trees there are
  /// and the cases they were grown on; the schema and the attributes stay. Throws
  /// std::runtime_error when neither flag is set and n is not 1, or one is and n is 0.
  void set_forest(bool forest, bool bagging, unsigned long n);
  /// n boosted trees: each is grown on the cases, weighed by the errors of those before it, pruned,
  /// and has the more votes the fewer errors it makes (AdaBoost.M1, SAMME). They may end up fewer:
  /// a tree without errors is the last, one no better than chance is left out. Drops the trees;
  /// throws std::runtime_error where n is 0.
  void set_boosting(unsigned long n);
  /// What nodes measure, which tests they may have, what the trees of an ensemble but a boosted one
  /// are grown on, and how they answer together; orvik/growth.h says more.
  void set_growth(const growth& how);
  void set_resampling(const resampling& draws);
  void set_combination(combination how);
  /// What the errors of the next builds cost, by the class codes of `t`, and what becomes of it;
  /// none: an error is an error. By costs that decide, the class of the least expected cost is
  /// predicted, the first of equals: sum over the classes of share x cost. Throws
  /// std::runtime_error for codes and costs that are none, a pair that is given twice, and more
  /// than 1000 classes.
  void set_costs(const table& t, const std::vector<class_cost>& costs,
                 cost_use use = cost_use::decides);
  /// Multiplies the weights of the cases that the next builds grow on: by class code, above 0,
  /// empty: not at all; or, `balanced`, so that every class has the same weight. The sum stays as
  /// it is where they are balanced, or weighed by costs.
  void set_class_weights(const std::vector<double>& by_code);
  void set_balanced_classes(bool balanced);
  /// Whether the shares of leaves lean on those of the training cases: (n f + p) / (n + 1), where
  /// of the weight n of a leaf the share f is of a class, and of that of all cases the share p.
  void set_smoothing(bool smooths);
  /// Least weight of two branches of a split, above 0; by default 2.
  void set_min_obj(double m);
  /// Levels of splits; by default without limit.
  void set_max_depth(unsigned long depth);
  /// Of error-based pruning, in (0, 1]; by default 0.25.
  void set_conf_level(double level);
  /// What build() learns beside the trees, on rows that the trees were not grown on: what shares of
  /// the classes are worth as probabilities, and what sets of classes need; docs/probabilities.md
  /// says how. Ensembles whose shares are mapped answer by them, not by votes. What was learned
  /// before is forgotten, here and in prune().
  void set_calibration(calibration how);
  calibration get_calibration() const;
  /// Whether build() and prune() make the confusion matrix of the cases that the model was grown
  /// on, as they do by default. Whoever sets it, or needs none, saves the time of testing.
  void set_keep_training_cm(bool keep);

  /// Searches the attributes that the next builds use by the method of set_fs(), and drops the
  /// trees there are; without a method, or with too few cases, these are all that are not ignored.
  /// The trees of the search are grown on `train` (null: all rows) and judged on `test`; null: on
  /// 30 % of `train`, drawn from each class, and grown on the others. Throws std::runtime_error
  /// without a table or without cases.
  void feature_selection(table* t, table::subset* train, table::subset* test);
  /// Grows the model on the cases (null: all rows) and prunes it with its strategy; for one that
  /// prunes on separate cases 30 %, drawn from each class, are kept from growing. Where set_fs()
  /// asks for it, the attributes are searched first, on the same cases; else those are used that
  /// feature_selection() found, or all. To predict, to write and to save the model the table and
  /// the cases are not needed afterwards.
  /// Throws std::runtime_error for a case of a row that the table does not have, and for one of a
  /// weight that is negative or not finite.
  void build(table* t, table::subset* cases);
  /// Prunes the model as built; `t` is the table it was built on. `cases` are the pruning
  /// cases of the strategies that prune on separate cases; null: the cases it was grown on.
  /// Throws std::runtime_error where a strategy needs training cases that the model lacks, and for
  /// a table that has other values than that of the build, as test() does.
  void prune(table* t, table::subset* cases);

  /// Learns what set_calibration() asked for, now: on the cases that the model was grown on (null:
  /// all rows of the table), out of bag or by folds, or on rows that test() gave. Throws
  /// std::runtime_error where nothing was asked for, for rows of other classes, for more than
  /// k_most_judged_classes, and where no row has a known class.
  void calibrate(table* t, table::subset* cases);
  void calibrate(const judged_rows& rows);
  /// Whether shares are mapped; and the maps: of two known classes that of the second, of more one
  /// for each. What they give is divided by its sum; where all give 0 the shares stay as they are.
  bool is_calibrated() const;
  std::vector<share_map> get_share_maps() const;
  /// The least share, before calibration, with which a class is in a set, by class code. Throws
  /// std::runtime_error for a percentage out of range and for a model that was not calibrated.
  std::vector<double> get_set_limits(const set_request& asked) const;

  /// Copies, which the caller deletes; null before a build. The table is without its rows. The
  /// matrix is that of build() or prune() or, if it is the later, of set_training_cm(); null where
  /// none of them made one.
  [[nodiscard]] table* get_training_table() const;
  [[nodiscard]] conf_matrix* get_training_cm() const;
  /// Tests the model on `cases`, not null, and keeps the matrix as that of the training cases.
  void set_training_cm(table* t, table::subset* cases);
  /// Predictions for the cases (null: all rows) against their classes; `average_depth` (may be
  /// null) receives the mean depth of their leaves.
  [[nodiscard]] conf_matrix* test(table* t, table::subset* cases, double* average_depth) const;
  /// The same; `rows` receives what the model says of each case, in their order: the material of
  /// figures beyond the matrix. Memory grows with the cases times the classes.
  [[nodiscard]] conf_matrix* test(table* t, table::subset* cases, judged_rows& rows) const;

  // Rows of text. They have the columns of the training table in its order. A number that
  // training did not have takes its place among those it had; any other value that training did
  // not have is an error of its row, or, with `unseen`, counts as unknown.

  /// Names of columns, each with the number of its values that counted as unknown.
  using unseen_values = std::vector<std::pair<std::string, unsigned long>>;
  /// Predictions for the rows of a file, whose case weights are not rescaled, against their
  /// classes; `missing` is the unknown value. Throws std::runtime_error for a file that cannot be
  /// read or has no rows, and for the earliest bad row: "Reading test data: (row N): " and the
  /// reason. Memory does not grow with the file, here and below.
  [[nodiscard]] conf_matrix* test(const std::string& file, char sep, const std::string& missing,
                                  unseen_values* unseen = nullptr) const;
  /// The same; `rows` as above, and memory too.
  [[nodiscard]] conf_matrix* test(const std::string& file, char sep, const std::string& missing,
                                  unseen_values* unseen, judged_rows& rows) const;
  /// Writes a line for every row of a file, in order: predicted class, `c`, its confidence, and
  /// with `probabilities` `c` and the share of each known class. The rows may lack the class, or
  /// the class and the case weight; what they have of them is not looked at. `n` receives the
  /// number of rows. Throws as test() does, "Reading score data: (row N): " for a bad row, after
  /// the lines of the rows before it; and std::runtime_error where `out` fails.
  /// @return the seconds it took.
  double score(const std::string& file, char sep, std::ostream& out, unsigned long& n, char c,
               bool probabilities = false, unseen_values* unseen = nullptr) const;
  /// The same; where `sets` are wanted `c` and the set stand at the end, as set_text() writes it.
  double score(const std::string& file, char sep, std::ostream& out, unsigned long& n, char c,
               bool probabilities, unseen_values* unseen, const set_request& sets) const;
  /// The predicted class of one row: a text for every attribute, ignored ones too; a class behind
  /// them is not looked at. The confidence that a tree has in a case with unknown values is
  /// multiplied by its `weight`; the share of an ensemble's votes is not.
  std::string predict(const std::vector<std::string>& row, double weight) const;
  /// The same with the shares of the classes, in the order of class_values(): those of the leaf,
  /// or of the leaves that a case with unknown values reaches; the mean over an ensemble's trees.
  /// A leaf that no training case came to has those of the nearest node above that has cases.
  std::string predict(const std::vector<std::string>& row, double weight, double& confidence,
                      std::vector<double>& shares) const;
  /// The class values by code; the first one is the unknown value. None before a build.
  std::vector<std::string> class_values() const;

  /// A class and how sure the model is of it: its share at the leaf, or in the distribution of a
  /// case with unknown values; of an ensemble its share of the votes.
  struct prediction {
    code_t class_code;
    double confidence;
  };
  /// Classifies n cases by their codes of every attribute, as column_view::code_of() gives them:
  /// case after case, n x schema_view::n_attributes() codes. What is at ignored attributes is not
  /// looked at. A thousand or more go the way of cell_predictor, on the workers; fewer one by one
  /// on the caller's thread. Throws before a build, for other codes and for unknown categories.
  std::vector<prediction> predict_codes(const std::vector<code_t>& codes, unsigned long n) const;
  /// The same; `shares` receives those of the classes, case after case, one a class code.
  std::vector<prediction> predict_codes(const std::vector<code_t>& codes, unsigned long n,
                                        std::vector<double>& shares) const;
  /// The same; `plain` receives the shares as they were before calibration.
  std::vector<prediction> predict_codes(const std::vector<code_t>& codes, unsigned long n,
                                        std::vector<double>& shares,
                                        std::vector<double>& plain) const;

  /// Error of the trees of an ensemble on the cases they were not grown on: each training case is
  /// put to the vote of the trees that did not draw it (Breiman 1996). `t` is the table the model
  /// was built on. @return a fraction; not-a-number for a single tree and for a loaded model.
  /// Throws std::runtime_error without a table or before a build, as get_importance() does.
  double get_oob_error(table* t) const;
  /// The same of the first tree, of the first two and so on; none where the draws are not known.
  std::vector<double> get_oob_errors(table* t) const;
  /// What those trees say of each training case that has any, in the order of the cases: the
  /// material of figures, whose error is get_oob_error(). No rows where that is not-a-number.
  /// Memory grows with the cases times the classes.
  judged_rows get_oob_rows(table* t) const;
  /// Finds the draws of an ensemble that was loaded: after set_seed() with the seed of the run that
  /// built it, they follow from its rows, if that run grew it first, on all rows of `t`.
  /// @return false, changing nothing, where they were others.
  bool recall_draws(table* t);
  /// Whether it is known which cases each tree of an ensemble was grown on.
  bool has_draws() const;
  /// What the trees owe to each usable attribute, by descending gain, then by attribute. Without
  /// the table of the build the permutation is not-a-number.
  std::vector<attribute_importance> get_importance(table* t) const;
  std::vector<attribute_importance> get_importance() const;

  /// What the errors of the model as built cost: the pairs that do not cost 1; null where nothing
  /// was said of costs.
  std::unique_ptr<std::vector<class_cost>> get_costs() const;
  /// Whether costs decide on its classes, and whether the shares of its leaves lean on prior
  /// shares: these, by class code, else none.
  bool decides_by_costs() const;
  std::vector<double> get_prior() const;
  /// The class of shares of the classes, by code, as the model decides.
  code_t decide(const std::vector<double>& shares) const;

  // Reading the model. The views are valid until it is built, pruned or set to other trees. What
  // is not there without trees throws std::runtime_error.

  std::string get_name() const;
  /// Whether it was grown as bagged trees, as a forest or by boosting, the last of which grows all
  /// trees on all cases; and whether its trees answer together: an ensemble of one tree answers as
  /// that tree does.
  bool is_ensemble() const;
  bool is_boosted() const;
  bool votes() const;
  /// How they do that, and the votes of tree i; of one that is not boosted one.
  combination get_combination() const;
  double get_votes(unsigned long i) const;
  unsigned long get_no_trees() const;
  /// The root of tree i. Throws std::runtime_error for i >= get_no_trees().
  tree_node get_tree(unsigned long i) const;
  /// What it was trained with, as a label and a text each.
  std::vector<std::pair<std::string, std::string>> get_settings() const;
  /// The columns and values of the training table; no rows.
  schema_view get_schema() const;
  /// The attributes that some tree tests, ascending.
  std::vector<unsigned long> get_tested() const;
  /// Of the names and the values in documents: "UTF-8" if all of them are, else "ISO-8859-1".
  std::string get_encoding() const;

  /// Seconds of the last build(), prune() or feature_selection().
  double get_elapsed() const;
  /// Nodes, leaves and levels of nodes; sum of the leaves' levels below the root. Of an ensemble
  /// the sum, the sum, the largest and the mean.
  unsigned long size() const;
  unsigned long leaves() const;
  unsigned long depth() const;
  double epl() const;
  /// Number of attributes tested; without trees, of those that a search found.
  unsigned long nfeatures() const;
  /// Numbers of the usable attributes, separated by ",".
  std::string attributes(table* t) const;
  /// What the last search for attributes did; as text a line each, empty before any.
  feature_search get_search() const;
  std::string get_as_logs() const;

  // Renderings; docs/formats.md describes them. Each throws std::runtime_error before a build.

  /// Indented text. Leaves the stream in fixed notation with one decimal.
  void toTEXT(std::ostream& out) const;
  /// A graph for Graphviz. Numbers are written in the format that the stream has.
  void toDOT(std::ostream& out) const;
  /// PMML 2.0 with the training confusion matrix and that of a test (may be null). Begins with the
  /// format that the stream has and leaves it in fixed notation with three decimals.
  void toXML(std::ostream& out, const conf_matrix* test) const;
  /// PMML 4.4. Throws std::runtime_error for a name or value that XML cannot hold. Does not use
  /// the format of the stream, nor does toJSON().
  void toPMML(std::ostream& out) const;
  /// A JSON document with all that scoring rows needs.
  void toJSON(std::ostream& out) const;

  /// Bytes of the model's user that are saved behind it, and read again; at most 256 MiB. A build
  /// keeps them. Programs keep there how the files that the model is for are read.
  void set_appendix(const std::string& bytes);
  std::string get_appendix() const;

  /// Saves the model in the binary form of models, compressed: parameters, trees, the confusion
  /// matrix of training and the schema of the training table, none of its rows; and its appendix.
  /// Files and errors as table::toBinary() has them.
  void toBinary(const std::string& file) const;
  /// Loads what toBinary() saved, compressed or not; null for a file that holds no model. The
  /// caller deletes it. It tests, scores and renders as the saved one; to prune it anew by a
  /// strategy that needs training cases is an error. Errors as table::fromBinary().
  [[nodiscard]] static dtree* fromBinary(const std::string& file);
  /// The same bytes in memory, not compressed; errors name no file.
  std::string to_bytes() const;
  [[nodiscard]] static dtree* from_bytes(const std::string& bytes);

  /// For the library's own use.
  const impls::dtree* get_impl() const { return impl_.get(); }

 private:
  std::unique_ptr<impls::dtree> impl_;
};

}  // namespace orvik
