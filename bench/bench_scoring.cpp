// Testing and scoring rows of text through the public interface: a single tree and an ensemble on
// a generated table of 200,000 rows. The arguments are the number of trees and of workers.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include "generated_table.h"
#include "orvik/orvik.h"

namespace {

const bench::generated_table& the_rows() {
  static const bench::generated_table rows("scoring", 200000);
  return rows;
}

/// A model grown on a quarter of the rows.
std::unique_ptr<orvik::dtree> model_of(unsigned long trees) {
  orvik::table t("bench");
  t.load_meta_data(the_rows().prefix() + ".names", ',', "?");
  t.load_data(the_rows().data_file(), ',', 1, nullptr);
  auto model = std::make_unique<orvik::dtree>("bench");
  if (trees > 1) model->set_forest(false, true, trees);
  const std::unique_ptr<orvik::table::subset> some(t.get_wsubset_first_n(t.get_no_rows() / 4));
  model->build(&t, some.get());
  return model;
}

void count(benchmark::State& state, unsigned long rows) {
  const auto bytes = static_cast<std::int64_t>(std::filesystem::file_size(the_rows().data_file()));
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(rows));
  state.SetBytesProcessed(state.iterations() * bytes);
}

void test_file(benchmark::State& state) {
  orvik::set_seed(1);
  const auto model = model_of(static_cast<unsigned long>(state.range(0)));
  orvik::set_n_workers(static_cast<unsigned long>(state.range(1)));
  unsigned long rows = 0;
  for (auto _ : state) {
    const std::unique_ptr<orvik::conf_matrix> cm(model->test(the_rows().data_file(), ',', "?"));
    rows = cm->ncases();
  }
  count(state, rows);
}

void score_file(benchmark::State& state) {
  orvik::set_seed(1);
  const auto model = model_of(static_cast<unsigned long>(state.range(0)));
  orvik::set_n_workers(static_cast<unsigned long>(state.range(1)));
  const bool probabilities = state.range(2) != 0;
  unsigned long rows = 0;
  for (auto _ : state) {
    std::ofstream out("/dev/null");
    model->score(the_rows().data_file(), ',', out, rows, ',', probabilities);
  }
  count(state, rows);
}

long all_workers() { return std::max(2L, static_cast<long>(std::thread::hardware_concurrency())); }

BENCHMARK(test_file)
    ->ArgNames({"trees", "workers"})
    ->ArgsProduct({{1, 20}, {1, all_workers()}})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(score_file)
    ->ArgNames({"trees", "workers", "probabilities"})
    ->ArgsProduct({{1, 20}, {1, all_workers()}, {0, 1}})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
