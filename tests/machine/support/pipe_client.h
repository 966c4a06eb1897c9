// A client of the control pipe that can also misbehave: every byte is the test's own.
#pragma once

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/handle.h"
#include "ipc/wire_format.h"

namespace moorlak::machine {

// Opens the pipe, waiting while it is busy or between two instances. Empty at the limit.
KernelHandle ConnectPipe(std::chrono::milliseconds limit = std::chrono::seconds(30));

// Id of the process that serves a connection.
DWORD ServerOf(HANDLE pipe);

// False when the service has closed its end.
bool SendBytes(HANDLE pipe, std::string_view bytes);

// The framed reply, or nothing when the service closes its end first.
std::optional<std::string> ReadReply(HANDLE pipe);

// Waits until the service closes its end; false when it sent a byte instead.
bool ReadsEndOfPipe(HANDLE pipe);

// One connection, one request, one reply.
std::optional<std::string> Ask(CommandCode code, std::string_view payload = {});
// The same with a code and a length that need not be right.
std::string RawRequest(uint32_t code, uint32_t length, std::string_view payload);

// Ask(Start) with the mode byte and the configuration.
std::string StartTunnel(bool proxyMode, std::string_view config);
StatusReply AskStatus();

}  // namespace moorlak::machine
