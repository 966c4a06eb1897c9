#include "process/engine_process.h"

#include <windows.h>

#include <exception>
#include <filesystem>
#include <string_view>
#include <utility>

#include "base/guarded.h"
#include "base/log.h"
#include "base/standard_error.h"
#include "base/threads.h"
#include "base/utf.h"
#include "process/child_process.h"
#include "process/engine_output.h"
#include "process/hidden_command.h"
#include "process/install_look.h"

namespace moorlak {
namespace {

constexpr DWORD kStopWaitMs = 80;
constexpr DWORD kPumpChunkSize = 4096;

using ChunkHandler = void (*)(const char* stream, std::string_view chunk);

void HandleXrayChunk(const char* stream, std::string_view chunk) {
  WriteStandardError(XrayOutputText(stream, chunk));
}

void HandleTun2SocksChunk(const char* stream, std::string_view chunk) {
  const auto output = FilterTun2SocksOutput(stream, chunk);
  if (!output) return;
  WriteStandardErrorLine(output->standardErrorLine);
  WriteLogLine(output->logLine);
}

// Ends by itself once the engine and every process that inherited the pipe are gone.
void RunPump(const KernelHandle& readEnd, const char* stream, ChunkHandler handleChunk) noexcept {
  char chunk[kPumpChunkSize];
  DWORD got = 0;
  while (ReadFile(readEnd.Get(), chunk, kPumpChunkSize, &got, nullptr) && got > 0) {
    try {
      handleChunk(stream, {chunk, got});
    } catch (const std::exception&) {
      // Out of memory: the chunk is lost, but the engine must not block on a full pipe.
    }
  }
}

// The thread owns the handle; the stream's name is a literal.
void StartPump(KernelHandle readEnd, const char* stream, ChunkHandler handleChunk) {
  if (!readEnd) return;
  StartDetachedThread([owned = std::move(readEnd), stream, handleChunk] { RunPump(owned, stream, handleChunk); });
}

OutputPipe CreateEnginePipe(const char* failedText) {
  OutputPipe pipe;
  if (!CreateOutputPipe(pipe, 0) && *failedText != '\0') WriteStandardErrorLine(failedText);
  return pipe;
}

HANDLE WriteEndOr(const OutputPipe& pipe, DWORD ownStream) {
  return pipe.writeEnd ? pipe.writeEnd.Get() : GetStdHandle(ownStream);
}

struct EngineLaunch {
  // Null if the process was not created.
  std::unique_ptr<ProcessRecord> record;
  DWORD error = ERROR_SUCCESS;
  DWORD processId = 0;
};

// A stream whose pipe could not be created uses the service's own.
EngineLaunch LaunchEngine(const std::string& commandLine, const std::filesystem::path& folder,
                          const char* outputPipeFailed, const char* errorPipeFailed, EngineAccount& account) {
  LogWhatOthersCanChange();
  EngineLaunch launch;
  OutputPipe output = CreateEnginePipe(outputPipeFailed);
  OutputPipe error = CreateEnginePipe(errorPipeFailed);
  ChildOptions options;
  options.commandLine = WidenUtf8(commandLine);
  options.workingFolder = folder.wstring();
  options.redirected = true;
  options.standardInput = GetStdHandle(STD_INPUT_HANDLE);
  options.standardOutput = WriteEndOr(output, STD_OUTPUT_HANDLE);
  options.standardError = WriteEndOr(error, STD_ERROR_HANDLE);
  ChildProcess child;
  launch.error = StartChildAs(account, options, child);
  if (launch.error != ERROR_SUCCESS) return launch;
  launch.processId = child.id;
  launch.record = std::make_unique<ProcessRecord>();
  launch.record->process = std::move(child.process);
  launch.record->thread = std::move(child.thread);
  launch.record->job = std::move(child.job);
  launch.record->standardOutput = std::move(output.readEnd);
  launch.record->standardError = std::move(error.readEnd);
  return launch;
}

// Throws if a pump cannot be started. The record's destructor then ends the engine, which would otherwise block on a
// full pipe.
void StartPumps(ProcessRecord& record, ChunkHandler handleChunk) {
  StartPump(std::move(record.standardOutput), "stdout", handleChunk);
  StartPump(std::move(record.standardError), "stderr", handleChunk);
}

std::filesystem::path FolderOfEngine(const std::string& path) {
  return std::filesystem::path(WidenUtf8(path)).parent_path();
}

// The engine inherits this process's environment.
void AnnounceAssets(const std::filesystem::path& folder, const char* foundText) {
  if (GetFileAttributesW((folder / L"geoip.dat").c_str()) == INVALID_FILE_ATTRIBUTES) return;
  SetEnvironmentVariableW(L"XRAY_LOCATION_ASSET", folder.c_str());
  if (*foundText != '\0') WriteStandardErrorLine(foundText + NarrowUtf16(folder.wstring()));
}

}  // namespace

ProcessRecord::~ProcessRecord() {
  StopProcess(*this);
}

bool IsRunning(const ProcessRecord& record) {
  DWORD exitCode = 0;
  return record.process && GetExitCodeProcess(record.process.Get(), &exitCode) && exitCode == STILL_ACTIVE;
}

void StopProcess(ProcessRecord& record) noexcept {
  if (record.process) {
    TerminateProcess(record.process.Get(), 0);
    WaitForSingleObject(record.process.Get(), kStopWaitMs);
    record.process.Reset();
  }
  record.thread.Reset();
  // Ends what the engine may have started.
  record.job.Reset();
  record.standardOutput.Reset();
  record.standardError.Reset();
}

std::unique_ptr<ProcessRecord> LaunchXray(const std::string& xrayPath, const std::string& configPath,
                                          const XrayLaunchTexts& texts, EngineAccount& account) noexcept {
  return Guarded(nullptr, [&]() -> std::unique_ptr<ProcessRecord> {
    const std::filesystem::path folder = FolderOfEngine(xrayPath);
    AnnounceAssets(folder, texts.assetsFound);
    EngineLaunch launch = LaunchEngine(XrayCommandLine(xrayPath, configPath), folder, texts.outputPipeFailed,
                                       texts.errorPipeFailed, account);
    if (!launch.record) {
      if (*texts.startFailed != '\0') WriteStandardErrorLine(texts.startFailed + std::to_string(launch.error));
      return nullptr;
    }
    WriteLogLine(EngineRightsLine(account.choice));
    StartPumps(*launch.record, HandleXrayChunk);
    return std::move(launch.record);
  });
}

std::unique_ptr<ProcessRecord> LaunchTun2Socks(const std::string& tun2socksPath, uint16_t socksPort) noexcept {
  return Guarded(nullptr, [&]() -> std::unique_ptr<ProcessRecord> {
    const std::string commandLine = Tun2SocksCommandLine(tun2socksPath, socksPort);
    WriteStandardErrorLine("VPN Service: Starting Tun2Socks with command: " + commandLine);
    // It drives the adapter, and gets no text from a user.
    EngineAccount own;
    TakeOwnRights(own, {});
    EngineLaunch launch =
        LaunchEngine(commandLine, FolderOfEngine(tun2socksPath), "VPN Service: Failed to create stdout pipe",
                     "VPN Service: Failed to create stderr pipe", own);
    if (!launch.record) {
      WriteStandardErrorLine("VPN Service: Failed to launch tun2socks. Error code: " + std::to_string(launch.error));
      WriteStandardErrorLine("VPN Service: Make sure the application is running as Administrator!");
      return nullptr;
    }
    WriteStandardErrorLine(
        "VPN Service: Tun2Socks process started successfully (PID: " + std::to_string(launch.processId) + ")");
    StartPumps(*launch.record, HandleTun2SocksChunk);
    return std::move(launch.record);
  });
}

}  // namespace moorlak
