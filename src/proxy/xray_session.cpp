#include "proxy/xray_session.h"

#include <windows.h>

#include <exception>
#include <optional>
#include <utility>

#include "base/durable_file.h"
#include "base/standard_error.h"
#include "base/utf.h"
#include "config/allow_insecure.h"
#include "config/config_staging.h"
#include "config/inbound_ports.h"
#include "process/cancellable_wait.h"
#include "process/hidden_command.h"
#include "proxy/proxy_config.h"
#include "proxy/system_proxy.h"
#include "proxy/traffic_counters.h"

namespace moorlak {
namespace {

constexpr wchar_t kStagingFolderName[] = L"flutter_vless";
constexpr wchar_t kStagedPrefix[] = L"xray_config_";
constexpr wchar_t kStagedSuffix[] = L".json";
constexpr char kProxyHost[] = "localhost";

constexpr int32_t kSettleMs = 500;
constexpr int32_t kMonitorPeriodMs = 500;
constexpr int32_t kStatisticsPeriodMs = 1000;
constexpr DWORD kEngineEndMs = 1000;

// More than the control pipe accepts, including the added sections.
constexpr size_t kMaxStagedBytes = 32u << 20;

constexpr XrayLaunchTexts kLaunchTexts = {
    .outputPipeFailed = "Failed to create stdout pipe",
    .errorPipeFailed = "Failed to create stderr pipe",
    .assetsFound = "Found Xray assets at: ",
    .startFailed = "Failed to start Xray process. Error: ",
};

// Removes the staged file at the end of the session.
struct StagedFile {
  StagedConfig config;

