// The main job through the public interface: load a table, grow a tree on it, prune the tree.
//
// The table is that of the path prefix in ORVIK_BENCH_TABLE (PREFIX.names and PREFIX.data);
// without it one of 200,000 rows is generated. The argument of each benchmark is the number of
// workers.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <thread>

#include "generator.h"
#include "orvik/orvik.h"

namespace {

namespace fs = std::filesystem;

/// The table measured; a generated one is removed at the end of the program.
class source {
 public:
  source() {
    if (const char* given = std::getenv("ORVIK_BENCH_TABLE")) {
      prefix_ = given;
      return;
    }
    folder_ = fs::temp_directory_path() / ("orvik_bench_" + std::to_string(::getpid()));
    fs::create_directory(folder_);
    prefix_ = (folder_ / "table").string();
    bench::table_options options;
    options.rows = 200000;
    options.noise = 0.05;
    bench::write_table(options, prefix_);
  }
  source(const source&) = delete;
  source& operator=(const source&) = delete;
  ~source() {
    std::error_code ignored;
    if (!folder_.empty()) fs::remove_all(folder_, ignored);
  }

  std::unique_ptr<orvik::table> load(unsigned long workers) const {
    auto t = std::make_unique<orvik::table>("bench");
    t->load_meta_data(prefix_ + ".names", ',', "?");
    t->load_data(prefix_ + ".data", ',', workers, nullptr);
    t->rescale_weights();
    return t;
  }
  std::uintmax_t bytes() const { return fs::file_size(prefix_ + ".data"); }

 private:
  fs::path folder_;
  std::string prefix_;
};

const source& the_source() {
  static const source s;
  return s;
}

orvik::table& the_table() {
  static const auto t = the_source().load(1);
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
  std::int64_t rows = 0;
  for (auto _ : state) rows = static_cast<std::int64_t>(the_source().load(workers)->get_no_rows());
  state.SetItemsProcessed(state.iterations() * rows);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(the_source().bytes()));
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
