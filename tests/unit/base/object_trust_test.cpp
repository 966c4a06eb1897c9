#include "base/object_trust.h"

#include <gtest/gtest.h>

#include "sddl/sddl_reader.h"

namespace moorlak {

inline void PrintTo(ObjectVerdict verdict, std::ostream* out) {
  *out << VerdictText(verdict);
}

namespace {

constexpr char kOwnUser[] = "S-1-5-21-1-2-3-1001";
constexpr ObjectDemands kClosedFile{false, true};
constexpr ObjectDemands kFolder{true, false};

ObjectFacts Facts(std::string_view sddl) {
  auto facts = ReadSddl(sddl);
  EXPECT_TRUE(facts) << sddl;
  return facts.value_or(ObjectFacts{});
}

// The service's verdict on a recovery file.
ObjectVerdict VerdictOn(std::string_view sddl) {
  return JudgeObject(Facts(sddl), kClosedFile, kSystemSid);
}

TEST(ObjectTrust, AFileThatThisServiceHasWrittenIsOurs) {
  EXPECT_EQ(VerdictOn("O:BAD:P(A;;FA;;;SY)(A;;FA;;;BA)"), ObjectVerdict::Ours);
}

// What CreateFile sets in a folder that inherits from the folder for all users' data: full access for the system, the
// administrators and again the owner (from "creator owner"); users may read. Users may add files to such folders, but
// files do not inherit that entry.
TEST(ObjectTrust, AFileOfAnEarlierVersionIsOurs) {
  EXPECT_EQ(VerdictOn("O:BAD:AI(A;ID;FA;;;SY)(A;ID;FA;;;BA)(A;ID;FA;;;BA)(A;ID;0x1200a9;;;BU)"), ObjectVerdict::Ours);
  EXPECT_EQ(VerdictOn("O:SYD:AI(A;ID;FA;;;SY)(A;ID;FA;;;BA)(A;ID;FA;;;SY)(A;ID;0x1200a9;;;BU)"), ObjectVerdict::Ours);
}

TEST(ObjectTrust, AFileThatAUserHasMadeInSuchAFolderIsAStrangers) {
  EXPECT_EQ(VerdictOn("O:S-1-5-21-1-2-3-1001D:AI(A;ID;FA;;;SY)(A;ID;FA;;;BA)(A;ID;FA;;;S-1-5-21-1-2-3-1001)"
                      "(A;ID;0x1200a9;;;BU)"),
            ObjectVerdict::Stranger);
}

TEST(ObjectTrust, OnlyTheSystemAdministratorsAndTheOwnUserMayOwn) {
  for (const char* owner : {"SY", "BA", kOwnUser}) {
    EXPECT_EQ(JudgeObject(Facts(std::string("O:") + owner + "D:P(A;;FA;;;SY)"), kClosedFile, kOwnUser),
              ObjectVerdict::Ours)
        << owner;
  }
  for (const char* owner : {"BU", "WD", "AU", "LS", "S-1-5-21-1-2-3-1002", "S-1-5-180", "S-1-5-1", "S-1-5-32-5440"}) {
    EXPECT_EQ(JudgeObject(Facts(std::string("O:") + owner + "D:P(A;;FA;;;SY)"), kClosedFile, kOwnUser),
              ObjectVerdict::Stranger)
        << owner;
  }
}

TEST(ObjectTrust, AnOwnerThatCannotBeReadIsAStranger) {
  EXPECT_EQ(VerdictOn("D:P(A;;FA;;;SY)"), ObjectVerdict::Stranger);
  // An unknown current user does not match an unknown owner.
  EXPECT_EQ(JudgeObject(Facts("D:P(A;;FA;;;SY)"), kClosedFile, ""), ObjectVerdict::Stranger);
}

TEST(ObjectTrust, EachRightThatChangesAnythingCounts) {
  for (const char* rights :
       {"0x2", "0x4", "0x10", "0x100", "SD", "WD", "WO", "GA", "GW", "FA", "FW", "0x2000000", "0x120185", "DC", "1"}) {
    const std::string text = std::string("O:BAD:P(A;;FA;;;SY)(A;;") + rights + ";;;BU)";
    const bool changes = std::string_view(rights) != "1";
    EXPECT_EQ(VerdictOn(text), changes ? ObjectVerdict::WritableByOthers : ObjectVerdict::Ours) << rights;
  }
  EXPECT_EQ(VerdictOn("O:BAD:P(A;;FA;;;SY)(A;;FRFXGRGXRC;;;WD)"), ObjectVerdict::Ours);
}

TEST(ObjectTrust, WhoeverMayWriteIsNamedInAnyWay) {
  for (const char* account : {"BU", "WD", "AU", "IU", "LS", "NS", "CO", "AN", "S-1-5-21-1-2-3-1002"}) {
    EXPECT_EQ(VerdictOn(std::string("O:SYD:(A;;FA;;;") + account + ")"), ObjectVerdict::WritableByOthers) << account;
  }
  for (const char* account : {"SY", "BA", "OW"}) {
    EXPECT_EQ(VerdictOn(std::string("O:SYD:(A;;FA;;;") + account + ")"), ObjectVerdict::Ours) << account;
  }
}

TEST(ObjectTrust, TheOwnUserOfAConsoleMayWrite) {
  const ObjectFacts facts = Facts("O:S-1-5-21-1-2-3-1001D:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FA;;;S-1-5-21-1-2-3-1001)");
  EXPECT_EQ(JudgeObject(facts, kClosedFile, kOwnUser), ObjectVerdict::Ours);
  // The service does not trust what a console run left.
  EXPECT_EQ(JudgeObject(facts, kClosedFile, kSystemSid), ObjectVerdict::Stranger);
}

TEST(ObjectTrust, ADenialDoesNotTakeAGrantBack) {
  EXPECT_EQ(VerdictOn("O:SYD:(D;;FA;;;BU)(A;;FW;;;BU)"), ObjectVerdict::WritableByOthers);
  EXPECT_EQ(VerdictOn("O:SYD:(D;;FA;;;BU)(A;;FA;;;SY)"), ObjectVerdict::Ours);
}

TEST(ObjectTrust, WhatIsMeantForChildrenOnlyGivesNothingHere) {
  EXPECT_EQ(VerdictOn("O:SYD:(A;;FA;;;SY)(A;OICIIO;FA;;;CO)"), ObjectVerdict::Ours);
  EXPECT_EQ(VerdictOn("O:SYD:(A;;FA;;;SY)(A;OICI;FA;;;CO)"), ObjectVerdict::WritableByOthers);
}

TEST(ObjectTrust, AnEntryOfAnotherKindCountsAsAGrantToAnybody) {
  EXPECT_EQ(VerdictOn("O:SYD:(OA;;FW;;;SY)"), ObjectVerdict::WritableByOthers);
  EXPECT_EQ(VerdictOn("O:SYD:(XA;;FW;;;SY;(WIN://SYSAPPID Exists))"), ObjectVerdict::WritableByOthers);
  EXPECT_EQ(VerdictOn("O:SYD:(OD;;FW;;;WD)(XD;;FW;;;WD;(a))"), ObjectVerdict::Ours);
}

TEST(ObjectTrust, WithoutAListEverybodyMayWriteAndWithAnEmptyOneNobody) {
  EXPECT_EQ(VerdictOn("O:SY"), ObjectVerdict::WritableByOthers);
  EXPECT_EQ(VerdictOn("O:SYD:NO_ACCESS_CONTROL"), ObjectVerdict::WritableByOthers);
  EXPECT_EQ(VerdictOn("O:SYD:"), ObjectVerdict::Ours);
}

TEST(ObjectTrust, KindLinksAndNamesAreLookedAtBeforeTheOwner) {
  ObjectFacts facts = Facts("O:SYD:P(A;;FA;;;SY)");
  EXPECT_EQ(JudgeObject(facts, kClosedFile, kSystemSid), ObjectVerdict::Ours);
  facts.links = 2;
  EXPECT_EQ(JudgeObject(facts, kClosedFile, kSystemSid), ObjectVerdict::TooManyLinks);
  facts.links = 0;
  EXPECT_EQ(JudgeObject(facts, kClosedFile, kSystemSid), ObjectVerdict::TooManyLinks);
  facts.isFolder = true;
  EXPECT_EQ(JudgeObject(facts, kClosedFile, kSystemSid), ObjectVerdict::WrongKind);
  EXPECT_EQ(JudgeObject(facts, kFolder, kSystemSid), ObjectVerdict::Ours);
  facts.isReparsePoint = true;
  EXPECT_EQ(JudgeObject(facts, kClosedFile, kSystemSid), ObjectVerdict::ReparsePoint);
  EXPECT_EQ(JudgeObject(facts, kFolder, kSystemSid), ObjectVerdict::ReparsePoint);
}

TEST(ObjectTrust, AFolderWhoseRightsAreAboutToBeSetIsJudgedByItsOwner) {
  ObjectFacts facts = Facts("O:BAD:AI(A;OICIID;FA;;;SY)(A;OICIID;FA;;;BA)(A;OICIID;0x1200a9;;;BU)(A;CIID;0x116;;;BU)");
  facts.isFolder = true;
  EXPECT_EQ(JudgeObject(facts, kFolder, kSystemSid), ObjectVerdict::Ours);
  EXPECT_EQ(JudgeObject(facts, {true, true}, kSystemSid), ObjectVerdict::WritableByOthers);
}

constexpr char kInstaller[] = "S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464";

bool IsOpen(const std::string& sddl, std::string_view ownUser = kSystemSid) {
  return CanOthersChange(Facts(sddl), ownUser);
}

// Windows' own folder of programs, a product's folder below it, and a program in that.
TEST(Installed, AsWindowsAndItsInstallersLeaveItIsClosed) {
  const std::string installer = kInstaller;
  EXPECT_FALSE(IsOpen("O:" + installer + "D:PAI(A;;FA;;;" + installer + ")(A;CIIO;GA;;;" + installer +
                      ")(A;;0x1301bf;;;SY)(A;OICIIO;GA;;;SY)(A;;0x1301bf;;;BA)(A;OICIIO;GA;;;BA)(A;;0x1200a9;;;BU)"
                      "(A;OICIIO;GXGR;;;BU)(A;OICIIO;GA;;;CO)(A;;0x1200a9;;;S-1-15-2-1)(A;OICIIO;GXGR;;;S-1-15-2-1)"));
  EXPECT_FALSE(IsOpen("O:BAD:AI(A;ID;FA;;;" + installer + ")(A;CIIOID;GA;;;" + installer +
                      ")(A;ID;FA;;;SY)(A;OICIIOID;GA;;;SY)(A;ID;FA;;;BA)(A;OICIIOID;GA;;;BA)(A;ID;0x1200a9;;;BU)"
                      "(A;OICIIOID;GXGR;;;BU)(A;OICIIOID;GA;;;CO)(A;ID;0x1200a9;;;S-1-15-2-2)"));
  EXPECT_FALSE(IsOpen("O:SYD:AI(A;ID;FA;;;SY)(A;ID;FA;;;BA)(A;ID;0x1200a9;;;BU)(A;ID;0x1200a9;;;S-1-15-2-1)"));
}

// What a folder beside it gets: signed-in users may modify.
TEST(Installed, InAFolderOfTheDrivesRootIsOpen) {
  EXPECT_TRUE(
      IsOpen("O:BAD:AI(A;OICIID;FA;;;BA)(A;OICIID;FA;;;SY)(A;OICIID;0x1200a9;;;BU)(A;ID;0x1301bf;;;AU)"
             "(A;OICIIOID;SDGXGWGR;;;AU)"));
}

TEST(Installed, OnlyTheSystemItsInstallerAdministratorsAndTheOwnUserMayOwn) {
  for (const char* owner : {"SY", "BA", kInstaller, kOwnUser}) {
    EXPECT_FALSE(IsOpen(std::string("O:") + owner + "D:(A;;FA;;;SY)", kOwnUser)) << owner;
  }
  // The last one begins like the installer.
  for (const char* owner : {"BU", "WD", "AU", "LS", "CO", "OW", "S-1-5-21-1-2-3-1002", "S-1-5-80-0",
                            "S-1-5-80-956008885-3418522649-1831038044-1853292631-22714784640"}) {
    EXPECT_TRUE(IsOpen(std::string("O:") + owner + "D:(A;;FA;;;SY)", kOwnUser)) << owner;
  }
  EXPECT_TRUE(IsOpen(std::string("O:") + kOwnUser + "D:(A;;FA;;;SY)"));
}

TEST(Installed, EachRightThatChangesAnythingCounts) {
  // Writing or adding a file, appending or adding a folder, attributes of two kinds, deleting what is in a folder,
  // deleting, rights, owner, and what stands for several.
  for (const char* rights :
       {"0x2", "0x4", "0x10", "0x40", "0x100", "SD", "WD", "WO", "GA", "GW", "FA", "FW", "0x2000000", "0x1301bf"}) {
    EXPECT_TRUE(IsOpen(std::string("O:BAD:(A;;FA;;;SY)(A;;") + rights + ";;;BU)")) << rights;
    EXPECT_FALSE(IsOpen(std::string("O:BAD:(A;;FA;;;SY)(A;OICIIO;") + rights + ";;;BU)")) << rights;
    EXPECT_FALSE(IsOpen(std::string("O:BAD:(A;;FA;;;SY)(D;;") + rights + ";;;BU)")) << rights;
  }
  EXPECT_FALSE(IsOpen("O:BAD:(A;;FA;;;SY)(A;;FRFXGRGXRC;;;WD)(A;;0x1200a9;;;AU)"));
}

TEST(Installed, WhoeverMayChangeItIsNamedInAnyWay) {
  for (const char* account : {"BU", "WD", "AU", "IU", "LS", "NS", "AN", "S-1-5-21-1-2-3-1002", "S-1-15-2-1"}) {
    EXPECT_TRUE(IsOpen(std::string("O:SYD:(A;;FA;;;") + account + ")")) << account;
  }
  // Nobody is the creator of what is there already, and an owner is judged as such.
  for (const char* account : {"SY", "BA", kInstaller, "OW", "CO"}) {
    EXPECT_FALSE(IsOpen(std::string("O:SYD:(A;;FA;;;") + account + ")")) << account;
  }
  EXPECT_FALSE(IsOpen(std::string("O:SYD:(A;;FA;;;") + kOwnUser + ")", kOwnUser));
  EXPECT_TRUE(IsOpen(std::string("O:SYD:(A;;FA;;;") + kOwnUser + ")"));
}

TEST(Installed, WithoutAListIsOpenAndWithoutAnOwnerIsNotReported) {
  EXPECT_TRUE(IsOpen("O:SYD:NO_ACCESS_CONTROL"));
  // A file system without access rights reports this.
  EXPECT_TRUE(IsOpen("O:WDD:NO_ACCESS_CONTROL"));
  EXPECT_FALSE(CanOthersChange({}, kSystemSid));
  EXPECT_FALSE(IsOpen("D:(A;;FA;;;WD)"));
}

TEST(Installed, AnEntryOfAnotherKindCountsAsAGrantToAnybody) {
  EXPECT_TRUE(IsOpen("O:SYD:(OA;;FW;;;SY)"));
  EXPECT_FALSE(IsOpen("O:SYD:(OA;;FR;;;SY)(OD;;FW;;;WD)"));
}

TEST(LogName, UsersMayAppendToTheLogThatIsUsed) {
  EXPECT_EQ(DecideLogName(Facts("O:BAD:(A;;FA;;;SY)(A;;FA;;;BA)(A;;0x120185;;;BU)"), kSystemSid), LogNameStep::Use);
  // The log of an earlier version or of an installer.
  EXPECT_EQ(DecideLogName(Facts("O:SYD:AI(A;ID;FA;;;SY)(A;ID;0x1200a9;;;BU)"), kSystemSid), LogNameStep::Use);
}

TEST(LogName, AReadOnlyLogIsMadeWritableWhenItIsOurs) {
  ObjectFacts facts = Facts("O:BAD:(A;;FA;;;SY)");
  facts.isReadOnly = true;
  EXPECT_EQ(DecideLogName(facts, kSystemSid), LogNameStep::MakeWritable);
  facts.links = 2;
  EXPECT_EQ(DecideLogName(facts, kSystemSid), LogNameStep::PutAside);
}

TEST(LogName, WhateverElseIsThereIsPutAside) {
  const ObjectFacts ours = Facts("O:BAD:(A;;FA;;;SY)");
  ObjectFacts folder = ours;
  folder.isFolder = true;
  ObjectFacts link = ours;
  link.isReparsePoint = true;
  ObjectFacts twice = ours;
  twice.links = 2;
  for (const ObjectFacts& facts : {folder, link, twice, Facts("O:BUD:(A;;FA;;;SY)"), Facts("D:(A;;FA;;;SY)")}) {
    EXPECT_EQ(DecideLogName(facts, kSystemSid), LogNameStep::PutAside);
  }
}

TEST(ObjectTrust, WhatIsPutAsideKeepsItsNameAsAPrefix) {
  EXPECT_EQ(AsideName(L"Moorlak", 1), L"Moorlak.untrusted-1");
  EXPECT_EQ(AsideName(L"tunnel.log", 12345678901), L"tunnel.log.untrusted-12345678901");
}

}  // namespace
}  // namespace moorlak
