// Memory that runs short at a chosen moment, for whatever the calling thread asks of operator new.
#pragma once

#include <cstdint>

namespace moorlak {

// While it lives, the n-th request of this thread (from 1) fails with std::bad_alloc, once; others are served.
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
