// Binary files in use: what a reader accepted must not fail later. A table is grown, pruned,
// tested, shown and saved; a model scores and tests rows, is shown and saved.
// Input: two bytes that pick what is done how, then the file.
#include <rapidjson/document.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>

#include "impls/support/binary_text.h"
#include "impls/support/ensembles.h"
#include "impls/tables/folds.h"
#include "require.h"
#include "shown.h"

using namespace orvik::impls;
namespace model = orvik::model;
using orvik::fuzz::error_of;
using orvik::fuzz::gets_slow_checks;
using orvik::fuzz::require;

namespace {

/// The first bytes: what is done, and how a model is grown.
struct choices {
  bool is_model, ensemble, forest, light_branches, rescaled;
  unsigned split_type;
  bool boosted, shares, own_unknowns;
  orvik::growth growth;

  choices(std::uint8_t byte, std::uint8_t more)
      : is_model(byte & 1),
        ensemble(byte & 2),
        forest(byte & 4),
        light_branches(byte & 8),
        rescaled(byte & 16),
        split_type(byte >> 5 & 3),
        boosted(more & 1),
        shares(more & 2),
        own_unknowns(more & 4),
        growth{more & 64 ? orvik::attribute_draw{orvik::attribute_draw::SQUARE_ROOT, 0}
                         : orvik::attribute_draw{},
               (more & 8) != 0, (more & 16) != 0, (more & 32) != 0} {}
};

/// Whether the table is one to grow on in little time.
bool is_small(const table& t) {
  constexpr unsigned long k_work = 1UL << 16;
  unsigned long values = 0;
  for (unsigned long i = 0; i < t.n_columns(); ++i) {
    values += 1 + t.get_column(i).values()->size_of_known();
  }
  return t.n_rows() > 0 && t.n_rows() < k_work / values && t.n_class_codes() < k_work / values;
}

std::string bytes_of(const dtree& m) {
  return binary_of([&m](auto& out) { out << m; });
}

std::unique_ptr<dtree> read_model(std::string_view bytes) {
  auto m = std::make_unique<dtree>("");
  read_all(bytes, [&m](auto& in) { in >> *m; });
  return m;
}

void show(const conf_matrix& matrix) {
  std::ostringstream out;
  matrix.toTEXT(out, 0);
  matrix.toXML(out, "");
  for (const auto measure : {&conf_matrix::err_misc, &conf_matrix::err_mae, &conf_matrix::err_maee,
                             &conf_matrix::err_mse, &conf_matrix::err_r, &conf_matrix::err_rint,
                             &conf_matrix::err_gamma}) {
    out << (matrix.*measure)();
  }
  out << matrix.err_misc_majority() << matrix.err_misc_majority(&matrix)
      << matrix.err_mae_majority(&matrix) << matrix.err_mse_majority(&matrix);
}

/// Numbers may be beyond those of this parser: a long double is.
void require_json(const std::string& text) {
  constexpr unsigned k_how = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
  const auto error = rapidjson::Document().Parse<k_how>(text.c_str(), text.size()).GetParseError();
  require(error == rapidjson::kParseErrorNone || error == rapidjson::kParseErrorNumberTooBig,
          "a JSON document");
}

/// In every form. Only PMML 4.4 may be refused: XML cannot hold every text.
void show(const dtree& m) {
  std::ostringstream out, json;
  m.toTEXT(out, 0);
  m.toDOT(out);
  m.toXML(out, m.get_training_cm());
  m.toJSON(json);
  require_json(json.str());
  error_of([&] { m.toPMML(out); });
  orvik::fuzz::show(m);
  out << m.trees().size() << m.trees().leaves() << m.trees().depth() << m.trees().epl()
      << m.nfeatures();
}

void show(const table& t) {
  std::ostringstream out;
  const std::unique_ptr<case_list> all(t.get_all());
  t.toXML_data_dictionary(out);
  t.toXML_mining_schema(out, nullptr);
  t.toCSV(out, *all, /*header=*/true);
}

/// A separator that is in no value of the table; 0 where all are.
char separator_for(const table& t) {
  for (const char c : {',', '\x01', '|', '\t', '~'}) {
    bool is_free = true;
    for (unsigned long i = 0; i < t.n_columns() && is_free; ++i) {
      const o_set& values = *t.get_column(i).values();
      for (code_t code = 1; code <= values.size_of_known() && is_free; ++code) {
        is_free = values.get_exact_value(code).find(c) == std::string::npos;
      }
    }
    if (is_free) return c;
  }
  return 0;
}

/// Rows of the lowest and the highest values of a schema, and one of unknown ones. A separator at
/// the end keeps a last value that is empty.
std::string rows_of(const table& t, char separator) {
  std::string rows;
  for (const int which : {0, 1, 2}) {
    for (unsigned long i = 0; i < t.n_columns(); ++i) {
      const o_set& values = *t.get_column(i).values();
      const code_t last = values.size_of_known();
      const bool known = last > 0 && (which < 2 || i == t.class_index() || i == t.weights_index());
      rows += (known ? values.get_exact_value(which == 0 ? 1 : last) : "?") + separator;
    }
    rows += '\n';
  }
  return rows;
}

/// Rows of the model's own values are read without an error.
void predict_rows(const dtree& m) {
  const table& t = *m.get_training_table();
  const char separator = separator_for(t);
  if (separator == 0 || t.n_columns() < 2) return;
  const std::string rows = rows_of(t, separator);
  dripping_text scored(rows, dripping_text::k_all), tested(rows, dripping_text::k_all);
  zel::inpout::stream to_score(&scored, separator, /*owns=*/false, {256});
  zel::inpout::stream to_test(&tested, separator, /*owns=*/false, {256});
  std::ostringstream out;
  unsigned long n = 0;
  unseen_values unseen;
  m.score(&to_score, out, n, ',', /*probabilities=*/true, &unseen);
  require(n == 3, "a prediction a row");
  show(*m.test(&to_test, "?", &unseen));
}

void use_model(std::string_view bytes) {
  std::unique_ptr<dtree> m;
  if (!error_of([&] { m = read_model(bytes); }).empty() || m->n_trees() == 0) return;
  show(*m);
  predict_rows(*m);
  const auto again = read_model(bytes_of(*m));
  require(text_of(*again) == text_of(*m), "the same model when read again");
}

/// By every strategy, on many rows by some.
void prune_copies(const dtree& grown, const table& t, const case_list& all) {
  constexpr unsigned long k_few_rows = 24, k_some = 5;
  const bool few = t.n_rows() <= k_few_rows;
  for (unsigned long strategy = few ? 0 : t.n_rows() % k_some;
       strategy < model::N_PRUNING_STRATEGIES; strategy += few ? 1 : k_some) {
    for (const case_list* held : {&all, static_cast<const case_list*>(nullptr)}) {
      const auto m = grown.clone(/*parameters_only=*/false);
      m->set_pruning_strategy(static_cast<model::pruning_strategy>(strategy));
      m->prune(&t, held);
      require(m->trees().leaves() <= grown.trees().leaves(), "pruning cuts");
    }
  }
}

std::unique_ptr<dtree> grow(const table& t, const choices& how, const case_list& cases) {
  const run_seed seed(7);
  auto m = std::make_unique<dtree>("m");
  m->set_pruning_strategy(model::NO_PRUNING);
  m->set_split_type(static_cast<model::split_type>(how.split_type));
  m->set_min_obj(how.light_branches ? 0.01 : 2);
  m->set_max_depth(9);
  if (how.ensemble && how.boosted) m->set_boosting(3);
  if (how.ensemble && !how.boosted) m->set_forest(how.forest, !how.forest, 3);
  m->set_growth(how.growth);
  if (how.shares) m->set_combination(orvik::combination::shares);
  m->build(&t, &cases);
  return m;
}

void use_table(std::string_view bytes, const choices& how) {
  std::unique_ptr<table> t;
  if (!error_of([&] { t = table_of(bytes); }).empty() || !t) return;
  if (how.rescaled) t->rescale_weights();
  if (how.own_unknowns) t->own_unknowns();
  show(*t);
  if (!t->has_class() || !is_small(*t)) return;

  const std::unique_ptr<case_list> all(t->get_all());
  std::unique_ptr<dtree> m;
  const std::string refused = error_of([&] { m = grow(*t, how, *all); });
  if (how.ensemble && refused == "the weights of a tree's cases have no finite sum") return;
  require(refused.empty(), refused.c_str());
  double depth = 0;
  show(*m->test(*t, *all, &depth));
  m->set_training_cm(t.get(), all.get());
  show(*m);
  predict_rows(*m);
  prune_copies(*m, *t, *all);
  m->importance(*t);
  m->oob_error(*t);
  stratify(*all, all->size() / 3, *t, /*random=*/false);
  stratify_cross(*all, 3, *t, /*random=*/false);

  const std::string text = text_of(*m);
  require(text_of(*read_model(bytes_of(*m))) == text, "the same model when read");
  const auto again = table_of(orvik::impls::bytes_of(*t));
  if (!gets_slow_checks(bytes)) return;
  const loop_threads threads(3);
  const std::unique_ptr<case_list> rows(again->get_all());
  require(text_of(*grow(*again, how, *rows)) == text, "one model, whatever the workers");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const loop_threads threads(1);
  const choices how(data[0], data[1]);
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 2, size - 2);
  how.is_model ? use_model(bytes) : use_table(bytes, how);
  return 0;
}
