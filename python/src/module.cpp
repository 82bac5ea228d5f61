// orvik._orvik: tables and models of the library for the Python package around it.
//
// Errors of the library are ValueError, lack of memory MemoryError. Python's lock is released while
// tables are made and models grown, pruned or asked.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <map>
#include <sstream>

#include "cells.h"
#include "forms.h"
#include "orvik/cell_predictor.h"
#include "orvik/orvik.h"
#include "orvik/probabilities.h"
#include "orvik/reasons.h"
#include "report.h"
#include "rules.h"
#include "trees.h"
#include "watched.h"

namespace orvpython {

namespace {

using orvik::dtree;
using orvik::table;
namespace model_enums = orvik::model;

constexpr char k_unknown_text[] = "?";

template <class Enum>
Enum named(const std::map<std::string, Enum>& all, const std::string& name) {
  const auto at = all.find(name);
  if (at == all.end()) throw py::value_error("unknown name: " + name);
  return at->second;
}

const std::map<std::string, model_enums::column_role> k_roles = {
    {"discrete", model_enums::DISCRETE},
    {"continuous", model_enums::CONTINUOUS},
    {"class", model_enums::CLASS},
    {"weights", model_enums::WEIGHTS},
    {"ignore", model_enums::IGNORE}};
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

/// A dictionary for every column: what tables and models say of theirs.
py::list described(const orvik::schema_view& schema) {
  py::list all;
  for (unsigned long i = 0; i < schema.n_columns(); ++i) {
    const orvik::column_view c = schema.column(i);
    py::dict one;
    one["name"] = py::bytes(c.name());
    one["role"] = c.role_name();
    one["type"] = c.type();
    one["input"] = c.is_input();
    one["numeric"] = c.is_numeric();
    one["ordered"] = c.is_ordered();
    one["n_values"] = c.n_values();
    all.append(one);
  }
  return all;
}

/// The values of a column by code, from 1: numbers, or texts as bytes.
py::list values_of(const orvik::schema_view& schema, unsigned long i) {
  const orvik::column_view c = schema.column(i);
  py::list all;
  for (orvik::code_t code = 1; code <= c.n_values(); ++code) {
    if (!c.is_numeric()) {
      all.append(py::bytes(c.exact(code)));
    } else if (c.type().find("integer") != std::string::npos) {
      all.append(py::int_(static_cast<long long>(c.number(code))));
    } else {
      all.append(py::float_(c.number(code)));
    }
  }
  return all;
}

class held_table {
 public:
  explicit held_table(unsigned long workers) { run_.set_n_workers(workers); }

  /// `columns`: tuples of name, type, role, values, unknown ones, texts; `rows` None or numbers.
  static std::unique_ptr<held_table> made(const std::string& name, const py::list& columns,
                                          unsigned long n, const py::object& rows, bool rescale,
                                          bool own_unknown, unsigned long workers) {
    auto made = std::make_unique<held_table>(workers);
    py::list parts;
    std::vector<orvik::column_cells> all;
    for (const py::handle each : columns) {
      const auto c = each.cast<py::tuple>();
      parts.append(py::make_tuple(c[3], c[4], c[5]));
      all.push_back({c[0].cast<std::string>(),
                     c[1].cast<std::string>(),
                     named(k_roles, c[2].cast<std::string>()),
                     {}});
    }
    const held_columns held(parts, n);
    for (std::size_t i = 0; i < all.size(); ++i) all[i].cells = held.cells[i];
    const bool all_rows = rows.is_none();
    std::vector<orvik::row_t> listed;
    if (!all_rows) listed = rows.cast<std::vector<orvik::row_t>>();
    for (const orvik::row_t row : listed) {
      if (row >= n) throw py::value_error("a row that there is not");
    }
    made->begin(name);
    run_watched(made->run_, py::none(), [&] {
      all_rows ? made->table_->load_columns(all, n, k_unknown_text)
               : made->table_->load_columns(all, listed, k_unknown_text);
      if (rescale) made->table_->rescale_weights();
      if (own_unknown) made->table_->own_unknowns();
    });
    return made;
  }

  static std::unique_ptr<held_table> loaded(const std::string& name, const std::string& names,
                                            const std::string& data, const std::string& separator,
                                            const std::string& unknown, bool rescale,
                                            bool own_unknown, unsigned long workers) {
    if (separator.size() != 1) throw py::value_error("separator must be one character");
    auto made = std::make_unique<held_table>(workers);
    made->begin(name);
    run_watched(made->run_, py::none(), [&] {
      made->table_->load_meta_data(names, separator[0], unknown);
      made->table_->load_data(data, separator[0], made->run_.get_n_workers(), nullptr);
      if (rescale) made->table_->rescale_weights();
      if (own_unknown) made->table_->own_unknowns();
    });
    return made;
  }

