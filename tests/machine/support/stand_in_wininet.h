// The service with the lab's wininet.dll: all four options of the system proxy are kept as Windows keeps them, and
// every call that changes something is recorded (lab/wininet/wininet.cpp). The tests read its store, not the system's.
#pragma once

#include <string>

#include "machine/support/system_proxy_dump.h"

namespace moorlak::machine {

// Holds for every service that is started while it lives.
class StandInWinInet {
 public:
  explicit StandInWinInet(const ProxyOptions& initial);
  StandInWinInet(const StandInWinInet&) = delete;
  StandInWinInet& operator=(const StandInWinInet&) = delete;
  // The service must have ended.
  ~StandInWinInet();

  ProxyOptions Read() const;
  void Write(const ProxyOptions& options) const;
  // A line for each call so far.
  std::string Calls() const;
};

}  // namespace moorlak::machine
