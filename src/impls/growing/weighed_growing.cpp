#include "impls/growing/weighed_growing.h"

#include <algorithm>
#include <cassert>
#include <limits>
#include <span>

#include "impls/growing/weighed_branches.h"
#include "impls/splitting/flag_cells.h"
#include "impls/splitting/measure.h"
#include "impls/splitting/sorted_cut.h"
#include "impls/splitting/split_choice.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

namespace {

using splitting::weighed_case;
using splitting::weighed_node;

/// Cells below which handing a measurement to another thread costs more than it saves.
constexpr unsigned long k_parallel_cells = 20000;
constexpr unsigned long k_few_cases_apart = 8;  // so few are not worth a common pass over flags

struct measuring_memory {
  splitting::scratch<double> one;
  splitting::flag_sums flags;
};

measuring_memory& measuring_scratch() {
  thread_local measuring_memory memory;
  return memory;
}

/// Memory of the node at work, kept by each thread.
struct node_scratch {
  std::vector<candidate> candidates;
  std::vector<std::uint16_t> place_of;  // by class code
  growing::weighed_scratch branches;
};

node_scratch& own_scratch() {
  thread_local node_scratch scratch;
  return scratch;
}

/// Gives the cases the places of their classes. @return whether one weighs nothing.
bool write_places(std::span<weighed_case> cases, const std::vector<std::uint16_t>& place_of) {
  bool nothing = false;
  for (weighed_case& c : cases) {
    c.place = place_of[c.class_code];
    nothing |= c.weight == 0;
  }
  return nothing;
}

/// A node as it is measured: classes with weight have places, all where some cases weigh nothing.
weighed_node places_given(const decision_node& node, std::span<weighed_case> cases,
                          const growing_plan& plan) {
  std::vector<std::uint16_t>& place_of = own_scratch().place_of;
  const unsigned long n_codes = plan.t().n_class_codes();
  const auto give = [&](const auto& has_place) {
    place_of.assign(n_codes, 0);
    std::uint16_t n = 0;
    for (code_t c = 1; c < n_codes; ++c) {
      if (has_place(c)) place_of[c] = n++;
    }
    return n;
  };
  std::size_t n = give([&](code_t c) { return node.class_weight(c) != 0; });
  const bool nothing = write_places(cases, place_of);
  if (nothing) {
    n = give([](code_t) { return true; });
    write_places(cases, place_of);
  }
  return {{node.weight(), plan.min_weight(), n, n_codes - 1, plan.how().free}, cases, nothing};
}

/// `in_place`: null, or the node's cases, which may be sorted.
column::splitting_desc measure_one(const growing_plan& plan, const growing_plan::attribute& a,
                                   const weighed_node& node, const narrow_range& range,
                                   zel::util::quick_gen* draw, weighed_case* in_place) {
  const column::role type = a.values->type();
  if (type != column::CONTINUOUS && type != column::DISCRETE) return {};
  const code_range of(range.first, range.second);
  const bool sorts = type == column::CONTINUOUS && !plan.how().random_cuts &&
                     is_measured_by_sorting(node.size(), of.second - of.first);
  splitting::scratch<double>& s = measuring_scratch().one;
  return splitting::visit_impurity(plan.type(), [&](const auto& impurity) {
    return visit_codes(a.codes, [&](const auto& codes) {
      return sorts ? splitting::cut_by_sorting(impurity, codes, node, of, in_place, s)
                   : splitting::measure_test(impurity, *a.values, codes, node, of, plan.how(), draw,
                                             s);
    });
  });
}

/// Measures those of the candidates that have a flag in one pass. A flag that does not vary parts
/// nothing: one branch is empty, which counts only where the least weight is none.
void measure_flags(const growing_plan& plan, const weighed_node& node,
                   std::span<candidate> candidates) {
  measuring_memory& memory = measuring_scratch();
  std::uint64_t wanted = plan.min_weight() > 0
                             ? splitting::varying_flags(node.cases, std::span(plan.flags()))
                             : ~std::uint64_t{0};
  const auto bit_of = [&](const candidate& c) {
    const unsigned int flag = plan.attributes()[c.attribute].flag;
    return flag == growing_plan::k_no_flag ? 0 : std::uint64_t{1} << flag;
  };
  std::uint64_t of_candidates = 0;
  for (const candidate& c : candidates) of_candidates |= bit_of(c);
  wanted &= of_candidates;
  if (wanted == 0) return;
  splitting::fill_flags(node, plan.flags(), wanted, memory.flags);
  splitting::visit_impurity(plan.type(), [&](const auto& impurity) {
    for (candidate& c : candidates) {
      if ((bit_of(c) & wanted) == 0) continue;
      const unsigned int flag = plan.attributes()[c.attribute].flag;
      c.desc = splitting::measure_branches(impurity, memory.flags.of(flag), node, 0.0,
                                           std::span<const double>(memory.flags.known), memory.one);
    }
  });
}

weighed_list copy_of(std::span<const weighed_case> cases) {
  weighed_list own(cases.size());
  std::ranges::copy(cases, own.memory.get());
  return own;
}

/// Gives the children the cases that part_in_two() left: the larger gets the memory of the father
/// where it takes half of it or more, so that no open node holds on to more.
void hand_over_two(weighed_list& of_father, std::span<growing_node> children) {
  const std::vector<weighed_case>& second = own_scratch().branches.cases;
  const auto size_of = [](const growing_node& c) { return c.tree->get_node()->n_cases(); };
  const auto cases_of = [&](const growing_node& c) -> std::span<const weighed_case> {
    return {c.branch() == 0 ? of_father.memory.get() : second.data(), size_of(c)};
  };
  if (children.empty()) return;
  growing_node& larger = *std::ranges::max_element(children, {}, size_of);
  for (growing_node& child : children) {
    if (&child != &larger) child.weighed = copy_of(cases_of(child));
  }
  const std::span<const weighed_case> cases = cases_of(larger);
  if (2 * cases.size() < of_father.capacity) {
    larger.weighed = copy_of(cases);
    return;
  }
  if (larger.branch() != 0) std::ranges::copy(cases, of_father.memory.get());
  of_father.size = cases.size();
  larger.weighed = std::move(of_father);
}

/// Gives the children lists of their own.
void hand_out(const weighed_list& of_father, std::span<growing_node> children) {
  growing::weighed_scratch& s = own_scratch().branches;
  for (growing_node& child : children) {
    child.weighed = weighed_list(child.tree->get_node()->n_cases());
    s.branches[child.branch()].next = child.weighed.memory.get();
  }
  if (!children.empty()) growing::deal_out(of_father.cases(), s);
}

}  // namespace

