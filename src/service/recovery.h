// Undoes what an earlier session that ended in a crash has left, before the first command can arrive.
#pragma once

namespace moorlak {

struct Protection;

// What a host does meanwhile; null to do nothing. The functions must not throw.
struct RecoveryEvents {
  // The persistent adapter is missing. This is not a failure of the service: the next disconnect tries again.
  void (*adapterMissing)() = nullptr;
  // A step has ended. Steps can take seconds.
  void (*stepDone)() = nullptr;
};

// Brings the persistent adapter up first.
void RecoverEarlierSession(Protection& protection, const RecoveryEvents& events) noexcept;

}  // namespace moorlak
