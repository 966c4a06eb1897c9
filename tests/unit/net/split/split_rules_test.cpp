#include <functional>
#include <gtest/gtest.h>

#include "net/split/split_tunnel.h"

namespace moorlak {
namespace {

constexpr uint64_t kLuid = 0x0035000001000000;

// Adds all filters except those whose numbers (from 0) should fail, and records every request.
struct Adder {
  std::vector<size_t> failing;
  std::vector<FilterRow> asked;

  std::optional<uint64_t> operator()(const FilterRow& filter) {
    const size_t number = asked.size();
    asked.push_back(filter);
    for (const size_t one : failing) {
      if (one == number) return std::nullopt;
    }
    return 1000 + number;
  }
};

// The requested filters in order: family and action of each.
std::string Order(const Adder& adder) {
  std::string text;
  for (const FilterRow& row : adder.asked) {
    text += row.layer == FilterLayer::ConnectV4 ? "4" : "6";
    text += row.action == FilterAction::Block ? "b " : "p ";
  }
  return text;
}

TEST(SplitRules, GiveAnApplicationABlockAndAPermitInEachFamily) {
  Adder adder;
  SplitTally tally;
  EXPECT_TRUE(SplitApplication(kLuid, std::ref(adder), tally));
  EXPECT_EQ(Order(adder), "4b 4p 6b 6p ");
  EXPECT_EQ(tally.filterIds, (std::vector<uint64_t>{1000, 1001, 1002, 1003}));
  for (const FilterRow& row : adder.asked) {
    const bool blocks = row.action == FilterAction::Block;
    EXPECT_EQ(std::wstring_view(row.name), blocks ? L"Moorlak split block tunnel" : L"Moorlak split permit physical");
    EXPECT_EQ(row.weight, 14);
    EXPECT_EQ(row.conditions,
              (std::vector<FilterCondition>{
                  {FilterField::Application, FilterMatch::Equal, 0},
                  {FilterField::LocalInterface, blocks ? FilterMatch::Equal : FilterMatch::NotEqual, kLuid}}));
  }
}

TEST(SplitRules, LeaveOutThePermitsOfAnApplicationAfterAFailure) {
  Adder first{{0}, {}};
  SplitTally tally;
  EXPECT_FALSE(SplitApplication(kLuid, std::ref(first), tally));
  EXPECT_EQ(Order(first), "4b 6b ");
  Adder second{{1}, {}};
  EXPECT_FALSE(SplitApplication(kLuid, std::ref(second), tally));
  EXPECT_EQ(Order(second), "4b 4p 6b ");
  Adder third{{3}, {}};
  EXPECT_FALSE(SplitApplication(kLuid, std::ref(third), tally));
  EXPECT_EQ(Order(third), "4b 4p 6b 6p ");
  EXPECT_EQ(tally.skipped, 3U);
  EXPECT_EQ(tally.registered, 0U);
  EXPECT_EQ(tally.filterIds.size(), 6U);
}

SplitTally SplitMany(size_t count, Adder& adder) {
  SplitTally tally;
  for (size_t number = 0; number < count; ++number) SplitApplication(kLuid, std::ref(adder), tally);
  return tally;
}

TEST(SplitRules, FillThe256FiltersExactlyWith64Applications) {
  Adder adder;
  const SplitTally tally = SplitMany(64, adder);
  EXPECT_EQ(tally.filterIds.size(), 256U);
  EXPECT_EQ(SplitInstalledLine(tally), "split-tunnel: installed 64 bypass process(es), 0 skipped (256 WFP filters)");
}

TEST(SplitRules, CountThe65thApplicationAsRegisteredWithoutFilters) {
  Adder adder;
  const SplitTally tally = SplitMany(65, adder);
  EXPECT_EQ(adder.asked.size(), 256U);
  EXPECT_EQ(SplitInstalledLine(tally), "split-tunnel: installed 65 bypass process(es), 0 skipped (256 WFP filters)");
}

TEST(SplitRules, GiveTheLastApplicationWhatRoomThereIs) {
  // The first application keeps three filters, so the limit of 256 is reached one filter before the 65th application is
  // complete.
  Adder adder{{3}, {}};
  const SplitTally tally = SplitMany(65, adder);
  EXPECT_EQ(tally.filterIds.size(), 256U);
  EXPECT_EQ(adder.asked.back().action, FilterAction::Block);
  EXPECT_EQ(SplitInstalledLine(tally), "split-tunnel: installed 64 bypass process(es), 1 skipped (256 WFP filters)");
}

TEST(SplitRules, NeverSplitInstallersAndUninstallers) {
  for (const char* name : {"Setup.exe", "SETUP.EXE", "unins000.exe", "UNINS.dat", "MyUninstallTool.exe", "uninstall"}) {
    EXPECT_TRUE(IsInstallerName(name)) << name;
  }
}

TEST(SplitRules, SplitWhatOnlyResemblesAnInstaller) {
  for (const char* name : {"setup2.exe", "mysetup.exe", "setup", "reunion.exe", "uniins.exe", "chrome.exe", ""}) {
    EXPECT_FALSE(IsInstallerName(name)) << name;
  }
}

TEST(SplitRules, ReportWhichFilterFailedWithAHexadecimalCode) {
  Adder adder;
  SplitTally tally;
  SplitApplication(kLuid, std::ref(adder), tally);
  ASSERT_EQ(adder.asked.size(), 4U);
  EXPECT_EQ(SplitAddFailure(adder.asked[0], 0x8032000A),
            "split-tunnel: FwpmFilterAdd failed rc=0x8032000a block-tunnel");
  EXPECT_EQ(SplitAddFailure(adder.asked[1], 5), "split-tunnel: FwpmFilterAdd failed rc=0x00000005 permit-physical");
}

}  // namespace
}  // namespace moorlak