bool weighed_growing::possible(const growing_plan& plan, const case_list& cases) {
  constexpr unsigned long k_most = std::numeric_limits<std::uint32_t>::max();
  return plan.may_count() && cases.size() <= k_most && plan.t().class_column().size() <= k_most;
}

void weighed_growing::take_root(growing_node& root) const {
  decision_node& node = *root.tree->get_node();
  assert(node.is_active() && possible(plan_, *node.cases()));
  root.weighed = weighed_list(node.cases()->size());
  weighed_case* next = root.weighed.memory.get();
  visit_class_codes(plan_.t().class_column().codes(), [&](const auto* class_of) {
    for (const auto& [row, weight] : *node.cases()) {
      *next++ = {static_cast<std::uint32_t>(row), class_of[row], 0, weight};
    }
  });
  const unsigned long n = plan_.attributes().size();
  root.piece.ranges = std::make_unique_for_overwrite<narrow_range[]>(n);
  for (unsigned long a = 0; a < n; ++a) {
    root.piece.ranges[a] = {static_cast<std::uint32_t>(node.range(a).first),
                            static_cast<std::uint32_t>(node.range(a).second)};
  }
  node.disactivate();
}

void weighed_growing::grow(growing_node&& open_node, std::vector<growing_node>& open) const {
  std::vector<candidate>& candidates = own_scratch().candidates;
  if (!find_candidates(plan_, open_node, candidates)) return;
  measure(open_node, candidates);
  const candidate* best = best_of(candidates, plan_.type());
  if (best == nullptr) return;
  open_node.tree->get_node()->set_test(plan_.t(), *best);
  make_children(open_node, open);
}

/// Whether measuring the candidate may leave the cases of the node in another order.
bool weighed_growing::is_sorted_in_place(const growing_node& of, const candidate& c) const {
  const narrow_range& range = of.piece.ranges[c.attribute];
  return plan_.attributes()[c.attribute].values->type() == column::CONTINUOUS &&
         is_measured_by_sorting(of.weighed.size, range.second - range.first);
}

/// One after the other on the cases as the one before left them, or in any order where none sorts
/// them in place. Flags are measured together with those up to the next that sorts.
void weighed_growing::measure(growing_node& of, std::vector<candidate>& candidates) const {
  const std::span<weighed_case> cases = of.weighed.cases();
  const weighed_node node = places_given(*of.tree->get_node(), cases, plan_);
  const growth& how = plan_.how();
  const bool in_place = !how.draws() && (draw_ != nullptr || cases.size() < k_copied_cases);
  zel::util::quick_gen draw(of.seed);
  const auto measure_alone = [&](candidate& c) {
    c.desc = measure_one(plan_, plan_.attributes()[c.attribute], node, of.piece.ranges[c.attribute],
                         &draw, in_place ? cases.data() : nullptr);
  };
  if (how.attributes.draws()) {
    const unsigned long wanted = how.attributes.of(plan_.rules().n_usable);
    flag_watch<weighed_case> flags(plan_, cases, of);
    return measure_drawn(candidates, wanted, plan_.type(), draw, [&](candidate& c) {
      if (!flags.is_constant(c)) measure_alone(c);
    });
  }
  if (draw_ != nullptr) keep_random(candidates, plan_.rules().n_usable, *draw_);
  const bool together = !plan_.flags().empty() && cases.size() > k_few_cases_apart;
  const auto is_apart = [&](const candidate& c) {
    return !together || plan_.attributes()[c.attribute].flag == growing_plan::k_no_flag;
  };
  if (!in_place && !how.draws() && cases.size() * candidates.size() >= k_parallel_cells) {
    return plan_.run().for_each_index(candidates.size() + together, [&](unsigned long i) {
      if (i == candidates.size()) return measure_flags(plan_, node, candidates);
      if (is_apart(candidates[i])) measure_alone(candidates[i]);
    });
  }
  auto flags_end = candidates.begin();
  for (auto next = candidates.begin(); next != candidates.end(); ++next) {
    if (is_apart(*next)) {
      measure_alone(*next);
    } else if (next >= flags_end) {
      flags_end = std::find_if(next, candidates.end(), [&](const candidate& c) {
        return in_place && is_sorted_in_place(of, c);
      });
      measure_flags(plan_, node, {next, flags_end});
    }
  }
}

