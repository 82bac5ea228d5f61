// Predicting rows in memory, block by block on all workers.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "impls/evaluation/flat_tree.h"
#include "impls/model/dtree.h"
#include "orvik/cells.h"

namespace orvik::impls {

/// A single tree is walked as it is: where no training case came to a leaf its shares are those of
/// a node above, which the flat form does not have.
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
  void codes_of(std::span<const cell_array> attributes, unsigned long first, unsigned long n,
                std::uint32_t* codes) const;

 private:
  class coder;

  void find_limits();
  // These ask before every tree whether the run is cancelled.
  void predict_block(const case_block& cases, std::span<double> shares,
                     const zel::util::run_context& run) const;
  void add_votes(const case_block& cases, std::span<double> shares,
                 const zel::util::run_context& run) const;
  void add_shares(const case_block& cases, std::span<double> shares,
                  const zel::util::run_context& run) const;
  void walk(const case_block& cases, std::span<double> shares) const;

  const dtree& model_;
  const table& table_;
  std::vector<flat_tree> trees_;
  std::vector<vote_t> votes_;  // by tree
  vote_t all_votes_ = 0;
  std::vector<std::unique_ptr<number_limits>> limits_;  // by attribute; null: looked up
};

}  // namespace orvik::impls
