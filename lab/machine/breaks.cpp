#include "machine/breaks.h"

#include <windows.h>

#include <stdexcept>

#include "machine/lifetime.h"
#include "machine/machine.h"
#include "machine/processes.h"

namespace moorlak::lab {
namespace {

constexpr DWORD kLookAgainMs = 10;

std::wstring EventName(uint64_t call) {
  return L"Global\\MoorlakLabRelease-" + std::to_wstring(call);
}

}  // namespace

void WaitAtBreak(MachineLock& lock, MachineState& state, uint64_t call, const std::string& name) {
  const KernelHandle released(CreateEventW(nullptr, TRUE, FALSE, EventName(call).c_str()));
  if (!released) throw std::runtime_error("lab: cannot create the event of a break");
  state.record.waiting.push_back({call, static_cast<uint32_t>(GetCurrentProcessId()), name});
  SaveMachine(state);
  lock.Release();
  WaitForSingleObject(released.Get(), INFINITE);
  lock.Acquire();
  state = LoadMachine().value_or(MachineState{});
}

void ReleaseBreak() {
  EditMachine([](MachineState& state) {
    for (const Waiter& waiter : state.record.waiting) {
      const KernelHandle released(OpenEventW(EVENT_MODIFY_STATE, FALSE, EventName(waiter.call).c_str()));
      if (released) SetEvent(released.Get());
    }
    state.record.waiting.clear();
  });
}

bool WaitForBreak(uint32_t timeoutMs) {
  const ULONGLONG begin = GetTickCount64();
  while (ReadMachine().record.waiting.empty()) {
    if (GetTickCount64() - begin >= timeoutMs) return false;
    Sleep(kLookAgainMs);
  }
  return true;
}

}  // namespace moorlak::lab
