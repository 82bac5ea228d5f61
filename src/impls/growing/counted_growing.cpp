#include "impls/growing/counted_growing.h"

#include <algorithm>
#include <cassert>
#include <span>

#include "impls/growing/count_partition.h"
#include "impls/splitting/flag_cells.h"
#include "impls/splitting/measure.h"
#include "impls/splitting/split_choice.h"
#include "zel/util/run_context.h"

namespace orvik::impls {

namespace {

using splitting::count_t;
using splitting::counted_node;

using count_scratch = splitting::scratch<count_t>;

/// Cells below which handing a measurement to another thread costs more than it saves: counting
/// one takes a few nanoseconds.
constexpr unsigned long k_parallel_counts = 100000;
constexpr unsigned long k_few_cases_apart = 8;  // so few are not worth a common pass over flags

count_scratch& measuring_scratch() {
  thread_local count_scratch scratch;
  return scratch;
}

/// What the classes of a node's cases are, by class code and by place among those that occur.
struct class_places {
  std::vector<std::uint16_t> place_of;
  std::vector<count_t> totals;

  void set(const decision_node& node, unsigned long n_codes) {
    place_of.resize(n_codes);
    totals.resize(n_codes);
    std::uint16_t n = 0;
    for (code_t c = 1; c < n_codes; ++c) {  // without a branch, which nobody could foretell
      const double weight = node.class_weight(c);
      place_of[c] = n;
      totals[n] = static_cast<count_t>(static_cast<std::int64_t>(weight));
      n += weight != 0;
    }
    totals.resize(n);
  }
};

/// Memory of the node at work, kept by each thread.
struct node_scratch {
  std::vector<candidate> candidates;
  class_places classes;
  std::vector<count_t> flags;  // of a node that draws its attributes
  growing::partition_scratch partition;
  std::vector<counted_case> sorted;
};

node_scratch& own_scratch() {
  thread_local node_scratch scratch;
  return scratch;
}

column::splitting_desc measure_one(const growing_plan& plan, const growing_plan::attribute& a,
                                   const counted_node& node, const narrow_range& range,
                                   zel::util::quick_gen* draw) {
  const column::role type = a.values->type();
  if (type != column::CONTINUOUS && type != column::DISCRETE) return {};
  const code_range of(range.first, range.second);
  return splitting::visit_impurity(plan.type(), [&](const auto& impurity) {
    return visit_codes(a.codes, [&](const auto& codes) {
      return splitting::measure_test(impurity, *a.values, codes, node, of, plan.how(), draw,
                                     measuring_scratch());
    });
  });
}

/// What a flag parts, counts at its set bit being known.
column::splitting_desc measure_flag(const growing_plan& plan, const counted_node& node,
                                    std::span<const count_t> set, unsigned int flag,
                                    count_scratch& s) {
  return splitting::visit_impurity(plan.type(), [&](const auto& impurity) {
    return splitting::measure_branches(impurity, splitting::cells_of_flag(node, set, flag, s.cells),
                                       node, count_t{0}, node.totals, s);
  });
}

/// Measures all boolean candidates with a flag in one pass.
void measure_flags(const growing_plan& plan, const counted_node& node,
                   std::vector<candidate>& candidates, count_scratch& s) {
  std::uint64_t wanted = 0;
  for (const candidate& c : candidates) {
    const unsigned int flag = plan.attributes()[c.attribute].flag;
    if (flag != growing_plan::k_no_flag) wanted |= std::uint64_t{1} << flag;
  }
  if (wanted == 0) return;
  splitting::fill_flags(node, plan.flags(), wanted, growing_plan::k_no_flag, s.known);
  for (candidate& c : candidates) {
    const unsigned int flag = plan.attributes()[c.attribute].flag;
    if (flag != growing_plan::k_no_flag) c.desc = measure_flag(plan, node, s.known, flag, s);
  }
}

/// Measures flags of a node that draws its attributes: the first one that is drawn has all counted
/// that may vary, where that costs little.
class drawn_flags {
 public:
  drawn_flags(const growing_plan& plan, const counted_node& node, growing_node& of,
              std::vector<count_t>& memory)
      : plan_(plan), node_(node), varying_(of.varying), set_(memory) {
    counts_ = plan.few_are_set() && node.cases.size() > k_few_cases_apart && plan.min_weight() > 0;
  }

