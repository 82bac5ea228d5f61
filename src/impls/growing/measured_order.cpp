#include "impls/growing/measured_order.h"

#include "impls/splitting/split_choice.h"

namespace orvik::impls {

void sort_as_measured(const table& t, const zel::adt::bitmap& usable, zel::util::rand_gen* draw,
                      case_list& cases) {
  if (draw == nullptr && cases.size() >= k_copied_cases) return;
  std::vector<candidate> candidates;
  for (unsigned int a = 0; a < t.n_attributes(); ++a) {
    if (usable[a] && t.column_of(a).values()->size_of_known() > 1) candidates.push_back({a, {}});
  }
  if (draw != nullptr) keep_random(candidates, usable.count(), *draw);
  for (const candidate& c : candidates) {
    const column& measured = t.column_of(c.attribute);
    if (measured.type() == column::CONTINUOUS &&
        is_measured_by_sorting(cases.size(), measured.values()->size_of_known())) {
      measured.sort(cases.begin(), cases.end());
    }
  }
}

}  // namespace orvik::impls
