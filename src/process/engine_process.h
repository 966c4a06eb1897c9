// The engines as child processes: launch with captured output, "is it alive", stop.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/handle.h"
#include "process/engine_token.h"

namespace moorlak {

// One engine. The job ends the engine and everything it started when the record is destroyed or the service ends. A
// record has one owner; the owner's lock guards it.
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

// What an Xray launch writes to standard error; the two modes use different texts. Empty texts are not written.
struct XrayLaunchTexts {
  const char* outputPipeFailed = "";
  const char* errorPipeFailed = "";
  // Followed by the folder of geoip.dat.
  const char* assetsFound = "";
  // Followed by the system error number.
  const char* startFailed = "";
};

// Starts Xray (UTF-8 paths) on the staged configuration. Its working folder is the engine's own; if geoip.dat is there,
// this process's XRAY_LOCATION_ASSET is set to that folder. A detached pump thread copies each output pipe to standard
// error. Null if the process cannot be created. The caller destroys its earlier record of this engine first. Xray runs
// with the account's rights if it can be created with them; logs which rights it got.
std::unique_ptr<ProcessRecord> LaunchXray(const std::string& xrayPath, const std::string& configPath,
                                          const XrayLaunchTexts& texts, EngineAccount& account) noexcept;

// Starts tun2socks on the Moorlak adapter with the SOCKS port as proxy. Its output goes to standard error and, except
// for info and debug entries, to the tunnel log. Null if the process cannot be created.
std::unique_ptr<ProcessRecord> LaunchTun2Socks(const std::string& tun2socksPath, uint16_t socksPort) noexcept;

}  // namespace moorlak
