// When pre-pruning makes a leaf of a subtree.
#pragma once

namespace orvik::impls::pruning {

/// A subtree must save more training errors than this to outlive pre-pruning.
constexpr double k_least_preprune_saving = 0.001;

/// By the training errors of the node as a leaf and those of its subtree.
inline bool is_prepruned(double leaf_error, double subtree_error) {
  return subtree_error >= leaf_error - k_least_preprune_saving;
}

}  // namespace orvik::impls::pruning
