// The context of whatever is given none, by name only: see zel/util/run_context.h.
#pragma once

namespace zel::util {

class run_context;

/// The same one for the whole process, a shared library of ours included; it lives as long as that
/// does.
[[gnu::visibility("default")]] run_context& default_context();

}  // namespace zel::util
