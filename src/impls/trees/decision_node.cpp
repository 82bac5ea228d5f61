#include "impls/trees/decision_node.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>

#include "impls/trees/distribution.h"
#include "impls/trees/node_record.h"

namespace orvik::impls {

namespace {

constexpr char k_no_table[] = "[decision_node::activate()]: called with a NULL table.";
constexpr char k_father_not_split[] =
    "[decision_node::activate()]: father node status not a dtree::SPLIT_NODE.";
constexpr char k_father_inactive[] =
    "[decision_node::activate()]: father node status not activated.";
constexpr char k_no_active_father[] =
    "[decision_node::activate_from_father()]: father node NULL or status not activated.";
constexpr char k_select_root[] = "decision_node::select() called on the root";

}  // namespace

decision_node::decision_node(case_list* cases) : father_(nullptr), cases_(cases) {}

decision_node::decision_node(decision_node* father, unsigned int position)
    : position_(position), father_(father) {}

void decision_node::own_cases(std::unique_ptr<case_list> cases) {
  owned_cases_ = std::move(cases);
  cases_ = owned_cases_.get();
}

void decision_node::copy_ranges(const decision_node& from, unsigned long n) {
  ranges_ = std::make_unique_for_overwrite<code_range[]>(n);
  std::copy_n(from.ranges_.get(), n, ranges_.get());
}

void decision_node::require_split_father() const {
  if (father_->status_ != SPLIT_NODE) throw std::runtime_error(k_father_not_split);
}

void decision_node::activate(const table* t, bool activate_father) {
  if (t == nullptr) throw std::runtime_error(k_no_table);
  if (activated_) return;
  // The inactive ancestors, from here up: activated from the top, without recursion.
  std::vector<decision_node*> path;
  for (decision_node* n = this; n != nullptr && !n->activated_; n = n->father_) {
    if (n->father_ != nullptr) n->require_split_father();
    path.push_back(n);
  }
  if (!activate_father && path.size() > 1) throw std::runtime_error(k_father_inactive);
  for (auto n = path.rbegin(); n != path.rend(); ++n) {
    (*n)->father_ == nullptr ? (*n)->activate_root(*t) : (*n)->activate_branch(*t);
  }
}

void decision_node::activate_root(const table& t) {
  ranges_ = std::make_unique_for_overwrite<code_range[]>(t.n_attributes());
  for (unsigned long a = 0; a < t.n_attributes(); ++a) {
    const unsigned long k = t.column_of(a).values()->size_of_known();
    ranges_[a] = k == 0 ? code_range{0, 0} : code_range{1, k + 1};
  }
  fraction_ = 1.0;
  compute_statistics(t);
}

void decision_node::activate_branch(const table& t) {
  const split_test& test = father_->test_;
  activate_on(t, cases_of_branch(t.column_of(test.attribute), test, *father_->cases_, position_ - 1,
                                 father_->weight_));
}

void decision_node::activate_on(const table& t, branch_cases branch) {
  assert(father_ != nullptr && father_->activated_ && father_->is_split());
  copy_ranges(*father_, t.n_attributes());
  ranges_[father_->attribute()] = branch.range;
  fraction_ = branch.fraction;
  own_cases(std::move(branch.cases));
  compute_statistics(t);
}

void decision_node::activate_from_father(const table* t, bool take_place) {
  if (t == nullptr) throw std::runtime_error(k_no_table);
  if (father_ == nullptr || !father_->activated_) throw std::runtime_error(k_no_active_father);
  copy_ranges(*father_, t->n_attributes());
  own_cases(std::unique_ptr<case_list>(father_->cases_->clone()));
  compute_statistics(*t);
  if (!take_place) return;
  position_ = father_->position_;
  fraction_ = father_->fraction_;
  father_ = father_->father_;
}

void decision_node::compute_statistics(const table& t) {
  const unsigned long n_codes = t.n_class_codes();
  if (!distribution_) distribution_ = std::make_unique_for_overwrite<double[]>(n_codes);
  sum_by_class(t.class_column(), *cases_, {distribution_.get(), n_codes});
  n_cases_ = cases_->size();
  sum_up(n_codes);
  activated_ = true;
}

void decision_node::sum_up(unsigned long n_codes) {
  const distribution classes(std::span<const double>(distribution_.get(), n_codes));
  weight_ = classes.sum();
  leaf_class_ = static_cast<class_t>(classes.decide());
}

void decision_node::set_statistics(std::unique_ptr<double[]> distribution, unsigned long n_codes,
                                   unsigned long n_cases, double fraction) {
  distribution_ = std::move(distribution);
  n_cases_ = n_cases;
  fraction_ = fraction;
  sum_up(n_codes);
}

void decision_node::set_statistics(statistics all) {
  if (status_ == UNDECIDED) status_ = LEAF;
  distribution_ = std::move(all.by_code);
  weight_ = all.weight;
  fraction_ = all.fraction;
  error_ = all.error;
  n_cases_ = all.n_cases;
  leaf_class_ = all.majority;
}

bool decision_node::is_empty_leaf(unsigned long n_codes) const {
  const auto is_nothing = [](double x) { return std::bit_cast<std::uint64_t>(x) == 0; };
  const double* const weights = distribution_.get();
  return status_ == LEAF && n_cases_ == 0 && leaf_class_ == 0 && is_nothing(weight_) &&
         is_nothing(fraction_) && is_nothing(error_) && father_ != nullptr &&
         father_->weight_ > 0 && std::all_of(weights, weights + n_codes, is_nothing);
}

void decision_node::set_as_empty_leaf(unsigned long n_codes) {
  statistics none{};
  none.by_code = std::make_unique<double[]>(n_codes);
  set_statistics(std::move(none));
}

void decision_node::disactivate() {
  owned_cases_.reset();
  cases_ = nullptr;
  ranges_.reset();
  activated_ = false;
}

void decision_node::set_as_leaf() {
  status_ = LEAF;
  error_ = get_estimated_error_if_leaf();
}

void decision_node::set_test(const split_test& test) {
  status_ = SPLIT_NODE;
  test_ = test;
}

bool decision_node::stays_leaf(double min_weight) const {
  assert(distribution_ != nullptr);
  return weight_ == 0 || distribution_[leaf_class_] == weight_ || 2 * min_weight > weight_;
}

double decision_node::get_estimated_error_if_leaf() const {
  return weight_ - distribution_[leaf_class_];
}

class_t decision_node::priced_class(const pricing& price) const {
  const decision_node* const from = weight_ > 0 ? this : father_;
  if (price.costs() == nullptr || from == nullptr) return get_leaf_class();
  return static_cast<class_t>(
      price.class_of({from->distribution_.get(), price.n_codes()}, from->leaf_class_));
}

class_t decision_node::get_leaf_class() const {
  if (weight_ > 0) return leaf_class_;
  return father_ == nullptr ? class_t{0} : father_->leaf_class_;
}

double decision_node::get_leaf_classfreq() const {
  return weight_ == 0 ? 1.0 : distribution_[leaf_class_] / weight_;
}

double decision_node::get_leaf_error(const column& class_column, const case_list& cases) const {
  return weight_of_others(class_column, cases, get_leaf_class());
}

void decision_node::add_shares(double amount, std::span<double> by_code) const {
  if (weight_ > 0) {
    for (code_t c = 0; c < by_code.size(); ++c) {
      by_code[c] += part_of(amount, distribution_[c], weight_);
    }
  } else {
    by_code[get_leaf_class()] += amount;
  }
}

void decision_node::add_known_shares(double amount, std::span<double> by_code,
                                     prior_shares prior) const {
  const decision_node* node = this;
  while (!(node->weight_ > 0) && node->father_ != nullptr) node = node->father_;
  if (prior.empty() || !(node->weight_ > 0)) return node->add_shares(amount, by_code);
  for (code_t c = 0; c < by_code.size(); ++c) {
    by_code[c] += part_of(amount, node->distribution_[c], node->weight_ + 1);
  }
  add_prior(amount, node->weight_, prior, by_code);
}

unsigned long decision_node::get_no_of_splits(const table& t) const {
  return n_branches_of(test_, t);
}

std::vector<branch_cases> decision_node::branches(const table& t) const {
  assert(activated_ && is_split());
  return split_cases(t.column_of(test_.attribute), test_, *cases_, get_no_of_splits(t), weight_);
}

case_list* decision_node::select(const table& t, const case_list* cases, bool with_unknown) const {
  if (father_ == nullptr) throw std::runtime_error(k_select_root);
  return select_branch(t.column_of(father_->attribute()), father_->test_, *cases, position_ - 1,
                       with_unknown ? std::optional(fraction_) : std::nullopt)
      .release();  // to the caller
}

decision_node* decision_node::clone(const table& t, decision_node* father) const {
  auto copy = std::make_unique<decision_node>(father, position_);
  copy->status_ = status_;
  copy->weight_ = weight_;
  copy->n_cases_ = n_cases_;
  copy->fraction_ = fraction_;
  copy->leaf_class_ = leaf_class_;
  copy->error_ = error_;
  copy->test_ = test_;
  if (distribution_) {
    const unsigned long n = t.n_class_codes();
    copy->distribution_ = std::make_unique_for_overwrite<double[]>(n);
    std::copy_n(distribution_.get(), n, copy->distribution_.get());
  }
  return copy.release();  // to the caller
}

}  // namespace orvik::impls
