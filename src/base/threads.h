// The outermost frame of every thread, and threads that nobody joins.
#pragma once

#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "base/log.h"

namespace moorlak {

// Starts a thread that runs the body and is never joined; use this instead of std::thread::detach. The body must own
// what it uses and must not throw. Throws what std::thread throws if no thread can be created.
//
// The body waits until the thread is detached. A thread detached at its very end makes winpthreads (mingw-w64 10,
// pthread_detach in winpthreads/src/thread.c) reuse the thread's record before the thread lets go of it: the next
// thread to get that record never runs, or runs without an argument.
template <typename Body>
void StartDetachedThread(Body body) {
  const auto detaching = std::make_shared<std::mutex>();
  const std::lock_guard guard(*detaching);
  std::thread([detaching, body = std::move(body)]() mutable {
    { const std::lock_guard detached(*detaching); }
    body();
  }).detach();
}

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
