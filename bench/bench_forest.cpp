// Ensembles through the public interface on a generated table of 100,000 rows: growing a forest,
// its out-of-bag error, a test of all rows and the importance of the attributes. The arguments are
// the number of trees and of workers.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <thread>

#include "generated_table.h"
#include "orvik/orvik.h"

namespace {

orvik::table& the_table() {
  static const std::unique_ptr<orvik::table> t = [] {
    const bench::generated_table files("forest", 100000);
    return bench::load_table(files.prefix(), 1);
  }();
  return *t;
}

std::unique_ptr<orvik::dtree> forest_of(unsigned long trees) {
  orvik::set_seed(1);
  auto model = std::make_unique<orvik::dtree>("bench");
  model->set_pruning_strategy(orvik::model::NO_PRUNING);
  model->set_forest(true, false, trees);
  model->build(&the_table(), nullptr);
  return model;
}

/// Runs `measure` on a forest with the workers of the arguments.
template <class Measure>
void with_forest(benchmark::State& state, const Measure& measure) {
  const auto model = forest_of(static_cast<unsigned long>(state.range(0)));
  const unsigned long before = orvik::get_n_workers();
  orvik::set_n_workers(static_cast<unsigned long>(state.range(1)));
  for (auto _ : state) measure(*model);
  orvik::set_n_workers(before);
  state.SetItemsProcessed(state.iterations() *
                          static_cast<std::int64_t>(the_table().get_no_rows()) * state.range(0));
}

void grow_forest(benchmark::State& state) {
  const auto trees = static_cast<unsigned long>(state.range(0));
  orvik::set_n_workers(static_cast<unsigned long>(state.range(1)));
  for (auto _ : state) benchmark::DoNotOptimize(forest_of(trees));
  state.SetItemsProcessed(state.iterations() *
                          static_cast<std::int64_t>(the_table().get_no_rows()) * state.range(0));
}

void oob_error(benchmark::State& state) {
  with_forest(state, [](const orvik::dtree& model) {
    benchmark::DoNotOptimize(model.get_oob_error(&the_table()));
  });
}

void importance(benchmark::State& state) {
  with_forest(state, [](const orvik::dtree& model) {
    benchmark::DoNotOptimize(model.get_importance(&the_table()));
  });
}

void vote(benchmark::State& state) {
  const std::unique_ptr<orvik::table::subset> all(the_table().get_wsubset_all());
  with_forest(state, [&all](const orvik::dtree& model) {
    const std::unique_ptr<orvik::conf_matrix> cm(model.test(&the_table(), all.get(), nullptr));
    benchmark::DoNotOptimize(cm->err_misc());
  });
}

void trees_and_workers(benchmark::internal::Benchmark* b) {
  const long all = std::max(2L, static_cast<long>(std::thread::hardware_concurrency()));
  b->ArgNames({"trees", "workers"})->ArgsProduct({{20}, {1, all}});
  b->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(grow_forest)->Apply(trees_and_workers);
BENCHMARK(oob_error)->Apply(trees_and_workers);
BENCHMARK(vote)->Apply(trees_and_workers);
BENCHMARK(importance)->Apply(trees_and_workers);

}  // namespace
