// A cell of a CSV file.
#pragma once

#include <string>

namespace orvverbs {

/// As RFC 4180 has it: cells that hold a separator, a quote or a line end are quoted.
void append_csv(std::string& to, const std::string& cell);

}  // namespace orvverbs
