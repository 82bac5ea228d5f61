// What programs of a model hold of the costs of its errors, and what they cannot say.
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

/// Throws std::runtime_error, naming the form, of a model whose leaves lean on prior shares; with
/// `without_costs` also of one that decides by costs.
void require_form(const orvik::dtree& model, const char* form, bool without_costs = false);

}  // namespace orvik::view
