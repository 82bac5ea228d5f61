// Why a model predicts what it does: what each attribute of a case contributes to the shares of the
// classes.
//
// The contributions are Shapley values (Shapley 1953) of the game that Lundberg et al. give for
// trees ("From local explanations to global understanding with explainable AI for trees", Nature
// Machine Intelligence 2, 2020), their path-dependent values:
//
//   contribution of a = sum over the sets S of the other attributes of
//                       |S|! (n - |S| - 1)! / n!  (share with S and a known - share with S known)
//
// where a share with S known is what this model predicts of the case with the values of all other
// attributes unknown. So many branches a test, unknown values and case weights need no rule of
// their own, and an attribute whose value is unknown contributes 0. For every class
//
//   base + sum of the contributions = share
//
// up to rounding, the base the share with nothing known. The share is the one that
// dtree::predict_codes() gives: of a tree that of the leaves, of an ensemble the mean over its
// trees, weighed by their votes: not the part of the votes, where trees answer by these, and the
// shares before calibration, as neither votes nor what a map makes of a share has such parts.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "orvik/codes.h"
#include "orvik/dtree.h"
#include "orvik/export.h"
#include "orvik/reason_form.h"

namespace orvik {

namespace impls {
class explainer;
}

/// A model made ready for explaining: keep it where cases come in many calls. It takes about 60
/// bytes a node of the model; a case takes time by leaves x attributes on the way to each, twice.
/// Threads: any number may explain at a time.
class ORVIK_EXPORT explainer {
 public:
  /// The model must outlive this, and not be built, pruned or set to other trees meanwhile. Throws
  /// std::runtime_error before a build.
  explicit explainer(const dtree& model);
  ~explainer();
  explainer(const explainer&) = delete;
  explainer& operator=(const explainer&) = delete;

  /// The attributes that some tree tests, ascending: all others contribute 0.
  const std::vector<unsigned long>& attributes() const;
  /// The shares of the classes with nothing known, by class code.
  const std::vector<double>& base() const;

  /// For n cases, given as to dtree::predict_codes(): `parts` receives the contributions case after
  /// case, of each a class code after the other, of each the attributes of attributes(). On the
  /// workers of the model's context; the numbers do not hang on how many there are.
  /// Throws std::runtime_error for another number of codes and for a category that the model does
  /// not know.
  void explain(const std::vector<code_t>& codes, unsigned long n, std::vector<double>& parts) const;

  /// Writes a line of names, and for every row of a file, in order, a line a class: number of the
  /// row, class, base, contributions, share; the last column is named "mean_share" where trees
  /// answer by votes, and "plain_share" before calibration. Numbers have all their digits. `rows`
  /// receives their number. Reads and throws as dtree::score() does; memory stays small.
  void write(const std::string& file, char sep, std::ostream& out, unsigned long& rows, char c,
             const reason_form& form = {}, dtree::unseen_values* unseen = nullptr) const;

 private:
  const dtree& model_;
  std::unique_ptr<const impls::explainer> impl_;
};

}  // namespace orvik
