// An adapter's IPv4 interface entry, of which this product changes only the metric.
#pragma once

#include <cstdint>
#include <optional>

namespace moorlak {

struct InterfaceMetric {
  uint32_t metric = 0;
  // The system computes the metric itself, and `metric` is the result.
  bool automatic = true;
};

// The adapter is given by its IPv4 interface index. nullopt if the entry cannot be read.
std::optional<InterfaceMetric> ReadInterfaceMetric(uint32_t ifIndex);

// Reads the entry, changes its two metric fields and writes it back. False if one of the calls fails.
bool WriteInterfaceMetric(uint32_t ifIndex, const InterfaceMetric& wanted);

}  // namespace moorlak
