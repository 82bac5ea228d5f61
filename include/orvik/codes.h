// How rows and values are counted, by the library's layers and its users.
#pragma once

namespace orvik {

/// Position of a row in its table.
using row_t = unsigned long;
/// Dense number of a value in its column: 0 is the unknown value, the n known ones have 1 .. n. The
/// codes of numbers follow their values, those of texts their bytes, those of ordered texts the
/// order in which the metadata declares them.
using code_t = unsigned long;

constexpr code_t k_unknown = 0;

/// The text that the programs read and write for an unknown value.
constexpr char k_unknown_text[] = "?";

}  // namespace orvik