  static std::unique_ptr<held_table> read(const std::string& file, unsigned long workers) {
    auto made = std::make_unique<held_table>(workers);
    run_watched(made->run_, py::none(), [&] { made->table_.reset(table::fromBinary(file)); });
    if (!made->table_) throw py::value_error("File: " + file + " holds no table");
    return made;
  }

  table& get() const { return *table_; }
  orvik::schema_view schema() const { return table_->get_schema(); }
  unsigned long n_rows() const { return table_->get_no_rows(); }

  py::array_t<std::uint32_t> codes(unsigned long column) const {
    const orvik::column_view c = schema().column(column);
    py::array_t<std::uint32_t> all(static_cast<py::ssize_t>(n_rows()));
    std::uint32_t* const to = all.mutable_data();
    const py::gil_scoped_release release;
    for (orvik::row_t row = 0; row < n_rows(); ++row) {
      to[row] = static_cast<std::uint32_t>(c.code_in(row));
    }
    return all;
  }

 private:
  void begin(const std::string& name) {
    table_ = std::make_unique<table>(name);
    table_->use(run_);
  }

  orvik::run_context run_;
  std::unique_ptr<table> table_;
};

/// A setting of a dictionary.
template <class T>
T setting(const py::dict& all, const char* name) {
  return all[name].cast<T>();
}

class held_model {
 public:
  explicit held_model(unsigned long workers) { run_.set_n_workers(workers); }

  static std::unique_ptr<held_model> grown(const held_table& on, const py::dict& how,
                                           const py::object& progress) {
    auto made = std::make_unique<held_model>(setting<unsigned long>(how, "workers"));
    made->start(how);
    made->set_parameters(how);
    made->set_costs(on.get(), how);
    dtree& model = *made->model_;
    run_watched(made->run_, progress, [&] { model.build(&on.get(), nullptr); });
    return made;
  }

