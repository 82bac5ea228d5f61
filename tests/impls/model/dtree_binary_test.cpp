// Models to and from their binary form.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "impls/support/binary_text.h"
#include "impls/support/ensembles.h"
#include "impls/support/stock_tables.h"
#include "impls/support/tree_builder.h"
#include "impls/trees/stored_tree.h"
#include "support/error_of.h"

using namespace orvik::impls;
namespace model = orvik::model;

namespace {

std::string written(const dtree& m) {
  return binary_of([&m](auto& out) { out << m; });
}

std::unique_ptr<dtree> read(const std::string& bytes) {
  auto back = std::make_unique<dtree>("");
  read_all(bytes, [&back](auto& in) { in >> *back; });
  return back;
}

std::unique_ptr<dtree> grown(const table& t, unsigned long trees, const char* name = "m") {
  const run_seed seed(3);
  auto m = std::make_unique<dtree>(name);
  if (trees > 1) m->set_forest(true, false, trees);
  const std::unique_ptr<case_list> all(t.get_all());
  m->build(&t, all.get());
  m->set_training_cm(&t, all.get());
  return m;
}

TEST(binary_model, tests_and_renders_as_the_saved_one) {
  for (const bool weighted : {false, true}) {
    for (const unsigned long trees : {1UL, 5UL}) {
      const auto t = mixed_table(500, 2, weighted);
      const auto saved = grown(*t, trees);
      const auto back = read(written(*saved));
      EXPECT_EQ(written(*back), written(*saved));
      EXPECT_EQ(text_of(*back), text_of(*saved));
      EXPECT_EQ(back->n_trees(), trees);
      EXPECT_EQ(back->get_training_table()->n_rows(), 0u);
    }
  }
}

TEST(binary_model, holds_no_cases_to_prune_with) {
  const auto t = golf_table();
  const auto back = read(written(*grown(*t, 1)));
  const std::unique_ptr<case_list> all(t->get_all());
  for (const auto strategy : {model::EBPG, model::PEPA, model::REP, model::MEPG}) {
    back->set_pruning_strategy(strategy);
    EXPECT_EQ(error_of([&] { back->prune(t.get(), nullptr); }),
              "no training cases provided to prune the tree");
  }
  back->set_pruning_strategy(model::EBP);
  back->prune(t.get(), nullptr);  // needs statistics only
}

TEST(binary_model, keeps_a_strategy_that_is_none) {
  dtree odd("m");
  for (const unsigned int strategy : {14U, 4294967295U}) {
    odd.set_pruning_strategy(static_cast<model::pruning_strategy>(strategy));
    EXPECT_EQ(written(*read(written(odd))), written(odd));
  }
}

TEST(binary_model, without_matrix_or_trees_is_one_too) {
  const dtree fresh("fresh");
  const auto back = read(written(fresh));
  EXPECT_EQ(back->name(), "fresh");
  EXPECT_EQ(back->n_trees(), 0u);
  EXPECT_EQ(back->get_training_table(), nullptr);
  EXPECT_EQ(back->get_training_cm(), nullptr);
  EXPECT_EQ(written(fresh)[9], '\0') << "in the place of the matrix";
}

TEST(binary_tree, reads_active_nodes_with_their_cases) {
  const auto t = golf_table();
  const std::string plain = binary_of([&](auto& out) {
    build_tree(leaf({5, 9}))->bin_out(out, t.get());
  });
  // Behind position, kind and flag: the statistics, then working data, then cases.
  constexpr std::size_t k_flag = 5, k_statistics = 8 + 8 + 8 + 2 + 1 + 3 * 8;
  std::string active = plain;
  active[k_flag] = 1;
  const std::string working = '\x01' + std::string(16 * t->n_attributes(), 'w');
  active.insert(k_flag + 1 + k_statistics, working);
  const unsigned long n = 2;
  std::string cases = '\x01' + std::string(reinterpret_cast<const char*>(&n), 8);
  active.replace(k_flag + 1 + k_statistics + working.size(), 1, cases + std::string(32, 'c'));
  decision_tree back;
  read_all(active, [&](auto& in) { back.bin_in(in, t.get(), nullptr); });
  EXPECT_EQ(binary_of([&](auto& out) { back.bin_out(out, t.get()); }), plain);
}

TEST(binary_tree, of_any_depth_is_written_and_read) {
  constexpr unsigned long k_levels = 100000;
  const auto t = make_table("n,integer,continuous\nc,string,class\n", "1,p\n2,q\n");
  const auto deep = build_path(k_levels, [](unsigned long) { return std::vector<double>{1, 1}; });
  const std::string bytes = binary_of([&](auto& out) { deep->bin_out(out, t.get()); });
  decision_tree back;
  read_all(bytes, [&](auto& in) { back.bin_in(in, t.get(), nullptr); });
  EXPECT_EQ(back.depth(), k_levels + 1);
  EXPECT_EQ(binary_of([&](auto& out) { back.bin_out(out, t.get()); }), bytes);
}

TEST(binary_tree, is_refused_where_it_does_not_fit_the_table) {
  const auto t = golf_table();
  const std::vector<double> w{1, 1};
  const struct {
    const char* error;
    tree_plan plan;
    double threshold = 1;  // of a cut
  } rows[] = {
      {"a test of an attribute that cannot be tested", split(4, {leaf(w), leaf(w)})},
      {"a threshold that is no code of its attribute", split(1, 1, {leaf(w), leaf(w)}), 0},
      {"a threshold that is no code of its attribute", split(1, 1, {leaf(w), leaf(w)}), 13},
      {"a threshold that is no code of its attribute", split(1, 1, {leaf(w), leaf(w)}), 1.5},
      {"a node with a wrong number of children", split(0, {leaf(w), leaf(w)})},
      {"a node with a wrong number of children", split(1, 1, {leaf(w), leaf(w), leaf(w)})},
      {"a node's weight that is no weight", leaf({1, -1})},
  };
  for (const auto& [error, plan, threshold] : rows) {
    const auto bad = build_tree(plan);
    // Written by a table that takes it.
    const auto wide = make_table(
        "a,string,discrete\nb,integer,continuous\nc,integer,continuous\nd,string,discrete\n"
        "e,string,discrete\nk,string,class\n",
        "x,1,1,x,x,p\ny,2,2,y,y,q\nz,2,2,y,y,q\n");
    std::string bytes = binary_of([&](auto& out) { bad->bin_out(out, wide.get()); });
    constexpr std::size_t k_threshold = 70;  // behind the root's statistics, error and attribute
    if (threshold != 1) std::memcpy(&bytes[k_threshold], &threshold, sizeof threshold);
    decision_tree back;
    stored_tree stored;
    const auto by_tree = [&](auto& in) { back.bin_in(in, t.get(), nullptr); };
    const auto of_member = [&](auto& in) { stored.read(in, *t); };
    EXPECT_EQ(error_of([&] { read_all(bytes, by_tree); }), error);
    EXPECT_EQ(error_of([&] { read_all(bytes, of_member); }), error);
  }
  // A flag has two branches, whether it has two values or not.
  const std::string names = "f,string,discrete\nk,string,class\n";
  const auto two = make_table(names, "x,p\ny,q\n"), lone = make_table(names, "x,p\nx,q\n");
  const auto tree = build_tree(split(0, {leaf(w), leaf(w)}));
  const std::string bytes = binary_of([&](auto& out) { tree->bin_out(out, two.get()); });
  decision_tree back;
  EXPECT_EQ(
      error_of([&] { read_all(bytes, [&](auto& in) { back.bin_in(in, lone.get(), nullptr); }); }),
      "a test of an attribute that cannot be tested");
}

TEST(binary_model, of_any_bytes_is_usable_or_refused) {
  const auto t = mixed_table(60, 9, true);
  const std::string good = written(*grown(*t, 3));
  std::mt19937_64 draw(11);
  int usable = 0;
  for (int i = 0; i < 3000; ++i) {
    std::string bytes = good;
    bytes[draw() % bytes.size()] = static_cast<char>(draw());
    if (i % 8 == 0) bytes.resize(draw() % bytes.size());
    std::unique_ptr<dtree> m;
    if (!error_of([&] { m = read(bytes); }).empty()) continue;
    ++usable;
    EXPECT_FALSE(text_of(*m).empty());
    const std::vector<code_t> unknown(t->n_attributes(), k_unknown);
    decision_tree::prediction result;
    m->predict(*m->get_training_table(), unknown, result, 1.0);
    EXPECT_LT(result.first, m->get_training_table()->n_class_codes());
  }
  EXPECT_GT(usable, 0);
}

}  // namespace
