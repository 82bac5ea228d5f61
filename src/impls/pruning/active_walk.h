// The walk of the strategies that raise children: depth-first, with every node active, on its cases
// of the table, from enter to leave.
//
// Large subtrees are tasks of one group. A node whose children are tasks lies open on the heap and
// counts them down; whoever finishes the last one leaves the node and goes on with its father. So
// no task waits for another, and the stack stays flat however deep the tree. A subtree of few
// cases is walked by one thread. The order of the calls at one node, and of a node after those
// below it, is the same for any number of workers; so is what the visitor makes of them.
#pragma once

#include <tbb/task_group.h>

#include <atomic>
#include <cassert>
#include <exception>
#include <list>
#include <mutex>
#include <utility>
#include <vector>

#include "impls/pruning/activation.h"
#include "impls/pruning/visitor.h"
#include "zel/util/nocopy.h"
#include "zel/util/run_context.h"

namespace orvik::impls::pruning {

/// One walk. Memory: the cases of the nodes of the paths being worked on and of their children.
template <class Visitor>
class active_walk : private zel::util::nocopy {
 public:
  /// All must outlive the walk.
  active_walk(const table& t, const Visitor& visit, const zel::util::run_context& run)
      : t_(t), visit_(visit), run_(run) {}

  void run(decision_tree& root) {
    step first{&root, activation(root, t_)};
    if (run_.n_workers < 2 || is_small(root)) {
      walk_path(std::move(first), nullptr);
    } else {
      tbb::this_task_arena::isolate([&] { run_tasks(std::move(first)); });
    }
  }

 private:
  using state = typename Visitor::state;

  /// Nodes of fewer cases are not worth a task for each child.
  static constexpr unsigned long k_least_cases = 500;

  /// A node between enter and leave.
  struct step {
    decision_tree* tree;
    activation held;
    state here = {};
    std::vector<branch_cases> branches = {};  // handed on to the children; none to visit
    unsigned int next = 0;                    // the child to visit next
  };
  /// The same with its children as tasks.
  struct open_node {
    open_node(step s, open_node* above) : at(std::move(s)), father(above) {}

    step at;
    open_node* father;
    std::atomic<unsigned int> unfinished = 1;  // children; the node itself until it has some
    typename std::list<open_node>::iterator place = {};
  };
  /// What oneTBB copies into its memory and calls from there.
  struct task {
    active_walk& walk;
    open_node* father;
    unsigned int child;

    ZEL_UNWATCHED void operator()() const {
      const zel::util::parallel::body_mark mark(walk.marks_);
      walk.work(father, child);
    }
  };

  static bool is_small(const decision_tree& tree) {
    return tree.get_node()->n_cases() < k_least_cases;
  }

  /// @return whether there are children to be visited. Throws where the run is cancelled.
  bool enter(step& at, const state* father) const {
    run_.require_not_cancelled();
    assert(at.tree->get_node()->is_active());
    return visit_.enter(*at.tree, at.here, father) && split(at);
  }
  bool split(step& at) const {
    at.next = 0;
    at.branches.clear();
    if (at.tree->get_no_childs() > 0) at.branches = at.tree->get_node()->branches(t_);
    return !at.branches.empty();
  }

  step child_of(step& father, unsigned int i) const {
    assert(father.branches[i].cases != nullptr);  // each is visited once
    decision_tree& child = *father.tree->get_child(i);
    return {&child, activation(child, t_, std::move(father.branches[i]))};
  }

  /// On this thread, with the path from `first` on the heap.
  void walk_path(step first, const state* father) const {
    enter(first, father);
    std::vector<step> path;
    path.push_back(std::move(first));
    while (!path.empty()) {
      step& top = path.back();
      if (top.next < top.branches.size()) {
        step child = child_of(top, top.next++);
        enter(child, &top.here);
        path.push_back(std::move(child));  // `top` is gone from here
      } else if (visit_.leave(*top.tree, top.here)) {
        split(top);
      } else {
        path.pop_back();
      }
    }
  }

  void run_tasks(step root) {
    std::exception_ptr failure;
    try {
      work(enter_open(std::move(root), nullptr), 0);
    } catch (...) {  // the tasks must end before the group does
      failure = std::current_exception();
    }
    if (failure) {
      tasks_.wait();
      std::rethrow_exception(failure);
    }
    zel::util::parallel::finish(tasks_);
    assert(open_.empty());
  }

  /// Visits child i of an open node, and then what that leaves to this thread.
  void work(open_node* father, unsigned int i) {
    for (; father != nullptr; i = 0) {
      step child = child_of(father->at, i);
      if (is_small(*child.tree)) {
        walk_path(std::move(child), &father->at.here);
        father = settle(father);
      } else {
        father = enter_open(std::move(child), father);
      }
    }
  }

  /// @return the node whose first child is left to this thread, null for none.
  open_node* enter_open(step at, open_node* father) {
    open_node* const node = open(std::move(at), father);
    return enter(node->at, father == nullptr ? nullptr : &father->at.here) ? send_off(*node)
                                                                           : settle(node);
  }

  /// Makes tasks of the children of `node` but the first. @return the node, whose first child is
  /// left to this thread.
  open_node* send_off(open_node& node) {
    const unsigned int n = node.at.tree->get_no_childs();
    node.unfinished.store(n, std::memory_order_relaxed);
    for (unsigned int i = n; i-- > 1;) {
      marks_.publish();
      tasks_.run(task{*this, &node, i});
    }
    return &node;
  }

  /// Tells `node` that something of it is finished, and leaves it and those above with nothing
  /// unfinished. @return the node whose first child is left to this thread, null for none.
  open_node* settle(open_node* node) {
    while (node != nullptr) {
      const unsigned int before = node->unfinished.fetch_sub(1, std::memory_order_acq_rel);
      assert(before > 0);
      if (before > 1) return nullptr;
      if (!visit_.leave(*node->at.tree, node->at.here)) {
        node = close(node);
      } else if (split(node->at)) {
        return send_off(*node);
      } else {
        node->unfinished.store(1, std::memory_order_relaxed);
      }
    }
    return nullptr;
  }

  open_node* open(step at, open_node* father) {
    const std::lock_guard lock(open_mutex_);
    open_.emplace_front(std::move(at), father);
    open_.front().place = open_.begin();
    return &open_.front();
  }
  /// @return the father.
  open_node* close(open_node* node) {
    std::list<open_node> closed;  // destroyed after the mutex is released
    open_node* const father = node->father;
    const std::lock_guard lock(open_mutex_);
    closed.splice(closed.begin(), open_, node->place);
    return father;
  }

  const table& t_;
  const Visitor& visit_;
  const zel::util::run_context& run_;
  std::mutex open_mutex_;  // taken twice a large node
  std::list<open_node> open_;
  zel::util::parallel::loop_marks marks_;
  tbb::task_group tasks_;
};

/// Walks the tree with a visitor, on the workers.
template <class Visitor>
void walk_active(decision_tree& root, const table& t, const Visitor& visit,
                 const zel::util::run_context& run) {
  active_walk<Visitor>(t, visit, run).run(root);
}

}  // namespace orvik::impls::pruning
