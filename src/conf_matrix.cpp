#include "orvik/conf_matrix.h"

#include "impls/evaluation/conf_matrix.h"
#include "impls/tables/table.h"
#include "orvik/table.h"

namespace orvik {

conf_matrix::conf_matrix(table* t)
    : impl_(t == nullptr ? nullptr : std::make_unique<impls::conf_matrix>(t->get_impl())) {}
conf_matrix::conf_matrix(std::unique_ptr<impls::conf_matrix> impl) : impl_(std::move(impl)) {}
conf_matrix::~conf_matrix() = default;

conf_matrix* conf_matrix::clone() const {
  return new conf_matrix(std::unique_ptr<impls::conf_matrix>(impl_->clone()));
}

double conf_matrix::get_element(unsigned long i, unsigned long j) const {
  return impl_->get_element(i, j);
}
unsigned long conf_matrix::size() const { return impl_->size(); }
double conf_matrix::cases() const { return impl_->cases(); }
unsigned long conf_matrix::ncases() const { return impl_->ncases(); }
double conf_matrix::err_misc() const { return impl_->err_misc(); }
double conf_matrix::err_misc_majority() const { return impl_->err_misc_majority(); }
double conf_matrix::err_misc_majority(const conf_matrix* other) const {
  return impl_->err_misc_majority(other->impl_.get());
}
double conf_matrix::err_mae() const { return impl_->err_mae(); }
double conf_matrix::err_maee() const { return impl_->err_maee(); }
double conf_matrix::err_mse() const { return impl_->err_mse(); }
double conf_matrix::err_r() const { return impl_->err_r(); }
double conf_matrix::err_rint() const { return impl_->err_rint(); }
double conf_matrix::err_gamma() const { return impl_->err_gamma(); }
double conf_matrix::err_mae_majority(const conf_matrix* other) const {
  return impl_->err_mae_majority(other->impl_.get());
}
double conf_matrix::err_mse_majority(const conf_matrix* other) const {
  return impl_->err_mse_majority(other->impl_.get());
}
std::string conf_matrix::get_majority_class_value() const {
  return impl_->class_name(impl_->get_majority_class());
}
double conf_matrix::get_elapsed() const { return impl_->elapsed(); }
void conf_matrix::toTEXT(std::ostream& out, unsigned long depth) const {
  impl_->toTEXT(out, depth);
}
void conf_matrix::toXML(std::ostream& out) const { impl_->toXML(out, ""); }

}  // namespace orvik
