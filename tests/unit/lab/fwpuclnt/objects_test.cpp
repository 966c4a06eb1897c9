#include "fwpuclnt/objects.h"

#include <gtest/gtest.h>

#include "lab/fwpuclnt/filtering.h"

namespace moorlak::lab {
namespace {

// The result of adding the filter to a new engine. A refused filter must leave nothing behind.
uint32_t AddTo(Wfp wfp, const WfpFilter& filter) {
  const Wfp before = wfp;
  uint64_t id = 0;
  const uint32_t code = AddFilter(wfp, filter, id);
  if (code != 0) {
    EXPECT_EQ(wfp, before);
    EXPECT_EQ(id, 0u);
  } else {
    EXPECT_EQ(wfp.filters.size(), before.filters.size() + 1);
    EXPECT_EQ(wfp.filters.back().id, id);
  }
  return code;
}

uint32_t AddWith(const WfpCondition& condition, const std::string& layer = "ALE_AUTH_CONNECT_V4") {
  WfpFilter filter = BlockPort53();
  filter.layer = layer;
  filter.conditions = {condition};
  return AddTo(Engine(), filter);
}

TEST(FilterEngine, AddsAFilterThatIsWhollyRight) {
  EXPECT_EQ(AddTo(Engine(), BlockPort53()), 0u);
}

TEST(FilterEngine, GivesEveryFilterAnIdOfItsOwn) {
  Wfp wfp = Engine();
  uint64_t first = 0;
  uint64_t second = 0;
  EXPECT_EQ(AddFilter(wfp, BlockPort53(), first), 0u);
  EXPECT_EQ(AddFilter(wfp, BlockPort53(), second), 0u);
  EXPECT_NE(first, second);
}

TEST(FilterEngine, EveryFieldHasOneType) {
  const WfpCondition right[] = {{"ALE_APP_ID", "equal", "byte-blob", "\\device\\a.exe"},
                                {"IP_PROTOCOL", "equal", "uint8", "17"},
                                {"IP_REMOTE_PORT", "equal", "uint16", "53"},
                                {"IP_REMOTE_ADDRESS", "equal", "uint32", "3405803783"},
                                {"IP_LOCAL_INTERFACE", "not-equal", "uint64", "77"}};
  for (const WfpCondition& condition : right) {
    EXPECT_EQ(AddWith(condition), 0u) << condition.field;
    for (const char* type : {"uint8", "uint16", "uint32", "uint64", "byte-blob", "type 12"}) {
      WfpCondition other = condition;
      other.type = type;
      EXPECT_EQ(AddWith(other), type == condition.type ? 0u : kTypeMismatch) << condition.field << " " << type;
    }
  }
}

TEST(FilterEngine, AnAddressIsANumberInOneFamilyAndBytesInTheOther) {
  EXPECT_EQ(AddWith({"IP_REMOTE_ADDRESS", "equal", "uint32", "1"}, "ALE_AUTH_CONNECT_V6"), kTypeMismatch);
  EXPECT_EQ(AddWith({"IP_REMOTE_ADDRESS", "equal", "byte-array16", "00"}, "ALE_AUTH_CONNECT_V6"), 0u);
  EXPECT_EQ(AddWith({"IP_REMOTE_ADDRESS", "equal", "byte-array16", "00"}), kTypeMismatch);
}

TEST(FilterEngine, RefusesAMatchOrAFieldThatItDoesNotKnow) {
  EXPECT_EQ(AddWith({"IP_REMOTE_PORT", "match 5", "uint16", "53"}), kMatchTypeMismatch);
  EXPECT_EQ(AddWith({"{00000000-0000-0000-0000-000000000000}", "equal", "uint16", "53"}), kConditionNotFound);
}

TEST(FilterEngine, AnEightBitWeightGoesUpTo15) {
  WfpFilter filter = BlockPort53();
  filter.weight = 15;
  EXPECT_EQ(AddTo(Engine(), filter), 0u);
  filter.weight = 16;
  EXPECT_EQ(AddTo(Engine(), filter), kInvalidWeight);
  filter.weight = 255;
  EXPECT_EQ(AddTo(Engine(), filter), kInvalidWeight);
  filter.weightType = "uint64";
  EXPECT_EQ(AddTo(Engine(), filter), 0u);
  filter.weightType = "type 3";
  EXPECT_EQ(AddTo(Engine(), filter), kInvalidWeight);
}

TEST(FilterEngine, EverythingNeedsADisplayName) {
  WfpFilter filter = BlockPort53();
  filter.name.clear();
  EXPECT_EQ(AddTo(Engine(), filter), kNullDisplayName);
  Wfp wfp;
  EXPECT_EQ(AddProvider(wfp, {kProviderKey, "", 0}), kNullDisplayName);
  EXPECT_EQ(AddSublayer(wfp, {kSublayerKey, "", "", 1, 0}), kNullDisplayName);
  EXPECT_EQ(wfp, Wfp{});
}

TEST(FilterEngine, RefusesALayerOrAnActionThatItDoesNotKnow) {
  WfpFilter filter = BlockPort53();
  filter.layer = "{00000000-0000-0000-0000-000000000000}";
  EXPECT_EQ(AddTo(Engine(), filter), kLayerNotFound);
  filter = BlockPort53();
  filter.action = "action 0";
  EXPECT_EQ(AddTo(Engine(), filter), kInvalidActionType);
}

TEST(FilterEngine, WhatAnObjectRefersToMustBeThere) {
  WfpFilter filter = BlockPort53();
  filter.provider = kOtherKey;
  EXPECT_EQ(AddTo(Engine(), filter), kProviderNotFound);
  filter = BlockPort53();
  filter.sublayer = kOtherKey;
  EXPECT_EQ(AddTo(Engine(), filter), kSublayerNotFound);
  Wfp wfp = Engine();
  EXPECT_EQ(AddSublayer(wfp, {kOtherKey, "Other", kOtherKey, 1, 0}), kProviderNotFound);
  EXPECT_EQ(wfp, Engine());
}

TEST(FilterEngine, AFilterAndASublayerNeedNoProvider) {
  WfpFilter filter = BlockPort53();
  filter.provider.clear();
  EXPECT_EQ(AddTo(Engine(), filter), 0u);
  Wfp wfp;
  EXPECT_EQ(AddSublayer(wfp, {kSublayerKey, "Sublayer", "", 1, 0}), 0u);
}

TEST(FilterEngine, AnObjectMustNotOutliveWhatItRefersTo) {
  EXPECT_EQ(AddTo(Engine(7), BlockPort53(7)), 0u);
  EXPECT_EQ(AddTo(Engine(0), BlockPort53(7)), 0u);
  EXPECT_EQ(AddTo(Engine(7), BlockPort53(0)), kLifetimeMismatch);
  EXPECT_EQ(AddTo(Engine(7), BlockPort53(8)), kLifetimeMismatch);
  Wfp wfp = Engine(7);
  EXPECT_EQ(AddSublayer(wfp, {kOtherKey, "Other", kProviderKey, 1, 0}), kLifetimeMismatch);
}

TEST(FilterEngine, AKeyIsTakenOnce) {
  Wfp wfp = Engine();
  EXPECT_EQ(AddProvider(wfp, {kProviderKey, "Another", 0}), kAlreadyExists);
  EXPECT_EQ(AddSublayer(wfp, {kSublayerKey, "Another", "", 7, 0}), kAlreadyExists);
  EXPECT_EQ(wfp, Engine());
}

TEST(FilterEngine, WhatIsInUseStays) {
  Wfp wfp = Engine();
  uint64_t id = 0;
  ASSERT_EQ(AddFilter(wfp, BlockPort53(), id), 0u);
  EXPECT_EQ(DeleteSublayer(wfp, 0, kSublayerKey), kInUse);
  EXPECT_EQ(DeleteProvider(wfp, 0, kProviderKey), kInUse);
  EXPECT_EQ(DeleteFilter(wfp, 0, id), 0u);
  EXPECT_EQ(DeleteProvider(wfp, 0, kProviderKey), kInUse);
  EXPECT_EQ(DeleteSublayer(wfp, 0, kSublayerKey), 0u);
  EXPECT_EQ(DeleteProvider(wfp, 0, kProviderKey), 0u);
  EXPECT_TRUE(wfp.filters.empty() && wfp.sublayers.empty() && wfp.providers.empty());
}

TEST(FilterEngine, WhatIsNotThereIsNotFound) {
  Wfp wfp = Engine();
  EXPECT_EQ(DeleteFilter(wfp, 0, 4711), kFilterNotFound);
  EXPECT_EQ(DeleteSublayer(wfp, 0, kOtherKey), kSublayerNotFound);
  EXPECT_EQ(DeleteProvider(wfp, 0, kOtherKey), kProviderNotFound);
  EXPECT_EQ(wfp, Engine());
}

TEST(FilterEngine, OnlyItsOwnSessionDeletesADynamicObject) {
  Wfp wfp = Engine(7);
  uint64_t id = 0;
  ASSERT_EQ(AddFilter(wfp, BlockPort53(7), id), 0u);
  EXPECT_EQ(DeleteFilter(wfp, 8, id), kWrongSession);
  EXPECT_EQ(DeleteFilter(wfp, 0, id), kWrongSession);
  EXPECT_EQ(DeleteFilter(wfp, 7, id), 0u);
  EXPECT_EQ(DeleteSublayer(wfp, 8, kSublayerKey), kWrongSession);
  EXPECT_EQ(DeleteProvider(wfp, 8, kProviderKey), kWrongSession);
}

TEST(FilterEngine, ADynamicSessionDeletesNoLastingObject) {
  Wfp wfp = Engine();
  uint64_t id = 0;
  ASSERT_EQ(AddFilter(wfp, BlockPort53(), id), 0u);
  EXPECT_EQ(DeleteFilter(wfp, 7, id), kDynamicSession);
  EXPECT_EQ(DeleteSublayer(wfp, 7, kSublayerKey), kDynamicSession);
  EXPECT_EQ(DeleteProvider(wfp, 7, kProviderKey), kDynamicSession);
}

TEST(FilterEngine, ARestartLeavesNothingAndNoSession) {
  Wfp wfp = Engine();
  uint64_t id = 0;
  ASSERT_EQ(AddFilter(wfp, BlockPort53(), id), 0u);
  wfp.sessions = {{7, 100, true, false}};
  const uint64_t generation = wfp.generation;
  RestartEngine(wfp);
  EXPECT_TRUE(wfp.filters.empty() && wfp.sublayers.empty() && wfp.providers.empty() && wfp.sessions.empty());
  EXPECT_EQ(wfp.generation, generation + 1);
  // Numbers of removed objects are not reused.
  ASSERT_EQ(AddProvider(wfp, {kProviderKey, "Provider", 0}), 0u);
  ASSERT_EQ(AddSublayer(wfp, {kSublayerKey, "Sublayer", kProviderKey, 1, 0}), 0u);
  uint64_t next = 0;
  ASSERT_EQ(AddFilter(wfp, BlockPort53(), next), 0u);
  EXPECT_GT(next, id);
}

}  // namespace
}  // namespace moorlak::lab
