// Which filters send an application beside the tunnel, which programs are never sent there, and how they are counted.
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

inline constexpr size_t kMostSplitFilters = 256;

struct SplitTally {
  // Ids of the filters that were added, over all applications.
  std::vector<uint64_t> filterIds;
  size_t registered = 0;
  size_t skipped = 0;
};

// Adds one filter and answers its id, or nothing after it has logged why it failed.
using AddSplitFilter = std::function<std::optional<uint64_t>(const FilterRow& filter)>;

// For each address family a block on the tunnel and a permit everywhere else. Once an add of this application has
// failed, its permits are left out and it counts as skipped. An application that finds no room for its filters
// counts as registered all the same. The conditions on the application mean this one. True when it was registered.
bool SplitApplication(uint64_t tunnelLuid, const AddSplitFilter& add, SplitTally& tally);

// Installers and uninstallers, by file name (UTF-8, without folder): these are never split.
bool IsInstallerName(std::string_view fileName);

// The log lines of a filter that could not be added and of the finished install.
std::string SplitAddFailure(const FilterRow& filter, uint32_t code);
std::string SplitInstalledLine(const SplitTally& tally);

}  // namespace moorlak
