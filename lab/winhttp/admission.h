// A request's one call on the machine: which way it goes, and whether the filters let it.
#pragma once

#include <windows.h>

#include <memory>

#include "winhttp/egress.h"
#include "winhttp/handles.h"

namespace moorlak::lab {

struct Admission {
  // Loopback for a request that goes to a proxy.
  Egress egress;
  // The lab's internet, for Exit::Direct; 0 for none.
  uint16_t webPort = 0;
};

// Makes the call, with its faults, and answers its code. It runs on a thread of its own, so that closing the request
// ends it here also while it hangs; there it goes on then, without effect.
DWORD Admit(const std::shared_ptr<HttpRequest>& request, Admission& admission);

}  // namespace moorlak::lab
