#include <gtest/gtest.h>
#include <stdexcept>

#include "lab/full_machine.h"
#include "machine/fixtures.h"
#include "machine/json_fields.h"
#include "machine/machine.h"

namespace moorlak::lab {
namespace {

// Converts to any type, so that brace initialisation shows how many fields an aggregate has.
struct Anything {
  template <typename T>
  operator T() const;
};

template <typename T, typename... Filled>
constexpr size_t FieldCount() {
  if constexpr (requires { T{Filled{}..., Anything{}}; }) {
    return FieldCount<T, Filled..., Anything>();
  } else {
    return sizeof...(Filled);
  }
}

template <typename T>
void ExpectEveryFieldInJson(const char* name) {
  EXPECT_EQ(nlohmann::json(T{}).size(), FieldCount<T>()) << name;
}

TEST(MachineJson, HasEveryFieldOfEveryStruct) {
  ExpectEveryFieldInJson<Address>("Address");
  ExpectEveryFieldInJson<FamilySettings>("FamilySettings");
  ExpectEveryFieldInJson<Adapter>("Adapter");
  ExpectEveryFieldInJson<Route>("Route");
  ExpectEveryFieldInJson<FirewallRule>("FirewallRule");
  ExpectEveryFieldInJson<Device>("Device");
  ExpectEveryFieldInJson<AdapterHabits>("AdapterHabits");
  ExpectEveryFieldInJson<Network>("Network");
  ExpectEveryFieldInJson<TunnelProgram>("TunnelProgram");
  ExpectEveryFieldInJson<WfpCondition>("WfpCondition");
  ExpectEveryFieldInJson<WfpProvider>("WfpProvider");
  ExpectEveryFieldInJson<WfpSublayer>("WfpSublayer");
  ExpectEveryFieldInJson<WfpFilter>("WfpFilter");
  ExpectEveryFieldInJson<WfpSession>("WfpSession");
  ExpectEveryFieldInJson<Wfp>("Wfp");
  ExpectEveryFieldInJson<Fault>("Fault");
  ExpectEveryFieldInJson<Waiter>("Waiter");
  ExpectEveryFieldInJson<Record>("Record");
  ExpectEveryFieldInJson<NetshSwitches>("NetshSwitches");
  ExpectEveryFieldInJson<MachineState>("MachineState");
}

TEST(MachineJson, GivesAMachineBackUnchanged) {
  const MachineState machine = FullMachine();
  EXPECT_EQ(FromJson(ToJson(machine)), machine);
  for (const Fixture& fixture : Fixtures())
    EXPECT_EQ(CheckedFromJson(ToJson(fixture.make())), fixture.make()) << fixture.name;
}

TEST(MachineJson, KeepsTheLargestNumbers) {
  MachineState machine;
  machine.adapters.emplace_back().luid = UINT64_MAX;
  machine.wfp.filters.emplace_back().weight = UINT64_MAX;
  EXPECT_EQ(FromJson(ToJson(machine)), machine);
}

TEST(MachineJson, FillsMissingFieldsWithDefaults) {
  const MachineState machine = CheckedFromJson(R"({"adapters": [{"name": "Ethernet"}]})");
  ASSERT_EQ(machine.adapters.size(), 1U);
  EXPECT_EQ(machine.adapters[0].type, 6U);
  EXPECT_EQ(machine.nextIfIndex, 20U);
}

TEST(MachineJson, WritesBytesThatAreNoUtf8WithoutRaising) {
  MachineState machine;
  machine.record.unknownCommands = {"netsh \xff"};
  EXPECT_EQ(FromJson(ToJson(machine)).record.unknownCommands[0], "netsh \xEF\xBF\xBD");
}

std::string ErrorOf(const std::string& text) {
  try {
    CheckedFromJson(text);
  } catch (const std::exception& error) {
    return error.what();
  }
  return "";
}

TEST(MachineJson, RefusesAMisspeltFieldAndNamesItsPlace) {
  EXPECT_EQ(ErrorOf(R"({"adapters": [{"nam": "Ethernet"}]})"), "adapters[0].nam: no such field");
}

TEST(MachineJson, RefusesANumberThatDoesNotFit) {
  EXPECT_EQ(ErrorOf(R"({"httpPort": 65536})"), "httpPort: out of range: 65536");
  EXPECT_EQ(ErrorOf(R"({"httpPort": -1})"), "httpPort: out of range: -1");
}

TEST(MachineJson, RefusesAWrongTypeAndWhatIsNoMachine) {
  EXPECT_NE(ErrorOf(R"({"routeExitsZero": 1})"), "");
  EXPECT_NE(ErrorOf(R"({"httpPort": true})"), "");
  EXPECT_NE(ErrorOf(R"({"adapters": {}})"), "");
  EXPECT_NE(ErrorOf("[]"), "");
  EXPECT_NE(ErrorOf("{"), "");
}

}  // namespace
}  // namespace moorlak::lab
