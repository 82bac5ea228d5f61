// Predicting rows in memory, block by block on all workers.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "impls/evaluation/batch_predictor.h"
#include "impls/model/dtree.h"
#include "orvik/cells.h"

namespace orvik::impls {

/// Throws std::runtime_error unless `codes`, case after case, are such that n cases with them find
/// their way through trees on a table with this schema.
void require_codes(const table& schema, std::span<const code_t> codes, unsigned long n);

/// Threads: many readers.
class cell_predictor {
 public:
  using unseen_values = std::vector<std::pair<std::string, unsigned long>>;

  /// `model`, which has trees, must outlive this.
  explicit cell_predictor(const dtree& model);
  ~cell_predictor();

  const zel::util::run_context& run() const { return model_.run(); }
  /// See orvik/cell_predictor.h.
  void predict(std::span<const cell_array> attributes, unsigned long n, double* shares,
               unseen_values* unseen, const zel::util::run_context& run) const;
  void choose(std::span<const cell_array> attributes, unsigned long n,
              std::span<const code_t> order, std::uint32_t* places, unseen_values* unseen,
              const zel::util::run_context& run) const;
  void codes_of(std::span<const cell_array> attributes, unsigned long first, unsigned long n,
                std::uint32_t* codes, std::span<unsigned long> unseen) const;
  /// Cases by their codes, as require_codes() has them. `shares` may be empty, else has room for a
  /// number a class code and case; so has `plain`, those before calibration, where calibrates().
  void predict_codes(std::span<const code_t> codes, std::span<outcome> outcomes,
                     std::span<double> shares, std::span<double> plain) const;
  bool calibrates() const { return predictor_.calibrates(); }
  unsigned long n_class_codes() const { return table_.n_class_codes(); }

 private:
  class coder;

  unsigned long at_once(unsigned long n, const zel::util::run_context& run) const;
  template <class PredictBlock>
  void for_each_block(unsigned long n, const zel::util::run_context& run,
                      const PredictBlock& predict_block) const;
  template <class Take>
  void code_blocks(std::span<const cell_array> attributes, unsigned long n, unseen_values* unseen,
                   const zel::util::run_context& run, const Take& take) const;

  const dtree& model_;
  const table& table_;
  batch_predictor predictor_;
  std::vector<std::unique_ptr<number_limits>> limits_;  // by attribute; null: looked up
};

}  // namespace orvik::impls
