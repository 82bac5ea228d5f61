#include "orvik/conf_matrix.h"

#include <stdexcept>

#include "impls/evaluation/conf_matrix.h"
#include "impls/tables/table.h"
#include "orvik/table.h"

namespace orvik {

namespace {

constexpr char k_empty[] = "conf_matrix: the handle holds no matrix";

const impls::conf_matrix& held_by(const conf_matrix* matrix) {
  const impls::conf_matrix* const held = matrix == nullptr ? nullptr : matrix->get_impl();
  if (held == nullptr) throw std::runtime_error(k_empty);
  return *held;
}

}  // namespace

conf_matrix::conf_matrix(table* t)
    : impl_(t == nullptr ? nullptr : std::make_unique<impls::conf_matrix>(t->get_impl())) {}
conf_matrix::conf_matrix(const std::vector<std::string>& class_values)
    : impl_(std::make_unique<impls::conf_matrix>(class_values)) {}
conf_matrix::conf_matrix(std::unique_ptr<impls::conf_matrix> impl) : impl_(std::move(impl)) {}
conf_matrix::~conf_matrix() = default;

conf_matrix* conf_matrix::clone() const {
  return new conf_matrix(std::unique_ptr<impls::conf_matrix>(held_by(this).clone()));
}

void conf_matrix::add_case(unsigned long i, unsigned long j, double weight) {
  held_by(this);
  impl_->add(i, j, weight);
  impl_->set_ncases(impl_->ncases() + 1);
}

double conf_matrix::get_element(unsigned long i, unsigned long j) const {
  return held_by(this).get_element(i, j);
}
unsigned long conf_matrix::size() const { return held_by(this).size(); }
double conf_matrix::cases() const { return held_by(this).cases(); }
unsigned long conf_matrix::ncases() const { return held_by(this).ncases(); }
double conf_matrix::err_misc() const { return held_by(this).err_misc(); }
double conf_matrix::err_misc_majority() const { return held_by(this).err_misc_majority(); }
double conf_matrix::err_misc_majority(const conf_matrix* other) const {
  return held_by(this).err_misc_majority(&held_by(other));
}
double conf_matrix::get_cost(const std::vector<class_cost>& costs) const {
  return held_by(this).cost(impls::cost_matrix(size(), costs));
}
double conf_matrix::err_mae() const { return held_by(this).err_mae(); }
double conf_matrix::err_maee() const { return held_by(this).err_maee(); }
double conf_matrix::err_mse() const { return held_by(this).err_mse(); }
double conf_matrix::err_r() const { return held_by(this).err_r(); }
double conf_matrix::err_rint() const { return held_by(this).err_rint(); }
double conf_matrix::err_gamma() const { return held_by(this).err_gamma(); }
double conf_matrix::err_mae_majority(const conf_matrix* other) const {
  return held_by(this).err_mae_majority(&held_by(other));
}
double conf_matrix::err_mse_majority(const conf_matrix* other) const {
  return held_by(this).err_mse_majority(&held_by(other));
}
std::string conf_matrix::get_majority_class_value() const {
  return held_by(this).class_name(held_by(this).get_majority_class());
}
double conf_matrix::get_elapsed() const { return held_by(this).elapsed(); }
void conf_matrix::toTEXT(std::ostream& out, unsigned long depth) const {
  held_by(this).toTEXT(out, depth);
}
void conf_matrix::toXML(std::ostream& out) const { held_by(this).toXML(out, ""); }

}  // namespace orvik
