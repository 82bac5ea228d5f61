// Growing small subtrees by processes of which each has some of the columns only.
//
// The subtrees are dealt out by their cells; who has a column tells the cells of each subtree's
// cases to the process that grows it, as a table of these cases alone, and all are told what was
// grown. Some subtrees at a time: what is told and received at once is bounded but for one subtree.
// A cell is read once, by its owner in the order of its cases, and never asked for by row.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "impls/growing/node_growing.h"

namespace orvik::impls {

class gathered_growing {
 public:
  /// Both must outlive this. `growing` has the cases of the nodes.
  gathered_growing(const growing_plan& plan, const node_growing& growing)
      : plan_(plan), growing_(growing), run_(plan.run()) {}

  /// Grows all that is below the nodes. Called by all processes.
  void grow(std::span<growing_node> roots);
  /// Bytes that all heard, and bytes of cells that one heard.
  unsigned long n_told() const { return n_told_; }
  unsigned long n_cells() const { return n_cells_; }

 private:
  using share = std::span<growing_node>;

  std::vector<share> next_shares(share& left, std::span<const std::size_t> bytes) const;
  void grow(const std::vector<share>& shares);
  std::string cells_of(share roots) const;
  std::string grow_own(share roots, std::span<const std::string> cells) const;
  void grow_one(growing_node&& root, std::vector<const char*> cells, std::string& told) const;

  const growing_plan& plan_;
  const node_growing& growing_;
  zel::util::run_context& run_;
  unsigned long n_told_ = 0, n_cells_ = 0;
};

}  // namespace orvik::impls
