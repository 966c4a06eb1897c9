#include "machine/support/hostile_client.h"

#include <windows.h>

#include <chrono>
#include <optional>
#include <string_view>

#include "machine/support/pipe_client.h"

namespace moorlak::machine {
namespace {

constexpr std::chrono::minutes kConnectLimit{2};
constexpr uint32_t kOversize = kMaxPayloadBytes + 1;

std::string Quoted(const std::optional<std::string>& reply) {
  return reply ? "\"" + *reply + "\"" : "no reply";
}

std::string Expect(const std::optional<std::string>& reply, const std::optional<std::string>& expected,
                   std::string_view what) {
  if (reply == expected) return {};
  return std::string(what) + ": " + Quoted(reply) + " instead of " + Quoted(expected);
}

std::string SmallPayload(RandomSource& random) {
  return random.Bytes(random.Below(300));
}

// Code and length are arbitrary. The payload is either as long as the length says or cut off.
std::string SendRandomFrame(HANDLE pipe, RandomSource& random) {
  const std::string payload = SmallPayload(random);
  const uint32_t code = 5 + random.Below(0xFFFFFFFF - 5);
  if (random.Below(2) == 0) {
    SendBytes(pipe, RawRequest(code, static_cast<uint32_t>(payload.size()), payload));
    return Expect(ReadReply(pipe), "ERR:Unknown command.", "random frame");
  }
  SendBytes(pipe, RawRequest(code, static_cast<uint32_t>(payload.size()) + 1 + random.Below(5000), payload));
  return {};
}

std::string SendOversizedFrame(HANDLE pipe, RandomSource& random) {
  const uint32_t length = random.Below(2) == 0 ? kOversize : kOversize + random.Below(0xFFFFFFFF - kOversize);
  SendBytes(pipe, RawRequest(1 + random.Below(4), length, SmallPayload(random)));
  return Expect(ReadReply(pipe), std::nullopt, "oversized frame");
}

std::string SendCutFrame(HANDLE pipe, RandomSource& random) {
  const std::string request = RawRequest(1 + random.Below(4), 100, random.Bytes(100));
  SendBytes(pipe, request.substr(0, random.Below(static_cast<uint32_t>(request.size()))));
  return {};
}

// Sends a whole request and never reads the reply.
std::string LeaveBeforeTheReply(HANDLE pipe, RandomSource& random) {
  SendBytes(pipe, RawRequest(random.Below(2) == 0 ? 1 : 4, 0, {}));
  return {};
}

std::string ReadLate(HANDLE pipe, RandomSource& random) {
  SendBytes(pipe, RawRequest(1, 3, "abc"));
  Sleep(1 + random.Below(60));
  return Expect(ReadReply(pipe), "OK", "late reader");
}

// None of these texts reaches an engine: they do not begin like JSON, or they are not balanced, or they ask for the
// mode whose programs are not installed.
std::string SendBadConfig(HANDLE pipe, RandomSource& random) {
  const uint32_t longest = random.Below(50) == 0 ? 4u << 20 : 4096;
  const std::string filler(random.Below(longest), "[{\\\"\xFF \0a"[random.Below(7)]);
  const struct {
    std::string payload;
    std::string reply;
  } cases[] = {
      {"1\nx" + filler, "ERR:Invalid VPN configuration. The server config could not be parsed."},
      {"0\n{" + filler,
       "ERR:tun2socks.exe not found. Place it in the xray folder next to moor_lak.exe (with wintun.dll)."},
      {"1\n{\"" + filler,
       "ERR:Could not start proxy mode. Ensure xray.exe is in the xray folder next to moor_lak.exe."},
      {"", "ERR:Missing VPN config."},
      {"1", "ERR:Invalid VPN configuration. The server config could not be parsed."},
  };
  const auto& chosen = cases[random.Below(std::size(cases))];
  SendBytes(pipe, EncodeRequest(CommandCode::Start, chosen.payload));
  return Expect(ReadReply(pipe), chosen.reply, "bad configuration");
}

std::string LeaveAtOnce(HANDLE /*pipe*/, RandomSource& /*random*/) {
  return {};
}

}  // namespace

std::string MisbehaveOnce(RandomSource& random) {
  using Behaviour = std::string (*)(HANDLE, RandomSource&);
  constexpr Behaviour kBehaviours[] = {SendRandomFrame,     SendOversizedFrame, SendCutFrame, LeaveAtOnce,
                                       LeaveBeforeTheReply, ReadLate,           SendBadConfig};
  const Behaviour behaviour = kBehaviours[random.Below(std::size(kBehaviours))];
  const KernelHandle pipe = ConnectPipe(kConnectLimit);
  return pipe ? behaviour(pipe.Get(), random) : "no connection";
}

std::string StallOnce(size_t stage) {
  const std::string request = RawRequest(2, 10, "1\n{");
  const std::string sent[kStallStages] = {"", request.substr(0, 6), request, EncodeRequest(CommandCode::Ping, {})};
  const KernelHandle pipe = ConnectPipe(kConnectLimit);
  if (!pipe) return "no connection";
  SendBytes(pipe.Get(), sent[stage % kStallStages]);
  if (stage % kStallStages < 3) return ReadsEndOfPipe(pipe.Get()) ? "" : "stalled client: a reply";
  // Waits until the service has discarded the unread reply.
  DWORD waiting = 0;
  while (PeekNamedPipe(pipe.Get(), nullptr, 0, nullptr, &waiting, nullptr)) Sleep(50);
  return {};
}

}  // namespace moorlak::machine
