#include "base/log.h"
#include "ipc/command_dispatcher.h"
#include "ipc/wire_format.h"
#include "tunnel/tunnel_controller.h"

namespace moorlak {
namespace {

std::string Ping() {
  WriteLogLine(kPingLine);
  return std::string(kReplyOk);
}

std::string Start(std::string_view payload) {
  WriteLogLine(FormatStartLine(payload.size()));
  if (payload.empty()) {
    WriteLogLine(FormatStartFailedLine(kMissingConfigReason));
    return std::string(kMissingConfigReply);
  }
  const StartPayload start = DecodeStartPayload(payload);
  std::string error;
  if (!TunnelController::Instance().Start(std::string(start.configText), start.proxyMode, error)) {
    WriteLogLine(FormatStartFailedLine(error));
    return FormatStartFailedReply(error);
  }
  WriteLogLine(kStartAcceptedLine);
  return std::string(kReplyOk);
}

std::string Stop() {
  WriteLogLine(kStopLine);
  TunnelController::Instance().Stop();
  return std::string(kReplyOk);
}

std::string Status() {
  const TunnelController& controller = TunnelController::Instance();
  StatusReply status;
  status.running = controller.IsRunning();
  status.tunnelUp = controller.IsTunnelUp();
  const EngineCounters traffic = controller.GetTraffic();
  status.upBytes = static_cast<int64_t>(traffic.uplink);
  status.downBytes = static_cast<int64_t>(traffic.downlink);
  return FormatStatusReply(status);
}

std::string Answer(uint32_t code, std::string_view payload) {
  switch (static_cast<CommandCode>(code)) {
    case CommandCode::Ping:
      return Ping();
    case CommandCode::Start:
      return Start(payload);
    case CommandCode::Stop:
      return Stop();
    case CommandCode::Status:
      return Status();
  }
  return std::string(kUnknownCommandReply);
}

}  // namespace

bool Dispatch(uint32_t code, std::string_view payload, std::string& reply) {
  reply = Answer(code, payload);
  return true;
}

}  // namespace moorlak
