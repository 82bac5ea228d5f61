#include "zel/util/progress.h"

namespace zel::util::progress {

void counts::begin(unit of, unsigned long total) {
  start_ = done(of);
  total_ = total;
  current_ = of;
}

reading counts::read() const {
  const unit of = current_;
  const unsigned long now = done(of), start = start_;
  return {of, now > start ? now - start : 0, total_};
}

}  // namespace zel::util::progress