  /// Numbers of the attributes that a search found, and what it says of itself.
  static py::tuple searched(const held_table& on, const py::dict& how, const py::object& progress) {
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

  static std::unique_ptr<held_model> read(const std::string& file, unsigned long workers) {
    auto made = std::make_unique<held_model>(workers);
    run_watched(made->run_, py::none(), [&] { made->take(dtree::fromBinary(file)); });
    return made;
  }

  static std::unique_ptr<held_model> from_bytes(const std::string& bytes, unsigned long workers) {
    auto made = std::make_unique<held_model>(workers);
    const py::gil_scoped_release release;
    made->take(dtree::from_bytes(bytes));
    return made;
  }

  py::bytes to_bytes() const { return model_->to_bytes(); }
  void save(const std::string& file) const {
    const py::gil_scoped_release release;
    model_->toBinary(file);
  }
  unsigned long workers() const { return run_.get_n_workers(); }

  /// What decides the class of the rows, by row and class, and the unseen values by column.
  py::tuple predict(const py::list& columns, unsigned long n) const {
    const held_columns held(columns, n);
    const unsigned long k = model_->get_schema().n_class_codes();
    py::array_t<double> shares({n, k});
    double* const to = shares.mutable_data();
    dtree::unseen_values unseen;
    ask(n,
        [&](const orvik::run_context& run) { ready().predict(held.cells, n, to, &unseen, run); });
    return py::make_tuple(shares, unseen);
  }

  /// The codes of the classes of `shares`, which are as predict() gives them.
  py::array_t<std::uint32_t> decide(
      const py::array_t<double, py::array::c_style | py::array::forcecast>& shares) const {
    const unsigned long k = model_->get_schema().n_class_codes();
    if (shares.ndim() != 2 || static_cast<unsigned long>(shares.shape(1)) != k)
      throw py::value_error("shares that are not of the classes");
    py::array_t<std::uint32_t> codes(shares.shape(0));
    const double* from = shares.data();
    for (py::ssize_t i = 0; i < shares.shape(0); ++i, from += k) {
      codes.mutable_at(i) = static_cast<std::uint32_t>(model_->decide({from, from + k}));
    }
    return codes;
  }

  /// What the attributes contribute to the shares by row, class code and attribute, and the shares
  /// without them by class code.
  py::tuple explain(const py::list& columns, unsigned long n) const {
    const held_columns held(columns, n);
    const orvik::explainer* by = nullptr;
    alone([&] {
      if (!explainer_) explainer_ = std::make_unique<orvik::explainer>(*model_);
      by = explainer_.get();
    });
    const unsigned long k = by->base().size(), width = held.cells.size();
    py::array_t<double> all({n, k, width});
    double* const to = all.mutable_data();
    alone([&] { explain_blocks(*by, held, n, to); });
    return py::make_tuple(all, py::array_t<double>(static_cast<py::ssize_t>(k), by->base().data()));
  }

  /// Whether a class is in the set of a row, by row and class code.
  py::array_t<bool> sets(const py::list& columns, unsigned long n, double percent,
                         bool by_class) const {
    const held_columns held(columns, n);
    const std::vector<double> limits = model_->get_set_limits({percent, by_class});
    const unsigned long k = limits.size();
    py::array_t<bool> all({n, k});
    bool* to = all.mutable_data();
    alone([&] {
      std::vector<double> shares, plain;
      for_each_block(held, n, 4096,
                     [&](unsigned long some, const std::vector<orvik::code_t>& codes) {
                       ready().predict_codes(codes, some, shares, plain);
                       for (unsigned long i = 0; i < some * k; ++i)
                         *to++ = plain[i] >= limits[i % k];
                     });
    });
    return all;
  }

  /// Leaves by row and tree.
  py::array_t<std::int64_t> apply(const py::list& columns, unsigned long n) const {
    const held_columns held(columns, n);
    const unsigned long n_trees = model_->get_no_trees();
    py::array_t<std::int64_t> leaves({n, n_trees});
    std::int64_t* const to = leaves.mutable_data();
    ask(n, [&](const orvik::run_context& run) {
      const std::vector<tree_walker> trees = walkers();
      for_each_row(held, n, run, [&](unsigned long row, const std::uint32_t* codes) {
        for (unsigned long t = 0; t < n_trees; ++t) to[row * n_trees + t] = trees[t].leaf_of(codes);
      });
    });
    return leaves;
  }

  /// Of a sparse matrix of nodes by row: where rows begin, the nodes, and where trees begin.
  py::tuple decision_path(const py::list& columns, unsigned long n) const {
    const held_columns held(columns, n);
    std::vector<std::int64_t> begins{0}, nodes, offsets{0};
    ask(n, [&](const orvik::run_context& run) {
      const std::vector<tree_walker> trees = walkers();
      for (const tree_walker& t : trees) {
        offsets.push_back(offsets.back() + static_cast<std::int64_t>(t.size()));
      }
      for_each_row(held, n, run, [&](unsigned long, const std::uint32_t* codes) {
        for (std::size_t t = 0; t < trees.size(); ++t) {
          const std::size_t first = nodes.size();
          trees[t].path_of(codes, nodes);
          for (std::size_t i = first; i < nodes.size(); ++i) nodes[i] += offsets[t];
        }
        begins.push_back(static_cast<std::int64_t>(nodes.size()));
      });
    });
    const auto array = [](const std::vector<std::int64_t>& v) {
      return py::array_t<std::int64_t>(static_cast<py::ssize_t>(v.size()), v.data());
    };
    return py::make_tuple(array(begins), array(nodes), array(offsets));
  }

  /// Gain and permutation by attribute; the latter not-a-number without the training table.
  py::tuple importance(const held_table* training) const {
    std::vector<orvik::attribute_importance> all;
    alone([&] {
      all =
          training == nullptr ? model_->get_importance() : model_->get_importance(&training->get());
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
  std::vector<double> oob_errors(const held_table& training) const {
    std::vector<double> errors;
    alone([&] { errors = model_->get_oob_errors(&training.get()); });
    return errors;
  }
  bool recall_draws(const held_table& training, unsigned long seed) {
    run_.set_seed(seed);
    const py::gil_scoped_release release;
    return model_->recall_draws(&training.get());
  }

  std::string form(const std::string& name, unsigned long tree, long depth,
                   const std::string& relation) const;

  const dtree& get() const { return *model_; }

 private:
  void take(dtree* read) {
    model_.reset(read);
    if (!model_ || model_->get_no_trees() == 0)
      throw std::runtime_error("it holds no model with trees");
    model_->use(run_);
  }

  void start(const py::dict& how) {
    model_ = std::make_unique<dtree>(setting<std::string>(how, "name"));
    model_->use(run_);
    run_.set_seed(setting<unsigned long>(how, "seed"));
  }

  void set_parameters(const py::dict& how) {
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
  void set_costs(const table& of, const py::dict& how) {
    std::vector<orvik::class_cost> costs;
    for (const py::handle each : how["costs"].cast<py::list>()) {
      const auto c = each.cast<py::tuple>();
      costs.push_back(
          {c[0].cast<orvik::code_t>(), c[1].cast<orvik::code_t>(), c[2].cast<double>()});
    }
    model_->set_costs(
        of, costs,
        setting<bool>(how, "costs_weigh") ? orvik::cost_use::weighs : orvik::cost_use::decides);
  }

  /// work(run) under a run of its own, which an interrupt ends; a few rows are not worth a thread.
  template <class Work>
  void ask(unsigned long n, const Work& work) const {
    constexpr unsigned long k_few = 1UL << 16;  // answers of trees
    orvik::run_context run;
    run.set_n_workers(run_.get_n_workers());
    if (n * model_->get_no_trees() > k_few) {
      return run_watched(run, py::none(), [&] { work(run); });
    }
    const py::gil_scoped_release release;
    work(run);
  }

  /// work() under the model's own run, which an interrupt ends: one at a time.
  template <class Work>
  void alone(const Work& work) const {
    std::unique_lock lock(working_, std::defer_lock);
    const auto is_free = [&] {
      const py::gil_scoped_release release;
      return lock.try_lock_for(std::chrono::milliseconds(100));
    };
    while (!is_free()) {
      if (PyErr_CheckSignals() != 0) throw py::error_already_set();
    }
    run_watched(run_, py::none(), work);
  }

  void explain_blocks(const orvik::explainer& by, const held_columns& held, unsigned long n,
                      double* to) const {
    constexpr unsigned long k_numbers = 1UL << 20;  // in memory beside the result
    const std::vector<unsigned long>& tested = by.attributes();
    const unsigned long width = held.cells.size(), k = by.base().size();
    const unsigned long most = std::max(k_numbers / std::max(width, k * tested.size()), 1024UL);
    std::vector<double> parts;
    for_each_block(held, n, most, [&](unsigned long some, const std::vector<orvik::code_t>& codes) {
      by.explain(codes, some, parts);
      std::fill_n(to, some * k * width, 0.0);
      for (unsigned long i = 0; i < some * k; ++i, to += width) {
        for (std::size_t j = 0; j < tested.size(); ++j) {
          to[tested[j]] = parts[i * tested.size() + j];
        }
      }
    });
  }

  /// take(n, codes) for at most so many rows at a time, in order, until the model's run is
  /// cancelled.
  template <class Take>
  void for_each_block(const held_columns& held, unsigned long n, unsigned long most,
                      const Take& take) const {
    const unsigned long width = held.cells.size();
    std::vector<std::uint32_t> narrow(std::min(n, most) * width);
    for (unsigned long first = 0; first < n; first += most) {
      if (run_.is_cancelled()) throw std::runtime_error("cancelled");
      const unsigned long some = std::min(most, n - first);
      ready().codes_of(held.cells, first, some, narrow.data());
      take(some, std::vector<orvik::code_t>(narrow.begin(),
                                            narrow.begin() + static_cast<long>(some * width)));
    }
  }

  /// Made by whoever predicts first.
  const orvik::cell_predictor& ready() const {
    const std::lock_guard lock(making_);
    if (!predictor_) predictor_ = std::make_unique<orvik::cell_predictor>(*model_);
    return *predictor_;
  }

  std::vector<tree_walker> walkers() const {
    std::vector<tree_walker> all;
    for (unsigned long i = 0; i < model_->get_no_trees(); ++i)
      all.emplace_back(model_->get_tree(i));
    return all;
  }

  template <class Take>
  void for_each_row(const held_columns& held, unsigned long n, const orvik::run_context& run,
                    const Take& take) const {
    constexpr unsigned long k_block = 4096;
    const unsigned long width = held.cells.size();
    std::vector<std::uint32_t> codes(k_block * width);
    for (unsigned long first = 0; first < n; first += k_block) {
      const unsigned long some = std::min(k_block, n - first);
      ready().codes_of(held.cells, first, some, codes.data());
      for (unsigned long i = 0; i < some; ++i) {
        if (run.is_cancelled()) throw std::runtime_error("cancelled");
        take(first + i, codes.data() + i * width);
      }
    }
  }

  mutable orvik::run_context run_;
  std::unique_ptr<dtree> model_;
  mutable std::mutex making_;
  mutable std::unique_ptr<const orvik::cell_predictor> predictor_;
  mutable std::timed_mutex working_;
  mutable std::unique_ptr<const orvik::explainer> explainer_;
};

/// The model, or one of its trees, in a form by its name.
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

void translate(std::exception_ptr failure) {
  try {
    if (failure) std::rethrow_exception(failure);
  } catch (const std::bad_alloc&) {
    PyErr_SetNone(PyExc_MemoryError);
  } catch (const py::builtin_exception& error) {
    error.set_error();
  } catch (const std::runtime_error& error) {
    PyErr_SetString(PyExc_ValueError, error.what());
  }
}

}  // namespace

}  // namespace orvpython

PYBIND11_MODULE(_orvik, m) {
  using namespace orvpython;
  m.doc() = "Tables and models of the library.";
  m.attr("__version__") = orvik::get_version();
  m.attr("whole_model") = orvik::view::k_whole_model;
  m.def("arrow_columns", arrow_columns);
  py::register_exception_translator(translate);

  py::class_<held_table>(m, "Table")
      .def_static("make", &held_table::made)
      .def_static("load", &held_table::loaded)
      .def_static("read", &held_table::read)
      .def("columns", [](const held_table& t) { return described(t.schema()); })
      .def("values", [](const held_table& t, unsigned long i) { return values_of(t.schema(), i); })
      .def("codes", &held_table::codes)
      .def("save", [](const held_table& t, const std::string& file) { t.get().toBinary(file); })
      .def_property_readonly("name", [](const held_table& t) { return t.get().get_name(); })
      .def_property_readonly("n_rows", &held_table::n_rows);

  py::class_<held_model>(m, "Model")
      .def_static("grow", &held_model::grown)
      .def_static("search", &held_model::searched)
      .def_static("read", &held_model::read)
      .def_static("from_bytes", &held_model::from_bytes)
      .def("to_bytes", &held_model::to_bytes)
      .def("save", &held_model::save)
      .def("predict", &held_model::predict)
      .def("decide", &held_model::decide)
      .def("explain", &held_model::explain)
      .def("sets", &held_model::sets)
      .def("apply", &held_model::apply)
      .def("decision_path", &held_model::decision_path)
      .def("importance", &held_model::importance, py::arg("training").none(true))
      .def("oob_errors", &held_model::oob_errors)
      .def("recall_draws", &held_model::recall_draws)
      .def("form",
           [](const held_model& held, const std::string& name, unsigned long tree, long depth,
              const std::string& relation) {
             return py::bytes(held.form(name, tree, depth, relation));
           })
      .def("tree",
           [](const held_model& held, unsigned long i) { return tree_arrays(held.get(), i); })
      .def("columns", [](const held_model& held) { return described(held.get().get_schema()); })
      .def("values", [](const held_model& held,
                        unsigned long i) { return values_of(held.get().get_schema(), i); })
      .def("settings", [](const held_model& held) { return held.get().get_settings(); })
      .def("votes", [](const held_model& held, unsigned long i) { return held.get().get_votes(i); })
      .def_property_readonly("name", [](const held_model& held) { return held.get().get_name(); })
      .def_property_readonly("n_trees",
                             [](const held_model& held) { return held.get().get_no_trees(); })
      .def_property_readonly("size", [](const held_model& held) { return held.get().size(); })
      .def_property_readonly("leaves", [](const held_model& held) { return held.get().leaves(); })
      .def_property_readonly("depth", [](const held_model& held) { return held.get().depth(); })
      .def_property_readonly("seconds",
                             [](const held_model& held) { return held.get().get_elapsed(); })
      .def_property_readonly("is_ensemble",
                             [](const held_model& held) { return held.get().is_ensemble(); })
      .def_property_readonly("is_boosted",
                             [](const held_model& held) { return held.get().is_boosted(); })
      .def_property_readonly("has_draws",
                             [](const held_model& held) { return held.get().has_draws(); })
      .def_property_readonly("decides_by_costs",
                             [](const held_model& held) { return held.get().decides_by_costs(); })
      .def_property_readonly("workers", &held_model::workers)
      .def(py::pickle(
          [](const held_model& held) { return py::make_tuple(held.to_bytes(), held.workers()); },
          [](const py::tuple& state) {
            return held_model::from_bytes(state[0].cast<std::string>(),
                                          state[1].cast<unsigned long>());
          }));
}
