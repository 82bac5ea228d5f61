#include "impls/growing/shared_growing.h"

#include <algorithm>
#include <cstring>

#include "impls/growing/gathered_growing.h"
#include "impls/growing/told_subtrees.h"
#include "impls/splitting/split_choice.h"

namespace orvik::impls {

namespace {

/// Nodes of at least this many cases may be split in rounds: fewer are not worth a message, and
/// the order of fewer than k_copied_cases would change as they are measured.
constexpr unsigned long k_fewest_shared = 1000;
static_assert(k_fewest_shared >= k_copied_cases);
constexpr unsigned long k_cases_per_attribute = 2000;  // so that measures are few beside branches
constexpr unsigned long k_nodes_per_round = 256;       // of a table that is not large
constexpr unsigned long k_cases_at_once = 1000;        // of subtrees that are handed out together

/// What is told of a candidate, behind a byte that says whether it can split the node.
struct told_measure {
  std::uint32_t left_code, right_code;
  double gain, split_info;
};

template <class Value>
Value take(std::string_view& told) {
  Value value;
  std::memcpy(&value, told.data(), sizeof value);
  told.remove_prefix(sizeof value);
  return value;
}

void tell(const column::splitting_desc& desc, std::string& to) {
  const bool splits = split_choice::can_split(desc);
  to.push_back(static_cast<char>(splits));
  if (!splits) return;
  const told_measure told{static_cast<std::uint32_t>(desc.left_code),
                          static_cast<std::uint32_t>(desc.right_code), desc.gain, desc.split_info};
  to.append(reinterpret_cast<const char*>(&told), sizeof told);
}

column::splitting_desc take_desc(std::string_view& told) {
  if (take<char>(told) == 0) return {};
  const auto measure = take<told_measure>(told);
  return {measure.left_code, measure.right_code, measure.gain, measure.split_info};
}

std::vector<std::string_view> views_of(const std::vector<std::string>& texts) {
  return {texts.begin(), texts.end()};
}

}  // namespace

bool shared_growing::possible(const growing_plan& plan, const case_list& cases) {
  const zel::util::run_context& run = plan.run();
  return run.companions != nullptr && run.steps.wanted && !plan.how().draws() &&
         cases.size() >= k_fewest_shared &&
         (counted_growing::possible(plan, cases) || weighed_growing::possible(plan, cases));
}

shared_growing::shared_growing(const growing_plan& plan)
    : plan_(plan), run_(plan.run()), growing_(plan, nullptr) {}

void shared_growing::grow(growing_node&& root) {
  const unsigned long n = root.tree->get_node()->n_cases();
  const unsigned long most = k_cases_per_attribute * plan_.rules().n_usable;
  few_ = std::max(k_fewest_shared, std::min(n / k_nodes_per_round, most));
  most_at_once_ = n;
  add(std::move(root));
  while (!open_.empty()) {
    grow_round();
    if (n_waiting_ > most_at_once_) grow_small();
  }
  grow_small();
}

void shared_growing::add(growing_node&& node) {
  const bool few = node.tree->get_node()->n_cases() < few_;
  if (few) n_waiting_ += node.weighed.size;
  (few ? small_ : open_).push_back(std::move(node));
}

void shared_growing::grow_round() {
  n_told_ = 0;
  node_list nodes = next_nodes();
  run_.count(zel::util::progress::unit::nodes, nodes.size());
  take_measures(nodes, exchange(measure(nodes)));
  std::erase_if(nodes, [&](splitting_node& s) {
    const candidate* const best = best_of(s.candidates, plan_.type());
    if (best != nullptr) s.node.tree->get_node()->set_test(plan_.t(), *best);
    return best == nullptr;
  });
  make_children(nodes, exchange(find_branches(nodes)));
  run_.steps.add(n_told_);
}

/// Those that came last, unless they are many: the memory of unknown values' cases is bounded by
/// the depth of the tree, not by its width.
shared_growing::node_list shared_growing::next_nodes() {
  node_list nodes;
  for (unsigned long n = 0; !open_.empty() && n < most_at_once_; open_.pop_back()) {
    splitting_node next{std::move(open_.back()), {}};
    n += next.node.tree->get_node()->n_cases();
    if (find_candidates(plan_, next.node, next.candidates)) nodes.push_back(std::move(next));
  }
  return nodes;
}

std::string shared_growing::measure(node_list& nodes) const {
  return run_.join(nodes.size(), [&](std::size_t i, std::string& told) {
    std::vector<candidate> own;
    std::ranges::copy_if(nodes[i].candidates, std::back_inserter(own), [&](const candidate& c) {
      return owner_of(c.attribute) == run_.companions->rank();
    });
    growing_.measure(nodes[i].node, own);
    for (const candidate& c : own) tell(c.desc, told);
  });
}

void shared_growing::take_measures(node_list& nodes, const std::vector<std::string>& told) const {
  std::vector<std::string_view> left = views_of(told);
  for (splitting_node& s : nodes) {
    for (candidate& c : s.candidates) c.desc = take_desc(left[owner_of(c.attribute)]);
  }
}

std::string shared_growing::find_branches(node_list& nodes) const {
  return run_.join(nodes.size(), [&](std::size_t i, std::string& told) {
    const growing_node& node = nodes[i].node;
    const unsigned int tested = node.tree->get_node()->attribute();
    if (owner_of(tested) == run_.companions->rank()) growing_.tell_branches(node, told);
  });
}

void shared_growing::make_children(node_list& nodes, const std::vector<std::string>& told) {
  std::vector<std::string_view> left = views_of(told);
  std::vector<growing::told_branches> branches;
  for (const splitting_node& s : nodes) {
    const unsigned int tested = s.node.tree->get_node()->attribute();
    branches.push_back(growing_.read_branches(s.node, left[owner_of(tested)]));
  }
  std::vector<std::vector<growing_node>> children(nodes.size());
  run_.for_each_index(nodes.size(), [&](unsigned long i) {
    growing_.make_children(nodes[i].node, branches[i], children[i]);
  });
  for (std::vector<growing_node>& of_node : children) {
    for (growing_node& child : of_node) add(std::move(child));
  }
}

void shared_growing::grow_small() {
  n_told_ = 0;
  plan_.is_parted() ? grow_gathered() : hand_out();
  run_.steps.add(n_told_);
  small_.clear();
  n_waiting_ = 0;
}

/// Of a table of whose columns every process has its own.
void shared_growing::grow_gathered() {
  gathered_growing gathered(plan_, growing_);
  gathered.grow(small_);
  n_told_ = gathered.n_told();
  run_.steps.cells += gathered.n_cells();
}

/// Hands out the subtrees below nodes of few cases, some at a time.
void shared_growing::hand_out() {
  std::vector<std::span<growing_node>> groups;
  for (std::size_t begin = 0, end = 0; begin < small_.size(); begin = end) {
    unsigned long n = 0;
    while (end < small_.size() && n < k_cases_at_once) {
      n += small_[end++].tree->get_node()->n_cases();
    }
    groups.push_back(std::span(small_).subspan(begin, end - begin));
  }
  std::vector<char> grown_here(groups.size());
  const auto grow = [&](unsigned long g) {
    grown_here[g] = 1;
    return grow_whole(groups[g]);
  };
  const auto take_subtrees = [&](unsigned long g, std::string_view told) {
    n_told_ += told.size();
    if (grown_here[g] == 0) growing::take_subtrees(plan_, groups[g], told);
  };
  zel::util::share_out(run_, groups.size(), run_.n_slots(), grow, take_subtrees);
}

std::string shared_growing::grow_whole(std::span<growing_node> roots) {
  std::string told;
  for (growing_node& root : roots) {
    const decision_tree& tree = *root.tree;
    growing_.grow_by_branches(std::move(root));
    growing::tell_subtree(plan_.t(), tree, told);
  }
  return told;
}

std::vector<std::string> shared_growing::exchange(std::string mine) {
  mine.append(growing::k_room_behind_codes, '\0');
  std::vector<std::string> all = run_.companions->exchange(mine);
  for (const std::string& told : all) n_told_ += told.size() - growing::k_room_behind_codes;
  return all;
}

}  // namespace orvik::impls
