// NotifyIpInterfaceChange, NotifyUnicastIpAddressChange and CancelMibChangeNotify2: a lab thread calls back for every
// change that any process makes to the machine.
#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

#include <exception>
#include <iphlpapi.h>
#include <memory>
#include <thread>

#include "base/handle.h"
#include "base/standard_error.h"
#include "iphlpapi/changes.h"
#include "iphlpapi/sockets.h"
#include "machine/machine.h"

namespace moorlak::lab {
namespace {

// Each change renames a file in this folder. The polling is for a prefix whose file system does not report that.
constexpr wchar_t kFolder[] = L"C:\\moorlak-lab";
constexpr DWORD kLookAgainMs = 100;

struct Registration {
  Family family = Family::Any;
  PIPINTERFACE_CHANGE_CALLBACK onInterface = nullptr;
  PUNICAST_IPADDRESS_CHANGE_CALLBACK onAddress = nullptr;
  void* context = nullptr;
  // The machine as last reported. Only the thread uses it.
  MachineState told;
  KernelHandle ended{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  std::thread thread;
};

MIB_NOTIFICATION_TYPE TypeOf(ChangeKind kind) {
  if (kind == ChangeKind::Added) return MibAddInstance;
  return kind == ChangeKind::Removed ? MibDeleteInstance : MibParameterNotification;
}

bool IsAskedFor(const Registration& registration, bool ipv6) {
  return registration.family == Family::Any || registration.family == (ipv6 ? Family::Ipv6 : Family::Ipv4);
}

void ReportInterfaces(const Registration& registration, const MachineState& now) {
  if (registration.onInterface == nullptr) return;
  for (const InterfaceChanged& change : ChangedInterfaces(registration.told, now)) {
    if (!IsAskedFor(registration, change.ipv6)) continue;
    // The documentation promises only these three fields.
    MIB_IPINTERFACE_ROW row{};
    row.Family = change.ipv6 ? AF_INET6 : AF_INET;
    row.InterfaceLuid.Value = change.luid;
    row.InterfaceIndex = change.ifIndex;
    registration.onInterface(registration.context, &row, TypeOf(change.kind));
  }
}

void ReportAddresses(const Registration& registration, const MachineState& now) {
  if (registration.onAddress == nullptr) return;
  for (const AddressChanged& change : ChangedAddresses(registration.told, now)) {
    if (!IsAskedFor(registration, change.ipv6)) continue;
    MIB_UNICASTIPADDRESS_ROW row{};
    row.Address = SocketAddress(change.address);
    row.InterfaceLuid.Value = change.luid;
    row.InterfaceIndex = change.ifIndex;
    registration.onAddress(registration.context, &row, TypeOf(change.kind));
  }
}

void ReportChanges(Registration& registration) {
  MachineState now = ReadMachine();
  ReportInterfaces(registration, now);
  ReportAddresses(registration, now);
  registration.told = std::move(now);
}

void Watch(Registration& registration) {
  const HANDLE folder = FindFirstChangeNotificationW(kFolder, FALSE, FILE_NOTIFY_CHANGE_FILE_NAME);
  const HANDLE events[] = {registration.ended.Get(), folder};
  const DWORD count = folder == INVALID_HANDLE_VALUE ? 1 : 2;
  while (WaitForMultipleObjects(count, events, FALSE, kLookAgainMs) != WAIT_OBJECT_0) {
    if (folder != INVALID_HANDLE_VALUE) FindNextChangeNotification(folder);
    ReportChanges(registration);
  }
  if (folder != INVALID_HANDLE_VALUE) FindCloseChangeNotification(folder);
}

// Ends the program with a message if the lab fails.
void RunWatch(Registration* registration) noexcept {
  try {
    Watch(*registration);
  } catch (const std::exception& error) {
    WriteStandardErrorLine(error.what());
    std::terminate();
  }
}

DWORD Register(const char* name, ULONG family, std::unique_ptr<Registration> registration, HANDLE* handle) {
  const std::optional<Family> wanted = FamilyOf(family);
  if (handle == nullptr || !wanted) return ERROR_INVALID_PARAMETER;
  registration->family = *wanted;
  const uint32_t code = RunCall({name, FamilyName(family)}, [&](const MachineState& state) {
    registration->told = state;
    return 0U;
  });
  if (code != 0) return code;
  registration->thread = std::thread(RunWatch, registration.get());
  *handle = registration.release();
  return NO_ERROR;
}

}  // namespace
}  // namespace moorlak::lab

extern "C" {

using namespace moorlak::lab;

DWORD WINAPI LabNotifyIpInterfaceChange(ADDRESS_FAMILY family, PIPINTERFACE_CHANGE_CALLBACK callback, PVOID context,
                                        BOOLEAN initial, HANDLE* handle) {
  if (callback == nullptr) return ERROR_INVALID_PARAMETER;
  auto registration = std::make_unique<Registration>();
  registration->onInterface = callback;
  registration->context = context;
  const DWORD code = Register("NotifyIpInterfaceChange", family, std::move(registration), handle);
  if (code == NO_ERROR && initial != FALSE) callback(context, nullptr, MibInitialNotification);
  return code;
}

DWORD WINAPI LabNotifyUnicastIpAddressChange(ADDRESS_FAMILY family, PUNICAST_IPADDRESS_CHANGE_CALLBACK callback,
                                             PVOID context, BOOLEAN initial, HANDLE* handle) {
  if (callback == nullptr) return ERROR_INVALID_PARAMETER;
  auto registration = std::make_unique<Registration>();
  registration->onAddress = callback;
  registration->context = context;
  const DWORD code = Register("NotifyUnicastIpAddressChange", family, std::move(registration), handle);
  if (code == NO_ERROR && initial != FALSE) callback(context, nullptr, MibInitialNotification);
  return code;
}

// Waits for a running callback. A call from within a callback would wait for itself forever; here it ends the program.
DWORD WINAPI LabCancelMibChangeNotify2(HANDLE handle) {
  if (handle == nullptr) return ERROR_INVALID_PARAMETER;
  const std::unique_ptr<Registration> registration(static_cast<Registration*>(handle));
  if (registration->thread.get_id() == std::this_thread::get_id()) {
    moorlak::WriteStandardErrorLine("lab: CancelMibChangeNotify2 within a callback");
    std::terminate();
  }
  SetEvent(registration->ended.Get());
  registration->thread.join();
  return NO_ERROR;
}

}  // extern "C"
