#include "net/dns/smhnr_policy.h"

#include <array>

#include "text/record_lines.h"

namespace moorlak {

std::string FormatSmhnrBackup(const SmhnrBackup& backup) {
  std::string text = NewRecordText();
  for (const uint32_t value :
       {uint32_t{backup.hadSmart}, backup.smartValue, uint32_t{backup.hadParallel}, backup.parallelValue}) {
    AddRecordNumber(text, value);
  }
  return text;
}

std::optional<SmhnrBackup> ParseSmhnrBackup(std::string_view text) {
  RecordReader reader(text);
  if (reader.Line() != kRecordVersion) return std::nullopt;
  std::array<uint32_t, 4> values{};
  for (uint32_t& value : values) {
    const auto number = reader.Number();
    if (!number) return std::nullopt;
    value = *number;
  }
  // A last number without its line end may be missing digits.
  if (reader.Line() != "" || values[0] > 1 || values[2] > 1) return std::nullopt;
  return SmhnrBackup{true, values[0] == 1, values[1], values[2] == 1, values[3]};
}

}  // namespace moorlak
