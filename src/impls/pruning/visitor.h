// What a walk with active nodes calls at every node.
#pragma once

#include "impls/trees/decision_tree.h"

namespace orvik::impls::pruning {

/// What a visitor may inherit. Its calls at different nodes are made side by side, so they write
/// only to the tree they are given and to `here`, what the visitor keeps of a node that is open;
/// that may be moved in between. `father` is null at the root of the walk.
struct visitor {
  struct state {};
  /// Before the children; may raise one. @return whether there are children to be visited.
  static bool enter(decision_tree&, state& /*here*/, const state* /*father*/) { return true; }
  /// After the children. @return whether it has raised one and those of that are to be visited.
  static bool leave(decision_tree&, state& /*here*/) { return false; }
};

}  // namespace orvik::impls::pruning
