#include "learning.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <stdexcept>

#include "zel/util/run_context.h"

namespace orvverbs {

namespace {

using orvik::dtree;
using orvik::table;
using subset_ptr = std::unique_ptr<table::subset>;

constexpr unsigned long k_most = 1'000'000;

std::vector<std::string> names_of(const std::vector<pruning_name>& all) {
  std::vector<std::string> names;
  names.reserve(all.size());
  for (const pruning_name& each : all) names.emplace_back(each.name);
  return names;
}

}  // namespace

const std::vector<pruning_name>& pruning_names() {
  using namespace orvik::model;
  static const std::vector<pruning_name> all = {{"none", NO_PRUNING}, {"pre", PRE_PRUNING_ONLY},
                                                {"ebp", EBP},         {"ebpg", EBPG},
                                                {"ebpa", EBPA},       {"pep", PEP},
                                                {"pepg", PEPG},       {"pepa", PEPA},
                                                {"rep", REP},         {"repg", REPG},
                                                {"repa", REPA},       {"mep", MEP},
                                                {"mepg", MEPG},       {"mepa", MEPA}};
  return all;
}

void learning::declare(options& all) {
  all.group("How the model is grown");
  for (std::size_t i = 0; i < k_ensembles.size(); ++i) {
    all.number(k_ensembles[i].option, trees[i], 1, k_most, k_ensembles[i].help);
  }
  all.choice("--prune", prune, names_of(pruning_names()),
             "pruning strategy; else ebp for a tree, none for an ensemble");
  all.real("--min", min_weight, 1e-300, 1e300,
           "least weight of two branches of a split (2, of a forest 1)");
  all.real("--confidence", confidence, 1e-12, 1, "level of ebp: lower ones prune more (0.25)");
  all.number("--depth", depth, 1, 1'000'000'000, "levels of splits; else no limit");
  all.flag("--own-unknown", own_unknown,
           "unknown cells of a text column are a value, as for --forest and --boost");
  declare_costs(all);
  all.group("How the trees of an ensemble differ");
  all.choice("--attributes", attributes, {"all", "sqrt", "log2", "third", "half"},
             "of how many a node takes the best; else sqrt for --forest and --boost");
  all.flag("--random-cuts", random_cuts, "a number has one cut, drawn at random");
  all.real("--sample", sample, 1e-3, 100, "percent of the rows that a tree grows on, none twice");
  all.flag("--balance", balance, "draw every class equally often");
  all.flag("--vote", vote,
           "trees name a class each; else shares of --forest and --boost are averaged");
}

void learning::declare_costs(options& all) {
  all.group("What errors cost");
  all.file("--costs", costs,
           "lines predicted,actual,cost: the class of the least expected cost is predicted");
  all.flag("--cost-weights", cost_weights, "the costs weigh the rows instead");
  all.file("--class-weights", class_weights, "lines class,weight: the rows of a class weigh more");
  all.flag("--balanced", balanced, "every class weighs the same");
  all.flag("--laplace", laplace, "shares of leaves lean on those of all rows");
}

void learning::declare_run(options& all) {
  all.group("The run");
  all.number("--seed", seed, 0, std::numeric_limits<unsigned long>::max(),
             "of the random draws: the same one draws the same (1)");
  declare_threads(all);
}

void learning::declare_threads(options& all) {
  all.group("The run");
  all.number("--threads", threads, 0, k_most, "else as many as the machine has");
}

void learning::begin() const {
  if (std::ranges::count_if(trees, [](unsigned long n) { return n > 0; }) > 1) {
    throw usage_error("--forest, --boost and --bag: a model is one of them");
  }
  const bool draws_rows = kind() != nullptr && !kind()->boosts;
  if ((sample > 0 || balance) && !draws_rows) {
    throw usage_error("--sample and --balance are for --forest and --bag");
  }
  if (vote && kind() == nullptr) throw usage_error("--vote is for --forest, --boost and --bag");
  if (balanced && !class_weights.empty()) {
    throw usage_error("--balanced and --class-weights: one of them");
  }
  if (cost_weights && costs.empty()) throw usage_error("--cost-weights is for --costs");
  if (cost_weights && (balanced || !class_weights.empty())) {
    throw usage_error("--cost-weights, --balanced and --class-weights: one of them");
  }
  const bool pessimistic = orvik::model::row_of(strategy()).family == orvik::model::PEP;
  if (pessimistic && decides_by_costs() && kind() == nullptr) {
    throw usage_error("--prune " + prune + " corrects numbers of errors: not with --costs");
  }
  orvik::set_n_workers(threads);
  orvik::set_seed(seed);
}

const ensemble_kind* learning::kind() const {
  const auto asked = std::ranges::find_if(trees, [](unsigned long n) { return n > 0; });
  return asked == trees.end() ? nullptr
                              : &k_ensembles[static_cast<std::size_t>(asked - trees.begin())];
}

unsigned long learning::n_trees() const { return std::max(1UL, std::ranges::max(trees)); }

orvik::model::pruning_strategy learning::strategy() const {
  if (prune.empty()) return kind() == nullptr ? orvik::model::EBP : orvik::model::NO_PRUNING;
  return std::ranges::find(pruning_names(), prune,
                           [](const pruning_name& p) { return std::string(p.name); })
      ->strategy;
}

std::string learning::describe() const {
  const auto name = std::ranges::find(pruning_names(), strategy(), &pruning_name::strategy)->name;
  const std::string pruning =
      strategy() == orvik::model::NO_PRUNING ? "not pruned" : "pruned by " + std::string(name);
  if (kind() == nullptr) return "a tree, " + pruning;
  return std::string(kind()->name) + ", " + std::to_string(n_trees()) + " trees, " + pruning;
}

orvik::growth learning::growth() const {
  using draw = orvik::attribute_draw;
  static const std::map<std::string, draw> draws = {{"all", {draw::ALL, 0}},
                                                    {"sqrt", {draw::SQUARE_ROOT, 0}},
                                                    {"log2", {draw::LOGARITHM, 0}},
                                                    {"third", {draw::PERCENT, 100.0 / 3}},
                                                    {"half", {draw::PERCENT, 50}}};
  const bool accurate = kind() != nullptr && kind()->accurate;
  orvik::growth how = accurate ? orvik::k_accurate_growth : orvik::growth();
  if (!attributes.empty()) how.attributes = draws.at(attributes);
  how.random_cuts = random_cuts;
  return how;
}

orvik::resampling learning::draws() const {
  const bool accurate = kind() != nullptr && kind()->accurate;
  orvik::resampling how = accurate && !balance ? orvik::k_accurate_draws : orvik::resampling();
  if (sample > 0) how = {sample / 100, /*replace=*/false, false};
  how.balanced = balance;
  return how;
}

namespace {

std::vector<std::string> class_texts(const orvik::schema_view& schema) {
  const orvik::column_view classes = schema.class_column();
  std::vector<std::string> texts;
  for (orvik::code_t c = 0; c < schema.n_class_codes(); ++c) texts.push_back(classes.exact(c));
  return texts;
}

}  // namespace

std::unique_ptr<dtree> learning::make(const std::string& name, const table& t) const {
  auto model = std::make_unique<dtree>(name);
  const double usual = kind() == nullptr ? 2 : kind()->least_weight;
  model->set_min_obj(min_weight > 0 ? min_weight : usual);
  model->set_conf_level(confidence);
  if (depth > 0) model->set_max_depth(depth);
  model->set_pruning_strategy(strategy());
  model->set_growth(growth());
  model->set_smoothing(laplace);
  model->set_balanced_classes(balanced);
  const std::vector<std::string> classes = class_texts(t.get_schema());
  if (!costs.empty()) {
    model->set_costs(t, orvik::read_costs(costs, classes),
                     cost_weights ? orvik::cost_use::weighs : orvik::cost_use::decides);
  }
  if (!class_weights.empty()) {
    model->set_class_weights(orvik::read_class_weights(class_weights, classes));
  }
  if (const ensemble_kind* k = kind()) {
    k->boosts ? model->set_boosting(n_trees()) : model->set_forest(false, true, n_trees());
    if (!k->boosts) model->set_resampling(draws());
    if (k->accurate && !vote) model->set_combination(orvik::combination::shares);
  }
  return model;
}

split_cases split(table& t, table::subset& cases, double share) {
  const unsigned long n = cases.stratify_frac(share, &t, /*random=*/true);
  return {subset_ptr(cases.select(0, n, false)), subset_ptr(cases.select(0, n, true))};
}

double mean_of::mean() const { return sum / static_cast<double>(n); }

double mean_of::deviation() const {
  if (n < 2) return std::numeric_limits<double>::quiet_NaN();
  const auto of = static_cast<double>(n);
  return std::sqrt(std::max(0.0, (squares - sum * sum / of) / (of - 1)));
}

subset_ptr draw_folds(table& t, unsigned long folds) {
  if (folds > t.get_no_rows()) {
    throw std::runtime_error("cross-validation of " + std::to_string(folds) + " folds on " +
                             std::to_string(t.get_no_rows()) + " rows");
  }
  subset_ptr all(t.get_wsubset_all());
  all->stratify_cross(folds, &t, /*random=*/true);
  return all;
}

judged_test tested(const dtree& model, table& t, table::subset& cases, const std::string& from) {
  judged_test test{model.class_values(), nullptr, {}, from, model.get_costs()};
  test.matrix.reset(keeps_rows(cases.size(), test.classes.size())
                        ? model.test(&t, &cases, test.rows)
                        : model.test(&t, &cases, nullptr));
  return test;
}

namespace {

void add_fold(judged_test& to, judged_test fold, bool keeps) {
  if (!to.matrix) {
    to = std::move(fold);
  } else {
    add(*to.matrix, *fold.matrix);
    append(to.rows, fold.rows);
  }
  if (!keeps) to.rows = {};
}

}  // namespace

validation cross_validate(table& t, const dtree& model, const table::subset& cases,
                          unsigned long folds) {
  zel::util::run_context& run = zel::util::default_context();
  validation found;
  const std::unique_ptr<dtree> copy(model.clone(/*parameters_only=*/true));
  copy->set_keep_training_cm(false);
  // What sets need is of no use here, and takes ten trainings more.
  if (copy->get_calibration() == orvik::calibration::plain) {
    copy->set_calibration(orvik::calibration::none);
  }
  const bool keeps = keeps_rows(t.get_no_rows(), t.get_schema().n_class_codes());
  for (unsigned long i = 0; i < folds; ++i) {
    const unsigned long begin = cases.fold_begin(folds, i);
    const unsigned long length = cases.fold_end(folds, i) - begin;
    const subset_ptr test(cases.select(begin, length, false)),
        grow(cases.select(begin, length, true));
    copy->build(&t, grow.get());
    judged_test fold = tested(*copy, t, *test, "cross-validation");
    found.error.add(fold.matrix->err_misc());
    add_fold(found.test, std::move(fold), keeps);
    run.count(zel::util::progress::unit::folds);
  }
  return found;
}

}  // namespace orvverbs
