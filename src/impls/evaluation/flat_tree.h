// A tree as arrays, for predicting many cases.
//
// The nodes of the container lie all over the memory; here every test is one comparison of a code
// with a range, 20 bytes with the numbers of what follows, so that a step down is a few
// instructions without a jump that could be guessed wrong. Tests with a branch for every value are
// searched in halves. Cases come as rows of 32-bit codes, one an attribute. Some hundred cases at a
// time go down one step in turn: while one waits for memory the others go on. A case whose value is
// unknown at a test stops there; afterwards the parts of such cases go on down every branch, side
// by side like the cases. Their shares are added in the order in which a walk comes to them, the
// first branches first: their last bit hangs on it. Threads: many readers.
#pragma once

#include <algorithm>
#include <array>
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

/// Numbers of cases of a block: those that have a value wherever a test may ask, which go down
/// faster, and others.
struct case_numbers {
  std::span<const std::uint32_t> complete, others;
};

class flat_tree {
 public:
  /// Throws std::runtime_error, naming the column, unless all codes of the table fit in 32 bits.
  static void require_narrow(const table& t);

  /// Leaves that no case came to may be missing. add_shares() goes by the rule, add_probabilities()
  /// by its prior; predict() does not.
  flat_tree(const table& t, const voter& asked, const leaf_rule& rule = {});

  /// Adds the codes that cuts of each attribute compare with.
  void add_limits(std::vector<std::vector<code_t>>& by_attribute) const;

  /// Notes the attributes that tests ask for.
  void note_attributes(std::vector<bool>& asked) const;
  /// From now on cases have the code of attribute a at places[a].
  void renumber(std::span<const std::uint32_t> places);

  /// Calls take(i, prediction, depth), what decision_tree::predict_class gives for a weight of 1,
  /// for the cases `which` of the block.
  template <class Take>
  void predict(const case_block& cases, const case_numbers& which, const Take& take) const {
    const auto arrive = [&](std::uint32_t i, place end) {
      const leaf& reached = leaf_at(end);
      take(i, {answers_[end & ~k_marks] & ~k_several, reached.confidence}, reached.depth);
    };
    std::vector<double> shares(n_class_codes_);
    follow(cases, which, 1.0, arrive, [&](std::uint32_t i, std::span<const part> parts) {
      std::ranges::fill(shares, 0.0);
      const double depth = add_up(parts, shares);
      const code_t best = distribution(std::span<const double>(shares)).decide();
      take(i, {best, shares[best]}, depth);
    });
  }

