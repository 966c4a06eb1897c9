// The IPv4 interface entry of an adapter, of which this product changes the metric only.
#pragma once

#include <cstdint>
#include <optional>

namespace moorlak {

struct InterfaceMetric {
  uint32_t metric = 0;
  // The system computes the metric by itself, and `metric` is what it computed.
  bool automatic = true;
};

// The adapter is named by its IPv4 interface index. Nothing when the entry cannot be read.
std::optional<InterfaceMetric> ReadInterfaceMetric(uint32_t ifIndex);

// Reads the entry, changes its two metric fields and writes it back. False when one of the calls failed.
bool WriteInterfaceMetric(uint32_t ifIndex, const InterfaceMetric& wanted);

}  // namespace moorlak
