// The recovery of the service's start on its own, for the support desk: `moorlak_service.exe --recover`, which
// `moorlakctl reset` runs.
#pragma once

namespace moorlak {

// Exit codes of the run.
inline constexpr int kRecoveryDone = 0;
// Another instance manages the machine: nothing was changed.
inline constexpr int kRecoveryNotOurs = 2;

// Puts back what an earlier session has left, closes the persistent adapter again and returns one of the codes. Needs
// the rights of an elevated administrator; without them it puts back what it can. The tunnel log says what it does. The
// system proxy's recovery file of another account, such as LocalSystem's, stays for that account.
int RunRecoveryOnly();

}  // namespace moorlak
