// The split tunnel: filters that keep chosen applications out of the tunnel adapter and let them connect through every
// other one. A filter set (net/wfp/filter_set.h), which is removed and purged like any other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "net/wfp/filter_row.h"

namespace moorlak {

struct FilterSet;
struct FilterSetKind;

extern const FilterSetKind kSplitTunnelFilters;

inline constexpr size_t kMaxSplitFilters = 256;

struct SplitTally {
  // Ids of the added filters of all applications.
  std::vector<uint64_t> filterIds;
  size_t registered = 0;
  size_t skipped = 0;
};

// Adds one filter and returns its id; nullopt after logging why it failed.
using AddSplitFilter = std::function<std::optional<uint64_t>(const FilterRow& filter)>;

// For each address family, blocks the application on the tunnel and permits it everywhere else. Once adding a filter
// has failed, the application's permits are left out and it counts as skipped. It counts as registered even if the
// limit leaves no room for its filters. The rows' conditions on the application refer to this one. True if it was
// registered.
bool SplitApplication(uint64_t tunnelLuid, const AddSplitFilter& add, SplitTally& tally);

// Installers and uninstallers, by file name (UTF-8, without folder): never split.
bool IsInstallerName(std::string_view fileName);

// The log lines for a filter that could not be added and for the finished install.
std::string SplitAddFailure(const FilterRow& filter, uint32_t code);
std::string SplitInstalledLine(const SplitTally& tally);

// Replaces what the set installed before. An application is a full path or a bare executable name (UTF-8); a bare
// name means the running process with that name, if any. The LUID is the tunnel adapter's. An application that cannot
// be split is counted and is not a failure; an empty list is a success.
bool InstallSplitTunnel(FilterSet& split, const std::vector<std::string>& apps, uint64_t luid) noexcept;

}  // namespace moorlak
