#include "net/adapter/adapter_changes.h"

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

#include <iphlpapi.h>

namespace moorlak {
namespace {

// The callbacks must do nothing else: cancelling waits for them.
void WINAPI OnInterfaceChange(void* event, MIB_IPINTERFACE_ROW* /*row*/, MIB_NOTIFICATION_TYPE /*type*/) {
  SetEvent(event);
}

void WINAPI OnAddressChange(void* event, MIB_UNICASTIPADDRESS_ROW* /*row*/, MIB_NOTIFICATION_TYPE /*type*/) {
  SetEvent(event);
}

}  // namespace

AdapterChanges::AdapterChanges(HANDLE event) noexcept {
  if (NotifyIpInterfaceChange(AF_UNSPEC, OnInterfaceChange, event, FALSE, &interfaces) != NO_ERROR)
    interfaces = nullptr;
  if (NotifyUnicastIpAddressChange(AF_UNSPEC, OnAddressChange, event, FALSE, &addresses) != NO_ERROR)
    addresses = nullptr;
}

AdapterChanges::~AdapterChanges() {
  if (interfaces != nullptr) CancelMibChangeNotify2(interfaces);
  if (addresses != nullptr) CancelMibChangeNotify2(addresses);
}

}  // namespace moorlak
