// Reads and removes the metadata: for every text, the values read are safe to use, and the rest is the text with at
// most one piece missing.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "check.h"
#include "config/config_meta.h"
#include "naive_text.h"

namespace moorlak {
namespace {

constexpr std::string_view kMetaKey = "\"moorlakMeta\"";

bool IsSafeHost(std::string_view host) {
  constexpr std::string_view kSafe = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789*-.:_";
  return !host.empty() && host.size() <= 253 && host.find_first_not_of(kSafe) == std::string_view::npos;
}

bool IsSafeProgram(std::string_view app) {
  constexpr std::string_view kSafe = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 -._";
  const std::string_view name = app.substr(app.find_last_of("\\/") + 1);
  return !app.empty() && app.size() <= 253 && name.find_first_not_of(kSafe) == std::string_view::npos;
}

// Every item appears in the text between quotes.
void CheckItems(std::string_view text, const std::vector<std::string>& items) {
  for (const std::string& item : items) {
    CHECK_PROPERTY(!item.empty());
    CHECK_PROPERTY(!naive::Holds(item, "\""));
    CHECK_PROPERTY(naive::Holds(text, naive::Quoted(item)));
  }
}

void CheckValues(std::string_view text, const ConfigMeta& meta) {
  CHECK_PROPERTY(meta.panelHost.empty() || IsSafeHost(meta.panelHost));
  CHECK_PROPERTY(std::ranges::all_of(meta.directDomains, IsSafeHost));
  CHECK_PROPERTY(std::ranges::all_of(meta.blockedApps, IsSafeProgram));
  CHECK_PROPERTY(std::ranges::all_of(meta.shareProxyPorts, [](uint32_t port) { return port >= 1 && port <= 65535; }));
  CheckItems(text, meta.bypassSubnets);
  CheckItems(text, meta.directDomains);
  CheckItems(text, meta.blockedApps);
  if (!naive::Holds(text, "\"__moorlak_blocked_apps\"")) CHECK_PROPERTY(meta.blockedApps.empty());
  if (!naive::Holds(text, kMetaKey)) {
    CHECK_PROPERTY(meta.panelHost.empty() && meta.bypassSubnets.empty() && meta.directDomains.empty() &&
                   meta.shareProxyPorts.empty());
  }
}

// What was removed is one piece that contains the first key, with only blanks and a comma before the key.
void CheckCut(std::string_view before, std::string_view after) {
  CHECK_PROPERTY(naive::IsCutOf(after, before));
  if (after.size() == before.size()) return;
  const size_t key = before.find(kMetaKey);
  CHECK_PROPERTY(key != std::string_view::npos);
  const size_t removed = before.size() - after.size();
  // If bytes repeat, several pieces are possible; this is the last one that begins at or before the key.
  const size_t begin = std::min(naive::CommonPrefix(after, before), key);
  CHECK_PROPERTY(begin + naive::CommonSuffix(after, before) >= after.size());
  CHECK_PROPERTY(begin + removed > key + kMetaKey.size());
  CHECK_PROPERTY(before.substr(begin, key - begin).find_first_not_of(", \t\r\n") == std::string_view::npos);
}

void CheckRemoval(std::string_view text) {
  // The text's first byte is the position, so that the member's place varies.
  const size_t position = text.empty() ? 0 : static_cast<unsigned char>(text.front());
  std::string cut(text);
  RemoveJsonMember(cut, position);
  CHECK_PROPERTY(naive::IsCutOf(cut, text));
  if (position >= text.size()) CHECK_PROPERTY(cut == text);
}

}  // namespace
}  // namespace moorlak

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string before(reinterpret_cast<const char*>(data), size);
  std::string after = before;
  const moorlak::ConfigMeta meta = moorlak::ParseConfigMeta(after);
  moorlak::CheckValues(before, meta);
  moorlak::CheckCut(before, after);
  moorlak::CheckRemoval(before);
  return 0;
}
