// Drawn trees: what a reader of a picture relies on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <random>

#include "tidy_layout.h"

namespace orvik::view {
namespace {

/// Some tree in the order of a walk.
std::vector<layout_node> random_tree(std::mt19937& draw, unsigned most) {
  std::vector<layout_node> nodes{{-1, 10}};
  std::vector<long> path{0};
  while (nodes.size() < most) {
    path.resize(1 + draw() % path.size());  // the father of the next one: somewhere on the way
    nodes.push_back({path.back(), 10.0 + draw() % 90});
    path.push_back(static_cast<long>(nodes.size()) - 1);
  }
  return nodes;
}

TEST(layout, stands_fathers_over_the_middle_and_keeps_nodes_apart) {
  std::mt19937 draw(1);
  for (unsigned n = 1; n < 300; ++n) {
    const std::vector<layout_node> nodes = random_tree(draw, n);
    const std::vector<double> middles = tidy_layout(nodes);
    std::vector<unsigned long> level(nodes.size());
    std::map<unsigned long, double> right_edge;  // by level
    std::map<long, std::pair<double, double>> children;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      const double left = middles[i] - nodes[i].width / 2;
      ASSERT_GE(left, -1e-6);
      if (i > 0) {
        level[i] = level[static_cast<std::size_t>(nodes[i].father)] + 1;
        children.try_emplace(nodes[i].father, middles[i], 0).first->second.second = middles[i];
      }
      const auto [edge, first] = right_edge.try_emplace(level[i], left);
      ASSERT_GE(left, edge->second - 1e-6) << "node " << i << " of " << n;
      edge->second = left + nodes[i].width;
    }
    for (const auto& [father, ends] : children) {
      const double middle = (ends.first + ends.second) / 2;
      ASSERT_NEAR(middles[static_cast<std::size_t>(father)], middle, 1e-6) << father << " of " << n;
    }
  }
}

/// Two subtrees of three leaves push each other apart; the leaf between them takes the middle of
/// the room instead of leaning on the left one.
TEST(layout, spreads_what_stands_between_large_subtrees) {
  const std::vector<layout_node> nodes{{-1, 10}, {0, 10}, {1, 10}, {1, 10}, {1, 10},
                                       {0, 10},  {0, 10}, {6, 10}, {6, 10}, {6, 10}};
  EXPECT_THAT(tidy_layout(nodes), testing::ElementsAre(30, 15, 5, 15, 25, 30, 45, 35, 45, 55));
}

}  // namespace
}  // namespace orvik::view
