// Values of the Windows Filtering Platform that the toolchain's headers lack. Their names differ from the documented
// ones on purpose: a later toolchain may define those.
//
// Sources, pages of Microsoft Learn: "FWPM_SESSION0 structure", "Management Filtering Layer Identifiers", "Filtering
// Condition Identifiers".
#pragma once

#include <windows.h>

#include <cstdint>

namespace moorlak {

// FWPM_SESSION_FLAG_DYNAMIC: what the session adds is removed when it ends.
inline constexpr uint32_t kWfpSessionDynamic = 0x00000001;

// FWPM_LAYER_ALE_AUTH_CONNECT_V4, FWPM_LAYER_ALE_AUTH_CONNECT_V6
inline constexpr GUID kWfpLayerAleAuthConnectV4{
    0xc38d57d1, 0x05a7, 0x4c33, {0x90, 0x4f, 0x7f, 0xbc, 0xee, 0xe6, 0x0e, 0x82}};
inline constexpr GUID kWfpLayerAleAuthConnectV6{
    0x4a72393b, 0x319f, 0x44bc, {0x84, 0xc3, 0xba, 0x54, 0xdc, 0xb3, 0xb6, 0xb4}};

// FWPM_CONDITION_ALE_APP_ID: byte blob
inline constexpr GUID kWfpConditionAleAppId{
    0xd78e1e87, 0x8644, 0x4ea5, {0x94, 0x37, 0xd8, 0x09, 0xec, 0xef, 0xc9, 0x71}};
// FWPM_CONDITION_IP_PROTOCOL: 8 bits
inline constexpr GUID kWfpConditionIpProtocol{
    0x3971ef2b, 0x623e, 0x4f9a, {0x8c, 0xb1, 0x6e, 0x79, 0xb8, 0x06, 0xb9, 0xa7}};
// FWPM_CONDITION_IP_REMOTE_PORT: 16 bits, host order
inline constexpr GUID kWfpConditionIpRemotePort{
    0xc35a604d, 0xd22b, 0x4e1a, {0x91, 0xb4, 0x68, 0xf6, 0x74, 0xee, 0x67, 0x4b}};
// FWPM_CONDITION_IP_REMOTE_ADDRESS: 32 bits, host order, at the IPv4 layers
inline constexpr GUID kWfpConditionIpRemoteAddress{
    0xb235ae9a, 0x1d64, 0x49b8, {0xa4, 0x4c, 0x5f, 0xf3, 0xd9, 0x09, 0x50, 0x45}};
// FWPM_CONDITION_IP_LOCAL_INTERFACE: the interface's LUID, 64 bits
inline constexpr GUID kWfpConditionIpLocalInterface{
    0x4cd62a49, 0x59c3, 0x4969, {0xb7, 0xf3, 0xbd, 0xa5, 0xd3, 0x28, 0x90, 0xa4}};

}  // namespace moorlak
