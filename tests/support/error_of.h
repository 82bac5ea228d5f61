// The text of the error that a call ends in.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>

/// @return what f() throws as a std::runtime_error; empty if it does not.
inline std::string error_of(const std::function<void()>& f) {
  try {
    f();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}
