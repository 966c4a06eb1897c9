#include "ipc/pipe_transfer.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>
#include <string_view>

#include "base/handle.h"
#include "base/log.h"
#include "ipc/wire_format.h"

namespace moorlak {
namespace {

using Clock = std::chrono::steady_clock;

constexpr DWORD kCancelWaitMs = 5000;
constexpr DWORD kStopCheckMs = 100;
constexpr size_t kLargestPass = 64 * 1024;

enum class Direction { Read, Write };
enum class Progress { GoOn, Failed, TimedOut, Stopped };

// Everything that the kernel writes to while a pass is pending. It lives on the heap and holds no pointer of the
// caller's, because a pass that cannot be cancelled goes on using it after the caller has left.
struct PassBlock {
  OVERLAPPED overlapped{};
  // Each pass makes it unsignalled when it begins (Microsoft Learn, "Synchronization and Overlapped Input and Output").
  KernelHandle event{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  char bytes[kLargestPass];
};

// One for each thread, because an event made anew costs more than the few bytes of most transfers. Empty while a
// transfer uses it, before the first one, and after a pass that was given up.
thread_local std::unique_ptr<PassBlock> idleBlock;

struct Transfer {
  HANDLE pipe;
  Direction direction;
  uint32_t timeoutMs;
  const std::atomic<bool>* stopFlag;
  Clock::time_point deadline;
  std::unique_ptr<PassBlock> block;

  ~Transfer() {
    if (block && block->event) idleBlock = std::move(block);
  }
};

Transfer BeginTransfer(HANDLE pipe, Direction direction, uint32_t timeoutMs, const std::atomic<bool>* stopFlag) {
  auto block = idleBlock ? std::move(idleBlock) : std::make_unique_for_overwrite<PassBlock>();
  const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
  return {pipe, direction, timeoutMs, stopFlag, deadline, std::move(block)};
}

Progress CheckLimits(const Transfer& transfer) {
  if (transfer.stopFlag != nullptr && *transfer.stopFlag) return Progress::Stopped;
  return Clock::now() < transfer.deadline ? Progress::GoOn : Progress::TimedOut;
}

// Rounded up, so that the last stretch before the deadline is not a busy loop.
DWORD NextWaitMs(const Transfer& transfer) {
  const int64_t left = std::chrono::ceil<std::chrono::milliseconds>(transfer.deadline - Clock::now()).count();
  const DWORD longest = transfer.stopFlag != nullptr ? kStopCheckMs : INFINITE - 1;
  return static_cast<DWORD>(std::clamp<int64_t>(left, 0, longest));
}

Progress WaitForPass(const Transfer& transfer) {
  Progress progress = Progress::GoOn;
  while (progress == Progress::GoOn) {
    const DWORD result = WaitForSingleObject(transfer.block->event.Get(), NextWaitMs(transfer));
    if (result == WAIT_OBJECT_0) break;
    // A wait that fails leaves the pass pending: it is cancelled like a stopped one.
    progress = result == WAIT_TIMEOUT ? CheckLimits(transfer) : Progress::Stopped;
  }
  return progress;
}

// A pass that does not end even now keeps its block for good: what the kernel may still write to is never freed.
void CancelPass(Transfer& transfer) {
  OVERLAPPED& overlapped = transfer.block->overlapped;
  CancelIoEx(transfer.pipe, &overlapped);
  if (WaitForSingleObject(transfer.block->event.Get(), kCancelWaitMs) != WAIT_OBJECT_0) {
    static_cast<void>(transfer.block.release());
    return;
  }
  DWORD moved = 0;
  GetOverlappedResult(transfer.pipe, &overlapped, &moved, FALSE);
}

// Moves at least one byte of the block and at most size.
Progress RunPass(Transfer& transfer, DWORD size, DWORD& moved) {
  PassBlock& block = *transfer.block;
  block.overlapped = {};
  block.overlapped.hEvent = block.event.Get();
  const BOOL done = transfer.direction == Direction::Read
                        ? ReadFile(transfer.pipe, block.bytes, size, nullptr, &block.overlapped)
                        : WriteFile(transfer.pipe, block.bytes, size, nullptr, &block.overlapped);
  if (!done) {
    if (GetLastError() != ERROR_IO_PENDING) return Progress::Failed;
    const Progress progress = WaitForPass(transfer);
    if (progress != Progress::GoOn) {
      CancelPass(transfer);
      return progress;
    }
  }
  const bool completed = GetOverlappedResult(transfer.pipe, &block.overlapped, &moved, FALSE) && moved > 0;
  return completed ? Progress::GoOn : Progress::Failed;
}

// Returns the bytes moved, 0 when the transfer has failed.
DWORD MoveSome(Transfer& transfer, size_t size) {
  DWORD moved = 0;
  // Asked before each pass too: a peer that always has one byte ready would never come to a wait.
  Progress progress = CheckLimits(transfer);
  if (progress == Progress::GoOn) progress = RunPass(transfer, static_cast<DWORD>(size), moved);
  if (progress == Progress::GoOn) return moved;
  if (progress == Progress::TimedOut) {
    const std::string_view operation = transfer.direction == Direction::Read ? "ReadExact" : "WriteExact";
    WriteLogLine(std::string("IPC: ").append(operation) + " timed out after " + std::to_string(transfer.timeoutMs) +
                 "ms");
  }
  return 0;
}

}  // namespace

bool ReadExact(HANDLE pipe, void* buffer, size_t count, uint32_t timeoutMs, const std::atomic<bool>* stopFlag) {
  if (count == 0) return true;
  Transfer transfer = BeginTransfer(pipe, Direction::Read, timeoutMs, stopFlag);
  if (!transfer.block->event) return false;
  char* destination = static_cast<char*>(buffer);
  while (count > 0) {
    const DWORD moved = MoveSome(transfer, std::min(count, kLargestPass));
    if (moved == 0) return false;
    std::memcpy(destination, transfer.block->bytes, moved);
    destination += moved;
    count -= moved;
  }
  return true;
}

bool WriteExact(HANDLE pipe, const void* buffer, size_t count, uint32_t timeoutMs) {
  if (count == 0) return true;
  Transfer transfer = BeginTransfer(pipe, Direction::Write, timeoutMs, nullptr);
  if (!transfer.block->event) return false;
  const char* source = static_cast<const char*>(buffer);
  while (count > 0) {
    const size_t size = std::min(count, kLargestPass);
    std::memcpy(transfer.block->bytes, source, size);
    const DWORD moved = MoveSome(transfer, size);
    if (moved == 0) return false;
    source += moved;
    count -= moved;
  }
  return true;
}

bool ReadMessage(HANDLE pipe, std::string& text, const std::atomic<bool>* stopFlag) {
  WireNumber lengthBytes{};
  if (!ReadExact(pipe, lengthBytes.data(), lengthBytes.size(), kTransferTimeoutMs, stopFlag)) return false;
  const uint32_t length = DecodeNumber(lengthBytes);
  if (length > kMaxPayloadBytes) return false;
  text.resize(length);
  return ReadExact(pipe, text.data(), length, kTransferTimeoutMs, stopFlag);
}

}  // namespace moorlak
