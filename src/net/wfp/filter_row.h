// A filter of the Windows Filtering Platform as plain values: the rules return it, net/wfp/wfp_session.h adds it.
#pragma once

#include <cstdint>
#include <vector>

namespace moorlak {

// Outbound connections of one address family (FWPM_LAYER_ALE_AUTH_CONNECT_V4 and _V6).
enum class FilterLayer { ConnectV4, ConnectV6 };

// The field determines the width of its value: 8 bits for the protocol, 16 for the port, 32 for the address, 64 for the
// interface's LUID. Address and port are in host order.
enum class FilterField { Application, Protocol, RemotePort, RemoteAddress, LocalInterface };

enum class FilterMatch { Equal, NotEqual };
enum class FilterAction { Permit, Block };

struct FilterCondition {
  FilterField field = FilterField::Application;
  FilterMatch match = FilterMatch::Equal;
  // Unused for the application: only the system knows its id, and the caller that adds the filter passes it.
  uint64_t value = 0;
  bool operator==(const FilterCondition&) const = default;
};

struct FilterRow {
  // A constant that outlives the row.
  const wchar_t* name = L"";
  FilterLayer layer = FilterLayer::ConnectV4;
  // All must match.
  std::vector<FilterCondition> conditions;
  FilterAction action = FilterAction::Block;
  // 0 to 15; in a sublayer the filter with the higher weight decides.
  uint8_t weight = 0;
};

inline constexpr uint8_t kProtocolTcp = 6;
inline constexpr uint8_t kProtocolUdp = 17;

}  // namespace moorlak
