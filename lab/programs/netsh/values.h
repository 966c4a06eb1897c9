// The forms that the values of netsh's tags may have.
#pragma once

#include <string>
#include <string_view>

namespace moorlak::lab {

enum class ValueKind {
  Text,
  // One of a list that is separated by '|'. It may be abbreviated to its first letters.
  Choice,
  // A whole number from 1 to 9999.
  Metric,
  // A whole number from 1 to 999.
  Position,
  Address,
  // An address, or one of the words of the list.
  AddressOrChoice,
  // An address, with or without "/n".
  InterfaceAddress,
  Mask,
  Prefix,
  Protocol,
  Ports,
  // Words of the list, separated by commas.
  ChoiceList,
  // Addresses, subnets and words of the list, separated by commas.
  RemoteAddresses
};

struct Tag {
  std::string_view name;
  ValueKind kind = ValueKind::Text;
  bool required = false;
  std::string_view choices;
};

bool IsValueOf(const Tag& tag, std::string_view value, bool ipv6);

// The word of the list that the value means; empty if it means none.
std::string ChosenWord(std::string_view choices, std::string_view value);

}  // namespace moorlak::lab
