// Compares the lab's numbers with the toolchain's headers.
#include <winsock2.h>
#include <windows.h>

#include <gtest/gtest.h>

#include "fwpuclnt/objects.h"

namespace moorlak::lab {
namespace {

TEST(FilterEngineCodes, AreTheSystems) {
  const struct {
    uint32_t ours;
    HRESULT systems;
  } codes[] = {{kFilterNotFound, FWP_E_FILTER_NOT_FOUND},
               {kLayerNotFound, FWP_E_LAYER_NOT_FOUND},
               {kConditionNotFound, FWP_E_CONDITION_NOT_FOUND},
               {kProviderNotFound, FWP_E_PROVIDER_NOT_FOUND},
               {kSublayerNotFound, FWP_E_SUBLAYER_NOT_FOUND},
               {kAlreadyExists, FWP_E_ALREADY_EXISTS},
               {kInUse, FWP_E_IN_USE},
               {kDynamicSession, FWP_E_DYNAMIC_SESSION_IN_PROGRESS},
               {kWrongSession, FWP_E_WRONG_SESSION},
               {kNoTransaction, FWP_E_NO_TXN_IN_PROGRESS},
               {kTransactionInProgress, FWP_E_TXN_IN_PROGRESS},
               {kTimeout, FWP_E_TIMEOUT},
               {kLifetimeMismatch, FWP_E_LIFETIME_MISMATCH},
               {kNullPointer, FWP_E_NULL_POINTER},
               {kInvalidEnumerator, FWP_E_INVALID_ENUMERATOR},
               {kInvalidFlags, FWP_E_INVALID_FLAGS},
               {kNullDisplayName, FWP_E_NULL_DISPLAY_NAME},
               {kInvalidActionType, FWP_E_INVALID_ACTION_TYPE},
               {kInvalidWeight, FWP_E_INVALID_WEIGHT},
               {kMatchTypeMismatch, FWP_E_MATCH_TYPE_MISMATCH},
               {kTypeMismatch, FWP_E_TYPE_MISMATCH}};
  for (const auto& code : codes) EXPECT_EQ(code.ours, static_cast<uint32_t>(code.systems));
}

}  // namespace
}  // namespace moorlak::lab
