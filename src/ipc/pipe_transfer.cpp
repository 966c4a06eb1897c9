#include "ipc/pipe_transfer.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string_view>

#include "base/log.h"
#include "ipc/wire_format.h"

namespace moorlak {
namespace {

using Clock = std::chrono::steady_clock;

constexpr DWORD kCancelWaitMs = 5000;
constexpr DWORD kStopCheckMs = 100;

enum class Direction { Read, Write };
enum class Progress { GoOn, Failed, TimedOut, Stopped };

struct Transfer {
  TransferBlock& block;
  HANDLE pipe;
  Direction direction;
  uint32_t timeoutMs;
  const std::atomic<bool>* stopFlag;
  Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
};

// A block whose event could not be created is useless and is replaced the next time.
bool HasBlock(TransferBlock& block) {
  if (!block || !block->event) block = std::make_unique_for_overwrite<PassBlock>();
  return static_cast<bool>(block->event);
}

Progress CheckLimits(const Transfer& transfer) {
  if (transfer.stopFlag != nullptr && *transfer.stopFlag) return Progress::Stopped;
  return Clock::now() < transfer.deadline ? Progress::GoOn : Progress::TimedOut;
}

// Rounded up, so that the time just before the deadline is not a busy loop.
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
    // A failed wait leaves the pass pending, so it is cancelled like a stopped one.
    progress = result == WAIT_TIMEOUT ? CheckLimits(transfer) : Progress::Stopped;
  }
  return progress;
}

// A pass that does not end even now keeps its block permanently: memory that the kernel may still write to is never
// freed.
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

// Moves at least one byte of the block and at most size bytes.
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

// Returns the number of bytes moved, 0 if the transfer has failed.
DWORD MoveSome(Transfer& transfer, size_t size) {
  DWORD moved = 0;
  // Checked before each pass, too: with a peer that always has one byte ready, no pass would ever wait.
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

bool ReadExact(TransferBlock& block, HANDLE pipe, void* buffer, size_t count, uint32_t timeoutMs,
               const std::atomic<bool>* stopFlag) {
  if (count == 0) return true;
  if (!HasBlock(block)) return false;
  Transfer transfer{block, pipe, Direction::Read, timeoutMs, stopFlag};
  char* destination = static_cast<char*>(buffer);
  while (count > 0) {
    const DWORD moved = MoveSome(transfer, std::min(count, kLargestPass));
    if (moved == 0) return false;
    std::memcpy(destination, block->bytes, moved);
    destination += moved;
    count -= moved;
  }
  return true;
}

bool WriteExact(TransferBlock& block, HANDLE pipe, const void* buffer, size_t count, uint32_t timeoutMs) {
  if (count == 0) return true;
  if (!HasBlock(block)) return false;
  Transfer transfer{block, pipe, Direction::Write, timeoutMs, nullptr};
  const char* source = static_cast<const char*>(buffer);
  while (count > 0) {
    const size_t size = std::min(count, kLargestPass);
    std::memcpy(block->bytes, source, size);
    const DWORD moved = MoveSome(transfer, size);
    if (moved == 0) return false;
    source += moved;
    count -= moved;
  }
  return true;
}

bool ReadMessage(TransferBlock& block, HANDLE pipe, std::string& text, const std::atomic<bool>* stopFlag) {
  WireNumber lengthBytes{};
  if (!ReadExact(block, pipe, lengthBytes.data(), lengthBytes.size(), kTransferTimeoutMs, stopFlag)) return false;
  const uint32_t length = DecodeNumber(lengthBytes);
  if (length > kMaxPayloadBytes) return false;
  text.resize(length);
  return ReadExact(block, pipe, text.data(), length, kTransferTimeoutMs, stopFlag);
}

}  // namespace moorlak
