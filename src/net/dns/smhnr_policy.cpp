#include "net/dns/smhnr_policy.h"

#include <array>
#include <limits>

#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr std::string_view kVersionLine = "v1\n";

// Takes a number and the blanks before it.
std::optional<uint32_t> TakeNumber(std::string_view& text) {
  const size_t begin = SkipBlanks(text, 0);
  const size_t end = SkipDigits(text, begin);
  const auto number = ParseDecimal(text.substr(begin, end - begin), std::numeric_limits<uint32_t>::max());
  if (!number) return std::nullopt;
  text.remove_prefix(end);
  return static_cast<uint32_t>(*number);
}

}  // namespace

std::string FormatSmhnrBackup(const SmhnrBackup& backup) {
  std::string text(kVersionLine);
  for (const uint32_t value :
       {uint32_t{backup.hadSmart}, backup.smartValue, uint32_t{backup.hadParallel}, backup.parallelValue}) {
    text += std::to_string(value);
    text += '\n';
  }
  return text;
}

std::optional<SmhnrBackup> ParseSmhnrBackup(std::string_view text) {
  if (!text.starts_with(kVersionLine)) return std::nullopt;
  text.remove_prefix(kVersionLine.size());
  std::array<uint32_t, 4> values{};
  for (uint32_t& value : values) {
    const auto number = TakeNumber(text);
    if (!number) return std::nullopt;
    value = *number;
  }
  // A last number without its line end may be missing digits.
  if (!text.starts_with('\n') || values[0] > 1 || values[2] > 1) return std::nullopt;
  return SmhnrBackup{true, values[0] == 1, values[1], values[2] == 1, values[3]};
}

}  // namespace moorlak
