// The report: one HTML file that shows a model and needs nothing beside it.
#pragma once

#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "orvik/dtree.h"

namespace orvik::view {

/// What else is known of a training run, as labels and texts: "Seed", "Seconds".
using training_facts = std::vector<std::pair<std::string, std::string>>;

/// Writes the report. `title` is what the model is called. `rows`, which may be null, is a table
/// with the columns of the model's: what only rows tell is left out without it.
void write_html_report(const orvik::dtree& model, const std::string& title, orvik::table* rows,
                       std::ostream& out, const training_facts& facts = {});

}  // namespace orvik::view
