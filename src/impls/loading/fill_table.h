// Columns with their rows into a table that has their schema.
#pragma once

#include <functional>
#include <memory>

#include "impls/tables/table.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

/// Makes a full column of an empty one, whose value set it takes.
using column_filler = std::function<std::unique_ptr<column>(unsigned long i, column& empty)>;

/// Fills the columns of a table without rows, several at a time. Throws what is thrown for the
/// first of them, and std::runtime_error for a table that no rows of text could have made; the
/// table is of no use then.
void fill_table(table& t, unsigned long n_rows, const column_filler& fill,
                const zel::util::run_context& run);

}  // namespace orvik::impls
