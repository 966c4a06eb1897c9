// The network list manager on plain values. Operations return an HRESULT's bits, 0 for success.
//
// Sources, pages of Microsoft Learn: "INetworkListManager::GetNetworks", "NLM_ENUM_NETWORK enumeration",
// "INetwork::SetName".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "machine/state.h"

namespace moorlak::lab {

inline constexpr uint32_t kNetworkBadArgument = 0x80070057;  // E_INVALIDARG
inline constexpr uint32_t kNetworkDenied = 0x80070005;       // E_ACCESSDENIED
inline constexpr uint32_t kNetworkGone = 0x80070490;         // ERROR_NOT_FOUND
inline constexpr uint32_t kConnectedNetworks = 1;
inline constexpr uint32_t kDisconnectedNetworks = 2;

// Ids of the networks that the flags select: those whose adapter is up, the others, or all. A network with
// `appearsAtEnumeration` is left out until then; only enumerations while its adapter is up count.
uint32_t EnumerateNetworks(MachineState& state, uint32_t flags, std::vector<std::string>& ids);

uint32_t ReadNetworkName(const MachineState& state, const std::string& id, std::string& name);

uint32_t RenameNetwork(MachineState& state, const std::string& id, const std::string& name);

}  // namespace moorlak::lab
