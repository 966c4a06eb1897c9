// A filter engine with one provider and one sublayer, for tests of its checks.
#pragma once

#include <string>

#include "fwpuclnt/objects.h"

namespace moorlak::lab {

inline constexpr char kProviderKey[] = "{AAAAAAAA-0000-0000-0000-000000000001}";
inline constexpr char kSublayerKey[] = "{AAAAAAAA-0000-0000-0000-000000000002}";
inline constexpr char kOtherKey[] = "{AAAAAAAA-0000-0000-0000-000000000003}";

// Owned by that dynamic session, or by none if 0.
inline Wfp Engine(uint64_t session = 0) {
  Wfp wfp;
  wfp.providers = {{kProviderKey, "Provider", session}};
  wfp.sublayers = {{kSublayerKey, "Sublayer", kProviderKey, 100, session}};
  return wfp;
}

inline WfpFilter BlockPort53(uint64_t session = 0) {
  WfpFilter filter;
  filter.name = "Block";
  filter.layer = "ALE_AUTH_CONNECT_V4";
  filter.sublayer = kSublayerKey;
  filter.provider = kProviderKey;
  filter.action = "block";
  filter.weightType = "uint8";
  filter.weight = 8;
  filter.conditions = {{"IP_REMOTE_PORT", "equal", "uint16", "53"}};
  filter.session = session;
  return filter;
}

}  // namespace moorlak::lab
