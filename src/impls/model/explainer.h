// The contributions of the attributes to the shares that a model gives the classes: of a tree those
// of evaluation/shapley.h, of an ensemble their mean over the trees, weighed by the votes.
//
// What is explained is what dtree::predict_distribution() gives, before calibration: where trees
// answer by votes, the mean of their shares, not the part of the votes. Neither a vote nor what a
// map makes of a mean is a sum over leaves.
#pragma once

#include <memory>
#include <ostream>
#include <span>
#include <string>
#include <vector>

#include "impls/evaluation/flat_tree.h"
#include "impls/evaluation/row_coder.h"
#include "impls/evaluation/shapley.h"
#include "impls/model/dtree.h"
#include "orvik/reason_form.h"

namespace orvik::impls {

/// Threads: many readers.
class explainer {
 public:
  class workspace;

  /// `model` must outlive this. Throws std::runtime_error without trees.
  explicit explainer(const dtree& model);

  /// Those that some tree tests, ascending; all others contribute nothing.
  const std::vector<unsigned long>& attributes() const { return attributes_; }
  /// The shares where every attribute is unknown, by class code.
  const std::vector<double>& base() const { return base_; }
  /// Their name in a table, see orvik/reasons.h.
  const char* share_name() const;
  /// The shares that are explained, by class code.
  void shares_of(const std::vector<code_t>& codes, std::vector<double>& shares) const;
  /// How many numbers there are for a case.
  std::size_t n_parts() const { return attributes_.size() * base_.size(); }
  workspace new_workspace() const;
  /// The contributions: by case, by class code, by place in attributes().
  void explain(const case_block& cases, workspace& work, std::span<double> parts) const;
  /// The same on the workers of the model's context.
  void explain(const case_block& cases, std::span<double> parts) const;

  /// See orvik/reasons.h.
  void write(zel::inpout::stream& in, std::ostream& out, unsigned long& rows, char separator,
             const reason_form& form, unseen_values* unseen) const;

 private:
  void take_trees();
  std::vector<std::vector<code_t>> limits() const;

  const dtree& model_;
  const table& table_;
  std::vector<shapley_tree> trees_;
  std::vector<double> amounts_;  // by tree: its part of the votes
  std::vector<unsigned long> attributes_;
  std::vector<std::uint32_t> place_of_;  // by attribute: in attributes_
  std::vector<double> base_;
};

/// Of one thread.
class explainer::workspace {
 private:
  friend class explainer;
  explicit workspace(const explainer& of)
      : walk_(of.place_of_.size()), codes_(of.place_of_.size()), parts_(of.n_parts()) {}

  shapley_tree::workspace walk_;
  std::vector<shapley_tree::lane_codes> codes_;  // by attribute
  std::vector<shapley_tree::lanes> parts_;       // by place of the attribute, then class code
};

}  // namespace orvik::impls
