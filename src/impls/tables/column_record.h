// One column to and from a binary stream: value set, name, role, codes.
#pragma once

#include <memory>

#include "impls/tables/column.h"
#include "zel/inpout/binstream.h"

namespace orvik::impls {

/// The value set of `c` is frozen.
void write_column(zel::inpout::obinstream& out, const column& c);
/// Throws std::runtime_error for what loading could not have made.
std::unique_ptr<column> read_column(zel::inpout::ibinstream& in);

}  // namespace orvik::impls
