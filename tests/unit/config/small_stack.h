// Running something where there is next to no stack.
#pragma once

#include <cstddef>
#include <functional>

namespace moorlak {

// What a session's deepest thread may be left with.
inline constexpr size_t kSmallStack = 64u << 10;

// Calls the function on a thread of its own that has no more stack than this, and waits for it. False when there is no
// such thread. More stack than that ends the program.
bool RunOnSmallStack(const std::function<void()>& work);

}  // namespace moorlak
