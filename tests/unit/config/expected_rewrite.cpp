#include "unit/config/expected_rewrite.h"

#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>
#include <regex>
#include <string_view>

#include "unit/config/json_outline.h"

namespace moorlak {
namespace {

using Json = nlohmann::json;

constexpr char kBlanks[] = " \t\r\n";

// Replaces the bytes [begin, end) with a text.
struct Edit {
  size_t begin;
  size_t end;
  std::string replacement;
};

// A configuration, the positions of its members, and its edits.
struct Document {
  const std::string& text;
  Json json;
  std::vector<OutlineMember> outline;
  std::vector<Edit> edits;

  explicit Document(const std::string& input) : text(input), json(Json::parse(input)), outline(OutlineJson(input)) {}

  bool Has(std::string_view path) const { return FindMember(outline, path) != nullptr; }
  std::string_view Value(const OutlineMember& member) const {
    return std::string_view(text).substr(member.valueBegin, member.valueEnd - member.valueBegin);
  }
  void InsertInside(std::string_view path, std::string fragment) {
    const size_t position = FindMember(outline, path)->valueBegin + 1;
    edits.push_back({position, position, std::move(fragment)});
  }
};

std::string Apply(const std::string& text, std::vector<Edit> edits) {
  std::ranges::stable_sort(edits, {}, &Edit::begin);
  std::string result;
  size_t position = 0;
  for (const Edit& edit : edits) {
    result.append(text, position, edit.begin - position);
    result += edit.replacement;
    position = edit.end;
  }
  return result.append(text, position);
}

std::string Quoted(const std::vector<std::string>& items, const std::string& separator) {
  std::string list;
  for (const std::string& item : items) list += (list.empty() ? "\"" : separator + '"') + item + '"';
  return list;
}

std::string Rule(const std::string& matcher, const std::string& outbound) {
  return "    {\n      \"type\": \"field\",\n      " + matcher + ",\n      \"outboundTag\": \"" + outbound +
         "\"\n    },\n";
}

std::string HostRule(const std::string& host) {
  static const std::regex dottedQuad(R"(\d{1,3}\.\d{1,3}\.\d{1,3}\.\d{1,3})");
  const std::string key = std::regex_match(host, dottedQuad) ? "ip" : "domain";
  return Rule("\"" + key + "\": [\"" + host + "\"]", "direct");
}

// Removes the member, the white space around it, and a comma on each side.
void CutMetadata(Document& document) {
  const OutlineMember* meta = FindMember(document.outline, "/moorlakMeta");
  if (meta == nullptr) return;
  size_t begin = document.text.find_last_not_of(kBlanks, meta->keyBegin - 1) + 1;
  if (document.text[begin - 1] == ',') --begin;
  size_t end = document.text.find_first_not_of(kBlanks, meta->valueEnd);
  if (document.text[end] == ',') ++end;
  document.edits.push_back({begin, end, ""});
}

// Removes each member with one comma, the one before it if there is one.
void CutAllowInsecure(Document& document) {
  for (const OutlineMember& member : document.outline) {
    if (!member.path.ends_with("/allowInsecure")) continue;
    const size_t before = document.text.find_last_not_of(kBlanks, member.keyBegin - 1);
    const size_t behind = document.text.find_first_not_of(kBlanks, member.valueEnd);
    if (document.text[before] == ',') {
      document.edits.push_back({before, member.valueEnd, ""});
    } else if (document.text[behind] == ',') {
      document.edits.push_back({member.keyBegin, behind + 1, ""});
    } else {
      document.edits.push_back({member.keyBegin, member.valueEnd, ""});
    }
  }
}

void ReplaceListen(Document& document) {
  for (const OutlineMember& member : document.outline) {
    if (member.path.ends_with("/listen") && document.Value(member) == "\"[::1]\"") {
      document.edits.push_back({member.keyBegin, member.valueEnd, "\"listen\": \"127.0.0.1\""});
    }
  }
}

std::string WithoutLastComma(std::string rules) {
  return rules.erase(rules.rfind(','), 1);
}

void InsertSections(Document& document, const ConfigFixture& fixture) {
  const std::string rules = ExpectedRules(fixture);
  std::string sections;
  if (!document.Has("/routing")) {
    sections += "\n\"routing\": {\n  \"domainStrategy\": \"IPIfNonMatch\",\n  \"rules\": [\n" +
                WithoutLastComma(rules) + "  ]\n},";
  } else if (!document.Has("/routing/rules")) {
    document.InsertInside("/routing", "\n  \"rules\": [\n" + WithoutLastComma(rules) + "  ],");
  } else {
    const bool alone = document.json["routing"]["rules"].empty();
    document.InsertInside("/routing/rules", "\n" + (alone ? WithoutLastComma(rules) : rules));
  }
  if (!document.Has("/dns/servers") || document.json["dns"]["servers"].empty()) {
    sections +=
        "\n\"dns\":{\"servers\":[" + Quoted(ExpectedDnsList(fixture), ",") + "],\"queryStrategy\":\"UseIPv4\"},";
  }
  if (!document.Has("/api")) sections += "\n\"api\": { \"tag\": \"api\", \"services\": [\"StatsService\"] },";
  if (!document.Has("/policy")) {
    sections += "\n\"policy\": { \"system\": { \"statsOutboundUplink\": true, \"statsOutboundDownlink\": true } },";
  }
  if (!document.Has("/stats")) sections += "\n\"stats\": {},";
  const size_t root = document.text.find('{') + 1;
  document.edits.insert(document.edits.begin(), {root, root, sections});
}

std::string TunInbound(const ConfigFixture& fixture) {
  return R"(
    {
      "tag": "tun-in",
      "protocol": "tun",
      "settings": {
        "name": "Moorlak",
        "desc": "Moorlak",
        "mtu": 1500,
        "gateway": ["10.0.85.1/24"],
        "dns": [)" +
         Quoted(ExpectedDnsList(fixture), ",") + R"(],
        "autoSystemRoutingTable": ["0.0.0.0/0", "::/0"],
        "autoOutboundsInterface": "auto"
      },
      "sniffing": {
        "enabled": true,
        "destOverride": ["http", "tls", "quic"]
      }
    },)";
}

std::string ApiInbound(uint16_t port) {
  return R"(
    {
      "tag": "api",
      "port": )" +
         std::to_string(port) + R"(,
      "listen": "127.0.0.1",
      "protocol": "dokodemo-door",
      "settings": { "address": "127.0.0.1" }
    },)";
}

