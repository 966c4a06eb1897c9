#include "fwpuclnt/transactions.h"

#include <gtest/gtest.h>

#include "lab/fwpuclnt/filtering.h"
#include "machine/lifetime.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kProcess = 100;
constexpr uint32_t kOtherProcess = 200;

class FilterTransactions : public testing::Test {
 protected:
  // The process's session, looked up on every use: opening another session moves it.
  WfpSession& Session(uint64_t handle) { return *FindSession(state.wfp, handle, kProcess); }
  uint32_t Begin(uint64_t handle) { return BeginTransaction(state.wfp, Session(handle), open); }
  uint32_t Commit(uint64_t handle) { return CommitTransaction(state.wfp, Session(handle), open); }
  uint32_t Abort(uint64_t handle) { return AbortTransaction(Session(handle), open); }
  Wfp* Objects(uint64_t handle) { return ObjectsOf(state.wfp, Session(handle), open); }
  // Adds provider, sublayer and filter to the session's current view.
  void AddAll(uint64_t handle) {
    Wfp& objects = *Objects(handle);
    uint64_t id = 0;
    ASSERT_EQ(AddProvider(objects, {kProviderKey, "Provider", handle}), 0u);
    ASSERT_EQ(AddSublayer(objects, {kSublayerKey, "Sublayer", kProviderKey, 1, handle}), 0u);
    ASSERT_EQ(AddFilter(objects, BlockPort53(handle), id), 0u);
  }
  bool IsEmpty() const {
    return state.wfp.filters.empty() && state.wfp.sublayers.empty() && state.wfp.providers.empty();
  }

  MachineState state;
  Transactions open;
  uint64_t session = OpenSession(state.wfp, kProcess, true);
};

TEST_F(FilterTransactions, WithoutOneACallChangesTheMachineAtOnce) {
  AddAll(session);
  EXPECT_EQ(state.wfp.filters.size(), 1u);
}

TEST_F(FilterTransactions, NothingIsInTheMachineBeforeTheCommitAndAllAfterIt) {
  ASSERT_EQ(Begin(session), 0u);
  AddAll(session);
  EXPECT_TRUE(IsEmpty());
  EXPECT_EQ(Commit(session), 0u);
  EXPECT_EQ(state.wfp.filters.size(), 1u);
  EXPECT_EQ(state.wfp.sublayers.size(), 1u);
  EXPECT_EQ(state.wfp.providers.size(), 1u);
  EXPECT_FALSE(Session(session).inTransaction);
}

TEST_F(FilterTransactions, AnAbortUndoesEveryAdditionAndEveryDeletion) {
  AddAll(session);
  const Wfp before = state.wfp;
  ASSERT_EQ(Begin(session), 0u);
  Wfp& objects = *Objects(session);
  uint64_t id = 0;
  ASSERT_EQ(AddFilter(objects, BlockPort53(session), id), 0u);
  ASSERT_EQ(DeleteFilter(objects, session, before.filters.front().id), 0u);
  ASSERT_EQ(AddProvider(objects, {kOtherKey, "Other", session}), 0u);
  EXPECT_EQ(Abort(session), 0u);
  EXPECT_EQ(state.wfp, before);
}

TEST_F(FilterTransactions, WithoutOneThereIsNothingToCommitOrAbort) {
  EXPECT_EQ(Commit(session), kNoTransaction);
  EXPECT_EQ(Abort(session), kNoTransaction);
  ASSERT_EQ(Begin(session), 0u);
  ASSERT_EQ(Commit(session), 0u);
  EXPECT_EQ(Commit(session), kNoTransaction);
  EXPECT_EQ(Abort(session), kNoTransaction);
}

TEST_F(FilterTransactions, ASecondOneOfTheSameSessionIsRefusedAndTheFirstGoesOn) {
  ASSERT_EQ(Begin(session), 0u);
  AddAll(session);
  EXPECT_EQ(Begin(session), kTransactionInProgress);
  EXPECT_EQ(Commit(session), 0u);
  EXPECT_EQ(state.wfp.filters.size(), 1u);
}

TEST_F(FilterTransactions, AnotherSessionWaitsWhileOneIsOpen) {
  const uint64_t other = OpenSession(state.wfp, kProcess, true);
  ASSERT_EQ(Begin(session), 0u);
  EXPECT_EQ(Begin(other), kTimeout);
  EXPECT_EQ(Objects(other), nullptr);
  ASSERT_EQ(Abort(session), 0u);
  EXPECT_EQ(Begin(other), 0u);
}

TEST_F(FilterTransactions, AHandleIsItsProcesssOwn) {
  EXPECT_NE(FindSession(state.wfp, session, kProcess), nullptr);
  EXPECT_EQ(FindSession(state.wfp, session, kOtherProcess), nullptr);
  EXPECT_EQ(FindSession(state.wfp, session + 1, kProcess), nullptr);
}

TEST_F(FilterTransactions, AHandleIsDeadAfterTheEnginesRestart) {
  ASSERT_EQ(Begin(session), 0u);
  AddAll(session);
  RestartEngine(state.wfp);
  EXPECT_EQ(FindSession(state.wfp, session, kProcess), nullptr);
  EXPECT_TRUE(IsEmpty());
  const uint64_t next = OpenSession(state.wfp, kProcess, true);
  EXPECT_NE(next, session);
  // The dead session's transaction blocks nobody.
  EXPECT_EQ(Begin(next), 0u);
  EXPECT_TRUE(Objects(next)->filters.empty());
}

TEST_F(FilterTransactions, ASessionThatEndsTakesItsTransactionsObjectsAlong) {
  ASSERT_EQ(Begin(session), 0u);
  AddAll(session);
  DropWfpSession(state, session);
  const uint64_t next = OpenSession(state.wfp, kOtherProcess, true);
  EXPECT_TRUE(IsEmpty());
  EXPECT_FALSE(OthersInTransaction(state.wfp, next));
}

TEST_F(FilterTransactions, ACommitBringsBackNoObjectOfASessionThatEndedMeanwhile) {
  AddAll(session);
  const uint64_t other = OpenSession(state.wfp, kProcess, false);
  ASSERT_EQ(Begin(other), 0u);
  DropWfpSession(state, session);
  EXPECT_EQ(Commit(other), 0u);
  EXPECT_TRUE(IsEmpty());
}

}  // namespace
}  // namespace moorlak::lab