/// Finds what goes down every branch; in two ones without unknown values the cases lie parted.
template <class Codes, class BranchOf>
void weighed_growing::part(const growing_node& of, const Codes& codes, BranchOf branch_of,
                           bool in_two) const {
  const decision_node& node = *of.tree->get_node();
  const std::span<weighed_case> cases = of.weighed.cases();
  growing::weighed_scratch& s = own_scratch().branches;
  double unknown = 0;
  in_two ? growing::part_in_two(codes, branch_of, cases, s)
         : void(unknown = growing::find_branches(codes, branch_of, cases, s));
  for (growing::weighed_branch& b : s.branches) {
    b.share = share_of(b.weight, node.weight() - unknown);
  }
  if (!in_two) growing::sum_classes(cases, s);
}

void weighed_growing::make_children(growing_node& open_node,
                                    std::vector<growing_node>& open) const {
  const decision_node& node = *open_node.tree->get_node();
  const growing_plan::attribute& tested = plan_.attributes()[node.attribute()];
  const unsigned long n = node.get_no_of_splits(plan_.t());
  const bool in_two = n == 2 && !tested.may_be_unknown;
  own_scratch().branches.start(node.test(), n, plan_.t().n_class_codes());
  visit_codes(tested.codes, [&](const auto& codes) {
    node.test().with_rule([&](auto branch_of) { part(open_node, codes, branch_of, in_two); });
  });
  add_children(open_node, open, in_two);
}

void weighed_growing::make_children(growing_node& open_node, const growing::told_branches& told,
                                    std::vector<growing_node>& open) const {
  const bool in_two = told.n_branches() == 2 && !told.some_unknown();
  growing::weighed_scratch& s = own_scratch().branches;
  s.start(open_node.tree->get_node()->test(), told.n_branches(), plan_.t().n_class_codes());
  part(open_node, told.codes(), value_branches{}, in_two);
  told.give_ranges(s.branches);
  add_children(open_node, open, in_two);
}

void weighed_growing::tell_branches(const growing_node& of, std::string& to) const {
  growing::told_branches::tell<weighed_case>(plan_, of.tree->get_node()->test(), of.weighed.cases(),
                                             to);
}

/// Of the branches that were found. `in_two`: in which the cases lie parted in two.
void weighed_growing::add_children(growing_node& open_node, std::vector<growing_node>& open,
                                   bool in_two) const {
  decision_tree& tree = *open_node.tree;
  const growing::weighed_scratch& s = own_scratch().branches;
  const std::size_t first_open = open.size();
  tree.set_capacity(static_cast<unsigned int>(s.branches.size()));
  for (std::size_t b = 0; b < s.branches.size(); ++b) {
    const growing::weighed_branch& branch = s.branches[b];
    const unsigned long n_cases = branch.size + s.n_unknown;
    if (n_cases == 0 && plan_.leaves_out_empty()) {
      tree.push_back_child(nullptr);
      continue;
    }
    auto child = std::make_unique<decision_tree>();
    child->set_node(new decision_node(tree.get_node(), static_cast<unsigned int>(b + 1)));
    decision_node& node = *child->get_node();
    auto distribution = std::make_unique_for_overwrite<double[]>(s.n_classes);
    std::ranges::copy(s.weights_of(b), distribution.get());
    node.set_statistics(std::move(distribution), s.n_classes, n_cases, branch.share);
    node.set_as_leaf();
    if (open_node.depth > 1 && !node.stays_leaf(plan_.min_weight())) {
      open.push_back({child.get(), open_node.depth - 1, {}, open_node.seed_of_branch(b)});
    }
    tree.push_back_child(child.release());
  }
  const std::span<growing_node> children = std::span(open).subspan(first_open);
  hand_down(plan_, open_node, children, [&](std::size_t b) {
    return narrow_range(s.branches[b].lowest, s.branches[b].highest + 1);
  });
  in_two ? hand_over_two(open_node.weighed, children) : hand_out(open_node.weighed, children);
}

}  // namespace orvik::impls
