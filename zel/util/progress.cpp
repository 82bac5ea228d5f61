#include "zel/util/progress.h"

#include "zel/util/progress_display.h"

namespace zel::util::progress {

namespace {

std::atomic<const char*> stage_now = nullptr;

}  // namespace

void stage(const char* name) { stage_now = name; }
const char* current_stage() { return stage_now; }

void counts::begin(unit of, unsigned long total) {
  start_ = done(of);
  total_ = total;
  current_ = of;
  stage(nullptr);
}

reading counts::read() const {
  const unit of = current_;
  const unsigned long now = done(of), start = start_;
  return {of, now > start ? now - start : 0, total_};
}

}  // namespace zel::util::progress
