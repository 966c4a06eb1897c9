// The text operations of proxy mode: for every text they end, stay inside it and keep their promises.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "check.h"
#include "config/allow_insecure.h"
#include "process/engine_counters.h"
#include "proxy/proxy_config.h"
#include "proxy/system_proxy.h"
#include "text/json_members.h"
#include "text/text_scan.h"

namespace moorlak {
namespace {

void CheckStrip(std::string_view text) {
  const std::string stripped = StripAllowInsecure(std::string(text));
  CHECK_PROPERTY(stripped.size() <= text.size());
  if (FindKey(text, "allowInsecure", 0, LetterCase::Ignore) == kNotFound) CHECK_PROPERTY(stripped == text);
  // A removal can join two halves of a key. Only a text without a removal must stay unchanged.
  if (stripped == text) CHECK_PROPERTY(StripAllowInsecure(stripped) == stripped);
}

void CheckSections(std::string_view text) {
  const std::string prepared = AddStatisticsSections(text, 40001);
  if (IsBalanced(text)) CHECK_PROPERTY(IsBalanced(prepared));
  const size_t root = FindRootObject(text);
  if (root == kNotFound) {
    CHECK_PROPERTY(prepared == text);
    return;
  }
  CHECK_PROPERTY(prepared.substr(0, root + 1) == text.substr(0, root + 1));
  CHECK_PROPERTY(std::string_view(prepared).ends_with(text.substr(root + 1)));
  for (const char* name : {"stats", "policy", "api"}) CHECK_PROPERTY(FindJsonMember(prepared, root, name));
  CHECK_PROPERTY(AddStatisticsSections(prepared, 40002) == prepared);
  CHECK_PROPERTY(!LacksApiSection(prepared));
  if (LacksApiSection(text)) CHECK_PROPERTY(DetectApiEndpoint(prepared, "x").address == "127.0.0.1:40001");
}

void CheckApi(std::string_view text) {
  const ApiEndpoint endpoint = DetectApiEndpoint(text, "127.0.0.1:10085");
  CHECK_PROPERTY(!endpoint.address.empty());
  CHECK_PROPERTY(!endpoint.tag.empty());
  if (IsSafeApiAddress(endpoint.address)) {
    CHECK_PROPERTY(endpoint.address.find_first_of(" \t\r\n\"'\\&|<>^%") == std::string::npos);
    CHECK_PROPERTY(endpoint.address.front() != '-');
  }
}

void CheckCounters(std::string_view text) {
  const auto totals = SumOutboundTraffic(text, "api");
  constexpr uint64_t kLargest = INT64_MAX;
  if (totals) CHECK_PROPERTY(totals->uplink <= kLargest && totals->downlink <= kLargest);
}

void CheckBackup(std::string_view text) {
  if (const auto backup = ParseProxyBackup(text)) {
    CHECK_PROPERTY(ParseProxyBackup(FormatProxyBackup(*backup)) == backup);
    PlanRestore(*backup, backup->previous);
  }
  // Any texts cut from the input are read back unchanged. A setting cannot contain a NUL.
  if (text.find('\0') != std::string_view::npos) return;
  const size_t third = text.size() / 3;
  ProxyBackup backup{
      {static_cast<uint32_t>(text.size()), std::nullopt, std::nullopt, std::nullopt}, "socks=x:1", "S-1-5-18"};
  backup.previous.server = text.substr(0, third);
  backup.previous.bypass = text.substr(third, third);
  if (text.size() % 2 == 0) backup.previous.pacUrl = text.substr(2 * third);
  CHECK_PROPERTY(ParseProxyBackup(FormatProxyBackup(backup)) == backup);
}

}  // namespace
}  // namespace moorlak

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  moorlak::CheckStrip(text);
  moorlak::CheckSections(text);
  moorlak::CheckApi(text);
  CHECK_PROPERTY(moorlak::FindSocksPort(text) != 0);
  moorlak::CheckCounters(text);
  moorlak::CheckBackup(text);
  return 0;
}
