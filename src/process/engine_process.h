// The engines as child processes: launch with captured output, "is it alive", stop.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/handle.h"
#include "process/engine_token.h"

namespace moorlak {

// One engine. The job ends the engine and all it started when the record, or the whole service, goes away.
// A record has one owner; the owner's lock guards it.
struct ProcessRecord {
  KernelHandle process;
  KernelHandle thread;
  KernelHandle job;
  // Read ends of the output pipes; empty once their pump threads own them.
  KernelHandle standardOutput;
  KernelHandle standardError;

  ProcessRecord() = default;
  ProcessRecord(ProcessRecord&&) = default;
  ProcessRecord& operator=(ProcessRecord&&) = delete;
  // Stops the engine.
  ~ProcessRecord();
};

// False for an empty record, a process that has ended, and one whose exit code cannot be read.
bool IsRunning(const ProcessRecord& record);

// Terminates the engine with exit code 0, waits at most 80 ms for it and closes the handles. Safe to call twice.
void StopProcess(ProcessRecord& record) noexcept;

// What an Xray launch writes to standard error; the two modes word it differently. Empty texts are not written.
struct XrayLaunchTexts {
  const char* outputPipeFailed = "";
  const char* errorPipeFailed = "";
  // Followed by the folder of geoip.dat.
  const char* assetsFound = "";
  // Followed by the system error number.
  const char* startFailed = "";
};

// Starts Xray (UTF-8 paths) on the staged configuration: working folder is the engine's, XRAY_LOCATION_ASSET of this
// process is set to it when geoip.dat lies there, each output pipe gets a detached pump thread that copies to standard
// error. Null when the process cannot be created. The caller destroys its earlier record of this engine first.
// It runs with the account's rights, as far as it can be created with them; which they are is logged.
std::unique_ptr<ProcessRecord> LaunchXray(const std::string& xrayPath, const std::string& configPath,
                                          const XrayLaunchTexts& texts, EngineAccount& account) noexcept;

// Starts tun2socks on the Moorlak adapter towards the SOCKS port. Its output goes to standard error and, without the
// info and debug chatter, to the tunnel log. Null when the process cannot be created.
std::unique_ptr<ProcessRecord> LaunchTun2Socks(const std::string& tun2socksPath, uint16_t socksPort) noexcept;

}  // namespace moorlak
