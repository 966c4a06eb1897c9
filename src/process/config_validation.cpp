#include "process/config_validation.h"

#include <windows.h>

#include <filesystem>
#include <optional>

#include "base/guarded.h"
#include "base/log.h"
#include "base/standard_error.h"
#include "base/utf.h"
#include "process/child_process.h"
#include "process/install_look.h"
#include "process/service_end.h"

namespace moorlak {
namespace {

constexpr DWORD kTestMs = 15000;
constexpr DWORD kEndMs = 3000;

DWORD StartTest(const std::string& xrayPath, const std::string& configPath, EngineAccount& account,
                ChildProcess& child) {
  ChildOptions options;
  options.commandLine = WidenUtf8("\"" + xrayPath + "\" run -test -config \"" + configPath + "\"");
  options.workingFolder = std::filesystem::path(WidenUtf8(xrayPath)).parent_path().wstring();
  return StartChildAs(account, options, child);
}

ConfigTestResult AwaitVerdict(const ChildProcess& child) {
  const bool timedOut = WaitForSingleObject(child.process.Get(), GrantedMs(kTestMs)) != WAIT_OBJECT_0;
  if (timedOut) {
    WriteLogLine("Xray config validation timed out — terminating test process");
    TerminateChild(child, 1);
    WaitForSingleObject(child.process.Get(), GrantedMs(kEndMs));
  }
  DWORD exitCode = 1;
  if (!GetExitCodeProcess(child.process.Get(), &exitCode)) exitCode = 1;
  return {timedOut, exitCode};
}

// nullopt if the engine cannot be started.
std::optional<ConfigTestResult> RunTest(const std::string& xrayPath, const std::string& configPath,
                                        EngineAccount& account) {
  ChildProcess child;
  if (StartTest(xrayPath, configPath, account, child) != ERROR_SUCCESS) return std::nullopt;
  return AwaitVerdict(child);
}

// Whether a refused configuration passes with the service's rights.
bool PassesWithOwnRights(const std::string& xrayPath, const std::string& configPath, const ConfigTestResult& refused,
                         EngineAccount& account) {
  if (!IsTestedAgain(account.choice, refused)) return false;
  EngineAccount own;
  TakeOwnRights(own, "it refuses the configuration with fewer rights, exit " + std::to_string(refused.exitCode));
  const auto result = RunTest(xrayPath, configPath, own);
  if (!result || result->timedOut || result->exitCode != 0) return false;
  account = own;
  return true;
}

bool Validate(const std::string& xrayPath, const std::string& configPath, EngineAccount& account,
              const std::atomic<bool>* running) {
  if (xrayPath.empty()) return false;
  LogWhatOthersCanChange();
  const auto result = RunTest(xrayPath, configPath, account);
  if (!result) {
    WriteStandardErrorLine("VPN Service: Could not run xray config validation");
    return false;
  }
  if (result->exitCode == 0) return true;
  const bool wanted = running == nullptr || *running;
  if (wanted && PassesWithOwnRights(xrayPath, configPath, *result, account)) return true;
  const std::string failure = "Xray config validation failed (exit " + std::to_string(result->exitCode) + ")";
  WriteStandardErrorLine("VPN Service: " + failure);
  WriteLogLine(failure);
  return false;
}

}  // namespace

bool ValidateXrayConfig(const std::string& xrayPath, const std::string& configPath, EngineAccount& account,
                        const std::atomic<bool>* running) noexcept {
  return Guarded(false, [&] { return Validate(xrayPath, configPath, account, running); });
}

}  // namespace moorlak
