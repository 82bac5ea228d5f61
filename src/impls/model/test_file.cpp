// Testing a model on rows of text.
#include <stdexcept>

#include "impls/evaluation/row_blocks.h"
#include "impls/evaluation/row_predictor.h"
#include "impls/model/dtree.h"
#include "zel/util/cronos.h"

namespace orvik::impls {

namespace {

constexpr char k_no_stream[] = "[dtree::test] no input stream";
constexpr char k_title[] = "Reading test data: ";
constexpr char k_no_rows[] = "there must be at least one row of data";

struct tested_row {
  code_t actual;
  code_t predicted;
  double weight;
};
using tested_rows = std::vector<tested_row>;

}  // namespace

std::unique_ptr<conf_matrix> dtree::test(zel::inpout::stream* in, const std::string& missing,
                                         unseen_values* unseen) const {
  if (in == nullptr) throw std::runtime_error(k_no_stream);
  require_trees();
  zel::util::cronos watch;
  watch.start();
  const batch_predictor predictor = make_predictor(*table_);
  row_predictors workers(*table_, {missing, unseen != nullptr}, predictor);
  auto matrix = std::make_unique<conf_matrix>(table_.get());

  const auto work = [&](std::string_view text, row_block<tested_rows>& block) {
    row_predictor& own = workers.own();
    block.error = own.coder().take(text, batch_coder::rows::TEST, in->separator());
    block.rows = own.coder().size();
    block.output.clear();
    const std::span<const outcome> outcomes = own.predict();
    for (std::size_t i = 0; i < block.rows; ++i) {
      block.output.push_back(
          {own.coder().class_code(i), outcomes[i].predicted, own.coder().weight(i)});
    }
  };
  const auto add_rows = [&](const tested_rows& rows) {
    for (const tested_row& row : rows) matrix->add(row.actual, row.predicted, row.weight);
  };
  unsigned long rows = 0;
  for_each_row_block<tested_rows>(*run_, *in, k_title, rows, work, add_rows);
  if (rows == 0) throw std::runtime_error(std::string(k_title) + k_no_rows);

  if (unseen != nullptr) *unseen = workers.unseen();
  watch.stop();
  matrix->set_ncases(rows);
  matrix->set_elapsed(watch.get_elapsed());
  return matrix;
}

}  // namespace orvik::impls
