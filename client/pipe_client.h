// One command to the service: one connection, one request, one reply.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "client/failure.h"
#include "ipc/wire_format.h"

namespace moorlak {

// How long a command waits for an occupied pipe.
inline constexpr uint32_t kBusyPatience = 5000;
// The same for a session that is watched: another client's stop may take its time, and nothing is lost by waiting.
inline constexpr uint32_t kWatchBusyPatience = 60000;
// Start and stop answer when the machine is changed; the other commands answer at once.
inline constexpr uint32_t kQuickReplyPatience = 10000;
inline constexpr uint32_t kSlowReplyPatience = 120000;

struct PipeRequest {
  CommandCode command = CommandCode::Ping;
  std::string_view payload;
  // Milliseconds.
  uint32_t busyPatience = kBusyPatience;
  uint32_t replyPatience = kQuickReplyPatience;
  // Ends every wait when it is set; null for none.
  HANDLE interrupt = nullptr;
};

struct PipeAnswer {
  Failure failure = Failure::None;
  // Of Failure::System.
  DWORD systemError = 0;
  // As it came, 64 KiB at most; not checked.
  std::string reply;
};

// May throw std::bad_alloc only.
PipeAnswer ExchangeOverPipe(const PipeRequest& request);

}  // namespace moorlak
