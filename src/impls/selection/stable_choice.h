// For which other subsets the choice at a node is the same.
//
// Of the subsets S between `least` and `most`, T(most) has some test at a node, or none. Where an
// attribute is chosen by a value of its own, the test stays for every S that has its attribute,
// and a leaf stays a leaf. The default gain ratio also compares each gain with the mean over S:
// a weak attribute that leaves S raises the mean, and may bar the test; a strong one lowers it,
// and may admit a better test that was barred. The mean is bounded from both sides over all S, and
// where the bounds do not decide, attributes are added to `least` until they do.
#pragma once

#include <span>
#include <vector>

#include "impls/selection/attribute_set.h"
#include "impls/splitting/split_choice.h"

namespace orvik::impls::selection {

/// Adds to `least`, and appends to `added`, attributes of `most` until all S between `least` and
/// `most` choose `chosen` (null: nothing) of `tests`, as `most` does. At worst these are all that
/// the tests are of. `least` is within `most`.
void keep_choice(std::span<const candidate> tests, const candidate* chosen, model::split_type type,
                 const attribute_set& most, attribute_set& least, std::vector<unsigned int>& added);

}  // namespace orvik::impls::selection
