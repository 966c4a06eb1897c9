// One command to the service: one connection, one request, one reply.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "client/failure.h"
#include "ipc/wire_format.h"

namespace moorlak::client {

// How long a command waits for a busy pipe.
inline constexpr uint32_t kBusyPatience = 5000;
// The same while watching a session: another client's stop can take long, and waiting costs nothing.
inline constexpr uint32_t kWatchBusyPatience = 60000;
// The replies to start and stop come once their work is done; all others come at once.
inline constexpr uint32_t kQuickReplyPatience = 10000;
inline constexpr uint32_t kSlowReplyPatience = 120000;

struct PipeRequest {
  CommandCode command = CommandCode::Ping;
  std::string_view payload;
  // Milliseconds.
  uint32_t busyPatience = kBusyPatience;
  uint32_t replyPatience = kQuickReplyPatience;
  // An event that ends every wait; null for none.
  HANDLE interrupt = nullptr;
};

struct PipeReply {
  Failure failure = Failure::None;
  // For Failure::System.
  DWORD systemError = 0;
  // As received, at most 64 KiB; not checked.
  std::string reply;
};

// Throws nothing but std::bad_alloc.
PipeReply ExchangeOverPipe(const PipeRequest& request);

}  // namespace moorlak::client
