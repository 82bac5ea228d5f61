// Growing a tree top down.
//
// One node is one step: split it, make its children with their cases, release its own cases.
// The order of the steps matters to the result only where a forest's nodes draw from one generator:
// such a tree is grown level by level on one thread. Others grow branch by branch, on several
// threads a subtree each, those whose nodes draw by seeds of their own among them; small subtrees
// are not worth a task.
#include <tbb/task_group.h>

#include <deque>
#include <exception>
#include <mutex>

#include "impls/growing/node_growing.h"
#include "impls/growing/packed_growing.h"
#include "impls/growing/shared_growing.h"
#include "impls/trees/decision_tree.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

namespace {

constexpr unsigned long k_largest_sequential = 49;  // cases

/// Draws are made in the order of the levels.
void grow_by_levels(growing_node&& root, node_growing& growing) {
  std::deque<growing_node> queue;
  queue.push_back(std::move(root));
  std::vector<growing_node> open;
  unsigned long n_grown = 0;  // told once, as threads share the count
  while (!queue.empty()) {
    open.clear();
    growing.grow(std::move(queue.front()), open);
    queue.pop_front();
    for (growing_node& child : open) queue.push_back(std::move(child));
    ++n_grown;
  }
  growing.run().count(zel::util::progress::unit::nodes, n_grown);
}

/// Grows subtrees as tasks of one group. No task waits for another, so the stack stays flat
/// however deep the tree; a task goes on with one of the children itself.
class task_growing {
 public:
  explicit task_growing(node_growing& growing) : growing_(growing) {}

  void grow(growing_node node) {
    std::vector<growing_node> open;
    while (node.tree->get_node()->n_cases() > k_largest_sequential) {
      growing_.grow(std::move(node), open);
      growing_.run().count(zel::util::progress::unit::nodes);
      if (open.empty()) return;
      node = std::move(open.back());
      open.pop_back();
      for (growing_node& other : open) {
        growing_node& kept = keep(std::move(other));
        marks_.publish();
        tasks_.run(subtree{*this, kept});
      }
      open.clear();
    }
    growing_.grow_by_branches(std::move(node));
  }

  void wait() { zel::util::parallel::finish(tasks_); }

 private:
  /// What oneTBB copies into its memory and calls from there.
  struct subtree {
    task_growing& growing;
    growing_node& node;

    ZEL_UNWATCHED void operator()() const {
      const zel::util::parallel::body_mark mark(growing.marks_);
      growing.grow(std::move(node));
    }
  };

  growing_node& keep(growing_node&& node) {
    const std::lock_guard lock(kept_mutex_);
    return kept_.emplace_back(std::move(node));
  }

  node_growing& growing_;
  std::mutex kept_mutex_;
  std::deque<growing_node> kept_;  // the tops of subtrees handed to tasks, which stay in place
  zel::util::parallel::loop_marks marks_;
  tbb::task_group tasks_;
};

/// The last of the open nodes is the one that packing comes to next.
class growing_to_pack : public packed_tree::maker {
 public:
  growing_to_pack(growing_node&& root, node_growing& growing) : growing_(growing) {
    open_.push_back(std::move(root));
  }
  ~growing_to_pack() override = default;

  void enter(decision_tree& tree) override {
    if (open_.empty() || open_.back().tree != &tree) return;  // it is a leaf
    growing_node node = std::move(open_.back());
    open_.pop_back();
    growing_.grow(std::move(node), open_);
    ++n_grown_;
  }
  void leave(decision_tree& tree) override {
    if (tree.get_node()->is_split())
      tree.get_node()->set_estimated_error(tree.errors_of_children());
  }
  unsigned long n_grown() const { return n_grown_; }

