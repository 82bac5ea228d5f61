// How a model comes from the shares of the classes to a class: what belongs to the model beside its
// trees, and is kept in its file.
//
// The plain decision is the class of the largest share. Others are made of independent parts: what
// errors cost, and shares of leaves that lean on those of the training cases. The trees, the votes
// and the shares are the same under each: it is asked where they have been summed up.
#pragma once

#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "impls/decision/calibration.h"
#include "impls/decision/conformal.h"
#include "impls/decision/cost_matrix.h"
#include "impls/types.h"
#include "zel/inpout/binstream.h"

namespace orvik::impls {

/// Shares that those of a leaf lean on, by class code; empty: they lean on none. A leaf on which n
/// cases came, of them n f of a class whose prior share is p, has (n f + p) / (n + 1) of it.
using prior_shares = std::span<const double>;

/// The shares that leaves give.
struct leaf_rule {
  /// Whether those of a leaf that no case came to are of the nearest node above to which some came,
  /// instead of all of its class.
  bool known = false;
  prior_shares prior;
};

/// A value, cheap to copy. Threads: many readers or one writer.
class decision {
 public:
  /// Whether the shares stay as they are, and the largest decides.
  bool is_plain() const { return costs() == nullptr && !smooths_ && !calibrates(); }
  /// Whether there is nothing to be kept of it. Costs that only weighed the training cases are kept
  /// with a plain decision: errors are priced by them; so is what sets need.
  bool is_empty() const { return !costs_ && !smooths_ && !learned_; }

  /// The costs that decide; null: the largest share does.
  const cost_matrix* costs() const { return use_ == cost_use::decides ? costs_.get() : nullptr; }
  /// What errors cost, whatever it is used for; null: nothing was said.
  const cost_matrix* known_costs() const { return costs_.get(); }
  void set_costs(std::shared_ptr<const cost_matrix> costs, cost_use use) {
    costs_ = std::move(costs);
    use_ = use;
  }
  /// Whether the shares of leaves lean on prior ones, which are known once the model is built.
  bool smooths() const { return smooths_; }
  void set_smoothing(bool smooths) { smooths_ = smooths; }
  prior_shares prior() const { return prior_ ? prior_shares(*prior_) : prior_shares(); }
  void set_prior(std::vector<double> shares);

  /// What was learned on rows that the trees were not grown on: maps of shares, and what sets need.
  const calibrator& maps() const { return learned_ ? learned_->maps : k_no_maps; }
  const own_shares& seen() const { return learned_ ? learned_->seen : k_none_seen; }
  bool calibrates() const { return maps().changes(); }
  void set_calibration(calibrator maps, own_shares seen);

  /// What leaves give to it: those of a tree that answers `alone`, or of one of many.
  leaf_rule leaves(bool alone) const { return {smooths_ || (alone && !is_plain()), prior()}; }

  /// The same without what is learned from cases.
  decision as_asked() const;

  /// Makes of shares by class code, which sum up to 1, those that are answered. It is called once
  /// for each case, before decide() and before shares are given out.
  void adjust(std::span<double> shares) const {
    if (learned_) learned_->maps.apply(shares);
  }
  /// The class of adjusted shares, or of weights in proportion to them, by code.
  code_t decide(std::span<const double> shares) const;
  /// That of a leaf by the weights of its cases, of which there are some.
  code_t decide_leaf(std::span<const double> by_code) const;

  /// Whether its parts are of a table with so many class codes.
  bool fits(unsigned long n_class_codes) const;
  /// A set of flags for its parts, then these.
  void bin_out(zel::inpout::obinstream& out) const;
  /// Throws std::runtime_error for parts of a later version and for what is damaged.
  static decision bin_in(zel::inpout::ibinstream& in);

 private:
  std::shared_ptr<const cost_matrix> costs_;
  cost_use use_ = cost_use::decides;
  bool smooths_ = false;
  std::shared_ptr<const std::vector<double>> prior_;
  struct calibrated {
    calibrator maps;
    own_shares seen;
  };
  std::shared_ptr<const calibrated> learned_;
  static const calibrator k_no_maps;
  static const own_shares k_none_seen;
};

}  // namespace orvik::impls