void ReplaceInboundPort(Document& document, const char* member, const char* value, uint16_t port) {
  if (port == 0) return;
  const Json& inbounds = document.json["inbounds"];
  const auto found =
      std::ranges::find_if(inbounds, [&](const Json& inbound) { return inbound.value(member, "") == value; });
  const std::string path = "/inbounds/" + std::to_string(found - inbounds.begin()) + "/port";
  const OutlineMember* place = FindMember(document.outline, path);
  document.edits.push_back({place->valueBegin, place->valueEnd, std::to_string(port)});
}

void EditInbounds(Document& document, const ConfigFixture& fixture, const ExpectedPorts& ports) {
  std::string inbounds;
  if (fixture.apiPort == 0) {
    inbounds += ApiInbound(ports.api == 0 ? uint16_t{10086} : ports.api);
  } else {
    ReplaceInboundPort(document, "tag", "api", ports.api);
  }
  if (!fixture.executables.empty()) inbounds += TunInbound(fixture);
  document.InsertInside("/inbounds", inbounds);
  ReplaceInboundPort(document, "protocol", "socks", ports.socks);
}

}  // namespace

std::string ExpectedRewrite(const ConfigFixture& fixture, const ExpectedPorts& ports) {
  Document document(fixture.text);
  InsertSections(document, fixture);
  CutMetadata(document);
  CutAllowInsecure(document);
  ReplaceListen(document);
  EditInbounds(document, fixture, ports);
  return Apply(fixture.text, document.edits);
}

std::vector<std::string> ExpectedDnsList(const ConfigFixture& fixture) {
  return fixture.dnsServers.empty() ? std::vector<std::string>{"9.9.9.9", "149.112.112.112"} : fixture.dnsServers;
}

std::string ExpectedRules(const ConfigFixture& fixture) {
  std::string rules = Rule(R"("inboundTag": ["api"])", "api");
  if (!fixture.server.empty()) rules += HostRule(fixture.server);
  for (const std::string& host : fixture.directHosts) rules += HostRule(host);
  if (!fixture.executables.empty()) {
    rules += Rule(R"("process": ["self/", "xray/", "moor_lak/", "moorlak_tunnel_service/"])", "direct");
  }
  for (const std::string& name : fixture.executables) rules += Rule("\"process\": [\"" + name + "\"]", "direct");
  rules += Rule("\"ip\": [" + Quoted(ExpectedDnsList(fixture), ", ") + "]", "direct");
  return rules + Rule(R"("network": "tcp,udp")", "proxy");
}

}  // namespace moorlak
