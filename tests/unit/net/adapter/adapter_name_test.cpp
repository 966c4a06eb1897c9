#include <gtest/gtest.h>

#include "net/adapter/adapter_lookup.h"

namespace moorlak {
namespace {

TEST(AdapterName, ThePlainAndTheNumberedNamesAreOurs) {
  for (const wchar_t* name : {L"Moorlak", L"Moorlak 1", L"Moorlak 0", L"Moorlak 2147483648", L"Moorlak 007"}) {
    EXPECT_TRUE(IsOurAdapterName(name)) << name;
  }
}

TEST(AdapterName, EveryOtherNameIsNot) {
  for (const wchar_t* name : {L"", L"moorlak", L"MOORLAK", L"Moorlak ", L"Moorlak  2", L"Moorlak 3a", L"Moorlak a",
                              L"Moorlak 3 ", L" Moorlak", L"Moorlak2", L"Moorlak #2", L"Moorlak -1", L"Moorlak +1",
                              L"Moorlak\t2", L"Moorlak Network", L"Moorla", L"Moorlak \x0663", L"Moorlak \xFF12"}) {
    EXPECT_FALSE(IsOurAdapterName(name)) << name;
  }
}

TEST(AdapterName, ANameWithAZeroByteInsideIsNotOurs) {
  EXPECT_FALSE(IsOurAdapterName(std::wstring_view(L"Moorlak\0", 8)));
}

TEST(AdapterName, ThePlainNameIsChosenBeforeNumberedOnes) {
  EXPECT_EQ(ChooseTunnelAdapterName({L"Moorlak 1", L"Ethernet", L"Moorlak", L"Moorlak 0"}), L"Moorlak");
}

TEST(AdapterName, NumberedNamesAreChosenByTheirNumberNotTheirText) {
  EXPECT_EQ(ChooseTunnelAdapterName({L"Moorlak 10", L"Moorlak 9", L"Moorlak 11"}), L"Moorlak 9");
  EXPECT_EQ(ChooseTunnelAdapterName({L"Moorlak 99999999999999999999", L"Moorlak 100000000000000000000"}),
            L"Moorlak 99999999999999999999");
  EXPECT_EQ(ChooseTunnelAdapterName({L"Moorlak 3", L"Moorlak 002"}), L"Moorlak 002");
}

TEST(AdapterName, EqualNumbersAreChosenInAnOrderThatDoesNotDependOnTheList) {
  EXPECT_EQ(ChooseTunnelAdapterName({L"Moorlak 7", L"Moorlak 07"}),
            ChooseTunnelAdapterName({L"Moorlak 07", L"Moorlak 7"}));
}

TEST(AdapterName, NothingIsChosenWhenNoNameIsOurs) {
  EXPECT_EQ(ChooseTunnelAdapterName({}), L"");
  EXPECT_EQ(ChooseTunnelAdapterName({L"", L"moorlak", L"Ethernet 2"}), L"");
}

TEST(ProfileName, NamesThatWindowsMadeFromTheAdapterNameQualify) {
  EXPECT_TRUE(IsAutomaticProfileName(L"Moorlak"));
  EXPECT_TRUE(IsAutomaticProfileName(L"Moorlak 3"));
}

TEST(ProfileName, TheTargetNameIsLeftAlone) {
  EXPECT_FALSE(IsAutomaticProfileName(kNetworkProfileName));
}

TEST(ProfileName, ANameThatDiffersInLetterCaseOnlyIsLeftAlone) {
  EXPECT_FALSE(IsAutomaticProfileName(L"moorlak"));
  EXPECT_FALSE(IsAutomaticProfileName(L"MOORLAK 3"));
}

TEST(ProfileName, OtherSuffixesThanANumberAreLeftAlone) {
  for (const wchar_t* name : {L"Moorlak 3a", L"Moorlak ", L"Moorlak Office", L"Moorlak 3 ", L"Moorlak Network 2"}) {
    EXPECT_FALSE(IsAutomaticProfileName(name)) << name;
  }
}

}  // namespace
}  // namespace moorlak