  /// @return false, having done nothing, for an attribute that is to be measured by itself.
  bool measure(candidate& c) {
    const unsigned int flag = plan_.attributes()[c.attribute].flag;
    if (!counts_ || flag == growing_plan::k_no_flag) return false;
    if (!counted_ && varies(flag)) {
      varying_ = splitting::fill_varying(node_, plan_.flags(), varying_, set_);
      counted_ = true;
    }
    if (varies(flag)) c.desc = measure_flag(plan_, node_, set_, flag, measuring_scratch());
    return true;
  }

 private:
  bool varies(unsigned int flag) const { return (varying_ >> flag & 1U) != 0; }

  const growing_plan& plan_;
  const counted_node& node_;
  std::uint64_t& varying_;
  std::vector<count_t>& set_;  // as fill_varying() leaves them
  bool counts_, counted_ = false;
};

/// Of a leaf with so many cases of every class. Whole numbers add up to the same in any order.
decision_node::statistics statistics_of(std::span<const count_t> counts, double of_father) {
  decision_node::statistics all{
      std::make_unique_for_overwrite<double[]>(counts.size()), 0.0, 0.0, 0.0, 0, class_t{0}};
  count_t sum = 0, most = 0;
  for (std::size_t c = 0; c < counts.size(); ++c) {
    all.by_code[c] = counts[c];
    sum += counts[c];
    most = std::max(most, counts[c]);
  }
  all.weight = sum;
  all.fraction = all.weight / of_father;
  all.error = sum - most;
  all.n_cases = sum;
  all.majority = static_cast<class_t>(std::ranges::find(counts, most) - counts.begin());
  return all;
}

}  // namespace

counted_piece counted_growing::take_root(decision_node& root) {
  assert(root.is_active() && possible(plan_, *root.cases()));
  const unsigned long n = plan_.attributes().size();
  const code_view classes = plan_.t().class_column().codes();
  cases_ = plan_.order_matters()
               ? counted_in_order(*root.cases(), classes)
               : counted_by_row(*root.cases(), classes, plan_.t().class_column().size());
  counted_piece piece{0, cases_.size(), std::make_unique_for_overwrite<narrow_range[]>(n)};
  for (unsigned long a = 0; a < n; ++a) {
    piece.ranges[a] = {static_cast<std::uint32_t>(root.range(a).first),
                       static_cast<std::uint32_t>(root.range(a).second)};
  }
  root.disactivate();
  return piece;
}

void counted_growing::adopt(counted_piece& piece, std::span<const counted_case> cases) {
  assert(cases_.empty());
  cases_.assign(cases.begin(), cases.end());
  for (std::uint32_t row = 0; row < cases_.size(); ++row) cases_[row].row = row;
  piece.begin = 0;
  piece.end = cases_.size();
}

void counted_growing::grow(growing_node&& open_node, std::vector<growing_node>& open) {
  const counted_piece& piece = open_node.piece;
  std::vector<candidate>& candidates = own_scratch().candidates;
  if (!find_candidates(plan_, open_node, candidates)) return;
  assert(piece.begin < piece.end && piece.end <= cases_.size());
  measure(open_node, candidates);
  const candidate* best = best_of(candidates, plan_.type());
  if (best == nullptr) return;
  open_node.tree->get_node()->set_test(plan_.t(), *best);
  if (plan_.order_matters()) sort_in_place(piece, candidates);
  meets_unknown(piece, best->attribute) ? make_weighed_children(open_node, open)
                                        : make_children(open_node, open);
}

void counted_growing::measure(growing_node& of, std::vector<candidate>& candidates) const {
  const decision_node& node = *of.tree->get_node();
  const counted_piece& piece = of.piece;
  class_places& classes = own_scratch().classes;
  classes.set(node, plan_.t().n_class_codes());
  const counted_node counted{
      {static_cast<count_t>(node.weight()), plan_.min_weight(), classes.totals.size(),
       plan_.t().n_class_codes() - 1, plan_.how().free},
      {cases_.data() + piece.begin, piece.end - piece.begin},
      classes.place_of.data(),
      classes.totals};
  zel::util::quick_gen draw(of.seed);
  const auto measure_alone = [&](candidate& c) {
    c.desc = measure_one(plan_, plan_.attributes()[c.attribute], counted, piece.ranges[c.attribute],
                         &draw);
  };
  const growth& how = plan_.how();
  if (how.attributes.draws()) {
    const unsigned long wanted = how.attributes.of(plan_.rules().n_usable);
    flag_watch<counted_case> flags(plan_, counted.cases, of);
    drawn_flags together(plan_, counted, of, own_scratch().flags);
    return measure_drawn(candidates, wanted, plan_.type(), draw, [&](candidate& c) {
      if (!together.measure(c) && !flags.is_constant(c)) measure_alone(c);
    });
  }
  if (draw_ != nullptr) keep_random(candidates, plan_.rules().n_usable, *draw_);
  const std::size_t n = counted.cases.size();
  const bool together = !plan_.flags().empty() && n > k_few_cases_apart;
  const auto measure_at = [&](unsigned long i) {
    if (i == candidates.size()) {
      return measure_flags(plan_, counted, candidates, measuring_scratch());
    }
    const unsigned int flag = plan_.attributes()[candidates[i].attribute].flag;
    if (!together || flag == growing_plan::k_no_flag) measure_alone(candidates[i]);
  };
  const unsigned long n_measures = candidates.size() + together;
  if (draw_ == nullptr && !how.draws() && n * n_measures >= k_parallel_counts) {
    plan_.run().for_each_index(n_measures, measure_at);
  } else {
    for (unsigned long i = 0; i < n_measures; ++i) measure_at(i);
  }
}

/// Leaves the cases in the order that measuring them in place would: by the codes of every
/// attribute that is measured by sorting, one after the other.
void counted_growing::sort_in_place(const counted_piece& piece,
                                    const std::vector<candidate>& candidates) {
  const std::size_t n = piece.end - piece.begin;
  if (plan_.how().draws() || (draw_ == nullptr && n >= k_copied_cases)) return;
  const std::span<counted_case> cases(cases_.data() + piece.begin, n);
  zel::adt::key_sorter& sorter = measuring_scratch().sorter;
  std::vector<counted_case>& sorted = own_scratch().sorted;
  for (const candidate& c : candidates) {
    const growing_plan::attribute& a = plan_.attributes()[c.attribute];
    const narrow_range& range = piece.ranges[c.attribute];
    if (a.values->type() != column::CONTINUOUS) continue;
    if (!is_measured_by_sorting(n, range.second - range.first)) continue;
    const std::span<std::uint64_t> keys = sorter.start(n);
    visit_codes(a.codes, [&](const auto& codes) {
      for (std::size_t i = 0; i < n; ++i) {
        keys[i] = std::uint64_t{codes[cases[i].row]} << zel::adt::k_key_payload_bits | i;
      }
    });
    sorted.clear();
    for (const std::uint64_t key : sorter.sort(n, range.second)) {
      sorted.push_back(cases[static_cast<std::uint32_t>(key)]);
    }
    std::ranges::copy(sorted, cases.begin());
  }
}

bool counted_growing::meets_unknown(const counted_piece& piece, unsigned int attribute) const {
  const growing_plan::attribute& a = plan_.attributes()[attribute];
  if (!a.may_be_unknown) return false;
  return visit_codes(a.codes, [&](const auto& codes) {
    return std::any_of(cases_.begin() + static_cast<std::ptrdiff_t>(piece.begin),
                       cases_.begin() + static_cast<std::ptrdiff_t>(piece.end),
                       [&](const counted_case& c) { return codes[c.row] == k_unknown; });
  });
}

void counted_growing::make_children(growing_node& open_node, std::vector<growing_node>& open) {
  const decision_node& node = *open_node.tree->get_node();
  const split_test& test = node.test();
  growing::partition_scratch& scratch = own_scratch().partition;
  scratch.start(test, node.get_no_of_splits(plan_.t()), plan_.t().n_class_codes());
  visit_codes(plan_.attributes()[node.attribute()].codes, [&](const auto& codes) {
    test.with_rule([&](auto branch_of) {
      scratch.parts.size() == 2
          ? growing::sort_in_two(codes, branch_of, cases_of(open_node), scratch)
          : growing::sort_by_branch(codes, branch_of, cases_of(open_node), scratch);
    });
  });
  add_children(open_node, open);
}

void counted_growing::make_children(growing_node& open_node, const growing::told_branches& told,
                                    std::vector<growing_node>& open) {
  if (told.some_unknown()) {
    weigh(open_node);
    return weighed_.make_children(open_node, told, open);
  }
  growing::partition_scratch& scratch = own_scratch().partition;
  scratch.start(open_node.tree->get_node()->test(), told.n_branches(), plan_.t().n_class_codes());
  told.n_branches() == 2
      ? growing::sort_in_two(told.codes(), value_branches{}, cases_of(open_node), scratch)
      : growing::sort_by_branch(told.codes(), value_branches{}, cases_of(open_node), scratch);
  told.give_ranges(scratch.parts);
  add_children(open_node, open);
}

/// Of the parts that the cases of the node lie in by now.
void counted_growing::add_children(growing_node& open_node, std::vector<growing_node>& open) {
  decision_node& node = *open_node.tree->get_node();
  const counted_piece& piece = open_node.piece;
  const growing::partition_scratch& scratch = own_scratch().partition;
  const std::size_t n = scratch.parts.size();
  const unsigned long n_classes = plan_.t().n_class_codes();
  assert(scratch.parts.back().end == piece.end - piece.begin);
  const std::size_t first_open = open.size();
  open_node.tree->set_capacity(static_cast<unsigned int>(n));
  for (std::size_t b = 0; b < n; ++b) {
    const growing::branch_part& part = scratch.parts[b];
    if (part.size == 0 && plan_.leaves_out_empty()) {
      open_node.tree->push_back_child(nullptr);
      continue;
    }
    auto child = std::make_unique<decision_tree>();
    child->set_node(new decision_node(&node, static_cast<unsigned int>(b + 1)));
    child->get_node()->set_statistics(statistics_of(
        std::span(scratch.class_counts).subspan(b * n_classes, n_classes), node.weight()));
    if (open_node.depth > 1 && !child->get_node()->stays_leaf(plan_.min_weight())) {
      const std::size_t end = piece.begin + part.end;
      open.push_back({child.get(),
                      open_node.depth - 1,
                      {end - part.size, end, nullptr},
                      open_node.seed_of_branch(b)});
    }
    open_node.tree->push_back_child(child.release());
  }
  hand_down(plan_, open_node, std::span(open).subspan(first_open), [&](std::size_t b) {
    return narrow_range(scratch.parts[b].lowest, scratch.parts[b].highest + 1);
  });
}

/// From here on they are weighed: the children have fractions of some.
void counted_growing::weigh(growing_node& open_node) const {
  const counted_piece& piece = open_node.piece;
  open_node.weighed = weighed_list(piece.end - piece.begin);
  for (std::size_t i = piece.begin; i < piece.end; ++i) {
    open_node.weighed.memory[i - piece.begin] = {cases_[i].row, cases_[i].class_code, 0, 1.0};
  }
}

void counted_growing::make_weighed_children(growing_node& open_node,
                                            std::vector<growing_node>& open) {
  weigh(open_node);
  weighed_.make_children(open_node, open);
}

void counted_growing::tell_branches(const growing_node& of, std::string& to) const {
  growing::told_branches::tell<counted_case>(plan_, of.tree->get_node()->test(), cases_of(of.piece),
                                             to);
}

}  // namespace orvik::impls
