// The table of machine changes is whole: every change that a connect step makes is undone, on every way out, or says
// why it stays.
#include "tunnel/machine_changes.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tunnel/connect_sequence.h"

namespace moorlak {
namespace {

using Phases = std::vector<Phase>;
using Names = std::vector<std::string>;

Phases Joined(std::initializer_list<std::span<const Phase>> orders) {
  Phases joined;
  for (const auto& order : orders) joined.insert(joined.end(), order.begin(), order.end());
  return joined;
}

const Phases kRollback = Joined({kRecordedEngines, kOtherEngines, kCleanUp, kEndOfSession});
const Phases kDisconnect = Joined({kRecordedEngines, kOtherEngines, kQuickRelease, kCleanUp, kEndOfSession});
const Phases kRecovery = Joined({kEngineRecovery, kNetworkRecovery, kStoredRecovery});

bool Walks(const Phases& order, const MachineChangeRow& row) {
  return std::ranges::find(order, row.phase) != order.end();
}

// The rows' names in the order in which the phases are walked.
Names Order(const Phases& phases) {
  Names names;
  for (const Phase phase : phases) {
    for (const MachineChangeRow& row : MachineChanges()) {
      if (row.phase == phase) names.emplace_back(row.name);
    }
  }
  return names;
}

bool HasUndo(const MachineChangeRow& row) {
  return row.undo.run != nullptr || row.undo.runForProtection != nullptr || row.undo.runForSession != nullptr;
}

bool HasPurge(const MachineChangeRow& row) {
  return row.purge.run != nullptr || row.purge.runForProtection != nullptr;
}

const std::vector<ConnectStep>& AllSteps() {
  static const std::vector<ConnectStep> steps = [] {
    std::vector<ConnectStep> all;
    for (const ConnectSteps table : ConnectStepTables()) all.insert(all.end(), table.begin(), table.end());
    return all;
  }();
  return steps;
}

TEST(MachineChanges, EachKindHasOneRow) {
  for (size_t kind = 0; kind < kMachineChangeCount; ++kind) {
    EXPECT_EQ(
        std::ranges::count(MachineChanges(), MachineChange{static_cast<uint8_t>(kind)}, &MachineChangeRow::change), 1)
        << kind;
  }
}

TEST(MachineChanges, EachIsUndoneInAPhaseOrSaysWhyItStays) {
  for (const MachineChangeRow& row : MachineChanges()) {
    EXPECT_NE(HasUndo(row), !row.undo.whyNone.empty()) << row.name;
    EXPECT_EQ(HasUndo(row), row.phase != Phase::None) << row.name;
  }
}

TEST(MachineChanges, EachIsPurgedAfterACrashOrSaysWhyItNeedNotBe) {
  for (const MachineChangeRow& row : MachineChanges()) EXPECT_NE(HasPurge(row), !row.purge.whyNone.empty()) << row.name;
}

TEST(MachineChanges, ADisconnectUndoesAllButTheAdapters) {
  for (const MachineChangeRow& row : MachineChanges()) {
    const bool isAdapter = Walks(Joined({kAfterUsersStop, kBeforeNextStart}), row);
    EXPECT_EQ(Walks(kDisconnect, row), HasUndo(row) && !isAdapter) << row.name;
  }
}

TEST(MachineChanges, ARollbackUndoesWhatADisconnectDoes) {
  for (const MachineChangeRow& row : MachineChanges())
    EXPECT_EQ(Walks(kRollback, row), Walks(kDisconnect, row)) << row.name;
}

TEST(MachineChanges, TheRecoveryPurgesEachOnce) {
  for (const MachineChangeRow& row : MachineChanges()) {
    EXPECT_EQ(std::ranges::count(kRecovery, row.phase), HasPurge(row) ? 1 : 0) << row.name;
  }
}

TEST(MachineChanges, TheRemovalNeedsNoSession) {
  for (const MachineChangeRow& row : MachineChanges()) {
    const bool needsSession = row.undo.run == nullptr && row.undo.runForProtection == nullptr;
    EXPECT_FALSE(Walks(Joined({kRemoval}), row) && needsSession) << row.name;
  }
}

TEST(MachineChanges, TheCleanUpHasItsOrder) {
  EXPECT_EQ(Order(Joined({kQuickRelease})),
            (Names{"default route", "tunnel address", "split tunnel", "DNS guard", "resolver policy"}));
  EXPECT_EQ(Order(Joined({kCleanUp})),
            (Names{"bypass routes", "default route", "tunnel address", "split tunnel", "DNS guard", "resolver policy",
                   "name servers", "stored default route", "sharing rule"}));
}

TEST(MachineChanges, TheRecoveryHasItsOrder) {
  EXPECT_EQ(Order(kRecovery), (Names{"engines without a record", "split tunnel", "DNS guard", "resolver policy",
                                     "default route", "tunnel address", "name servers", "stored default route",
                                     "bypass routes", "sharing rule", "staged configuration"}));
}

TEST(MachineChanges, EachIsMadeByAStep) {
  for (const MachineChangeRow& row : MachineChanges()) {
    EXPECT_TRUE(std::ranges::any_of(AllSteps(), [&](const ConnectStep& step) {
      return std::ranges::find(step.changes, row.change) != step.changes.end();
    })) << row.name;
  }
}

TEST(MachineChanges, EachStepNamesWhatItChanges) {
  Names silent;
  for (const ConnectStep& step : AllSteps()) {
    if (step.changes.size() == 0) silent.emplace_back(step.name);
  }
  // They read, or change only the session's own values. The last two are those of the other path.
  EXPECT_EQ(silent,
            (Names{"rewrite the configuration", "find the SOCKS port", "await SOCKS", "require the server's bypass",
                   "log the IPv6 guard", "probe SOCKS", "probe the tunnel", "probe SOCKS", "probe the tunnel"}));
}

TEST(MachineChanges, EveryChangeOfAStepHasItsRow) {
  for (const ConnectStep& step : AllSteps()) {
    for (const MachineChange change : step.changes) {
      EXPECT_NE(std::ranges::find(MachineChanges(), change, &MachineChangeRow::change), MachineChanges().end())
          << step.name << ": " << static_cast<int>(change);
    }
  }
}

}  // namespace
}  // namespace moorlak
