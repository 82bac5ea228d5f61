// Where the nodes of a drawn tree stand: every father in the middle over its children, subtrees as
// close as they may be, equal ones drawn alike (Reingold and Tilford 1981), in linear time for any
// number of children (Buchheim, Juenger and Leipert 2002).
#pragma once

#include <vector>

namespace orvik::view {

/// A node to be placed; they come in the order of a walk: fathers first, children from left to
/// right.
struct layout_node {
  long father;   // its place in the list; -1 of the root
  double width;  // of what is drawn, gaps included
};

/// @return the middle of every node from left to right; the leftmost edge is at 0.
std::vector<double> tidy_layout(const std::vector<layout_node>& nodes);

}  // namespace orvik::view
