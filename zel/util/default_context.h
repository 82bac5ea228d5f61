// The context of whatever is given none, by name only: see zel/util/run_context.h.
#pragma once

namespace zel::util {

class run_context;

/// The same one for the whole process; it lives as long as that does.
run_context& default_context();

}  // namespace zel::util
