// What the errors of a model cost, and what its classes weigh: plain values, and the files that
// people keep them in. docs/costs.md says what becomes of them.
#pragma once

#include <string>
#include <vector>

#include "orvik/codes.h"
#include "orvik/export.h"

namespace orvik {

/// What it costs to predict a class where another is true. Pairs that are not named cost 1; what is
/// right costs 0.
struct class_cost {
  code_t predicted, actual;
  double cost;  ///< from 0 to k_dearest; of the right class 0
};
constexpr double k_dearest = 1e100;

inline bool operator==(const class_cost& a, const class_cost& b) {
  return a.predicted == b.predicted && a.actual == b.actual && a.cost == b.cost;
}

enum class cost_use : unsigned char {
  decides,  ///< the class of the least expected cost is predicted, and pruning looks at costs
  weighs    ///< cases weigh more when they are grown on, the more errors on their class cost
};

/// The pairs of a file: a header of the columns "predicted", "actual" and "cost" in any order, then
/// a row a pair; cells may stand in double quotes. `classes` are the class values by code, the
/// unknown one first. Throws std::runtime_error, naming file and line, for a file that cannot be
/// read or names nothing, an unknown class, a number that is no cost, and a pair that stands twice.
ORVIK_EXPORT std::vector<class_cost> read_costs(const std::string& file,
                                                const std::vector<std::string>& classes);

/// The weights of classes, by code, of a file with the columns "class" and "weight"; classes that
/// are not named weigh 1. Weights are above 0. Throws as read_costs() does.
ORVIK_EXPORT std::vector<double> read_class_weights(const std::string& file,
                                                    const std::vector<std::string>& classes);

}  // namespace orvik
