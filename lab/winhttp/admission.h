// A request's only call on the machine: which way it goes, and whether the filters permit it.
#pragma once

#include <windows.h>

#include <memory>

#include "winhttp/egress.h"
#include "winhttp/handles.h"

namespace moorlak::lab {

struct Admission {
  // Loopback for a request through a proxy.
  Egress egress;
  // The lab's internet, for Exit::Direct; 0 for none.
  uint16_t webPort = 0;
};

// Makes the call, with its faults, and returns its code. The call runs on its own thread, so that closing the request
// ends the wait here even while the call hangs; the call then goes on without effect.
DWORD Admit(const std::shared_ptr<HttpRequest>& request, Admission& admission);

}  // namespace moorlak::lab
