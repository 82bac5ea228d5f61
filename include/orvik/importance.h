// How much the attributes matter to a model.
#pragma once

#include <string>

namespace orvik {

/// One attribute and what the trees owe to it, as a mean over the trees.
struct attribute_importance {
  unsigned long attribute;  ///< its number among the attributes
  std::string name;         ///< of its column
  /// Bits that its splits take off the class entropy of a training case, as the trees stand.
  double gain;
  /// Out-of-bag error with its values permuted, less the error without (Breiman 2001);
  /// not-a-number for a single tree and for a loaded model, whose draws are not known.
  double permutation;
};

}  // namespace orvik
