#include "impls/growing/gathered_growing.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "impls/growing/gathered_cells.h"
#include "impls/growing/told_subtrees.h"

namespace orvik::impls {

namespace {

/// Of cells that a process is told at once: so many that waiting for the slowest costs little.
constexpr std::size_t k_bytes_at_once = 1UL << 23;

/// Bytes of cells that are told of a node; none of one that stays a leaf.
std::size_t cell_bytes(const growing_plan& plan, const growing_node& of, std::size_t n_cases,
                       std::vector<candidate>& candidates) {
  if (!find_candidates(plan, of, candidates)) candidates.clear();
  return growing::bytes_of_cells(plan, of, n_cases, candidates);
}

}  // namespace

void gathered_growing::grow(std::span<growing_node> roots) {
  std::vector<std::size_t> bytes;
  std::vector<candidate> candidates;
  for (const growing_node& root : roots) {
    bytes.push_back(cell_bytes(plan_, root, node_growing::n_entries(root), candidates));
    n_cells_ += bytes.back();
  }
  while (!roots.empty()) grow(next_shares(roots, std::span(bytes).last(roots.size())));
}

/// Takes one for every process from the front, each of as many bytes as fit, or as are left for it.
std::vector<gathered_growing::share> gathered_growing::next_shares(
    share& left, std::span<const std::size_t> bytes) const {
  const std::size_t all = std::accumulate(bytes.begin(), bytes.end(), std::size_t{0});
  const std::size_t n = run_.companions->size();
  const std::size_t most = std::min(k_bytes_at_once, all / n + 1);
  std::vector<share> shares(n);
  for (share& each : shares) {
    std::size_t taken = 0, n_roots = 0;
    while (n_roots < left.size() && taken < most) taken += bytes[n_roots++];
    each = left.first(n_roots);
    left = left.subspan(n_roots);
    bytes = bytes.subspan(n_roots);
  }
  return shares;
}

void gathered_growing::grow(const std::vector<share>& shares) {
  std::vector<std::string> cells;
  cells.reserve(shares.size());
  for (const share& each : shares) cells.push_back(cells_of(each));
  cells = run_.companions->deal(std::move(cells));
  const unsigned long own = run_.companions->rank();
  const std::vector<std::string> told = run_.companions->exchange(grow_own(shares[own], cells));
  for (unsigned long r = 0; r < shares.size(); ++r) {
    n_told_ += told[r].size();
    if (r != own) growing::take_subtrees(plan_, shares[r], told[r]);
  }
}

/// The own cells of subtrees that another process grows, or this one.
std::string gathered_growing::cells_of(share roots) const {
  const unsigned long own = run_.companions->rank();
  std::string cells = run_.join(roots.size(), [&](unsigned long i, std::string& told) {
    std::vector<candidate> candidates;
    if (!find_candidates(plan_, roots[i], candidates)) return;
    for (const candidate& c : candidates) {
      if (plan_.attributes()[c.attribute].owner != own) continue;
      growing_.visit_cases(roots[i], [&](const auto cases) {
        growing::tell_cells(plan_, roots[i], c.attribute, cases, told);
      });
    }
  });
  cells.append(growing::k_room_behind_codes, '\0');
  return cells;
}

/// @return what is below the roots, whose cells are told by process.
std::string gathered_growing::grow_own(share roots, std::span<const std::string> cells) const {
  std::vector<const char*> at;
  for (const std::string& each : cells) at.push_back(each.data());
  std::vector<std::vector<const char*>> starts;
  std::vector<candidate> candidates;
  for (const growing_node& root : roots) {
    starts.push_back(at);
    if (!find_candidates(plan_, root, candidates)) continue;
    growing::pass_cells(plan_, root, node_growing::n_entries(root), candidates, at);
  }
  return run_.join(roots.size(), [&](unsigned long i, std::string& told) {
    grow_one(std::move(roots[i]), std::move(starts[i]), told);
  });
}

void gathered_growing::grow_one(growing_node&& root, std::vector<const char*> cells,
                                std::string& told) const {
  const decision_tree& tree = *root.tree;
  const std::size_t n = node_growing::n_entries(root);
  std::vector<candidate> candidates;
  if (find_candidates(plan_, root, candidates)) {
    const growing::gathered_cells gathered(plan_, root, n, candidates, std::move(cells));
    const growing_plan plan = plan_.on_cells(gathered.codes(), n);
    node_growing growing(plan, nullptr);
    growing.grow_by_branches(growing.adopt(std::move(root), growing_));
  }
  growing::tell_subtree(plan_.t(), tree, told);
}

}  // namespace orvik::impls
