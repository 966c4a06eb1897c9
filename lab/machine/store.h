// The machine on the disk of the prefix: C:\moorlak-lab\machine.json, guarded by a named mutex, and the call log beside
// it. A file is written whole to a new one and renamed over, so a process that is killed in between changes nothing.
#pragma once

#include <optional>
#include <string>

#include "base/handle.h"
#include "machine/state.h"

namespace moorlak::lab {

// Holds the machine's mutex. One that a killed process left behind is taken over. Raises std::logic_error when the
// calling thread holds it already, std::runtime_error when it cannot be had in a minute.
class MachineLock {
 public:
  MachineLock();
  ~MachineLock();
  MachineLock(const MachineLock&) = delete;
  MachineLock& operator=(const MachineLock&) = delete;

  // For waits in the middle of a call.
  void Release();
  void Acquire();

 private:
  KernelHandle mutex;
};

// All of these want the lock held. Nothing is loaded where the prefix has no machine; a file that cannot be read,
// parsed or written raises std::exception.
std::optional<MachineState> LoadMachine();
void SaveMachine(const MachineState& state);
void AppendToCallLog(const std::string& line);
void EmptyCallLog();
std::string ReadCallLogText();
void AppendToHistory(const std::string& line);
std::string ReadHistoryText();

}  // namespace moorlak::lab
