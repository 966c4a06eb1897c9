// The engine's counters: for every reply of the engine, the sums equal those of a simple second parser.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "check.h"
#include "naive_text.h"
#include "process/engine_counters.h"

namespace moorlak {
namespace {

constexpr std::string_view kLargest = "9223372036854775807";

std::optional<std::string_view> FirstName(std::string_view counter) {
  for (size_t i = 0; i < counter.size(); ++i) {
    const auto value = naive::ValueOfMember(counter, i, "\"name\"");
    if (!value || *value == counter.size() || counter[*value] != '"') continue;
    const size_t close = counter.find('"', *value + 1);
    if (close != std::string_view::npos && close > *value + 1) {
      return counter.substr(*value + 1, close - *value - 1);
    }
  }
  return std::nullopt;
}

std::optional<std::string_view> FirstDigits(std::string_view counter) {
  for (size_t i = 0; i < counter.size(); ++i) {
    const auto value = naive::ValueOfMember(counter, i, "\"value\"");
    if (!value) continue;
    size_t end = *value;
    while (end < counter.size() && naive::IsDigit(counter[end])) ++end;
    if (end > *value) return counter.substr(*value, end - *value);
  }
  return std::nullopt;
}

// Compared as text: without leading zeros, the longer number is larger.
bool IsTooLarge(std::string_view digits) {
  while (digits.size() > 1 && digits.front() == '0') digits.remove_prefix(1);
  return digits.size() > kLargest.size() || (digits.size() == kLargest.size() && digits > kLargest);
}

uint64_t NumberOf(std::string_view digits) {
  uint64_t number = 0;
  for (const char digit : digits) number = number * 10 + static_cast<uint64_t>(digit - '0');
  return number;
}

EngineCounters ReadPlainly(std::string_view output) {
  EngineCounters sums;
  if (!naive::Holds(output, "\"stat\"")) return sums;
  size_t position = 0;
  for (;;) {
    const size_t open = output.find('{', position);
    const size_t close = open == std::string_view::npos ? open : output.find('}', open);
    if (close == std::string_view::npos) return sums;
    position = close + 1;
    const std::string_view counter = output.substr(open, position - open);
    const auto name = FirstName(counter);
    const auto digits = FirstDigits(counter);
    if (!name || !digits) continue;
    if (IsTooLarge(*digits)) return sums;
    if (naive::Holds(*name, "outbound>>>proxy>>>traffic>>>uplink")) {
      sums.uplink += NumberOf(*digits);
    } else if (naive::Holds(*name, "outbound>>>proxy>>>traffic>>>downlink")) {
      sums.downlink += NumberOf(*digits);
    }
  }
}

}  // namespace
}  // namespace moorlak

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view output(reinterpret_cast<const char*>(data), size);
  const moorlak::EngineCounters sums = moorlak::ParseEngineCounters(output);
  const moorlak::EngineCounters plain = moorlak::ReadPlainly(output);
  CHECK_PROPERTY(sums.uplink == plain.uplink);
  CHECK_PROPERTY(sums.downlink == plain.downlink);
  return 0;
}
