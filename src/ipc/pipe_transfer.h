// Moves bytes over an overlapped pipe handle within a time limit, so that no peer can block the thread that serves it.
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

// Everything that the kernel writes to while a pass (one ReadFile or WriteFile) is pending. It is on the heap and has
// no pointer to the caller's data, because a pass that cannot be cancelled continues to use it after the caller has
// returned.
struct PassBlock {
  OVERLAPPED overlapped{};
  // Each pass resets it when it begins ("Synchronization and Overlapped Input and Output" on Microsoft Learn).
  KernelHandle event{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  char bytes[kLargestPass];
};

// The block that transfers use, kept from one to the next by the thread that makes them: creating an event costs more
// than the few bytes of most transfers. Empty before the first transfer and after a pass that was given up, whose block
// is never freed; the next transfer creates one.
using TransferBlock = std::unique_ptr<PassBlock>;

// Both return true only if exactly count bytes were moved. The time-out is one deadline for the whole count, however
// many pieces it comes in; missing it writes a log line. A count of 0 succeeds at once. The handle must have been
// opened for overlapped I/O; after a failure the pipe can only be closed. They may throw std::bad_alloc. Setting the
// stop flag (null: none) ends the read within about 100 ms, without a log line.
bool ReadExact(TransferBlock& block, HANDLE pipe, void* buffer, size_t count, uint32_t timeoutMs,
               const std::atomic<bool>* stopFlag = nullptr);
bool WriteExact(TransferBlock& block, HANDLE pipe, const void* buffer, size_t count, uint32_t timeoutMs);

// Reads a length and then that many bytes, each of the two within kTransferTimeoutMs. Also false for a length above
// kMaxPayloadBytes; then no payload is read.
bool ReadMessage(TransferBlock& block, HANDLE pipe, std::string& text, const std::atomic<bool>* stopFlag = nullptr);

}  // namespace moorlak
