#include <windows.h>

#include <exception>
#include <string>
#include <thread>

#include "base/handle.h"
#include "base/log.h"
#include "base/threads.h"
#include "base/trust.h"
#include "base/utf.h"
#include "ipc/caller_verification.h"
#include "ipc/command_dispatcher.h"
#include "ipc/flush_watchdog.h"
#include "ipc/owner_watch.h"
#include "ipc/pipe_server.h"
#include "ipc/pipe_transfer.h"
#include "ipc/wire_format.h"
#include "process/cancellable_wait.h"
#include "tunnel/tunnel_controller.h"

namespace moorlak {
namespace {

// Full access for LocalSystem, the owner; read and write for every signed-in user.
constexpr wchar_t kPipeSecurity[] = L"O:SYG:SYD:(A;;GA;;;SY)(A;;0x12019f;;;BU)(A;;0x12019f;;;AU)";
constexpr DWORD kOpenMode = PIPE_ACCESS_DUPLEX | FILE_FLAG_FIRST_PIPE_INSTANCE | FILE_FLAG_OVERLAPPED;
constexpr DWORD kPipeMode = PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT;
constexpr DWORD kMaxInstances = 1;
constexpr DWORD kBufferBytes = 0x100000;

constexpr uint32_t kCommandTimeoutMs = 1500;
constexpr DWORD kConnectSliceMs = 400;
constexpr int32_t kCreateRetryMs = 500;
constexpr int32_t kConnectRetryMs = 100;
constexpr int kWakeTries = 20;
constexpr DWORD kWakeRetryMs = 50;

// A client that keeps its end open would keep the name in use, so every close disconnects first. That discards what the
// client has not read, so a reply is flushed before.
void CloseServerPipe(HANDLE pipe) noexcept {
  DisconnectNamedPipe(pipe);
  CloseHandle(pipe);
}
using ServerPipe = UniqueHandle<HANDLE, CloseServerPipe>;

enum class Connection { Connected, Stopped, Failed };

// Used only by the pipe thread, unless a field says otherwise.
struct PipeServer {
  const std::atomic<bool>& stopFlag;
  FlushWatchdog flushWatchdog;
  TransferBlock block;
  RejectionThrottle throttle;
  // Shared with the thread of the watch.
  TunnelOwner owner;
};

// Set while the loop runs. A server that has left needs no wake-up, and a stop need not wait for its pipe.
std::atomic<bool> isServing{false};

void SleepUnlessStopped(const std::atomic<bool>& stopFlag, int32_t durationMs) {
  int32_t slept = 0;
  while (!stopFlag) {
    const int32_t step = NextWaitStep(durationMs, slept);
    if (step == 0) return;
    Sleep(static_cast<DWORD>(step));
    slept += step;
  }
}

// If the result is empty, GetLastError says why.
ServerPipe CreateInstance() {
  const auto descriptor = DescriptorFrom(kPipeSecurity);
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor.Get(), FALSE};
  return ServerPipe(CreateNamedPipeW(kPipeName, kOpenMode, kPipeMode, kMaxInstances, kBufferBytes, kBufferBytes, 0,
                                     descriptor ? &attributes : nullptr));
}

void LogCreateFailure(DWORD error) {
  std::string line = "CreateNamedPipe failed: " + std::to_string(error);
  if (error == ERROR_ACCESS_DENIED) line += " (pipe name squatted — waiting)";
  WriteLogLine(line);
}

Connection AwaitPendingConnect(HANDLE pipe, OVERLAPPED& overlapped, const std::atomic<bool>& stopFlag) {
  DWORD result = WAIT_TIMEOUT;
  while (result == WAIT_TIMEOUT && !stopFlag) result = WaitForSingleObject(overlapped.hEvent, kConnectSliceMs);
  if (result != WAIT_OBJECT_0) CancelIoEx(pipe, &overlapped);
  DWORD unused = 0;
  // Waits without limit, because the structure must outlive a connect that is being cancelled.
  const bool connected = GetOverlappedResult(pipe, &overlapped, &unused, TRUE) != FALSE;
  if (stopFlag) return Connection::Stopped;
  return connected ? Connection::Connected : Connection::Failed;
}

Connection AwaitClient(HANDLE pipe, const std::atomic<bool>& stopFlag) {
  const KernelHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (!event) return Connection::Failed;
  OVERLAPPED overlapped{};
  overlapped.hEvent = event.Get();
  const DWORD error = ConnectNamedPipe(pipe, &overlapped) ? ERROR_PIPE_CONNECTED : GetLastError();
  if (error == ERROR_IO_PENDING) return AwaitPendingConnect(pipe, overlapped, stopFlag);
  if (stopFlag) return Connection::Stopped;
  return error == ERROR_PIPE_CONNECTED ? Connection::Connected : Connection::Failed;
}

void UpdateOwner(TunnelOwner& owner, uint32_t code, const std::string& reply, const CallerRecord& caller) {
  const auto command = static_cast<CommandCode>(code);
  if (command == CommandCode::Start && IsAccepted(reply)) {
    // Only this thread starts tunnels, so the number is still that of the start just accepted.
    RecordOwner(owner, caller.process.Get(), caller.imagePath, TunnelController::Instance().startNumber);
  }
  if (command == CommandCode::Stop) ForgetOwner(owner);
}

// Logged before the start runs, because the session's own lines follow.
void LogStartCaller(const CallerRecord& caller) {
  WriteLogLine(FormatStartCallerLine(GetProcessId(caller.process.Get()), NarrowUtf16(caller.userSid)));
}

// False if the connection ends without a reply.
bool HandleRequest(PipeServer& server, HANDLE pipe, const CallerRecord& caller, std::string& reply) {
  WireNumber codeBytes{};
  if (!ReadExact(server.block, pipe, codeBytes.data(), codeBytes.size(), kCommandTimeoutMs, &server.stopFlag)) {
    return false;
  }
  if (!RecheckCaller(caller)) return false;
  const uint32_t code = DecodeNumber(codeBytes);
  if (IsLoggedAsReceived(code)) WriteLogLine(FormatReceivedLine(code));
  std::string payload;
  if (!ReadMessage(server.block, pipe, payload, &server.stopFlag)) return false;
  if (static_cast<CommandCode>(code) == CommandCode::Start) LogStartCaller(caller);
  if (!Dispatch(code, payload, reply)) return false;
  UpdateOwner(server.owner, code, reply, caller);
  return true;
}

bool WriteReply(PipeServer& server, HANDLE pipe, const std::string& reply) {
  const WireNumber lengthBytes = EncodeNumber(static_cast<uint32_t>(reply.size()));
  return WriteExact(server.block, pipe, lengthBytes.data(), lengthBytes.size(), kTransferTimeoutMs) &&
         WriteExact(server.block, pipe, reply.data(), reply.size(), kTransferTimeoutMs);
}

// False if the caller was refused.
bool ServeClient(PipeServer& server, HANDLE pipe) {
  CallerRecord caller;
  if (!VerifyCaller(pipe, caller)) return false;
  std::string reply;
  if (!HandleRequest(server, pipe, caller, reply) || !WriteReply(server, pipe, reply)) return true;
  caller.process.Reset();
  FlushWithin(server.flushWatchdog, pipe, kTransferTimeoutMs);
  return true;
}

void SleepAfterRejection(PipeServer& server) {
  const uint32_t sleepMs = RecordRejection(server.throttle, GetTickCount());
  SleepUnlessStopped(server.stopFlag, static_cast<int32_t>(sleepMs));
}

// Creates, connects, serves and closes one instance of the pipe. Only then may the next one be created.
void ServeNextClient(PipeServer& server) {
  ServerPipe pipe = CreateInstance();
  if (!pipe) {
    LogCreateFailure(GetLastError());
    SleepUnlessStopped(server.stopFlag, kCreateRetryMs);
    return;
  }
  const Connection connection = AwaitClient(pipe.Get(), server.stopFlag);
  const bool refused = connection == Connection::Connected && !ServeClient(server, pipe.Get());
  pipe.Reset();
  if (connection == Connection::Failed) SleepUnlessStopped(server.stopFlag, kConnectRetryMs);
  if (refused) SleepAfterRejection(server);
}

void LogRequestFailure(const std::exception& error) noexcept {
  constexpr char kLine[] = "IPC: request failed: ";
  try {
    WriteLogLine(std::string(kLine) + error.what());
  } catch (const std::exception&) {
    WriteLogLine(kLine);
  }
}

void ServeUntilStopped(PipeServer& server) {
  while (!server.stopFlag) {
    try {
      ServeNextClient(server);
    } catch (const std::exception& error) {
      LogRequestFailure(error);
    }
  }
}

std::thread StartOwnerWatch(PipeServer& server) {
  return std::thread(
      [&server] { RunThreadBody("IPC owner watch", [&server] { RunOwnerWatch(server.owner, server.stopFlag); }); });
}

}  // namespace

void RunPipeServer(const std::atomic<bool>& stopFlag) {
  RunThreadBody("IPC pipe", [&stopFlag] {
    PipeServer server{stopFlag, {}, {}, {}, {}};
    isServing = true;
    std::thread ownerWatch = StartOwnerWatch(server);
    ServeUntilStopped(server);
    isServing = false;
    EndOwnerWatch(server.owner);
    ownerWatch.join();
  });
}

void WakePipeServer() noexcept {
  constexpr DWORD kFlags = FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION;
  for (int attempt = 0; attempt < kWakeTries && isServing; ++attempt) {
    const KernelHandle pipe(
        CreateFileW(kPipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, kFlags, nullptr));
    // A busy pipe is serving a client: its thread will see the stop flag itself.
    if (pipe || GetLastError() == ERROR_PIPE_BUSY) return;
    Sleep(kWakeRetryMs);
  }
}

}  // namespace moorlak
