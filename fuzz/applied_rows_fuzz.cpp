// Rows that a model is put to, scored and tested: any text gives a line a row or is refused with
// the row's number, on one worker as on three, in one piece as in many; and what is said of a row
// is what is said of its values alone. Input: a byte that picks model and options, then the rows.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "impls/support/ensembles.h"
#include "impls/support/stock_tables.h"
#include "require.h"

using namespace orvik::impls;
using orvik::fuzz::error_of;
using orvik::fuzz::gets_slow_checks;
using orvik::fuzz::require;

namespace {

constexpr char k_weighted_names[] =
    "w,double,weights\nskip,string,ignore\nsize,ostring:S;M;L,discrete\nx,float,continuous\n"
    "n,uinteger,continuous\nflag,string,discrete\nk,string,class\n";

/// Every value on its own decides something.
std::string weighted_rows() {
  std::string rows;
  for (int i = 0; i < 40; ++i) {
    const char size[] = {"SML"[i % 3], '\0'};
    rows += std::to_string(1 + i % 4) + ",s," + (i % 11 == 0 ? "?" : size) + "," +
            std::to_string(i * 7 % 19) + ".5," + (i % 13 == 5 ? "?" : std::to_string(i % 8)) + "," +
            (i % 2 ? "on" : "off") + ",c" + std::to_string((i % 3 + i % 8 / 3 + i % 2) % 3) + "\n";
  }
  return rows;
}

std::unique_ptr<dtree> grown(const table& t, bool forest, bool shares) {
  const run_seed seed(5);
  auto m = std::make_unique<dtree>("m");
  m->set_pruning_strategy(orvik::model::NO_PRUNING);
  m->set_min_obj(1);
  if (forest) m->set_forest(true, false, 5);
  if (shares) m->set_combination(orvik::combination::shares);
  const std::unique_ptr<case_list> all(t.get_all());
  m->build(&t, all.get());
  return m;
}

const dtree& model_of(unsigned which) {
  static const auto golf = golf_table();
  static const auto weighted = make_table(k_weighted_names, weighted_rows());
  static const std::array<std::unique_ptr<dtree>, 4> models = {
      grown(*golf, false, false), grown(*golf, true, false), grown(*weighted, false, false),
      grown(*weighted, true, true)};
  return *models[which % models.size()];
}

/// What came of the rows: text, then the error if there was one.
struct rows_result {
  std::string text, error;
  unsigned long rows = 0;
  unseen_values unseen;
  bool operator==(const rows_result&) const = default;
};

struct how {
  bool unseen, probabilities;
  unsigned long workers;
  long most;
};

template <class Work>
rows_result on_rows(std::string_view rows, const how& h, const Work& work) {
  const loop_threads threads(h.workers);
  dripping_text text(rows, h.most);
  zel::inpout::stream in(&text, ',', /*owns=*/false, {256});
  rows_result result;
  std::ostringstream out;
  result.error = error_of([&] { work(in, out, result.rows, h.unseen ? &result.unseen : nullptr); });
  result.text = out.str();
  return result;
}

rows_result score(const dtree& m, std::string_view rows, const how& h) {
  return on_rows(rows, h, [&](auto& in, auto& out, auto& n, auto* unseen) {
    m.score(&in, out, n, ',', h.probabilities, unseen);
  });
}

rows_result test(const dtree& m, std::string_view rows, const how& h) {
  return on_rows(rows, h, [&](auto& in, auto& out, auto& n, auto* unseen) {
    orvik::judged_rows judged;
    const auto matrix = m.test(&in, "?", unseen, &judged);
    matrix->toTEXT(out, 0);
    matrix->toXML(out, "");
    n = judged.size();
  });
}

unsigned long lines_of(const std::string& text) {
  return static_cast<unsigned long>(std::ranges::count(text, '\n'));
}

/// The cells of a row of attributes, perhaps with the class; none for another number of them.
std::vector<std::string> plain_cells(std::string_view line, const dtree& m) {
  std::vector<std::string> cells(1);
  for (const char c : line) c == ',' ? void(cells.emplace_back()) : cells.back().push_back(c);
  const unsigned long n = m.get_training_table()->n_attributes();
  const bool plain = line.find_first_of(" \t\r\v\f") == std::string::npos;
  if (!plain || cells.size() != n) cells.clear();
  return cells;
}

/// The golf table has its attributes first, and no other columns but the class.
void check_first_row(const dtree& m, std::string_view rows, const rows_result& scored) {
  if (!scored.error.empty() || scored.rows == 0 || m.get_training_table()->n_columns() != 5) return;
  const auto cells = plain_cells(rows.substr(0, rows.find('\n')), m);
  if (cells.empty()) return;
  decision_tree::prediction result;
  m.predict(cells, 1.0, result, nullptr);
  const std::string name = m.class_names()[result.first];
  require(scored.text.starts_with(name + ","), "a row is predicted as its values");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const dtree& m = model_of(data[0]);
  const std::string_view rows(reinterpret_cast<const char*>(data) + 1, size - 1);
  const how plain{(data[0] & 4) != 0, (data[0] & 8) != 0, 1, dripping_text::k_all};
  const how by_three{plain.unseen, plain.probabilities, 3, 5};

  const rows_result scored = score(m, rows, plain);
  require(!scored.error.empty() || lines_of(scored.text) == scored.rows, "a line a row");
  if (!plain.unseen) check_first_row(m, rows, scored);
  const rows_result tested = test(m, rows, plain);
  require(tested.error.empty() || tested.text.empty(), "a whole test or none");
  if (!gets_slow_checks(rows)) return 0;
  require(score(m, rows, by_three) == scored, "the same scores, whatever the workers");
  require(test(m, rows, by_three) == tested, "the same test, whatever the workers");
  return 0;
}
