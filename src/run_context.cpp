#include "orvik/run_context.h"

#include "zel/util/run_context.h"

namespace orvik {

run_context::run_context() : impl_(std::make_unique<zel::util::run_context>()) {}
run_context::~run_context() = default;

unsigned long run_context::get_n_workers() const { return impl_->n_workers; }

void run_context::set_n_workers(unsigned long n) {
  impl_->n_workers = n == 0 ? zel::util::parallel::default_workers() : n;
}

void run_context::set_seed(unsigned long seed) { impl_->seeds().set(seed); }

unsigned long run_context::get_done(unit of) const {
  using zel::util::progress::unit;
  static_assert(static_cast<int>(unit::trees) == static_cast<int>(run_context::unit::trees));
  return impl_->progress().done(static_cast<unit>(of));
}

void run_context::cancel() { impl_->cancel(); }
void run_context::resume() { impl_->resume(); }
bool run_context::is_cancelled() const { return impl_->is_cancelled(); }

}  // namespace orvik
