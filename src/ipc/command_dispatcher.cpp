#include "ipc/command_dispatcher.h"

#include "ipc/wire_format.h"

namespace moorlak {

bool IsLoggedAsReceived(uint32_t code) {
  return code != static_cast<uint32_t>(CommandCode::Status);
}

std::string FormatReceivedLine(uint32_t code) {
  return "IPC server command " + std::to_string(code) + " received";
}

std::string FormatStartLine(size_t payloadBytes) {
  return "IPC start (payload bytes=" + std::to_string(payloadBytes) + ")";
}

std::string FormatStartCallerLine(uint32_t processId, std::string_view userSid) {
  std::string line = "IPC start by process " + std::to_string(processId) + ", user ";
  return line += userSid.empty() ? "unknown" : userSid;
}

std::string FormatStartFailedLine(std::string_view reason) {
  return std::string("IPC start failed: ").append(reason);
}

std::string FormatStartFailedReply(std::string_view error) {
  return std::string(kReplyErrorPrefix).append(error.empty() ? "Could not start VPN." : error);
}

bool IsAccepted(std::string_view reply) {
  return reply.starts_with(kReplyOk);
}

}  // namespace moorlak
