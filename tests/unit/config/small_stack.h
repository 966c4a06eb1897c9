// Runs a function with a very small stack.
#pragma once

#include <cstddef>
#include <functional>

namespace moorlak {

// The stack that a session's deepest thread may have left.
inline constexpr size_t kSmallStack = 64u << 10;

// Calls the function on a new thread with only this much stack and waits for it. False if the thread cannot be created.
// Using more stack ends the program.
bool RunOnSmallStack(const std::function<void()>& work);

}  // namespace moorlak
