// The kernels of growing and predicting, on columns in memory. Items are cases.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "generated_table.h"
#include "impls/evaluation/batch_predictor.h"
#include "impls/growing/count_partition.h"
#include "impls/growing/growing_plan.h"
#include "impls/splitting/measure.h"
#include "impls/tables/table.h"
#include "zel/adt/key_sort.h"
#include "zel/inpout/ioconn.h"
#include "zel/inpout/stream.h"
#include "zel/util/rand_gen.h"

namespace {

using namespace orvik::impls;

/// A node of n cases of `n_classes` classes, a third of the rows of a column of codes below
/// `n_codes`, ascending.
struct node_cases {
  std::vector<std::uint32_t> codes;
  std::vector<counted_case> cases;
  std::vector<std::uint16_t> places;
  std::vector<splitting::count_t> totals;

  node_cases(std::size_t n, std::uint32_t n_codes, std::uint16_t n_classes)
      : codes(3 * n), totals(n_classes) {
    std::mt19937_64 draw(1);
    for (std::uint32_t& code : codes) code = 1 + static_cast<std::uint32_t>(draw() % n_codes);
    for (std::uint32_t i = 0; i < n; ++i) {
      const auto kind = static_cast<std::uint16_t>(draw() % n_classes);
      cases.push_back({3 * i, static_cast<std::uint16_t>(kind + 1), 1});
      ++totals[kind];
    }
    for (std::uint16_t c = 0; c <= n_classes; ++c) places.push_back(c == 0 ? c : c - 1);
  }
  splitting::counted_node node() const {
    const auto n = static_cast<splitting::count_t>(cases.size());
    return {{n, 2.0, totals.size(), totals.size()}, cases, places.data(), totals};
  }
};

void count_items(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void count_classes(benchmark::State& state) {
  const node_cases some(static_cast<std::size_t>(state.range(0)), 16, 26);
  splitting::scratch<splitting::count_t> scratch;
  splitting::count_t unknown;
  some.node().start_known(scratch.known);
  for (auto _ : state) {
    benchmark::DoNotOptimize(splitting::fill_dense(some.node(), some.codes.data(), {1, 17}, scratch,
                                                   unknown, splitting::nothing_else()));
  }
  count_items(state);
}

void sweep_cells(benchmark::State& state) {
  const node_cases some(static_cast<std::size_t>(state.range(0)), 16, 26);
  splitting::scratch<splitting::count_t> scratch;
  for (auto _ : state) {
    benchmark::DoNotOptimize(splitting::find_dense<splitting::find_cut>(
        splitting::entropy(), some.codes.data(), some.node(), {1, 17}, scratch));
  }
  count_items(state);
}

void sort_keys(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const node_cases some(n, 100000, 2);
  zel::adt::key_sorter sorter;
  for (auto _ : state) {
    const auto keys = sorter.start(n);
    for (std::size_t i = 0; i < n; ++i) {
      keys[i] = std::uint64_t{some.codes[i]} << zel::adt::k_key_payload_bits | i;
    }
    benchmark::DoNotOptimize(sorter.sort(n, 100001));
  }
  count_items(state);
}

void sweep_keys(benchmark::State& state) {
  const node_cases some(static_cast<std::size_t>(state.range(0)), 100000, 2);
  splitting::scratch<splitting::count_t> scratch;
  for (auto _ : state) {
    benchmark::DoNotOptimize(splitting::find_sparse<splitting::find_cut>(
        splitting::entropy(), some.codes.data(), some.node(), {1, 100001}, scratch));
  }
  count_items(state);
}

void partition(benchmark::State& state) {
  node_cases some(static_cast<std::size_t>(state.range(0)), 100000, 2);
  growing::partition_scratch scratch;
  const auto above = [](std::uint32_t code) { return code > 30000; };
  for (auto _ : state) {
    scratch.start(split_test::cut_at(0, 30000), 2, 3);
    growing::sort_in_two(some.codes.data(), above, some.cases, scratch);
  }
  count_items(state);
}

void load(table& t, const bench::generated_table& files) {
  const auto open = [](const std::string& file) {
    return zel::inpout::stream(zel::inpout::ioconn::get_default_input(file), ',', /*owns=*/true);
  };
  zel::inpout::stream names = open(files.prefix() + ".names"), data = open(files.data_file());
  t.load_meta_data(&names, "?");
  t.load_data(&data, 1, nullptr);
}

/// Predicting from codes in memory, by one tree or by the votes of several.
void predict(benchmark::State& state) {
  const bench::generated_table files("predict", 50000);
  table t("bench");
  load(t, files);
  const std::unique_ptr<case_list> all(t.get_all());
  const growing_plan plan(t, orvik::model::GAIN_RATIO, 2, nullptr);
  std::vector<std::unique_ptr<decision_tree>> owned;
  std::vector<voter> trees;
  for (int i = 0; i < state.range(0); ++i) {
    case_list drawn(*all);
    zel::util::rand_gen rows(all->size(), 1 + i), attributes(t.n_attributes(), 1 + i);
    for (auto& c : drawn) c = (*all)[rows()];
    owned.push_back(std::make_unique<decision_tree>());
    owned.back()->build(plan, &drawn, k_no_depth_limit, &attributes);
    trees.push_back({owned.back().get()});
  }
  using answer = batch_predictor::answer;
  const answer how = trees.size() > 1 ? answer::votes : answer::of_one;
  const batch_predictor predictor(t, trees, how, zel::util::default_context());
  std::vector<std::uint32_t> codes;
  gather_codes(t, *all, codes);
  std::vector<outcome> outcomes(all->size());
  const std::size_t width = t.n_attributes();
  const std::size_t block = cases_at_once(outcomes.size(), t.n_class_codes(), predictor.run());
  for (auto _ : state) {
    for (std::size_t at = 0; at < outcomes.size(); at += block) {
      const std::size_t n = std::min(block, outcomes.size() - at);
      predictor.predict({std::span(codes).subspan(at * width, n * width), width},
                        std::span(outcomes).subspan(at, n));
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(outcomes.size()));
}

BENCHMARK(count_classes)->Arg(1000)->Arg(100000);
BENCHMARK(sweep_cells)->Arg(1000)->Arg(100000);
BENCHMARK(sort_keys)->Arg(20)->Arg(1000)->Arg(100000);
BENCHMARK(sweep_keys)->Arg(20)->Arg(1000)->Arg(100000);
BENCHMARK(partition)->Arg(1000)->Arg(100000);
BENCHMARK(predict)->ArgName("trees")->Arg(1)->Arg(100)->Unit(benchmark::kMillisecond);

}  // namespace
