/// Steps that do not need each other.
#pragma once

#include <exception>

#include "zel/util/run_context.h"

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
      tell_companions();
    }
  }

  /// Throws what the first step that failed threw.
  void end() const {
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  /// Steps that processes make together need all of them.
  static void tell_companions() {
    zel::util::team* const all = zel::util::default_context().companions;
    if (all != nullptr) all->tell_error(zel::util::name_of_error());
  }

  std::exception_ptr failure_;
};

}  // namespace orvcmd
