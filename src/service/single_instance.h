// Two instances must not both look after the machine: recovery run twice would undo what the first has just done.
#pragma once

#include "base/handle.h"

namespace moorlak {

// The first instance owns the instance's mutex. It is given up by the same thread that got it, or by the system when
// that thread or the process ends: a name that somebody else keeps alive is then no claim any more.
class InstanceClaim {
 public:
  // Does not wait for another instance.
  InstanceClaim();
  // On the thread of the constructor.
  ~InstanceClaim();
  InstanceClaim(const InstanceClaim&) = delete;
  InstanceClaim& operator=(const InstanceClaim&) = delete;

  // This process looks after the machine. Also where the name is held by an ordinary user, who must not keep the
  // service from putting the machine back: every user may create global names. That is logged.
  bool IsFirst() const { return isFirst; }

 private:
  KernelHandle mutex;
  bool isOwned = false;
  bool isFirst = false;
};

}  // namespace moorlak
