#include "client/interrupt.h"

#include <atomic>

namespace moorlak::client {
namespace {

// Never closed: the system calls the handler on its own thread until the process has ended.
std::atomic<HANDLE> interruptEvent{nullptr};
std::atomic<bool> interruptedBefore{false};

BOOL WINAPI OnConsoleControl(DWORD control) {
  const bool first = !interruptedBefore.exchange(true);
  SetEvent(interruptEvent);
  if (control == CTRL_C_EVENT || control == CTRL_BREAK_EVENT) return first ? TRUE : FALSE;
  // Windows ends the process as soon as this returns. So it waits until the clean-up is done and wmain returns.
  WaitForSingleObject(GetCurrentProcess(), INFINITE);
  return TRUE;
}

}  // namespace

HANDLE CatchInterrupts() {
  if (interruptEvent == nullptr) interruptEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (interruptEvent == nullptr || !SetConsoleCtrlHandler(OnConsoleControl, TRUE)) return nullptr;
  return interruptEvent;
}

bool IsInterrupted(HANDLE interrupt) {
  return interrupt != nullptr && WaitForSingleObject(interrupt, 0) == WAIT_OBJECT_0;
}

}  // namespace moorlak::client
