// The errors of the trees of all subsets of a table's attributes, each grown by itself from the
// root: what searches for attributes are compared with.
#pragma once

#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "impls/selection/setting.h"
#include "impls/splitting/split_choice.h"
#include "impls/support/table_text.h"
#include "impls/support/tree_builder.h"
#include "impls/tables/folds.h"
#include "impls/trees/decision_tree.h"

namespace orvik::impls {

/// `n` attributes, every third one continuous, that have about as much to do with the class as a
/// coin, but the first few; with unknown values, and case weights if `weighted`. Attributes of
/// many values gain much by chance and have a poor ratio: they move the mean of the gains.
inline std::unique_ptr<table> noisy_table(unsigned long n, unsigned long rows, unsigned long seed,
                                          bool weighted) {
  std::mt19937_64 draw(seed);
  std::string names, data;
  for (unsigned long a = 0; a < n; ++a) {
    names +=
        "a" + std::to_string(a) + (a % 3 == 2 ? ",integer,continuous\n" : ",string,discrete\n");
  }
  names += "k,string,class\n";
  if (weighted) names += "w,double,weights\n";
  for (unsigned long i = 0; i < rows; ++i) {
    unsigned long hint = 0;
    for (unsigned long a = 0; a < n; ++a) {
      const unsigned long value = draw() % (a % 3 == 2 ? 30 : a % 4 == 3 ? 12 : 2 + a % 4);
      if (a < 3) hint += value % 3;
      data += (draw() % 15 == 0 ? "?" : std::to_string(value)) + ",";
    }
    data += "c" + std::to_string(draw() % 4 == 0 ? draw() % 3 : hint % 3);
    if (weighted) data += "," + std::to_string(static_cast<double>(1 + draw() % 9) * 0.3);
    data += '\n';
  }
  return make_table(names, data);
}

/// A table with its cases divided.
struct divided_table {
  std::unique_ptr<table> t;
  case_list growing, searching;

  explicit divided_table(std::unique_ptr<table> made) : t(std::move(made)) {
    const std::unique_ptr<case_list> all(t->get_all());
    for (const auto& each : *all) (each.first % 3 == 0 ? searching : growing).push_back(each);
  }

  selection::setting setting(model::split_type type, bool preprune) const {
    selection::attribute_set all;
    all.resize(t->n_attributes());
    all.set_all();
    return {*t, growing, searching, type, 2.0, k_no_depth_limit, preprune, all};
  }
};

/// T(subset), with every list kept in its order.
inline std::unique_ptr<decision_tree> grow_plainly(const selection::setting& s,
                                                   const selection::attribute_set& subset) {
  case_list cases(s.growing);
  auto root = grow_level_by_level(s.t, cases, [&](decision_node& node, unsigned long level) {
    node.set_as_leaf();
    std::vector<candidate> tests;
    for (const unsigned long a : subset) {
      const code_range& range = node.range(a);
      if (range.second - range.first <= 1) continue;
      tests.push_back({static_cast<unsigned int>(a), {}});
      node.measure_candidate(s.t, {s.type, s.min_weight, nullptr, s.t.n_attributes()}, tests.back(),
                             /*copy=*/true);
    }
    const candidate* best = split_choice::best_of(std::span<const candidate>(tests), s.type,
                                                  [](unsigned int) { return true; });
    if (level < s.max_depth && !node.stays_leaf(s.min_weight) && best != nullptr) {
      node.set_test(s.t, *best);
    }
  });
  if (s.preprune) root->preprune(std::numeric_limits<double>::max());
  return root;
}

/// Units of the search cases that a tree gets wrong.
inline unsigned long errors_of(const decision_tree& tree, const selection::setting& s) {
  const selection::search_cases cases(s);
  unsigned long errors = 0;
  for (unsigned long at = 0; at < cases.size(); ++at) {
    decision_tree::prediction result;
    tree.predict_class(s.t, codes_of(s.t, cases.row(at)), result, 1, 0);
    errors += cases.units(at, result.first);
  }
  return errors;
}

/// All subsets of the usable attributes, in the order of their bits as a number.
inline std::vector<selection::rated_set> rate_every_subset(const selection::setting& s) {
  std::vector<selection::rated_set> all;
  for (unsigned long bits = 0; bits < 1UL << s.usable.size(); ++bits) {
    selection::attribute_set set = s.usable;
    set.base_set(bits);
    all.push_back({set, errors_of(*grow_plainly(s, set), s)});
  }
  return all;
}

}  // namespace orvik::impls
