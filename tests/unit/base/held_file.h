// A file that is held for a moment, as virus scanners and backup programs do: a separate thread opens it without
// sharing deletion and closes it when asked. Tests can act while the product sleeps between two tries.
#pragma once

#include <windows.h>

#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "base/handle.h"
#include "unit/base/replaced_import.h"

// Slots of this program's import table, through which its own code, including the product's, calls the system.
extern "C" {
extern decltype(&::Sleep) __imp_Sleep;
extern decltype(&::CreateFileW) __imp_CreateFileW;
}

namespace moorlak {

// While this lives, this thread calls the function with the milliseconds instead of sleeping. Other threads sleep. Only
// one object at a time.
class InsteadOfSleeping {
 public:
  explicit InsteadOfSleeping(std::function<void(DWORD)> function) : replaced(Prepare(std::move(function)), Call) {}

 private:
  struct State {
    DWORD thread = 0;
    std::function<void(DWORD)> function;
    decltype(&::Sleep) system = nullptr;
  };
  static State& Current() {
    static State& state = *new State;
    return state;
  }
  static decltype(&::Sleep)& Prepare(std::function<void(DWORD)> function) {
    Current() = {GetCurrentThreadId(), std::move(function), __imp_Sleep};
    return __imp_Sleep;
  }
  static void WINAPI Call(DWORD milliseconds) {
    if (GetCurrentThreadId() == Current().thread) {
      Current().function(milliseconds);
    } else {
      Current().system(milliseconds);
    }
  }

  ReplacedImport<decltype(&::Sleep)> replaced;
};

class HeldFile {
 public:
  // The file is held once this returns. `share` as in CreateFileW.
  explicit HeldFile(const std::wstring& path, DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE) {
    holder = std::thread([this, path, share] {
      KernelHandle file(CreateFileW(path.c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, 0, nullptr));
      opened = static_cast<bool>(file);
      SetEvent(held.Get());
      WaitForSingleObject(letGo.Get(), INFINITE);
      file.Reset();
    });
    WaitForSingleObject(held.Get(), INFINITE);
    EXPECT_TRUE(opened);
  }
  HeldFile(const HeldFile&) = delete;
  HeldFile& operator=(const HeldFile&) = delete;
  ~HeldFile() { LetGo(); }

  // The file is closed once this returns.
  void LetGo() {
    SetEvent(letGo.Get());
    if (holder.joinable()) holder.join();
  }

 private:
  KernelHandle held{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  KernelHandle letGo{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  bool opened = false;
  std::thread holder;
};

// Runs the operation while the file is held. The file is released at the product's wait number `pauses`.
template <typename Operation>
auto WhileHeld(const std::wstring& path, Operation operation, int pauses = 2, DWORD share = FILE_SHARE_READ) {
  HeldFile file(path, share);
  int waited = 0;
  const InsteadOfSleeping instead([&](DWORD) {
    if (++waited == pauses) file.LetGo();
  });
  return operation();
}

}  // namespace moorlak
