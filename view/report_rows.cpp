#include "report_rows.h"

#include <algorithm>
#include <span>
#include <type_traits>

#include "orvik/cell_predictor.h"
#include "zel/util/blocks.h"
#include "zel/util/rand_gen.h"
#include "zel/util/run_context.h"

namespace orvik::view {

using orvik::code_t;
using orvik::row_t;

namespace {

// What permutations may take: predictions by single trees, and rows.
constexpr unsigned long k_most_descents = 20'000'000;
constexpr unsigned long k_fewest_rows = 500;
constexpr unsigned long k_most_rows = 10'000;
constexpr unsigned long k_permutation_seed = 1;

/// The trees of a model, ready for many cases.
struct ready_model {
  orvik::cell_predictor ask;
  unsigned long n_attributes, n_class_codes;

  explicit ready_model(const orvik::dtree& model)
      : ask(model),
        n_attributes(model.get_schema().n_attributes()),
        n_class_codes(model.get_schema().n_class_codes()) {}
};

/// Predicts n cases on the workers: fill(i, codes) gives the codes of case i by attribute, and
/// use(i, prediction), or with the shares of the classes behind it, now and before calibration,
/// gets what is found.
template <class Fill, class Use>
void predict_each(const ready_model& model, unsigned long n, const Fill& fill, const Use& use) {
  constexpr unsigned long k_chunk = 512;
  const unsigned long width = model.n_attributes;
  const zel::util::blocks chunks(n, k_chunk);
  const auto predict_chunk = [&](unsigned long chunk) {
    const auto [first, size] = chunks[chunk];
    const unsigned long end = first + size;
    std::vector<code_t> codes((end - first) * width);
    for (unsigned long i = first; i < end; ++i) fill(i, codes.data() + (i - first) * width);
    if constexpr (!std::is_invocable_v<Use, unsigned long, orvik::dtree::prediction>) {
      std::vector<double> shares, plain;
      const auto found = model.ask.predict_codes(codes, end - first, shares, plain);
      for (unsigned long i = first; i < end; ++i) {
        const unsigned long at = (i - first) * model.n_class_codes;
        use(i, found[i - first], shares.data() + at, plain.data() + at);
      }
    } else {
      const auto found = model.ask.predict_codes(codes, end - first);
      for (unsigned long i = first; i < end; ++i) use(i, found[i - first]);
    }
  };
  const zel::util::run_context& run = zel::util::default_context();
  run.with_workers([&] { run.for_each_index(chunks.count(), predict_chunk); });
}

/// Weight of the sampled rows that the model puts in another class, over their weight; `donors`
/// say for each of them which row it has the value of `attribute` from.
double error_with(const ready_model& model, const recoded_rows& rows, std::span<const row_t> sample,
                  unsigned long attribute, std::span<const row_t> donors) {
  std::vector<char> wrong(sample.size());
  const auto fill = [&](unsigned long i, code_t* codes) {
    rows.codes_of(sample[i], codes);
    codes[attribute] = rows.code_of(donors[i], attribute);
  };
  predict_each(model, sample.size(), fill, [&](unsigned long i, const auto& found) {
    wrong[i] = found.class_code != rows.class_of(sample[i]);
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

recoded_rows::recoded_rows(const orvik::dtree& model, const orvik::table& rows)
    : schema_(model.get_schema()), rows_(rows.get_schema()), weights_(rows.get_no_rows()) {
  for (row_t row = 0; row < weights_.size(); ++row) weights_[row] = rows.get_weight(row);
  for (unsigned long i = 0; i < schema_.n_columns(); ++i) codes_.push_back(recode(i));
  for (unsigned long a = 0; a < schema_.n_attributes(); ++a) {
    const std::vector<code_t>& own = codes_[schema_.attribute(a).index()];
    const bool asked_for = own.size() > 1 || own[0] != orvik::k_unknown;
    own_codes_.push_back(asked_for ? own.data() : nullptr);
  }
}

std::vector<code_t> recoded_rows::recode(unsigned long column) const {
  const orvik::column_view own = schema_.column(column), given = rows_.column(column);
  using namespace orvik::model;
  std::vector<code_t> codes(1, own.code_of_unknown());
  if (own.role() == IGNORE || own.role() == WEIGHTS) return codes;
  for (code_t c = 1; c <= given.n_values(); ++c) codes.push_back(own.code_of(given.exact(c)));
  return codes;
}

void recoded_rows::codes_of(row_t row, code_t* codes) const {
  rows_.codes_in(row, codes);
  for (unsigned long a = 0; a < own_codes_.size(); ++a) codes[a] = own_code(a, codes[a]);
}

code_t recoded_rows::code_of(row_t row, unsigned long attribute) const {
  return own_code(attribute, rows_.attribute(attribute).code_in(row));
}

code_t recoded_rows::class_of(row_t row) const {
  const orvik::column_view column = rows_.class_column();
  return codes_[column.index()][column.code_in(row)];
}

predicted_rows predict_rows(const orvik::dtree& model, const recoded_rows& rows) {
  predicted_rows all;
  orvik::judged_rows& judged = all.judged;
  judged.classes = model.class_values();
  const std::size_t n_shares =
      judged.classes.size() > k_most_matrix_classes ? 0 : judged.classes.size();
  judged.predicted.resize(rows.size());
  judged.shares.resize(rows.size() * n_shares);
  if (model.is_calibrated()) judged.plain.resize(judged.shares.size());
  all.confidences.resize(rows.size());
  for (row_t row = 0; row < rows.size(); ++row) {
    judged.actual.push_back(rows.class_of(row));
    judged.weights.push_back(rows.weight_of(row));
  }
  const auto fill = [&](row_t row, code_t* codes) { rows.codes_of(row, codes); };
  predict_each(ready_model(model), rows.size(), fill,
               [&](row_t row, const auto& found, const double* shares, const double* plain) {
                 judged.predicted[row] = found.class_code;
                 all.confidences[row] = found.confidence;
                 std::copy_n(shares, n_shares, judged.shares.data() + row * n_shares);
                 if (!judged.plain.empty())
                   std::copy_n(plain, n_shares, judged.plain.data() + row * n_shares);
               });
  return all;
}

std::unique_ptr<orvik::conf_matrix> test_on_rows(const orvik::judged_rows& rows) {
  auto matrix = std::make_unique<orvik::conf_matrix>(rows.classes);
  for (row_t row = 0; row < rows.size(); ++row) {
    matrix->add_case(rows.actual[row], rows.predicted[row], rows.weights[row]);
  }
  return matrix;
}

orvik::judged_rows rows_of(const std::vector<std::string>& classes,
                           const orvik::conf_matrix& matrix) {
  orvik::judged_rows rows;
  rows.classes = classes;
  for (code_t i = 0; i < matrix.size(); ++i) {
    for (code_t j = 0; j < matrix.size(); ++j) {
      if (matrix.get_element(i, j) == 0) continue;
      rows.actual.push_back(i);
      rows.predicted.push_back(j);
      rows.weights.push_back(matrix.get_element(i, j));
    }
  }
  return rows;
}

std::vector<double> permutation_on_rows(const orvik::dtree& model, const recoded_rows& rows,
                                        const std::vector<unsigned long>& tested) {
  const unsigned long descents = model.get_no_trees() * (tested.size() + 1);
  const std::vector<row_t> sample =
      spread_rows(rows.size(), std::clamp(k_most_descents / descents, k_fewest_rows, k_most_rows));
  std::vector<double> rises(model.get_schema().n_attributes());
  if (sample.empty() || tested.empty()) return rises;
  const ready_model ready(model);
  const double plain = error_with(ready, rows, sample, tested.front(), sample);
  for (const unsigned long a : tested) {
    const std::vector<row_t> donors = shuffled(sample, k_permutation_seed + a);
    rises[a] = error_with(ready, rows, sample, a, donors) - plain;
  }
  return rises;
}

}  // namespace orvik::view
