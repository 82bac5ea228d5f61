// What each attribute contributes to the shares of the classes that a tree gives a case: Shapley
// values, path-dependent (Lundberg et al. 2020).
//
// The value of a set S of attributes is the distribution that the tree predicts for the case with
// the attributes outside S unknown. What of the case then comes to a leaf is a product over the
// attributes tested on the way there,
//   x_b if b is in S, else r_b,
// r_b the product of the shares of the branches at the tests of b, and x_b 1 where the case agrees
// with all of them, 0 where it does not, r_b where its own value is unknown. A sum over the sets
// with the weights s! (d - 1 - s)! / d!, d the attributes on the way, s those of a set, is an
// integral, as such a weight is that of t^s (1 - t)^(d - 1 - s) over [0, 1]. So the leaf's part in
// the contribution of a is
//   shares (x_a - r_a) times the integral of the product over b other than a of t x_b + (1 - t) r_b
// and the integral of a polynomial of degree d - 1 is a sum over d / 2 points, without cancelling.
//
// The tree is walked once for some cases side by side; each step costs a multiplication a point and
// case, each leaf one more for each of its attributes. Attributes without agreement share one sum:
// (0 - r_a) / ((1 - t) r_a) does not hang on a.
// Threads: many readers; every caller has a workspace of its own.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "impls/evaluation/quadrature.h"
#include "impls/evaluation/votes.h"
#include "impls/tables/table.h"

namespace orvik::impls {

/// What a leaf that no training case came to says: its father's class, as trees answer, or the
/// shares of the nearest node above that has cases, as probabilities are given.
enum class empty_leaves : unsigned char { as_class, as_known };

class shapley_tree {
 public:
  /// So many cases are walked side by side.
  static constexpr std::size_t k_lanes = 8;
  /// A number for every case.
  using lanes = std::array<double, k_lanes>;
  /// The codes of every attribute, of the cases side by side.
  using lane_codes = std::array<std::uint32_t, k_lanes>;
  class workspace;

  /// The shares of leaves lean on `prior`, where that has any; then those of no case are known.
  shapley_tree(const table& t, const voter& asked, empty_leaves how, prior_shares prior = {});

  /// Adds the attributes that are tested.
  void add_tested(std::vector<bool>& tested) const;
  /// Adds the codes that cuts lie at, by attribute.
  void add_limits(std::vector<std::vector<code_t>>& by_attribute) const;

  /// Adds `amount` times the contributions: to parts[place_of[attribute] * n_class_codes + class].
  /// Does not allocate once the workspace has grown. Cost: leaves x attributes on the way x points.
  void add_parts(std::span<const lane_codes> codes, double amount,
                 std::span<const std::uint32_t> place_of, workspace& work,
                 std::span<lanes> parts) const;

 private:
  /// From a node to one of its children, which stands right behind it, or behind the subtrees of
  /// the children before it. The largest subtree is the last, so that few products are kept.
  struct step {
    std::uint32_t attribute;
    std::uint32_t first, span;  // takes the known codes with code - first <= span, without a sign
    std::uint32_t depth;        // of the node above
    std::uint32_t next;         // the step behind the subtree
    std::uint32_t room;         // where the products of the child go; those of the node above are
    bool is_last;               // there too for the last child, else in the room before
    double fraction;
    std::uint32_t first_share, n_shares;  // of a leaf
  };
  struct share {
    std::uint32_t class_code;
    double value;
  };
  template <class Place>
  class builder;

  std::size_t n_class_codes_;
  std::vector<step> steps_;
  std::vector<share> shares_;
  std::size_t deepest_ = 0, n_rooms_ = 1;
  std::unique_ptr<const quadrature> points_;
};

/// Memory for walks; grows to what the largest tree needs.
class shapley_tree::workspace {
 public:
  /// For tables of so many attributes.
  explicit workspace(std::size_t n_attributes) : latest_(n_attributes, k_none) {}

 private:
  friend class shapley_tree;
  static constexpr std::uint32_t k_none = UINT32_MAX;

  /// What the way from the root to a child says of the attribute tested last.
  struct level {
    std::uint32_t attribute;
    std::uint32_t before;  // the level above of the same attribute
    std::uint32_t place;   // in way_
    double rest;           // r
    lanes agrees, differs;
  };

  void start(const shapley_tree& tree);
  /// @return whether any of the cases, by its value or without it, comes there.
  bool go_down(const step& s, const lane_codes& codes);
  void go_up_to(std::uint32_t depth);
  void multiply(const step& s, const level& to, const lanes& stayed);
  void end(const step& s, std::span<const share> shares, double amount, std::size_t n_class_codes,
           std::span<const std::uint32_t> place_of, std::span<lanes> parts);
  void sum_points(const step& s);
  void add_attribute(const level& of, const double* inverse, std::span<const share> shares,
                     double amount, lanes* to) const;

  const quadrature* points_ = nullptr;
  std::vector<level> levels_;          // by depth
  std::size_t depth_ = 0;              // of levels_ in use
  std::vector<double> inverse_;        // by depth, then point: 1 / (t + (1 - t) r)
  std::vector<std::uint32_t> latest_;  // by attribute: the deepest level of it
  std::vector<std::uint32_t> way_;     // the attributes on the way, each as its deepest level
  std::size_t n_on_way_ = 0;
  std::vector<lanes> products_;  // by room, then point
  std::vector<lanes> weighted_;  // those of a leaf, times the points' weights
  lanes of_others_{};            // what attributes without agreement have in common
};

}  // namespace orvik::impls
