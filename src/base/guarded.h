// The boundary of a module that may not throw.
#pragma once

#include <exception>
#include <type_traits>

#include "base/standard_error.h"

namespace moorlak {

// Returns the body's result, or the fallback if it throws; the error goes to standard error.
template <typename Body>
auto Guarded(std::invoke_result_t<Body> fallback, Body body) noexcept -> std::invoke_result_t<Body> {
  try {
    return body();
  } catch (const std::exception& error) {
    WriteStandardErrorLine(error.what());
    return fallback;
  }
}

// The same for a body that returns nothing.
template <typename Body>
void Guarded(Body body) noexcept {
  try {
    body();
  } catch (const std::exception& error) {
    WriteStandardErrorLine(error.what());
  }
}

}  // namespace moorlak
