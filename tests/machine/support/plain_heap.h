// For tests that measure the service's memory.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

namespace moorlak::machine {

// A service started while this lives has a heap without the checks that the suite's prefix asks for ("GFlags flag
// table" on Microsoft Learn). A checked heap keeps the last 1,024 freed blocks, whatever their size, so that several
// MiB come and go with what the last clients happened to send.
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
