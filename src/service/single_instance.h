// Only one instance may manage the machine: if recovery ran twice, it would undo what the first instance has just done.
#pragma once

#include "base/handle.h"

namespace moorlak {

// The first instance owns the instance mutex. The thread that took it releases it, or the system does when that thread
// or the process ends. After that the name alone, kept alive by another process, is no claim.
class InstanceClaim {
 public:
  // Does not wait for another instance.
  InstanceClaim();
  // Must run on the constructor's thread.
  ~InstanceClaim();
  InstanceClaim(const InstanceClaim&) = delete;
  InstanceClaim& operator=(const InstanceClaim&) = delete;

  // Whether this process manages the machine. Also true if an ordinary user holds the name, which is logged: any user
  // may create global names, and must not keep the service from recovering the machine.
  bool IsFirst() const { return isFirst; }

 private:
  KernelHandle mutex;
  bool isOwned = false;
  bool isFirst = false;
};

}  // namespace moorlak
