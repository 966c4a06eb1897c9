// Turns a command into a call of the tunnel controller and a reply.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace moorlak {

// Users see the replies, and support searches for the log lines; both are contracts.
inline constexpr std::string_view kPingLine = "IPC ping";
inline constexpr std::string_view kStopLine = "IPC stop";
inline constexpr std::string_view kStartAcceptedLine = "IPC start accepted";

inline constexpr std::string_view kMissingConfigReply = "ERR:Missing VPN config.";
inline constexpr std::string_view kMissingConfigReason = "missing config";
inline constexpr std::string_view kUnknownCommandReply = "ERR:Unknown command.";

// True for all but status, which clients poll and which would flood the log; unknown codes are logged, too.
bool IsLoggedAsReceived(uint32_t code);
std::string FormatReceivedLine(uint32_t code);

std::string FormatStartLine(size_t payloadBytes);
// Who sends a start: the process and its user's SID, empty if unknown.
std::string FormatStartCallerLine(uint32_t processId, std::string_view userSid);
// The log line of a refused start; the reason may be empty.
std::string FormatStartFailedLine(std::string_view reason);
// The reply to a refused start. An empty error becomes a general text, because the user sees what follows "ERR:".
std::string FormatStartFailedReply(std::string_view error);

// True for the reply that makes the sender of a start command the tunnel's owner.
bool IsAccepted(std::string_view reply);

// Runs the command and replaces reply. Always true: every code has a reply, even an unknown one. An accepted start
// continues in the background; later status replies show its outcome.
bool Dispatch(uint32_t code, std::string_view payload, std::string& reply);

}  // namespace moorlak
