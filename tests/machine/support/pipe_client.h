// A client of the control pipe that can also misbehave: the test controls every byte.
#pragma once

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/handle.h"
#include "ipc/wire_format.h"
#include "support/wait.h"

namespace moorlak::machine {

// Opens the pipe. Waits while it is busy and between two instances. Empty if the limit is reached.
KernelHandle ConnectPipe(std::chrono::milliseconds limit = kLongWait);

// Id of the process at the other end of the connection.
DWORD ServerOf(HANDLE pipe);

// False if the service has closed its end.
bool SendBytes(HANDLE pipe, std::string_view bytes);

// The framed reply; nullopt if the service closes its end first.
std::optional<std::string> ReadReply(HANDLE pipe);

// Waits until the service closes its end. False if it sends a byte instead.
bool ReadsEndOfPipe(HANDLE pipe);

// One connection, one request, one reply.
std::optional<std::string> Ask(CommandCode code, std::string_view payload = {});
// A request with any code and any length.
std::string RawRequest(uint32_t code, uint32_t length, std::string_view payload);

// Ask(Start) with mode byte and configuration.
std::string StartTunnel(bool proxyMode, std::string_view config);
StatusReply AskStatus();

}  // namespace moorlak::machine
