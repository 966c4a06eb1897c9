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

// Exit codes of `moorlak_service.exe --recover`, which `moorlakctl reset` runs: the recovery of the service's start on
// its own, for the support desk.
inline constexpr int kRecoveryDone = 0;
// Another instance manages the machine: nothing was changed.
inline constexpr int kRecoveryNotOurs = 2;

// Puts back what an earlier session has left, closes the persistent adapter again and returns one of the codes. Needs
// the rights of an elevated administrator; without them it puts back what it can. The tunnel log says what it does. The
// system proxy's recovery file of another account, such as LocalSystem's, stays for that account.
int RunRecoveryOnly();

}  // namespace moorlak
