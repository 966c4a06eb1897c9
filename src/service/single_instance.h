// Two instances must not both look after the machine: recovery run twice would undo what the first has just done.
#pragma once

#include "base/handle.h"

namespace moorlak {

// A claim is held for the life of the process. The process that got it is the first instance.
struct InstanceClaim {
  KernelHandle mutex;
  bool isFirst = false;
};

// A mutex of that name that belongs to an ordinary user is not one of ours: every user may create global names, and a
// squatted one must not keep the service from putting the machine back. It counts as absent, with a log line.
InstanceClaim ClaimInstance();

}  // namespace moorlak