  /// Spreads the votes over the classes, for every case: sums by case of the block, then by class
  /// code. Calls reached(i, depth) for a weight of 1. The steps and their order are those of
  /// decision_tree::add_shares, or by a rule of known shares of add_probabilities.
  template <class Reached>
  void add_shares(const case_block& cases, const case_numbers& which, std::span<double> sums,
                  const Reached& reached) const {
    const auto arrive = [&](std::uint32_t i, place end) {
      add_whole(end, own(sums, i));
      reached(i, [&] { return leaf_at(end).depth * votes_ / votes_; });
    };
    follow(cases, which, votes_, arrive, [&](std::uint32_t i, std::span<const part> parts) {
      for (const part& p : parts) distribute_by_rule(leaf_at(p.at), p.weight, own(sums, i));
      reached(i, [&] { return depths_of(parts) / votes_; });
    });
  }
  /// The same by decision_tree::add_probabilities.
  void add_probabilities(const case_block& cases, const case_numbers& which,
                         std::span<double> sums) const {
    const auto arrive = [&](std::uint32_t i, place end) {
      distribute_known(leaf_at(end), votes_, own(sums, i));
    };
    follow(cases, which, votes_, arrive, [&](std::uint32_t i, std::span<const part> parts) {
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
    place below[2];  // for codes from `first` on, `span` more than that at most, and for others
    std::uint32_t attribute;
    std::uint32_t first;  // 0 of a cut
    std::uint32_t span;
  };
  static constexpr std::uint32_t k_none = UINT32_MAX;
  /// In answers_: the votes are not just added to those of the class.
  static constexpr std::uint32_t k_several = 1U << 31;
  struct leaf {
    double confidence;
    double weight;  // of its training cases; 1 where none came
    std::uint32_t depth;
    std::uint32_t predicted;
    std::uint32_t known;  // its shares in known_; k_none: all is of the predicted class
  };
  /// In leaf::known: no case came, and these are the shares above it.
  static constexpr std::uint32_t k_above = 1U << 31;
  /// The class weights of a leaf of several classes, or of the nearest node with some above a leaf
  /// where no case came.
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
  class parting;

  /// One step of a case at a test.
  template <bool IsComplete>
  place below(place at, const std::uint32_t* codes) const {
    const test& t = tests_[at];
    const std::uint32_t code = codes[t.attribute];
    const place next = t.below[code - t.first > t.span];
    return !IsComplete && code == k_unknown ? at | k_stopped : next;
  }

  /// A part of a case: all of it, or what went down a branch.
  struct part {
    place at;
    std::uint32_t slot;  // of the case
    double weight;
  };
  /// Cases that go down together: their codes lie in the nearest cache meanwhile.
  static constexpr std::size_t k_at_once = 512;
  struct group {
    std::array<const std::uint32_t*, k_at_once> codes;  // by slot
    std::array<place, k_at_once> ends;                  // by slot: a leaf or a test stopped at
  };
  template <bool IsComplete>
  void descend(group& cases, std::size_t n) const;

  /// Calls use(numbers, group) for the cases some at a time, once they are at their ends.
  template <bool IsComplete, class Use>
  void for_each_group(const case_block& cases, std::span<const std::uint32_t> which,
                      const Use& use) const {
    group some;
    for (std::size_t at = 0; at < which.size(); at += k_at_once) {
      const auto numbers = which.subspan(at, std::min(k_at_once, which.size() - at));
      for (std::size_t slot = 0; slot < numbers.size(); ++slot) {
        some.codes[slot] = cases.codes.data() + numbers[slot] * cases.n_attributes;
      }
      descend<IsComplete>(some, numbers.size());
      use(numbers, some);
    }
  }

  /// Calls arrive(i, leaf) for the cases that come to a leaf, and parted(i, parts) for the others,
  /// with what of `amount` comes to each leaf.
  template <class Arrive, class Parted>
  void follow(const case_block& cases, const case_numbers& which, double amount,
              const Arrive& arrive, const Parted& parted) const;

  const leaf& leaf_at(place end) const { return leaves_[end & ~k_marks]; }
  std::span<double> own(std::span<double> sums, std::size_t i) const {
    return sums.subspan(i * n_class_codes_, n_class_codes_);
  }
  /// Adds what the parts bring. @return depth x amount.
  double add_up(std::span<const part> parts, std::span<double> sums) const;
  double depths_of(std::span<const part> parts) const;
  /// Adds what the tree's votes bring of a case.
  void add_whole(place end, std::span<double> sums) const {
    const std::uint32_t answer = answers_[end & ~k_marks];
    if ((answer & k_several) == 0) {
      sums[answer] += votes_;
    } else {
      distribute_by_rule(leaf_at(end), votes_, sums);
    }
  }
  void distribute(const leaf& reached, double weight, std::span<double> sums) const;
  void distribute_by_rule(const leaf& reached, double weight, std::span<double> sums) const {
    known_only_ ? distribute_known(reached, weight, sums) : distribute(reached, weight, sums);
  }
  void distribute_known(const leaf& reached, double weight, std::span<double> sums) const;
  void add_parts(const known_shares& from, double weight, std::span<double> sums) const;
  void add_leaning(const known_shares& from, double weight, std::span<double> sums) const;

  std::size_t n_class_codes_;
  double votes_;
  bool known_only_;            // by the rule
  std::vector<double> prior_;  // that the shares of leaves lean on; empty: on none
  place root_ = 0;
  std::vector<test> tests_;
  // By leaf: its class, which is all that most cases ask for, and the rest.
  std::vector<std::uint32_t> answers_;
  std::vector<leaf> leaves_;
  // What only cases with unknown values need:
  std::vector<split> splits_;  // by test; of searches the first test only
  std::vector<branch> branches_;
  // What only leaves of several classes need:
  std::vector<share> shares_;
  std::vector<known_shares> known_;
};

/// Takes cases that stopped at tests on to all leaves that parts of them come to. All parts of some
/// cases are opened in rounds, and the parts in which one was opened noted with it; at the end each
/// is told how many leaves lie before it.
class flat_tree::parting {
 public:
  explicit parting(const flat_tree& tree) : tree_(tree) {}

  /// Calls parted(slot, parts) for all that `stopped`, with what of them comes to leaves in the
  /// order of the branches.
  template <class Parted>
  void for_each_case(const group& cases, std::span<const part> stopped, const Parted& parted) {
    for (std::size_t size = k_cases; !stopped.empty(); stopped = stopped.subspan(size)) {
      size = open_some(cases, stopped, std::min(size, stopped.size()));
      auto first = ends_.cbegin();
      for (const part& whole : stopped.first(size)) {
        const auto begin = first;
        while (first != ends_.cend() && first->slot == whole.slot) ++first;
        parted(whole.slot, std::span<const part>(begin, first));
      }
    }
  }

 private:
  /// More cases, or more parts of them, at once would leave the cache.
  static constexpr std::size_t k_cases = 64, k_most_parts = 1U << 13;

  struct piece {
    double weight;
    place at;
    std::uint32_t slot;
    std::uint32_t from;    // the piece that it was opened from
    std::uint32_t n_ends;  // leaves that it comes to
    std::uint32_t before;  // of all ends
  };

  std::size_t open_some(const group& cases, std::span<const part> stopped, std::size_t n);
  bool open_in_rounds(const group& cases, std::span<const part> stopped);
  void open_all();
  void step_down(const group& cases);
  void order_ends(std::size_t n_cases);
  void walk(const group& cases, const part& stopped);
  template <class Give>
  void for_each_branch(place stopped, double weight, const Give& give) const;

  const flat_tree& tree_;
  std::vector<piece> pieces_;
  std::vector<std::uint32_t> stopped_;  // pieces to be opened
  std::vector<std::uint32_t> on_way_;   // pieces that are at tests
  std::vector<part> ends_;
};

template <class Arrive, class Parted>
void flat_tree::follow(const case_block& cases, const case_numbers& which, double amount,
                       const Arrive& arrive, const Parted& parted) const {
  for_each_group<true>(cases, which.complete, [&](const auto& numbers, const group& some) {
    for (std::size_t slot = 0; slot < numbers.size(); ++slot) {
      arrive(numbers[slot], some.ends[slot]);
    }
  });
  std::vector<part> stops;
  parting work(*this);
  for_each_group<false>(cases, which.others, [&](const auto& numbers, const group& some) {
    stops.clear();
    for (std::uint32_t slot = 0; slot < numbers.size(); ++slot) {
      if ((some.ends[slot] & k_leaf) != 0) {
        arrive(numbers[slot], some.ends[slot]);
      } else {
        stops.push_back({some.ends[slot], slot, amount});
      }
    }
    work.for_each_case(some, stops, [&](std::uint32_t slot, std::span<const part> parts) {
      parted(numbers[slot], parts);
    });
  });
}

/// The numbers of all n cases of a block; memory of the thread, valid until its next call.
case_numbers all_cases(std::size_t n);

/// Copies the codes of some rows of a table.
void gather_codes(const table& t, std::span<const case_list::value_type> cases,
                  std::vector<std::uint32_t>& codes);
/// Those of some attributes, the others 0, each checked by itself. Throws std::runtime_error for a
/// code without a value.
void gather_checked_codes(const table& t, std::span<const unsigned long> attributes,
                          std::span<const case_list::value_type> cases,
                          std::vector<std::uint32_t>& codes);

}  // namespace orvik::impls
