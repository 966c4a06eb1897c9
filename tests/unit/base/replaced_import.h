// Functions of the system, replaced for this program's own code, the product's included: the slots of its import table.
// A test declares the slot: extern "C" decltype(&::Sleep) __imp_Sleep.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

namespace moorlak {

// Another function in a slot's place while it lives.
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
