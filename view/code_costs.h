// What programs of a model hold of the way in which it decides: the costs of its errors, and prior
// shares that those of its leaves lean on.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "orvik/dtree.h"

namespace orvik::view {

/// The costs of a model that decides by them, by actual, then by predicted class code; of the
/// unknown class they are 0.
std::vector<double> cost_table(const orvik::dtree& model);

/// The text with each first word, which is there, replaced by the second.
std::string reworded(std::string text,
                     const std::vector<std::pair<std::string, std::string>>& words);

/// Whether the shares of its leaves lean on prior ones.
inline bool leans(const orvik::dtree& model) { return !model.get_prior().empty(); }

}  // namespace orvik::view
