// Subtrees below leaves that all processes have, as one of them grew them: packed, each behind the
// number of its bytes.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "impls/growing/growing_node.h"

namespace orvik::impls::growing {

/// Appends what is below `tree`.
void tell_subtree(const table& t, const decision_tree& tree, std::string& to);
/// Puts what was told of them, in their order, below the leaves.
void take_subtrees(const growing_plan& plan, std::span<const growing_node> leaves,
                   std::string_view told);

}  // namespace orvik::impls::growing