  StagedFile() = default;
  StagedFile(const StagedFile&) = delete;
  StagedFile& operator=(const StagedFile&) = delete;
  ~StagedFile() { RemoveStagedConfig(config); }
};

// The port for an api section that this program adds. If another engine already listens on it, or the configuration
// itself uses it, the engine would fail.
uint16_t ChooseApiPort(std::string_view text) {
  if (!LacksApiSection(text)) return kDefaultApiPort;
  if (!NamesPort(text, kDefaultApiPort) && IsLoopbackPortFree(kDefaultApiPort)) return kDefaultApiPort;
  const uint16_t port = PickFreeLoopbackPort();
  return port == 0 ? kDefaultApiPort : port;
}

// The text that the engine runs; logs where its API will listen.
std::string PrepareText(XrayService& service) {
  const std::string normalised = StripAllowInsecure(service.configText);
  std::string prepared = AddStatisticsSections(normalised, ChooseApiPort(normalised));
  ApiEndpoint endpoint = DetectApiEndpoint(prepared, service.apiAddress);
  service.apiAddress = std::move(endpoint.address);
  service.apiTag = std::move(endpoint.tag);
  WriteStandardErrorLine("Detected Xray API address: " + service.apiAddress);
  return prepared;
}

// A file name that no other start of any instance has used.
std::wstring NextStagedName() {
  static std::atomic<uint32_t> counter{0};
  return kStagedPrefix + std::to_wstring(GetCurrentProcessId()) + L"_" + std::to_wstring(++counter) + kStagedSuffix;
}

bool StageText(std::string_view text, StagedConfig& staged) {
  const auto folder = OpenStagingFolder(kStagingFolderName);
  if (!folder) return false;
  RemoveStagedFiles(*folder, kStagedPrefix, kStagedSuffix);
  auto written = StageConfig(*folder, NextStagedName(), text);
  if (!written) return false;
  staged = std::move(*written);
  return true;
}

// Starts the engine and publishes it, unless a stop came meanwhile: the record's destructor then ends the engine.
bool LaunchEngine(XrayService& service, const std::wstring& configPath) {
  if (!service.running) return false;
  auto process = LaunchXray(service.xrayPath, NarrowUtf16(configPath), kLaunchTexts, service.engineAccount);
  if (!process) {
    WriteStandardErrorLine("Failed to start Xray process");
    return false;
  }
  return PublishEngine(service.xray, service.running, std::move(process));
}

bool IsEngineAlive(XrayService& service) {
  return StateOf(service.xray) == EngineState::Running;
}

uint16_t ReadSocksPort(const XrayService& service, const std::wstring& configPath) {
  if (const auto text = ReadWholeFile(configPath, kMaxStagedBytes)) return FindSocksPort(*text);
  WriteStandardErrorLine("Warning: Failed to read actual config file, using original");
  return FindSocksPort(service.configText);
}

void PointSystemProxy(XrayService& service, const std::wstring& configPath) {
  service.socksPort = ReadSocksPort(service, configPath);
  if (!service.running) return;
  if (SetSystemProxy(kProxyHost, service.socksPort)) {
    WriteStandardErrorLine("System proxy set to localhost:" + std::to_string(service.socksPort));
  } else {
    WriteStandardErrorLine("Warning: Failed to set system proxy. Proxy mode may not work correctly.");
  }
}

void QueryCounters(XrayService& service, const std::string& arguments, const std::string& apiTag,
                   EngineAccount& account) {
  std::string output;
  if (!RunXrayApiCommand(service.xrayPath, arguments, output, account, &service.running)) return;
  const auto totals = SumOutboundTraffic(output, apiTag);
  if (!totals) return;
  service.uplink = totals->uplink;
  service.downlink = totals->downlink;
}

// Body of the statistics thread.
void RunStatistics(XrayService& service, const std::string& apiAddress, const std::string& apiTag,
                   EngineAccount account) noexcept {
  try {
    const std::string arguments = "api statsquery -s " + apiAddress + " -pattern \"\"";
    while (service.running) {
      QueryCounters(service, arguments, apiTag, account);
      WaitWhileRunning(service.running, kStatisticsPeriodMs);
    }
  } catch (const std::exception& error) {
    WriteStandardErrorLine(error.what());
    WriteStandardErrorLine("Warning: Xray statistics ended");
  }
}

bool StartStatistics(XrayService& service) {
  if (!IsSafeApiAddress(service.apiAddress)) return false;
  try {
    service.statsThread =
        std::thread([&service, address = service.apiAddress, tag = service.apiTag, account = service.engineAccount] {
          RunStatistics(service, address, tag, account);
        });
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

void MonitorEngine(XrayService& service) {
  while (service.running) {
    if (!IsEngineAlive(service)) {
      // A stop clears the flag before it ends the engine, so an engine found dead while the flag is set died by itself.
      if (service.running) WriteStandardErrorLine("Xray process terminated unexpectedly");
      service.running = false;
      return;
    }
    WaitWhileRunning(service.running, kMonitorPeriodMs);
  }
}

void RunSteps(XrayService& service, StagedConfig& staged) {
  if (!StageText(PrepareText(service), staged)) {
    WriteStandardErrorLine("Failed to write Xray configuration file");
    return;
  }
  if (!LaunchEngine(service, staged.path)) return;
  if (!WaitWhileRunning(service.running, kSettleMs)) return;
  // Do not point clients at the port of an engine that refused its configuration.
  if (IsEngineAlive(service)) {
    PointSystemProxy(service, staged.path);
    if (!StartStatistics(service)) {
      WriteStandardErrorLine("Warning: Failed to initialize Xray API client. Stats may not be available.");
    }
  }
  MonitorEngine(service);
}

}  // namespace

void RunProxySession(XrayService& service) noexcept {
  StagedFile staged;
  try {
    RunSteps(service, staged.config);
  } catch (const std::exception& error) {
    WriteStandardErrorLine(error.what());
    WriteStandardErrorLine("Proxy session ended by an error");
  }
  service.running = false;
  EndEngine(service);
  RestoreSystemProxy();
}

void EndEngine(XrayService& service) noexcept {
  const std::unique_ptr<ProcessRecord> ended = TakeEngine(service.xray);
  if (!ended) return;
  // The next engine needs the same ports, which are free only once this one has gone.
  TerminateProcess(ended->process.Get(), 0);
  WaitForSingleObject(ended->process.Get(), kEngineEndMs);
  StopProcess(*ended);
}

}  // namespace moorlak
