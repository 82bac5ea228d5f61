// Growing by levels, for all subsets at once: measure what is missing at the open nodes, let every
// subset choose, split by the choices that are new, go on with the children.
#include "impls/selection/search_tree.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "impls/splitting/split_choice.h"
#include "zel/inpout/binstream.h"
#include "zel/util/run_context.h"

namespace orvik::impls::selection {

namespace {

/// Past this the nodes below the root are forgotten before more are grown.
constexpr unsigned long k_most_bytes = 1UL << 30;

// Of what is missing at a level, that many parts are shared out among processes, unless measuring
// it takes no longer than telling of it.
constexpr unsigned long k_shared_parts = 64, k_least_shared_cases = 1UL << 18;

constexpr char k_bad_measure[] = "what was kept of a search is no measure of its attributes";

}  // namespace

/// A node that a subset's tree came to, and the test it takes there.
struct search_tree::open_node {
  search_node* node;
  const attribute_set* subset;
  const candidate* choice = nullptr;
};

struct search_tree::measurement {
  search_node* node;
  std::size_t at;  // of the test

  candidate& test() const { return node->tests[at]; }
  /// Whether the search can go on with what a file says that was measured: it splits the codes that
  /// come here.
  bool may_be(const column::splitting_desc& found, const table& t) const {
    if (!std::isfinite(found.gain) || !std::isfinite(found.split_info)) return false;
    const bool cuts = t.column_of(test().attribute).type() == column::CONTINUOUS;
    if (!cuts || !split_choice::can_split(found)) return true;
    const code_range& range = node->stats.range(test().attribute);
    return range.first <= found.left_code && found.left_code < found.right_code &&
           found.right_code < range.second;
  }
};

/// Splits of a node that have no children yet: the last ones.
struct search_tree::new_splits {
  search_node* node;
  std::size_t first;
  std::span<node_split> own() const { return std::span(node->splits).subspan(first); }
};

const node_split* search_node::split_on(unsigned int attribute) const {
  const auto found = std::ranges::find(splits, attribute, &node_split::attribute);
  return found == splits.end() ? nullptr : &*found;
}

search_tree::search_tree(const setting& s, const search_cases& cases, attribute_set usable)
    : s_(s), cases_(cases), usable_(std::move(usable)), growing_(s.growing) {
  root_ = std::make_unique<search_node>(&growing_);
  root_->stats.activate(&s_.t, false);
  root_->whole.resize(cases.size());
  for (unsigned long at = 0; at < cases.size(); ++at) root_->whole[at] = at;
  settle(*root_, s_.max_depth);
}

search_tree::~search_tree() { forget(); }

/// Takes the nodes apart from the top: no recursion, however deep they are, and no memory, which
/// may be what has run out.
void search_tree::forget() {
  std::unique_ptr<search_node> open;
  const auto open_children = [&open](search_node& father) {
    for (node_split& split : father.splits) {
      for (auto& child : split.children) {
        child->next_open = std::move(open);
        open = std::move(child);
      }
    }
    father.splits.clear();
  };
  for (open_children(*root_); open != nullptr;) {
    const std::unique_ptr<search_node> node = std::move(open);
    open = std::move(node->next_open);
    open_children(*node);
  }
  bytes_ = 0;
}

bool search_tree::grow(std::span<const attribute_set> subsets, const deadline& limit) {
  if (bytes_ > k_most_bytes) forget();
  std::vector<open_node> open;
  for (const attribute_set& subset : subsets) open.push_back({root_.get(), &subset});
  while (!open.empty()) {
    if (limit.passed(s_.run)) return false;
    std::erase_if(open, [](const open_node& o) { return o.node->closed; });
    measure(open);
    choose(open);
    split(open);
    std::vector<open_node> next;
    for (const open_node& o : open) {
      if (o.choice == nullptr) continue;
      for (const auto& child : o.node->split_on(o.choice->attribute)->children) {
        if (!child->closed) next.push_back({child.get(), o.subset});
      }
    }
    open = std::move(next);
  }
  return true;
}

/// Each attribute that a subset has and the node has not measured yet.
void search_tree::measure(std::vector<open_node>& open) {
  std::vector<measurement> missing;
  for (const open_node& o : open) {
    const members in_subset(*o.subset);
    for (std::size_t i = 0; i < o.node->tests.size(); ++i) {
      if (o.node->measured[i] != 0 || !in_subset(o.node->tests[i].attribute)) continue;
      o.node->measured[i] = 1;
      missing.push_back({o.node, i});
      visits_ += o.node->stats.n_cases();
    }
  }
  const std::vector<std::size_t> ends = shared_parts(missing);
  ends.empty()
      ? s_.run.for_each_index(missing.size(), [&](unsigned long i) { measure(missing[i]); })
      : measure_shared_out(missing, ends);
}

void search_tree::measure(const measurement& m) {
  m.node->stats.measure_candidate(s_.t, {s_.type, s_.min_weight, nullptr, s_.t.n_attributes()},
                                  m.test(), /*copy=*/true);
}

/// Where parts of about the same number of cases end; none where they are not worth sharing out.
std::vector<std::size_t> search_tree::shared_parts(std::span<const measurement> missing) const {
  if (!zel::util::is_shared_out(s_.run, /*with_store=*/true)) return {};
  unsigned long all = 0, sum = 0;
  for (const measurement& m : missing) all += m.node->stats.n_cases();
  if (all < k_least_shared_cases) return {};
  std::vector<std::size_t> ends;
  for (std::size_t i = 0; i < missing.size(); ++i) {
    sum += missing[i].node->stats.n_cases();
    if (i + 1 < missing.size() && sum < all / k_shared_parts) continue;
    ends.push_back(i + 1);
    sum = 0;
  }
  return ends;
}

void search_tree::measure_shared_out(std::span<const measurement> missing,
                                     std::span<const std::size_t> ends) {
  const auto part = [&](unsigned long i) {
    const std::size_t begin = i == 0 ? 0 : ends[i - 1];
    return missing.subspan(begin, ends[i] - begin);
  };
  const auto work = [&](unsigned long i) {
    std::vector<column::splitting_desc> found;
    for (const measurement& m : part(i)) {
      measure(m);
      found.push_back(m.test().desc);
    }
    return zel::util::bytes_of_items(found);
  };
  const auto take = [&](unsigned long i, std::string_view bytes) {
    const auto found = zel::util::take_items<column::splitting_desc>(bytes);
    if (found.size() != part(i).size()) zel::util::throw_short_result();
    for (std::size_t k = 0; k < found.size(); ++k) part(i)[k].test().desc = found[k];
  };
  const auto checked = [&](unsigned long i, std::string_view bytes) {
    std::string_view left = bytes;
    const auto found = zel::util::take_items<column::splitting_desc>(left);
    bool good = left.empty() && found.size() == part(i).size();
    for (std::size_t k = 0; good && k < found.size(); ++k) good = part(i)[k].may_be(found[k], s_.t);
    zel::inpout::require(good, k_bad_measure);
    return std::optional<std::string>(bytes);
  };
  const zel::util::kept_form form{nullptr, checked};
  zel::util::share_out(s_.run, ends.size(), s_.run.n_slots(), work, take, &form);
}

void search_tree::choose(std::vector<open_node>& open) const {
  s_.run.for_each_index(open.size(), [&](unsigned long i) {
    open[i].choice = split_choice::best_of(std::span<const candidate>(open[i].node->tests), s_.type,
                                           members(*open[i].subset));
  });
}

void search_tree::split(std::vector<open_node>& open) {
  std::vector<new_splits> made;
  for (const open_node& o : open) {
    if (o.choice == nullptr || o.node->split_on(o.choice->attribute) != nullptr) continue;
    std::vector<node_split>& splits = o.node->splits;
    const bool first = splits.empty() || !splits.back().children.empty();
    if (first) made.push_back({o.node, splits.size()});
    splits.push_back({{o.choice->attribute}, {}});
  }
  // The splits of a node one after another: its children read from it which test it has.
  s_.run.for_each_index(made.size(), [&](unsigned long i) {
    for (node_split& each : made[i].own()) make_children(*made[i].node, each);
  });
  for (const new_splits& some : made) {
    for (const node_split& each : some.own()) account(*some.node, each);
  }
}

void search_tree::make_children(search_node& node, node_split& split) const {
  node.stats.set_test(s_.t,
                      *std::ranges::find(node.tests, split.attribute(), &candidate::attribute));
  split.test = node.stats.test();
  std::vector<branch_cases> branches = node.stats.branches(s_.t);
  for (unsigned int i = 0; i < branches.size(); ++i) {
    auto child = std::make_unique<search_node>(&node.stats, i + 1);
    child->stats.activate_on(s_.t, std::move(branches[i]));
    split.children.push_back(std::move(child));
  }
  route(node, split);
  for (auto& child : split.children) settle(*child, node.levels - 1);
}

/// Sends the search cases down, as a prediction goes.
void search_tree::route(search_node& node, const node_split& split) const {
  const auto& children = split.children;
  const auto part_in_all = [&](unsigned long at, double share) {
    for (const auto& child : children) {
      child->parts.push_back({at, part_of(share, child->stats.weight(), node.stats.weight())});
    }
  };
  visit_codes(s_.t.column_of(split.test.attribute).codes(), [&](const auto& codes) {
    split.test.with_rule([&](auto branch_of) {
      for_each_routed(
          node.whole, [&](unsigned long at) -> code_t { return codes[cases_.row(at)]; }, branch_of,
          children.size(),
          [&](std::size_t b, unsigned long at, code_t) { children[b]->whole.push_back(at); },
          [&](unsigned long at) { part_in_all(at, 1.0); });
      for_each_routed(
          node.parts, [&](const part& p) -> code_t { return codes[cases_.row(p.at)]; }, branch_of,
          children.size(),
          [&](std::size_t b, const part& p, code_t) { children[b]->parts.push_back(p); },
          [&](const part& p) { part_in_all(p.at, p.share); });
    });
  });
}

/// Finishes a node that has its cases: counts its errors as a leaf, and readies it to be split or
/// frees what a leaf has no use for.
void search_tree::settle(search_node& node, unsigned long levels) const {
  assert(std::ranges::is_sorted(node.whole));
  node.levels = levels;
  const class_t predicted = node.stats.priced_class(s_.price);
  for (const unsigned long at : node.whole) node.leaf_errors += cases_.units(at, predicted);
  node.parts.shrink_to_fit();
  if (levels > 0 && !node.stats.stays_leaf(s_.min_weight)) {
    for (const unsigned long a : usable_) {
      const code_range& range = node.stats.range(a);
      if (range.second - range.first > 1) node.tests.push_back({static_cast<unsigned int>(a), {}});
    }
  }
  node.measured.assign(node.tests.size(), 0);
  node.closed = node.tests.empty();
  if (!node.closed) return;
  node.whole = {};
  if (node.stats.father() != nullptr) node.stats.disactivate();
}

void search_tree::account(const search_node& node, const node_split& split) {
  visits_ += node.stats.n_cases() + node.whole.size() + node.parts.size();
  for (const auto& child : split.children) {
    bytes_ += sizeof(search_node) + s_.t.n_class_codes() * sizeof(double) +
              child->parts.size() * sizeof(part);
    if (child->closed) continue;
    bytes_ += child->stats.n_cases() * sizeof(case_list::value_type) +
              child->whole.size() * sizeof(unsigned long) +
              child->tests.size() * sizeof(candidate) + s_.t.n_attributes() * sizeof(code_range);
  }
}

}  // namespace orvik::impls::selection
