// What the base filtering engine checks and does with its objects, on plain values. Every operation returns an error
// code with its documented value.
//
// Sources, pages of Microsoft Learn: "WFP Error Codes", "Object Management", "FwpmFilterAdd0", "FwpmSubLayerAdd0",
// "FwpmProviderAdd0", "FwpmFilterDeleteById0", "FwpmSubLayerDeleteByKey0", "FwpmProviderDeleteByKey0", "FWPM_FILTER0".
#pragma once

#include <cstdint>
#include <string>

#include "machine/state.h"

namespace moorlak::lab {

inline constexpr uint32_t kFilterNotFound = 0x80320003;
inline constexpr uint32_t kLayerNotFound = 0x80320004;
inline constexpr uint32_t kConditionNotFound = 0x80320002;
inline constexpr uint32_t kProviderNotFound = 0x80320005;
inline constexpr uint32_t kSublayerNotFound = 0x80320007;
inline constexpr uint32_t kAlreadyExists = 0x80320009;
inline constexpr uint32_t kInUse = 0x8032000A;
inline constexpr uint32_t kDynamicSession = 0x8032000B;
inline constexpr uint32_t kWrongSession = 0x8032000C;
inline constexpr uint32_t kNoTransaction = 0x8032000D;
inline constexpr uint32_t kTransactionInProgress = 0x8032000E;
inline constexpr uint32_t kTimeout = 0x80320012;
inline constexpr uint32_t kLifetimeMismatch = 0x80320016;
inline constexpr uint32_t kNullPointer = 0x8032001C;
inline constexpr uint32_t kInvalidEnumerator = 0x8032001D;
inline constexpr uint32_t kInvalidFlags = 0x8032001E;
inline constexpr uint32_t kNullDisplayName = 0x80320023;
inline constexpr uint32_t kInvalidActionType = 0x80320024;
inline constexpr uint32_t kInvalidWeight = 0x80320025;
inline constexpr uint32_t kMatchTypeMismatch = 0x80320026;
inline constexpr uint32_t kTypeMismatch = 0x80320027;

// The objects' `session` is the session that adds them if it is dynamic, otherwise 0.
uint32_t AddProvider(Wfp& wfp, const WfpProvider& provider);
uint32_t AddSublayer(Wfp& wfp, const WfpSublayer& sublayer);
// Gives the filter its id.
uint32_t AddFilter(Wfp& wfp, WfpFilter filter, uint64_t& id);

uint32_t DeleteFilter(Wfp& wfp, uint64_t session, uint64_t id);
uint32_t DeleteSublayer(Wfp& wfp, uint64_t session, const std::string& key);
uint32_t DeleteProvider(Wfp& wfp, uint64_t session, const std::string& key);

// Restarts the engine's service: all handles become invalid, and all objects are removed, since none is persistent.
void RestartEngine(Wfp& wfp);

}  // namespace moorlak::lab
