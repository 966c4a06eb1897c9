// The service with the lab's wininet.dll. It keeps all four options of the system proxy as Windows does and records
// every call that changes something (lab/wininet/wininet.cpp). The tests read its store, not the system's.
#pragma once

#include <string>

#include "machine/support/system_proxy_dump.h"

namespace moorlak::machine {

// Applies to every service that is started while this lives.
class StandInWinInet {
 public:
  explicit StandInWinInet(const ProxyOptions& initial);
  StandInWinInet(const StandInWinInet&) = delete;
  StandInWinInet& operator=(const StandInWinInet&) = delete;
  // The service must have ended by then.
  ~StandInWinInet();

  ProxyOptions Read() const;
  void Write(const ProxyOptions& options) const;
  // The calls so far, one per line.
  std::string Calls() const;
};

}  // namespace moorlak::machine
