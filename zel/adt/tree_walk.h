// Depth-first walk of a tree of any depth, kept apart from what it computes.
//
// The path from the root lies on the heap, so a tree of 100,000 levels does not touch the stack.
#pragma once

#include <vector>

namespace zel::adt {

/// Calls enter(tree, level) before and leave(tree, level) after the children of every tree at or
/// below `root`; the root has level 0. Children are visited in order, index 0 first, and null
/// slots are skipped. When enter returns false the children are not visited; leave is called
/// all the same.
///
/// enter may give the tree children. leave may delete, clear or replace the children of the tree
/// it is given, which are all finished, but not that tree itself.
///
/// `Tree` has get_no_childs() and get_child(i), and may be const. Memory is O(depth).
template <class Tree, class Enter, class Leave>
void walk(Tree& root, Enter enter, Leave leave) {
  struct step {
    Tree* tree;
    unsigned long next;  // the child to visit next
    bool open;           // whether children are visited at all
  };
  std::vector<step> path;
  path.push_back({&root, 0, enter(root, 0UL)});
  while (!path.empty()) {
    step& top = path.back();
    if (top.open && top.next < top.tree->get_no_childs()) {
      using index = decltype(top.tree->get_no_childs());
      Tree* child = top.tree->get_child(static_cast<index>(top.next++));
      if (!child) continue;
      const bool open = enter(*child, path.size());
      path.push_back({child, 0, open});  // `top` is gone from here
    } else {
      leave(*top.tree, path.size() - 1);
      path.pop_back();
    }
  }
}

}  // namespace zel::adt
