#include "impls/pruning/routing.h"

#include <algorithm>

#include "impls/tables/branch_kernel.h"
#include "impls/tables/code_view.h"

namespace orvik::impls::pruning {

namespace {

/// Calls f(codes, branch_of) for the width and the kind of the column.
template <class F>
void visit_branches(const column& tested, code_t threshold, const F& f) {
  visit_codes(tested.codes(), [&](const auto& codes) {
    if (tested.type() == column::CONTINUOUS) {
      f(codes, kernel::threshold_branch{threshold});
    } else {
      f(codes, kernel::code_branch{});
    }
  });
}

}  // namespace

void find_shares(const column& tested, std::span<const weighted_row> cases, code_t threshold,
                 double total, std::span<double> shares) {
  std::fill(shares.begin(), shares.end(), 0.0);
  double unknown_weight = 0;
  visit_branches(tested, threshold, [&](const auto& codes, auto branch_of) {
    for (const auto& [row, weight] : cases) {
      const code_t code = codes[row];
      const std::size_t b = code == k_unknown ? shares.size() : branch_of(code);
      if (b < shares.size()) {
        shares[b] += weight;
      } else if (code == k_unknown) {
        unknown_weight += weight;
      }
    }
  });
  const double known_weight = total - unknown_weight;
  for (double& share : shares) share = known_weight > 0 ? share / known_weight : 0.0;
}

/// For codes without unknown ones. Both branches are written to at every step, so nothing hangs on
/// the prediction of the branch: the second in place, behind what is read, the first aside.
template <class Codes>
void case_stack::split_in_two(const Codes& codes, code_t threshold) {
  weighted_row* const top = cases_.data() + begins_.back();
  const std::size_t n = cases_.size() - begins_.back();
  if (scratch_.size() < n) scratch_.resize(n);
  weighted_row* const aside = scratch_.data();
  std::size_t first = 0, second = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const weighted_row c = top[i];
    const std::size_t above = codes[c.first] > threshold;
    aside[first] = c;
    top[second] = c;
    first += 1 - above;
    second += above;
  }
  std::copy_n(aside, first, top + second);
  begins_.push_back(begins_.back() + second);
}

template <class Codes, class BranchOf>
void case_stack::scatter(const Codes& codes, BranchOf branch_of, unsigned long n,
                         std::span<const double> shares) {
  const std::span<const weighted_row> above = top();
  if (scratch_.size() < above.size()) scratch_.resize(above.size());
  std::copy(above.begin(), above.end(), scratch_.begin());
  const std::span<const weighted_row> cases(scratch_.data(), above.size());
  places_.assign(n, 0);
  std::size_t unknown = 0;
  for (const auto& [row, weight] : cases) {
    const code_t code = codes[row];
    const std::size_t b = code == k_unknown ? n : branch_of(code);
    if (b < n) ++places_[b];
    unknown += code == k_unknown;
  }

  std::size_t end = begins_.back();
  begins_.pop_back();
  for (std::size_t b = n; b-- > 0;) {
    begins_.push_back(end);
    const std::size_t size = places_[b] + unknown;
    places_[b] = end;
    end += size;
  }
  cases_.resize(end);
  for (const auto& [row, weight] : cases) {
    const code_t code = codes[row];
    if (code == k_unknown) {
      for (std::size_t b = 0; b < n; ++b) cases_[places_[b]++] = {row, weight * shares[b]};
    } else if (const std::size_t b = branch_of(code); b < n) {
      cases_[places_[b]++] = {row, weight};
    }
  }
}

void case_stack::split(const column& tested, unsigned long n, code_t threshold,
                       std::span<const double> shares) {
  const bool continuous = tested.type() == column::CONTINUOUS;
  // A bool column has no unknown values and no third code.
  const bool in_two =
      n == 2 && (continuous ? !tested.values()->has_null() : tested.codes().bits == 1);
  visit_branches(tested, threshold, [&](const auto& codes, auto branch_of) {
    if (!in_two) {
      scatter(codes, branch_of, n, shares);
    } else {
      split_in_two(codes, continuous ? threshold : 1);
    }
  });
}

}  // namespace orvik::impls::pruning
