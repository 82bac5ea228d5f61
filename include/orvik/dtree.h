// A classification tree: training, pruning, testing, text.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "orvik/conf_matrix.h"
#include "orvik/enums.h"
#include "orvik/importance.h"
#include "orvik/table.h"

namespace orvik {

namespace impls {
class dtree;
}

class dtree {
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
  /// A copy of the model, or of its name and parameters only.
  [[nodiscard]] dtree* clone(bool parameters_only) const;

  // Parameters; a value out of range is ignored.
  void set_pruning_strategy(_PruningStrategy strategy);
  void set_split_type(_SplitType type);
  /// `delta` counts only for the acceptable subset.
  void set_fs(_FeatureSelection method, double delta);
  /// Throws std::runtime_error when neither flag is set and n is not 1, or one is and n is 0.
  void set_forest(bool forest, bool bagging, unsigned long n);
  /// Least weight of two branches of a split, above 0; by default 2.
  void set_min_obj(double m);
  /// Levels of splits; by default without limit.
  void set_max_depth(unsigned long depth);
  /// Of error-based pruning, in (0, 1]; by default 0.25.
  void set_conf_level(double level);

  /// Grows the model on the cases (null: all rows) and prunes it with its strategy. The table
  /// and the cases are not needed afterwards.
  void build(table* t, table::subset* cases);
  /// Prunes the model as built; `t` is the table it was built on. `cases` (may be null) are the
  /// pruning cases of the strategies that need them.
  void prune(table* t, table::subset* cases);

  /// Null before a build, or before set_training_cm().
  [[nodiscard]] table* get_training_table() const;
  [[nodiscard]] conf_matrix* get_training_cm() const;
  /// Tests the model on `cases` and keeps the matrix.
  void set_training_cm(table* t, table::subset* cases);
  /// Predictions for the cases against their classes; `average_depth` (may be null) receives the
  /// mean depth of their leaves.
  [[nodiscard]] conf_matrix* test(table* t, table::subset* cases, double* average_depth) const;

  /// Error of the trees of an ensemble on the cases they were not grown on: each training case is
  /// put to the vote of the trees that did not draw it (Breiman 1996). `t` is the table the model
  /// was built on. @return a fraction; not-a-number for a single tree.
  /// Throws std::runtime_error without a table or before a build, as get_importance() does.
  double get_oob_error(table* t) const;
  /// What the trees owe to each usable attribute, by descending gain, then by attribute.
  std::vector<attribute_importance> get_importance(table* t) const;

  /// Seconds of the last build(), or of the last prune().
  double get_elapsed() const;
  /// Nodes, leaves and levels; sum of the leaves' levels below the root.
  unsigned long size() const;
  unsigned long leaves() const;
  unsigned long depth() const;
  double epl() const;
  /// Number of attributes tested.
  unsigned long nfeatures() const;
  /// Numbers of the usable attributes, separated by ",".
  std::string attributes(table* t) const;

  /// Indented text. Leaves the stream in fixed notation with one decimal.
  void toTEXT(std::ostream& out) const;

 private:
  std::unique_ptr<impls::dtree> impl_;
};

}  // namespace orvik
