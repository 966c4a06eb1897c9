// For tests that measure the service's memory.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

namespace moorlak::machine {

// While this lives, a new service gets a heap without the checks that the suite's prefix asks for ("GFlags flag table"
// on Microsoft Learn). A checked heap keeps the last 1,024 freed blocks, whatever their size, so private memory varies
// by several MiB with what the last clients happened to send.
class PlainHeap {
 public:
  PlainHeap();
  PlainHeap(const PlainHeap&) = delete;
  PlainHeap& operator=(const PlainHeap&) = delete;
  ~PlainHeap();

 private:
  DWORD flags = 0;
};

}  // namespace moorlak::machine
