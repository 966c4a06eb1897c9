// What this machine is set to, as plain values: everything that the service changes or depends on, and what may be in
// its way. read_machine.h fills them; view_text.h prints them; findings.h judges them. Texts are UTF-8.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "net/routing/route_journal.h"

namespace moorlak::inspect {

// IfType of IP_ADAPTER_ADDRESSES ("IANA ifType-MIB").
inline constexpr uint32_t kTypePpp = 23;
inline constexpr uint32_t kTypeLoopback = 24;
inline constexpr uint32_t kTypeVirtual = 53;
inline constexpr uint32_t kTypeTunnel = 131;

struct AdapterView {
  // The connection's name, which users see and can change.
  std::string name;
  // With braces, as the system writes it.
  std::string guid;
  // NET_LUID as its 64-bit value.
  uint64_t luid = 0;
  uint32_t type = 0;
  bool up = false;
  // DHCP for IPv4.
  bool dhcp = false;
  // "192.0.2.10/24", in the system's order.
  std::vector<std::string> addresses;
  // The servers in use, set by hand or learned.
  std::vector<std::string> dnsServers;
  // The interface's metric; nullopt if the adapter lacks the family.
  std::optional<uint32_t> ipv4Metric;
  std::optional<uint32_t> ipv6Metric;
  bool operator==(const AdapterView&) const = default;
};

// An object of the Windows Filtering Platform that has one of the product's keys.
struct FilterObjectView {
  // "provider", "sublayer" or "filter".
  std::string kind;
  std::string name;
  // With braces, in capitals. Of a filter: its provider's.
  std::string key;
  bool operator==(const FilterObjectView&) const = default;
};

struct PolicyValueView {
  std::string name;
  // nullopt if the value does not exist as a number.
  std::optional<uint32_t> number;
  bool operator==(const PolicyValueView&) const = default;
};

// The system proxy of an account whose registry is loaded: somebody who is signed in, or a service's account.
struct ProxyView {
  // SID.
  std::string account;
  bool enabled = false;
  std::string server;
  bool operator==(const ProxyView&) const = default;
};

// A network device of Wintun, or another that has one of our names.
struct DeviceView {
  std::string instanceId;
  std::string friendlyName;
  std::string description;
  // The name of its connection, empty if it has none.
  std::string connectionName;
  bool present = false;
  bool operator==(const DeviceView&) const = default;
};

enum class ServiceRun { NotInstalled, Stopped, Starting, Running, Stopping, Unknown };
enum class ServiceStart { Automatic, Manual, Disabled, Other };

struct ServiceView {
  std::string name;
  ServiceRun run = ServiceRun::Unknown;
  // 0 if it does not run.
  uint32_t processId = 0;
  // What follows is empty if the settings cannot be read.
  std::optional<ServiceStart> start;
  std::string account;
  std::string commandLine;
  // Whether Windows does something when the service ends unexpectedly.
  std::optional<bool> restartsAfterCrash;
  bool operator==(const ServiceView&) const = default;
};

// A process of the product: the service (as a console program, too), or an engine in the installation's folder.
struct ProcessView {
  uint32_t id = 0;
  uint32_t parentId = 0;
  std::string name;
  std::string path;
  bool operator==(const ProcessView&) const = default;
};

struct MachineView {
  // In the system's order.
  std::vector<AdapterView> adapters;
  // IPv4.
  std::vector<SystemRoute> routes;
  // IPv4 routes that `route -p` has stored for the next start of the system.
  std::vector<Ipv4Route> storedRoutes;
  std::vector<FilterObjectView> filters;
  std::vector<PolicyValueView> policies;
  std::vector<ProxyView> proxies;
  std::vector<DeviceView> devices;
  ServiceView service;
  ServiceView filteringEngine;
  std::vector<ProcessView> processes;
  // TCP ports of IPv4 and IPv6 on which something listens; nullopt if they cannot be read.
  std::optional<std::vector<uint16_t>> listeningPorts;
  // Whether a shutdown of Windows is a hibernation; nullopt if the value does not exist.
  std::optional<uint32_t> fastStartup;
  // Parts that could not be read: "the routes", …
  std::vector<std::string> unread;
  bool operator==(const MachineView&) const = default;
};

// A file that the product needs.
struct ProductFileView {
  std::string name;
  // Empty if it was not found.
  std::string path;
  // From its version resource, empty if it has none.
  std::string version;
  bool operator==(const ProductFileView&) const = default;
};

// What is installed, and what the product keeps on disk.
struct InstallView {
  // Folder of the service's program if the service is installed, otherwise of the program that looks.
  std::string folder;
  // Files and folders of the installation that others can change.
  std::vector<std::string> changeable;
  // The service's program, the engines and Wintun's library.
  std::vector<ProductFileView> files;
  std::string dataFolder;
  bool dataFolderExists = false;
  // Why the data folder is not trusted; empty if it is.
  std::string dataFolderFault;
  // Names of the files in it that record a change not undone yet.
  std::vector<std::string> recoveryFiles;
  // Content of the routes' recovery file; empty if there is none, or if it cannot be read without elevation.
  std::string routeJournal;
  bool operator==(const InstallView&) const = default;
};

}  // namespace moorlak::inspect
