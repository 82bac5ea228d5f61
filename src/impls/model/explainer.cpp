#include "impls/model/explainer.h"

#include <algorithm>
#include <optional>
#include <stdexcept>

#include "zel/util/blocks.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

namespace {

constexpr char k_nothing_to_explain[] = "the model has no trees";
constexpr std::size_t k_explained_at_once = 8 * shapley_tree::k_lanes;

const table& schema_to_explain(const dtree& model) {
  if (model.n_trees() == 0) throw std::runtime_error(k_nothing_to_explain);
  return *model.get_training_table();
}

/// As dtree::predict_distribution() takes them.
empty_leaves empty_leaves_of(const dtree& model) {
  const ensemble& trees = model.trees();
  return model.votes() && trees.answer() == combination::shares && !trees.decides().smooths()
             ? empty_leaves::as_class
             : empty_leaves::as_known;
}

}  // namespace

explainer::explainer(const dtree& model) : model_(model), table_(schema_to_explain(model)) {
  flat_tree::require_narrow(table_);
  take_trees();
  std::vector<bool> tested(table_.n_attributes());
  for (const shapley_tree& tree : trees_) tree.add_tested(tested);
  for (unsigned long a = 0; a < tested.size(); ++a) {
    place_of_.push_back(static_cast<std::uint32_t>(attributes_.size()));
    if (tested[a]) attributes_.push_back(a);
  }
  shares_of(std::vector<code_t>(tested.size(), k_unknown), base_);
}

const char* explainer::share_name() const {
  if (model_.decides().calibrates()) return "plain_share";
  const bool votes = model_.votes() && model_.trees().answer() == combination::votes;
  return votes ? "mean_share" : "share";
}

void explainer::shares_of(const std::vector<code_t>& codes, std::vector<double>& shares) const {
  std::vector<double> calibrated;
  model_.predict_distribution(codes, calibrated, &shares);
}

void explainer::take_trees() {
  const std::vector<voter> voters = model_.trees().voters();
  std::vector<std::optional<shapley_tree>> made(voters.size());
  const empty_leaves how = empty_leaves_of(model_);
  const prior_shares prior = model_.trees().decides().prior();
  const zel::util::run_context& run = model_.run();
  run.with_workers([&] {
    run.for_each_index(voters.size(),
                       [&](unsigned long i) { made[i].emplace(table_, voters[i], how, prior); });
  });
  double all_votes = 0;
  for (const voter& each : voters) all_votes += each.votes;
  for (std::size_t i = 0; i < made.size(); ++i) {
    trees_.push_back(std::move(*made[i]));
    amounts_.push_back(voters[i].votes / all_votes);
  }
}

std::vector<std::vector<code_t>> explainer::limits() const {
  std::vector<std::vector<code_t>> by_attribute(place_of_.size());
  for (const shapley_tree& tree : trees_) tree.add_limits(by_attribute);
  for (std::vector<code_t>& codes : by_attribute) {
    std::ranges::sort(codes);
    codes.erase(std::unique(codes.begin(), codes.end()), codes.end());
  }
  return by_attribute;
}

explainer::workspace explainer::new_workspace() const { return workspace(*this); }

void explainer::explain(const case_block& cases, workspace& work, std::span<double> parts) const {
  constexpr std::size_t k_lanes = shapley_tree::k_lanes;
  const std::size_t n = n_parts() == 0 ? 0 : parts.size() / n_parts(), n_classes = base_.size();
  for (std::size_t first = 0; first < n; first += k_lanes) {
    const std::size_t some = std::min(k_lanes, n - first);
    for (const unsigned long a : attributes_) {
      for (std::size_t i = 0; i < k_lanes; ++i) {
        work.codes_[a][i] = i < some ? cases.of_case(first + i)[a] : 0;
      }
    }
    std::ranges::fill(work.parts_, shapley_tree::lanes{});
    for (std::size_t t = 0; t < trees_.size(); ++t) {
      trees_[t].add_parts(work.codes_, amounts_[t], place_of_, work.walk_, work.parts_);
    }
    for (std::size_t k = 0; k < n_parts(); ++k) {
      const std::size_t to = k % n_classes * attributes_.size() + k / n_classes;
      for (std::size_t i = 0; i < some; ++i) {
        parts[(first + i) * n_parts() + to] = work.parts_[k][i];
      }
    }
  }
}

void explainer::explain(const case_block& cases, std::span<double> parts) const {
  const zel::util::blocks pieces(cases.size(), k_explained_at_once);
  const zel::util::run_context& run = model_.run();
  std::vector<std::optional<workspace>> workspaces(run.n_slots());
  const auto explain_some = [&](unsigned long piece) {
    std::optional<workspace>& own = workspaces[run.slot()];
    if (!own) own.emplace(new_workspace());
    const auto [first, some] = pieces[piece];
    explain({cases.codes.subspan(first * cases.n_attributes, some * cases.n_attributes),
             cases.n_attributes},
            *own, parts.subspan(first * n_parts(), some * n_parts()));
  };
  run.with_workers([&] { run.for_each_index(pieces.count(), explain_some); });
}

}  // namespace orvik::impls
