// The outermost frame of every thread.
#pragma once

#include <exception>
#include <string>
#include <string_view>

#include "base/log.h"

namespace moorlak {

// Runs a thread's body. An exception that escapes it is logged with the thread's name and ends the process: a service
// that has lost a thread would still look healthy.
template <typename Body>
void RunThreadBody(std::string_view threadName, Body body) noexcept {
  try {
    body();
  } catch (const std::exception& error) {
    try {
      WriteLogLine(std::string(threadName) + " thread failed: " + error.what());
    } catch (const std::exception&) {
      WriteLogLine(threadName);
    }
    std::terminate();
  }
}

}  // namespace moorlak
