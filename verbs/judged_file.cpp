#include "judged_file.h"

#include <algorithm>
#include <iostream>
#include <stdexcept>

#include "predictions.h"

namespace orvverbs {

namespace {

std::vector<double> widened(const std::vector<double>& shares, std::size_t n, std::size_t k) {
  std::vector<double> wide(shares.empty() ? 0 : n * (k + 1));
  for (std::size_t i = 0; i < n && !wide.empty(); ++i) {
    std::copy_n(shares.data() + i * k, k, wide.data() + i * (k + 1));
  }
  return wide;
}

/// Gives rows a class more, the last one, of which the model says nothing.
void add_class(const std::string& name, orvik::judged_rows& rows) {
  const std::size_t k = rows.classes.size();
  rows.classes.push_back(name);
  rows.shares = widened(rows.shares, rows.size(), k);
  rows.plain = widened(rows.plain, rows.size(), k);
}

void append_shares(const std::vector<double>& from, unsigned long n, unsigned long i,
                   std::vector<double>& to) {
  const unsigned long k = from.size() / n;
  const auto shares = from.begin() + static_cast<std::ptrdiff_t>(i * k);
  to.insert(to.end(), shares, shares + static_cast<std::ptrdiff_t>(k));
}

void add_judged(const row_block& block, unsigned long i, const predicted_rows& found,
                orvik::judged_rows& to, bool calibrated) {
  to.actual.push_back(block.classes[i]);
  to.predicted.push_back(found.outcomes[i].class_code);
  to.weights.push_back(block.weights[i]);
  append_shares(found.shares, block.n, i, to.shares);
  if (calibrated) append_shares(found.plain, block.n, i, to.plain);
}

}  // namespace

judged_file judge_file(const orvik::dtree& model, new_rows& rows, const std::string& file) {
  if (!rows.has_class()) {
    throw std::runtime_error(file + ": has no column '" + model.get_schema().class_column().name() +
                             "', the class; orvik predict needs none");
  }
  judged_file all;
  all.rows.classes = model.class_values();
  const std::size_t n_classes = all.rows.classes.size();
  const bool with_shares = n_classes <= orvik::k_most_judged_classes;
  const orvik::cell_predictor ready(model);
  predicted_rows found;
  rows.read({}, [&](row_block& block) {
    predict_block(ready, block, with_shares, found);
    for (unsigned long i = 0; i < block.n; ++i) {
      if (block.new_class[i]) {
        block.classes[i] = n_classes;
        ++all.other;
      }
      block.classes[i] == orvik::k_unknown
          ? static_cast<void>(++all.unclassed)
          : add_judged(block, i, found, all.rows, model.is_calibrated() && with_shares);
    }
  });
  if (all.other > 0) add_class(k_other_class, all.rows);
  if (all.rows.size() == 0) throw std::runtime_error(file + ": no rows of known class");
  return all;
}

void tell_rows(const std::string& file, unsigned long n, const char* what) {
  if (n == 0) return;
  std::cerr << file << ": " << n << (n == 1 ? " row" : " rows") << what << '\n';
}

}  // namespace orvverbs
