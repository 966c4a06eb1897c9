#include "ipc/wire_format.h"

#include <charconv>

namespace moorlak {
namespace {

// Removes the label and the decimal number after it from the front of the text.
bool TakeField(std::string_view& text, std::string_view label, int64_t& value) {
  if (!text.starts_with(label)) return false;
  text.remove_prefix(label.size());
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc()) return false;
  text.remove_prefix(static_cast<size_t>(end - text.data()));
  return true;
}

}  // namespace

WireNumber EncodeNumber(uint32_t value) {
  return {static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
          static_cast<unsigned char>(value >> 16), static_cast<unsigned char>(value >> 24)};
}

uint32_t DecodeNumber(const WireNumber& bytes) {
  return uint32_t{bytes[0]} | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 | uint32_t{bytes[3]} << 24;
}

std::string EncodeRequest(CommandCode code, std::string_view payload) {
  const WireNumber codeBytes = EncodeNumber(static_cast<uint32_t>(code));
  const WireNumber lengthBytes = EncodeNumber(static_cast<uint32_t>(payload.size()));
  std::string request;
  request.reserve(codeBytes.size() + lengthBytes.size() + payload.size());
  request.append(codeBytes.begin(), codeBytes.end());
  request.append(lengthBytes.begin(), lengthBytes.end());
  request.append(payload);
  return request;
}

std::string EncodeStartPayload(bool proxyMode, std::string_view configText) {
  std::string payload(proxyMode ? "1\n" : "0\n");
  payload.append(configText);
  return payload;
}

StartPayload DecodeStartPayload(std::string_view payload) {
  constexpr size_t kConfigOffset = 2;
  StartPayload start;
  start.proxyMode = payload.front() == '1';
  if (payload.size() > kConfigOffset) start.configText = payload.substr(kConfigOffset);
  return start;
}

std::string FormatStatusReply(const StatusReply& status) {
  std::string reply("OK running=");
  reply += status.running ? '1' : '0';
  reply += " tunnel=";
  reply += status.tunnelUp ? '1' : '0';
  reply += " up=" + std::to_string(status.upBytes) + " down=" + std::to_string(status.downBytes);
  return reply;
}

std::optional<StatusReply> ParseStatusReply(std::string_view reply) {
  std::string_view rest = reply;
  int64_t running = 0;
  int64_t tunnelUp = 0;
  StatusReply status;
  if (!TakeField(rest, "OK running=", running) || !TakeField(rest, " tunnel=", tunnelUp) ||
      !TakeField(rest, " up=", status.upBytes) || !TakeField(rest, " down=", status.downBytes)) {
    return std::nullopt;
  }
  status.running = running == 1;
  status.tunnelUp = tunnelUp == 1;
  // Formatting the status again rejects every other spelling of a number, and anything after the last one.
  if (FormatStatusReply(status) != reply) return std::nullopt;
  return status;
}

}  // namespace moorlak
