// What an earlier session that ended in a crash has left behind is put back before the first command can arrive.
#pragma once

namespace moorlak {

// What a host does meanwhile; null where it does nothing. They throw nothing.
struct RecoveryEvents {
  // The persistent adapter is not there. That is no failure of the service: the next disconnect tries again.
  void (*adapterMissing)() = nullptr;
  // A step is over. Steps can take seconds.
  void (*stepDone)() = nullptr;
};

// Brings the persistent adapter up first.
void RecoverEarlierSession(const RecoveryEvents& events) noexcept;

}  // namespace moorlak
