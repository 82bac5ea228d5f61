// Growing a tree top down.
//
// One node is one step: split it, make its children with their cases, release its own cases.
// The order of the steps does not matter to the result, so a thread takes them level by level,
// and several threads take a subtree each; small subtrees are not worth a task.
#include <tbb/task_group.h>

#include <deque>
#include <exception>

#include "impls/trees/decision_tree.h"
#include "zel/util/parallel.h"

namespace orvik::impls {

namespace {

constexpr unsigned long k_largest_sequential = 49;  // cases

struct growing_rules {
  const table& t;
  model::split_type type;
  double min_weight;
  const zel::adt::bitmap* usable;
  unsigned long n_usable;
  zel::util::rand_gen* draw;  // of the attributes measured at a node; null: all are
};

/// Gives a node that was split its children, each with the cases of its branch.
void make_children(decision_tree& tree, const growing_rules& rules) {
  decision_node& node = *tree.get_node();
  const unsigned long n = node.get_no_of_splits(rules.t);
  std::vector<column::branch_cases> branches =
      rules.t.column_of(node.attribute())
          .split(*node.cases(), n, node.weight(), static_cast<code_t>(node.threshold()));
  tree.set_capacity(static_cast<unsigned int>(n));
  for (unsigned int i = 0; i < n; ++i) {
    auto child = std::make_unique<decision_tree>();
    child->set_node(new decision_node(&node, i + 1));
    child->get_node()->activate(rules.t, std::move(branches[i]));
    tree.push_back_child(child.release());
  }
}

/// Splits an active node with `depth` levels left, or makes it a leaf. Releases its cases.
void grow_node(decision_tree& tree, unsigned long depth, const growing_rules& rules) {
  decision_node& node = *tree.get_node();
  if (depth == 0) {
    node.set_as_leaf();
  } else {
    node.split(rules.t, rules.type, rules.min_weight, rules.usable, rules.n_usable, rules.draw);
  }
  if (node.is_split()) make_children(tree, rules);
  node.disactivate();
}

void grow_by_levels(decision_tree& root, unsigned long max_depth, const growing_rules& rules) {
  std::deque<std::pair<decision_tree*, unsigned long>> queue{{&root, max_depth}};
  while (!queue.empty()) {
    const auto [tree, depth] = queue.front();
    queue.pop_front();
    grow_node(*tree, depth, rules);
    for (unsigned int i = 0; i < tree->get_no_childs(); ++i) {
      queue.emplace_back(tree->get_child(i), depth - 1);
    }
  }
}

/// Grows subtrees as tasks of one group. No task waits for another, so the stack stays flat
/// however deep the tree; a task goes on with its first child itself.
class task_growing {
 public:
  explicit task_growing(const growing_rules& rules) : rules_(rules) {}

  void grow(decision_tree* tree, unsigned long depth) {
    while (tree->get_node()->n_cases() > k_largest_sequential) {
      grow_node(*tree, depth, rules_);
      const unsigned int n = tree->get_no_childs();
      if (n == 0) return;
      --depth;
      for (unsigned int i = n; i-- > 1;) {
        marks_.publish();
        tasks_.run(subtree{*this, tree->get_child(i), depth});
      }
      tree = tree->get_child(0);
    }
    grow_by_levels(*tree, depth, rules_);
  }

  void wait() { tasks_.wait(); }

 private:
  /// What oneTBB copies into its memory and calls from there.
  struct subtree {
    task_growing& growing;
    decision_tree* tree;
    unsigned long depth;

    ZEL_UNWATCHED void operator()() const {
      const zel::util::parallel::body_mark mark(growing.marks_);
      growing.grow(tree, depth);
    }
  };

  const growing_rules& rules_;
  zel::util::parallel::loop_marks marks_;
  tbb::task_group tasks_;
};

growing_rules rules_of(const table& t, model::split_type type, double min_weight,
                       const zel::adt::bitmap* usable, zel::util::rand_gen* draw) {
  const unsigned long n = usable == nullptr ? t.n_attributes() : usable->count();
  return {t, type, min_weight, usable, n, draw};
}

}  // namespace

void decision_tree::build(const table& t, case_list* cases, model::split_type type,
                          double min_weight, unsigned long max_depth,
                          const zel::adt::bitmap* usable, zel::util::rand_gen* draw) {
  delete_childs();
  set_node(new decision_node(cases));
  build_from_root(t, type, min_weight, max_depth, usable, draw);
}

void decision_tree::build_from_root(const table& t, model::split_type type, double min_weight,
                                    unsigned long max_depth, const zel::adt::bitmap* usable,
                                    zel::util::rand_gen* draw) {
  // Draws have an order: a tree with draws is grown by one thread.
  if (zel::util::parallel::n_workers <= 1 || draw != nullptr) {
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
  grow_by_levels(*this, max_depth, rules_of(t, type, min_weight, usable, draw));
}

void decision_tree::build_par(const table& t, model::split_type type, double min_weight,
                              unsigned long max_depth, const zel::adt::bitmap* usable) {
  const growing_rules rules = rules_of(t, type, min_weight, usable, nullptr);
  task_growing growing(rules);
  std::exception_ptr failure;
  try {
    growing.grow(this, max_depth);
  } catch (...) {  // the tasks must end before the group does
    failure = std::current_exception();
  }
  growing.wait();
  if (failure) std::rethrow_exception(failure);
}

}  // namespace orvik::impls
