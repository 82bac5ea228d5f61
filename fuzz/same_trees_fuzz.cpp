// One table, one tree: the trees of the ways of growing that are quick are those of the
// definitions, node by node, to the last bit; with one worker as with three; saved and read again.
// The same holds for what they predict. Input: settings, then a table; see drawn.h.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <sstream>

#include "drawn.h"
#include "impls/growing/growing_plan.h"
#include "impls/splitting/split_choice.h"
#include "impls/splitting/split_twin.h"
#include "impls/support/binary_text.h"
#include "impls/support/ensembles.h"
#include "impls/support/tree_builder.h"
#include "require.h"

using namespace orvik::impls;
namespace model = orvik::model;
using orvik::fuzz::drawn;
using orvik::fuzz::drawn_table;
using orvik::fuzz::gets_slow_checks;
using orvik::fuzz::require;

namespace {

struct settings {
  split_rules rules;
  unsigned long max_depth;

  settings(drawn& from, const table& t) : rules{} {
    constexpr double k_least[] = {2, 1, 0.5, 5};
    rules.type = static_cast<model::split_type>(from.below(model::N_SPLIT_TYPES));
    rules.min_weight = k_least[from.below(4)];
    rules.n_usable = t.n_attributes();
    rules.how.one_value = from.flag();
    rules.how.free = from.flag();
    max_depth = from.flag() ? 1 + from.below(4) : k_no_depth_limit;
  }
};

measured as_measured(const table& t, const column& c, const decision_node& node,
                     const code_range& range, const split_rules& rules) {
  measured m{{}, range, rules.min_weight, t.n_class_codes() - 1, rules.how.free, node.weight()};
  for (const auto& [row, weight] : *node.cases()) {
    m.cases.push_back({c.get_row_index(row), t.class_column().get_row_index(row), weight});
  }
  return m;
}

/// Short lists are sorted in place, and stay so for the attributes behind.
void sort_in_place(const column& c, decision_node& node) {
  auto& cases = const_cast<case_list&>(*node.cases());
  c.sort(cases.begin(), cases.end());
}

desc_t measure_plainly(const table& t, const column& c, decision_node& node,
                       const code_range& range, const split_rules& rules) {
  const measured m = as_measured(t, c, node, range, rules);
  if (c.type() != column::CONTINUOUS) {
    const bool one = rules.how.one_value && c.values()->size_of_known() > 2;
    return one ? twin_one_value(m) : twin_discrete(m);
  }
  if (m.cases.size() / (range.second - range.first) > 1) return twin_counted(m);
  if (m.cases.size() < k_copied_cases) sort_in_place(c, node);
  return twin_sorted(m);
}

/// The first of the greatest value; with GAIN_RATIO only among gains not below their mean.
const candidate* choose(const std::vector<candidate>& all, model::split_type type) {
  double sum = 0, n = 0, best_value = column::k_no_gain;
  for (const candidate& c : all) sum += c.desc.gain, ++n;
  const candidate* best = nullptr;
  for (const candidate& c : all) {
    const bool gain = type == model::INFORMATION_GAIN;
    if (c.desc.split_info <= (gain ? 0 : 0.001)) continue;
    if (type == model::GAIN_RATIO && c.desc.gain < sum / n - 0.001) continue;
    const double value = gain ? c.desc.gain : c.desc.gain / c.desc.split_info;
    if (!(value > best_value)) continue;
    best_value = value;
    best = &c;
  }
  return best;
}

void split_plainly(const table& t, decision_node& node, const split_rules& rules) {
  node.set_as_leaf();
  if (node.stays_leaf(rules.min_weight)) return;
  std::vector<candidate> tests;
  for (unsigned int a = 0; a < t.n_attributes(); ++a) {
    const code_range range = node.range(a);
    if (range.second - range.first <= 1) continue;
    const desc_t desc = measure_plainly(t, t.column_of(a), node, range, rules);
    if (desc.gain > column::k_no_gain) tests.push_back({a, desc});
  }
  const candidate* best = choose(tests, rules.type);
  if (best != nullptr) node.set_test(t, *best);
}

std::unique_ptr<decision_tree> grow_by_definition(const table& t, const settings& s) {
  const std::unique_ptr<case_list> cases(t.get_all());
  return grow_level_by_level(t, *cases, [&](decision_node& node, unsigned long level) {
    level < s.max_depth ? split_plainly(t, node, s.rules) : node.set_as_leaf();
  });
}

std::unique_ptr<decision_tree> grow(const table& t, const settings& s, unsigned long workers) {
  const loop_threads threads(workers);
  const std::unique_ptr<case_list> cases(t.get_all());
  auto tree = std::make_unique<decision_tree>();
  zel::util::default_context().with_workers([&] {
    const growing_plan plan(t, s.rules.type, s.rules.min_weight, nullptr,
                            zel::util::default_context(), s.rules.how);
    tree->build(plan, cases.get(), s.max_depth, nullptr);
  });
  return tree;
}

std::unique_ptr<dtree> read_again(const dtree& m) {
  auto again = std::make_unique<dtree>("");
  read_all(binary_of([&m](auto& out) { out << m; }), [&again](auto& in) { in >> *again; });
  return again;
}

/// What a model says of every row, by its batches and one by one.
std::string predictions_of(const dtree& m, const table& t, std::string_view rows) {
  std::ostringstream out;
  unsigned long n = 0;
  dripping_text text(rows, dripping_text::k_all);
  zel::inpout::stream in(&text, ',', /*owns=*/false, {256});
  m.score(&in, out, n, ',', /*probabilities=*/true, nullptr);
  out << std::hexfloat;
  for (row_t row = 0; row < t.n_rows(); ++row) {
    decision_tree::prediction result;
    const double depth = m.predict(t, codes_of(t, row), result, 1.0);
    out << result.first << ' ' << result.second << ' ' << depth << '\n';
  }
  return out.str();
}

void check_batches(const dtree& m, const table& t) {
  const std::unique_ptr<case_list> all(t.get_all());
  double depth = 0, weight = 0, depths = 0, wrong = 0;
  const auto matrix = m.test(t, *all, &depth);
  for (const auto& [row, w] : *all) {
    decision_tree::prediction result;
    // A part of a weight may be rounded so that one of two equal classes has more: as the batch.
    depths += m.predict(t, codes_of(t, row), result, 1.0) * w;
    if (result.first != t.class_column().get_row_index(row)) wrong += w;
    weight += w;
  }
  require(std::abs(matrix->err_misc() - wrong / weight) < 1e-9, "the errors of the rows");
  depths /= weight * static_cast<double>(m.n_trees());
  require(std::abs(depth - depths) < 1e-9 * (1 + depth), "the depths of the rows");
}

/// What the model is to be: one byte each.
struct kind {
  unsigned long ensemble, pruning;
  bool random_cuts, sqrt, shares;
  explicit kind(drawn& from)
      : ensemble(from.below(4)),
        pruning(from.below(model::N_PRUNING_STRATEGIES + 1)),
        random_cuts(from.flag()),
        sqrt(from.flag()),
        shares(from.flag()) {}
};

std::unique_ptr<dtree> build(const table& t, const settings& s, const kind& k,
                             unsigned long workers) {
  const loop_threads threads(workers);
  const run_seed seed(3);
  const std::unique_ptr<case_list> all(t.get_all());
  auto m = std::make_unique<dtree>("m");
  m->set_split_type(s.rules.type);
  m->set_min_obj(s.rules.min_weight);
  m->set_max_depth(s.max_depth);
  const auto strategy = static_cast<model::pruning_strategy>(k.pruning);
  m->set_pruning_strategy(strategy < model::N_PRUNING_STRATEGIES ? strategy : model::NO_PRUNING);
  if (k.ensemble == 3) m->set_boosting(3);
  if (k.ensemble == 1 || k.ensemble == 2) m->set_forest(k.ensemble == 1, k.ensemble == 2, 3);
  orvik::growth how = s.rules.how;
  how.random_cuts = k.random_cuts;
  if (k.sqrt) how.attributes = {orvik::attribute_draw::SQUARE_ROOT, 0};
  m->set_growth(how);
  if (k.shares) m->set_combination(orvik::combination::shares);
  m->build(&t, all.get());
  return m;
}

void check_model(const table& t, const settings& s, const kind& k, const std::string& rows) {
  std::unique_ptr<dtree> m;
  const std::string refused = orvik::fuzz::error_of([&] { m = build(t, s, k, 1); });
  if (!refused.empty()) return;
  const std::string said = predictions_of(*m, t, rows), text = text_of(*m);
  const auto again = read_again(*m);
  require(text_of(*again) == text, "the saved model is the same");
  require(predictions_of(*again, t, rows) == said, "the saved model predicts the same");
  check_batches(*m, t);
  if (!gets_slow_checks(rows)) return;
  const auto by_three = build(t, s, k, 3);
  require(text_of(*by_three) == text, "one model, whatever the workers");
  const loop_threads threads(3);
  require(predictions_of(*by_three, t, rows) == said, "one prediction, whatever the workers");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const loop_threads threads(1);
  drawn from({reinterpret_cast<const char*>(data), size});
  drawn head = from;  // settings need the table
  for (int i = 0; i < 12; ++i) from.below(1);
  const drawn_table texts(from);
  const auto t = texts.load();
  const settings s(head, *t);
  const kind k(head);

  const std::string expected = exact_text_of(*grow_by_definition(*t, s), *t);
  require(exact_text_of(*grow(*t, s, 1), *t) == expected, "the tree of the definitions");
  if (gets_slow_checks(texts.rows)) {
    require(exact_text_of(*grow(*t, s, 3), *t) == expected, "one tree, whatever the workers");
  }
  check_model(*t, s, k, texts.rows);
  return 0;
}
