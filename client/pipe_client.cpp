#include "client/pipe_client.h"

#include <algorithm>
#include <array>

#include "base/handle.h"
#include "base/trust.h"

namespace moorlak::client {
namespace {

// The wait for a missing pipe is shorter than for a busy one: between two clients the pipe is missing for a moment, and
// for at most two seconds when the service holds off refused callers.
constexpr uint64_t kAbsentPatience = 2500;
// WaitNamedPipe cannot be interrupted, so it waits in slices.
constexpr DWORD kBusySlice = 100;
// The interval of polling for a missing pipe: there is nothing to wait on.
constexpr DWORD kAbsentSlice = 20;
constexpr uint64_t kWritePatience = 20000;
// Far more than the service ever sends.
constexpr uint32_t kMaxReplyBytes = 65536;

struct Deadline {
  uint64_t end;
  explicit Deadline(uint64_t milliseconds) : end(GetTickCount64() + milliseconds) {}
  DWORD Remaining() const {
    const uint64_t now = GetTickCount64();
    return now >= end ? 0 : static_cast<DWORD>(end - now);
  }
};

struct Connection {
  KernelHandle pipe;
  KernelHandle transferEvent;
  HANDLE interrupt = nullptr;
  // A byte of the reply has arrived.
  bool replyBegun = false;
};

// True if the interrupt event was set.
bool PauseInterruptibly(HANDLE interrupt, DWORD milliseconds) {
  if (interrupt != nullptr) return WaitForSingleObject(interrupt, milliseconds) == WAIT_OBJECT_0;
  Sleep(milliseconds);
  return false;
}

// Waits for the pipe to become free after a failed attempt to open it. True if interrupted.
bool WaitForPipe(DWORD openError, HANDLE interrupt, DWORD remaining) {
  if (openError != ERROR_PIPE_BUSY) return PauseInterruptibly(interrupt, std::min(remaining, kAbsentSlice));
  // Another error means that the pipe has gone away; the next attempt to open it will show.
  if (!WaitNamedPipeW(kPipeName, std::max<DWORD>(std::min(remaining, kBusySlice), 1)) &&
      GetLastError() != ERROR_SEM_TIMEOUT) {
    return PauseInterruptibly(interrupt, std::min(remaining, kAbsentSlice));
  }
  return interrupt != nullptr && WaitForSingleObject(interrupt, 0) == WAIT_OBJECT_0;
}

// Identification level: a program that squats the pipe's name can identify the caller but not act as the caller.
HANDLE TryOpen() {
  return CreateFileW(kPipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                     FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION, nullptr);
}

PipeReply OpenPipe(const PipeRequest& request, KernelHandle& pipe) {
  const Deadline busyDeadline(request.busyPatience);
  const Deadline absentDeadline(std::min<uint64_t>(request.busyPatience, kAbsentPatience));
  bool sawBusy = false;
  for (;;) {
    pipe.Reset(TryOpen());
    if (pipe) return {};
    const DWORD error = GetLastError();
    const OpenVerdict verdict = JudgeOpenError(error);
    if (verdict == OpenVerdict::Denied) return {Failure::AccessDenied, error, {}};
    if (verdict == OpenVerdict::Failed) return {Failure::System, error, {}};
    sawBusy = sawBusy || error == ERROR_PIPE_BUSY;
    const DWORD remaining = sawBusy ? busyDeadline.Remaining() : absentDeadline.Remaining();
    if (remaining == 0) return {ExhaustedOpen(sawBusy), error, {}};
    if (WaitForPipe(error, request.interrupt, remaining)) return {Failure::Interrupted, 0, {}};
  }
}

// Waits for a pending transfer; cancels it on time-out or interrupt.
Failure AwaitTransfer(Connection& connection, OVERLAPPED& overlapped, const Deadline& deadline) {
  const std::array<HANDLE, 2> handles{overlapped.hEvent, connection.interrupt};
  const DWORD count = connection.interrupt == nullptr ? 1 : 2;
  const DWORD waited = WaitForMultipleObjects(count, handles.data(), FALSE, deadline.Remaining());
  if (waited == WAIT_OBJECT_0) return Failure::None;
  CancelIoEx(connection.pipe.Get(), &overlapped);
  DWORD ignored = 0;
  // The buffer and the OVERLAPPED belong to the system until the cancelled transfer has ended.
  GetOverlappedResult(connection.pipe.Get(), &overlapped, &ignored, TRUE);
  return waited == WAIT_OBJECT_0 + 1 ? Failure::Interrupted : Failure::TimedOut;
}

// One overlapped read or write. `start` is called with the OVERLAPPED and returns what ReadFile or WriteFile returned.
template <typename StartTransfer>
PipeReply Transfer(Connection& connection, const Deadline& deadline, DWORD& moved, const StartTransfer& start) {
  OVERLAPPED overlapped{};
  overlapped.hEvent = connection.transferEvent.Get();
  if (!start(overlapped)) {
    const DWORD error = GetLastError();
    if (error != ERROR_IO_PENDING) return {JudgeTransferError(error, connection.replyBegun), error, {}};
    const Failure failure = AwaitTransfer(connection, overlapped, deadline);
    if (failure != Failure::None) return {failure, 0, {}};
  }
  if (!GetOverlappedResult(connection.pipe.Get(), &overlapped, &moved, FALSE)) {
    const DWORD error = GetLastError();
    return {JudgeTransferError(error, connection.replyBegun), error, {}};
  }
  if (moved == 0) return {JudgeTransferError(ERROR_BROKEN_PIPE, connection.replyBegun), ERROR_BROKEN_PIPE, {}};
  return {};
}

PipeReply WriteAll(Connection& connection, std::string_view bytes) {
  const Deadline deadline(kWritePatience);
  while (!bytes.empty()) {
    DWORD written = 0;
    PipeReply step = Transfer(connection, deadline, written, [&](OVERLAPPED& overlapped) {
      return WriteFile(connection.pipe.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &overlapped);
    });
    if (step.failure != Failure::None) return step;
    bytes.remove_prefix(written);
  }
  return {};
}

PipeReply ReadAll(Connection& connection, const Deadline& deadline, char* buffer, size_t count) {
  while (count > 0) {
    DWORD read = 0;
    PipeReply step = Transfer(connection, deadline, read, [&](OVERLAPPED& overlapped) {
      return ReadFile(connection.pipe.Get(), buffer, static_cast<DWORD>(count), nullptr, &overlapped);
    });
    if (step.failure != Failure::None) return step;
    connection.replyBegun = true;
    buffer += read;
    count -= read;
  }
  return {};
}

PipeReply ReadReply(Connection& connection, uint32_t patience) {
  const Deadline deadline(patience);
  std::array<char, 4> lengthBytes{};
  PipeReply answer = ReadAll(connection, deadline, lengthBytes.data(), lengthBytes.size());
  if (answer.failure != Failure::None) return answer;
  WireNumber number{};
  std::transform(lengthBytes.begin(), lengthBytes.end(), number.begin(),
                 [](char byte) { return static_cast<unsigned char>(byte); });
  const uint32_t length = DecodeNumber(number);
  if (length > kMaxReplyBytes) return {Failure::BadReply, 0, {}};
  std::string reply(length, '\0');
  answer = ReadAll(connection, deadline, reply.data(), reply.size());
  if (answer.failure == Failure::None) answer.reply = std::move(reply);
  return answer;
}

// Also true if it cannot be determined, so that the stricter rule applies.
bool IsElevated() {
  KernelHandle token;
  TOKEN_ELEVATION elevation{};
  DWORD size = 0;
  return !OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Out()) ||
         !GetTokenInformation(token.Get(), TokenElevation, &elevation, sizeof(elevation), &size) ||
         elevation.TokenIsElevated != 0;
}

// Checks that the program at the other end may be the service. The owner cannot be read once the service has closed the
// connection: that is a refusal, not an impostor.
PipeReply CheckServer(HANDLE pipe) {
  if (MayBeService(OwnerSid(pipe, SE_KERNEL_OBJECT), OwnUserSid(), IsElevated())) return {};
  if (PeekNamedPipe(pipe, nullptr, 0, nullptr, nullptr, nullptr)) return {Failure::Impostor, 0, {}};
  const DWORD error = GetLastError();
  return {JudgeTransferError(error, false), error, {}};
}

}  // namespace

PipeReply ExchangeOverPipe(const PipeRequest& request) {
  Connection connection;
  connection.interrupt = request.interrupt;
  connection.transferEvent.Reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (!connection.transferEvent) return {Failure::System, GetLastError(), {}};
  PipeReply answer = OpenPipe(request, connection.pipe);
  if (answer.failure != Failure::None) return answer;
  answer = CheckServer(connection.pipe.Get());
  if (answer.failure != Failure::None) return answer;
  answer = WriteAll(connection, EncodeRequest(request.command, request.payload));
  if (answer.failure != Failure::None) return answer;
  return ReadReply(connection, request.replyPatience);
}

}  // namespace moorlak::client
