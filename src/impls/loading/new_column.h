// A column as a line of metadata makes it.
#pragma once

#include <memory>
#include <string>

#include "impls/tables/column.h"

namespace orvik::impls {

/// A column without rows whose values are still to come. Throws std::runtime_error for an unknown
/// type or role, and a role that does not fit the type.
std::unique_ptr<column> make_column(const std::string& name, std::string type,
                                    const std::string& role, const std::string& missing_value);

}  // namespace orvik::impls
