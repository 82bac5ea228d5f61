#include "impls/selection/search.h"

#include <cmath>
#include <sstream>

#include "impls/selection/complete.h"
#include "impls/selection/sequential.h"

namespace orvik::impls::selection {

namespace {

constexpr char k_proven[] = " + proven optimal";
constexpr char k_stopped[] = " + stopped at the time limit: the best subset so far, not proven";

/// "E%", or what errors cost.
std::string search_figure(const setting& s, const search_cases& cases, unsigned long errors) {
  std::ostringstream out;
  s.has_costs() ? out << cases.share(errors) << " a case" : out << 100 * cases.share(errors) << '%';
  return out.str();
}

void write_percent(std::ostream& out, const setting& s, const search_cases& cases,
                   const rated_set& rated) {
  out << search_figure(s, cases, rated.errors) << " with " << rated.set.count();
}

feature_search summed_up(feature_search done, const search_cases& cases, const rated_set& best,
                         const rated_set& start, bool ended) {
  done.error = cases.share(best.errors);
  done.start_error = cases.share(start.errors);
  done.ended = ended;
  return done;
}

/// The lines that all searches have.
void write_search(std::ostream& out, const char* name, const setting& s, const search_cases& cases,
                  const rated_set& best, const rated_set& start) {
  out << " + " << name << " on " << s.growing.size() << " growing cases\n + search "
      << (s.has_costs() ? "cost: " : "error: ");
  write_percent(out, s, cases, best);
  out << " of " << s.usable.count() << " attributes, from ";
  write_percent(out, s, cases, start);
}

void write_work(std::ostream& out, const setting& s, const feature_search& done) {
  out << "\n + trees grown: " << done.trees_grown << " avoided: " << done.trees_avoided
      << "\n + case visits: " << done.case_visits
      << "\n + subsets covered: " << done.subsets_covered << " of "
      << std::ldexp(1.0, static_cast<int>(s.usable.count()));
}

found_attributes result_of(const char* name, const evaluator& rater, const found_set& found) {
  std::ostringstream out;
  const setting& s = rater.what();
  write_search(out, name, s, rater.cases(), found.best, found.start);
  write_work(out, s, rater.account());
  if (!found.ended) out << '\n' << k_stopped;
  return {found.best.set,
          summed_up(rater.account(), rater.cases(), found.best, found.start, found.ended),
          out.str()};
}

found_attributes result_of(const char* name, const setting& s, const complete_result& found) {
  std::ostringstream out;
  const search_cases cases(s);
  write_search(out, name, s, cases, found.best, found.start);
  out << "\n + least search " << (s.has_costs() ? "cost: " : "error: ")
      << search_figure(s, cases, found.least_errors);
  write_work(out, s, found.done);
  if (found.done.trees_distinct > 0) out << "\n + distinct trees: " << found.done.trees_distinct;
  out << '\n' << (found.proven ? k_proven : k_stopped);
  return {found.best.set, summed_up(found.done, cases, found.best, found.start, found.proven),
          out.str()};
}

}  // namespace

found_attributes find_attributes(const setting& s, model::feature_selection method, double delta,
                                 double seconds) {
  const deadline limit(seconds);
  switch (method) {
    case model::ACCEPTABLE_SUBSET:
      return result_of("acceptable subset", s, search_acceptable(s, delta, limit));
    case model::EXHAUSTIVE:
      return result_of("exhaustive search", s, search_exhaustively(s, limit));
    case model::FORWARD: {
      sharing_evaluator rater(s, limit);
      return result_of("sequential forward selection", rater, search_forward(rater));
    }
    case model::OPTIMISED_BACKWARD: {
      sharing_evaluator rater(s, limit);
      return result_of("optimised sequential backward elimination", rater, search_backward(rater));
    }
    case model::BACKWARD: {
      plain_evaluator rater(s, limit);
      return result_of("sequential backward elimination", rater, search_backward(rater));
    }
    default:
      return {s.usable, {}, ""};
  }
}

}  // namespace orvik::impls::selection
