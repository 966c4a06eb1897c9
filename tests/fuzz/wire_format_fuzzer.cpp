// The control pipe's decoders: for all input, what they decode is what an encoder would have written.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "check.h"
#include "ipc/wire_format.h"

namespace moorlak {
namespace {

void CheckNumber(std::string_view bytes) {
  WireNumber number{};
  if (bytes.size() < number.size()) return;
  std::copy_n(bytes.begin(), number.size(), number.begin());
  CHECK_PROPERTY(EncodeNumber(DecodeNumber(number)) == number);
}

void CheckStartPayload(std::string_view bytes) {
  if (bytes.empty()) return;
  const StartPayload payload = DecodeStartPayload(bytes);
  CHECK_PROPERTY(payload.proxyMode == (bytes.front() == '1'));
  CHECK_PROPERTY(payload.configText == (bytes.size() > 2 ? bytes.substr(2) : std::string_view()));
  const std::string encoded = EncodeStartPayload(payload.proxyMode, payload.configText);
  const StartPayload again = DecodeStartPayload(encoded);
  CHECK_PROPERTY(again.proxyMode == payload.proxyMode && again.configText == payload.configText);
}

void CheckStatusReply(std::string_view bytes) {
  const auto status = ParseStatusReply(bytes);
  if (!status) return;
  const auto again = ParseStatusReply(FormatStatusReply(*status));
  CHECK_PROPERTY(again && again->running == status->running && again->tunnelUp == status->tunnelUp &&
                 again->upBytes == status->upBytes && again->downBytes == status->downBytes);
}

void CheckRequest(std::string_view bytes) {
  const std::string request = EncodeRequest(CommandCode::Start, bytes);
  CHECK_PROPERTY(request.size() == bytes.size() + 2 * sizeof(WireNumber));
  WireNumber length{};
  std::copy_n(request.begin() + sizeof(WireNumber), length.size(), length.begin());
  CHECK_PROPERTY(DecodeNumber(length) == bytes.size());
  CHECK_PROPERTY(std::string_view(request).substr(2 * sizeof(WireNumber)) == bytes);
}

}  // namespace
}  // namespace moorlak

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  moorlak::CheckNumber(bytes);
  moorlak::CheckStartPayload(bytes);
  moorlak::CheckStatusReply(bytes);
  moorlak::CheckRequest(bytes);
  return 0;
}
