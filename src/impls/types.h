// The words of the table layer: rows, codes, cases.
#pragma once

#include <limits>
#include <utility>

#include "orvik/codes.h"
#include "zel/adt/w_vector.h"

namespace orvik::impls {

using orvik::code_t;
using orvik::k_unknown;
using orvik::row_t;

/// Code of a class value as a node keeps it.
using class_t = unsigned short;
/// The rows an algorithm works on, each with its weight.
using case_list = zel::adt::w_vector<row_t, double>;
/// Half-open range of known codes.
using code_range = std::pair<code_t, code_t>;

/// What an insert returns for a text that gets no code.
constexpr code_t k_no_code = std::numeric_limits<code_t>::max();

}  // namespace orvik::impls
