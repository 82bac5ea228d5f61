// What a shared library of orvik offers to programs; all else stays inside it.
#pragma once

#if defined(__GNUC__)
#define ORVIK_EXPORT __attribute__((visibility("default")))
#else
#define ORVIK_EXPORT
#endif
