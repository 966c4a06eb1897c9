// The control pipe's wire format, shared by the service and its clients.
//
// Request:  command code (u32), payload length (u32), payload.   Reply: length (u32), text (ASCII, not terminated).
// Integers are unsigned 32-bit little-endian. One request and one reply for each connection.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace moorlak {

// The service's name in the service control manager.
inline constexpr wchar_t kServiceName[] = L"MoorlakTunnel";

inline constexpr wchar_t kPipeName[] = L"\\\\.\\pipe\\MoorlakTunnel";

// Largest payload that the service accepts; a longer one ends the connection without a reply.
inline constexpr uint32_t kMaxPayloadBytes = 0x1000000;

enum class CommandCode : uint32_t { Ping = 1, Start = 2, Stop = 3, Status = 4 };

// Replies begin with one of these; the text after the second is meant for the user.
inline constexpr std::string_view kReplyOk = "OK";
inline constexpr std::string_view kReplyErrorPrefix = "ERR:";

using WireNumber = std::array<unsigned char, 4>;
WireNumber EncodeNumber(uint32_t value);
uint32_t DecodeNumber(const WireNumber& bytes);

// A whole request as sent over the pipe.
std::string EncodeRequest(CommandCode code, std::string_view payload);

// Start payload: the byte "1" for proxy mode (any other means VPN mode), one separator byte that is ignored, the
// configuration text. Payloads of one and two bytes have an empty configuration.
struct StartPayload {
  bool proxyMode = false;
  std::string_view configText;
};
std::string EncodeStartPayload(bool proxyMode, std::string_view configText);
// The view points into payload, which must not be empty.
StartPayload DecodeStartPayload(std::string_view payload);

// Status reply: "OK running=<0|1> tunnel=<0|1> up=<bytes> down=<bytes>".
struct StatusReply {
  bool running = false;
  bool tunnelUp = false;
  int64_t upBytes = 0;
  int64_t downBytes = 0;
};
std::string FormatStatusReply(const StatusReply& status);
// nullopt if the text does not have exactly this form.
std::optional<StatusReply> ParseStatusReply(std::string_view reply);

}  // namespace moorlak
