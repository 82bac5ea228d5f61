// The few failures that are published as a pointer to an error on the heap.
#pragma once

#include <stdexcept>

namespace zel::util {

/// Throws a pointer to a new std::runtime_error of `text`; whoever catches the pointer deletes it.
[[noreturn]] inline void throw_pointer(const char* text) { throw new std::runtime_error(text); }

}  // namespace zel::util
