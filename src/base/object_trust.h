// Whom the service trusts, judged by the facts of a file or folder: plain values in, a verdict out. base/trust.h reads
// the values.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace moorlak {

// Accounts by the text of their SID ("Well-known SIDs" on Microsoft Learn).
inline constexpr std::string_view kSystemSid = "S-1-5-18";
inline constexpr std::string_view kAdministratorsSid = "S-1-5-32-544";
// Windows' own installer, the service TrustedInstaller, which owns the folders of programs.
inline constexpr std::string_view kTrustedInstallerSid =
    "S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464";
// Means the object's owner, in its list.
inline constexpr std::string_view kOwnerRightsSid = "S-1-3-4";
// Means the creator of an object in a folder, in the folder's list; no token has it.
inline constexpr std::string_view kCreatorOwnerSid = "S-1-3-0";

// One entry of an access list ("ACE" on Microsoft Learn).
struct AccessEntry {
  // True for anything but a plain denial: an entry of an unknown kind may grant.
  bool grants = false;
  // Inherited by what is created in a folder, without effect on the folder itself.
  bool inheritOnly = false;
  // The access mask as stored, including generic rights ("Access Mask Format" on Microsoft Learn).
  uint32_t rights = 0;
  // Empty if the entry's account cannot be determined.
  std::string sid;
};

struct ObjectFacts {
  bool isFolder = false;
  bool isReparsePoint = false;
  bool isReadOnly = false;
  // Number of a file's names; a folder has one.
  uint32_t links = 0;
  // Empty if it cannot be read.
  std::string owner;
  // Without a list, everyone may do everything.
  bool hasList = false;
  std::vector<AccessEntry> entries;
};

enum class ObjectVerdict {
  Ours,
  ReparsePoint,
  WrongKind,
  TooManyLinks,
  Stranger,
  WritableByOthers,
};

// True if objects of this owner are trusted: LocalSystem, the Administrators group and the user this process runs as.
// Either text may be empty if it is not known; an unknown owner is not trusted.
bool IsTrustedOwner(std::string_view owner, std::string_view ownUser);

// What an object must be to be trusted.
struct ObjectDemands {
  bool folder = false;
  // Only the trusted accounts may change it. If not set, its rights are ignored, because the caller will set them.
  bool closed = false;
};

// The verdict on an object for a process that runs as this user, who is trusted as above. The verdict is the first
// problem found.
ObjectVerdict JudgeObject(const ObjectFacts& facts, const ObjectDemands& demands, std::string_view ownUser);

// True if an installed file or folder is owned by, or can be changed by, anyone but LocalSystem, the Administrators
// group, Windows' own installer and this user. Changing a folder includes adding something to it and deleting something
// in it. False if the owner is not known.
bool CanOthersChange(const ObjectFacts& facts, std::string_view ownUser);

// The verdict in a few words for a log line: "is a reparse point".
std::string_view VerdictText(ObjectVerdict verdict);

// What to do with an object that has one of the log's names.
enum class LogNameStep { Use, MakeWritable, PutAside };
LogNameStep DecideLogName(const ObjectFacts& facts, std::string_view ownUser);

// The name under which an untrusted object is put aside; the number counts from 1.
std::wstring AsideName(std::wstring_view name, uint64_t number);

}  // namespace moorlak
