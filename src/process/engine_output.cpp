#include "process/engine_output.h"

namespace moorlak {
namespace {

std::string Tagged(std::string_view engine, std::string_view stream, std::string_view chunk) {
  std::string text = "[";
  text += engine;
  text += ' ';
  text += stream;
  text += "] ";
  text += chunk;
  return text;
}

std::string_view WithoutTrailingLineBreaks(std::string_view chunk) {
  // find_last_not_of returns npos for a chunk of only line breaks, and npos + 1 is 0.
  return chunk.substr(0, chunk.find_last_not_of("\r\n") + 1);
}

bool IsChatter(std::string_view message) {
  constexpr std::string_view kInfo = R"("level":"info")";
  constexpr std::string_view kDebug = R"("level":"debug")";
  return message.find(kInfo) != std::string_view::npos || message.find(kDebug) != std::string_view::npos;
}

}  // namespace

std::string XrayOutputText(std::string_view stream, std::string_view chunk) {
  return Tagged("Xray", stream, chunk);
}

std::optional<Tun2SocksOutput> FilterTun2SocksOutput(std::string_view stream, std::string_view chunk) {
  const std::string_view message = WithoutTrailingLineBreaks(chunk);
  if (message.empty() || IsChatter(message)) return std::nullopt;
  // The tags differ in case: readers of the tunnel log search for the lower-case one.
  return Tun2SocksOutput{Tagged("Tun2Socks", stream, message), Tagged("tun2socks", stream, message)};
}

}  // namespace moorlak
