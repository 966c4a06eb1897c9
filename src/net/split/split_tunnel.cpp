#include "net/split/split_tunnel.h"

#include <array>
#include <cstdio>

#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr wchar_t kBlockName[] = L"Moorlak split block tunnel";
constexpr wchar_t kPermitName[] = L"Moorlak split permit physical";
constexpr uint8_t kWeight = 14;

FilterRow SplitRow(FilterLayer layer, FilterAction action, uint64_t tunnelLuid) {
  const bool blocks = action == FilterAction::Block;
  return {blocks ? kBlockName : kPermitName,
          layer,
          {{FilterField::Application, FilterMatch::Equal, 0},
           {FilterField::LocalInterface, blocks ? FilterMatch::Equal : FilterMatch::NotEqual, tunnelLuid}},
          action,
          kWeight};
}

}  // namespace

bool SplitApplication(uint64_t tunnelLuid, const AddSplitFilter& add, SplitTally& tally) {
  bool failed = false;
  const auto addRow = [&](FilterLayer layer, FilterAction action) {
    if (tally.filterIds.size() >= kMaxSplitFilters) return;
    if (const std::optional<uint64_t> id = add(SplitRow(layer, action, tunnelLuid))) {
      tally.filterIds.push_back(*id);
    } else {
      failed = true;
    }
  };
  for (const FilterLayer layer : {FilterLayer::ConnectV4, FilterLayer::ConnectV6}) {
    addRow(layer, FilterAction::Block);
    if (!failed) addRow(layer, FilterAction::Permit);
  }
  ++(failed ? tally.skipped : tally.registered);
  return !failed;
}

bool IsInstallerName(std::string_view fileName) {
  const std::string name = FoldLetters(fileName);
  return name.starts_with("unins") || name.find("uninstall") != std::string::npos || name == "setup.exe";
}

std::string SplitAddFailure(const FilterRow& filter, uint32_t code) {
  std::array<char, 16> digits{};
  std::snprintf(digits.data(), digits.size(), "%08lx", static_cast<unsigned long>(code));
  return std::string("split-tunnel: FwpmFilterAdd failed rc=0x") + digits.data() +
         (filter.action == FilterAction::Block ? " block-tunnel" : " permit-physical");
}

std::string SplitInstalledLine(const SplitTally& tally) {
  return "split-tunnel: installed " + std::to_string(tally.registered) + " bypass process(es), " +
         std::to_string(tally.skipped) + " skipped (" + std::to_string(tally.filterIds.size()) + " WFP filters)";
}

}  // namespace moorlak
