#include "proxy/xray_session.h"

#include <windows.h>

#include <exception>
#include <string_view>
#include <thread>
#include <utility>

#include "base/durable_file.h"
#include "base/standard_error.h"
#include "base/utf.h"
#include "config/allow_insecure.h"
#include "config/config_staging.h"
#include "config/inbound_ports.h"
#include "process/cancellable_wait.h"
#include "proxy/proxy_config.h"
#include "proxy/system_proxy.h"

namespace moorlak {
namespace {

constexpr StagingPlace kPlace = {.folder = L"flutter_vless", .prefix = L"xray_config_", .suffix = L".json"};
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

// What lives as long as one session. Only its thread uses it.
struct ProxySession {
  ProxySession(XrayService& owner, const std::string& text) : service(owner), configText(text) {}

  XrayService& service;
  // As given.
  const std::string& configText;
  std::string apiAddress;
  std::string apiTag;
  // The account that the engine and its queries run as.
  EngineAccount engineAccount;
  StagedConfig staged;
  std::thread statsThread;
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
std::string PrepareText(ProxySession& session) {
  const std::string normalised = StripAllowInsecure(session.configText);
  std::string prepared = AddStatisticsSections(normalised, ChooseApiPort(normalised));
  ApiEndpoint endpoint = DetectApiEndpoint(prepared, "127.0.0.1:" + std::to_string(kDefaultApiPort));
  session.apiAddress = std::move(endpoint.address);
  session.apiTag = std::move(endpoint.tag);
  WriteStandardErrorLine("Detected Xray API address: " + session.apiAddress);
  return prepared;
}

// A file name that no other start of any instance has used.
std::wstring NextStagedName() {
  static std::atomic<uint32_t> counter{0};
  return std::wstring(kPlace.prefix) + std::to_wstring(GetCurrentProcessId()) + L"_" + std::to_wstring(++counter) +
         std::wstring(kPlace.suffix);
}

bool StageText(ProxySession& session) {
  auto staged = StageAlone(kPlace, NextStagedName(), PrepareText(session));
  if (!staged) return false;
  session.staged = std::move(*staged);
  return true;
}

// Starts the engine and publishes it, unless a stop came meanwhile: the record's destructor then ends the engine.
bool LaunchEngine(ProxySession& session) {
  XrayService& service = session.service;
  if (!service.running) return false;
  auto process = LaunchXray(service.xrayPath, NarrowUtf16(session.staged.path), kLaunchTexts, session.engineAccount);
  if (!process) {
    WriteStandardErrorLine("Failed to start Xray process");
    return false;
  }
  return PublishEngine(service.xray, service.running, std::move(process));
}

bool IsEngineAlive(XrayService& service) {
  return StateOf(service.xray) == EngineState::Running;
}

uint16_t ReadSocksPort(const ProxySession& session) {
  if (const auto text = ReadWholeFile(session.staged.path, kMaxStagedBytes)) return FindSocksPort(*text);
  WriteStandardErrorLine("Warning: Failed to read actual config file, using original");
  return FindSocksPort(session.configText);
}

void PointSystemProxy(const ProxySession& session) {
  const uint16_t port = ReadSocksPort(session);
  if (!session.service.running) return;
  if (SetSystemProxy(kProxyHost, port)) {
    WriteStandardErrorLine("System proxy set to localhost:" + std::to_string(port));
  } else {
    WriteStandardErrorLine("Warning: Failed to set system proxy. Proxy mode may not work correctly.");
  }
}

bool StartStatistics(ProxySession& session) {
  if (!IsSafeApiAddress(session.apiAddress)) return false;
  XrayService& service = session.service;
  try {
    CountersQuery query{service.xrayPath, "api statsquery -s " + session.apiAddress + " -pattern \"\"",
                        session.engineAccount, kStatisticsPeriodMs,
                        [tag = session.apiTag](std::string_view reply) { return SumOutboundTraffic(reply, tag); }};
    session.statsThread = std::thread([&service, query = std::move(query)]() mutable {
      RunStatistics(std::move(query), service.running, service.traffic);
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

void RunSteps(ProxySession& session) {
  XrayService& service = session.service;
  if (!StageText(session)) {
    WriteStandardErrorLine("Failed to write Xray configuration file");
    return;
  }
  if (!LaunchEngine(session)) return;
  if (!WaitWhileRunning(service.running, kSettleMs)) return;
  // Do not point clients at the port of an engine that refused its configuration.
  if (IsEngineAlive(service)) {
    PointSystemProxy(session);
    if (!StartStatistics(session)) {
      WriteStandardErrorLine("Warning: Failed to initialize Xray API client. Stats may not be available.");
    }
  }
  MonitorEngine(service);
}

}  // namespace

void RunProxySession(XrayService& service, const std::string& configText) noexcept {
  ProxySession session(service, configText);
  try {
    RunSteps(session);
  } catch (const std::exception& error) {
    WriteStandardErrorLine(error.what());
    WriteStandardErrorLine("Proxy session ended by an error");
  }
  service.running = false;
  EndEngine(service);
  RestoreSystemProxy();
  RemoveStagedConfig(session.staged);
  if (session.statsThread.joinable()) session.statsThread.join();
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
