// The cells of a square matrix over classes, of which most are empty where there are many classes.
//
// Up to k_most_dense cells they lie in an array, else only those that occur are kept: memory
// follows the cells that occur, O(1) to add to one. Both are read row by row, zeros left out; a sum
// over them is that over all cells to the last bit, as weights are not negative.
#pragma once

#include <cassert>
#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

namespace orvik::impls {

class class_cells {
 public:
  /// Of n x n cells, all 0.
  explicit class_cells(unsigned long n) : n_(n) {
    if (is_dense()) dense_.assign(n * n, 0.0);
  }

  struct cell {
    unsigned long row, column;
    double weight;
  };

  /// Row and column are below n, here and below.
  void add(unsigned long row, unsigned long column, double weight) {
    assert(row < n_ && column < n_);
    const std::uint64_t at = row * n_ + column;
    is_dense() ? dense_[at] += weight : sparse_[at] += weight;
  }
  double at(unsigned long row, unsigned long column) const;
  /// The cells that are not 0, row by row. O(cells), and their logarithm where they are sparse.
  std::vector<cell> occupied() const;

  /// Calls visit(row, cells of the row) for every row, in order; n entries at a time are held.
  template <class Visit>
  void for_each_row(const Visit& visit) const {
    const std::vector<cell> cells = occupied();
    std::vector<double> row(n_);
    auto next = cells.begin();
    for (unsigned long i = 0; i < n_; ++i) {
      const auto first = next;
      for (; next != cells.end() && next->row == i; ++next) row[next->column] = next->weight;
      visit(i, std::span<const double>(row));
      for (auto done = first; done != next; ++done) row[done->column] = 0;
    }
  }

 private:
  static constexpr unsigned long k_most_dense = 1UL << 20;  // 8 MiB

  bool is_dense() const { return n_ * n_ <= k_most_dense; }

  unsigned long n_;
  std::vector<double> dense_;  // row by row
  std::unordered_map<std::uint64_t, double> sparse_;
};

}  // namespace orvik::impls
