#include "orvik/dtree.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <stdexcept>

#include "binary_file.h"
#include "impls/model/cell_predictor.h"
#include "impls/model/dtree.h"
#include "impls/rendering/description.h"
#include "orvik/cell_predictor.h"
#include "orvik/run_context.h"
#include "zel/inpout/ioconn.h"
#include "zel/inpout/iomem.h"
#include "zel/inpout/stream.h"
#include "zel/util/run_context.h"

namespace orvik {

namespace {

constexpr char k_no_training_table[] = "no table provided with the training cases";
constexpr char k_no_test_table[] = "no table provided to test the tree";
constexpr char k_no_attributes[] = "no table provided with the attributes";
constexpr char k_not_built[] = "the model has no trees";
constexpr char k_bad_weights[] = "the weights of classes must be numbers above 0";
constexpr char k_other_shares[] = "the shares are not those of the model's classes";

impls::table* impl_of(const table* t) { return t == nullptr ? nullptr : t->get_impl(); }

impls::case_list* impl_of(const table::subset* s) { return s == nullptr ? nullptr : s->get_impl(); }

const impls::table& required(const table* t, const char* message) {
  if (t == nullptr) throw std::runtime_error(message);
  return *impl_of(t);
}

/// The schema of a model with trees.
const impls::table& schema_of(const impls::dtree& model) {
  if (model.n_trees() == 0) throw std::runtime_error(k_not_built);
  return *model.get_training_table();
}

unsigned long checked_tree(const impls::dtree& model, unsigned long i) {
  if (i < model.n_trees()) return i;
  throw std::runtime_error("there is no tree " + std::to_string(i) + " in a model of " +
                           std::to_string(model.n_trees()));
}

/// All rows of a table where no cases are given.
std::unique_ptr<table::subset> all_instead_of(const table* t, const table::subset* cases) {
  const bool all = t != nullptr && cases == nullptr;
  return std::unique_ptr<table::subset>(all ? t->get_wsubset_all() : nullptr);
}

/// A line stream over a file; it owns the connection. Its blocks are small because many of them
/// are worked on at a time.
zel::inpout::stream open_rows(const std::string& file, char sep, unsigned long workers) {
  constexpr unsigned long k_half_block = 1UL << 17;
  return {
      zel::inpout::ioconn::get_default_input(file, workers), sep, /*owns=*/true, {k_half_block}};
}

/// Null where none was written.
std::unique_ptr<impls::dtree> read_model(zel::inpout::ibinstream& in) {
  if (!in.read_presence()) return nullptr;
  auto loaded = std::make_unique<impls::dtree>("");
  in >> *loaded;
  return loaded;
}

/// Making the trees ready takes steps by their nodes, a case by itself steps by their levels.
constexpr unsigned long k_many_cases = 1024;

/// Predictions of cases by their codes, one by one; `shares`, which may be null, are appended to.
std::vector<dtree::prediction> predictions_of(const impls::dtree& model,
                                              const std::vector<code_t>& codes, unsigned long n,
                                              std::vector<double>* shares,
                                              std::vector<double>* plain) {
  const impls::table& schema = schema_of(model);
  impls::require_codes(schema, codes, n);
  std::vector<dtree::prediction> found;
  std::vector<code_t> one(schema.n_attributes());
  std::vector<double> of_case, plain_of_case;
  for (auto at = codes.begin(); found.size() < n; at += static_cast<long>(one.size())) {
    std::copy_n(at, one.size(), one.begin());
    impls::decision_tree::prediction result;
    model.predict(schema, one, result, /*weight=*/1.0);
    found.push_back({result.first, result.second});
    if (shares == nullptr) continue;
    model.predict_distribution(one, of_case, &plain_of_case);
    shares->insert(shares->end(), of_case.begin(), of_case.end());
    if (plain != nullptr) plain->insert(plain->end(), plain_of_case.begin(), plain_of_case.end());
  }
  return found;
}

}  // namespace

dtree::dtree(const std::string& name) : impl_(std::make_unique<impls::dtree>(name)) {}
dtree::dtree(std::unique_ptr<impls::dtree> impl) : impl_(std::move(impl)) {}
dtree::~dtree() = default;

dtree* dtree::clone(bool parameters_only) const { return new dtree(impl_->clone(parameters_only)); }

void dtree::use(run_context& run) { impl_->use(run.get_impl()); }

void dtree::set_pruning_strategy(_PruningStrategy strategy) {
  impl_->set_pruning_strategy(strategy);
}
void dtree::set_split_type(_SplitType type) { impl_->set_split_type(type); }
void dtree::set_fs(_FeatureSelection method, double delta) { impl_->set_fs(method, delta); }
void dtree::set_fs_limit(double seconds) { impl_->set_fs_limit(seconds); }
void dtree::set_forest(bool forest, bool bagging, unsigned long n) {
  impl_->set_forest(forest, bagging, n);
}
void dtree::set_boosting(unsigned long n) { impl_->set_boosting(n); }
void dtree::set_growth(const growth& how) { impl_->set_growth(how); }
void dtree::set_resampling(const resampling& draws) { impl_->set_resampling(draws); }
void dtree::set_combination(combination how) { impl_->set_combination(how); }
void dtree::set_calibration(calibration how) { impl_->set_calibration(how); }
calibration dtree::get_calibration() const { return impl_->settings().calibrated; }
bool dtree::is_calibrated() const { return impl_->trees().decides().calibrates(); }
std::vector<share_map> dtree::get_share_maps() const {
  return impl_->trees().decides().maps().maps();
}
std::vector<double> dtree::get_set_limits(const set_request& asked) const {
  return impl_->set_limits(asked);
}
void dtree::set_costs(const table& t, const std::vector<class_cost>& costs, cost_use use) {
  const unsigned long n = t.get_impl()->n_class_codes();
  impl_->set_costs(costs.empty() ? nullptr : std::make_shared<const impls::cost_matrix>(n, costs),
                   use);
}
void dtree::set_class_weights(const std::vector<double>& by_code) {
  const auto fits = [](double weight) { return std::isfinite(weight) && weight > 0; };
  if (!std::ranges::all_of(by_code, fits)) throw std::runtime_error(k_bad_weights);
  impl_->set_class_weights(by_code);
}
void dtree::set_balanced_classes(bool balanced) { impl_->set_balanced_classes(balanced); }
void dtree::set_smoothing(bool smooths) { impl_->set_smoothing(smooths); }
std::unique_ptr<std::vector<class_cost>> dtree::get_costs() const {
  const impls::cost_matrix* const costs = impl_->decides().known_costs();
  return costs == nullptr ? nullptr : std::make_unique<std::vector<class_cost>>(costs->given());
}
bool dtree::decides_by_costs() const { return impl_->decides().costs() != nullptr; }
std::vector<double> dtree::get_prior() const {
  const impls::prior_shares prior = impl_->decides().prior();
  return {prior.begin(), prior.end()};
}
code_t dtree::decide(const std::vector<double>& shares) const {
  if (shares.size() != schema_of(*impl_).n_class_codes()) throw std::runtime_error(k_other_shares);
  return impl_->decides().decide(shares);
}
void dtree::set_min_obj(double m) { impl_->set_min_obj(m); }
void dtree::set_max_depth(unsigned long depth) { impl_->set_max_depth(depth); }
void dtree::set_conf_level(double level) { impl_->set_conf_level(level); }
void dtree::set_keep_training_cm(bool keep) { impl_->set_keep_training_cm(keep); }

void dtree::feature_selection(table* t, table::subset* train, table::subset* test) {
  impl_->feature_selection(impl_of(t), impl_of(train), impl_of(test));
}

void dtree::build(table* t, table::subset* cases) {
  const std::unique_ptr<table::subset> all = all_instead_of(t, cases);
  impl_->build(impl_of(t), impl_of(all ? all.get() : cases));
}

void dtree::prune(table* t, table::subset* cases) { impl_->prune(impl_of(t), impl_of(cases)); }

void dtree::calibrate(table* t, table::subset* cases) {
  const impls::table& calibrated = required(t, k_no_training_table);
  const std::unique_ptr<table::subset> all = all_instead_of(t, cases);
  impl_->calibrate(calibrated, *impl_of(all ? all.get() : cases));
}

void dtree::calibrate(const judged_rows& rows) { impl_->calibrate(rows); }

table* dtree::get_training_table() const {
  const impls::table* t = impl_->get_training_table();
  return t == nullptr ? nullptr : new table(t->clone(/*schema_only=*/false));
}

conf_matrix* dtree::get_training_cm() const {
  const impls::conf_matrix* cm = impl_->get_training_cm();
  return cm == nullptr ? nullptr
                       : new conf_matrix(std::unique_ptr<impls::conf_matrix>(cm->clone()));
}

void dtree::set_training_cm(table* t, table::subset* cases) {
  impl_->set_training_cm(impl_of(t), impl_of(cases));
}

conf_matrix* dtree::test(table* t, table::subset* cases, double* average_depth) const {
  const impls::table& tested = required(t, k_no_test_table);
  const std::unique_ptr<table::subset> all = all_instead_of(t, cases);
  return new conf_matrix(impl_->test(tested, *impl_of(all ? all.get() : cases), average_depth));
}

conf_matrix* dtree::test(const std::string& file, char sep, const std::string& missing,
                         unseen_values* unseen) const {
  zel::inpout::stream in = open_rows(file, sep, impl_->run().n_workers);
  return new conf_matrix(impl_->test(&in, missing, unseen));
}

conf_matrix* dtree::test(table* t, table::subset* cases, judged_rows& rows) const {
  const std::unique_ptr<table::subset> all = all_instead_of(t, cases);
  table::subset* const tested = all ? all.get() : cases;
  std::unique_ptr<conf_matrix> matrix(test(t, tested, /*average_depth=*/nullptr));
  rows = impl_->judge(*impl_of(t), *impl_of(tested));
  return matrix.release();  // to the caller
}

conf_matrix* dtree::test(const std::string& file, char sep, const std::string& missing,
                         unseen_values* unseen, judged_rows& rows) const {
  zel::inpout::stream in = open_rows(file, sep, impl_->run().n_workers);
  return new conf_matrix(impl_->test(&in, missing, unseen, &rows));
}

double dtree::score(const std::string& file, char sep, std::ostream& out, unsigned long& n, char c,
                    bool probabilities, unseen_values* unseen) const {
  return score(file, sep, out, n, c, probabilities, unseen, {});
}

double dtree::score(const std::string& file, char sep, std::ostream& out, unsigned long& n, char c,
                    bool probabilities, unseen_values* unseen, const set_request& sets) const {
  zel::inpout::stream in = open_rows(file, sep, impl_->run().n_workers);
  return impl_->score(&in, out, n, c, probabilities, unseen, sets);
}

std::string dtree::predict(const std::vector<std::string>& row, double weight) const {
  impls::decision_tree::prediction result;
  impl_->predict(row, weight, result, nullptr);
  return class_values()[result.first];
}

std::string dtree::predict(const std::vector<std::string>& row, double weight, double& confidence,
                           std::vector<double>& shares) const {
  impls::decision_tree::prediction result;
  impl_->predict(row, weight, result, &shares);
  confidence = result.second;
  return class_values()[result.first];
}

std::vector<std::string> dtree::class_values() const { return impl_->class_names(); }

std::vector<dtree::prediction> dtree::predict_codes(const std::vector<code_t>& codes,
                                                    unsigned long n) const {
  if (n >= k_many_cases) return cell_predictor(*this).predict_codes(codes, n);
  return predictions_of(*impl_, codes, n, nullptr, nullptr);
}

std::vector<dtree::prediction> dtree::predict_codes(const std::vector<code_t>& codes,
                                                    unsigned long n,
                                                    std::vector<double>& shares) const {
  std::vector<double> plain;
  return predict_codes(codes, n, shares, plain);
}

std::vector<dtree::prediction> dtree::predict_codes(const std::vector<code_t>& codes,
                                                    unsigned long n, std::vector<double>& shares,
                                                    std::vector<double>& plain) const {
  if (n >= k_many_cases) return cell_predictor(*this).predict_codes(codes, n, shares, plain);
  shares.clear();
  plain.clear();
  return predictions_of(*impl_, codes, n, &shares, &plain);
}

double dtree::get_oob_error(table* t) const {
  return impl_->oob_error(required(t, k_no_training_table));
}

std::vector<attribute_importance> dtree::get_importance(table* t) const {
  return impl_->importance(required(t, k_no_training_table));
}

std::vector<attribute_importance> dtree::get_importance() const {
  return impl_->importance(schema_of(*impl_), /*permute=*/false);
}

std::vector<double> dtree::get_oob_errors(table* t) const {
  return impl_->oob_errors(required(t, k_no_training_table));
}

judged_rows dtree::get_oob_rows(table* t) const {
  return impl_->oob_rows(required(t, k_no_training_table));
}

bool dtree::recall_draws(table* t) { return impl_->recall_draws(required(t, k_no_training_table)); }

bool dtree::has_draws() const { return impl_->has_draws(); }
std::string dtree::get_name() const { return impl_->name(); }
bool dtree::is_ensemble() const { return impl_->is_ensemble(); }
bool dtree::is_boosted() const { return impl_->trees().kind() == impls::ensemble_kind::boosting; }
combination dtree::get_combination() const { return impl_->trees().answer(); }
double dtree::get_votes(unsigned long i) const {
  return impl_->trees().votes(checked_tree(*impl_, i));
}
bool dtree::votes() const { return impl_->votes(); }
unsigned long dtree::get_no_trees() const { return impl_->n_trees(); }

tree_node dtree::get_tree(unsigned long i) const {
  return {impl_->get_tree(checked_tree(*impl_, i)), schema_of(*impl_)};
}

std::vector<std::pair<std::string, std::string>> dtree::get_settings() const {
  return impls::described(impl_->settings());
}

schema_view dtree::get_schema() const { return schema_view(schema_of(*impl_)); }

std::vector<unsigned long> dtree::get_tested() const {
  const zel::adt::bitmap tested = impl_->trees().used_attributes(get_schema().n_attributes());
  return {tested.begin(), tested.end()};
}

std::string dtree::get_encoding() const {
  return impls::name_of(impls::encoding_of(schema_of(*impl_), impl_->name()));
}

double dtree::get_elapsed() const { return impl_->get_elapsed(); }
unsigned long dtree::size() const { return impl_->trees().size(); }
unsigned long dtree::leaves() const { return impl_->trees().leaves(); }
unsigned long dtree::depth() const { return impl_->trees().depth(); }
double dtree::epl() const { return impl_->trees().epl(); }
unsigned long dtree::nfeatures() const { return impl_->nfeatures(); }
std::string dtree::attributes(table* t) const {
  return impl_->get_attributes(required(t, k_no_attributes));
}
feature_search dtree::get_search() const { return impl_->get_search(); }
std::string dtree::get_as_logs() const { return impl_->get_as_logs(); }
void dtree::toTEXT(std::ostream& out) const { impl_->toTEXT(out, 0); }
void dtree::toDOT(std::ostream& out) const { impl_->toDOT(out); }
void dtree::toXML(std::ostream& out, const conf_matrix* test) const {
  impl_->toXML(out, test == nullptr ? nullptr : test->get_impl());
}
void dtree::toPMML(std::ostream& out) const { impl_->toPMML(out); }
void dtree::toJSON(std::ostream& out) const { impl_->toJSON(out); }

void dtree::set_appendix(const std::string& bytes) { impl_->set_appendix(bytes); }
std::string dtree::get_appendix() const { return impl_->appendix(); }

void dtree::toBinary(const std::string& file) const {
  write_binary(file, impl_->run().n_workers,
               [this](zel::inpout::obinstream& out) { out << true << *impl_; });
}

dtree* dtree::fromBinary(const std::string& file) {
  std::unique_ptr<impls::dtree> loaded;
  read_binary(file, "model", [&](zel::inpout::ibinstream& in) { loaded = read_model(in); });
  return loaded ? new dtree(std::move(loaded)) : nullptr;
}

std::string dtree::to_bytes() const {
  constexpr unsigned long k_first_room = 1UL << 12;
  zel::inpout::iomem memory;
  memory.open(k_first_room);
  zel::inpout::obinstream out(&memory, /*owns=*/false);
  out << true << *impl_;
  return std::string(memory.bytes());
}

dtree* dtree::from_bytes(const std::string& bytes) {
  zel::inpout::iomem memory;
  memory.open(const_cast<char*>(bytes.data()), bytes.size(), bytes.size());  // only read
  zel::inpout::ibinstream in(&memory, /*owns=*/false);
  std::unique_ptr<impls::dtree> loaded = read_model(in);
  in.require_end();
  return loaded ? new dtree(std::move(loaded)) : nullptr;
}

}  // namespace orvik