 private:
  node_growing& growing_;
  std::vector<growing_node> open_;
  unsigned long n_grown_ = 0;
};

/// Subtrees side by side.
void grow_by_tasks(growing_node&& root, node_growing& nodes) {
  task_growing growing(nodes);
  std::exception_ptr failure;
  try {
    growing.grow(std::move(root));
  } catch (...) {  // the tasks must end before the group does
    failure = std::current_exception();
  }
  growing.wait();
  if (failure) std::rethrow_exception(failure);
}

/// Takes an active root. Its list is emptied where growing has the cases in a form of its own and
/// nobody else needs it.
growing_node start_on(node_growing& nodes, const growing_plan& plan, decision_tree& root,
                      case_list& cases, unsigned long max_depth, unsigned long seed) {
  growing_node first = nodes.start(root, max_depth, seed);
  if (plan.empties_lists() && !root.get_node()->is_active()) case_list().swap(cases);
  return first;
}

/// Without draws in order.
void grow_without_order(const growing_plan& plan, decision_tree& root, case_list& cases,
                        unsigned long max_depth, unsigned long seed) {
  if (shared_growing::possible(plan, cases)) {
    shared_growing together(plan);
    return together.grow(start_on(together.growing(), plan, root, cases, max_depth, seed));
  }
  if (plan.is_parted()) {
    return grow_without_order(plan.whole(), root, cases, max_depth, seed);
  }
  node_growing nodes(plan, nullptr);
  growing_node first = start_on(nodes, plan, root, cases, max_depth, seed);
  plan.run().n_workers <= 1 ? nodes.grow_by_branches(std::move(first))
                            : grow_by_tasks(std::move(first), nodes);
}

}  // namespace

packed_tree grow_packed(const growing_plan& plan, case_list& cases, unsigned long max_depth,
                        unsigned long seed) {
  if (plan.is_parted()) return grow_packed(plan.whole(), cases, max_depth, seed);
  decision_tree tree;
  tree.set_node(new decision_node(&cases));
  tree.get_node()->activate(&plan.t(), false);
  node_growing nodes(plan, nullptr);
  growing_to_pack growing(nodes.start(tree, max_depth, seed), nodes);
  packed_tree packed(plan.t(), tree, growing);
  plan.run().count(zel::util::progress::unit::nodes, growing.n_grown());
  return packed;
}

void decision_tree::build(const growing_plan& plan, case_list* cases, unsigned long max_depth,
                          zel::util::rand_gen* draw, unsigned long seed) {
  if (draw != nullptr && plan.is_parted()) return build(plan.whole(), cases, max_depth, draw, seed);
  delete_childs();
  set_node(new decision_node(cases));
  get_node()->activate(&plan.t(), false);
  // Draws have an order: a tree with draws is grown by one thread.
  draw != nullptr ? grow_seq(plan, max_depth, draw, seed)
                  : grow_without_order(plan, *this, *cases, max_depth, seed);
}

void decision_tree::build(const table& t, case_list* cases, model::split_type type,
                          double min_weight, unsigned long max_depth,
                          const zel::adt::bitmap* usable, zel::util::rand_gen* draw) {
  build(growing_plan(t, type, min_weight, usable), cases, max_depth, draw);
}

void decision_tree::build_from_root(const table& t, model::split_type type, double min_weight,
                                    unsigned long max_depth, const zel::adt::bitmap* usable,
                                    zel::util::rand_gen* draw) {
  if (zel::util::default_context().n_workers <= 1 || draw != nullptr) {
    build_seq(t, type, min_weight, max_depth, usable, draw);
    return;
  }
  get_node()->activate(&t, false);
  build_par(t, type, min_weight, max_depth, usable);
}

void decision_tree::build_seq(const table& t, model::split_type type, double min_weight,
                              unsigned long max_depth, const zel::adt::bitmap* usable,
                              zel::util::rand_gen* draw) {
  get_node()->activate(&t, false);
  grow_seq(growing_plan(t, type, min_weight, usable), max_depth, draw, /*seed=*/0);
}

void decision_tree::build_par(const table& t, model::split_type type, double min_weight,
                              unsigned long max_depth, const zel::adt::bitmap* usable) {
  grow_par(growing_plan(t, type, min_weight, usable), max_depth, /*seed=*/0);
}

void decision_tree::grow_seq(const growing_plan& plan, unsigned long max_depth,
                             zel::util::rand_gen* draw, unsigned long seed) {
  node_growing growing(plan, draw);
  growing_node root = growing.start(*this, max_depth, seed);
  draw != nullptr ? grow_by_levels(std::move(root), growing)
                  : growing.grow_by_branches(std::move(root));
}

void decision_tree::grow_par(const growing_plan& plan, unsigned long max_depth,
                             unsigned long seed) {
  node_growing nodes(plan, nullptr);
  grow_by_tasks(nodes.start(*this, max_depth, seed), nodes);
}

}  // namespace orvik::impls
