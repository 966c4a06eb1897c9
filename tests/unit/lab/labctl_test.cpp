#include <gtest/gtest.h>

#include "labctl/arguments.h"
#include "labctl/changes.h"
#include "machine/fixtures.h"

namespace moorlak::lab {
namespace {

TEST(LabctlArguments, ReadsAFaultWithAllItsOptions) {
  const Fault fault = ParseFault({"fail", "netsh", "--nth", "0", "--argument", "set dns", "--code", "5"});
  EXPECT_EQ(fault, (Fault{"netsh", "set dns", 0, "fail", 5, 0, false}));
}

TEST(LabctlArguments, MeansTheFirstCallOfAnyName) {
  EXPECT_EQ(ParseFault({"kill", "*"}), (Fault{"", "", 1, "kill", 0, 0, false}));
}

TEST(LabctlArguments, ReadsABreak) {
  EXPECT_EQ(ParseBreak({"route", "--nth", "2"}), (Fault{"route", "", 2, "break", 0, 0, false}));
}

TEST(LabctlArguments, RefusesWhatItDoesNotUnderstand) {
  EXPECT_THROW(ParseFault({"fail"}), UsageError);
  EXPECT_THROW(ParseFault({"fail", "--nth", "1"}), UsageError);
  EXPECT_THROW(ParseFault({"--nth", "netsh"}), UsageError);
  EXPECT_THROW(ParseFault({"fail", "netsh", "--nth"}), UsageError);
  EXPECT_THROW(ParseFault({"fail", "netsh", "--nth", "1x"}), UsageError);
  EXPECT_THROW(ParseFault({"fail", "netsh", "--nth", ""}), UsageError);
  EXPECT_THROW(ParseFault({"fail", "netsh", "--nth", "4294967296"}), UsageError);
  EXPECT_THROW(ParseFault({"fail", "netsh", "--often", "1"}), UsageError);
  EXPECT_THROW(ParseBreak({}), UsageError);
  EXPECT_THROW(ParseBreak({"netsh", "--code", "1"}), UsageError);
  EXPECT_THROW(ParseSeconds({"1", "2"}), UsageError);
  EXPECT_THROW(RequireNoWords({"x"}), UsageError);
}

TEST(LabctlArguments, ReadsWhatToCreate) {
  EXPECT_EQ(ParseCreate({}).fixture, "dhcp");
  EXPECT_EQ(ParseCreate({"--fixture", "mixed"}).fixture, "mixed");
  EXPECT_EQ(ParseCreate({"-"}).path, "-");
  EXPECT_EQ(ParseCreate({"a.json"}).path, "a.json");
  EXPECT_THROW(ParseCreate({"--fixture"}), UsageError);
  EXPECT_THROW(ParseCreate({"a", "b"}), UsageError);
}

TEST(LabctlEdit, AppliesAMergePatch) {
  EXPECT_EQ(Patched(DhcpMachine(), R"({"record": {"killAtChange": 5}})").record.killAtChange, 5U);
}

TEST(LabctlEdit, AppliesAJsonPatch) {
  const MachineState state = Patched(
      DhcpMachine(),
      R"([{"op": "replace", "path": "/adapters/1/name", "value": "LAN"}, {"op": "remove", "path": "/adapters/2"}])");
  EXPECT_EQ(state.adapters[1].name, "LAN");
  EXPECT_EQ(state.adapters.size(), 2U);
}

TEST(LabctlEdit, RefusesWhatWouldBeNoMachine) {
  EXPECT_ANY_THROW(Patched(DhcpMachine(), "{"));
  EXPECT_ANY_THROW(Patched(DhcpMachine(), "5"));
  EXPECT_ANY_THROW(Patched(DhcpMachine(), R"({"adapter": []})"));
  EXPECT_ANY_THROW(Patched(DhcpMachine(), R"([{"op": "replace", "path": "/adapters/9/name", "value": "LAN"}])"));
  EXPECT_ANY_THROW(Patched(DhcpMachine(), R"([{"op": "test", "path": "/httpPort", "value": 1}])"));
}

}  // namespace
}  // namespace moorlak::lab
