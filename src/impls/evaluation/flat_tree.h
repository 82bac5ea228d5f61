// A tree as arrays, for predicting many cases.
//
// The nodes of the container lie all over the memory; here every test is one comparison of a code
// with a limit, 16 bytes with the numbers of what follows, so that a step down is a few
// instructions without a jump that could be guessed wrong. Tests with a branch for every value are
// searched in halves. Cases come as rows of 32-bit codes, one an attribute. All cases of a block go
// down one step in turn: while one waits for memory the others go on. A case whose value is unknown
// at a test stops there; afterwards the parts of such cases go on down every branch, side by side
// like the cases. They are kept in the order in which a walk comes to them, the first branches
// first: so are their shares added, whose last bit hangs on it.
// Threads: many readers.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <span>
#include <vector>

#include "impls/evaluation/votes.h"
#include "impls/trees/decision_tree.h"
#include "impls/trees/distribution.h"

namespace orvik::impls {

/// The codes of some cases: case i, attribute a at codes[i * n_attributes + a].
struct case_block {
  std::span<const std::uint32_t> codes;
  std::size_t n_attributes;
  std::span<const std::uint32_t> of_case(std::size_t i) const {
    return codes.subspan(i * n_attributes, n_attributes);
  }
  std::size_t size() const { return n_attributes == 0 ? 0 : codes.size() / n_attributes; }
};

class flat_tree {
 public:
  /// Throws std::runtime_error, naming the column, unless all codes of the table fit in 32 bits.
  static void require_narrow(const table& t);

  /// Leaves that no case came to may be missing. add_shares() goes by the rule, add_probabilities()
  /// by its prior; predict() does not.
  flat_tree(const table& t, const voter& asked, const leaf_rule& rule = {});

  /// Adds the codes that tests of each attribute compare with.
  void add_limits(std::vector<std::vector<code_t>>& by_attribute) const;

  /// Numbers of cases of a block, in ascending order.
  using case_numbers = std::span<const std::uint32_t>;

  /// Calls take(i, prediction, depth), what decision_tree::predict_class gives for a weight of 1,
  /// for the cases `which` of the block. Does not allocate once the thread's memory has grown.
  template <class Take>
  void predict(const case_block& cases, case_numbers which, const Take& take) const {
    const auto arrive = [&](std::uint32_t i, const leaf& reached) {
      take(i, {reached.predicted, reached.confidence}, reached.depth);
    };
    follow(cases, which, 1.0, arrive, [&](std::uint32_t i, std::span<const part> parts) {
      const std::span<double> shares = no_shares();
      const double depth = add_up(parts, shares);
      const code_t best = distribution(shares).decide();
      take(i, {best, shares[best]}, depth);
    });
  }

  /// Spreads `amount` of every case over the classes: sums by case of the block, then by class
  /// code. Calls reached(i, depth) for a weight of 1. The steps and their order are those of
  /// decision_tree::add_shares, or by a rule of known shares of add_probabilities.
  template <class Reached>
  void add_shares(const case_block& cases, case_numbers which, double amount,
                  std::span<double> sums, const Reached& reached) const {
    const auto arrive = [&](std::uint32_t i, const leaf& end) {
      distribute_by_rule(end, amount, own(sums, i));
      reached(i, end.depth * amount / amount);
    };
    follow(cases, which, amount, arrive, [&](std::uint32_t i, std::span<const part> parts) {
      double depths = 0;
      for (const part& p : parts) {
        distribute_by_rule(leaf_at(p.at), p.weight, own(sums, i));
        depths += leaf_at(p.at).depth * p.weight;
      }
      reached(i, depths / amount);
    });
  }
  /// The same as by decision_tree::add_probabilities.
  void add_probabilities(const case_block& cases, case_numbers which, double amount,
                         std::span<double> sums) const {
    const auto arrive = [&](std::uint32_t i, const leaf& end) {
      distribute_known(end, amount, own(sums, i));
    };
    follow(cases, which, amount, arrive, [&](std::uint32_t i, std::span<const part> parts) {
      for (const part& p : parts) distribute_known(leaf_at(p.at), p.weight, own(sums, i));
    });
  }

 private:
  /// What a step leads to: the number of a test, or with a mark that of a leaf, or of a test that
  /// the case has no value for.
  using place = std::uint32_t;
  static constexpr place k_leaf = 1U << 31;
  static constexpr place k_stopped = 1U << 30;
  static constexpr place k_marks = k_leaf | k_stopped;

  struct test {
    place below[2];       // for a code up to the limit, and above it
    std::uint32_t limit;  // a code
    std::uint32_t attribute;
  };
  struct leaf {
    std::uint32_t predicted;
    std::uint32_t depth;
    double confidence;
    double weight;              // of its training cases; 1 where none came
    std::uint32_t first_share;  // in shares_; where no case came a number in known_
    std::uint32_t n_shares;     // 0: all is of the predicted class
  };
  static constexpr std::uint32_t k_none = UINT32_MAX;
  /// What is likely where no case came: the class weights of the nearest node above with some.
  struct known_shares {
    double weight;
    std::uint32_t first_share, n_shares;
  };
  /// Where a case without a value stops: what it goes down, in proportion. Of two branches all is
  /// here, in half a line of the cache; more of them lie elsewhere.
  struct split {
    double weight;    // of its training cases
    double below[2];  // weights of two branches; k_many first where there are not two
    place child[2];   // of two branches; else the first one in branches_, and how many there are
    bool has_two() const { return below[0] >= 0; }
  };
  static constexpr double k_many = -1;
  struct branch {
    place child;
    double weight;
  };
  /// The training weight of a class at a leaf of several.
  struct share {
    std::uint32_t class_code;
    double weight;
  };
  template <class Place>
  class builder;

