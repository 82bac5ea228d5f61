// Members of basic_tree; included by basic_tree.h only.
#pragma once

#include "zel/adt/basic_tree.h"

namespace zel::adt {

template <class Node, class Tree, class Index>
void basic_tree<Node, Tree, Index>::set_node(Node* node) {
  if (node != node_.get()) node_.reset(node);
}

template <class Node, class Tree, class Index>
void basic_tree<Node, Tree, Index>::push_back_child(Tree* tree) {
  if (no_childs_ == capacity_) return;
  childs_[no_childs_++] = tree;
}

template <class Node, class Tree, class Index>
void basic_tree<Node, Tree, Index>::delete_child(Index i) {
  assert(i < capacity_);
  destroy(std::exchange(childs_[i], nullptr));
}

template <class Node, class Tree, class Index>
void basic_tree<Node, Tree, Index>::clear_child(Index i) {
  assert(i < capacity_);
  childs_[i] = nullptr;
}

template <class Node, class Tree, class Index>
void basic_tree<Node, Tree, Index>::clear_childs() {
  childs_.reset();
  no_childs_ = capacity_ = 0;
}

template <class Node, class Tree, class Index>
void basic_tree<Node, Tree, Index>::set_child(Index i, Tree* tree) {
  assert(i < capacity_);
  childs_[i] = tree;
}

template <class Node, class Tree, class Index>
void basic_tree<Node, Tree, Index>::set_capacity(Index n) {
  allocate(n);
}

template <class Node, class Tree, class Index>
void basic_tree<Node, Tree, Index>::resize(Index n) {
  allocate(n);
  no_childs_ = n;
}

template <class Node, class Tree, class Index>
void basic_tree<Node, Tree, Index>::allocate(Index n) {
  if (childs_) throw std::runtime_error(k_has_slots);
  childs_ = std::make_unique<Tree*[]>(n);
  capacity_ = n;
}

template <class Node, class Tree, class Index>
void basic_tree<Node, Tree, Index>::replace_with_son(Index i) {
  assert(i < no_childs_ && childs_[i]);
  const std::unique_ptr<Tree> son(std::exchange(childs_[i], nullptr));
  destroy_childs();
  basic_tree& from = *son;
  node_ = std::move(from.node_);
  childs_ = std::move(from.childs_);
  no_childs_ = std::exchange(from.no_childs_, 0);
  capacity_ = std::exchange(from.capacity_, 0);
}

template <class Node, class Tree, class Index>
void basic_tree<Node, Tree, Index>::destroy_childs() noexcept {
  for (Index i = 0; i < no_childs_; ++i) destroy(childs_[i]);
  childs_.reset();
  no_childs_ = capacity_ = 0;
}

// Destruction must not throw, so it cannot allocate a stack: the slot of the child that is being
// destroyed, the last one left of its parent, holds the way back to the grandparent. Every tree
// object is deleted after its children, so no destructor finds children of its own.
template <class Node, class Tree, class Index>
void basic_tree<Node, Tree, Index>::destroy(Tree* top) noexcept {
  Tree* parent = nullptr;
  Tree* current = top;
  while (current) {
    basic_tree& tree = *current;
    if (tree.no_childs_ > 0) {
      Tree*& slot = tree.childs_[tree.no_childs_ - 1];
      if (slot) {
        Tree* const child = slot;
        slot = parent;
        parent = current;
        current = child;
      } else {
        --tree.no_childs_;
      }
      continue;
    }
    delete current;
    current = parent;
    if (!parent) continue;
    basic_tree& above = *parent;
    parent = above.childs_[--above.no_childs_];
  }
}

template <class Node, class Tree, class Index>
bool basic_tree<Node, Tree, Index>::has_child() const {
  return std::any_of(childs_.get(), childs_.get() + no_childs_,
                     [](const Tree* child) { return child != nullptr; });
}

template <class Node, class Tree, class Index>
unsigned long basic_tree<Node, Tree, Index>::size() const {
  unsigned long trees = 0;
  walk(
      self(), [&](const Tree&, unsigned long) { return ++trees, true; },
      [](const Tree&, unsigned long) {});
  return trees;
}

template <class Node, class Tree, class Index>
unsigned long basic_tree<Node, Tree, Index>::leaves() const {
  unsigned long leaves = 0;
  walk(
      self(),
      [&](const Tree& tree, unsigned long) {
        if (!tree.has_child()) ++leaves;
        return true;
      },
      [](const Tree&, unsigned long) {});
  return leaves;
}

template <class Node, class Tree, class Index>
unsigned long basic_tree<Node, Tree, Index>::depth() const {
  unsigned long levels = 0;
  walk(
      self(),
      [&](const Tree&, unsigned long level) {
        levels = std::max(levels, level + 1);
        return true;
      },
      [](const Tree&, unsigned long) {});
  return levels;
}

template <class Node, class Tree, class Index>
double basic_tree<Node, Tree, Index>::wdepth() const {
  std::vector<double> heaviest;  // by level: the largest result of the trees left there so far
  walk(
      self(),
      [&](const Tree&, unsigned long level) {
        heaviest.resize(std::max<unsigned long>(heaviest.size(), level + 2), 0.0);
        return true;
      },
      [&](const Tree& tree, unsigned long level) {
        const double weight = tree.get_weight() + std::exchange(heaviest[level + 1], 0.0);
        heaviest[level] = std::max(heaviest[level], weight);
      });
  return heaviest[0];
}

template <class Node, class Tree, class Index>
double basic_tree<Node, Tree, Index>::wsize() const {
  double weight = 0;
  walk(
      self(), [&](const Tree& tree, unsigned long) { return weight += tree.get_weight(), true; },
      [](const Tree&, unsigned long) {});
  return weight;
}

template <class Node, class Tree, class Index>
unsigned long basic_tree<Node, Tree, Index>::epl(unsigned long d) const {
  unsigned long length = 0;
  walk(
      self(),
      [&](const Tree& tree, unsigned long level) {
        if (!tree.has_child()) length += d + level;
        return true;
      },
      [](const Tree&, unsigned long) {});
  return length;
}

}  // namespace zel::adt
