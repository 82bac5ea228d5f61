// What a model says of rows that lie in memory.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "orvik/cells.h"
#include "orvik/dtree.h"
#include "orvik/export.h"
#include "orvik/run_context.h"

namespace orvik {

namespace impls {
class cell_predictor;
}

/// A model made ready for predicting: keep it where rows come in many calls.
/// Threads: any number may predict at a time.
class ORVIK_EXPORT cell_predictor {
 public:
  /// The model must outlive this, and not be built, pruned or set to other trees meanwhile. Throws
  /// std::runtime_error before a build.
  explicit cell_predictor(const dtree& model);
  ~cell_predictor();
  cell_predictor(const cell_predictor&) = delete;
  cell_predictor& operator=(const cell_predictor&) = delete;

  /// Writes for n rows what their class is decided by, the class codes of a row side by side: the
  /// shares of a tree, or of an ensemble the mean shares or the part of the votes; the class is
  /// what dtree::decide() says of them, without costs the first of the largest. `attributes` has
  /// the cells of every attribute of the model, in order. As in files a number that training did
  /// not have takes its place among those it had; any other value that it did not have counts as
  /// unknown, and `unseen`, which may be null, is told. On the workers of the model's context;
  /// memory does not grow with the rows. Throws std::runtime_error for cells of another number of
  /// attributes, for texts instead of numbers or the other way round, and for an infinite number.
  void predict(const std::vector<cell_array>& attributes, unsigned long n, double* shares,
               dtree::unseen_values* unseen) const;
  /// As predict() on the workers of `run`: cancelling that ends this call and no other one.
  void predict(const std::vector<cell_array>& attributes, unsigned long n, double* shares,
               dtree::unseen_values* unseen, const run_context& run) const;
  /// Writes for n rows the place of their class in `order`, which has codes of classes: of the
  /// largest of what predict() would write for these the first, or by costs that decide what
  /// dtree::decide() says; 0 where that is not in `order`. Reads, tells and throws as predict()
  /// does, also for an empty `order` and for a code that is none of a class. The shares of all rows
  /// are never held.
  void choose(const std::vector<cell_array>& attributes, unsigned long n,
              const std::vector<code_t>& order, std::uint32_t* places, dtree::unseen_values* unseen,
              const run_context& run) const;
  /// Writes the codes of rows `first` to `first` + n - 1, those of a row side by side. They go the
  /// way through the trees that the cells do; a number may have the code of a near one. Throws as
  /// predict() does.
  void codes_of(const std::vector<cell_array>& attributes, unsigned long first, unsigned long n,
                std::uint32_t* codes) const;
  /// The same; the number of values of each attribute that counted as unknown is added to what
  /// `unseen` has of it.
  void codes_of(const std::vector<cell_array>& attributes, unsigned long first, unsigned long n,
                std::uint32_t* codes, std::vector<unsigned long>& unseen) const;
  /// As dtree::predict_codes(), on the workers of the model's context.
  std::vector<dtree::prediction> predict_codes(const std::vector<code_t>& codes,
                                               unsigned long n) const;
  std::vector<dtree::prediction> predict_codes(const std::vector<code_t>& codes, unsigned long n,
                                               std::vector<double>& shares,
                                               std::vector<double>& plain) const;

 private:
  std::unique_ptr<const impls::cell_predictor> impl_;
};

}  // namespace orvik
