#include "fwpuclnt/objects.h"

#include <algorithm>

namespace moorlak::lab {
namespace {

template <typename Object>
auto Find(std::vector<Object>& objects, const std::string& key) {
  return std::ranges::find(objects, key, &Object::key);
}

// The object referred to must exist and live at least as long: a dynamic object may refer to objects of its session and
// to those that are not dynamic.
template <typename Object>
uint32_t CheckReference(std::vector<Object>& objects, const std::string& key, uint64_t session, uint32_t notFound) {
  const auto found = Find(objects, key);
  if (found == objects.end()) return notFound;
  return found->session == 0 || found->session == session ? 0 : kLifetimeMismatch;
}

uint32_t CheckOwner(uint64_t owner, uint64_t session) {
  if (owner == session) return 0;
  return owner == 0 ? kDynamicSession : kWrongSession;
}

struct FieldType {
  const char* layer;  // empty: both
  const char* field;
  const char* type;
};
constexpr FieldType kFieldTypes[] = {{"", "ALE_APP_ID", "byte-blob"},
                                     {"", "IP_PROTOCOL", "uint8"},
                                     {"", "IP_REMOTE_PORT", "uint16"},
                                     {"", "IP_LOCAL_INTERFACE", "uint64"},
                                     {"ALE_AUTH_CONNECT_V4", "IP_REMOTE_ADDRESS", "uint32"},
                                     {"ALE_AUTH_CONNECT_V6", "IP_REMOTE_ADDRESS", "byte-array16"}};

uint32_t CheckCondition(const std::string& layer, const WfpCondition& condition) {
  for (const FieldType& known : kFieldTypes) {
    if (condition.field != known.field || (*known.layer != '\0' && layer != known.layer)) continue;
    if (condition.type != known.type) return kTypeMismatch;
    return condition.match == "equal" || condition.match == "not-equal" ? 0 : kMatchTypeMismatch;
  }
  return kConditionNotFound;
}

uint32_t CheckFilter(const WfpFilter& filter) {
  if (filter.name.empty()) return kNullDisplayName;
  if (filter.layer != "ALE_AUTH_CONNECT_V4" && filter.layer != "ALE_AUTH_CONNECT_V6") return kLayerNotFound;
  if (filter.action != "permit" && filter.action != "block") return kInvalidActionType;
  if (filter.weightType != "uint8" && filter.weightType != "uint64" && filter.weightType != "empty")
    return kInvalidWeight;
  if (filter.weightType == "uint8" && filter.weight > 15) return kInvalidWeight;
  for (const WfpCondition& condition : filter.conditions) {
    if (const uint32_t code = CheckCondition(filter.layer, condition)) return code;
  }
  return 0;
}

}  // namespace

uint32_t AddProvider(Wfp& wfp, const WfpProvider& provider) {
  if (provider.name.empty()) return kNullDisplayName;
  if (Find(wfp.providers, provider.key) != wfp.providers.end()) return kAlreadyExists;
  wfp.providers.push_back(provider);
  return 0;
}

uint32_t AddSublayer(Wfp& wfp, const WfpSublayer& sublayer) {
  if (sublayer.name.empty()) return kNullDisplayName;
  if (Find(wfp.sublayers, sublayer.key) != wfp.sublayers.end()) return kAlreadyExists;
  if (!sublayer.provider.empty()) {
    if (const uint32_t code = CheckReference(wfp.providers, sublayer.provider, sublayer.session, kProviderNotFound))
      return code;
  }
  wfp.sublayers.push_back(sublayer);
  return 0;
}

uint32_t AddFilter(Wfp& wfp, WfpFilter filter, uint64_t& id) {
  if (const uint32_t code = CheckFilter(filter)) return code;
  if (!filter.provider.empty()) {
    if (const uint32_t code = CheckReference(wfp.providers, filter.provider, filter.session, kProviderNotFound))
      return code;
  }
  if (const uint32_t code = CheckReference(wfp.sublayers, filter.sublayer, filter.session, kSublayerNotFound))
    return code;
  filter.id = id = wfp.nextId++;
  wfp.filters.push_back(std::move(filter));
  return 0;
}

uint32_t DeleteFilter(Wfp& wfp, uint64_t session, uint64_t id) {
  const auto found = std::ranges::find(wfp.filters, id, &WfpFilter::id);
  if (found == wfp.filters.end()) return kFilterNotFound;
  if (const uint32_t code = CheckOwner(found->session, session)) return code;
  wfp.filters.erase(found);
  return 0;
}

uint32_t DeleteSublayer(Wfp& wfp, uint64_t session, const std::string& key) {
  const auto found = Find(wfp.sublayers, key);
  if (found == wfp.sublayers.end()) return kSublayerNotFound;
  if (const uint32_t code = CheckOwner(found->session, session)) return code;
  if (std::ranges::find(wfp.filters, key, &WfpFilter::sublayer) != wfp.filters.end()) return kInUse;
  wfp.sublayers.erase(found);
  return 0;
}

uint32_t DeleteProvider(Wfp& wfp, uint64_t session, const std::string& key) {
  const auto found = Find(wfp.providers, key);
  if (found == wfp.providers.end()) return kProviderNotFound;
  if (const uint32_t code = CheckOwner(found->session, session)) return code;
  const bool used = std::ranges::find(wfp.filters, key, &WfpFilter::provider) != wfp.filters.end() ||
                    std::ranges::find(wfp.sublayers, key, &WfpSublayer::provider) != wfp.sublayers.end();
  if (used) return kInUse;
  wfp.providers.erase(found);
  return 0;
}

void RestartEngine(Wfp& wfp) {
  ++wfp.generation;
  wfp.sessions.clear();
  wfp.filters.clear();
  wfp.sublayers.clear();
  wfp.providers.clear();
}

}  // namespace moorlak::lab
