#include "process/config_validation.h"

#include <windows.h>

#include <exception>
#include <filesystem>

#include "base/log.h"
#include "base/standard_error.h"
#include "base/utf.h"
#include "process/child_process.h"
#include "process/service_end.h"

namespace moorlak {
namespace {

constexpr DWORD kTestMs = 15000;
constexpr DWORD kEndMs = 3000;

DWORD StartTest(const std::string& xrayPath, const std::string& configPath, ChildProcess& child) {
  ChildOptions options;
  options.commandLine = WidenUtf8("\"" + xrayPath + "\" run -test -config \"" + configPath + "\"");
  options.workingFolder = std::filesystem::path(WidenUtf8(xrayPath)).parent_path().wstring();
  return StartChild(options, child);
}

DWORD AwaitVerdict(const ChildProcess& child) {
  if (WaitForSingleObject(child.process.Get(), GrantedMs(kTestMs)) != WAIT_OBJECT_0) {
    WriteLogLine("Xray config validation timed out — terminating test process");
    TerminateChild(child, 1);
    WaitForSingleObject(child.process.Get(), GrantedMs(kEndMs));
  }
  DWORD exitCode = 1;
  return GetExitCodeProcess(child.process.Get(), &exitCode) ? exitCode : 1;
}

bool Validate(const std::string& xrayPath, const std::string& configPath) {
  if (xrayPath.empty()) return false;
  ChildProcess child;
  if (StartTest(xrayPath, configPath, child) != ERROR_SUCCESS) {
    WriteStandardErrorLine("VPN Service: Could not run xray config validation");
    return false;
  }
  const DWORD exitCode = AwaitVerdict(child);
  if (exitCode == 0) return true;
  const std::string failure = "Xray config validation failed (exit " + std::to_string(exitCode) + ")";
  WriteStandardErrorLine("VPN Service: " + failure);
  WriteLogLine(failure);
  return false;
}

}  // namespace

bool ValidateXrayConfig(const std::string& xrayPath, const std::string& configPath) noexcept {
  try {
    return Validate(xrayPath, configPath);
  } catch (const std::exception& error) {
    WriteStandardErrorLine(error.what());
    return false;
  }
}

}  // namespace moorlak
