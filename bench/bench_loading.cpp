// The kernels of loading text: rows into cells, numbers, cells into codes, codes in the order of
// the values. Bytes are those of the text, or of the numbers to rank.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "impls/loading/row_splitter.h"
#include "impls/values/o_set.h"
#include "impls/values/value_ranks.h"
#include "zel/text/decimal.h"

namespace {

using namespace orvik::impls;

constexpr std::size_t k_columns = 10;

/// Rows of k_columns numbers with two decimals, below `distinct` hundredths.
std::string numbers(std::size_t rows, std::uint64_t distinct) {
  std::mt19937_64 draw(1);
  std::string text;
  for (std::size_t i = 0; i < rows * k_columns; ++i) {
    const std::uint64_t n = draw() % distinct;
    text += std::to_string(n / 100) + "." + std::to_string(10 + n % 90);
    text += i % k_columns + 1 == k_columns ? '\n' : ',';
  }
  return text;
}

void count(benchmark::State& state, std::size_t bytes, std::size_t items) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(items));
}

void split_rows(benchmark::State& state) {
  const std::string text = numbers(10000, 50000000);
  row_splitter rows(',', k_columns);
  for (auto _ : state) {
    rows.start(text);
    while (rows.next() > 0) benchmark::DoNotOptimize(rows.column(0).cells);
  }
  count(state, text.size(), 10000 * k_columns);
}

void parse_numbers(benchmark::State& state) {
  std::mt19937_64 draw(1);
  std::vector<std::string> texts(10000);
  std::size_t bytes = 0;
  for (std::string& text : texts) {
    text = std::to_string(draw() % 500000) + "." + std::to_string(10 + draw() % 90);
    bytes += text.size();
  }
  for (auto _ : state) {
    for (const std::string& text : texts)
      benchmark::DoNotOptimize(zel::text::parse_decimal<double>(text));
  }
  count(state, bytes, texts.size());
}

/// Cells of a column with so many different values, in the dictionary or kept.
void insert_cells(benchmark::State& state) {
  const std::string text = numbers(20000, static_cast<std::uint64_t>(state.range(0))) +
                           std::string(cell_batch::k_readable, '\0');
  row_splitter rows(',', k_columns);
  std::uint32_t codes[cell_batch::k_rows];
  for (auto _ : state) {
    const std::unique_ptr<o_set> set(o_set::NEW_O_SET("double", true, "?"));
    set->set_nthreads(1);
    rows.start({text.data(), text.size() - cell_batch::k_readable});
    while (rows.next() > 0) {
      for (std::size_t c = 0; c < k_columns; ++c) set->insert_cells(rows.column(c), 0, codes);
    }
  }
  count(state, text.size(), 20000 * k_columns);
}

template <class T>
void rank_numbers(benchmark::State& state) {
  std::mt19937_64 draw(1);
  std::vector<T> values(static_cast<std::size_t>(state.range(0)));
  for (T& value : values) value = static_cast<T>(draw() % 50000000) / 100;
  for (auto _ : state) {
    std::vector<growing_array<T>> parts(1);
    parts[0].append(values);
    benchmark::DoNotOptimize(rank_values(std::move(parts)).values.size());
  }
  count(state, values.size() * sizeof(T), values.size());
}

BENCHMARK(split_rows);
BENCHMARK(parse_numbers);
BENCHMARK(insert_cells)->ArgName("values")->Arg(100)->Arg(3000)->Arg(50000000);
BENCHMARK(rank_numbers<int>)->Arg(1 << 20);
BENCHMARK(rank_numbers<double>)->Arg(1 << 20);

}  // namespace