  /// One step of a case at a test.
  place below(place at, const std::uint32_t* codes) const {
    const test& t = tests_[at];
    const std::uint32_t code = codes[t.attribute];
    const place next = t.below[code > t.limit];
    return code == k_unknown ? at | k_stopped : next;
  }

  struct traveller {
    std::uint32_t number;  // of the case
    place at;
  };
  /// Memory of the thread for n cases on their way, all at the root; their numbers are to be set.
  std::vector<traveller>& at_root(std::size_t n) const;
  /// Where the cases, of numbers below n, end, by number: a leaf, or a test that a case stopped at.
  /// Valid until the thread's next descent.
  std::span<const place> descend(const case_block& cases, std::span<traveller> on_way,
                                 std::size_t n) const;

  /// A part of a case: all of it, or what went down a branch.
  struct part {
    place at;
    std::uint32_t number;  // of the case
    double weight;
  };
  /// More cases at once would leave the cache.
  static constexpr std::size_t k_spread_at_once = 64;

  /// Calls arrive(i, leaf) for the cases that come to a leaf, and then parted(i, parts) for the
  /// others, with what of `amount` comes to each leaf.
  template <class Arrive, class Parted>
  void follow(const case_block& cases, case_numbers which, double amount, const Arrive& arrive,
              const Parted& parted) const {
    assert(std::ranges::is_sorted(which));
    std::vector<traveller>& on_way = at_root(which.size());
    auto next = on_way.begin();
    for (const std::uint32_t i : which) (next++)->number = i;
    const std::size_t n = which.empty() ? 0 : which.back() + std::size_t{1};
    const std::span<const place> ends = descend(cases, on_way, n);
    std::vector<part>& stops = no_stops();
    for (const std::uint32_t i : which) {
      if ((ends[i] & k_leaf) != 0) {
        arrive(i, leaf_at(ends[i]));
      } else {
        stops.push_back({ends[i], i, amount});
      }
    }
    for (std::size_t at = 0; at < stops.size(); at += k_spread_at_once) {
      const std::size_t size = std::min(k_spread_at_once, stops.size() - at);
      const auto some = std::span<const part>(stops).subspan(at, size);
      auto first = spread(cases, some).begin();
      for (const part& whole : some) {
        const auto begin = first;
        while (first->number == whole.number) ++first;
        parted(whole.number, std::span<const part>(begin, first));
      }
    }
  }
  /// Memory of the thread.
  static std::vector<part>& no_stops();
  /// What of cases that stopped comes to leaves, case by case, the first branches first; behind it
  /// a part of no case. Memory of the thread.
  const std::vector<part>& spread(const case_block& cases, std::span<const part> stopped) const;
  void open_all(const std::vector<part>& all, std::vector<part>& opened,
                std::vector<std::uint32_t>& on_way) const;
  std::size_t step_down(const case_block& cases, std::vector<part>& all,
                        std::vector<std::uint32_t>& on_way) const;
  void finish(const std::uint32_t* codes, const part& stopped, std::vector<part>& ends) const;
  template <class Give>
  void for_each_branch(const part& stopped, const Give& give) const;

  const leaf& leaf_at(place end) const { return leaves_[end & ~k_marks]; }
  std::span<double> own(std::span<double> sums, std::size_t i) const {
    return sums.subspan(i * n_class_codes_, n_class_codes_);
  }
  std::span<double> no_shares() const;
  /// Adds what the parts bring. @return depth x amount.
  double add_up(std::span<const part> parts, std::span<double> sums) const;
  void distribute(const leaf& reached, double weight, std::span<double> sums) const;
  void distribute_by_rule(const leaf& reached, double weight, std::span<double> sums) const {
    known_only_ ? distribute_known(reached, weight, sums) : distribute(reached, weight, sums);
  }
  void distribute_known(const leaf& reached, double weight, std::span<double> sums) const;
  void add_parts(const known_shares& from, double weight, std::span<double> sums) const;
  void add_leaning(const known_shares& from, double weight, std::span<double> sums) const;

  std::size_t n_class_codes_;
  bool known_only_;            // by the rule
  std::vector<double> prior_;  // that the shares of leaves lean on; empty: on none
  place root_ = 0;
  std::vector<test> tests_;
  std::vector<leaf> leaves_;
  // What only cases with unknown values need:
  std::vector<split> splits_;  // by test; of searches the first test only
  std::vector<branch> branches_;
  std::vector<share> shares_;
  std::vector<known_shares> known_;
};

/// The numbers of all n cases of a block; memory of the thread, valid until its next call.
flat_tree::case_numbers all_cases(std::size_t n);

/// Copies the codes of some rows of a table.
void gather_codes(const table& t, std::span<const case_list::value_type> cases,
                  std::vector<std::uint32_t>& codes);

}  // namespace orvik::impls
