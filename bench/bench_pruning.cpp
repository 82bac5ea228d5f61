// Every pruning strategy through the public interface, on the tree of a generated table of 100,000
// rows, or of the table that ORVIK_BENCH_TABLE names (PREFIX.names and PREFIX.data). A tree that
// is pruned on separate cases is grown on 70 % of the rows. The argument is the number of workers.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include "generated_table.h"
#include "orvik/orvik.h"

namespace {

orvik::table& the_table() {
  static const std::unique_ptr<orvik::table> t = [] {
    if (const char* prefix = std::getenv("ORVIK_BENCH_TABLE")) return bench::load_table(prefix, 1);
    const bench::generated_table files("pruning", 100000);
    return bench::load_table(files.prefix(), 1);
  }();
  return *t;
}

struct grown_tree {
  std::unique_ptr<orvik::dtree> model = std::make_unique<orvik::dtree>("bench");
  std::unique_ptr<orvik::table::subset> held;  // null: grown on all rows

  explicit grown_tree(double share) {
    const std::unique_ptr<orvik::table::subset> all(the_table().get_wsubset_all());
    const unsigned long n = all->stratify_frac(share, &the_table(), /*random=*/false);
    const std::unique_ptr<orvik::table::subset> cases(all->select(0, n, false));
    if (share < 1) held.reset(all->select(0, n, true));
    model->set_pruning_strategy(orvik::model::NO_PRUNING);
    model->build(&the_table(), cases.get());
  }
};

const grown_tree& tree_for(orvik::model::pruning_strategy strategy) {
  static const grown_tree on_all(1.0), on_most(0.7);
  return strategy < orvik::model::REP ? on_all : on_most;
}

void prune_with(benchmark::State& state, orvik::model::pruning_strategy strategy) {
  const grown_tree& grown = tree_for(strategy);
  const unsigned long before = orvik::get_n_workers();
  orvik::set_n_workers(static_cast<unsigned long>(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    std::unique_ptr<orvik::dtree> copy(grown.model->clone(/*parameters_only=*/false));
    copy->set_pruning_strategy(strategy);
    state.ResumeTiming();
    copy->prune(&the_table(), grown.held.get());
    state.PauseTiming();
    copy.reset();
    state.ResumeTiming();
  }
  orvik::set_n_workers(before);
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(grown.model->size()));
}

constexpr std::array k_names = {"EBP", "EBPG", "EBPA", "PEP", "PEPG", "PEPA",
                                "REP", "REPG", "REPA", "MEP", "MEPG", "MEPA"};

const bool k_registered = [] {
  const long all = std::max(2L, static_cast<long>(std::thread::hardware_concurrency()));
  for (std::size_t i = 0; i < k_names.size(); ++i) {
    const auto strategy = static_cast<orvik::model::pruning_strategy>(orvik::model::EBP + i);
    benchmark::RegisterBenchmark((std::string("prune_") + k_names[i]).c_str(), prune_with, strategy)
        ->ArgName("workers")
        ->Arg(1)
        ->Arg(all)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
  }
  return true;
}();

}  // namespace
