// Recovery files that another program (a virus scanner, a backup program) holds briefly while they are to be deleted. A
// file left over would undo the user's later settings at the next start.
#include <gtest/gtest.h>

#include "net/dns/dns_backup.h"
#include "net/routing/bypass_routes.h"
#include "net/routing/route_journal.h"
#include "network/support/protected_machine.h"
#include "unit/base/data_file_path.h"
#include "unit/base/held_file.h"

namespace moorlak {
namespace {

bool Exists(const wchar_t* name) {
  return GetFileAttributesW(RecoveryPath(name).c_str()) != INVALID_FILE_ATTRIBUTES;
}

template <typename Operation>
void WhileHeldInDataFolder(const wchar_t* name, Operation operation) {
  ASSERT_TRUE(Exists(name));
  WhileHeld(RecoveryPath(name), operation);
  EXPECT_FALSE(Exists(name));
}

using HeldRecoveryFile = OnProtectedMachine;

TEST_F(HeldRecoveryFile, OfTheAdaptersGoesOnceItIsLetGo) {
  Begin(WithTunnel(lab::DhcpMachine()));
  ASSERT_TRUE(Apply());
  WhileHeldInDataFolder(kDnsBackupFile, [&] { protection->Remove(); });
  EXPECT_EQ(NowAll(), BeforeAll());
}

TEST_F(HeldRecoveryFile, OfThePolicyGoesOnceItIsLetGo) {
  Begin(WithTunnel(lab::DhcpMachine()));
  for (const wchar_t* name : {kPolicyMarkerFile, kPolicyBackupFile}) {
    ApplySmhnrPolicy(protection->policy);
    WhileHeldInDataFolder(name, [&] { RestoreSmhnrPolicy(protection->policy); });
    EXPECT_EQ(NowAll(), BeforeAll());
  }
}

TEST_F(HeldRecoveryFile, OfAPolicyWithoutItsBackupGoesOnceItIsLetGo) {
  Begin(WithTunnel(lab::DhcpMachine()));
  WriteDataFile(kPolicyMarkerFile, "1");
  WhileHeldInDataFolder(kPolicyMarkerFile, [&] { RecoverOrphanedSmhnr(protection->policy); });
}

TEST_F(HeldRecoveryFile, OfTheRoutesGoesOnceItIsLetGo) {
  Begin(WithTunnel(lab::DhcpMachine()));
  const GatewayRoute route{"203.0.113.7", 32, "192.0.2.1"};
  ClearWayFor(route);
  AddGatewayRoute(route);
  WhileHeldInDataFolder(L"routes_restore.v1", RestoreJournaledRoutes);
  EXPECT_EQ(NowAll(), BeforeAll());
}

}  // namespace
}  // namespace moorlak
