// The machine on the prefix's disk: C:\moorlak-lab\machine.json, guarded by a named mutex, with the call log next to
// it. The machine is written to a new file that then replaces the old one, so a process killed in between changes
// nothing.
#pragma once

#include <optional>
#include <string>

#include "base/handle.h"
#include "machine/state.h"

namespace moorlak::lab {

// Holds the machine's mutex; takes over one that a killed process has abandoned. Throws std::logic_error if the calling
// thread already holds it, std::runtime_error if it does not get it within a minute.
class MachineLock {
 public:
  MachineLock();
  ~MachineLock();
  MachineLock(const MachineLock&) = delete;
  MachineLock& operator=(const MachineLock&) = delete;

  // For waits within a call.
  void Release();
  void Acquire();

 private:
  KernelHandle mutex;
};

// All of these require the lock. LoadMachine returns nullopt if the prefix has no machine. A file that cannot be read,
// parsed or written throws a std::exception.
std::optional<MachineState> LoadMachine();
void SaveMachine(const MachineState& state);
void AppendToCallLog(const std::string& line);
void EmptyCallLog();
std::string ReadCallLogText();
void AppendToHistory(const std::string& line);
std::string ReadHistoryText();

}  // namespace moorlak::lab
