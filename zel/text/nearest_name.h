// What a mistyped name may have been meant to be.
#pragma once

#include <string>
#include <vector>

namespace zel::text {

/// The nearest of the names to a mistyped one; empty where none is near. O(size^2) a name.
std::string nearest_name(const std::string& word, const std::vector<std::string>& names);

}  // namespace zel::text
