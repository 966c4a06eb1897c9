// Moves bytes over an overlapped pipe handle within a time limit, so that no peer can hold the thread that serves it.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace moorlak {

inline constexpr uint32_t kTransferTimeoutMs = 8000;

// Both are true only when exactly count bytes moved. The time-out is one deadline for the whole count, however many
// pieces it comes in; missing it leaves a log line. A count of 0 succeeds at once. The handle must have been opened for
// overlapped I/O; after a failure the pipe is good for nothing but closing. They may throw std::bad_alloc.

// Setting the stop flag (null: there is none) ends the read within about 100 ms, without a log line.
bool ReadExact(HANDLE pipe, void* buffer, size_t count, uint32_t timeoutMs,
               const std::atomic<bool>* stopFlag = nullptr);
bool WriteExact(HANDLE pipe, const void* buffer, size_t count, uint32_t timeoutMs);

// Reads a length and then as many bytes, each of the two within kTransferTimeoutMs. False also for a length above
// kMaxPayloadBytes, of whose payload nothing is read.
bool ReadMessage(HANDLE pipe, std::string& text, const std::atomic<bool>* stopFlag = nullptr);

}  // namespace moorlak
