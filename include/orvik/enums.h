// The roles of columns, and the choices a model is trained with. One header for the library's
// layers and its users, so that the numbers of the command line, of the model file and of the code
// are the same ones.
#pragma once

namespace orvik::model {

/// What a column of a table is for.
enum column_role : int { DISCRETE = 0, CONTINUOUS = 1, CLASS = 2, WEIGHTS = 3, IGNORE = 4 };

/// How a node weighs its candidate tests against each other.
enum split_type : unsigned int {
  INFORMATION_GAIN = 0,  ///< the gain itself
  PURE_GAIN_RATIO = 1,   ///< gain / split information
  GAIN_RATIO = 2,        ///< the same among the tests of at least average gain (Quinlan 1993)
  N_SPLIT_TYPES = 3
};

/// How a grown tree is simplified. G flavours may replace a node by its largest child, A flavours
/// by the best of all its children.
enum pruning_strategy : unsigned int {
  NO_PRUNING = 0,        ///< the tree as grown
  PRE_PRUNING_ONLY = 1,  ///< only subtrees that do not lower the training error collapse
  EBP = 2,               ///< error-based pruning, binomial upper confidence bound
  EBPG = 3,
  EBPA = 4,
  PEP = 5,  ///< pessimistic error pruning
  PEPG = 6,
  PEPA = 7,
  REP = 8,  ///< reduced-error pruning on separate cases
  REPG = 9,
  REPA = 10,
  MEP = 11,  ///< minimum-error pruning, m chosen on separate cases
  MEPG = 12,
  MEPA = 13,
  N_PRUNING_STRATEGIES = 14
};

/// How the attributes a model may use are searched before it is grown.
enum feature_selection : unsigned int {
  NO_SELECTION = 0,
  ACCEPTABLE_SUBSET = 1,
  EXHAUSTIVE = 2,
  FORWARD = 3,
  OPTIMISED_BACKWARD = 4,
  BACKWARD = 5,
  N_FEATURE_SELECTIONS = 6
};

}  // namespace orvik::model
