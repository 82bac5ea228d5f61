// The main job through the public interface: load a table, grow a tree on it, prune the tree.
//
// The table is that of the path prefix in ORVIK_BENCH_TABLE (PREFIX.names and PREFIX.data);
// without it one of 200,000 rows is generated. The argument of each benchmark is the number of
// workers.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include "generated_table.h"
#include "orvik/orvik.h"

namespace {

/// Where the table measured lies.
const std::string& the_prefix() {
  static const std::string prefix = [] {
    if (const char* given = std::getenv("ORVIK_BENCH_TABLE")) return std::string(given);
    static const bench::generated_table generated("bench", 200000);
    return generated.prefix();
  }();
  return prefix;
}

orvik::table& the_table() {
  static const auto t = bench::load_table(the_prefix(), 1);
  return *t;
}

unsigned long use_workers(const benchmark::State& state) {
  const auto workers = static_cast<unsigned long>(state.range(0));
  orvik::set_n_workers(workers);
  return workers;
}

std::unique_ptr<orvik::dtree> grown(orvik::table& t) {
  auto tree = std::make_unique<orvik::dtree>("bench");
  tree->set_pruning_strategy(orvik::model::PRE_PRUNING_ONLY);
  const std::unique_ptr<orvik::table::subset> all(t.get_wsubset_all());
  tree->build(&t, all.get());
  return tree;
}

void load(benchmark::State& state) {
  const unsigned long workers = use_workers(state);
  const std::uintmax_t bytes = std::filesystem::file_size(the_prefix() + ".data");
  std::int64_t rows = 0;
  for (auto _ : state)
    rows = static_cast<std::int64_t>(bench::load_table(the_prefix(), workers)->get_no_rows());
  state.SetItemsProcessed(state.iterations() * rows);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}

void grow(benchmark::State& state) {
  orvik::table& t = the_table();
  use_workers(state);
  for (auto _ : state) benchmark::DoNotOptimize(grown(t));
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(t.get_no_rows()));
}

void prune(benchmark::State& state) {
  orvik::table& t = the_table();
  use_workers(state);
  const auto full = grown(t);
  for (auto _ : state) {
    state.PauseTiming();
    std::unique_ptr<orvik::dtree> tree(full->clone(false));
    state.ResumeTiming();
    tree->set_pruning_strategy(orvik::model::EBP);
    tree->prune(&t, nullptr);
    state.PauseTiming();
    tree.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(full->size()));
}

/// 1, 2, 4, ... up to all hardware threads.
void workers(benchmark::internal::Benchmark* b) {
  const long all = std::max(1L, static_cast<long>(std::thread::hardware_concurrency()));
  for (long w = 1; w < all; w *= 2) b->Arg(w);
  b->Arg(all)->ArgName("workers")->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(load)->Apply(workers);
BENCHMARK(grow)->Apply(workers);
BENCHMARK(prune)->Apply(workers);

}  // namespace
