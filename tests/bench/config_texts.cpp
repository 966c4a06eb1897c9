#include "bench/config_texts.h"

#include <cstdint>
#include <string_view>

namespace moorlak::bench {
namespace {

constexpr std::string_view kMeta =
    R"("moorlakMeta":{"panelHost":"panel.example.net","bypassSubnets":["192.168.0.0/16","10.0.0.0/8"],)"
    R"("directDomains":["updates.example.net","*.corp.example","203.0.113.77"],"shareProxyPorts":[10807,10808],)"
    R"("__moorlak_blocked_apps":["C:\\Program Files\\Mozilla Firefox\\firefox.exe","steam.exe"]})";
constexpr std::string_view kHead =
    R"("log":{"loglevel":"warning"},"dns":{"servers":["1.1.1.1","8.8.8.8",{"address":"223.5.5.5",)"
    R"("domains":["domain:example.cn"]}],"queryStrategy":"UseIPv4"},"inbounds":[{"tag":"in_proxy","port":10807,)"
    R"("listen":"[::1]","protocol":"socks","settings":{"auth":"noauth","udp":true},"sniffing":{"enabled":true,)"
    R"("destOverride":["http","tls"]}},{"tag":"http","port":10808,"listen":"[::1]","protocol":"http","settings":{}}],)"
    R"("outbounds":[)";
constexpr std::string_view kLastOutbounds =
    R"({"tag":"direct","protocol":"freedom","settings":{"domainStrategy":"UseIPv4"}},)"
    R"({"tag":"block","protocol":"blackhole","settings":{}}],)";
constexpr int kServers = 6;
constexpr size_t kItemsOfRule = 500;

// A linear congruential generator, for the same texts on every platform (constants from "Numerical Recipes").
struct Numbers {
  uint32_t state = 1;
  uint32_t Below(uint32_t limit) {
    state = state * 1664525 + 1013904223;
    return (state >> 8) % limit;
  }
};

void AddServer(std::string& text, int number) {
  const std::string digit = std::to_string(number);
  text += R"({"tag":")" + (number == 0 ? std::string("proxy") : "proxy-" + digit) + R"(","protocol":"vless",)";
  text += R"("settings":{"vnext":[{"address":"node)" + digit + R"(.example.com","port":443,"users":[{"id":)";
  text +=
      R"("5f2b3c1a-8d4e-4b6f-9a7c-0123456789a)" + digit + R"(","encryption":"none","flow":"xtls-rprx-vision"}]}]},)";
  text += R"("streamSettings":{"network":"tcp","security":"tls","tlsSettings":{"serverName":"node)" + digit;
  text += R"(.example.com","allowInsecure":false,"alpn":["h2","http/1.1"],"fingerprint":"chrome"}},)";
  text += R"("mux":{"enabled":false,"concurrency":8}},)";
}

std::string Word(Numbers& numbers) {
  std::string word;
  for (uint32_t length = 4 + numbers.Below(9); length > 0; --length) {
    word += static_cast<char>('a' + static_cast<char>(numbers.Below(26)));
  }
  return word;
}

void AddDomain(std::string& text, Numbers& numbers) {
  static constexpr std::string_view kPrefixes[] = {"domain:", "full:", "", "keyword:"};
  static constexpr std::string_view kEndings[] = {".com", ".net", ".org", ".co.uk", ".io", ".example"};
  text += kPrefixes[numbers.Below(4)];
  text += Word(numbers);
  if (numbers.Below(3) == 0) text += "-" + Word(numbers);
  text += kEndings[numbers.Below(6)];
}

void AddSubnet(std::string& text, Numbers& numbers) {
  for (int part = 0; part < 4; ++part) {
    if (part > 0) text += '.';
    text += std::to_string(numbers.Below(256));
  }
  text += "/" + std::to_string(8 + numbers.Below(25));
}

// Two thirds of the rules list domains, one third subnets.
void AddRule(std::string& text, Numbers& numbers, size_t end) {
  const bool subnets = numbers.Below(3) == 0;
  text += R"({"type":"field","outboundTag":")";
  text += numbers.Below(4) == 0 ? "block" : "direct";
  text += subnets ? R"(","ip":[)" : R"(","domain":[)";
  for (size_t item = 0; item < kItemsOfRule && text.size() < end; ++item) {
    text += '"';
    subnets ? AddSubnet(text, numbers) : AddDomain(text, numbers);
    text += R"(",)";
  }
  text += R"("geosite:private"]},)";
}

std::string Repeat(std::string_view piece, size_t size) {
  std::string text;
  text.reserve(size + piece.size());
  while (text.size() < size) text += piece;
  return text;
}

}  // namespace

std::string RealisticConfig(size_t size, MetaPlace metaPlace) {
  Numbers numbers;
  std::string text = "{";
  text.reserve(size + kKiB);
  if (metaPlace == MetaPlace::First) text.append(kMeta).append(",");
  text += kHead;
  for (int server = 0; server < kServers; ++server) AddServer(text, server);
  text += kLastOutbounds;
  text += R"("routing":{"domainStrategy":"IPIfNonMatch","rules":[)";
  while (text.size() < size) AddRule(text, numbers, size);
  text += R"({"type":"field","port":"0-65535","outboundTag":"proxy"}]})";
  if (metaPlace == MetaPlace::Last) text.append(",").append(kMeta);
  return text + "}";
}

std::vector<HostileText> HostileTexts(size_t size) {
  const std::string heads = Repeat(
      R"({"protocol":"vless","vnext","outbounds","servers","protocol":"wireguard","tag":"socks","tag":"api",)", size);
  return {
      {"many heads, no tail", heads},
      {"many heads, one far tail", heads + R"("address":"node.example","endpoint":"node.example","port":1080)"},
      {"many tails, one far head",
       Repeat(R"("port":1,"address":"","endpoint":"",)", size) + R"({"protocol":"socks","vnext")"},
      {"keys of an unterminated list", Repeat(R"("moorlakMeta":["bypassSubnets":[)", size)},
      {"an unterminated list", R"({"moorlakMeta":{"bypassSubnets":[)" + Repeat(R"("10.0.0.0/8",)", size)},
      {"one run of white space", R"({"moorlakMeta")" + std::string(size, ' ')},
      {"keys and white space", Repeat("\"address\"" + std::string(4000, ' '), size)},
      {"open brackets", R"({"moorlakMeta":)" + std::string(size, '[')},
      {"brackets in pairs", R"({"dns":{"servers":)" + std::string(size / 2, '[') + std::string(size / 2, ']')},
      {"all quotes", std::string(size, '"')},
      {"quoted commas and \"allowInsecure\"", Repeat(R"(,"allowInsecure":truf, "allowInsecure" :1,)", size)},
  };
}

}  // namespace moorlak::bench
