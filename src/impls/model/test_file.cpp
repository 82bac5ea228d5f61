// Testing a model on rows of text.
#include <stdexcept>

#include "impls/evaluation/row_blocks.h"
#include "impls/evaluation/row_predictor.h"
#include "impls/model/dtree.h"
#include "impls/model/row_judge.h"
#include "zel/util/cronos.h"

namespace orvik::impls {

namespace {

constexpr char k_nothing_to_test[] = "[dtree::test] no input stream";
constexpr char k_testing_title[] = "Reading test data: ";
constexpr char k_no_rows[] = "there must be at least one row of data";

struct tested_row {
  code_t actual;
  code_t predicted;
  double weight;
};
struct block_output {
  std::vector<tested_row> tested;
  judged_rows judged;  // the same, where it is asked for
};
auto items_of(block_output& rows) {
  return std::tuple_cat(std::tie(rows.tested), orvik::items_of(rows.judged));
}

}  // namespace

std::unique_ptr<conf_matrix> dtree::test(zel::inpout::stream* in, const std::string& missing,
                                         unseen_values* unseen, judged_rows* judged) const {
  if (in == nullptr) throw std::runtime_error(k_nothing_to_test);
  require_trees();
  zel::util::cronos watch;
  watch.start();
  const auto few = alone_unless_many_trees();
  const batch_predictor predictor = make_predictor(*table_);
  row_predictors workers(*table_, {missing, unseen != nullptr}, predictor);
  auto matrix = std::make_unique<conf_matrix>(table_.get());
  const std::vector<std::string> classes = class_names();
  const row_judge judge(classes);
  if (judged != nullptr) judge.start(*judged);

  const auto work = [&](std::string_view text, row_block<block_output>& block) {
    row_predictor& own = workers.own();
    block.error = own.coder().take(text, batch_coder::rows::TEST, in->separator());
    block.rows = own.coder().size();
    block.output.tested.clear();
    judge.start(block.output.judged);
    const auto take = [&](std::size_t i, const outcome& o, const row_shares& shares) {
      const tested_row row{own.coder().class_code(i), o.predicted, own.coder().weight(i)};
      block.output.tested.push_back(row);
      if (judged != nullptr) {
        judge.add(row.actual, row.predicted, row.weight, shares, block.output.judged);
      }
    };
    own.predict(judged != nullptr && judge.keeps_shares(), take);
  };
  const auto add_rows = [&](block_output& rows) {
    for (const tested_row& row : rows.tested) matrix->add(row.actual, row.predicted, row.weight);
    if (judged == nullptr) return;
    rows.judged.classes = classes;  // which other processes do not tell
    append(*judged, rows.judged);
  };
  unsigned long rows = 0;
  for_each_row_block<block_output>(*run_, *in, k_testing_title, rows, work, add_rows);
  if (rows == 0) throw std::runtime_error(std::string(k_testing_title) + k_no_rows);

  if (unseen != nullptr) *unseen = workers.unseen_by_all();
  watch.stop();
  matrix->set_ncases(rows);
  matrix->set_elapsed(watch.get_elapsed());
  return matrix;
}

}  // namespace orvik::impls
