#include "machine/classify.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace moorlak::lab {
namespace {

constexpr uint64_t kTunnel = 77;
constexpr uint64_t kEthernet = 5;

WfpFilter Filter(const std::string& sublayer, const std::string& action, uint64_t weight,
                 std::vector<WfpCondition> conditions, const std::string& layer = "ALE_AUTH_CONNECT_V4") {
  WfpFilter filter;
  filter.sublayer = sublayer;
  filter.action = action;
  filter.weight = weight;
  filter.layer = layer;
  filter.conditions = std::move(conditions);
  return filter;
}

WfpCondition Port(const std::string& port) {
  return {"IP_REMOTE_PORT", "equal", "uint16", port};
}

const Connection kQuery{"\\device\\harddiskvolume1\\a.exe", 17, "203.0.113.7", 53, kEthernet};

TEST(Classifier, PermitsWhatNoFilterMatches) {
  EXPECT_EQ(Classify({}, kQuery), Verdict::Permit);
  Wfp wfp;
  wfp.filters = {Filter("{1}", "block", 8, {Port("443")}),
                 Filter("{1}", "block", 8, {Port("53")}, "ALE_AUTH_CONNECT_V6")};
  EXPECT_EQ(Classify(wfp, kQuery), Verdict::Permit);
}

TEST(Classifier, LetsTheHeavierFilterOfASublayerDecide) {
  Wfp wfp;
  wfp.filters = {Filter("{1}", "block", 8, {Port("53")}), Filter("{1}", "permit", 15, {Port("53")})};
  EXPECT_EQ(Classify(wfp, kQuery), Verdict::Permit);
  wfp.filters[0].weight = 15;
  wfp.filters[1].weight = 8;
  EXPECT_EQ(Classify(wfp, kQuery), Verdict::Block);
}

TEST(Classifier, LetsABlockWinOverAPermitInAnotherSublayer) {
  Wfp wfp;
  wfp.filters = {Filter("{1}", "block", 0, {Port("53")}), Filter("{2}", "permit", 15, {Port("53")})};
  EXPECT_EQ(Classify(wfp, kQuery), Verdict::Block);
  wfp.filters[0].sublayer = "{3}";
  EXPECT_EQ(Classify(wfp, kQuery), Verdict::Block);
}

TEST(Classifier, WantsAllFieldsToMatch) {
  Wfp wfp;
  wfp.filters = {Filter("{1}", "block", 8, {Port("53"), {"IP_PROTOCOL", "equal", "uint8", "6"}})};
  EXPECT_EQ(Classify(wfp, kQuery), Verdict::Permit);
  wfp.filters[0].conditions[1].value = "17";
  EXPECT_EQ(Classify(wfp, kQuery), Verdict::Block);
}

TEST(Classifier, TakesConditionsOnOneFieldAsAlternatives) {
  Wfp wfp;
  wfp.filters = {Filter("{1}", "block", 8, {Port("443"), Port("53")})};
  EXPECT_EQ(Classify(wfp, kQuery), Verdict::Block);
}

TEST(Classifier, ComparesTheInterfaceBothWays) {
  Wfp wfp;
  wfp.filters = {Filter("{1}", "block", 8, {{"IP_LOCAL_INTERFACE", "not-equal", "uint64", std::to_string(kTunnel)}})};
  EXPECT_EQ(Classify(wfp, kQuery), Verdict::Block);
  wfp.filters[0].conditions[0].match = "equal";
  EXPECT_EQ(Classify(wfp, kQuery), Verdict::Permit);
}

TEST(Classifier, ReadsAddressesInHostOrder) {
  EXPECT_EQ(HostOrder("203.0.113.7"), 0xCB007107U);
  Wfp wfp;
  wfp.filters = {Filter("{1}", "block", 8, {{"IP_REMOTE_ADDRESS", "equal", "uint32", "3405803783"}})};
  EXPECT_EQ(Classify(wfp, kQuery), Verdict::Block);
  wfp.filters[0].conditions[0].value = "124846283";  // the same number with its bytes swapped
  EXPECT_EQ(Classify(wfp, kQuery), Verdict::Permit);
}

TEST(Classifier, ComparesApplicationsWithoutRegardToCase) {
  Wfp wfp;
  wfp.filters = {Filter("{1}", "block", 8, {{"ALE_APP_ID", "equal", "byte-blob", "\\Device\\HarddiskVolume1\\A.EXE"}})};
  EXPECT_EQ(Classify(wfp, kQuery), Verdict::Block);
  wfp.filters[0].conditions[0].value = "\\device\\harddiskvolume1\\b.exe";
  EXPECT_EQ(Classify(wfp, kQuery), Verdict::Permit);
}

TEST(Classifier, DoesNotExemptLoopback) {
  Wfp wfp;
  wfp.filters = {
      Filter("{1}", "block", 8, {{"IP_LOCAL_INTERFACE", "not-equal", "uint64", "77"}}, "ALE_AUTH_CONNECT_V6")};
  EXPECT_EQ(Classify(wfp, {"\\device\\a.exe", 6, "::1", 443, 1}), Verdict::Block);
}

TEST(Classifier, RefusesWhatItCannotJudge) {
  Wfp wfp;
  wfp.filters = {Filter("{1}", "block", 8, {{"IP_LOCAL_PORT", "equal", "uint16", "1"}})};
  EXPECT_THROW(Classify(wfp, kQuery), std::invalid_argument);
  wfp.filters = {Filter("{1}", "block", 8, {{"IP_REMOTE_PORT", "greater", "uint16", "1"}})};
  EXPECT_THROW(Classify(wfp, kQuery), std::invalid_argument);
  wfp.filters = {Filter("{1}", "callout", 8, {Port("53")})};
  EXPECT_THROW(Classify(wfp, kQuery), std::invalid_argument);
  EXPECT_THROW(HostOrder("203.0.113"), std::invalid_argument);
  EXPECT_THROW(HostOrder("203.0.113.256"), std::invalid_argument);
  EXPECT_THROW(HostOrder("203.0.113.7.9"), std::invalid_argument);
}

}  // namespace
}  // namespace moorlak::lab
