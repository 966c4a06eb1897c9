// Replaces system functions for this program's own code, including the product's, in its import table. A test declares
// the slot: extern "C" decltype(&::Sleep) __imp_Sleep.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

namespace moorlak {

// Puts another function into a slot while this lives.
template <typename Function>
class ReplacedImport {
 public:
  ReplacedImport(Function& importSlot, Function replacement) : slot(importSlot), system(importSlot) {
    Set(replacement);
  }
  ReplacedImport(const ReplacedImport&) = delete;
  ReplacedImport& operator=(const ReplacedImport&) = delete;
  ~ReplacedImport() { Set(system); }

 private:
  void Set(Function function) {
    DWORD before = 0;
    ASSERT_TRUE(VirtualProtect(&slot, sizeof(slot), PAGE_READWRITE, &before));
    slot = function;
    VirtualProtect(&slot, sizeof(slot), before, &before);
  }
  Function& slot;
  Function system;
};

}  // namespace moorlak
