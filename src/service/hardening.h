// What this process gives up at its start, because nothing in it needs it.
#pragma once

#include <array>
#include <string_view>

namespace moorlak {

// Libraries that are loaded by name come only from the system folder. The system refuses images from other machines,
// images written by unprivileged programs, and links created by ordinary users ("SetDefaultDllDirectories function",
// "SetProcessMitigationPolicy function" on Microsoft Learn). What the system does not know is left out. The program's
// first step.
void HardenProcess() noexcept;

// Privileges that the service and its children need ("Privilege Constants" on Microsoft Learn).
inline constexpr std::array<std::wstring_view, 12> kNeededPrivileges{
    // Traversing folders.
    L"SeChangeNotifyPrivilege",
    // Starting the engine under another account.
    L"SeAssignPrimaryTokenPrivilege", L"SeIncreaseQuotaPrivilege", L"SeTcbPrivilege",
    // Wintun's driver, and Wintun's own use of the system's account.
    L"SeLoadDriverPrivilege", L"SeImpersonatePrivilege",
    // Leftover engines, and callers with other accounts.
    L"SeDebugPrivilege",
    // Files owned by Administrators; renaming what other users have put in their place.
    L"SeRestorePrivilege", L"SeBackupPrivilege", L"SeTakeOwnershipPrivilege", L"SeSecurityPrivilege",
    // Global names, shared by all sessions.
    L"SeCreateGlobalPrivilege"};

// Permanently removes all others from this process's token, from which its children's tokens are made. A failure leaves
// them.
void RemoveUnusedPrivileges() noexcept;

}  // namespace moorlak
