#include "impls/selection/stable_choice.h"

#include <algorithm>

namespace orvik::impls::selection {

namespace {

/// Means are compared with more than their rounding between them.
constexpr double k_rounding = 1e-9;

/// The mean gain of the tests of all subsets between two.
class mean_range {
 public:
  mean_range(std::span<const candidate> tests, const attribute_set& least,
             const attribute_set& most) {
    const members in_least(least), in_most(most);
    for (const candidate& c : tests) {
      if (!split_choice::can_split(c.desc) || !in_most(c.attribute)) continue;
      if (in_least(c.attribute)) {
        add_fixed(c.desc.gain);
      } else {
        open_.push_back(&c);
      }
    }
    std::ranges::stable_sort(open_, {}, [](const candidate* c) { return c->desc.gain; });
  }

  double largest() const {
    double sum = fixed_sum_, n = fixed_n_;
    for (auto c = open_.rbegin(); c != open_.rend(); ++c) {
      if (n > 0 && (*c)->desc.gain * n <= sum) break;
      sum += (*c)->desc.gain;
      ++n;
    }
    return sum / n;
  }

  /// Of the subsets with `x`.
  double least_with(const candidate& x) const {
    const bool open = std::ranges::find(open_, &x) != open_.end();
    double sum = fixed_sum_ + (open ? x.desc.gain : 0), n = fixed_n_ + (open ? 1 : 0);
    for (const candidate* c : open_) {
      if (c == &x) continue;
      if (c->desc.gain * n >= sum) break;
      sum += c->desc.gain;
      ++n;
    }
    return sum / n;
  }

  /// Puts the open test of the lowest gain, or the highest but for `x`, into all subsets.
  /// @return it; null if there is none.
  const candidate* fix_lowest() { return open_.empty() ? nullptr : fix(open_.begin()); }
  const candidate* fix_highest_but(const candidate& x) {
    const auto found =
        std::find_if(open_.rbegin(), open_.rend(), [&](const candidate* c) { return c != &x; });
    return found == open_.rend() ? nullptr : fix(std::prev(found.base()));
  }

 private:
  void add_fixed(double gain) {
    fixed_sum_ += gain;
    ++fixed_n_;
  }

  const candidate* fix(std::vector<const candidate*>::iterator at) {
    const candidate* c = *at;
    open_.erase(at);
    add_fixed(c->desc.gain);
    return c;
  }

  double fixed_sum_ = 0, fixed_n_ = 0;
  std::vector<const candidate*> open_;  // by gain
};

/// Whether `x` would be chosen before `chosen` if its gain were not below the mean.
bool outranks(const candidate& x, const candidate* chosen) {
  const splitting::ranking& by = splitting::ranking_of(model::PURE_GAIN_RATIO);
  const auto value = by.value_of(x.desc, 0);
  if (!value || !(*value > column::k_no_gain)) return false;
  if (chosen == nullptr) return true;
  const double best = *by.value_of(chosen->desc, 0);
  return *value > best || (*value == best && x.attribute < chosen->attribute);
}

}  // namespace

void keep_choice(std::span<const candidate> tests, const candidate* chosen, model::split_type type,
                 const attribute_set& most, attribute_set& least,
                 std::vector<unsigned int>& added) {
  const auto add = [&](const candidate* c) {
    least.set(c->attribute);
    added.push_back(c->attribute);
  };
  if (chosen != nullptr && !members(least)(chosen->attribute)) add(chosen);
  if (!splitting::ranking_of(type).above_mean) return;

  mean_range mean(tests, least, most);
  if (chosen != nullptr) {
    while (!(chosen->desc.gain >=
             mean.largest() - splitting::ranking::k_gain_tolerance + k_rounding)) {
      const candidate* c = mean.fix_lowest();
      if (c == nullptr) break;
      add(c);
    }
  }
  const members in_most(most);
  for (const candidate& x : tests) {
    if (!split_choice::can_split(x.desc) || !in_most(x.attribute) || !outranks(x, chosen)) continue;
    while (
        !(x.desc.gain < mean.least_with(x) - splitting::ranking::k_gain_tolerance - k_rounding)) {
      const candidate* c = mean.fix_highest_but(x);
      if (c == nullptr) break;
      add(c);
    }
  }
}

}  // namespace orvik::impls::selection
