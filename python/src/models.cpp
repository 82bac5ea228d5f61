// Models as they are grown, read, looked into and written.
#include "models.h"

#include <algorithm>
#include <functional>
#include <sstream>

#include "forms.h"
#include "report.h"
#include "rules.h"

namespace orvpython {

namespace {

using orvik::dtree;
using orvik::table;
namespace model_enums = orvik::model;

const std::map<std::string, model_enums::split_type> k_splits = {
    {"gain_ratio", model_enums::GAIN_RATIO},
    {"pure_gain_ratio", model_enums::PURE_GAIN_RATIO},
    {"gain", model_enums::INFORMATION_GAIN}};
const std::map<std::string, model_enums::pruning_strategy> k_prunings = {
    {"none", model_enums::NO_PRUNING}, {"pre", model_enums::PRE_PRUNING_ONLY},
    {"ebp", model_enums::EBP},         {"ebpg", model_enums::EBPG},
    {"ebpa", model_enums::EBPA},       {"pep", model_enums::PEP},
    {"pepg", model_enums::PEPG},       {"pepa", model_enums::PEPA},
    {"rep", model_enums::REP},         {"repg", model_enums::REPG},
    {"repa", model_enums::REPA},       {"mep", model_enums::MEP},
    {"mepg", model_enums::MEPG},       {"mepa", model_enums::MEPA}};
const std::map<std::string, model_enums::feature_selection> k_searches = {
    {"acceptable", model_enums::ACCEPTABLE_SUBSET},
    {"exhaustive", model_enums::EXHAUSTIVE},
    {"forward", model_enums::FORWARD},
    {"backward", model_enums::BACKWARD},
    {"fast-backward", model_enums::OPTIMISED_BACKWARD}};
const std::map<std::string, orvik::attribute_draw::rule> k_draws = {
    {"by_kind", orvik::attribute_draw::BY_KIND},  {"all", orvik::attribute_draw::ALL},
    {"count", orvik::attribute_draw::COUNT},      {"percent", orvik::attribute_draw::PERCENT},
    {"sqrt", orvik::attribute_draw::SQUARE_ROOT}, {"log2", orvik::attribute_draw::LOGARITHM}};
const std::map<std::string, orvik::calibration> k_calibrations = {
    {"plain", orvik::calibration::plain},
    {"isotonic", orvik::calibration::isotonic},
    {"platt", orvik::calibration::platt}};

/// A setting of a dictionary.
template <class T>
T setting(const py::dict& all, const char* name) {
  return all[name].cast<T>();
}

}  // namespace

void held_model::take(dtree* read) {
  model_.reset(read);
  if (!model_ || model_->get_no_trees() == 0)
    throw std::runtime_error("it holds no model with trees");
  model_->use(run_);
}

void held_model::start(const py::dict& how) {
  model_ = std::make_unique<dtree>(setting<std::string>(how, "name"));
  model_->use(run_);
  run_.set_seed(setting<unsigned long>(how, "seed"));
}

void held_model::set_parameters(const py::dict& how) {
  dtree& m = *model_;
  m.set_split_type(named(k_splits, setting<std::string>(how, "split")));
  m.set_pruning_strategy(named(k_prunings, setting<std::string>(how, "pruning")));
  m.set_min_obj(setting<double>(how, "min_weight"));
  m.set_conf_level(setting<double>(how, "confidence"));
  if (!how["max_depth"].is_none()) m.set_max_depth(setting<unsigned long>(how, "max_depth"));
  m.set_growth(
      {{named(k_draws, setting<std::string>(how, "draw")), setting<double>(how, "draw_amount")},
       setting<bool>(how, "free"),
       setting<bool>(how, "random_cuts"),
       setting<bool>(how, "one_value")});
  const auto kind = setting<std::string>(how, "kind");
  const auto n = setting<unsigned long>(how, "n_trees");
  if (kind == "boosting") m.set_boosting(n);
  if (kind == "bagging") m.set_forest(/*forest=*/false, /*bagging=*/true, n);
  m.set_resampling({setting<double>(how, "share"), setting<bool>(how, "replace"),
                    setting<bool>(how, "balanced")});
  m.set_combination(setting<bool>(how, "soft") ? orvik::combination::shares
                                               : orvik::combination::votes);
  if (!how["calibrate"].is_none()) {
    m.set_calibration(named(k_calibrations, setting<std::string>(how, "calibrate")));
  }
  m.set_smoothing(setting<bool>(how, "laplace"));
  m.set_balanced_classes(setting<bool>(how, "balanced_classes"));
  m.set_class_weights(setting<std::vector<double>>(how, "class_weights"));
  m.set_keep_training_cm(setting<bool>(how, "keep_matrix"));
}

/// Costs of pairs of class codes: tuples of the predicted, the actual one and the cost.
void held_model::set_costs(const table& of, const py::dict& how) {
  std::vector<orvik::class_cost> costs;
  for (const py::handle each : how["costs"].cast<py::list>()) {
    const auto c = each.cast<py::tuple>();
    costs.push_back({c[0].cast<orvik::code_t>(), c[1].cast<orvik::code_t>(), c[2].cast<double>()});
  }
  model_->set_costs(
      of, costs,
      setting<bool>(how, "costs_weigh") ? orvik::cost_use::weighs : orvik::cost_use::decides);
}

std::unique_ptr<held_model> held_model::grown(const held_table& on, const py::dict& how,
                                              const py::object& progress) {
  auto made = std::make_unique<held_model>(setting<unsigned long>(how, "workers"));
  made->start(how);
  made->set_parameters(how);
  made->set_costs(on.get(), how);
  dtree& model = *made->model_;
  run_watched(made->run_, progress, [&] { model.build(&on.get(), nullptr); });
  return made;
}

py::tuple held_model::searched(const held_table& on, const py::dict& how,
                               const py::object& progress) {
  held_model made(setting<unsigned long>(how, "workers"));
  made.start(how);
  made.set_parameters(how);
  made.set_costs(on.get(), how);
  dtree& model = *made.model_;
  model.set_fs(named(k_searches, setting<std::string>(how, "method")),
               setting<double>(how, "within"));
  if (const auto limit = setting<double>(how, "limit"); limit > 0) model.set_fs_limit(limit);
  run_watched(made.run_, progress, [&] { model.feature_selection(&on.get(), nullptr, nullptr); });
  const orvik::feature_search done = model.get_search();
  py::dict facts;
  facts["error"] = done.error;
  facts["start_error"] = done.start_error;
  facts["trees_grown"] = done.trees_grown;
  facts["ended"] = done.ended;
  return py::make_tuple(model.attributes(&on.get()), facts);
}

std::unique_ptr<held_model> held_model::read(const std::string& file, unsigned long workers) {
  auto made = std::make_unique<held_model>(workers);
  run_watched(made->run_, py::none(), [&] { made->take(dtree::fromBinary(file)); });
  return made;
}

std::unique_ptr<held_model> held_model::from_bytes(const std::string& bytes,
                                                   unsigned long workers) {
  auto made = std::make_unique<held_model>(workers);
  const py::gil_scoped_release release;
  made->take(dtree::from_bytes(bytes));
  return made;
}

void held_model::save(const std::string& file) const {
  const py::gil_scoped_release release;
  model_->toBinary(file);
}

py::tuple held_model::importance(const held_table* training) const {
  std::vector<orvik::attribute_importance> all;
  alone([&] {
    all = training == nullptr ? model_->get_importance() : model_->get_importance(&training->get());
  });
  const auto n = static_cast<py::ssize_t>(model_->get_schema().n_attributes());
  py::array_t<double> gain(n), permutation(n);
  std::fill_n(gain.mutable_data(), n, 0.0);
  std::fill_n(permutation.mutable_data(), n, 0.0);
  for (const orvik::attribute_importance& each : all) {
    gain.mutable_at(each.attribute) = each.gain;
    permutation.mutable_at(each.attribute) = each.permutation;
  }
  return py::make_tuple(gain, permutation);
}
std::vector<double> held_model::oob_errors(const held_table& training) const {
  std::vector<double> errors;
  alone([&] { errors = model_->get_oob_errors(&training.get()); });
  return errors;
}
bool held_model::recall_draws(const held_table& training, unsigned long seed) {
  run_.set_seed(seed);
  const py::gil_scoped_release release;
  return model_->recall_draws(&training.get());
}

std::string held_model::form(const std::string& name, unsigned long tree, long depth,
                             const std::string& relation) const {
  const dtree& m = *model_;
  const orvik::view::chosen_tree chosen{m, tree};
  const unsigned long levels = depth < 0 ? orvik::k_all_levels : static_cast<unsigned long>(depth);
  using writer = std::function<void(std::ostream&)>;
  const std::map<std::string, writer> writers = {
      {"text", [&](std::ostream& out) { m.toTEXT(out); }},
      {"dot", [&](std::ostream& out) { m.toDOT(out); }},
      {"json", [&](std::ostream& out) { m.toJSON(out); }},
      {"pmml", [&](std::ostream& out) { m.toPMML(out); }},
      {"html",
       [&](std::ostream& out) { orvik::view::write_html_report(m, m.get_name(), nullptr, out); }},
      {"cpp", [&](std::ostream& out) { orvik::view::write_cpp(m, out); }},
      {"python", [&](std::ostream& out) { orvik::view::write_python(m, out); }},
      {"sql", [&](std::ostream& out) { orvik::view::write_sql(chosen, relation, out); }},
      {"svg", [&](std::ostream& out) { orvik::view::write_svg(chosen, levels, out); }},
      {"summary", [&](std::ostream& out) { orvik::view::write_summary(chosen, levels, {}, out); }},
      {"rules-text", [&](std::ostream& out) { orvik::view::write_rules_text(chosen, out); }},
      {"rules-csv", [&](std::ostream& out) { orvik::view::write_rules_csv(chosen, out); }},
      {"rules-json", [&](std::ostream& out) { orvik::view::write_rules_json(chosen, out); }}};
  const py::gil_scoped_release release;
  std::ostringstream out;
  named(writers, name)(out);
  return out.str();
}

}  // namespace orvpython
