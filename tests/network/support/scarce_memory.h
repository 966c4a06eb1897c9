// Makes memory run out at a chosen moment, for the calling thread's requests to operator new.
#pragma once

#include <cstdint>

namespace moorlak {

// While this lives, the n-th request of this thread (from 1) fails once with std::bad_alloc; all others succeed.
class ScarceMemory {
 public:
  explicit ScarceMemory(uint64_t nth);
  ~ScarceMemory();
  ScarceMemory(const ScarceMemory&) = delete;
  ScarceMemory& operator=(const ScarceMemory&) = delete;

  // Whether that request was made.
  static bool WasMet();
};

}  // namespace moorlak
