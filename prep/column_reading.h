// How the cells of every column are read: as numbers, in which format, or as texts.
#pragma once

#include <string>
#include <vector>

#include "column_profile.h"

namespace orvprep {

/// Settles the profiles of a file. A column of which all known cells are numbers in one format, and
/// have one value, is of numbers; where the decimal mark decides about the value ("1,234") it is
/// the one that other columns of the file show, "." for a point else, and else the cells stay
/// texts.
void settle_readings(std::vector<column_profile>& profiles, const cell_rules& rules);

/// What is to be said of the reading of a settled column; empty where all is plain.
std::string reading_note(const column_profile& p, const cell_rules& rules);

/// `note` and `more`, both of which may be empty, as one.
std::string joined(const std::string& note, const std::string& more);

/// "'TEXT' (line N)", the text fit for a message.
std::string where(const counted_text& t);

}  // namespace orvprep
