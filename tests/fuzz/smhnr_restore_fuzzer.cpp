// The backup of the name-resolution policy: only a text with all numbers is accepted, and the numbers equal those of a
// simple parser.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>

#include "check.h"
#include "naive_text.h"
#include "net/dns/smhnr_policy.h"

namespace moorlak {
namespace {

// Only words of digits, as a stream reads them.
void CheckAgainstAStream(std::string_view text, const SmhnrBackup& backup) {
  CHECK_PROPERTY(text.starts_with("v1\n"));
  std::istringstream stream(std::string(text.substr(3)));
  uint32_t hadSmart = 2;
  uint32_t smartValue = 0;
  uint32_t hadParallel = 2;
  uint32_t parallelValue = 0;
  CHECK_PROPERTY(static_cast<bool>(stream >> hadSmart >> smartValue >> hadParallel >> parallelValue));
  CHECK_PROPERTY(hadSmart <= 1 && hadParallel <= 1);
  CHECK_PROPERTY(backup == (SmhnrBackup{true, hadSmart == 1, smartValue, hadParallel == 1, parallelValue}));
  // The last number is complete.
  CHECK_PROPERTY(stream.get() == '\n');
}

void CheckText(std::string_view text) {
  const auto backup = ParseSmhnrBackup(text);
  if (!backup) return;
  CheckAgainstAStream(text, *backup);
  CHECK_PROPERTY(ParseSmhnrBackup(FormatSmhnrBackup(*backup)) == backup);
}

uint32_t NumberAt(std::string_view bytes, size_t position) {
  uint32_t number = 0;
  for (size_t i = position; i < position + 4; ++i) number = number << 8 | static_cast<unsigned char>(bytes[i]);
  return number;
}

// A backup made of the input is read back completely, is rejected if cut, and never reads as another one if it was
// damaged outside its numbers.
void CheckWritten(std::string_view bytes) {
  if (bytes.size() < 11) return;
  const auto flags = static_cast<unsigned char>(bytes[0]);
  const SmhnrBackup backup{true, (flags & 1) != 0, NumberAt(bytes, 1), (flags & 2) != 0, NumberAt(bytes, 5)};
  const std::string text = FormatSmhnrBackup(backup);
  CHECK_PROPERTY(ParseSmhnrBackup(text) == backup);
  for (size_t length = 0; length < text.size(); ++length) CHECK_PROPERTY(!ParseSmhnrBackup(text.substr(0, length)));
  std::string damaged = text;
  damaged[static_cast<unsigned char>(bytes[9]) % text.size()] = bytes[10];
  const auto read = ParseSmhnrBackup(damaged);
  if (read && !naive::IsDigit(bytes[10]) && !naive::IsBlank(bytes[10])) CHECK_PROPERTY(damaged == text);
}

}  // namespace
}  // namespace moorlak

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  moorlak::CheckText(text);
  moorlak::CheckWritten(text);
  return 0;
}
