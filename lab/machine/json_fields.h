// The fields of every part of the machine, for nlohmann/json, which uses their names as member names. A field missing
// here would be lost between two calls; a test counts the fields.
#pragma once

#include <nlohmann/json.hpp>

#include "machine/state.h"

namespace moorlak::lab {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Address, address, prefixLength)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(FamilySettings, bound, ifIndex, dhcp, addresses, autoMetric, metric,
                                                staticDns, learnedDns)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Adapter, name, description, guid, luid, type, up, enabled, needsSession,
                                                sessionProcess, ipv4, ipv6, storedIpv4, storedIpv6, listedFromMs)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Route, destination, prefixLength, nextHop, luid, metric, stored)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(FirewallRule, name, words)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Device, instanceId, friendlyName, description, adapterGuid, present,
                                                removalNeedsReboot, removalPending, ownerProcess, connectionName,
                                                leaving, leavesAtMs)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(AdapterHabits, engineDelayMs, tun2socksMakesItsOwn, lingerMs,
                                                unlistedMs)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Network, id, name, adapterGuid, renamable, appearsAtEnumeration)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(TunnelProgram, process, adapterGuid, proxyPort)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(WfpCondition, field, match, type, value)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(WfpProvider, key, name, session)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(WfpSublayer, key, name, provider, weight, session)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(WfpFilter, id, name, layer, sublayer, provider, action, weightType,
                                                weight, conditions, session)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(WfpSession, handle, process, dynamic, inTransaction)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Wfp, nextId, generation, sessions, providers, sublayers, filters)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Fault, call, argument, nth, kind, code, seen, hit)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Waiter, call, process, name)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Record, calls, changes, killAtChange, killBefore, keepHistory,
                                                dnsFlushes, unknownCommands, waiting, clockMs)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(NetshSwitches, refusesDnsFromDhcpOnStatic, refusesIdleIpv6DnsFromDhcp)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(MachineState, adapters, ipv4Routes, ipv6Routes, dormantIpv4Routes,
                                                dormantIpv6Routes, firewallRules, devices, networks, tunnels, wfp,
                                                faults, record, nextIfIndex, serviceImage, routeExitsZero,
                                                routeKeepsStored, adapterHabits, httpPort, netsh)

}  // namespace moorlak::lab
