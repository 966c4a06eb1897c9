// The boundary of a module that may not throw.
#pragma once

#include <exception>
#include <type_traits>

#include "base/standard_error.h"

namespace moorlak {

// The body's answer, or the fallback when something was thrown, which is told on standard error.
template <typename Body>
auto Guarded(std::invoke_result_t<Body> fallback, Body body) noexcept -> std::invoke_result_t<Body> {
  try {
    return body();
  } catch (const std::exception& error) {
    WriteStandardErrorLine(error.what());
    return fallback;
  }
}

// The same for a body without an answer.
template <typename Body>
void Guarded(Body body) noexcept {
  try {
    body();
  } catch (const std::exception& error) {
    WriteStandardErrorLine(error.what());
  }
}

}  // namespace moorlak
