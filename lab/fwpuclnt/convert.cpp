#include "fwpuclnt/convert.h"

#include <array>
#include <cstdio>

#include "base/utf.h"
#include "fwpuclnt/objects.h"

namespace moorlak::lab {
namespace {

// Written out again, not taken from the product, so that a mistake in the product's list shows. Sources: "Management
// Filtering Layer Identifiers" and "Filtering Condition Identifiers" of Microsoft Learn.
struct KnownKey {
  const char* key;
  const char* name;
};
constexpr KnownKey kKnown[] = {{"{C38D57D1-05A7-4C33-904F-7FBCEEE60E82}", "ALE_AUTH_CONNECT_V4"},
                               {"{4A72393B-319F-44BC-84C3-BA54DCB3B6B4}", "ALE_AUTH_CONNECT_V6"},
                               {"{D78E1E87-8644-4EA5-9437-D809ECEFC971}", "ALE_APP_ID"},
                               {"{3971EF2B-623E-4F9A-8CB1-6E79B806B9A7}", "IP_PROTOCOL"},
                               {"{C35A604D-D22B-4E1A-91B4-68F674EE674B}", "IP_REMOTE_PORT"},
                               {"{B235AE9A-1D64-49B8-A44C-5FF3D9095045}", "IP_REMOTE_ADDRESS"},
                               {"{4CD62A49-59C3-4969-B7F3-BDA5D32890A4}", "IP_LOCAL_INTERFACE"}};

std::string NameOf(const GUID& key) {
  const std::string text = KeyText(key);
  for (const KnownKey& known : kKnown) {
    if (text == known.key) return known.name;
  }
  return text;
}

uint32_t ReadBlob(const FWP_BYTE_BLOB* blob, WfpCondition& read) {
  read.type = "byte-blob";
  if (blob == nullptr || blob->data == nullptr) return kNullPointer;
  std::wstring text(blob->size / sizeof(wchar_t), L'\0');
  CopyMemory(text.data(), blob->data, text.size() * sizeof(wchar_t));
  while (!text.empty() && text.back() == L'\0') text.pop_back();
  read.value = NarrowUtf16(text);
  return 0;
}

uint32_t ReadValue(const FWP_CONDITION_VALUE0& value, WfpCondition& read) {
  switch (value.type) {
    case FWP_UINT8:
      read.type = "uint8";
      read.value = std::to_string(value.uint8);
      return 0;
    case FWP_UINT16:
      read.type = "uint16";
      read.value = std::to_string(value.uint16);
      return 0;
    case FWP_UINT32:
      read.type = "uint32";
      read.value = std::to_string(value.uint32);
      return 0;
    case FWP_UINT64:
      read.type = "uint64";
      if (value.uint64 == nullptr) return kNullPointer;
      read.value = std::to_string(*value.uint64);
      return 0;
    case FWP_BYTE_BLOB_TYPE:
      return ReadBlob(value.byteBlob, read);
    default:
      read.type = "type " + std::to_string(static_cast<int>(value.type));
      return 0;
  }
}

std::string MatchName(FWP_MATCH_TYPE match) {
  if (match == FWP_MATCH_EQUAL) return "equal";
  return match == FWP_MATCH_NOT_EQUAL ? "not-equal" : "match " + std::to_string(static_cast<int>(match));
}

std::string ActionName(UINT32 action) {
  if (action == FWP_ACTION_PERMIT) return "permit";
  return action == FWP_ACTION_BLOCK ? "block" : "action " + std::to_string(action);
}

uint32_t ReadWeight(const FWP_VALUE0& weight, WfpFilter& read) {
  read.weightType = "type " + std::to_string(static_cast<int>(weight.type));
  if (weight.type == FWP_EMPTY) read.weightType = "empty";
  if (weight.type == FWP_UINT8) {
    read.weightType = "uint8";
    read.weight = weight.uint8;
  }
  if (weight.type == FWP_UINT64) {
    read.weightType = "uint64";
    if (weight.uint64 == nullptr) return kNullPointer;
    read.weight = *weight.uint64;
  }
  return 0;
}

}  // namespace

std::string KeyText(const GUID& key) {
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "{%08lX-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", key.Data1, key.Data2,
                key.Data3, key.Data4[0], key.Data4[1], key.Data4[2], key.Data4[3], key.Data4[4], key.Data4[5],
                key.Data4[6], key.Data4[7]);
  return text.data();
}

GUID KeyFromText(const std::string& text) {
  std::array<unsigned, 11> part{};
  const int read = std::sscanf(text.c_str(), "{%8x-%4x-%4x-%2x%2x-%2x%2x%2x%2x%2x%2x}", &part[0], &part[1], &part[2],
                               &part[3], &part[4], &part[5], &part[6], &part[7], &part[8], &part[9], &part[10]);
  GUID key{};
  if (read != 11) return key;
  key.Data1 = part[0];
  key.Data2 = static_cast<WORD>(part[1]);
  key.Data3 = static_cast<WORD>(part[2]);
  for (size_t index = 0; index < 8; ++index) key.Data4[index] = static_cast<BYTE>(part.at(3 + index));
  return key;
}

std::string DisplayName(const FWPM_DISPLAY_DATA0& display) {
  return display.name == nullptr ? std::string() : NarrowUtf16(display.name);
}

uint32_t ReadFilter(const FWPM_FILTER0& filter, WfpFilter& read) {
  if (filter.flags != 0) return kInvalidFlags;
  if (filter.numFilterConditions != 0 && filter.filterCondition == nullptr) return kNullPointer;
  read.name = DisplayName(filter.displayData);
  read.layer = NameOf(filter.layerKey);
  read.sublayer = KeyText(filter.subLayerKey);
  if (filter.providerKey != nullptr) read.provider = KeyText(*filter.providerKey);
  read.action = ActionName(filter.action.type);
  if (const uint32_t code = ReadWeight(filter.weight, read)) return code;
  for (UINT32 index = 0; index < filter.numFilterConditions; ++index) {
    const FWPM_FILTER_CONDITION0& condition = filter.filterCondition[index];
    WfpCondition& one = read.conditions.emplace_back();
    one.field = NameOf(condition.fieldKey);
    one.match = MatchName(condition.matchType);
    if (const uint32_t code = ReadValue(condition.conditionValue, one)) return code;
  }
  return 0;
}

}  // namespace moorlak::lab
