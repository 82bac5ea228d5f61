// An n-ary tree whose every tree object owns one node and an array of child trees.
//
// `Tree` is the class derived from basic_tree<Node, Tree, Index>: children are handled as such.
// A child slot may be null; deletion and measures skip it. A tree without any child tree counts
// as a leaf.
// Nothing here recurses: trees may be as deep as memory allows (see also tree_walk.h).
// Threads: one thread per subtree that is changed.
#pragma once

#include <algorithm>
#include <cassert>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "zel/adt/tree_walk.h"
#include "zel/util/nocopy.h"

namespace zel::adt {

template <class Node, class Tree, class Index>
class basic_tree : private util::nocopy {
 public:
  basic_tree() = default;
  /// Destroys the node and all children; O(size), without allocation.
  virtual ~basic_tree() { destroy_childs(); }

  /// Takes ownership of `node` (may be null) and destroys the node held so far.
  virtual void set_node(Node* node);
  /// Forgets the node without destroying it; it is the caller's from now on.
  virtual void clear_node() { node_.release(); }

  /// Appends `tree` and takes ownership of it.
  /// Deliberate: with all slots in use nothing happens and `tree` stays the caller's.
  virtual void push_back_child(Tree* tree);
  /// Destroys all children with their subtrees and frees the slots.
  virtual void delete_childs() { destroy_childs(); }
  /// Destroys child i, if any, with its subtree; its slot becomes null.
  virtual void delete_child(Index i);
  /// Forget child i (its slot becomes null), or all children and the slots, without destroying
  /// the child trees: they are the caller's from now on.
  virtual void clear_child(Index i);
  virtual void clear_childs();

  /// @return the number of tree objects, this one included.
  virtual unsigned long size() const;
  /// @return the number of leaves, at least 1.
  virtual unsigned long leaves() const;
  /// @return the number of levels: 1 for a leaf.
  virtual unsigned long depth() const;
  /// @return what this tree object counts in wdepth() and wsize().
  virtual double get_weight() const { return 1; }
  /// @return the weight of the heaviest path: get_weight() plus the largest wdepth() of a child.
  virtual double wdepth() const;
  /// @return the sum of get_weight() over all tree objects.
  virtual double wsize() const;
  /// @return the external path length: the sum of the levels of all leaves, where this tree has
  /// level `d`.
  virtual unsigned long epl(unsigned long d = 0) const;

  /// Makes n child slots: set_capacity() for push_back_child(), with no children yet; resize()
  /// for set_child(), with n null children.
  /// Throw std::runtime_error if there are slots already.
  virtual void set_capacity(Index n);
  virtual void resize(Index n);
  /// Puts `tree` into slot i, taking ownership; what was there is not destroyed.
  virtual void set_child(Index i, Tree* tree);

  virtual Index get_no_childs() const { return no_childs_; }
  virtual Node* get_node() const { return node_.get(); }
  /// @return child i, still owned by this tree; i is not checked.
  virtual Tree* get_child(Index i) const { return childs_[i]; }

  /// Puts child i, which must not be null, in the place of this tree: its node and its children
  /// become this tree's own; the node and the other children of this tree are destroyed.
  virtual void replace_with_son(Index i);

 private:
  static constexpr char k_has_slots[] = "set_capacity called on a non-empty child list";

  void allocate(Index n);
  void destroy_childs() noexcept;
  static void destroy(Tree* top) noexcept;
  bool has_child() const;
  const Tree& self() const { return static_cast<const Tree&>(*this); }

  std::unique_ptr<Node> node_;
  std::unique_ptr<Tree*[]> childs_;  // owns the trees of the first no_childs_ slots
  Index no_childs_ = 0;
  Index capacity_ = 0;
};

}  // namespace zel::adt

#include "zel/adt/basic_tree_impl.h"
