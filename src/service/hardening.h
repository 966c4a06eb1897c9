// What this process gives up at its start, because nothing in it needs it.
#pragma once

#include <array>
#include <string_view>

namespace moorlak {

// Libraries that are loaded by name come from the system folder only, and the system refuses images from other
// machines, images that unprivileged programs have written, and links that ordinary users have made
// ("SetDefaultDllDirectories function", "SetProcessMitigationPolicy function" of Microsoft Learn). What the system does
// not know is left out. The first act of the program.
void HardenProcess() noexcept;

// Privileges that the service and what it starts have a use for ("Privilege Constants" of Microsoft Learn).
inline constexpr std::array<std::wstring_view, 12> kNeededPrivileges{
    // Walking through folders to what lies in them.
    L"SeChangeNotifyPrivilege",
    // Starting the engine under another account.
    L"SeAssignPrimaryTokenPrivilege", L"SeIncreaseQuotaPrivilege", L"SeTcbPrivilege",
    // Wintun's driver, and Wintun's own use of the system's account.
    L"SeLoadDriverPrivilege", L"SeImpersonatePrivilege",
    // Leftover engines and callers of other accounts.
    L"SeDebugPrivilege",
    // Files with the Administrators as owner; what strangers have put in their place is renamed.
    L"SeRestorePrivilege", L"SeBackupPrivilege", L"SeTakeOwnershipPrivilege", L"SeSecurityPrivilege",
    // Names that all sessions share.
    L"SeCreateGlobalPrivilege"};

// Takes all others out of this process's token, for good; its children's tokens are made from it. A failure leaves
// them.
void RemoveUnusedPrivileges() noexcept;

}  // namespace moorlak
