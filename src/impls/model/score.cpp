// Predictions for rows of text, one line a row.
#include <array>
#include <charconv>
#include <stdexcept>

#include "impls/evaluation/row_blocks.h"
#include "impls/evaluation/row_predictor.h"
#include "impls/model/dtree.h"
#include "zel/util/cronos.h"

namespace orvik::impls {

namespace {

constexpr char k_nothing_to_score[] = "[dtree::evaluate] no input stream";  // published name
constexpr char k_cannot_write[] = "[dtree::score] cannot write";
constexpr char k_scoring_title[] = "Reading score data: ";

/// As "%g" prints it, in any locale.
void append_number(std::string& line, double value) {
  constexpr int k_significant_digits = 6;
  std::array<char, 32> room;
  const auto [end, error] = std::to_chars(room.data(), room.data() + room.size(), value,
                                          std::chars_format::general, k_significant_digits);
  line.append(room.data(), end);
}

}  // namespace

double dtree::score(zel::inpout::stream* in, std::ostream& out, unsigned long& rows, char separator,
                    bool probabilities, unseen_values* unseen, const set_request& sets) const {
  if (in == nullptr) throw std::runtime_error(k_nothing_to_score);
  require_trees();
  zel::util::cronos watch;
  watch.start();
  const std::vector<std::string> names = class_names();
  const std::vector<double> limits = sets.wanted() ? set_limits(sets) : std::vector<double>();
  const auto few = alone_unless_many_trees();
  const batch_predictor predictor = make_predictor(*table_);
  row_predictors workers(*table_, {names[k_unknown], unseen != nullptr}, predictor);

  const auto append_shares = [&](std::string& line, const row_shares& found) {
    for (code_t c = 1; c < found.all.size() && probabilities; ++c) {
      line += separator;
      append_number(line, found.all[c]);
    }
    if (limits.empty()) return;
    line += separator;
    line += set_text(names, found.before_calibration().data(), limits);
  };
  const auto work = [&](std::string_view text, row_block<std::string>& block) {
    row_predictor& own = workers.own();
    block.error = own.coder().take(text, batch_coder::rows::SCORE, in->separator());
    block.rows = own.coder().size();
    std::string& lines = block.output;
    lines.clear();
    const auto take = [&](std::size_t, const outcome& o, const row_shares& shares) {
      lines += names[o.predicted];
      lines += separator;
      append_number(lines, o.confidence);
      append_shares(lines, shares);
      lines += '\n';
    };
    own.predict(probabilities || sets.wanted(), take);
  };
  const auto write = [&](const std::string& lines) {
    if (!out.write(lines.data(), static_cast<std::streamsize>(lines.size()))) {
      throw std::runtime_error(k_cannot_write);
    }
  };
  for_each_row_block<std::string>(*run_, *in, k_scoring_title, rows, work, write);

  if (unseen != nullptr) *unseen = workers.unseen_by_all();
  watch.stop();
  return watch.get_elapsed();
}

}  // namespace orvik::impls
