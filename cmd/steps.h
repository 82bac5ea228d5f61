/// Steps that do not need each other.
#pragma once

#include <exception>

namespace orvcmd {

/// Runs steps one after the other; one that fails keeps no other from running.
class independent_steps {
 public:
  template <class Step>
  void run(const Step& step) {
    try {
      step();
    } catch (...) {
      if (!failure_) failure_ = std::current_exception();
    }
  }

  /// Throws what the first step that failed threw.
  void end() const {
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  std::exception_ptr failure_;
};

}  // namespace orvcmd
