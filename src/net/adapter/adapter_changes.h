// The system's word that interfaces or addresses have changed ("NotifyIpInterfaceChange function" and
// "NotifyUnicastIpAddressChange function" of Microsoft Learn).
#pragma once

#include <windows.h>

namespace moorlak {

class AdapterChanges {
 public:
  // Registers for both families. Each change sets the event, on a thread of the system's; the event is the caller's and
  // must outlive this. What the system refuses to register stays silent.
  explicit AdapterChanges(HANDLE event) noexcept;
  // Waits for callbacks that are running; they do nothing but set the event. Not to be called by one.
  ~AdapterChanges();
  AdapterChanges(const AdapterChanges&) = delete;
  AdapterChanges& operator=(const AdapterChanges&) = delete;

 private:
  HANDLE interfaces = nullptr;
  HANDLE addresses = nullptr;
};

}  // namespace moorlak
