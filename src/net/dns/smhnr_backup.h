// The name-resolution policy's earlier values and their form in the recovery file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace moorlak {

struct SmhnrBackup {
  // A session's values are set and not restored yet.
  bool active = false;
  // DisableSmartNameResolution existed as a REG_DWORD, and its value.
  bool hadSmart = false;
  uint32_t smartValue = 0;
  // The same for DisableParallelAandAAAA.
  bool hadParallel = false;
  uint32_t parallelValue = 0;

  bool operator==(const SmhnrBackup&) const = default;
};

// Five lines, each ending with a line feed: "v1", hadSmart, smartValue, hadParallel, parallelValue.
std::string FormatSmhnrBackup(const SmhnrBackup& backup);

// An active backup; nullopt if the text does not have exactly this form, because a wrong value must not get into the
// policy.
std::optional<SmhnrBackup> ParseSmhnrBackup(std::string_view text);

}  // namespace moorlak
