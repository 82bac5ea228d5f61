#include "report_rows.h"

#include <algorithm>

#include "impls/evaluation/row_coder.h"
#include "zel/util/rand_gen.h"
#include "zel/util/run_context.h"

namespace orvview {

using namespace orvik::impls;

namespace {

// What permutations may take: predictions by single trees, and rows.
constexpr unsigned long k_most_descents = 20'000'000;
constexpr unsigned long k_fewest_rows = 500;
constexpr unsigned long k_most_rows = 10'000;
constexpr unsigned long k_permutation_seed = 1;

/// Calls work(i) for 0 .. n - 1 on the workers.
template <class Work>
void for_each(unsigned long n, const Work& work) {
  const zel::util::run_context& run = zel::util::default_context();
  run.with_workers([&] {
    constexpr unsigned long k_chunk = 256;
    run.for_each_index((n + k_chunk - 1) / k_chunk, [&](unsigned long chunk) {
      for (unsigned long i = chunk * k_chunk; i < std::min(n, (chunk + 1) * k_chunk); ++i) work(i);
    });
  });
}

/// Weight of the sampled rows that the model puts in another class, over their weight; `donors`
/// say for each of them which row it has the value of `attribute` from.
double error_with(const dtree& model, const recoded_rows& rows, std::span<const row_t> sample,
                  unsigned long attribute, std::span<const row_t> donors) {
  std::vector<char> wrong(sample.size());
  for_each(sample.size(), [&](unsigned long i) {
    thread_local std::vector<code_t> codes, others;
    rows.codes_of(sample[i], codes);
    rows.codes_of(donors[i], others);
    codes[attribute] = others[attribute];
    decision_tree::prediction result;
    model.predict(*model.get_training_table(), codes, result, 1.0);
    wrong[i] = result.first != rows.class_of(sample[i]);
  });
  double all = 0, errors = 0;
  for (std::size_t i = 0; i < sample.size(); ++i) {
    const double weight = rows.weight_of(sample[i]);
    all += weight;
    if (wrong[i] != 0) errors += weight;
  }
  return all > 0 ? errors / all : 0;
}

std::vector<row_t> spread_rows(unsigned long n_rows, unsigned long wanted) {
  const unsigned long n = std::min(n_rows, wanted);
  std::vector<row_t> some;
  for (unsigned long i = 0; i < n; ++i) some.push_back(i * n_rows / n);
  return some;
}

/// Every order alike (Fisher and Yates).
std::vector<row_t> shuffled(std::vector<row_t> rows, unsigned long seed) {
  zel::util::rand_gen draw(rows.size(), seed);
  for (std::size_t left = rows.size(); left > 1; --left) {
    std::swap(rows[left - 1], rows[draw.below(left)]);
  }
  return rows;
}

}  // namespace

recoded_rows::recoded_rows(const dtree& model, const table& rows)
    : schema_(*model.get_training_table()), rows_(rows) {
  for (unsigned long i = 0; i < schema_.n_columns(); ++i) codes_.push_back(recode(i));
}

std::vector<code_t> recoded_rows::recode(unsigned long column) const {
  const orvik::impls::column& own = schema_.get_column(column);
  const o_set& values = *rows_.get_column(column).values();
  std::vector<code_t> codes{k_unknown};
  if (own.type() == column::IGNORE || own.type() == column::WEIGHTS) return codes;
  for (code_t c = 1; c <= values.size_of_known(); ++c) {
    const code_t code = code_of_text(own, values.get_exact_value(c), own.values()->null_value());
    codes.push_back(code == k_no_code ? k_unknown : code);
  }
  return codes;
}

void recoded_rows::codes_of(row_t row, std::vector<code_t>& codes) const {
  codes.assign(schema_.n_attributes(), k_unknown);
  for (unsigned long a = 0; a < codes.size(); ++a) {
    const std::vector<code_t>& own = codes_[schema_.column_index_of(a)];
    if (own.size() > 1) codes[a] = own[rows_.column_of(a).get_row_index(row)];
  }
}

code_t recoded_rows::class_of(row_t row) const {
  return codes_[schema_.class_index()][rows_.class_column().get_row_index(row)];
}

std::vector<decision_tree::prediction> predict_rows(const dtree& model, const recoded_rows& rows,
                                                    unsigned long n) {
  std::vector<decision_tree::prediction> results(std::min(n, rows.size()));
  for_each(results.size(), [&](unsigned long i) {
    thread_local std::vector<code_t> codes;
    rows.codes_of(i, codes);
    model.predict(*model.get_training_table(), codes, results[i], 1.0);
  });
  return results;
}

std::unique_ptr<conf_matrix> test_on_rows(
    const dtree& model, const recoded_rows& rows,
    const std::vector<decision_tree::prediction>& predictions) {
  auto matrix = std::make_unique<conf_matrix>(model.get_training_table());
  for (row_t row = 0; row < predictions.size(); ++row) {
    matrix->add(rows.class_of(row), predictions[row].first, rows.weight_of(row));
  }
  matrix->set_ncases(predictions.size());
  return matrix;
}

std::vector<double> permutation_on_rows(const dtree& model, const recoded_rows& rows,
                                        const zel::adt::bitmap& tested) {
  const unsigned long descents = model.n_trees() * (tested.count() + 1);
  const std::vector<row_t> sample =
      spread_rows(rows.size(), std::clamp(k_most_descents / descents, k_fewest_rows, k_most_rows));
  std::vector<double> rises(tested.size());
  if (sample.empty() || tested.count() == 0) return rises;
  const double plain = error_with(model, rows, sample, *tested.begin(), sample);
  for (const unsigned long a : tested) {
    const std::vector<row_t> donors = shuffled(sample, k_permutation_seed + a);
    rises[a] = error_with(model, rows, sample, a, donors) - plain;
  }
  return rises;
}

}  // namespace orvview
