// Formats chunks of engine output. Each chunk is one message: it may contain several lines or part of one.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace moorlak {

// Xray's chunk for standard error: tagged with the stream's name, otherwise unchanged. It never goes to the tunnel log.
std::string XrayOutputText(std::string_view stream, std::string_view chunk);

// A tun2socks chunk for standard error and for the log. Neither text ends with a line break.
struct Tun2SocksOutput {
  std::string standardErrorLine;
  std::string logLine;
};

// nullopt if the chunk is empty without its trailing line breaks, or is an entry of the level info or debug.
std::optional<Tun2SocksOutput> FilterTun2SocksOutput(std::string_view stream, std::string_view chunk);

}  // namespace moorlak
