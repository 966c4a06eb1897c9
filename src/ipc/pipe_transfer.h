// Moves bytes over an overlapped pipe handle within a time limit, so that no peer can hold the thread that serves it.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "base/handle.h"

namespace moorlak {

inline constexpr uint32_t kTransferTimeoutMs = 8000;
inline constexpr size_t kLargestPass = 64 * 1024;

// Everything that the kernel writes to while a pass (one ReadFile or WriteFile) is pending. It lives on the heap and
// holds no pointer of the caller's, because a pass that cannot be cancelled goes on using it after the caller has left.
struct PassBlock {
  OVERLAPPED overlapped{};
  // Each pass makes it unsignalled when it begins (Microsoft Learn, "Synchronization and Overlapped Input and Output").
  KernelHandle event{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  char bytes[kLargestPass];
};

// What transfers work with, kept from one to the next by the one thread that makes them: an event made anew costs more
// than the few bytes of most transfers. Empty before the first transfer and after a pass that was given up, whose block
// is never freed; the next transfer makes one.
using TransferBlock = std::unique_ptr<PassBlock>;

// Both are true only when exactly count bytes moved. The time-out is one deadline for the whole count, however many
// pieces it comes in; missing it leaves a log line. A count of 0 succeeds at once. The handle must have been opened for
// overlapped I/O; after a failure the pipe is good for nothing but closing. They may throw std::bad_alloc.

// Setting the stop flag (null: there is none) ends the read within about 100 ms, without a log line.
bool ReadExact(TransferBlock& block, HANDLE pipe, void* buffer, size_t count, uint32_t timeoutMs,
               const std::atomic<bool>* stopFlag = nullptr);
bool WriteExact(TransferBlock& block, HANDLE pipe, const void* buffer, size_t count, uint32_t timeoutMs);

// Reads a length and then as many bytes, each of the two within kTransferTimeoutMs. False also for a length above
// kMaxPayloadBytes, of whose payload nothing is read.
bool ReadMessage(TransferBlock& block, HANDLE pipe, std::string& text, const std::atomic<bool>* stopFlag = nullptr);

}  // namespace moorlak
