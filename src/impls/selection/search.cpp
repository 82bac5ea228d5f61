#include "impls/selection/search.h"

#include <cmath>
#include <sstream>

#include "impls/selection/sequential.h"

namespace orvik::impls::selection {

namespace {

constexpr char k_stopped[] = " + stopped at the time limit: the best subset so far, not proven";

void write_percent(std::ostream& out, const search_cases& cases, const rated_set& rated) {
  out << 100 * cases.share(rated.errors) << "% with " << rated.set.count();
}

void write_work(std::ostream& out, const work& done, unsigned long n_usable) {
  out << "\n + trees grown: " << done.grown << " avoided: " << done.avoided
      << "\n + case visits: " << done.visits << "\n + subsets covered: " << done.covered << " of "
      << std::ldexp(1.0, static_cast<int>(n_usable));
}

std::string log_of(const char* name, const evaluator& rater, const found_set& found) {
  std::ostringstream out;
  const unsigned long n = rater.what().usable.count();
  out << " + " << name << " on " << rater.what().growing.size()
      << " growing cases\n + search error: ";
  write_percent(out, rater.cases(), found.best);
  out << " of " << n << " attributes, from ";
  write_percent(out, rater.cases(), found.start);
  write_work(out, rater.account(), n);
  if (!found.ended) out << '\n' << k_stopped;
  return out.str();
}

found_attributes result_of(const char* name, const evaluator& rater, const found_set& found) {
  return {found.best.set, rater.cases().share(found.best.errors), found.ended,
          log_of(name, rater, found)};
}

}  // namespace

found_attributes find_attributes(const setting& s, model::feature_selection method, double,
                                 double seconds) {
  const deadline limit(seconds);
  if (method == model::BACKWARD) {
    plain_evaluator rater(s, limit);
    const found_set found = search_backward(rater);
    return result_of("sequential backward elimination", rater, found);
  }
  sharing_evaluator rater(s, limit);
  if (method == model::OPTIMISED_BACKWARD) {
    const found_set found = search_backward(rater);
    return result_of("optimised sequential backward elimination", rater, found);
  }
  const found_set found = search_forward(rater);
  return result_of("sequential forward selection", rater, found);
}

}  // namespace orvik::impls::selection
