// Notifications that interfaces or addresses have changed ("NotifyIpInterfaceChange function" and
// "NotifyUnicastIpAddressChange function" on Microsoft Learn).
#pragma once

#include <windows.h>

namespace moorlak {

class AdapterChanges {
 public:
  // Registers for both address families. Each change sets the event on a system thread; the caller owns the event and
  // must keep it longer than this object. A registration that the system refuses is ignored.
  explicit AdapterChanges(HANDLE event) noexcept;
  // Waits for running callbacks, which only set the event. Must not be called from a callback.
  ~AdapterChanges();
  AdapterChanges(const AdapterChanges&) = delete;
  AdapterChanges& operator=(const AdapterChanges&) = delete;

 private:
  HANDLE interfaces = nullptr;
  HANDLE addresses = nullptr;
};

}  // namespace moorlak
