#include "net/adapter/adapter_lookup.h"

#include <algorithm>
#include <tuple>

namespace moorlak {
namespace {

// The digits of a numbered name; empty for every other name.
std::wstring_view NumberOf(std::wstring_view name) {
  constexpr size_t kHeadLength = kTunnelAdapterName.size() + 1;
  if (!name.starts_with(kTunnelAdapterName) || name.size() <= kHeadLength || name[kHeadLength - 1] != L' ') return {};
  const std::wstring_view number = name.substr(kHeadLength);
  const bool digitsOnly = std::ranges::all_of(number, [](wchar_t c) { return c >= L'0' && c <= L'9'; });
  return digitsOnly ? number : std::wstring_view();
}

// Numbers of any length are compared by their length without leading zeros, then digit by digit. The plain name has no
// digits and so comes first. Equal numbers (7 and 07) are ordered by the whole name.
bool ComesBefore(const std::wstring& left, const std::wstring& right) {
  const auto rank = [](const std::wstring& name) {
    const std::wstring_view digits = NumberOf(name);
    const std::wstring_view number = digits.substr(std::min(digits.find_first_not_of(L'0'), digits.size()));
    return std::tuple(!digits.empty(), number.size(), number, std::wstring_view(name));
  };
  return rank(left) < rank(right);
}

}  // namespace

bool IsOurAdapterName(std::wstring_view name) {
  return name == kTunnelAdapterName || !NumberOf(name).empty();
}

std::wstring ChooseTunnelAdapterName(const std::vector<std::wstring>& names) {
  const std::wstring* chosen = nullptr;
  for (const std::wstring& name : names) {
    if (IsOurAdapterName(name) && (chosen == nullptr || ComesBefore(name, *chosen))) chosen = &name;
  }
  return chosen != nullptr ? *chosen : std::wstring();
}

bool IsAutomaticProfileName(std::wstring_view name) {
  return IsOurAdapterName(name);
}

}  // namespace moorlak
