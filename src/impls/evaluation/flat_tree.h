// A tree as arrays, for predicting many cases.
//
// The nodes of the container lie all over the memory; here every test is one comparison of a code
// with a limit, 16 bytes with the numbers of what follows, so that a step down is a few
// instructions without a jump that could be guessed wrong. Tests with a branch for every value are
// searched in halves. Cases come as rows of 32-bit codes, one an attribute. All cases of a block go
// down one step in turn: while one waits for memory the others go on. A case whose value is unknown
// at a test stops there and goes on down every branch.
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

  /// Leaves that no case came to may be missing. Only add_shares() goes by the rule.
  flat_tree(const table& t, const voter& asked, const leaf_rule& rule = {});

  /// Adds the codes that tests of each attribute compare with.
  void add_limits(std::vector<std::vector<code_t>>& by_attribute) const;

  /// Calls take(i, prediction, depth), what decision_tree::predict_class gives for a weight of 1,
  /// for cases 0 .. n - 1 of the block. Does not allocate once the thread's memory has grown.
  template <class Take>
  void predict(const case_block& cases, std::size_t n, const Take& take) const {
    std::vector<traveller>& on_way = at_root(n);
    for (std::uint32_t i = 0; i < n; ++i) on_way[i].number = i;
    const std::span<const place> ends = descend(cases, on_way, n);
    std::vector<stop>& stops = no_stops();
    for (std::uint32_t i = 0; i < n; ++i) arrive(i, ends[i], stops, take);
    predict_stopped(cases, stops, take);
  }
  /// The same for some cases, in ascending order; those that stop come after the others.
  template <class Take>
  void predict(const case_block& cases, std::span<const std::uint32_t> which,
               const Take& take) const {
    assert(std::ranges::is_sorted(which));
    std::vector<traveller>& on_way = at_root(which.size());
    for (std::size_t i = 0; i < which.size(); ++i) on_way[i].number = which[i];
    const std::size_t n = which.empty() ? 0 : which.back() + 1;  // also where no code is
    const std::span<const place> ends = descend(cases, on_way, n);
    std::vector<stop>& stops = no_stops();
    for (const std::uint32_t i : which) arrive(i, ends[i], stops, take);
    predict_stopped(cases, stops, take);
  }

  /// Spreads `amount` of every case of the block over the classes: sums by case, then by class
  /// code. Calls reached(i, depth) for a weight of 1. The steps and their order are those of
  /// decision_tree::add_shares.
  template <class Reached>
  void add_shares(const case_block& cases, std::span<const std::uint32_t> which, double amount,
                  std::span<double> sums, const Reached& reached) const {
    std::vector<traveller>& on_way = at_root(which.size());
    for (std::size_t i = 0; i < which.size(); ++i) on_way[i].number = which[i];
    const std::size_t n = which.empty() ? 0 : which.back() + 1;
    const std::span<const place> ends = descend(cases, on_way, n);
    const auto own = [&](std::uint32_t i) {
      return sums.subspan(i * n_class_codes_, n_class_codes_);
    };
    std::vector<stop>& stops = no_stops();
    for (const std::uint32_t i : which) {
      if ((ends[i] & k_leaf) == 0) {
        stops.push_back({i, ends[i]});
        continue;
      }
      const leaf& end = leaves_[ends[i] & ~k_marks];
      distribute(end, amount, own(i));
      reached(i, end.depth * amount / amount);
    }
    for_each_spread(cases, stops, amount, [&](std::uint32_t i, const parting& all, std::size_t k) {
      reached(i, add_up(all, k, cases.of_case(i).data(), own(i)) / amount);
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
    double weight;              // of its training cases, or those it leans on; 1 where none came
    std::uint32_t first_share;  // in shares_
    std::uint32_t n_shares;     // 0: all is of the predicted class
  };
  /// Where a case without a value stops: what it goes down, in proportion.
  struct split {
    double weight;               // of its training cases
    std::uint32_t first_branch;  // in branches_
    std::uint32_t n_branches;
  };
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

  place below(place at, std::uint32_t code) const {
    const test& t = tests_[at];
    const place next = t.below[code > t.limit];
    return code == k_unknown ? at | k_stopped : next;
  }

  struct traveller {
    std::uint32_t number;  // of the case
    place at;
  };
  struct part_on_way {
    std::uint32_t number;  // of the case
    place at;
    std::uint32_t part;  // its portion
  };
  std::vector<traveller>& at_root(std::size_t n) const;
  /// Where the cases, of numbers below n, end, by number: a leaf, or a test that a case stopped at.
  /// Valid until the thread's next descent.
  std::span<const place> descend(const case_block& cases, std::span<traveller> on_way,
                                 std::size_t n) const;
  template <class Traveller, class SetEnd>
  void step_down(const case_block& cases, std::span<Traveller> on_way, const SetEnd& set_end) const;

  /// A case at a test that it has no value for.
  struct stop {
    std::uint32_t number;  // of the case
    place at;
  };
  /// Memory of the thread.
  static std::vector<stop>& no_stops();

  template <class Take>
  void arrive(std::uint32_t i, place end, std::vector<stop>& stops, const Take& take) const {
    if ((end & k_leaf) == 0) return stops.push_back({i, end});
    const leaf& reached = leaves_[end & ~k_marks];
    take(i, {reached.predicted, reached.confidence}, reached.depth);
  }
  template <class Take>
  void predict_stopped(const case_block& cases, std::span<const stop> stops,
                       const Take& take) const {
    for_each_spread(cases, stops, 1.0, [&](std::uint32_t i, const parting& all, std::size_t k) {
      const std::span<double> shares = no_shares();
      const double depth = add_up(all, k, cases.of_case(i).data(), shares);
      const code_t best = distribution(shares).decide();
      take(i, {best, shares[best]}, depth);
    });
  }

  /// A part of a case: where it came to, and, where its branches were followed, what became of
  /// them.
  struct portion {
    place at;
    std::uint32_t first = 0, n = 0;  // of its branches that some of it went to, among the portions
    std::uint32_t number = 0;        // of the case
    double weight = 0;
  };
  /// The parts of some cases. Memory of the thread.
  struct parting {
    std::size_t n = 0, n_on_way = 0;  // in use
    std::vector<portion> portions;
    std::vector<part_on_way> on_way;  // has as much room

    void reserve(std::size_t more) {
      if (n + more <= portions.size()) return;
      portions.resize(2 * (n + more));
      on_way.resize(portions.size());
    }
  };
  /// More at once would leave the cache.
  static constexpr std::size_t k_spread_at_once = 64;

  /// Calls with_parts(i, portions, k), portion k that of the whole case i, for every one that
  /// stopped.
  template <class WithParts>
  void for_each_spread(const case_block& cases, std::span<const stop> stops, double amount,
                       const WithParts& with_parts) const {
    for (std::size_t at = 0; at < stops.size(); at += k_spread_at_once) {
      const auto some = stops.subspan(at, std::min(k_spread_at_once, stops.size() - at));
      const parting& all = spread(cases, some, amount);
      for (std::size_t k = 0; k < some.size(); ++k) with_parts(some[k].number, all, k);
    }
  }

  const parting& spread(const case_block& cases, std::span<const stop> stops, double amount) const;
  void open_branches(parting& all, std::size_t k) const;
  /// Adds what portion k brings, its first branch first. @return depth x amount.
  double add_up(const parting& all, std::size_t k, const std::uint32_t* codes,
                std::span<double> sums) const;
  void add_branches(const portion& of, const std::uint32_t* codes, std::span<double> sums,
                    double& depths) const;
  void add_leaf(place at, double weight, std::span<double> sums, double& depths) const;
  std::span<double> no_shares() const;
  void distribute(const leaf& reached, double weight, std::span<double> sums) const;
  void distribute_leaning(const leaf& reached, double weight, std::span<double> sums) const;

  std::size_t n_class_codes_;
  std::vector<double> prior_;  // that the shares of leaves lean on; empty: on none
  place root_ = 0;
  std::vector<test> tests_;
  std::vector<leaf> leaves_;
  // What only cases with unknown values need:
  std::vector<split> splits_;  // by test; of searches the first test only
  std::vector<branch> branches_;
  std::vector<share> shares_;
};

/// Copies the codes of some rows of a table.
void gather_codes(const table& t, std::span<const case_list::value_type> cases,
                  std::vector<std::uint32_t>& codes);

}  // namespace orvik::impls
